#ifndef IPSECCFG_CLIENT_KEY_H
#define IPSECCFG_CLIENT_KEY_H

/// @file
/// How the keys of a policy file are described.

#include "PolicyNames.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The enumerators that a key may name, by their names in a policy file.
class Names {
public:
    constexpr Names() = default;
    template <std::size_t N>
    constexpr Names(const programs::Enumerator (&table)[N]) // NOLINT(google-explicit-constructor)
        : first_(table)
        , count_(N)
    {}

    constexpr const programs::Enumerator* begin() const { return first_; }
    constexpr const programs::Enumerator* end() const { return first_ + count_; }
    std::vector<std::string> all() const;

private:
    const programs::Enumerator* first_ = nullptr;
    std::size_t count_ = 0;
};

/// What stands behind a key.
enum class ValueType {
    Text,       ///< a string without control characters
    Secret,     ///< a string that no message shows and whose characters are checked by who reads it
    Name,       ///< a string, the name of an enumerator
    NumberName, ///< an integer, the name of an enumerator
    Number,     ///< an integer in a range
    Flag,       ///< a boolean
    Table,
    Tables ///< an array of tables
};

enum class Presence { Required, Optional };

/// One key that a table may have.
struct Key {
    const char* name;
    Presence presence;
    ValueType type;
    const char* what;   ///< what must stand there, for messages; null where names or range say it
    Names names;        ///< for Name and NumberName
    std::int64_t least; ///< for Number
    std::int64_t most;  ///< for Number

    /// What must stand there, in words that follow "must be".
    std::string allowed() const;
};

/// The keys that a table may have.
class Keys {
public:
    template <std::size_t N>
    constexpr Keys(const Key (&table)[N]) // NOLINT(google-explicit-constructor)
        : first_(table)
        , count_(N)
    {}

    constexpr const Key* begin() const { return first_; }
    constexpr const Key* end() const { return first_ + count_; }
    /// The key of a name; null if there is none.
    const Key* find(const std::string& name) const;
    std::vector<std::string> names() const;

private:
    const Key* first_;
    std::size_t count_;
};

/// Rows of a table of keys.
/// @{
constexpr Key textKey(const char* name, Presence presence, const char* what)
{
    return {name, presence, ValueType::Text, what, {}, 0, 0};
}
constexpr Key secretKey(const char* name, Presence presence, const char* what)
{
    return {name, presence, ValueType::Secret, what, {}, 0, 0};
}
constexpr Key nameKey(const char* name, Presence presence, Names names)
{
    return {name, presence, ValueType::Name, nullptr, names, 0, 0};
}
constexpr Key numberNameKey(const char* name, Presence presence, Names names)
{
    return {name, presence, ValueType::NumberName, nullptr, names, 0, 0};
}
constexpr Key numberKey(const char* name, Presence presence, std::int64_t least, std::int64_t most)
{
    return {name, presence, ValueType::Number, nullptr, {}, least, most};
}
constexpr Key flagKey(const char* name, Presence presence)
{
    return {name, presence, ValueType::Flag, "true or false", {}, 0, 0};
}
constexpr Key tableKey(const char* name, Presence presence)
{
    return {name, presence, ValueType::Table, "a table", {}, 0, 0};
}
constexpr Key tablesKey(const char* name, Presence presence)
{
    return {name, presence, ValueType::Tables, "an array of tables", {}, 0, 0};
}
/// @}

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
