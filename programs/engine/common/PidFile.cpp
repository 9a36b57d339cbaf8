// Locking, writing and removing of the pid file.

#include "PidFile.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::engine {

PidFile::PidFile(const std::string& path)
    : path_(path)
{
    try {
        while (!lock_()) {
            close(fd_);
            fd_ = -1;
        }
    } catch (...) {
        if (fd_ >= 0)
            close(fd_);
        throw;
    }
}

PidFile::~PidFile()
{
    close(fd_);
}

void PidFile::write(pid_t pid)
{
    const std::string text = std::to_string(pid) + "\n";
    // The rest of a longer number that stood there is cut off afterwards: the first line is right at any
    // time.
    if (pwrite(fd_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()) ||
        ftruncate(fd_, static_cast<off_t>(text.size())) != 0)
        fail_();
}

void PidFile::remove() noexcept
{
    if (liesThere_())
        unlink(path_.c_str());
}

// False if an engine that has just ended took the file away: what is locked is not what lies there now.
bool PidFile::lock_()
{
    constexpr mode_t MODE = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
    fd_ = open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, MODE);
    if (fd_ < 0)
        fail_();
    if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            throw std::runtime_error(path_ + ": another engine runs");
        fail_();
    }
    return liesThere_();
}

bool PidFile::liesThere_() const noexcept
{
    struct stat locked = {};
    struct stat lying = {};
    return fstat(fd_, &locked) == 0 && lstat(path_.c_str(), &lying) == 0 && locked.st_dev == lying.st_dev &&
           locked.st_ino == lying.st_ino;
}

void PidFile::fail_() const
{
    throw std::runtime_error(path_ + ": " + std::generic_category().message(errno));
}

} // namespace norvale::tamber::systemdata::ipseccfg::engine
