// Escape sequences (ECMA-48) for colours.

#include "Colours.h"

#include <cstdlib>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

// In the order of Colour.
constexpr const char* SEQUENCES[] = {"\x1b[31m", "\x1b[32m", "\x1b[33m", "\x1b[34m", "\x1b[1m"};
constexpr const char* PLAIN = "\x1b[0m";

std::string environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

} // namespace

Colours coloursOfTerminal()
{
    const std::string terminal = environment("TERM");
    if (!environment("NO_COLOR").empty() || terminal.empty() || terminal == "dumb")
        return {};
    return {::isatty(STDOUT_FILENO) == 1, ::isatty(STDERR_FILENO) == 1};
}

std::string painted(bool colours, Colour colour, const std::string& text)
{
    return colours ? SEQUENCES[static_cast<int>(colour)] + text + PLAIN : text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
