// The stand-ins for libc's calls, and the host behind them.

#include "Host.h"

#include "FailingHeap.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tests {

namespace {

constexpr const char* const READY_FILE = "/tmp/quicksec.ready";

} // namespace

Host& Host::instance()
{
    static Host host;
    return host;
}

Host& Host::exits(const std::string& commandLine, const std::deque<int>& codes)
{
    for (const int code : codes)
        statuses_[commandLine].push_back(code << 8);
    return *this;
}

Host& Host::returns(const std::string& commandLine, int status)
{
    statuses_[commandLine].push_back(status);
    return *this;
}

Host& Host::prints(const std::string& commandLine, const std::string& output)
{
    outputs_[commandLine] = output;
    return *this;
}

Host& Host::killResults(const std::deque<int>& results)
{
    killResults_ = results;
    return *this;
}

Host& Host::readyAt(int stat)
{
    readyAt_ = stat;
    return *this;
}

Host& Host::readyFileCannotBeRemoved()
{
    removable_ = false;
    return *this;
}

Asked Host::askedBut(const std::string& kind) const
{
    Asked others;
    for (const std::string& request : asked_)
        if (request.compare(0, kind.size(), kind) != 0)
            others.push_back(request);
    return others;
}

int Host::count(const std::string& request) const
{
    int times = 0;
    for (const std::string& one : asked_)
        times += one == request ? 1 : 0;
    return times;
}

int Host::next(std::deque<int>& answers)
{
    if (answers.empty())
        return 0;
    const int answer = answers.front();
    if (answers.size() > 1)
        answers.pop_front();
    return answer;
}

int Host::onSystem(const std::string& commandLine)
{
    note(commandLine);
    return next(statuses_[commandLine]);
}

std::optional<std::string> Host::onPopen(const std::string& commandLine)
{
    note("popen " + commandLine);
    const auto output = outputs_.find(commandLine);
    if (output == outputs_.end())
        return std::nullopt;
    return output->second;
}

int Host::onKill(int pid, int signal)
{
    note("kill " + std::to_string(pid) + " " + std::to_string(signal));
    return next(killResults_);
}

bool Host::onStatReadyFile()
{
    note(std::string("stat ") + READY_FILE);
    return readyAt_ != 0 && ++stats_ >= readyAt_;
}

bool Host::onRemoveReadyFile()
{
    note(std::string("remove ") + READY_FILE);
    return removable_;
}

} // namespace tests

using tests::Host;
using tests::Undisturbed;

extern "C" {

int system(const char* commandLine)
{
    const Undisturbed undisturbed;
    return Host::instance().onSystem(commandLine);
}

FILE* popen(const char* commandLine, const char* mode)
{
    const Undisturbed undisturbed;
    EXPECT_STREQ("r", mode);
    const auto output = Host::instance().onPopen(commandLine);
    if (!output)
        return nullptr;
    FILE* const file = std::tmpfile();
    EXPECT_EQ(output->size(), std::fwrite(output->data(), 1, output->size(), file));
    std::rewind(file);
    return file;
}

int pclose(FILE* file)
{
    const Undisturbed undisturbed;
    Host::instance().note("pclose");
    return std::fclose(file);
}

int kill(pid_t pid, int signal) noexcept
{
    const Undisturbed undisturbed;
    return Host::instance().onKill(pid, signal);
}

// Other files than the ready file are real ones.
int stat(const char* path, struct stat* status) noexcept
{
    const Undisturbed undisturbed;
    if (std::strcmp(path, tests::READY_FILE) == 0)
        return Host::instance().onStatReadyFile() ? 0 : -1;
    return fstatat(AT_FDCWD, path, status, 0);
}

int remove(const char* path) noexcept
{
    const Undisturbed undisturbed;
    if (std::strcmp(path, tests::READY_FILE) == 0)
        return Host::instance().onRemoveReadyFile() ? 0 : -1;
    const int result = unlinkat(AT_FDCWD, path, 0);
    return result == 0 ? 0 : unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

unsigned int sleep(unsigned int seconds)
{
    const Undisturbed undisturbed;
    Host::instance().note("sleep " + std::to_string(seconds));
    return 0;
}

int usleep(useconds_t microseconds)
{
    const Undisturbed undisturbed;
    Host::instance().note("usleep " + std::to_string(microseconds));
    return 0;
}

} // extern "C"
