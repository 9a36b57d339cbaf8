// The stand-ins for libc's calls that work on files.

#include "server_disk.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using tests::disk;

bool isFile(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

void note(const char* call)
{
    const tests::Undisturbed undisturbed;
    disk.asked.emplace_back(call);
}

bool fails(const char* call)
{
    if (disk.death.strikes())
        _exit(tests::KILLED);
    if (disk.call != call || !disk.calls.strikes())
        return false;
    errno = disk.error;
    return true;
}

} // namespace

extern "C" {

int openat(int folder, const char* path, int flags, ...)
{
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (disk.beforeOpening)
        disk.beforeOpening(path);
    return fails("openat") ? -1
                           : static_cast<int>(syscall(SYS_openat, folder, path, flags | O_LARGEFILE, mode));
}

ssize_t write(int fd, const void* data, size_t size)
{
    return isFile(fd) && fails("write") ? -1
                                        : syscall(SYS_write, fd, data, std::min(size, disk.longestWrite));
}

ssize_t read(int fd, void* data, size_t size)
{
    return fails("read") ? -1 : syscall(SYS_read, fd, data, size);
}

int fsync(int fd)
{
    note(isFile(fd) ? "fsync file" : "fsync folder");
    return fails("fsync") ? -1 : static_cast<int>(syscall(SYS_fsync, fd));
}

int linkat(int from, const char* name, int to, const char* newName, int flags) noexcept
{
    return fails("linkat") ? -1 : static_cast<int>(syscall(SYS_linkat, from, name, to, newName, flags));
}

int symlinkat(const char* target, int folder, const char* name) noexcept
{
    return fails("symlinkat") ? -1 : static_cast<int>(syscall(SYS_symlinkat, target, folder, name));
}

int unlinkat(int folder, const char* name, int flags) noexcept
{
    return fails("unlinkat") ? -1 : static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
}

int renameat(int from, const char* name, int to, const char* newName) noexcept
{
    note("rename");
    if (disk.beforeRename)
        disk.beforeRename();
    return fails("renameat") ? -1 : static_cast<int>(syscall(SYS_renameat2, from, name, to, newName, 0));
}

} // extern "C"
