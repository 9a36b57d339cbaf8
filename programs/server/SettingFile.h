#ifndef IPSECCFG_SERVER_SETTINGFILE_H
#define IPSECCFG_SERVER_SETTINGFILE_H

/// @file
/// One setting file: written whole or not at all, and put back if its content is not accepted.

#include "Descriptor.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// A name in an open folder. The file itself may or may not exist.
///
/// Every operation works on the open folder and the name in it; a link under the name is replaced or removed,
/// never followed.
class SettingFile {
public:
    /// @param folder open for reading
    /// @param name of one component
    /// @param path the whole path, for messages
    SettingFile(Descriptor folder, const std::string& name, const std::string& path);

    const std::string& path() const { return path_; }

    /// Whether this is the place that a path leads to (the path's folder may be reached by another way).
    bool isAt(const std::string& path) const;

    /// Gives the file a new content, mode 0600, on the disk when this returns. The previous content is kept
    /// aside until keep or putBack is called.
    /// @throws std::runtime_error "PATH: WHY"; the file is then as it was and nothing else is left.
    void replace(const std::string& content);

    /// Lets go of the previous content.
    void keep() noexcept;

    /// Puts the previous content back, or removes the file if there was none. No effect unless replace was
    /// called.
    void putBack() noexcept;

    /// @throws std::runtime_error "can't delete the file"
    void remove();

    /// Whether there is anything under the name.
    bool isThere() const;

    /// After a server was killed: removes what it had kept aside and what it had not finished. The file stays.
    void removeLeftovers() noexcept;

    /// The same, but what the file held before takes its place again.
    /// @param wasThere whether it held anything; else it is removed
    void recover(bool wasThere) noexcept;

private:
    bool setAside_();
    void write_(const std::string& content);
    void sync_(int fd);
    void removeName_(const std::string& name) noexcept;
    [[noreturn]] void fail_() const;

    Descriptor folder_;
    std::string name_;
    std::string newName_;
    std::string oldName_;
    std::string path_;
    bool replaced_ = false;
    bool hadContent_ = false;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
