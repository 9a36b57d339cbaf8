// Loading and unloading of one kernel module.

#include "Module.h"

#include "ShellCommand.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::server {

namespace {

constexpr int NOT_RUN = -1;

// The "%d" has always been part of the text; users compare it.
constexpr const char* const SIGNAL_TEXT = "Abnormal termination: signal number: %d";

int run(const std::string& command, const std::string& argument, const std::string& option)
{
    return runCommand(command + " " + argument + " " + option, SIGNAL_TEXT, NOT_RUN);
}

std::string moduleName(const std::string& ko)
{
    // Without a "/" npos + 1 is 0: the whole of it.
    std::string file = ko.substr(ko.rfind('/') + 1);
    const std::size_t dot = file.find('.');
    if (dot == std::string::npos)
        return file;
    const std::string extension = file.substr(dot + 1);
    if (extension != "o" && extension != "ko")
        throw std::runtime_error("Illegal extension name: %s" + extension);
    return file.substr(0, dot);
}

} // namespace

const char* const Module::INSTALL_COMMAND = "/sbin/insmod";
const char* const Module::REMOVE_COMMAND = "/sbin/rmmod -s";

Module::Module(const std::string& ko)
    : ko_(ko)
{}

Module::~Module() = default;

int Module::install(const std::string& option)
{
    return doInstall_(option);
}

int Module::remove(const std::string& option)
{
    return doRemove_(option);
}

int Module::doInstall_(const std::string& option)
{
    return run(INSTALL_COMMAND, ko_, option);
}

int Module::doRemove_(const std::string& option)
{
    return run(REMOVE_COMMAND, moduleName(ko_), option);
}

std::shared_ptr<Module> createModule(const std::string& ko)
{
    return std::make_shared<Module>(ko);
}

} // namespace norvale::tamber::systemdata::ipseccfg::server
