#ifndef IPSECCFG_ENGINE_PIDFILE_H
#define IPSECCFG_ENGINE_PIDFILE_H

/// @file
/// The engine's pid file.

#include <string>
#include <sys/types.h>

namespace norvale::tamber::systemdata::ipseccfg::engine {

/// The file that says which process the engine is, locked as long as the engine lives: there is one engine a
/// pid file.
///
/// The lock belongs to the open file and passes to a child process.
class PidFile {
public:
    /// Locks the file, making it if there is none. What stands in it stays.
    /// @throws std::runtime_error "PATH: another engine runs" or "PATH: WHY"
    explicit PidFile(const std::string& path);
    /// Lets go of the lock; the file stays.
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    /// Writes a process id and a line end. A reader finds what stood there before, or this.
    /// @throws std::runtime_error "PATH: WHY"
    void write(pid_t pid);

    /// Removes the file, unless another one lies in its place by now.
    void remove() noexcept;

private:
    bool lock_();
    bool liesThere_() const noexcept;
    [[noreturn]] void fail_() const;

    std::string path_;
    int fd_ = -1;
};

} // namespace norvale::tamber::systemdata::ipseccfg::engine

#endif
