// The stand-ins for libc's calls, and the host behind them.

#include "server_host.h"

#include "FailingHeap.h"
#include "server_support.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace tests {

namespace {

ServerHost* host = nullptr;

// Where a path leads for the server.
std::string led(const char* path)
{
    static bool told = false; // what the test itself opens is none of the server's
    if (host != nullptr && host->onPath && !std::exchange(told, true)) {
        host->onPath(path);
        told = false;
    }
    if (host != nullptr && path == std::string("/tmp/quicksec.ready"))
        return host->readyFile;
    if (host != nullptr && path == std::string("/proc/modules"))
        return host->modules;
    return path;
}

} // namespace

ServerHost::ServerHost()
{
    if (host != nullptr)
        throw std::logic_error("one host at a time");
    host = this;
    std::filesystem::copy_file(std::filesystem::canonical("/bin/sleep"), engine);
    writeFile(modules, "");
    onCommand = [this](const std::string& command) {
        if (command.find(engine) == 0) {
            startEngine();
            announce();
        }
        return 0;
    };
    onSignal = [this](int signal) {
        if (signal == SIGTERM || signal == SIGKILL)
            endEngine();
        else
            announce();
    };
}

ServerHost::~ServerHost()
{
    host = nullptr;
    endEngine();
}

void ServerHost::startEngine()
{
    std::string program = engine;
    std::string seconds = "1000";
    char* argv[] = {program.data(), seconds.data(), nullptr};
    char* envp[] = {nullptr};
    if (posix_spawn(&enginePid, program.c_str(), nullptr, nullptr, argv, envp) != 0)
        throw std::runtime_error("cannot start the engine");
    waitForProgramOf(enginePid);
    writeFile(pidFile, std::to_string(enginePid) + "\n");
}

void ServerHost::endEngine()
{
    if (enginePid > 0) {
        syscall(SYS_kill, enginePid, SIGKILL);
        // A fuzzer's timer interrupts what takes long.
        while (waitpid(enginePid, nullptr, 0) == -1 && errno == EINTR) {
        }
    }
    enginePid = -1;
}

void ServerHost::announce() const
{
    writeFile(readyFile, "");
}

} // namespace tests

extern "C" {

int system(const char* command)
{
    const tests::Undisturbed undisturbed;
    tests::host->asked.emplace_back(command);
    return tests::host->onCommand(command) << 8;
}

int kill(pid_t pid, int signal) noexcept
{
    const tests::Undisturbed undisturbed;
    if (tests::host == nullptr || pid != tests::host->enginePid)
        return static_cast<int>(syscall(SYS_kill, pid, signal));
    tests::host->asked.push_back("signal " + std::to_string(signal));
    tests::host->onSignal(signal);
    return 0;
}

unsigned sleep(unsigned /*seconds*/)
{
    const tests::Undisturbed undisturbed;
    return 0;
}

int usleep(useconds_t /*microseconds*/)
{
    const tests::Undisturbed undisturbed;
    return 0;
}

int stat(const char* path, struct stat* status) noexcept
{
    const tests::Undisturbed undisturbed;
    return fstatat(AT_FDCWD, tests::led(path).c_str(), status, 0);
}

int lstat(const char* path, struct stat* status) noexcept
{
    const tests::Undisturbed undisturbed;
    return fstatat(AT_FDCWD, tests::led(path).c_str(), status, AT_SYMLINK_NOFOLLOW);
}

int remove(const char* path) noexcept
{
    const tests::Undisturbed undisturbed;
    return unlinkat(AT_FDCWD, tests::led(path).c_str(), 0);
}

int unlink(const char* path) noexcept
{
    const tests::Undisturbed undisturbed;
    return unlinkat(AT_FDCWD, tests::led(path).c_str(), 0);
}

int open(const char* path, int flags, ...)
{
    const tests::Undisturbed undisturbed;
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, tests::led(path).c_str(), flags | O_LARGEFILE, mode));
}

// Opens the files of streams.
FILE* fopen64(const char* path, const char* mode)
{
    const tests::Undisturbed undisturbed;
    using Open = FILE* (*)(const char*, const char*);
    static const auto original = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "fopen64"));
    return original(tests::led(path).c_str(), mode);
}

void syslog(int /*priority*/, const char* format, ...)
{
    const tests::Undisturbed undisturbed;
    char line[4096];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    tests::host->logged.emplace_back(length < 0 ? "<not a line>" : line);
}

} // extern "C"
