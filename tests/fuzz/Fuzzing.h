#ifndef TESTS_FUZZ_FUZZING_H
#define TESTS_FUZZ_FUZZING_H

// What every fuzz target has: one function that takes any bytes, and what it says when something is not so.
//
// With libFuzzer (the preset "fuzz") the function is called with inputs without end; without it a program of its
// own calls it for the files that are kept (replay.cpp).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tests {

/// Ends the program, so that the fuzzer keeps the input, unless the condition holds.
inline void require(bool condition, const char* what)
{
    if (condition)
        return;
    std::cerr << "not so: " << what << std::endl;
    std::abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size)
{
    return {data, data + size};
}

} // namespace tests

#endif
