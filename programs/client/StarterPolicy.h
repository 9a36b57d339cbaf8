#ifndef IPSECCFG_CLIENT_STARTERPOLICY_H
#define IPSECCFG_CLIENT_STARTERPOLICY_H

/// @file
/// A policy to begin with.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The text of starter-policy.toml, which has a placeholder for the pre-shared key.
extern const char* const STARTER_TEXT;

/// A policy without problems that explains each key. Its pre-shared key is a new one, of 256 random bits.
/// @throws std::runtime_error if the system has no random numbers
std::string starterPolicy();

/// Writes a text to a new file that its owner alone may read, as policies hold keys.
/// @throws std::runtime_error "'FILE' is there already, ..." or with the system's reason. A file that could
/// not be written whole is removed.
void writeNewFile(const std::string& path, const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
