// What became of a command.

#include "Outcome.h"

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

// In the order of Status.
struct StatusFacts {
    const char* name;
    int exitCode;
};
constexpr StatusFacts STATUS_FACTS[] = {
    {"success", 0}, {"failure", 1}, {"different", 1}, {"invalid", 2}, {"no-answer", 3}};

const StatusFacts& factsOf(Status status)
{
    return STATUS_FACTS[static_cast<int>(status)];
}

} // namespace

const char* nameOf(Status status)
{
    return factsOf(status).name;
}

int exitCodeOf(Status status)
{
    return factsOf(status).exitCode;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
