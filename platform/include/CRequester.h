#ifndef SYSTEMDATA_REQUESTER_CREQUESTER_H
#define SYSTEMDATA_REQUESTER_CREQUESTER_H

/// @file
/// The request channel from a client to a server process.

#include "CIStream.h"
#include "COStream.h"

#include <memory>

namespace norvale::tamber::systemdata::requester {

class Channel;

/// One exchange with a server process: one request out, one answer in.
///
/// The server is a program of its own. Which one, the request itself says: its command, the (unescaped)
/// method name of the XML-RPC request, is the path of the server's executable, taken as it stands, or of a
/// stream socket in the file system (AF_UNIX, unix(7)) that a server listens on. A socket is connected to, and
/// nothing is started: so a user without rights reaches a server that has them. An executable is started,
/// without a shell and without a search along PATH, as soon as that name has been written, with one socket
/// pair as its standard input and output, the caller's standard error, and no other descriptor; its
/// environment is the caller's, its signals are at their default. Writing and reading are interleaved, so
/// that neither side waits for the other for ever.
///
/// A good answer counts, whatever the server does then: it need not read the whole request, and may die.
///
/// The channel owns the descriptors and the process; both are gone when it is destroyed. It never raises
/// SIGPIPE, waits for no process but its own, and does not mind signals that arrive, an ignored SIGCHLD or
/// standard descriptors that are closed. Not synchronised; different channels may be used by different
/// threads.
class CRequester {
public:
    /// Opens a channel; no server is started yet.
    /// @param seconds bound on the whole exchange, from the start of the server, or the attempt to connect, to the
    /// end of its answer; at least 1.
    /// @throws std::invalid_argument "CRequester: seconds must be positive" otherwise.
    /// @throws std::system_error "CRequester: cannot open a channel: ..." if there are no descriptors left.
    explicit CRequester(int seconds);

    /// Closes the channel. A started server that is still running gets half a second to end by itself (none if the
    /// time is up), then SIGTERM, and half a second later SIGKILL.
    ~CRequester();

    CRequester(const CRequester&) = delete;
    CRequester& operator=(const CRequester&) = delete;

    /// The stream to write the request to; lives as long as the channel.
    ///
    /// It stops taking data when the time is up, when the server is gone without an answer, at the end of
    /// transmission, and from the start if the message is no request or its command does not end within the
    /// first 64 KiB. Once the server has answered without reading on, the rest of the request is dropped.
    /// @throws std::system_error "CRequester: cannot start COMMAND: ..." from the write that completes the
    /// command, if it cannot be started, and "CRequester: cannot connect to COMMAND: ..." if it is a socket that
    /// cannot be connected to: nobody listens (ECONNREFUSED), the caller may not (EACCES), its queue stays full
    /// until the time is up (ETIMEDOUT). The channel is of no use then.
    parser::COStream& getOStream();

    /// The stream to read the answer from; lives as long as the channel. It hands out bytes as they come, and
    /// ends when the server closes its side, when the connection breaks, when the time is up, and at once if
    /// the request could not be sent.
    parser::CIStream& getIStream();

    /// Marks the end of the request: the server reads the end of its standard input.
    /// @return 0 on success; not 0 if no server was started, or if the request could not be sent whole and no
    /// answer has come.
    int endOfTransmission();

private:
    int socket_ = -1;
    std::unique_ptr<Channel> stream_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
