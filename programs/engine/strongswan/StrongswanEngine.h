#ifndef IPSECCFG_STRONGSWAN_STRONGSWANENGINE_H
#define IPSECCFG_STRONGSWAN_STRONGSWANENGINE_H

/// @file
/// strongSwan as an engine.

#include "Charon.h"
#include "Engine.h"
#include "Settings.h"

#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

/// Runs strongSwan's daemon with the settings.
///
/// New settings that are refused leave no gap for longer than it takes to load the old ones again: their
/// tunnels stay up all the time. Of a change tunnels end only where it concerns them. If the daemon ends by
/// itself the engine ends too.
class StrongswanEngine : public engine::Engine {
public:
    StrongswanEngine(const engine::Files& files, const Places& places);

private:
    std::string load_() override;
    void stop_() override;
    void childEnded_() override;

    void begin_(const Settings& settings);
    void change_(const Settings& settings);

    Charon charon_;
    std::optional<Settings> current_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif
