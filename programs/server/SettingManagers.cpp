// The table of engines: a new one is a new row.

#include "SettingManagers.h"

#include "StandaloneSettingManager.h"
#include "StrongswanSettingManager.h"

#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

template <class Manager>
std::unique_ptr<EngineSettingManager> make(const Configuration& configuration, const SettingFolder& folder)
{
    return std::make_unique<Manager>(configuration, folder);
}

struct Engine {
    const char* name;
    std::unique_ptr<EngineSettingManager> (*create)(const Configuration&, const SettingFolder&);
};
constexpr Engine ENGINES[] = {{"standalone", make<StandaloneSettingManager>},
                              {"strongswan", make<StrongswanSettingManager>}};

} // namespace

std::vector<std::string> knownEngines()
{
    std::vector<std::string> names;
    for (const Engine& engine : ENGINES)
        names.emplace_back(engine.name);
    return names;
}

std::unique_ptr<EngineSettingManager> createSettingManager(const Configuration& configuration,
                                                           const SettingFolder& folder)
{
    for (const Engine& engine : ENGINES)
        if (configuration.engine == engine.name)
            return engine.create(configuration, folder);
    throw std::logic_error("no setting manager for the engine '" + configuration.engine + "'");
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
