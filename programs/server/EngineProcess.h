#ifndef IPSECCFG_SERVER_ENGINEPROCESS_H
#define IPSECCFG_SERVER_ENGINEPROCESS_H

/// @file
/// Whether the engine runs.

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

    /// Waits until the engine does not run any more. As long as that cannot be told, it does.
    /// @return whether it is gone in the end
    bool waitUntilGone(std::chrono::milliseconds time) const noexcept;

private:
    bool waitUntil_(bool there, std::chrono::milliseconds time) const noexcept;
    std::optional<pid_t> readPidFile_() const;
    bool isEngine_(pid_t pid) const;
    bool isScriptOf_(pid_t pid) const;

    std::string pidFile_;
    std::string command_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
