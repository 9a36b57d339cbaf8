#ifndef IPSECCFG_SHELLCOMMAND_H
#define IPSECCFG_SHELLCOMMAND_H

/// @file
/// Running of a command line and judging of how it ended; internal to the host control.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// Runs a command line through the shell.
/// @param signalText what an exception's text says before the number of the signal that ended the command
/// @param fallback the result if the command neither ended nor was stopped, for example because none could be
/// run
/// @return the command's exit code
/// @throws std::runtime_error `signalText` and the number, or "Child stopped: signal number: %d" and the
/// number
[[gnu::visibility("hidden")]] int runCommand(const std::string& commandLine, const std::string& signalText,
                                             int fallback);

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif
