// From the client's library to a server process and back, beside the bare start of a process with the same libraries.

#include "Workload.h"

#include "XmlRpcSendPolicy.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

namespace {

using benchmark::State;

// Does the work as often as `state` asks for. Counts the fastest time, in microseconds: a trip of some milliseconds between two
// processes is what other work on the machine disturbs most.
template <class Work>
void timeEach(State& state, Work work)
{
    using Clock = std::chrono::steady_clock;
    Clock::duration fastest = Clock::duration::max();
    for (auto _ : state) {
        const Clock::time_point begin = Clock::now();
        work();
        fastest = std::min(fastest, Clock::now() - begin);
    }
    state.counters["fastest"] = std::chrono::duration<double, std::micro>(fastest).count();
}

// Sends a policy of `rules` rules to the answering server, as often as `state` asks for; returns the last answer.
std::string sendTo(State& state, std::size_t rules)
{
    ::setenv("IPSECCFGSERVER", BENCHMARK_ANSWERING_SERVER, 1);
    common::IPsecPolicy policy;
    const Associations associations = smallAssociations();
    policy.setPhase1SA(associations.phase1);
    policy.setPhase2SA(associations.phase2);
    for (const auto& rule : sampleRules(rules))
        policy.addFilter(rule);
    common::XmlRpcSendPolicy sender;
    std::ostringstream console; // the sender prints the answer
    std::streambuf* const terminal = std::cout.rdbuf(console.rdbuf());
    timeEach(state, [&] {
        console.str("");
        if (sender.startProcess(policy, {}, {}) != 0)
            state.SkipWithError("the server did not answer success");
    });
    std::cout.rdbuf(terminal);
    return console.str();
}

void RoundTrip(State& state)
{
    sendTo(state, static_cast<std::size_t>(state.range(0)));
}

// What the server had resident at most, as it says in its answer.
void ServerMemory(State& state)
{
    ::setenv("BENCHMARK_PEAK_MEMORY", "", 1);
    const std::string answer = sendTo(state, static_cast<std::size_t>(state.range(0)));
    ::unsetenv("BENCHMARK_PEAK_MEMORY");
    const std::size_t label = answer.find("VmHWM:");
    if (label == std::string::npos)
        state.SkipWithError("the server did not say how much memory it took");
    else
        state.counters["KiB"] = std::stod(answer.substr(label + std::strlen("VmHWM:")));
}

void BareStart(State& state)
{
    timeEach(state, [&] {
        char* const arguments[] = {const_cast<char*>(BENCHMARK_EXITS_AT_ONCE), nullptr};
        pid_t child = 0;
        int status = 0;
        if (::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments, environ) != 0 ||
            ::waitpid(child, &status, 0) != child || status != 0)
            state.SkipWithError("the process did not run");
    });
}

BENCHMARK(BareStart)->Iterations(200)->UseRealTime();
BENCHMARK(RoundTrip)->Arg(10)->Iterations(200)->UseRealTime();
BENCHMARK(RoundTrip)->Arg(1000)->Iterations(20)->UseRealTime();
BENCHMARK(ServerMemory)->Arg(1000)->Iterations(1);

} // namespace

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

BENCHMARK_MAIN();
