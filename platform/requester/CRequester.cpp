// The request channel from a client to a server process.

#include "CRequester.h"

#include "Channel.h"
#include "SocketPair.h"

#include <chrono>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace norvale::tamber::systemdata::requester {

CRequester::CRequester(int seconds)
{
    if (seconds < 1)
        throw std::invalid_argument("CRequester: seconds must be positive");
    SocketPair ends = openSocketPair();
    stream_ =
        std::make_unique<Channel>(ends.client.get(), std::move(ends.server), std::chrono::seconds(seconds));
    socket_ = ends.client.release();
}

// The server reads the end of its input before its own end is awaited.
CRequester::~CRequester()
{
    ::close(socket_);
}

parser::COStream& CRequester::getOStream()
{
    return stream_->requestStream();
}

parser::CIStream& CRequester::getIStream()
{
    return stream_->answerStream();
}

int CRequester::endOfTransmission()
{
    return stream_->endOfTransmission() ? 0 : 1;
}

} // namespace norvale::tamber::systemdata::requester
