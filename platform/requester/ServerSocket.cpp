// Connects to a server's socket.

#include "ServerSocket.h"

#include "FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::requester {

namespace {

constexpr int MILLISECONDS = 1000;

[[noreturn]] void fail(const std::string& path, int error)
{
    throw std::system_error(error, std::system_category(), "CRequester: cannot connect to " + path);
}

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        fail(path, ENAMETOOLONG);
    path.copy(address.sun_path, path.size());
    return address;
}

// A connection waits for a place in the listener's queue as long as sending may take. To this kind of socket a
// time of nothing would mean for ever.
void boundBy(const Deadline& deadline, int socket)
{
    const int left = deadline.pollTimeout() > 0 ? deadline.pollTimeout() : 1;
    timeval time = {};
    time.tv_sec = left / MILLISECONDS;
    time.tv_usec = static_cast<suseconds_t>(left % MILLISECONDS) * MILLISECONDS;
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

void connectWithin(const Deadline& deadline, int socket, const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    int error = EINTR;
    while (error == EINTR) {
        boundBy(deadline, socket);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): that is how addresses are passed
        const auto* const general = reinterpret_cast<const sockaddr*>(&address);
        error = ::connect(socket, general, sizeof address) == 0 ? 0 : errno;
    }
    if (error != 0)
        fail(path, error == EAGAIN ? ETIMEDOUT : error);
}

} // namespace

bool isSocket(const std::string& path) noexcept
{
    struct stat status = {};
    // Not by stat: a program that watches where a server is looked for sees the search alone.
    return ::fstatat(AT_FDCWD, path.c_str(), &status, 0) == 0 && S_ISSOCK(status.st_mode);
}

void connectSocket(const std::string& path, int target, const Deadline& deadline)
{
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (socket.get() == -1)
        fail(path, errno);
    connectWithin(deadline, socket.get(), path);
    if (::dup3(socket.get(), target, O_CLOEXEC) == -1)
        fail(path, errno);
}

} // namespace norvale::tamber::systemdata::requester
