#ifndef IPSECCFG_STANDALONE_STANDALONEENGINE_H
#define IPSECCFG_STANDALONE_STANDALONEENGINE_H

/// @file
/// The standalone engine.

#include "Engine.h"
#include "Settings.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::standalone {

/// An engine that needs no kernel feature and no rights: it protects no traffic, but behaves in all else as
/// one that does. What it tells the log about its settings are numbers.
class StandaloneEngine : public engine::Engine {
public:
    using Engine::Engine;

private:
    std::string load_() override;

    Settings settings_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::standalone

#endif
