#ifndef IPSECCFG_CLIENT_PROBLEM_H
#define IPSECCFG_CLIENT_PROBLEM_H

/// @file
/// What is wrong with a policy file.

#include <cstddef>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// A place in a policy file; both numbers begin with 1, columns count characters.
struct Position {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// One thing that is wrong with a policy file. No text of it holds a secret or a control character.
struct Problem {
    Position position;
    std::string
        key; ///< where in the policy, "phase1.proposal[0].transform[1].hash"; empty for a syntax error
    std::string message;   ///< what is wrong and what is allowed, in words that follow the key
    std::string file = {}; ///< the file as it was named; empty for a text that comes from none
};

/// Problems in the order in which they were found.
using Problems = std::vector<Problem>;

/// The problems by line and column; those of one place stay in the order in which they were found.
Problems sorted(Problems problems);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
