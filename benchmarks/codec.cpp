// Encoding and decoding by number of rules, beside xmlrpc-c and beside what nobody can undercut.

#include "Workload.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace norvale::tamber::systemdata::ipseccfg::benchmarks {

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;
using common::FilterSet;

std::size_t rulesOf(const State& state)
{
    return static_cast<std::size_t>(state.range(0));
}

template <class Work>
void measure(State& state, Work work)
{
    for (auto _ : state) {
        auto result = work();
        DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void Encode(State& state)
{
    const FilterSet rules = sampleRules(rulesOf(state));
    measure(state, [&] { return encode(rules, false); });
}

void EncodePretty(State& state)
{
    const FilterSet rules = sampleRules(rulesOf(state));
    measure(state, [&] { return encode(rules, true); });
}

// As the sender does it: into the packets of a channel, where no text of the whole is ever held.
void EncodeIntoChannel(State& state)
{
    const FilterSet rules = sampleRules(rulesOf(state));
    measure(state, [&] { return encodeNowhere(rules); });
}

void EncodeXmlrpcC(State& state)
{
    const FilterSet rules = sampleRules(rulesOf(state));
    measure(state, [&] { return encodeByXmlrpcC(rules); });
}

void EncodeFloor(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), false);
    std::string copy(text.size(), '\0');
    measure(state, [&] { return std::memcpy(copy.data(), text.data(), text.size()); });
}

void Decode(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), false);
    measure(state, [&] { return decode(text); });
}

void DecodePretty(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), true);
    measure(state, [&] { return decode(text); });
}

void DecodeXmlrpcC(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), false);
    measure(state, [&] { return decodeByXmlrpcC(text); });
}

void DecodeFloor(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), false);
    measure(state, [&] { return parseByExpat(text); });
}

void DecodePrettyFloor(State& state)
{
    const std::string text = encode(sampleRules(rulesOf(state)), true);
    measure(state, [&] { return parseByExpat(text); });
}

void Receive(State& state)
{
    const std::string request = encodeRequest(smallAssociations(), sampleRules(rulesOf(state)));
    measure(state, [&] { return receive(request); });
}

void AddFilters(State& state)
{
    const FilterSet rules = sampleRules(rulesOf(state));
    measure(state, [&] {
        common::IPsecPolicy policy;
        for (const auto& rule : rules)
            policy.addFilter(rule);
        return policy.getFilterRules().size();
    });
}

void EncodeAssociations(State& state)
{
    const Associations associations = deepAssociations();
    measure(state, [&] { return encode(associations); });
}

void EncodeAssociationsXmlrpcC(State& state)
{
    const Associations associations = deepAssociations();
    measure(state, [&] { return encodeByXmlrpcC(associations); });
}

void DecodeAssociations(State& state)
{
    const std::string text = encode(deepAssociations());
    measure(state, [&] { return decodeAssociations(text); });
}

void DecodeAssociationsXmlrpcC(State& state)
{
    const std::string text = encode(deepAssociations());
    measure(state, [&] { return decodeAssociationsByXmlrpcC(text); });
}

void ReceiveAssociations(State& state)
{
    const std::string request = encodeRequest(deepAssociations(), {});
    measure(state, [&] { return receive(request); });
}

void byRules(benchmark::internal::Benchmark* benchmark)
{
    for (const int count : {1, 10, 100, 1000, 10000, 50000})
        benchmark->Arg(count);
    benchmark->Unit(benchmark::kMicrosecond);
}

// The search for duplicates is quadratic.
void byFewerRules(benchmark::internal::Benchmark* benchmark)
{
    for (const int count : {1, 10, 100, 1000, 10000})
        benchmark->Arg(count);
    benchmark->Unit(benchmark::kMicrosecond);
}

void byTransforms(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(DEEP_TRANSFORMS)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(Encode)->Apply(byRules);
BENCHMARK(EncodePretty)->Apply(byRules);
BENCHMARK(EncodeIntoChannel)->Apply(byRules);
BENCHMARK(EncodeXmlrpcC)->Apply(byRules);
BENCHMARK(EncodeFloor)->Apply(byRules);
BENCHMARK(Decode)->Apply(byRules);
BENCHMARK(DecodePretty)->Apply(byRules);
BENCHMARK(DecodeXmlrpcC)->Apply(byRules);
BENCHMARK(DecodeFloor)->Apply(byRules);
BENCHMARK(DecodePrettyFloor)->Apply(byRules);
BENCHMARK(Receive)->Apply(byFewerRules);
BENCHMARK(Receive)->Arg(50000)->Iterations(1)->Repetitions(1)->Unit(
    benchmark::kMicrosecond); // takes half a minute
BENCHMARK(AddFilters)->Apply(byFewerRules);
BENCHMARK(EncodeAssociations)->Apply(byTransforms);
BENCHMARK(EncodeAssociationsXmlrpcC)->Apply(byTransforms);
BENCHMARK(DecodeAssociations)->Apply(byTransforms);
BENCHMARK(DecodeAssociationsXmlrpcC)->Apply(byTransforms);
BENCHMARK(ReceiveAssociations)->Apply(byTransforms);

} // namespace

} // namespace norvale::tamber::systemdata::ipseccfg::benchmarks

BENCHMARK_MAIN();
