// Reads the command of a request from its first bytes.

#include "RequestHead.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>

namespace norvale::tamber::systemdata::requester {

namespace {

constexpr std::string_view COMMAND_BEGIN = "<methodName>";
constexpr std::string_view COMMAND_END = "</methodName>";
constexpr std::string_view ANSWER_BEGIN = "<methodResponse>";

struct Entity {
    std::string_view name;
    std::uint32_t character;
};

constexpr Entity PREDEFINED_ENTITIES[] = {
    {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''},
};

// What XML 1.0 calls a character.
bool isXmlCharacter(std::uint32_t character)
{
    return character == '\t' || character == '\n' || character == '\r' ||
           (character >= 0x20 && character <= 0xD7FF) || (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

// "#DECIMAL" or "#xHEXADECIMAL"
std::optional<std::uint32_t> numberedCharacter(std::string_view reference)
{
    const bool hexadecimal = reference.substr(0, 2) == "#x";
    const std::string_view digits = reference.substr(hexadecimal ? 2 : 1);
    const char* const end = digits.data() + digits.size();
    std::uint32_t character = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, character, hexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end || !isXmlCharacter(character))
        return std::nullopt;
    return character;
}

// What a reference stands for, given without its '&' and ';'.
std::optional<std::uint32_t> referredCharacter(std::string_view reference)
{
    if (reference.substr(0, 1) == "#")
        return numberedCharacter(reference);
    for (const Entity& entity : PREDEFINED_ENTITIES)
        if (entity.name == reference)
            return entity.character;
    return std::nullopt;
}

void appendUtf8(std::string& text, std::uint32_t character)
{
    const auto append = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto continuation = [&](unsigned shift) { append(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | (character >> 6));
        continuation(0);
    } else if (character < 0x10000) {
        append(0xE0 | (character >> 12));
        continuation(6);
        continuation(0);
    } else {
        append(0xF0 | (character >> 18));
        continuation(12);
        continuation(6);
        continuation(0);
    }
}

// Nothing if the text holds markup or a reference that stands for no character.
std::optional<std::string> unescaped(std::string_view text)
{
    std::string plain;
    while (!text.empty()) {
        const std::size_t ordinary = std::min(text.find_first_of("&<"), text.size());
        plain.append(text.substr(0, ordinary));
        text.remove_prefix(ordinary);
        if (text.empty())
            break;
        const std::size_t end = text.find(';');
        if (text.front() == '<' || end == std::string_view::npos)
            return std::nullopt;
        const std::optional<std::uint32_t> character = referredCharacter(text.substr(1, end - 1));
        if (!character)
            return std::nullopt;
        appendUtf8(plain, *character);
        text.remove_prefix(end + 1);
    }
    return plain;
}

} // namespace

std::size_t RequestHead::add(std::string_view bytes)
{
    if (state_ != State::incomplete)
        return 0;
    const std::string_view taken = bytes.substr(0, LIMIT - text_.size());
    text_.append(taken);
    if (taken.find('>') != std::string_view::npos)
        state_ = read_();
    if (state_ == State::incomplete && text_.size() == LIMIT)
        state_ = State::refused;
    return taken.size();
}

RequestHead::State RequestHead::read_()
{
    const std::string_view text = text_;
    const std::size_t begin = text.find(COMMAND_BEGIN);
    if (text.substr(0, begin).find(ANSWER_BEGIN) != std::string_view::npos)
        return State::refused;
    if (begin == std::string_view::npos)
        return State::incomplete;
    const std::string_view rest = text.substr(begin + COMMAND_BEGIN.size());
    const std::size_t end = rest.find(COMMAND_END);
    if (end == std::string_view::npos)
        return State::incomplete;
    std::optional<std::string> command = unescaped(rest.substr(0, end));
    if (!command)
        return State::refused;
    command_ = std::move(*command);
    return State::complete;
}

} // namespace norvale::tamber::systemdata::requester
