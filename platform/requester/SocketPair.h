#ifndef SYSTEMDATA_REQUESTER_SOCKETPAIR_H
#define SYSTEMDATA_REQUESTER_SOCKETPAIR_H

/// @file
/// The two ends of a request channel.

#include "FileDescriptor.h"

namespace norvale::tamber::systemdata::requester {

/// Two connected stream sockets, closed on exec. Neither is a standard descriptor, even in a process that has
/// closed those: the caller's later standard output would else be the channel.
struct SocketPair {
    FileDescriptor client;
    FileDescriptor server;
};

/// @throws std::system_error "CRequester: cannot open a channel: ..." if no socket is to be had.
SocketPair openSocketPair();

} // namespace norvale::tamber::systemdata::requester

#endif
