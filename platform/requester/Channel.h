#ifndef SYSTEMDATA_REQUESTER_CHANNEL_H
#define SYSTEMDATA_REQUESTER_CHANNEL_H

/// @file
/// What CRequester's streams write to and read from.

#include "CIStream.h"
#include "COStream.h"
#include "Deadline.h"
#include "FileDescriptor.h"
#include "RequestHead.h"
#include "ServerProcess.h"

#include <chrono>
#include <cstddef>
#include <istream>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace norvale::tamber::systemdata::requester {

/// The client's end of a request channel as a stream buffer: bytes put into it go to the server, bytes taken
/// from it are the server's answer.
///
/// What is written is kept back until the request's command is known; then the server is started, or connected
/// to if the command names a socket, and gets it all. From there on whatever is written is sent at once. While the server does not take it, its answer is
/// read ahead, so that a server that answers before it has read the request cannot block the exchange. Every
/// wait ends with the time bound. Not synchronised.
class Channel final : public std::streambuf {
public:
    /// The most of an answer that is kept while the request is still being written. More than the parser
    /// reads, unless that has been built with a higher limit; only a server that does not read meets it.
    static constexpr std::size_t READ_AHEAD_LIMIT = 64U << 20U;

    /// @param socket the client's end; stays the caller's, who closes it before this object is destroyed. Becomes
    /// the end of another connection if the server is reached through a socket of its own.
    /// @param serverEnd the other end, for the server to be started.
    /// @param bound of the exchange, from the start of the server, or the attempt to connect.
    Channel(int socket, FileDescriptor serverEnd, std::chrono::seconds bound);

    /// Sees the server end: at once if the time is up, else after a moment's patience.
    ~Channel() override;

    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    parser::COStream& requestStream() { return requestStream_; }
    parser::CIStream& answerStream() { return answerStream_; }

    /// Ends the server's standard input. Nothing is taken after that.
    /// @return whether the whole request was sent, or an answer has come without that.
    bool endOfTransmission();

protected:
    /// @throws std::system_error if the bytes complete a command that cannot be started or connected to.
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;
    int_type underflow() override;

private:
    enum class Request {
        unnamed,  // its command is not known yet
        sending,  // goes to the server
        answered, // the server has answered and reads no more: the rest is dropped
        ended,    // was sent, or answered
        failed    // cannot be sent
    };

    bool put_(std::string_view bytes);
    void reachServer_();
    void send_(std::string_view bytes);
    void awaitRoom_();
    void judgeBrokenOff_();
    void giveUp_();
    bool awaitAnswer_();
    void readAhead_();
    bool await_(short events) const;

    int socket_;
    FileDescriptor serverEnd_;
    std::chrono::seconds bound_;
    Deadline deadline_;
    RequestHead head_;
    std::optional<ServerProcess> server_;
    Request request_ = Request::unnamed;

    bool answerBegun_ = false;
    bool answerEnded_ = false;
    std::string ahead_;   // the part of the answer that nobody has asked for yet
    std::string current_; // the part of the answer that is being read

    std::ostream output_;
    std::istream input_;
    parser::COStream requestStream_;
    parser::CIStream answerStream_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
