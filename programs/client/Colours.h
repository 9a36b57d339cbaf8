#ifndef IPSECCFG_CLIENT_COLOURS_H
#define IPSECCFG_CLIENT_COLOURS_H

/// @file
/// Colours for people at a terminal.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Where colours are shown.
struct Colours {
    bool out = false;
    bool err = false;
};

/// Standard output and standard error where they are terminals, unless the environment variable NO_COLOR is
/// set to anything (https://no-color.org), or TERM says that there are no colours.
Colours coloursOfTerminal();

enum class Colour { Red, Green, Yellow, Blue, Bold };

/// The text in a colour, or as it is if there are none.
std::string painted(bool colours, Colour colour, const std::string& text);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
