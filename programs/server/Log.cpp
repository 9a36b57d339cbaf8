// Lines for the system's log.

#include "Log.h"

#include <syslog.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

void openLog()
{
    openlog("systemdataIPsecCfgServer", LOG_PID, LOG_DAEMON);
}

void logAnswer(const std::string& scenario, const Answer& answer)
{
    const bool success = answer.status == common::ResultCommand::Success;
    syslog(success ? LOG_INFO : LOG_ERR, "%s: %s: %s", scenario.c_str(), success ? "success" : "failure",
           answer.detail.c_str());
}

void logLastResort(common::ResultCommand::Type status) noexcept
{
    const bool success = status == common::ResultCommand::Success;
    syslog(LOG_ERR, "request: %s: out of memory", success ? "success" : "failure");
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
