#ifndef SYSTEMDATA_REQUESTER_FILEDESCRIPTOR_H
#define SYSTEMDATA_REQUESTER_FILEDESCRIPTOR_H

/// @file
/// An owned file descriptor.

#include <unistd.h>
#include <utility>

namespace norvale::tamber::systemdata::requester {

/// Owns an open file descriptor, or none (-1), and closes it. Not synchronised.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) noexcept
        : descriptor_(descriptor)
    {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(other.release())
    {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (descriptor_ != -1)
            ::close(descriptor_);
    }

    int get() const { return descriptor_; }

    /// Hands the descriptor over to the caller.
    int release() noexcept { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
