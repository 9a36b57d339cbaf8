#ifndef IPSECCFG_SERVER_ENGINESETTINGMANAGER_H
#define IPSECCFG_SERVER_ENGINESETTINGMANAGER_H

/// @file
/// What the setting managers of all engines have in common.

#include "Configuration.h"
#include "SettingFile.h"
#include "SettingFolder.h"
#include "SettingManager.h"

#include <list>
#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Completes SettingManager for an engine that is a program of the server's configuration with one setting
/// file.
///
/// A derived class only says what stands in the file. Command lines come from the configuration and are safe
/// to hand to a shell; nothing of a request is in them. There is no watchdog and no network configuration
/// program: their commands are empty.
class EngineSettingManager : public common::SettingManager {
public:
    /// @param folder must outlive this
    EngineSettingManager(const Configuration& configuration, const SettingFolder& folder);

    /// @throws std::runtime_error of SettingFolder::locate, and "setting-file-path: PATH: is the engine's pid
    ///         file".
    void setSettingFilePath(const std::string& path) override;

    /// Whether the settings to be written are for FIPS mode (off at first).
    void setFipsMode(bool mode) { fipsMode_ = mode; }

    /// The engine's executable, and as its option the configured one followed by `--setting-file`,
    /// `--pid-file` and `--reason-file` with their paths: every engine is started by the same words. The
    /// variant has no meaning.
    void getCommand(bool variant, std::string& command, std::string& option) override;
    /// @param variant whether the options are those for installing, not for removing
    void getModuleCommand(bool variant, std::list<std::string>& modules,
                          std::list<std::string>& options) override;
    /// The variant has no meaning.
    void getPidFilePath(bool variant, std::string& path) override;

    /// Checks the policy against what the engine can do, then writes the file whole or not at all. What the
    /// file held before is kept until keepSettingFile or putSettingFileBack.
    /// @throws std::runtime_error of the engine's check, before anything is touched; of SettingFile::replace.
    void writeSettingFile(const common::IPsecPolicy& policy, const common::FilterSet& filters,
                          const std::list<common::CertificatePtr>& certificates) override;
    void keepSettingFile() noexcept;
    void putSettingFileBack() noexcept;

    /// Deletes what lies under the path that was set, never what a link there leads to.
    /// @throws std::runtime_error "can't delete the file", also if no path was set.
    void deleteSettingFile() override;

    void getWatchdCommand(std::string& command, std::string& option) override;
    void getWatchdPidFilePath(std::string& path) override;
    void getNetConfCommand(std::string& command, std::string& option) override;

private:
    /// The content of the setting file.
    /// @throws std::runtime_error that names the place and what is possible, for what the engine cannot do
    virtual std::string render_(const common::IPsecPolicy& policy, const common::FilterSet& filters,
                                const std::list<common::CertificatePtr>& certificates,
                                bool fipsMode) const = 0;

    Configuration configuration_;
    const SettingFolder& folder_;
    std::optional<SettingFile> file_;
    bool fipsMode_ = false;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
