#ifndef IPSECCFG_CLIENT_WORDING_H
#define IPSECCFG_CLIENT_WORDING_H

/// @file
/// Pieces of messages.

#include <cstddef>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The text in single quotes, fit to be shown on a terminal: a '?' in place of each character that is not
/// printable.
std::string quoted(const std::string& text);

/// "one, two, three".
std::string listed(const std::vector<std::string>& words);

/// " (did you mean 'WORD'?)" for the one of `known` that `word` is most likely a slip of, else nothing.
///
/// Case does not count, nor does '_' in place of '-'; beyond that a third of the letters may be wrong (two that
/// changed places count as one), or the end be missing.
std::string suggestion(const std::string& word, const std::vector<std::string>& known);

/// "1 problem", "2 problems".
std::string counted(std::size_t count, const std::string& noun);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
