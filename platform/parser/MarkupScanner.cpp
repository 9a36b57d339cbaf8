// Finds where the markup of an XML text ends.

#include "MarkupScanner.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace norvale::tamber::systemdata::parser {

namespace {

constexpr std::string_view CDATA_OPENING = "CDATA[";

// "&#x10FFFF;" is the longest reference that makes sense; this leaves room for leading zeros.
constexpr std::size_t MAX_REFERENCE = 32;

bool isReferenceCharacter(char byte)
{
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           byte == '#';
}

const char* find(const char* at, const char* end, char byte)
{
    const void* const found = std::memchr(at, byte, static_cast<std::size_t>(end - at));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

bool beginsInstruction(const char* at, const char* end)
{
    return std::string_view(at, static_cast<std::size_t>(end - at)).substr(0, 2) == "<?";
}

// From text on: past the last tag, if there is nothing but text and tags without attributes, as in nearly all that
// is read (but in the XML declaration). That costs a few searches in place of a look at every byte.
const char* pastPlainTags(const char* at, const char* end)
{
    for (const char special : {'!', '?', '"', '\''})
        if (find(at, end, special) != end)
            return at;
    const std::size_t last = std::string_view(at, static_cast<std::size_t>(end - at)).rfind('>');
    return last != std::string_view::npos ? at + last + 1 : at;
}

} // namespace

std::size_t MarkupScanner::held() const
{
    return held_;
}

bool MarkupScanner::refused() const
{
    return state_ == State::refused;
}

void MarkupScanner::scan(const char* bytes, std::size_t size)
{
    const char* const end = bytes + size;
    const char* const nul = find(bytes, end, '\0');
    const char* at = bytes;
    bool lookedAhead = false;
    while (at != nul && !refused()) {
        if (state_ == State::text && !beginsInstruction(at, nul) && !std::exchange(lookedAhead, true))
            at = pastPlainTags(at, nul);
        const char* const next = skip_(at, nul);
        if (isToken_())
            held_ += static_cast<std::size_t>(next - at);
        at = next;
        if (at != nul)
            take_(*at++);
    }
    if (nul != end)
        enter_(State::refused);
    held_ += static_cast<std::size_t>(end - at);
}

bool MarkupScanner::isToken_() const
{
    return state_ != State::text && state_ != State::cdata;
}

const char* MarkupScanner::skip_(const char* at, const char* end) const
{
    switch (state_) {
    case State::text:
        return std::find_if(at, end, [](char byte) { return byte == '<' || byte == '&'; });
    case State::tag:
        return std::find_if(at, end, [](char byte) { return byte == '>' || byte == '"' || byte == '\''; });
    case State::quoted:
        return find(at, end, quote_);
    case State::instruction:
        return matched_ == 0 ? find(at, end, '?') : at;
    case State::comment:
        return matched_ == 0 ? find(at, end, '-') : at;
    case State::cdata:
        return matched_ == 0 ? find(at, end, ']') : at;
    default:
        return at;
    }
}

void MarkupScanner::take_(char byte)
{
    ++held_;
    switch (state_) {
    case State::text:
        return enter_(byte == '<' ? State::opening : State::reference);
    case State::opening:
        return open_(byte);
    case State::tag:
        return inTag_(byte);
    case State::quoted:
        return enter_(State::tag);
    case State::instruction:
        return closeAfter_(byte, '?', 1);
    case State::exclamation:
        return declare_(byte);
    case State::commentOpening:
        return enter_(byte == '-' ? State::comment : State::refused);
    case State::comment:
        return closeAfter_(byte, '-', 2);
    case State::cdataOpening:
        return openCdata_(byte);
    case State::cdata:
        held_ = 0;
        return closeAfter_(byte, ']', 2);
    case State::reference:
        return refer_(byte);
    case State::refused:
        return;
    }
}

void MarkupScanner::open_(char byte)
{
    if (byte == '?')
        return enter_(State::instruction);
    if (byte == '!')
        return enter_(State::exclamation);
    enter_(State::tag);
    inTag_(byte);
}

void MarkupScanner::inTag_(char byte)
{
    if (byte == '>')
        return enter_(State::text);
    if (byte == '"' || byte == '\'') {
        quote_ = byte;
        enter_(State::quoted);
    }
}

void MarkupScanner::declare_(char byte)
{
    if (byte == '-')
        return enter_(State::commentOpening);
    enter_(byte == '[' ? State::cdataOpening : State::refused);
}

void MarkupScanner::openCdata_(char byte)
{
    if (byte != CDATA_OPENING[matched_])
        return enter_(State::refused);
    if (++matched_ == CDATA_OPENING.size())
        enter_(State::cdata);
}

void MarkupScanner::refer_(char byte)
{
    if (byte == ';')
        return enter_(State::text);
    if (!isReferenceCharacter(byte) || held_ == MAX_REFERENCE)
        enter_(State::refused);
}

// Ends the token at a ">" that follows at least `marks` marks.
void MarkupScanner::closeAfter_(char byte, char mark, unsigned marks)
{
    if (byte == '>' && matched_ == marks)
        return enter_(State::text);
    matched_ = byte == mark ? std::min(matched_ + 1, marks) : 0;
}

void MarkupScanner::enter_(State state)
{
    state_ = state;
    matched_ = 0;
    if (state == State::text || state == State::cdata)
        held_ = 0;
}

} // namespace norvale::tamber::systemdata::parser
