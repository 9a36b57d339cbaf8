// Any bytes as a structured message: read at once and in pieces it is the same message, or no message; what was
// read can be written, and is read back as the same.

#include "Fuzzing.h"

#include "parser_support.h"

#include <algorithm>
#include <iterator>

namespace {

using namespace tests;

// What one reading gives, and leaves in the stream.
struct Reading {
    int status;
    std::string message;
    std::string left;
};

bool operator==(const Reading& one, const Reading& other)
{
    return one.status == other.status && one.message == other.message && one.left == other.left;
}

Reading readFrom(std::streambuf& source)
{
    std::istream stream(&source);
    CIStream in(stream);
    CArrayParser message;
    addScalar(message, "before", "as it was", Type::string);
    const std::string before = textOf(message);
    Reading reading{message.parse(in), textOf(message), {}};
    if (reading.status != 0) {
        require(reading.message == before, "a text that is no message leaves the array as it was");
        return reading; // how much was read of it depends on when it was refused
    }
    reading.left.assign(std::istreambuf_iterator<char>(&source), {});
    return reading;
}

void checkReadBack(const std::string& text)
{
    CArrayParser message;
    require(parseText(message, text) == 0, "what was read is read again");
    const std::string written = textOf(message);
    CArrayParser again;
    require(parseText(again, written) == 0, "what was written is read");
    require(structuresOf(again) == structuresOf(message), "what was written is read back as the same");
    require(again.getFault().getCode() == message.getFault().getCode() &&
                again.getFault().getString() == message.getFault().getString(),
            "a fault is read back as the same");
    require(textOf(again) == written, "it is written as the same");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = textOf(data, size);
    std::stringbuf whole(text);
    const Reading once = readFrom(whole);
    require(once.status != 0 || once.message.find("<refused>") != 0, "what was read can be written");

    // Pieces of one to seven bytes, and none at all that could be given back.
    PiecewiseSource pieces(text, 1 + size % 7);
    require(readFrom(pieces) == once, "pieces make no difference");
    UnbufferedSource single(text);
    require(readFrom(single) == once, "neither do single bytes");
    if (once.status == 0) {
        require(once.left == text.substr(text.size() - once.left.size()), "what follows is left as it is");
        checkReadBack(text.substr(0, text.size() - once.left.size()));
    }
    return 0;
}
