#ifndef IPSECCFG_CLIENT_RULEREADER_H
#define IPSECCFG_CLIENT_RULEREADER_H

/// @file
/// The filter rules of a policy.

#include "FilterRule.h"
#include "PolicyTable.h"

#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Reads the rules in their order and reports what is wrong with them. What comes back is good only if
/// nothing was reported.
common::FilterSet readRules(const std::vector<PolicyTable>& rules);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
