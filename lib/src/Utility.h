#ifndef IPSECCFG_UTILITY_H
#define IPSECCFG_UTILITY_H

/// @file
/// Path utilities.

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Cuts a text at a separator and appends the pieces to `pieces`.
///
/// An empty text gives no piece, a trailing separator no empty last piece, two adjacent separators an empty
/// piece. Safe from several threads for different `pieces`.
/// @param text the text to cut
/// @param separator where; it is part of no piece
/// @param pieces keeps what it holds already
/// @return `pieces`
std::vector<std::string>& split(const std::string& text, char separator, std::vector<std::string>& pieces);

/// The same into a new vector.
std::vector<std::string> split(const std::string& text, char separator);

/// Searches a file along the directories of the environment variable "PATH".
///
/// A name that ends in ".ko" (or is "ko") is a kernel module and found as a regular file; any other name is
/// found where the owner may execute it, whatever kind of file it is.
/// Reads the environment, so no thread may change it meanwhile.
/// @return the first path found, DIRECTORY/NAME; empty if there is none or PATH is not set.
std::string findExecPath(const std::string& name);

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
