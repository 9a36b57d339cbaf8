#ifndef IPSECCFG_CLIENT_POLICYVIEW_H
#define IPSECCFG_CLIENT_POLICYVIEW_H

/// @file
/// A policy as text for people.

#include "Association.h"
#include "PolicyFile.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The engine's settings, both phases as trees, the rules and the certificates as tables. Rules stand in the
/// order in which they are sent: those that protect traffic first. Secrets are shown as they are in `policy`.
std::string viewOf(const Policy& policy);

/// One transform as the tree shows it: "AES 256 bits, SHA256, PSK KEY, group 14, for 28800 s".
std::string inWords(const programs::TransformAttributes& transform);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
