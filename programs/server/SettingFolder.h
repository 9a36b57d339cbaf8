#ifndef IPSECCFG_SERVER_SETTINGFOLDER_H
#define IPSECCFG_SERVER_SETTINGFOLDER_H

/// @file
/// The folder below which setting files lie, and the record of which of them is in use.
///
/// Names that begin with a "." are the server's own and never a setting file:
///
///     .lock        held by the server that carries out a request
///     .current     a link to the setting file in use, under which the engine finds it
///     .reason      where the engine says why it did not accept its settings
///     .NAME.new    the new content of NAME before it takes its name
///     .NAME.old    the previous content of NAME until the new one is accepted
///     .changing, .making, .superseded, .removing
///                  which files a request changes, while it does
///     .modules     which kernel modules it loads or unloads, until that is done
///     .strongswan  what that engine needs while it runs, and nobody else
///
/// What a killed server left of these is removed or replaced by the next one.

#include "Descriptor.h"
#include "SettingFile.h"

#include <optional>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The setting directory, held open.
///
/// A path from a request is walked from the open directory, one component at a time and never through a link,
/// and what was found stays open: what was checked is what is used, whatever happens to the names meanwhile.
class SettingFolder {
public:
    /// Opens the directory; makes its last component (mode 0700) if it does not exist.
    /// @param path absolute, from the configuration; links in it are followed
    /// @throws std::runtime_error "PATH: WHY": also if it belongs to somebody else than root and the server's
    ///         user, or others may write in it.
    explicit SettingFolder(const std::string& path);

    const std::string& path() const { return path_; }
    /// The descriptor of the open directory, owned here.
    int descriptor() const { return directory_.get(); }

    /// The place of a setting file that a request names. It need not exist, its folder must.
    /// @throws std::runtime_error "setting-file-path: PATH: WHY" if the path does not lead below this folder,
    ///         has a component that is empty or begins with a ".", goes through a link or anything else that
    ///         is not a folder of the server's own, or ends at anything but a regular file.
    SettingFile locate(const std::string& path) const;

    /// What a link in the folder holds; empty if there is no such link.
    std::string target(const char* name) const;

    /// The path of the setting file in use; nothing if there is no record of one.
    std::optional<std::string> inUse() const;
    /// Records the setting file in use, in one step.
    /// @param path of a file that locate accepts
    /// @throws std::runtime_error "PATH: WHY"; the record is then as it was.
    void setInUse(const std::string& path) const;
    /// Forgets it. No error if there is no record.
    void clearInUse() const;
    /// Removes what a killed server left of a record that it had not made yet.
    void clearUnfinishedRecord() const;

    /// The path that leads to the setting file in use.
    std::string currentPath() const;

    /// The path under which the engine says why it did not accept its settings.
    std::string reasonPath() const;
    /// What stands there, the first line; empty if there is nothing.
    std::string reason() const;
    void clearReason() const;

private:
    [[noreturn]] void refuse_(const std::string& path, const std::string& why) const;

    std::string path_;
    Descriptor directory_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
