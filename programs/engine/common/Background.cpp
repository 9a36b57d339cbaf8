// Division into a parent that waits and a child that stays.

#include "Background.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::engine {

namespace {

[[noreturn]] void fail()
{
    throw std::runtime_error("cannot go to the background: " + std::generic_category().message(errno));
}

[[noreturn]] void endWithChild(int fromChild)
{
    char status = 0;
    ssize_t count = 0;
    do
        count = read(fromChild, &status, 1);
    while (count < 0 && errno == EINTR);
    // What static objects hold belongs to the child now.
    _exit(count == 1 ? EXIT_SUCCESS : EXIT_FAILURE);
}

} // namespace

void closeInheritedDescriptors()
{
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
    if (!folder)
        return;
    std::vector<int> inherited;
    while (const dirent* const entry = readdir(folder.get())) { // NOLINT(concurrency-mt-unsafe): one thread
        const long fd = std::strtol(entry->d_name, nullptr, 10);
        if (fd > STDERR_FILENO && fd != dirfd(folder.get()))
            inherited.push_back(static_cast<int>(fd));
    }
    for (const int fd : inherited)
        close(fd);
}

Background::Background()
{
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        fail();
    const pid_t child = fork();
    if (child < 0) {
        close(ends[0]);
        close(ends[1]);
        fail();
    }
    if (child > 0) {
        close(ends[1]);
        endWithChild(ends[0]);
    }
    close(ends[0]);
    toParent_ = ends[1];
    setsid();
}

Background::~Background()
{
    if (toParent_ >= 0)
        close(toParent_);
}

void Background::ready()
{
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null < 0 || chdir("/") != 0)
        fail();
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (dup2(null, fd) < 0)
            fail();
    if (null > STDERR_FILENO)
        close(null);
    const char done = 1;
    if (write(toParent_, &done, 1) != 1)
        fail();
    close(toParent_);
    toParent_ = -1;
}

} // namespace norvale::tamber::systemdata::ipseccfg::engine
