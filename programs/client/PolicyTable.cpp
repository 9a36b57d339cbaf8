// One table of a policy file, checked against the keys that it may have.

#include "PolicyTable.h"

#include "Text.h"
#include "Wording.h"

#include <sstream>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

Position toPosition(const toml::source_region& region)
{
    return {region.begin.line, region.begin.column};
}

// What is wrong with the characters of a text; null for a good one.
const char* faultOfText(const std::string& text)
{
    const char* const fault = programs::faultOf(text);
    if (fault != nullptr)
        return fault;
    return programs::printable(text) == text ? nullptr : "U+FFFE and U+FFFF are not allowed";
}

// A value in words, for messages about its type.
std::string described(const toml::node& node)
{
    switch (node.type()) {
    case toml::node_type::string:
        return "the string " + quoted(node.as_string()->get());
    case toml::node_type::integer:
        return "the integer " + std::to_string(node.as_integer()->get());
    case toml::node_type::boolean:
        return node.as_boolean()->get() ? "the boolean true" : "the boolean false";
    case toml::node_type::floating_point: {
        std::ostringstream text;
        text << "the number " << node.as_floating_point()->get();
        return text.str();
    }
    case toml::node_type::array:
        return "an array";
    case toml::node_type::table:
        return "a table";
    default:
        return "a date or time";
    }
}

bool isTables(const toml::node& node)
{
    const toml::array* const array = node.as_array();
    if (array == nullptr)
        return false;
    for (const toml::node& element : *array)
        if (!element.is_table())
            return false;
    return true;
}

} // namespace

PolicyTable::PolicyTable(const toml::table& table, const std::string& path, Keys keys, Problems& problems)
    : table_(&table)
    , path_(path)
    , keys_(keys)
    , problems_(&problems)
{
    for (const auto& [name, node] : table) {
        const Key* const key = keys_.find(std::string(name.str()));
        if (key == nullptr)
            refuseUnknown_(name);
        else
            take_(*key, node);
    }
    for (const Key& key : keys_)
        if (key.presence == Presence::Required && !has(key.name))
            refuse(key.name, "is missing, must be " + key.allowed());
}

std::optional<std::string> PolicyTable::text(const std::string& key) const
{
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::make_optional(std::get<std::string>(found->second));
}

std::optional<int> PolicyTable::number(const std::string& key) const
{
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::make_optional(std::get<int>(found->second));
}

bool PolicyTable::flag(const std::string& key) const
{
    const auto found = values_.find(key);
    return found != values_.end() && std::get<bool>(found->second);
}

std::optional<PolicyTable> PolicyTable::table(const std::string& key, Keys keys) const
{
    const toml::table* const table = table_->get_as<toml::table>(key);
    if (table == nullptr)
        return std::nullopt;
    return PolicyTable(*table, pathOf_(key), keys, *problems_);
}

std::vector<PolicyTable> PolicyTable::tables(const std::string& key, Keys keys) const
{
    std::vector<PolicyTable> tables;
    const toml::node* const node = table_->get(key);
    if (node == nullptr || !isTables(*node))
        return tables;
    for (const toml::node& element : *node->as_array())
        tables.emplace_back(*element.as_table(), pathOf_(key) + "[" + std::to_string(tables.size()) + "]",
                            keys, *problems_);
    return tables;
}

bool PolicyTable::has(const std::string& key) const
{
    return table_->contains(key);
}

Position PolicyTable::positionOf(const std::string& key) const
{
    const toml::node* const node = table_->get(key);
    return toPosition(node == nullptr ? table_->source() : node->source());
}

void PolicyTable::refuse(const std::string& key, const std::string& message) const
{
    problems_->push_back({positionOf(key), pathOf_(key), message});
}

void PolicyTable::refuseValue(const std::string& key, const std::string& value) const
{
    refuse(key, "must be " + keys_.find(key)->allowed() + ", not " + value);
}

void PolicyTable::take_(const Key& key, const toml::node& node)
{
    const bool text = node.is_string();
    const bool number = node.is_integer();
    if ((key.type == ValueType::Text || key.type == ValueType::Secret) && text)
        takeText_(key, node.as_string()->get());
    else if (key.type == ValueType::Name && text)
        takeName_(key, node.as_string()->get(), quoted(node.as_string()->get()));
    else if (key.type == ValueType::NumberName && number)
        takeName_(key, std::to_string(node.as_integer()->get()), std::to_string(node.as_integer()->get()));
    else if (key.type == ValueType::Number && number)
        takeNumber_(key, node.as_integer()->get());
    else if (key.type == ValueType::Flag && node.is_boolean())
        values_[key.name] = node.as_boolean()->get();
    else if (!(key.type == ValueType::Table && node.is_table()) &&
             !(key.type == ValueType::Tables && isTables(node)))
        refuseType_(key, node);
}

void PolicyTable::takeText_(const Key& key, const std::string& text)
{
    const char* const fault = key.type == ValueType::Secret ? nullptr : faultOfText(text);
    if (fault == nullptr)
        values_[key.name] = text;
    else
        refuse(key.name, quoted(text) + ": " + fault);
}

void PolicyTable::takeName_(const Key& key, const std::string& name, const std::string& shown)
{
    for (const programs::Enumerator& enumerator : key.names) {
        if (name == enumerator.name) {
            values_[key.name] = enumerator.value;
            return;
        }
    }
    const bool slip = key.type == ValueType::Name;
    refuseValue(key.name, shown + (slip ? suggestion(name, key.names.all()) : std::string()));
}

void PolicyTable::takeNumber_(const Key& key, std::int64_t number)
{
    if (number < key.least || number > key.most)
        refuseValue(key.name, std::to_string(number));
    else
        values_[key.name] = static_cast<int>(number);
}

void PolicyTable::refuseUnknown_(const toml::key& key) const
{
    const std::string name(key.str());
    problems_->push_back(
        {toPosition(key.source()), pathOf_(programs::printable(name)),
         "is not a known key, only " + listed(keys_.names()) + suggestion(name, keys_.names())});
}

void PolicyTable::refuseType_(const Key& key, const toml::node& node) const
{
    const bool secret = key.type == ValueType::Secret;
    refuseValue(key.name, secret ? "a value of another type" : described(node));
}

std::string PolicyTable::pathOf_(const std::string& key) const
{
    return path_.empty() ? key : path_ + "." + key;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
