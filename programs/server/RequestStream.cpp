// Reading of a request within its bounds.

#include "RequestStream.h"

#include "Text.h"
#include "Waiting.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

BoundedInput::BoundedInput(int fd, std::size_t bytes, std::chrono::milliseconds time)
    : fd_(fd)
    , bound_(bytes)
    , time_(time)
    , deadline_(std::chrono::steady_clock::now() + time)
    , buffer_()
{}

BoundedInput::int_type BoundedInput::underflow()
{
    if (!problem_.empty())
        return traits_type::eof();
    // At the bound one byte more tells a request that is too large from one that ends here.
    const std::size_t left = bound_ - received_;
    const std::size_t count = receive_(buffer_.data(), std::clamp(left, std::size_t{1}, buffer_.size()));
    if (count != 0 && left == 0)
        problem_ = "the request is larger than " + std::to_string(bound_) + " bytes";
    if (count == 0 || !problem_.empty())
        return traits_type::eof();
    received_ += count;
    setg(buffer_.data(), buffer_.data(), buffer_.data() + count);
    return traits_type::to_int_type(*gptr());
}

// The number of bytes read, 0 at the end of the input or after a problem.
std::size_t BoundedInput::receive_(char* to, std::size_t most)
{
    while (waitForData_()) {
        const ssize_t count = read(fd_, to, most);
        if (count >= 0)
            return static_cast<std::size_t>(count);
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            problem_ = "the request cannot be read: " + programs::systemText(errno);
            break;
        }
    }
    return 0;
}

bool BoundedInput::waitForData_()
{
    if (waitFor(fd_, POLLIN, deadline_))
        return true;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time_);
    problem_ = "the request did not arrive within " + std::to_string(seconds.count()) + " seconds";
    return false;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
