// How the keys of a policy file are described.

#include "Key.h"

#include "Wording.h"

namespace norvale::tamber::systemdata::ipseccfg::client {

std::vector<std::string> Names::all() const
{
    std::vector<std::string> names;
    for (const programs::Enumerator& enumerator : *this)
        names.emplace_back(enumerator.name);
    return names;
}

std::string Key::allowed() const
{
    if (what != nullptr)
        return what;
    if (type == ValueType::Number)
        return "an integer from " + std::to_string(least) + " to " + std::to_string(most);
    return "one of " + listed(names.all());
}

const Key* Keys::find(const std::string& name) const
{
    for (const Key& key : *this)
        if (name == key.name)
            return &key;
    return nullptr;
}

std::vector<std::string> Keys::names() const
{
    std::vector<std::string> names;
    for (const Key& key : *this)
        names.emplace_back(key.name);
    return names;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
