#ifndef IPSECCFG_SERVER_ENGINEPROCESS_H
#define IPSECCFG_SERVER_ENGINEPROCESS_H

/// @file
/// Whether the engine runs.

#include "Descriptor.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The engine's process as its pid file names it.
///
/// A pid file outlives its process, and the system gives the number to another one. So a process counts as
/// the engine only if it is one of the server's user and runs the engine's executable: /proc/PID/exe is that
/// file (or was, before the file was replaced), or the file is a script and /proc/PID/cmdline begins with its
/// interpreter and the script, as the system starts it. Whatever else the pid file says, the engine does not
/// run.
class EngineProcess {
public:
    /// @param pidFile where the engine writes its process id
    /// @param command path of its executable
    EngineProcess(const std::string& pidFile, const std::string& command);

    /// The engine's process id; nothing if it does not run.
    /// @throws std::runtime_error "PATH: WHY" if that cannot be told, as beginningOf says.
    std::optional<pid_t> find() const;

    /// Waits until the engine runs. As long as that cannot be told, it does not.
    /// @return whether it does in the end
    bool waitUntilThere(std::chrono::milliseconds time) const noexcept;

    /// Whether a process is the engine, whatever the pid file says by now.
    /// @throws as find does
    bool is(pid_t pid) const;

    /// Waits until a process is not the engine any more; its pid file may go before it does. As long as that
    /// cannot be told, it is.
    /// @return whether it is gone in the end
    bool waitUntilGone(pid_t pid, std::chrono::milliseconds time) const noexcept;

private:
    std::optional<pid_t> readPidFile_() const;
    bool isScriptOf_(pid_t pid) const;

    std::string pidFile_;
    std::string command_;
};

/// A pid file that names one process and that nobody else can change or remove, for as long as it lives.
///
/// The library reads a pid file itself, some time after the server has looked who it names, and goes by the
/// name of the executable if there is none.
class PidFileCopy {
public:
    /// @throws std::runtime_error "pid file: WHY"
    explicit PidFileCopy(pid_t pid);

    std::string path() const;

private:
    Descriptor file_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
