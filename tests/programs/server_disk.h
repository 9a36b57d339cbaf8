#ifndef TESTS_PROGRAMS_SERVER_DISK_H
#define TESTS_PROGRAMS_SERVER_DISK_H

// A disk that fails: the program's own openat, read, write, fsync, linkat, symlinkat, unlinkat and renameat stand
// in for libc's and do their work unless a test says that one of them fails, or that the process ends there. A write
// into what is no file never does.

#include "Failures.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tests {

/// The exit status of a process that ended at a call.
constexpr int KILLED = 137;

struct FailingDisk {
    std::string call; ///< the name of the calls that may fail; none if empty
    int error = 0;    ///< the errno of those that do
    FailurePoint calls;
    std::size_t longestWrite = SIZE_MAX;
    std::function<void()> beforeRename;
    std::function<void(const std::string& name)> beforeOpening;
    std::vector<std::string> asked; ///< what was synchronized and renamed, in order
    FailurePoint death;             ///< the process ends there, as if it were killed

    /// Has the calls of a name fail from now on as `calls` says.
    void failAt(const std::string& name, int errorNumber)
    {
        call = name;
        error = errorNumber;
        calls = {};
    }
};

inline FailingDisk disk;

} // namespace tests

#endif
