// Changes a message as a message: its structures and members. Bytes alone hardly ever give another message that is
// well-formed, and nothing behind the parser would be reached.

#include "Document.h"
#include "Fuzzing.h"

#include <algorithm>
#include <random>

extern "C" {
std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);
std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* one, std::size_t sizeOfOne,
                                      const std::uint8_t* other, std::size_t sizeOfOther, std::uint8_t* out,
                                      std::size_t maxSize, unsigned seed);
}

namespace {

using tests::Document;
using tests::DocumentMember;
using tests::DocumentStructure;

// Numbers at the bounds, texts that are nearly numbers, paths ("@" is where a target has its files).
const std::vector<std::string> VALUES = {"0",
                                         "1",
                                         "2",
                                         "3",
                                         "4",
                                         "7",
                                         "14",
                                         "99",
                                         "100",
                                         "128",
                                         "168",
                                         "256",
                                         "3600",
                                         "-1",
                                         "-2147483648",
                                         "2147483647",
                                         "2147483648",
                                         "99999999999999999999",
                                         "",
                                         " 1",
                                         "1x",
                                         "x",
                                         "+1",
                                         "0x4142",
                                         "0x",
                                         "0x4",
                                         "0xzz",
                                         "0x7f",
                                         "0x05",
                                         "0xffffffe9",
                                         "@/engine.conf",
                                         "@/other.conf",
                                         "@/../x",
                                         "@/.current",
                                         "/etc/passwd",
                                         "192.0.2.1",
                                         "red",
                                         "..",
                                         "a\nb",
                                         "\xC3\xA9",
                                         "'; touch /tmp/x; '",
                                         "$(x)"};

class Mutation {
public:
    explicit Mutation(unsigned seed)
        : random_(seed)
    {}

    std::size_t below(std::size_t bound) { return random_() % bound; }

    template <class List>
    auto& one(List& list)
    {
        return list[below(list.size())];
    }

    void change(Document& document)
    {
        if (document.empty() || below(8) == 0) {
            document.insert(place_(document), structure_());
            return;
        }
        DocumentStructure& structure = one(document);
        switch (below(8)) {
        case 0:
            document.insert(place_(document), DocumentStructure(structure));
            return;
        case 1:
            document.erase(document.begin() + static_cast<std::ptrdiff_t>(below(document.size())));
            return;
        case 2:
            std::swap(structure, one(document));
            return;
        default:
            change_(structure);
        }
    }

private:
    template <class List>
    typename List::const_iterator place_(const List& list)
    {
        return list.begin() + static_cast<std::ptrdiff_t>(below(list.size() + 1));
    }

    void change_(DocumentStructure& structure)
    {
        if (structure.empty() || below(5) == 0) {
            structure.insert(place_(structure), member_());
            return;
        }
        DocumentMember& member = one(structure);
        switch (below(8)) {
        case 0:
            structure.erase(structure.begin() + static_cast<std::ptrdiff_t>(below(structure.size())));
            return;
        case 1:
            std::swap(member, one(structure));
            return;
        case 2:
            structure.insert(place_(structure), DocumentMember(member));
            return;
        case 3:
            member.name = one(tests::MEMBER_NAMES);
            return;
        case 4:
            member.array = true;
            member.values.resize(below(4), one(VALUES));
            return;
        case 5:
            if (!member.values.empty())
                mutateBytes_(one(member.values));
            return;
        default:
            member.array = false;
            member.values = {one(VALUES)};
        }
    }

    // The fuzzer's own changes, which know the dictionary.
    static void mutateBytes_(std::string& text)
    {
        constexpr std::size_t ROOM = 32;
        std::vector<std::uint8_t> bytes(text.begin(), text.end());
        const std::size_t size = bytes.size();
        bytes.resize(size + ROOM);
        bytes.resize(LLVMFuzzerMutate(bytes.data(), size, bytes.size()));
        text.assign(bytes.begin(), bytes.end());
    }

    DocumentMember member_() { return {one(tests::MEMBER_NAMES), {one(VALUES)}, false}; }

    DocumentStructure structure_()
    {
        DocumentStructure structure = {{"table-id", {std::to_string(below(6))}, false}};
        for (std::size_t count = below(8); count > 0; --count)
            structure.push_back(member_());
        return structure;
    }

    std::minstd_rand random_;
};

std::size_t give(const std::string& text, std::uint8_t* out, std::size_t maxSize)
{
    if (text.empty() || text.size() > maxSize)
        return 0;
    std::copy(text.begin(), text.end(), out);
    return text.size();
}

} // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Mutation mutation(seed);
    auto document = tests::documentOf(tests::textOf(data, size));
    if (document && mutation.below(8) != 0) {
        for (std::size_t count = 1 + mutation.below(4); count > 0; --count)
            mutation.change(*document);
        const std::size_t given = give(tests::textOf(*document), data, maxSize);
        if (given != 0)
            return given;
    }
    return LLVMFuzzerMutate(data, size, maxSize);
}

std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* one, std::size_t sizeOfOne,
                                      const std::uint8_t* other, std::size_t sizeOfOther, std::uint8_t* out,
                                      std::size_t maxSize, unsigned seed)
{
    Mutation mutation(seed);
    auto document = tests::documentOf(tests::textOf(one, sizeOfOne));
    auto rest = tests::documentOf(tests::textOf(other, sizeOfOther));
    if (!document || !rest || rest->empty())
        return 0;
    const std::size_t from = mutation.below(rest->size());
    document->resize(mutation.below(document->size() + 1));
    document->insert(document->end(), rest->begin() + static_cast<std::ptrdiff_t>(from), rest->end());
    return give(tests::textOf(*document), out, maxSize);
}
