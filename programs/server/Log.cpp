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

void logLastResort() noexcept
{
    syslog(LOG_ERR, "request: failure: out of memory");
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
