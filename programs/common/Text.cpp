// Checking and mending of texts, as UTF-8 (RFC 3629).

#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <system_error>

namespace norvale::tamber::systemdata::ipseccfg::programs {

namespace {

// What the first byte of a sequence says about it.
struct Sequence {
    std::size_t length;
    char32_t bits;    // the payload bits of the first byte
    char32_t minimum; // a smaller code point would have fitted into a shorter sequence
};

std::optional<Sequence> sequenceOf(unsigned char first)
{
    if (first < 0x80)
        return Sequence{1, first, 0};
    if (first >= 0xC0 && first < 0xE0)
        return Sequence{2, first & 0x1FU, 0x80};
    if (first >= 0xE0 && first < 0xF0)
        return Sequence{3, first & 0x0FU, 0x800};
    if (first >= 0xF0 && first < 0xF8)
        return Sequence{4, first & 0x07U, 0x10000};
    return std::nullopt;
}

// The code point whose bytes begin at `at`; its length is set to 0 if the bytes there are not UTF-8.
char32_t codePointAt(const std::string& text, std::size_t at, std::size_t& length)
{
    length = 0;
    const auto sequence = sequenceOf(static_cast<unsigned char>(text[at]));
    if (!sequence || text.size() - at < sequence->length)
        return 0;
    char32_t point = sequence->bits;
    for (std::size_t i = 1; i < sequence->length; ++i) {
        const auto byte = static_cast<unsigned char>(text[at + i]);
        if ((byte & 0xC0U) != 0x80U)
            return 0;
        point = point << 6U | (byte & 0x3FU);
    }
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    if (point < sequence->minimum || point > 0x10FFFF || surrogate)
        return 0;
    length = sequence->length;
    return point;
}

bool isControl(char32_t point)
{
    return point < 0x20 || (point >= 0x7F && point <= 0x9F);
}

} // namespace

const char* faultOf(const std::string& text)
{
    std::size_t length = 0;
    for (std::size_t at = 0; at < text.size(); at += length) {
        const char32_t point = codePointAt(text, at, length);
        if (length == 0)
            return "the text is not valid UTF-8";
        if (isControl(point))
            return "control characters are not allowed";
    }
    return nullptr;
}

std::string printable(const std::string& text)
{
    std::string mended;
    std::size_t length = 0;
    for (std::size_t at = 0; at < text.size(); at += length) {
        const char32_t point = codePointAt(text, at, length);
        if (length == 0 || isControl(point) || point == 0xFFFE || point == 0xFFFF)
            mended += '?';
        else
            mended.append(text, at, length);
        if (length == 0)
            length = 1;
    }
    return mended;
}

bool isPrintableAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char character) { return character >= ' ' && character <= '~'; });
}

std::string systemText(int error)
{
    return std::generic_category().message(error);
}

bool isPlainShellWord(const std::string& text)
{
    static const char* const PLAIN =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";
    return !text.empty() && text.find_first_not_of(PLAIN) == std::string::npos;
}

std::string shellWord(const std::string& text)
{
    if (isPlainShellWord(text))
        return text;
    std::string word = "'";
    for (const char character : text) {
        if (character == '\'')
            word += "'\\''";
        else
            word += character;
    }
    return word + "'";
}

std::string joined(const std::vector<std::string>& texts, const std::string& separator)
{
    std::string all;
    for (const std::string& text : texts) {
        all += all.empty() ? "" : separator;
        all += text;
    }
    return all;
}

} // namespace norvale::tamber::systemdata::ipseccfg::programs
