#ifndef IPSECCFG_SERVER_DESCRIPTOR_H
#define IPSECCFG_SERVER_DESCRIPTOR_H

/// @file
/// A file descriptor with one owner.

#include <unistd.h>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Owns an open descriptor, or none, and closes it.
class Descriptor {
public:
    Descriptor() = default;
    /// @param fd an open descriptor, or -1 for none
    explicit Descriptor(int fd)
        : fd_(fd)
    {}
    ~Descriptor() { close(); }

    Descriptor(Descriptor&& other) noexcept
        : fd_(std::exchange(other.fd_, -1))
    {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return fd_ >= 0; }
    /// The descriptor, still owned here; -1 for none.
    int get() const { return fd_; }

    void close()
    {
        if (fd_ >= 0)
            ::close(std::exchange(fd_, -1));
    }

private:
    int fd_ = -1;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
