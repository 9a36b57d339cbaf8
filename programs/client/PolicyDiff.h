#ifndef IPSECCFG_CLIENT_POLICYDIFF_H
#define IPSECCFG_CLIENT_POLICYDIFF_H

/// @file
/// What a change of a policy means.

#include "PolicyFile.h"

#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// One thing in which two policies differ. No text of it holds a secret.
struct Difference {
    enum class Change {
        Added,
        Removed,
        Changed,
        Moved ///< as it was, but earlier or later than before
    };

    Change change = Change::Changed;
    std::string
        what; ///< "rule 192.0.2.1 -> 192.0.2.2", "phase 1, proposal 1, transform 2", "engine, setting-file"
    std::string before; ///< empty if it was added
    std::string after;  ///< empty if it was removed
};

using Differences = std::vector<Difference>;

/// The change in the JSON output: "added", "removed", "changed", "moved".
const char* nameOf(Difference::Change change);

/// What is different in `after`, in the order in which a policy is shown: engine, phases, rules, certificates.
///
/// Transforms are told apart by their numbers, rules by their addresses, certificates by their kind and file.
/// Order counts where an engine goes by it: that of the transforms of a phase, of which the first is
/// preferred, and of the rules by their priority, those of the same priority by their place. The layout of
/// the files and the order of the certificates do not count.
Differences differencesBetween(const Policy& before, const Policy& after);

/// The differences as lines for people, each difference beginning with '+', '-', '~' or '>', in colours if
/// there are any; empty if there are no differences.
std::string viewOf(const Differences& differences, bool colours = false);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
