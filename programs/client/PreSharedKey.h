#ifndef IPSECCFG_CLIENT_PRESHAREDKEY_H
#define IPSECCFG_CLIENT_PRESHAREDKEY_H

/// @file
/// The pre-shared key of a transform.

#include "PolicyTable.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The pre-shared key that a transform's `psk` or `psk-file` gives, without the one line end that an editor
/// leaves at a file's end.
///
/// Reports what is wrong with it (both or neither of the two, a file that cannot be read or that everybody
/// may read, a byte that would not reach the engine unchanged) and gives an empty text then. No report holds
/// a piece of a key that would be accepted.
std::string preSharedKeyOf(const PolicyTable& transform);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
