#ifndef IPSECCFG_SETTINGMANAGER_H
#define IPSECCFG_SETTINGMANAGER_H

/// @file
/// The interface of what knows an engine's setting file and command lines.

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"

#include <list>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Base of the component that writes an engine's setting file from a policy and supplies the command lines
/// and pid files of the engine and its helpers.
///
/// This library holds the path and deletes the file; a program that links it derives from this class and
/// supplies the rest. Results come back through the reference arguments; what the leading `bool` of an
/// operation selects is up to the derived class. Not synchronised.
class SettingManager {
public:
    /// An empty path.
    SettingManager();
    virtual ~SettingManager();

    /// Copies the path of the setting file; any text, the empty one included.
    virtual void setSettingFilePath(const std::string& path);
    /// A copy of the path of the setting file.
    virtual std::string getSettingFilePath() const;

    /// The command line of the engine and the option to start it with.
    virtual void getCommand(bool variant, std::string& command, std::string& option) = 0;
    /// The kernel modules' files and, one for each, their options.
    virtual void getModuleCommand(bool variant, std::list<std::string>& modules,
                                  std::list<std::string>& options) = 0;
    /// The path of the file with the engine's process id.
    virtual void getPidFilePath(bool variant, std::string& path) = 0;

    /// Writes the setting file that getSettingFilePath() names. What cannot be written, or what the engine
    /// could not take, is for the derived class to throw.
    /// @param policy the associations, the rules of type `Use` and the name of the network namespace
    /// @param filters the rules kept beside the policy
    /// @param certificates where the certificates and keys lie
    virtual void writeSettingFile(const IPsecPolicy& policy, const FilterSet& filters,
                                  const std::list<CertificatePtr>& certificates) = 0;

    /// Unlinks (unlink(2)) the file that getSettingFilePath() names (the virtual one, so that a derived class
    /// may compute it).
    /// @throws std::runtime_error "can't delete the file" if that fails, also because there is no such file;
    ///         errno says why.
    virtual void deleteSettingFile();

    /// The command line of the engine's watchdog and its option.
    virtual void getWatchdCommand(std::string& command, std::string& option) = 0;
    /// The path of the file with the watchdog's process id.
    virtual void getWatchdPidFilePath(std::string& path) = 0;
    /// The command line of the network configuration program and its option.
    virtual void getNetConfCommand(std::string& command, std::string& option) = 0;

private:
    std::string settingFilePath_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
