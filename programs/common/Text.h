#ifndef IPSECCFG_PROGRAMS_TEXT_H
#define IPSECCFG_PROGRAMS_TEXT_H

/// @file
/// What may stand in a text that comes from outside, and how a text is made fit to be shown.

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::programs {

/// What is wrong with a text, in words that follow the name of what holds it: "control characters are not
/// allowed" (U+0000 to U+001F, U+007F to U+009F) or "the text is not valid UTF-8"; null for a good one. The
/// text itself is never part of the words.
const char* faultOf(const std::string& text);

/// The text with a '?' in place of each control character, of each byte that is not valid UTF-8 and of what
/// XML cannot carry (U+FFFE, U+FFFF).
std::string printable(const std::string& text);

/// Whether the text has none but the characters U+0020 to U+007E.
bool isPrintableAscii(const std::string& text);

/// The system's words for an `errno` value.
std::string systemText(int error);

/// The text as one word of a shell command: as it is if a shell sees nothing special in it, else in quotes.
std::string shellWord(const std::string& text);

/// Whether a shell sees nothing special in the text: letters, digits and the characters "%+,-./:=@_" only.
bool isPlainShellWord(const std::string& text);

/// The texts with a separator between them.
std::string joined(const std::vector<std::string>& texts, const std::string& separator = ", ");

} // namespace norvale::tamber::systemdata::ipseccfg::programs

#endif
