// Sections, entries and quoting of a swanctl.conf(5).

#include "SwanctlText.h"

#include "Text.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* DIGITS = "0123456789abcdef";

std::string quoted(const std::string& value)
{
    constexpr unsigned char FIRST_PRINTABLE = 0x20;
    constexpr unsigned char DELETE = 0x7F;
    std::string text = "\"";
    for (const char character : value) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < FIRST_PRINTABLE || byte == DELETE)
            throw std::runtime_error("the engine's settings: control characters are not allowed");
        if (character == '"' || character == '\\')
            text += '\\';
        text += character;
    }
    return text + "\"";
}

} // namespace

void SwanctlText::add(const std::string& name, const std::string& value)
{
    text_ += name + " = " + quoted(value) + "\n";
}

void SwanctlText::add(const std::string& name, const std::vector<std::string>& values)
{
    add(name, programs::joined(values));
}

void SwanctlText::add(const std::string& name, const SwanctlText& section)
{
    text_ += name + " {\n";
    std::size_t begin = 0;
    while (begin < section.text_.size()) {
        const std::size_t end = section.text_.find('\n', begin) + 1;
        text_ += "    " + section.text_.substr(begin, end - begin);
        begin = end;
    }
    text_ += "}\n";
}

// FNV-1a with 64 bits.
std::string SwanctlText::fingerprint() const
{
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char character : text_)
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
    std::string bytes;
    for (int shift = 56; shift >= 0; shift -= 8)
        bytes += static_cast<char>(hash >> static_cast<unsigned>(shift) & 0xFFU);
    return hexOf(bytes);
}

std::string hexOf(const std::string& bytes)
{
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        text += DIGITS[byte >> 4U];
        text += DIGITS[byte & 0xFU];
    }
    return text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
