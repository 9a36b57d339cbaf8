// What XML 1.0 says about text.

#include "XmlText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace norvale::tamber::systemdata::parser {

namespace {

using Byte = unsigned char;

// A row of the table of well-formed UTF-8 byte sequences (Unicode, table 3-7): which lead bytes, how many
// bytes in all, and which second byte, by which overlong forms, surrogates and what lies beyond U+10FFFF are
// left out.
struct Utf8Sequence {
    Byte firstLead;
    Byte lastLead;
    Byte length;
    Byte firstSecond;
    Byte lastSecond;
};

constexpr Utf8Sequence UTF8_SEQUENCES[] = {
    {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF}, {0xE1, 0xEC, 3, 0x80, 0xBF},
    {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF},
    {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

Byte byteAt(std::string_view text, std::size_t at)
{
    return static_cast<Byte>(text[at]);
}

const Utf8Sequence* sequenceOf(Byte lead)
{
    const auto* const sequence =
        std::find_if(std::begin(UTF8_SEQUENCES), std::end(UTF8_SEQUENCES), [lead](const Utf8Sequence& row) {
            return row.firstLead <= lead && lead <= row.lastLead;
        });
    return sequence != std::end(UTF8_SEQUENCES) ? sequence : nullptr;
}

// U+FFFE and U+FFFF.
bool isNoncharacter(std::string_view text)
{
    return byteAt(text, 0) == 0xEF && byteAt(text, 1) == 0xBF && byteAt(text, 2) >= 0xBE;
}

// The length of the character of several bytes with which the text begins; 0 if it is none that XML can
// carry.
std::size_t wideCharacter(std::string_view text)
{
    const Utf8Sequence* const sequence = sequenceOf(byteAt(text, 0));
    if (sequence == nullptr || text.size() < sequence->length)
        return 0;
    if (byteAt(text, 1) < sequence->firstSecond || byteAt(text, 1) > sequence->lastSecond)
        return 0;
    for (std::size_t at = 2; at < sequence->length; ++at) {
        if ((byteAt(text, at) & 0xC0U) != 0x80)
            return 0;
    }
    return sequence->length == 3 && isNoncharacter(text) ? 0 : sequence->length;
}

// Whether eight bytes are all of that kind (or DEL). A byte with the high bit fails anyway; of others a difference gets that bit where
// it would be negative, and only there as long as none is.
bool isPlainWord(const char* text)
{
    constexpr std::uint64_t ONES = 0x0101010101010101;
    constexpr std::uint64_t HIGH_BITS = 0x8080808080808080;
    constexpr auto eightOf = [](char byte) { return ONES * static_cast<Byte>(byte); };
    constexpr char ANGLES_DIFFER_BY = '<' ^ '>'; // one bit, which '>' has
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text, sizeof bytes);
    const std::uint64_t belowSpace = bytes - eightOf(' ');
    const std::uint64_t ampersand = (bytes ^ eightOf('&')) - ONES;
    const std::uint64_t angle = ((bytes | eightOf(ANGLES_DIFFER_BY)) ^ eightOf('>')) - ONES;
    return ((bytes | belowSpace | ampersand | angle) & HIGH_BITS) == 0;
}

bool isWhite(char character)
{
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

} // namespace

bool isPlainText(std::string_view text)
{
    constexpr std::size_t WORD = sizeof(std::uint64_t);
    if (text.size() < WORD)
        return std::all_of(text.begin(), text.end(), [](char character) {
            return character >= ' ' && character < '\x7F' && character != '&' && character != '<' &&
                   character != '>';
        });
    for (std::size_t at = 0; at + WORD < text.size(); at += WORD)
        if (!isPlainWord(text.data() + at))
            return false;
    return isPlainWord(text.data() + text.size() - WORD); // overlaps the word before
}

bool isXmlText(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const Byte byte = byteAt(text, at);
        if (byte < 0x80) {
            if (byte < ' ' && !isWhite(text[at]))
                return false;
            ++at;
            continue;
        }
        const std::size_t length = wideCharacter(text.substr(at));
        if (length == 0)
            return false;
        at += length;
    }
    return true;
}

bool isWhiteSpace(std::string_view text)
{
    return withoutLeadingWhiteSpace(text).empty();
}

std::string_view withoutLeadingWhiteSpace(std::string_view text)
{
    text.remove_prefix(
        static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isWhite) - text.begin()));
    return text;
}

} // namespace norvale::tamber::systemdata::parser
