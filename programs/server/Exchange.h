#ifndef IPSECCFG_SERVER_EXCHANGE_H
#define IPSECCFG_SERVER_EXCHANGE_H

/// @file
/// One exchange with a client: a request in, an answer out.

#include "Channel.h"
#include "Server.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Reads one request, carries it out and answers it, whatever happens; one line about it goes to the system's
/// log.
/// @param configurationFile a configuration that cannot be read is what the client is told
/// @return whether the client was sent the answer
bool exchange(Channel& channel, const std::string& configurationFile, const Limits& limits = Limits());

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
