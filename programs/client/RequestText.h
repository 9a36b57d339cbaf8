#ifndef IPSECCFG_CLIENT_REQUESTTEXT_H
#define IPSECCFG_CLIENT_REQUESTTEXT_H

/// @file
/// The request that a policy becomes.

#include "PolicyFile.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The path of the server's executable: what IPSECCFGSERVER names, else systemdataIPsecCfgServer where PATH
/// finds it, else the path that the library has built in. The sender chooses in the same way.
std::string serverPath();

/// The XML-RPC request that `start` sends for a policy, byte for byte.
std::string requestText(const Policy& policy);

/// The same with "0x********" in place of each pre-shared key; well-formed XML, but no request to send.
std::string maskedRequestText(const Policy& policy);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
