#ifndef TESTS_PROGRAMS_SERVER_HOST_H
#define TESTS_PROGRAMS_SERVER_HOST_H

// A host for the server within a test program: the program's own system, kill, sleep, usleep and syslog stand
// in for libc's, and the paths of the ready file and of the kernel's list of modules lead into a folder of
// the test.

#include "server_support.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tests {

/// What the server asks of the host, in order, and what becomes of it. Unless a test says otherwise modules
/// load, the engine starts and gets ready, obeys a signal to end and gets ready again at any other.
///
/// The engine is a real process: a program that sleeps.
class ServerHost {
public:
    ServerHost();
    ~ServerHost();
    ServerHost(const ServerHost&) = delete;
    ServerHost& operator=(const ServerHost&) = delete;

    /// Command lines, and "signal N" for signals to the engine.
    std::vector<std::string> asked;
    /// The lines of the log.
    std::vector<std::string> logged;

    /// What a command line does; its exit code.
    std::function<int(const std::string& command)> onCommand;
    /// What happens before the server opens a stream on a path or looks at it.
    std::function<void(const std::string& path)> onPath;
    /// What a signal to the engine does.
    std::function<void(int signal)> onSignal;

    /// Starts the engine's process and writes its pid file.
    void startEngine();
    void endEngine();
    void announce() const;

    const TemporaryFolder folder;
    const std::string engine = folder / "engine";
    const std::string pidFile = folder / "engine.pid";
    const std::string readyFile = folder / "quicksec.ready";
    const std::string modules = folder / "modules";
    pid_t enginePid = -1;
};

} // namespace tests

#endif
