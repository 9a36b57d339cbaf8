// Opens the two ends of a request channel.

#include "SocketPair.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace norvale::tamber::systemdata::requester {

namespace {

[[noreturn]] void fail()
{
    throw std::system_error(errno, std::system_category(), "CRequester: cannot open a channel");
}

FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor)
{
    if (descriptor.get() > STDERR_FILENO)
        return descriptor;
    const int moved = ::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved == -1)
        fail();
    return FileDescriptor(moved);
}

} // namespace

SocketPair openSocketPair()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        fail();
    SocketPair pair{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    return {aboveStandardDescriptors(std::move(pair.client)),
            aboveStandardDescriptors(std::move(pair.server))};
}

} // namespace norvale::tamber::systemdata::requester
