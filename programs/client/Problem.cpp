// Ordering of problems.

#include "Problem.h"

#include <algorithm>
#include <tuple>

namespace norvale::tamber::systemdata::ipseccfg::client {

Problems sorted(Problems problems)
{
    std::stable_sort(problems.begin(), problems.end(), [](const Problem& one, const Problem& other) {
        return std::tie(one.position.line, one.position.column) <
               std::tie(other.position.line, other.position.column);
    });
    return problems;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
