#ifndef IPSECCFG_SERVER_SETTINGMANAGERS_H
#define IPSECCFG_SERVER_SETTINGMANAGERS_H

/// @file
/// The engines that the server knows.

#include "Configuration.h"
#include "EngineSettingManager.h"
#include "SettingFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The names of the engines that there are setting managers for.
std::vector<std::string> knownEngines();

/// The setting manager of the configured engine.
/// @param folder must outlive it
/// @throws std::logic_error if the engine is not one of knownEngines()
std::unique_ptr<EngineSettingManager> createSettingManager(const Configuration& configuration,
                                                           const SettingFolder& folder);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
