#ifndef TESTS_PROGRAMS_VICI_TEXT_H
#define TESTS_PROGRAMS_VICI_TEXT_H

// The messages of strongSwan's control interface as they are sent: their encoding with the marks by name.

#include <string>
#include <vector>

namespace tests::vici_text {

inline std::string name(const std::string& text)
{
    return static_cast<char>(text.size()) + text;
}

inline std::string bytes(const std::string& text)
{
    return std::string(1, static_cast<char>(text.size() / 256)) + static_cast<char>(text.size() % 256) + text;
}

inline std::string value(const std::string& key, const std::string& text)
{
    return "\3" + name(key) + bytes(text);
}

inline std::string list(const std::string& key, const std::vector<std::string>& items)
{
    std::string text = "\4" + name(key);
    for (const std::string& item : items)
        text += "\5" + bytes(item);
    return text + "\6";
}

inline std::string section(const std::string& key, const std::string& content)
{
    return "\1" + name(key) + content + "\2";
}

/// What one side sends at once.
inline std::string packet(char type, const std::string& content)
{
    const std::size_t size = content.size() + 1;
    std::string text;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        text += static_cast<char>(size >> shift & 0xFFU);
    return text + type + content;
}

} // namespace tests::vici_text

#endif
