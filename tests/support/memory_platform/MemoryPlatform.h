#ifndef MEMORY_PLATFORM_H
#define MEMORY_PLATFORM_H

// What a test sets up in the in-memory platform and reads from it afterwards.

#include "CArrayParser.h"

#include <functional>
#include <string>
#include <vector>

namespace memory_platform {

/// Called at the beginning of the operation of that name; what it throws is what the operation throws.
struct Hooks {
    std::function<void()> createParser;
    std::function<void()> addElement;
    std::function<void(const std::string& name)> addMember;
    std::function<void()> getNextMember;
};

/// The request channel: what it answers, and what it was asked.
struct Channel {
    std::string answer;
    int endOfTransmissionStatus = 0;
    std::vector<std::string> events; ///< "open SECONDS", "end of transmission", "close"
    std::string request;
};

struct State {
    Hooks hooks;
    Channel channel;
    int serializeStatus = 0;
    int parseStatus = 0;
    int liveParsers = 0; ///< structures that exist at the moment
};

State& state();

/// The message as the in-memory platform writes it, without the line "end".
std::string textOf(norvale::tamber::systemdata::parser::CArrayParser& array);

/// Adds the structures of a text of that form to the array.
void addTo(norvale::tamber::systemdata::parser::CArrayParser& array, const std::string& text);

} // namespace memory_platform

#endif
