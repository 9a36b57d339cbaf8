// The part of an engine's setting manager that is the same for every engine.

#include "SettingManager.h"

#include <stdexcept>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::common {

SettingManager::SettingManager() = default;
SettingManager::~SettingManager() = default;

void SettingManager::setSettingFilePath(const std::string& path)
{
    settingFilePath_ = path;
}

std::string SettingManager::getSettingFilePath() const
{
    return settingFilePath_;
}

void SettingManager::deleteSettingFile()
{
    if (unlink(getSettingFilePath().c_str()) != 0)
        throw std::runtime_error("can't delete the file");
}

} // namespace norvale::tamber::systemdata::ipseccfg::common
