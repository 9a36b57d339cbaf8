#ifndef TESTS_MESSAGES_MESSAGETEST_H
#define TESTS_MESSAGES_MESSAGETEST_H

// What the message tests share: an array on the in-memory platform, and one line to run a command on it.

#include "Exceptions.h"
#include "MemoryPlatform.h"
#include "ObjectXMLMapping.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace tests {

using namespace norvale::tamber::systemdata::ipseccfg::common;
using norvale::tamber::systemdata::parser::CArrayParser;

/// Leaves no hook behind and no structure alive.
class MessageTest : public ::testing::Test {
protected:
    MessageTest() { memory_platform::state() = memory_platform::State(); }

    ~MessageTest() override
    {
        memory_platform::state().hooks = memory_platform::Hooks();
        array_.reset();
        EXPECT_EQ(0, memory_platform::state().liveParsers);
    }

    template <class Command>
    void run(Command&& command)
    {
        command.setArrayParser(array_.get());
        command.execute();
    }

    /// The deserializer after it has read these structures.
    template <class Deserializer>
    Deserializer read(const std::string& text)
    {
        memory_platform::addTo(*array_, text);
        Deserializer message;
        run(message);
        return message;
    }

    std::string written() { return memory_platform::textOf(*array_); }

    std::unique_ptr<CArrayParser> array_ = std::make_unique<CArrayParser>();
};

/// Throws on the given call, counted from 1.
template <class Thrown>
auto throwingAt(int call, Thrown thrown)
{
    return [left = call, thrown](auto&&...) mutable {
        if (--left == 0)
            throw thrown;
    };
}

} // namespace tests

#endif
