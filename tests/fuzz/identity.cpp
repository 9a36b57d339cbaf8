// Any message is either written and read back as the same, or refused with nothing written; and it is refused for
// what XML cannot carry only.

#include "Fuzzing.h"

#include "parser_support.h"

namespace {

using namespace tests;

// Takes the bytes of an input as what is asked for; zeros once they are used up.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size)
        : data_(data)
        , left_(size)
    {}

    unsigned byte()
    {
        if (left_ == 0)
            return 0;
        --left_;
        return *data_++;
    }
    std::string text()
    {
        std::string text(byte(), '\0');
        for (char& character : text)
            character = static_cast<char>(byte());
        return text;
    }
    bool empty() const { return left_ == 0; }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

// A message and, beside it, what a reader of its text must find.
struct Sample {
    CArrayParser message;
    Structures structures;
    CFault fault;
    bool plain = true; ///< all texts are printable ASCII, and all types exist

    void note(const std::string& text)
    {
        for (const char character : text)
            plain = plain && character >= ' ' && character <= '~';
    }
};

void addMember(Sample& sample, CParser& structure, Bytes& bytes)
{
    const std::string name = bytes.text();
    // One more than there are.
    const auto type = static_cast<Type>(bytes.byte() % 8);
    Values values;
    const unsigned shape = bytes.byte() % 5;
    const bool array = shape != 0;
    for (unsigned count = array ? shape - 1 : 1; count > 0; --count)
        values.push_back(bytes.text());
    if (array)
        structure.addArrayMember(name, values, type, bytes.byte() % 2 == 0);
    else
        structure.addMember(name, values.front(), type, bytes.byte() % 2 == 0);

    sample.note(name);
    for (const std::string& value : values)
        sample.note(value);
    sample.plain = sample.plain && type <= Type::base64;
    sample.structures.back().emplace_back(name, values);
}

void build(Sample& sample, Bytes& bytes)
{
    const unsigned kind = bytes.byte();
    sample.message.setPrettyPrint(kind % 2 == 0);
    if (kind % 4 >= 2) {
        const std::string command = bytes.text();
        sample.message.setCommand(command);
        sample.note(command);
    }
    if (kind % 16 >= 12) {
        sample.fault = CFault(static_cast<FaultCode>(bytes.byte() + 1), bytes.text());
        sample.message.getFault() = sample.fault;
        sample.note(sample.fault.getString());
    }
    while (!bytes.empty()) {
        sample.structures.emplace_back();
        auto structure = std::make_unique<CParser>();
        for (unsigned count = bytes.byte() % 8; count > 0; --count)
            addMember(sample, *structure, bytes);
        sample.message.addElement(structure.get());
        static_cast<void>(structure.release());
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Bytes bytes(data, size);
    Sample sample;
    build(sample, bytes);
    const std::string text = textOf(sample.message);
    if (text.find("<refused>") == 0) {
        require(text == "<refused>", "nothing was written of what is refused");
        require(!sample.plain, "only what XML cannot carry is refused");
        return 0;
    }

    CArrayParser read;
    require(parseText(read, text) == 0, "what was written is read");
    require(read.getFault().getCode() == sample.fault.getCode(), "a fault keeps its code");
    require(read.getFault().getString() == sample.fault.getString(), "a fault keeps its text");
    const bool fault = sample.fault.getCode() != FaultCode::ok;
    require(structuresOf(read) == (fault ? Structures() : sample.structures), "it is read back as the same");
    return 0;
}
