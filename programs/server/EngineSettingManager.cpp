// Command lines from the configuration, and the setting file's way to its place.

#include "EngineSettingManager.h"

#include "Text.h"

#include <stdexcept>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

EngineSettingManager::EngineSettingManager(const Configuration& configuration, const SettingFolder& folder)
    : configuration_(configuration)
    , folder_(folder)
{}

void EngineSettingManager::setSettingFilePath(const std::string& path)
{
    SettingFile file = folder_.locate(path);
    if (file.isAt(configuration_.pidFile))
        throw std::runtime_error("setting-file-path: " + path + ": is the engine's pid file");
    file_ = std::move(file);
    common::SettingManager::setSettingFilePath(path);
}

void EngineSettingManager::getCommand(bool /*variant*/, std::string& command, std::string& option)
{
    command = programs::shellWord(configuration_.serviceCommand);
    option = configuration_.serviceOption;
    option += option.empty() ? "" : " ";
    option += "--setting-file " + programs::shellWord(folder_.currentPath()) + " --pid-file " +
              programs::shellWord(configuration_.pidFile) + " --reason-file " +
              programs::shellWord(folder_.reasonPath());
}

void EngineSettingManager::getModuleCommand(bool variant, std::list<std::string>& modules,
                                            std::list<std::string>& options)
{
    modules.clear();
    options.clear();
    for (const Configuration::Module& module : configuration_.modules) {
        modules.push_back(module.path);
        options.push_back(variant ? module.installOption : module.removeOption);
    }
}

void EngineSettingManager::getPidFilePath(bool /*variant*/, std::string& path)
{
    path = configuration_.pidFile;
}

void EngineSettingManager::writeSettingFile(const common::IPsecPolicy& policy,
                                            const common::FilterSet& filters,
                                            const std::list<common::CertificatePtr>& certificates)
{
    const std::string content = render_(policy, filters, certificates, fipsMode_);
    if (!file_)
        throw std::logic_error("the setting file has no path");
    file_->replace(content);
}

void EngineSettingManager::keepSettingFile() noexcept
{
    if (file_)
        file_->keep();
}

void EngineSettingManager::putSettingFileBack() noexcept
{
    if (file_)
        file_->putBack();
}

void EngineSettingManager::deleteSettingFile()
{
    if (!file_)
        throw std::runtime_error("can't delete the file");
    file_->remove();
}

void EngineSettingManager::getWatchdCommand(std::string& command, std::string& option)
{
    command.clear();
    option.clear();
}

void EngineSettingManager::getWatchdPidFilePath(std::string& path)
{
    path.clear();
}

void EngineSettingManager::getNetConfCommand(std::string& command, std::string& option)
{
    command.clear();
    option.clear();
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
