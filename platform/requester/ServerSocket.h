#ifndef SYSTEMDATA_REQUESTER_SERVERSOCKET_H
#define SYSTEMDATA_REQUESTER_SERVERSOCKET_H

/// @file
/// A server that is reached through a socket in the file system.

#include "Deadline.h"

#include <string>

namespace norvale::tamber::systemdata::requester {

/// Whether the path names a socket (symbolic links are followed).
bool isSocket(const std::string& path) noexcept;

/// Connects to a stream socket and puts the connection, closed on exec, in the place of a descriptor of the
/// caller's.
/// @param target an open descriptor; what it stood for is closed. Unchanged if this throws.
/// @param deadline until which a place in the listener's queue is waited for.
/// @throws std::system_error "CRequester: cannot connect to PATH: ..." if that fails.
void connectSocket(const std::string& path, int target, const Deadline& deadline);

} // namespace norvale::tamber::systemdata::requester

#endif
