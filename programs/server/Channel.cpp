// Reading ends, answering and ending of the channel to the client.

#include "Channel.h"

#include "Text.h"
#include "Waiting.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// A duplicate above the standard descriptors that no command inherits.
Descriptor duplicateOf(int fd)
{
    return Descriptor(fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// A pipe that poll calls ready takes this much without blocking.
constexpr std::size_t PACKET = PIPE_BUF;

// How long a client may go on sending after it was answered.
constexpr std::chrono::seconds DROP_TIME(2);

bool again(int error)
{
    return error == EINTR || error == EAGAIN || error == EWOULDBLOCK;
}

} // namespace

Channel::Channel(Descriptor input, Descriptor output)
    : input_(std::move(input))
    , output_(std::move(output))
{}

Channel Channel::ofStandardStreams()
{
    // A caller may have closed any of the three; whatever is opened next would take their place.
    int null = open("/dev/null", O_RDWR);
    while (null >= 0 && null <= STDERR_FILENO)
        null = dup(null);
    const Descriptor nullOwner(null);
    Descriptor input = duplicateOf(STDIN_FILENO);
    Descriptor output = duplicateOf(STDOUT_FILENO);
    if (null < 0 || !input || !output || dup2(null, STDIN_FILENO) < 0 || dup2(null, STDOUT_FILENO) < 0 ||
        dup2(null, STDERR_FILENO) < 0)
        throw std::runtime_error("standard input and output: " + programs::systemText(errno));
    return {std::move(input), std::move(output)};
}

bool Channel::answer(const std::string& text, std::chrono::milliseconds time)
{
    const bool written = write_(text, std::chrono::steady_clock::now() + time);
    endOutput_();
    dropInput_();
    return written;
}

bool Channel::write_(const std::string& text, std::chrono::steady_clock::time_point deadline)
{
    std::size_t sent = 0;
    while (sent < text.size()) {
        if (!waitFor(output_.get(), POLLOUT, deadline))
            return false;
        const ssize_t count = write(output_.get(), text.data() + sent, std::min(text.size() - sent, PACKET));
        if (count < 0 && !again(errno))
            return false;
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

// The two ends may be one socket: closing one of its descriptors would not end the stream.
void Channel::endOutput_()
{
    shutdown(output_.get(), SHUT_WR);
    output_.close();
}

void Channel::dropInput_()
{
    const auto deadline = std::chrono::steady_clock::now() + DROP_TIME;
    std::array<char, 16384> dropped = {};
    ssize_t count = 1;
    while (count != 0 && waitFor(input_.get(), POLLIN, deadline)) {
        count = read(input_.get(), dropped.data(), dropped.size());
        if (count < 0 && !again(errno))
            return;
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
