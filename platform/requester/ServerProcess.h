#ifndef SYSTEMDATA_REQUESTER_SERVERPROCESS_H
#define SYSTEMDATA_REQUESTER_SERVERPROCESS_H

/// @file
/// The server process at the other end of a request channel.

#include <chrono>
#include <string>
#include <sys/types.h>

namespace norvale::tamber::systemdata::requester {

/// A started server. It is gone, and waited for, when this object is destroyed.
///
/// Waits for this one process only and survives that another part of the program has already done so, or that
/// SIGCHLD is ignored. Not synchronised.
class ServerProcess {
public:
    /// The moment that a process is left to end.
    static constexpr std::chrono::milliseconds PATIENCE{500};

    /// Starts a program, neither through a shell nor searched along PATH, with the socket as its standard
    /// input and output, the caller's standard error (or nowhere, if the caller has none) and no other
    /// descriptor. Its environment is the caller's; all signals are at their default and none is blocked.
    /// @param command path of the executable, and its only argument (argv[0]).
    /// @param socket stays the caller's; not one of the descriptors 0 to 2.
    /// @throws std::system_error "CRequester: cannot start COMMAND: ..." if that fails.
    ServerProcess(const std::string& command, int socket);

    /// end() with PATIENCE.
    ~ServerProcess();

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// Returns when the process is gone: leaves it `patience` to end by itself, then asks it to (SIGTERM),
    /// and after PATIENCE makes it (SIGKILL). One that lives ten times PATIENCE after that, or may not be signalled, is
    /// left.
    void end(std::chrono::milliseconds patience) noexcept;

private:
    bool endsWithin_(std::chrono::milliseconds patience) noexcept;
    bool isGone_() noexcept;

    pid_t pid_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
