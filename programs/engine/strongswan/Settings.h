#ifndef IPSECCFG_STRONGSWAN_SETTINGS_H
#define IPSECCFG_STRONGSWAN_SETTINGS_H

/// @file
/// The setting file: a swanctl.conf(5) that begins with what swanctl itself has no words for.
///
///     # ipseccfg-strongswan 1
///     # namespace: NAME          the network namespace; empty: that of this process
///     # private-key: PATH        any number of times
///
/// A value goes to the end of its line.

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

struct Settings {
    std::string content; ///< the whole file; holds secrets
    std::string nameSpace;
    std::vector<std::string> privateKeys;

    /// The part of the content that proves who the ends are: a tunnel made with another one is no longer
    /// right.
    std::string secrets() const;
};

/// @throws std::runtime_error "FILE: WHY" if it cannot be read or does not begin with the lines above.
Settings readSettings(const std::string& file);

/// The same from a content.
/// @param file what messages call it
Settings settingsOf(const std::string& content, const std::string& file);

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan

#endif
