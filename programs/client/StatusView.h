#ifndef IPSECCFG_CLIENT_STATUSVIEW_H
#define IPSECCFG_CLIENT_STATUSVIEW_H

/// @file
/// The engine's status as text for people.

#include "RuleStatus.h"

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// A table of the rules; empty if there are none.
std::string viewOf(const std::vector<RuleStatus>& rules);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
