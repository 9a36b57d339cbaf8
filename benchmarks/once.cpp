// Does one piece of work once, so that its instructions (callgrind) or its memory can be counted.
//   once WORK RULES          prints the rules, the bytes of text, the most bytes of memory held at a time and the
//                            allocations of the work

#include "Workload.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <map>
#include <string>

using namespace norvale::tamber::systemdata::ipseccfg;

namespace {

struct Heap {
    std::size_t live = 0;
    std::size_t peak = 0;
    std::size_t allocations = 0;
};
Heap heap; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): malloc has no other place to count

void* counted(void* memory)
{
    if (memory == nullptr)
        return nullptr;
    ++heap.allocations;
    heap.live += ::malloc_usable_size(memory);
    if (heap.live > heap.peak)
        heap.peak = heap.live;
    return memory;
}

std::size_t proposalsOf(const benchmarks::Associations& associations)
{
    return associations.phase1->getNumberOfChildren() + associations.phase2->getNumberOfChildren();
}

} // namespace

// The C library lets a program bring its own allocation functions; these count and pass on.
extern "C" {
void* __libc_malloc(std::size_t size);                    // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size); // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);     // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* memory);                           // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size)
{
    return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return counted(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size)
{
    heap.live -= ::malloc_usable_size(memory);
    return counted(__libc_realloc(memory, size));
}

void free(void* memory)
{
    heap.live -= ::malloc_usable_size(memory);
    __libc_free(memory);
}

// What callgrind switches its counting on and off at.
[[gnu::noinline]] std::size_t measured_work(const std::function<std::size_t()>& work)
{
    return work();
}
}

int main(int argc, const char* argv[])
{
    if (argc != 3) {
        std::cerr << "usage: once WORK RULES\n";
        return 2;
    }
    const auto rules = benchmarks::sampleRules(std::stoul(argv[2]));
    const benchmarks::Associations associations = benchmarks::deepAssociations();
    const std::string compact = benchmarks::encode(rules, false);
    const std::string pretty = benchmarks::encode(rules, true);
    const std::string request = benchmarks::encodeRequest(benchmarks::smallAssociations(), rules);
    const std::string deep = benchmarks::encode(associations);
    const std::string deepRequest = benchmarks::encodeRequest(associations, {});

    struct Work {
        const std::string& text; // what is written or read
        std::function<std::size_t()> run;
    };
    const std::map<std::string, Work> works = {
        {"encode", {compact, [&] { return benchmarks::encode(rules, false).size(); }}},
        {"encode-pretty", {pretty, [&] { return benchmarks::encode(rules, true).size(); }}},
        {"encode-nowhere", {pretty, [&] { return benchmarks::encodeNowhere(rules); }}},
        {"encode-xmlrpc-c", {compact, [&] { return benchmarks::encodeByXmlrpcC(rules); }}},
        {"decode", {compact, [&] { return benchmarks::decode(compact).size(); }}},
        {"decode-pretty", {pretty, [&] { return benchmarks::decode(pretty).size(); }}},
        {"decode-xmlrpc-c", {compact, [&] { return benchmarks::decodeByXmlrpcC(compact).size(); }}},
        {"decode-floor", {compact, [&] { return benchmarks::parseByExpat(compact); }}},
        {"receive", {request, [&] { return benchmarks::receive(request); }}},
        {"encode-associations", {deep, [&] { return benchmarks::encode(associations).size(); }}},
        {"encode-associations-xmlrpc-c", {deep, [&] { return benchmarks::encodeByXmlrpcC(associations); }}},
        {"decode-associations", {deep, [&] { return proposalsOf(benchmarks::decodeAssociations(deep)); }}},
        {"decode-associations-xmlrpc-c",
         {deep, [&] { return proposalsOf(benchmarks::decodeAssociationsByXmlrpcC(deep)); }}},
        {"receive-associations", {deepRequest, [&] { return benchmarks::receive(deepRequest) + 1; }}},
    };
    const auto work = works.find(argv[1]);
    if (work == works.end()) {
        std::cerr << "once: no such work: " << argv[1] << '\n';
        return 2;
    }
    const std::size_t before = heap.live;
    heap.peak = before;
    heap.allocations = 0;
    const std::size_t result = measured_work(work->second.run);
    const Heap after = heap;
    std::printf("%zu,%zu,%zu,%zu\n", rules.size(), work->second.text.size(), after.peak - before,
                after.allocations);
    return result == 0 ? 1 : 0;
}
