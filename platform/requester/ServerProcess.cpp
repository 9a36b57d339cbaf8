// Starts the server process of a request channel, and sees it end.

#include "ServerProcess.h"

#include "Deadline.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#ifndef SYSTEMDATA_REQUESTER_HAS_CLOSEFROM
#include <dirent.h>
#include <memory>
#endif

namespace norvale::tamber::systemdata::requester {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int FIRST_OTHER_DESCRIPTOR = STDERR_FILENO + 1;
constexpr microseconds FIRST_PAUSE{50};
constexpr microseconds LONGEST_PAUSE{10000};

void check(int error)
{
    if (error != 0)
        throw std::system_error(error, std::system_category());
}

// The descriptors that the server starts with.
class Descriptors {
public:
    Descriptors() { check(posix_spawn_file_actions_init(&actions_)); }
    ~Descriptors() { posix_spawn_file_actions_destroy(&actions_); }
    Descriptors(const Descriptors&) = delete;
    Descriptors& operator=(const Descriptors&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

    void copy(int descriptor, int target)
    {
        check(posix_spawn_file_actions_adddup2(&actions_, descriptor, target));
    }

    // A descriptor that the caller has; copied onto itself it outlives the exec even if marked otherwise.
    void keep(int descriptor) { copy(descriptor, descriptor); }

    void discard(int descriptor)
    {
        check(posix_spawn_file_actions_addopen(&actions_, descriptor, "/dev/null", O_WRONLY, 0));
    }

    void closeOthers()
    {
#ifdef SYSTEMDATA_REQUESTER_HAS_CLOSEFROM
        check(posix_spawn_file_actions_addclosefrom_np(&actions_, FIRST_OTHER_DESCRIPTOR));
#else
        const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir("/proc/self/fd"), closedir);
        if (!open)
            check(errno);
        // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread reads from this stream
        while (const dirent* const entry = readdir(open.get())) {
            const long descriptor = std::strtol(entry->d_name, nullptr, 10);
            if (descriptor >= FIRST_OTHER_DESCRIPTOR)
                check(posix_spawn_file_actions_addclose(&actions_, static_cast<int>(descriptor)));
        }
#endif
    }

private:
    posix_spawn_file_actions_t actions_;
};

// The signals that the server starts with: none blocked, none ignored, whatever the caller does with them.
class Signals {
public:
    Signals()
    {
        check(posix_spawnattr_init(&attributes_));
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~Signals() { posix_spawnattr_destroy(&attributes_); }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

pid_t start(std::string command, int socket)
{
    Descriptors descriptors;
    descriptors.copy(socket, STDIN_FILENO);
    descriptors.copy(socket, STDOUT_FILENO);
    if (::fcntl(STDERR_FILENO, F_GETFD) != -1)
        descriptors.keep(STDERR_FILENO);
    else
        descriptors.discard(STDERR_FILENO);
    descriptors.closeOthers();

    const Signals signals;
    char* const arguments[] = {command.data(), nullptr};
    pid_t pid = -1;
    check(posix_spawn(&pid, command.c_str(), descriptors.get(), signals.get(), arguments, environ));
    return pid;
}

pid_t startNamed(const std::string& command, int socket)
{
    try {
        return start(command, socket);
    } catch (const std::system_error& error) {
        throw std::system_error(error.code(), "CRequester: cannot start " + command);
    }
}

} // namespace

ServerProcess::ServerProcess(const std::string& command, int socket)
    : pid_(startNamed(command, socket))
{}

ServerProcess::~ServerProcess()
{
    end(PATIENCE);
}

void ServerProcess::end(milliseconds patience) noexcept
{
    if (endsWithin_(patience))
        return;
    ::kill(pid_, SIGTERM);
    if (endsWithin_(PATIENCE))
        return;
    // A process that may not be signalled, or that waits for a device, cannot be made to end: better a child left than
    // a wait for ever.
    if (::kill(pid_, SIGKILL) != 0 || !endsWithin_(10 * PATIENCE))
        pid_ = -1;
}

bool ServerProcess::endsWithin_(milliseconds patience) noexcept
{
    const Deadline deadline(patience);
    for (microseconds pause = FIRST_PAUSE; !isGone_(); pause = std::min(2 * pause, LONGEST_PAUSE)) {
        if (deadline.hasPassed())
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

bool ServerProcess::isGone_() noexcept
{
    if (pid_ == -1)
        return true;
    const pid_t ended = ::waitpid(pid_, nullptr, WNOHANG);
    // ECHILD: it has ended, and an ignored SIGCHLD, or somebody else's wait, has taken its status.
    if (ended == pid_ || (ended == -1 && errno == ECHILD))
        pid_ = -1;
    return pid_ == -1;
}

} // namespace norvale::tamber::systemdata::requester
