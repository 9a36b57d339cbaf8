// From settings to settings.

#include "StrongswanEngine.h"

#include <exception>
#include <stdexcept>
#include <syslog.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

StrongswanEngine::StrongswanEngine(const engine::Files& files, const Places& places)
    : Engine(files)
    , charon_(places)
{}

std::string StrongswanEngine::load_()
{
    const Settings settings = readSettings(files().settings);
    if (charon_.runs())
        change_(settings);
    else
        begin_(settings);
    current_ = settings;
    const std::size_t count = charon_.connections();
    return std::to_string(count) + (count == 1 ? " connection" : " connections");
}

void StrongswanEngine::stop_()
{
    charon_.stop();
}

void StrongswanEngine::childEnded_()
{
    if (charon_.hasEnded())
        throw std::runtime_error("strongSwan ended by itself; what was to be protected is blocked");
}

void StrongswanEngine::begin_(const Settings& settings)
{
    charon_.start(settings.nameSpace);
    try {
        charon_.load(settings);
    } catch (...) {
        charon_.stop();
        throw;
    }
}

void StrongswanEngine::change_(const Settings& settings)
{
    if (settings.nameSpace != current_->nameSpace)
        throw std::runtime_error("ns-name: '" + settings.nameSpace + "' is not possible, only '" +
                                 current_->nameSpace + "', in which the engine runs, until it is shut down");
    try {
        charon_.load(settings);
    } catch (const std::exception&) {
        try {
            charon_.load(*current_);
        } catch (const std::exception& failure) {
            syslog(LOG_ERR, "the old settings are refused too: %s", failure.what());
        }
        throw;
    }
    charon_.endTunnels(settings.secrets() != current_->secrets());
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan
