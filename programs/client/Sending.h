#ifndef IPSECCFG_CLIENT_SENDING_H
#define IPSECCFG_CLIENT_SENDING_H

/// @file
/// One request to the server and its answer.

#include "Outcome.h"

#include <functional>

namespace norvale::tamber::systemdata::ipseccfg::common {
class XmlRpcSendPolicy;
}

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Sends a request and says what became of it.
///
/// What the sender prints to std::cout, the response, becomes part of the outcome instead. On a terminal,
/// standard error shows how long it takes. An interrupt (SIGINT) is left at its default: it ends the client,
/// and a server that shares its terminal.
/// @param request performs one of the sender's operations and returns its result
Outcome exchange(const std::function<int(common::XmlRpcSendPolicy&)>& request);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
