#ifndef IPSECCFG_CLIENT_POLICYTABLE_H
#define IPSECCFG_CLIENT_POLICYTABLE_H

/// @file
/// One table of a policy file, checked against the keys that it may have.

#include "Key.h"
#include "Problem.h"

#include <map>
#include <optional>
#include <string>
#include <toml++/toml.h>
#include <variant>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// The values of a table that are of the right type and in the right range, by key.
///
/// The constructor reports everything else: unknown and missing keys, wrong types, numbers out of range,
/// unknown names, control characters. So a getter's empty result means: left out, or reported already. Holds
/// on to the toml::table and to the list of problems, which must outlive it; not synchronised.
class PolicyTable {
public:
    /// @param path where the table stands, for messages: "phase1.proposal[0]"; empty for the file itself
    PolicyTable(const toml::table& table, const std::string& path, Keys keys, Problems& problems);

    /// The value of a key of type Text or Secret.
    std::optional<std::string> text(const std::string& key) const;
    /// The value of a key of type Number; the number of the enumerator for Name and NumberName.
    std::optional<int> number(const std::string& key) const;
    /// The value of a key of type Flag, false if there is none.
    bool flag(const std::string& key) const;
    /// The table below a key of type Table.
    std::optional<PolicyTable> table(const std::string& key, Keys keys) const;
    /// The tables below a key of type Tables; none if the key is missing.
    std::vector<PolicyTable> tables(const std::string& key, Keys keys) const;

    /// Whether the table has the key, whatever stands behind it.
    bool has(const std::string& key) const;
    /// Where the value of a key stands; where the table begins if it does not have the key.
    Position positionOf(const std::string& key) const;
    /// Reports a problem with the value of a key, or with its absence.
    void refuse(const std::string& key, const std::string& message) const;
    /// Reports a value that is not what the key allows: "must be ALLOWED, not VALUE".
    void refuseValue(const std::string& key, const std::string& value) const;

private:
    using Value = std::variant<std::string, int, bool>;

    void take_(const Key& key, const toml::node& node);
    void takeText_(const Key& key, const std::string& text);
    void takeName_(const Key& key, const std::string& name, const std::string& shown);
    void takeNumber_(const Key& key, std::int64_t number);
    void refuseUnknown_(const toml::key& key) const;
    void refuseType_(const Key& key, const toml::node& node) const;
    std::string pathOf_(const std::string& key) const;

    const toml::table* table_;
    std::string path_;
    Keys keys_;
    Problems* problems_;
    std::map<std::string, Value> values_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
