#ifndef IPSECCFG_CLIENT_REPORT_H
#define IPSECCFG_CLIENT_REPORT_H

/// @file
/// What the user gets to see.

#include "Colours.h"
#include "CommandLine.h"
#include "Outcome.h"

#include <ostream>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// Prints what became of a command, for people (results to `out`, errors to `err`) or as one JSON object to
/// `out`; the server's whole answer before it if it was asked for, with JSON to `err`.
void report(const Outcome& outcome, const Options& options, std::ostream& out, std::ostream& err,
            const Colours& colours = {});

/// Prints a command line's help, or what is wrong with it.
/// @return how the program ends
Status report(const CommandLine& line, std::ostream& out, std::ostream& err, const Colours& colours = {});

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
