// From the client's library to a server process and back, beside the bare start of a process with the same libraries.

#include "Workload.h"

#include "XmlRpcSendPolicy.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

namespace {

using benchmark::State;

void RoundTrip(State& state)
{
    ::setenv("IPSECCFGSERVER", BENCHMARK_ANSWERING_SERVER, 1);
    common::IPsecPolicy policy;
    policy.setPhase1SA(sampleAssociation(1, 1));
    policy.setPhase2SA(sampleAssociation(1, 1));
    for (const auto& rule : sampleRules(static_cast<std::size_t>(state.range(0))))
        policy.addFilter(rule);
    common::XmlRpcSendPolicy sender;
    std::ostringstream console; // the sender prints the answer
    std::streambuf* const terminal = std::cout.rdbuf(console.rdbuf());
    for (auto _ : state) {
        console.str("");
        if (sender.startProcess(policy, {}, {}) != 0)
            state.SkipWithError("the server did not answer success");
    }
    std::cout.rdbuf(terminal);
}

void BareStart(State& state)
{
    for (auto _ : state) {
        char* const arguments[] = {const_cast<char*>(BENCHMARK_EXITS_AT_ONCE), nullptr};
        pid_t child = 0;
        int status = 0;
        if (::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments, environ) != 0 ||
            ::waitpid(child, &status, 0) != child || status != 0)
            state.SkipWithError("the process did not run");
    }
}

BENCHMARK(BareStart)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(RoundTrip)->Arg(10)->Arg(1000)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

BENCHMARK_MAIN();
