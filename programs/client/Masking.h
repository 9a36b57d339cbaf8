#ifndef IPSECCFG_CLIENT_MASKING_H
#define IPSECCFG_CLIENT_MASKING_H

/// @file
/// Policies without their secrets.

#include "PolicyFile.h"

namespace norvale::tamber::systemdata::ipseccfg::client {

/// What stands in place of a secret, whatever its length.
constexpr const char* MASK = "********";

/// The same policy with MASK in place of each pre-shared key. Rules, certificates and all other attributes
/// are shared with `policy`.
Policy masked(const Policy& policy);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
