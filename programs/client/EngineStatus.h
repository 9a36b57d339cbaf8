#ifndef IPSECCFG_CLIENT_ENGINESTATUS_H
#define IPSECCFG_CLIENT_ENGINESTATUS_H

/// @file
/// Asking the engine what it does.

#include "Configuration.h"
#include "Message.h"
#include "RuleStatus.h"

#include <optional>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// What the running engine does for each rule, asked through its control interface; nothing if it does not
/// run.
/// @throws std::runtime_error if the configured engine cannot be asked, or does not answer
std::optional<std::vector<RuleStatus>> engineStatus(const configserver::Configuration& configuration);

/// The same from what the engine answers: the events of list-conns, list-policies and list-sas. The rules by
/// priority.
std::vector<RuleStatus> statusOf(const std::vector<vici::Element>& connections,
                                 const std::vector<vici::Element>& policies,
                                 const std::vector<vici::Element>& associations);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
