// The stream that a structured message is written to, packet by packet.

#include "COStream.h"

#include <utility>

namespace norvale::tamber::systemdata::parser {

COStream::COStream(std::ostream& out)
    : out_(out)
    , packet_(new char[PACKET_SIZE]) // not cleared, as std::make_unique would
{}

bool COStream::writeBeyond_(const char* text, std::size_t size)
{
    while (size > PACKET_SIZE - used_) {
        const std::size_t fitting = PACKET_SIZE - used_;
        if (!write_(text, fitting) || !send_())
            return false;
        text += fitting;
        size -= fitting;
    }
    return write_(text, size);
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
    const auto size = static_cast<std::streamsize>(std::exchange(used_, 0));
    const bool sent = out_.rdbuf()->sputn(packet_.get(), size) == size;
    if (!sent)
        out_.setstate(std::ios_base::badbit);
    return sent;
}

void COStream::drop_()
{
    used_ = 0;
}

} // namespace norvale::tamber::systemdata::parser
