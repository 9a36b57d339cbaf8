#ifndef IPSECCFG_CLIENT_ENGINESTATUS_H
#define IPSECCFG_CLIENT_ENGINESTATUS_H

/// @file
/// Asking the engine what it does.

#include "Configuration.h"
#include "Message.h"
#include "RuleStatus.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Whether the configured engine protects traffic, and so has something to tell of rules.
bool protects(const configserver::Configuration& configuration);

/// What the running engine does for each rule, asked through its control interface; nothing if it does not
/// run, no rules if it does not protect.
/// @throws std::runtime_error if the configured engine cannot be asked, or does not answer
std::optional<std::vector<RuleStatus>> engineStatus(const configserver::Configuration& configuration);

/// Why connections have no tunnel: the engine's words by the connection's name.
using Troubles = std::map<std::string, std::string>;

/// The troubles as the engine keeps them, a line each: the name, a blank, the words.
Troubles troublesOf(const std::string& content);

/// The same from what the engine answers: the events of list-conns, list-policies and list-sas. The rules by
/// priority.
std::vector<RuleStatus> statusOf(const std::vector<vici::Element>& connections,
                                 const std::vector<vici::Element>& policies,
                                 const std::vector<vici::Element>& associations, const Troubles& troubles);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
