// The client's end of a request channel: writes the request and reads the answer, neither waiting for the
// other.

#include "Channel.h"

#include "ServerSocket.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace norvale::tamber::systemdata::requester {

namespace {

constexpr std::size_t READ_SIZE = 16384;

} // namespace

Channel::Channel(int socket, FileDescriptor serverEnd, std::chrono::seconds bound)
    : socket_(socket)
    , serverEnd_(std::move(serverEnd))
    , bound_(bound)
    , deadline_(bound)
    , output_(this)
    , input_(this)
    , requestStream_(output_)
    , answerStream_(input_)
{}

Channel::~Channel()
{
    if (server_)
        server_->end(deadline_.hasPassed() ? std::chrono::milliseconds::zero() : ServerProcess::PATIENCE);
}

bool Channel::endOfTransmission()
{
    if (request_ == Request::unnamed)
        request_ = Request::failed;
    if (request_ == Request::sending && ::shutdown(socket_, SHUT_WR) != 0)
        judgeBrokenOff_();
    if (request_ != Request::failed)
        request_ = Request::ended;
    return request_ == Request::ended;
}

std::streamsize Channel::xsputn(const char* bytes, std::streamsize count)
{
    return put_({bytes, static_cast<std::size_t>(count)}) ? count : 0;
}

Channel::int_type Channel::overflow(int_type byte)
{
    if (traits_type::eq_int_type(byte, traits_type::eof()))
        return traits_type::not_eof(byte);
    const char character = traits_type::to_char_type(byte);
    return put_({&character, 1}) ? byte : traits_type::eof();
}

Channel::int_type Channel::underflow()
{
    if (request_ == Request::unnamed || !awaitAnswer_())
        return traits_type::eof();
    current_.swap(ahead_);
    ahead_.clear();
    setg(current_.data(), current_.data(), current_.data() + current_.size());
    return traits_type::to_int_type(current_.front());
}

// Whether the stream takes the bytes. It does not say how many of them, as the rest of a request without its
// middle is of no use.
bool Channel::put_(std::string_view bytes)
{
    if (request_ == Request::unnamed) {
        bytes.remove_prefix(head_.add(bytes));
        if (head_.state() == RequestHead::State::refused)
            request_ = Request::failed;
        else if (head_.state() == RequestHead::State::complete)
            reachServer_();
    }
    if (request_ == Request::sending)
        send_(bytes);
    return request_ != Request::failed && request_ != Request::ended;
}

void Channel::reachServer_()
{
    request_ = Request::failed; // should it throw
    const FileDescriptor serverEnd = std::move(serverEnd_);
    deadline_ = Deadline(bound_);
    if (isSocket(head_.command()))
        connectSocket(head_.command(), socket_, deadline_);
    else
        server_.emplace(head_.command(), serverEnd.get());
    request_ = Request::sending;
    send_(head_.text());
}

void Channel::send_(std::string_view bytes)
{
    while (!bytes.empty() && request_ == Request::sending) {
        if (deadline_.hasPassed()) {
            giveUp_();
            return;
        }
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        else if (errno == EAGAIN)
            awaitRoom_();
        else if (errno == EPIPE || errno == ECONNRESET)
            judgeBrokenOff_();
        else if (errno != EINTR)
            request_ = Request::failed;
    }
}

// Waits until the server takes more of the request. It may be waiting for us to take its answer.
void Channel::awaitRoom_()
{
    const int answer = answerEnded_ ? 0 : POLLIN;
    if (!await_(static_cast<short>(POLLOUT | answer)))
        giveUp_();
    else if (!answerEnded_)
        readAhead_();
    if (ahead_.size() > READ_AHEAD_LIMIT) {
        request_ = Request::failed;
        std::string().swap(ahead_);
    }
}

// The server reads no more of the request. That is its good right if it answers.
void Channel::judgeBrokenOff_()
{
    awaitAnswer_();
    giveUp_();
}

// Whether what has come is an answer, and whole, its text tells.
void Channel::giveUp_()
{
    request_ = answerBegun_ ? Request::answered : Request::failed;
}

// Waits for more of the answer. False if there is none: it has ended, the time is up, or the server waits for
// a request that cannot be sent.
bool Channel::awaitAnswer_()
{
    while (ahead_.empty() && !answerEnded_ && request_ != Request::failed && await_(POLLIN))
        readAhead_();
    return !ahead_.empty();
}

// Takes what the server has sent by now. A broken connection is the end of an answer like any other: whether
// the answer is whole, its text tells.
void Channel::readAhead_()
{
    char bytes[READ_SIZE];
    const ssize_t size = ::recv(socket_, bytes, sizeof bytes, MSG_DONTWAIT);
    if (size > 0) {
        ahead_.append(bytes, static_cast<std::size_t>(size));
        answerBegun_ = true;
    } else if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
        answerEnded_ = true;
    }
}

// Waits until one of the events has come. False if the time is up before that.
bool Channel::await_(short events) const
{
    pollfd socket{socket_, events, 0};
    while (!deadline_.hasPassed()) {
        const int ready = ::poll(&socket, 1, deadline_.pollTimeout());
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR && errno != EAGAIN)
            return false;
    }
    return false;
}

} // namespace norvale::tamber::systemdata::requester
