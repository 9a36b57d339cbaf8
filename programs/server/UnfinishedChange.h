#ifndef IPSECCFG_SERVER_UNFINISHEDCHANGE_H
#define IPSECCFG_SERVER_UNFINISHEDCHANGE_H

/// @file
/// What a server that is killed leaves to the next one.

#include "SettingFolder.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// A note in the setting folder about the setting file that a request changes, as links to it. Whoever finds one
/// knows that a server was killed, and which names may hold keys that nobody needs any more:
///
///     .changing     leads to a file that was there before
///     .making       leads to one that was not
///     .superseded   leads to the file that was in use before, if that is another one
///     .removing     leads to a file that is to be deleted
class UnfinishedChange {
public:
    /// @param folder must outlive this
    explicit UnfinishedChange(const SettingFolder& folder);

    /// Before a setting file is touched.
    /// @param path of a file that locate accepts
    /// @throws std::runtime_error "PATH: WHY"; there is no note then.
    void begin(const std::string& path) const;

    /// Before a setting file is deleted together with the record of it.
    /// @throws std::runtime_error as begin
    void beginRemoval(const std::string& path) const;

    /// The change is done, or taken back.
    void end() const noexcept;

    /// Clears up what a killed server left, if there is a note. Once the record says that the new content is in use
    /// it stays so; else the file is as it was before. Other names are gone then, and the file that was superseded.
    /// @throws std::bad_alloc; then the note is left, for another time.
    void clearUp() const;

private:
    std::string noted_(const char* name) const;
    void note_(const char* name, const std::string& path) const;
    template <class Step>
    void follow_(const char* name, Step step) const;
    void settle_(SettingFile& file, bool wasThere) const;

    const SettingFolder& folder_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
