// The stream that a structured message is written to, packet by packet.

#include "COStream.h"

#include <algorithm>

namespace norvale::tamber::systemdata::parser {

COStream::COStream(std::ostream& out)
    : out_(out)
{
    packet_.reserve(PACKET_SIZE);
}

bool COStream::write_(const char* text, std::size_t size)
{
    while (size > PACKET_SIZE - packet_.size()) {
        const std::size_t fitting = PACKET_SIZE - packet_.size();
        packet_.append(text, fitting);
        if (!send_())
            return false;
        text += fitting;
        size -= fitting;
    }
    packet_.append(text, size);
    return true;
}

bool COStream::flush_()
{
    if (!send_())
        return false;
    if (out_.rdbuf()->pubsync() == 0)
        return true;
    out_.setstate(std::ios_base::badbit);
    return false;
}

// Goes to the stream's buffer, not through std::ostream::write, which swallows what a buffer throws: the
// caller of serialize is to see that a server could not be started. A stream without a buffer is never good.
bool COStream::send_()
{
    if (!out_.good())
        return false;
    const auto size = static_cast<std::streamsize>(packet_.size());
    const bool sent = out_.rdbuf()->sputn(packet_.data(), size) == size;
    packet_.clear();
    if (!sent)
        out_.setstate(std::ios_base::badbit);
    return sent;
}

void COStream::drop_()
{
    packet_.clear();
}

} // namespace norvale::tamber::systemdata::parser
