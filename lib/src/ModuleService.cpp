// Bringing the engine up and down on the host.

#include "ModuleService.h"

#include <cstdio>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::server {

namespace {

constexpr const char* const READY_FILE = "/tmp/quicksec.ready";
constexpr int READY_SECONDS = 40;

void require(bool condition, const char* text)
{
    if (!condition)
        throw std::runtime_error(text);
}

bool exists(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0;
}

} // namespace

ModuleService::ModuleService(const std::string& serviceCommand, const std::list<std::string>& modulePaths,
                             std::size_t interval, std::size_t retry)
    : srv_(serviceCommand)
    , interval_(interval)
    , retry_(retry)
{
    for (const std::string& path : modulePaths)
        modList_.push_back(createModule(path));
}

ModuleService::~ModuleService() = default;

// Runs a step until it returns 0, at most retry_ times, pausing after every failure (the last one too).
template <class Step>
int ModuleService::retried_(Step step) const
{
    int result = 0;
    for (std::size_t attempt = 0; attempt < retry_; ++attempt) {
        result = step();
        if (result == 0)
            break;
        usleep(static_cast<useconds_t>(interval_));
    }
    return result;
}

int ModuleService::launch(const std::string& serviceOption, const std::list<std::string>& moduleOptions)
{
    require(moduleOptions.size() == modList_.size(), "number of modules and options mismatch in launch");

    int lastResult = 0;
    auto option = moduleOptions.begin();
    for (const std::shared_ptr<Module>& module : modList_) {
        lastResult = retried_([&] { return module->install(*option); });
        ++option;
    }
    require(lastResult == 0, "Can't install module");

    require(retried_([&] { return srv_.launch(serviceOption); }) == 0, "Can't start service");
    return waitReady_(READY_SECONDS);
}

int ModuleService::shutdown(const std::string& pidFilePath, const std::list<std::string>& moduleOptions,
                            int signal)
{
    require(retried_([&] { return srv_.shutdown(pidFilePath, signal); }) == 0, "Can't stop service");
    require(moduleOptions.size() == modList_.size(), "number of modules and options mismatch in shutdown");

    int lastResult = 0;
    auto option = moduleOptions.rbegin();
    for (auto module = modList_.rbegin(); module != modList_.rend(); ++module) {
        lastResult = retried_([&] { return (*module)->remove(*option); });
        ++option;
    }
    require(lastResult == 0, "Can't remove module");
    return 0;
}

int ModuleService::reconfig(const std::string& pidFilePath, int signal)
{
    require(retried_([&] { return srv_.reconfig(pidFilePath, signal); }) == 0, "Can't re-configure service");
    return waitReady_(READY_SECONDS);
}

int ModuleService::waitReady_(int limit)
{
    int count = 0;
    while (count < limit && !exists(READY_FILE)) {
        sleep(1);
        ++count;
    }
    require(count < limit, "wait limit reached");

    const bool removed = std::remove(READY_FILE) == 0;
    sleep(1);
    require(removed, "Cant't remove ready file");
    return 0;
}

} // namespace norvale::tamber::systemdata::ipseccfg::server
