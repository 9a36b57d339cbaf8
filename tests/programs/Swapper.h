#ifndef TESTS_PROGRAMS_SWAPPER_H
#define TESTS_PROGRAMS_SWAPPER_H

// Somebody who races the server for a place in its setting folder.

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tests {

/// Somebody who puts links to what lies outside in the place of a folder and of a file in it, and takes them away again,
/// as fast as possible; a process of its own.
class Swapper {
public:
    /// @param outside holds "folder" and "victim", to which the links lead
    Swapper(const std::string& directory, const std::string& outside)
    {
        const std::string folder = directory + "/below";
        const std::string link = directory + "/link";
        std::filesystem::create_directory(folder);
        std::filesystem::create_symlink(outside + "/folder", link);
        const int real = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        process_ = fork();
        if (process_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const std::string victim = outside + "/victim";
            for (;;) {
                renameat2(AT_FDCWD, folder.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
                symlinkat(victim.c_str(), real, "race");
                renameat(real, "race", real, "engine.conf");
                renameat2(AT_FDCWD, folder.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE);
                sched_yield();
                unlinkat(real, "engine.conf", 0);
            }
        }
        close(real);
    }
    ~Swapper()
    {
        syscall(SYS_kill, process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    Swapper(const Swapper&) = delete;
    Swapper& operator=(const Swapper&) = delete;

private:
    pid_t process_ = -1;
};

} // namespace tests

#endif
