#ifndef IPSECCFG_SERVER_SURROUNDINGS_H
#define IPSECCFG_SERVER_SURROUNDINGS_H

/// @file
/// What a process gets from whoever starts it, and what the server lets stand of it.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The configuration file: what the environment variable "IPSECCFG_SERVER_CONFIG" names, else
/// "/etc/ipseccfg/server.toml". The variable does not count when the server has more rights than its caller.
std::string configurationFile();

/// Makes the process independent of its caller, who may be anybody.
///
/// - The environment is PATH=/usr/sbin:/usr/bin:/sbin:/bin and nothing else: the commands that the server
///   runs obey it.
/// - Every signal has its default effect, and none is blocked: a caller may have the end of children ignored.
///   Only SIGPIPE and SIGXFSZ (a client that is gone, a limit on file sizes) are caught, so that the write
///   that caused them fails instead, and the stop signals of a terminal are ignored, by the commands that the
///   server runs too: whoever sits there could else keep all others waiting. No timer runs.
/// - New files are for the server's user alone. The server leaves no core and can be looked into by root only:
///   it holds keys. The engine leaves no core unless it raises the limit itself.
/// - No descriptor is open but the three standard ones.
/// - What a caller can take away from its descendants, and with it from an engine that stays, is given back as
///   far as the server has the right to: limits of processor time, memory and file sizes, those of stack and
///   descriptors below the usual, a lower priority.
void leaveCallersSurroundings();

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
