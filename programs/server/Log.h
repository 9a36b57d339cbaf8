#ifndef IPSECCFG_SERVER_LOG_H
#define IPSECCFG_SERVER_LOG_H

/// @file
/// What the server tells the system's log: a line a request, nothing of the policy.

#include "Answer.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Sets the name under which this process logs: systemdataIPsecCfgServer, facility daemon.
void openLog();

/// "SCENARIO: success: DETAIL" (info) or "SCENARIO: failure: DETAIL" (error).
/// @param answer presentable
void logAnswer(const std::string& scenario, const Answer& answer);

/// The line for a request that was answered when there was no memory to make an answer of its own.
void logLastResort(common::ResultCommand::Type status) noexcept;

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
