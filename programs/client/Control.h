#ifndef IPSECCFG_CLIENT_CONTROL_H
#define IPSECCFG_CLIENT_CONTROL_H

/// @file
/// The commands of ipseccfgctl.

#include "CommandLine.h"
#include "Outcome.h"

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Does what was asked for. A policy with problems is never sent.
///
/// `options.server` becomes the environment variable IPSECCFGSERVER, where the sender looks for it.
Outcome perform(const Options& options);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
