#ifndef IPSECCFG_CLIENT_OUTCOME_H
#define IPSECCFG_CLIENT_OUTCOME_H

/// @file
/// What became of a command.

#include "PolicyDiff.h"
#include "Problem.h"
#include "RuleStatus.h"

#include <optional>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

enum class Status {
    Success,
    Failure,   ///< the server said no
    Different, ///< two policies that were compared are not the same
    Invalid,   ///< usage or policy error; nothing was sent
    NoAnswer   ///< no server, or no answer that can be understood
};

/// The status in the JSON output: "success", "failure", "different", "invalid", "no-answer".
const char* nameOf(Status status);

/// The status as the program's exit code: 0 to 3.
int exitCodeOf(Status status);

/// What became of a command, free of secrets unless they were asked for.
struct Outcome {
    Status status = Status::Success;
    std::string detail;   ///< the server's detail, what was asked to be shown, or what went wrong
    Problems problems;    ///< of the policy files
    std::string response; ///< the server's answer as XML; empty if there was none
    std::optional<std::vector<RuleStatus>> rules = std::nullopt; ///< of the running engine, if it was asked
    std::optional<Differences> differences = std::nullopt;       ///< of two policies, if they were compared
};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
