// The filter rules of a policy.

#include "RuleReader.h"

#include "Values.h"
#include "Wording.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::FilterRule;

// What an identity of a type looks like.
struct IdentityForm {
    FilterRule::IdentityType type;
    bool (*fits)(const std::string& text);
    const char* what;
};

bool isAddress(const std::string& text)
{
    return familyOfAddress(text).has_value();
}

constexpr IdentityForm IDENTITY_FORMS[] = {
    {FilterRule::IPAddress, isAddress, "an IP address"},
    {FilterRule::DN, isDistinguishedName, "a distinguished name like \"CN=device, O=Example\""},
    {FilterRule::Email, isEmail, "an email address like \"name@example.org\""}};

constexpr const char* const IDENTITY_KEYS[] = {"source-identity", "destination-identity"};

std::optional<AddressFamily> checkedSelector(const PolicyTable& rule, const std::string& key)
{
    const auto text = rule.text(key);
    if (!text)
        return std::nullopt;
    const auto family = familyOfSelector(*text);
    if (!family)
        rule.refuseValue(key, quoted(*text));
    return family;
}

void checkSelectors(const PolicyTable& rule)
{
    const auto source = checkedSelector(rule, "source");
    const auto destination = checkedSelector(rule, "destination");
    if (source && destination && *source != *destination)
        rule.refuse("destination", quoted(*rule.text("destination")) + " is " + nameOf(*destination) +
                                       ", must be " + nameOf(*source) + " like the source " +
                                       quoted(*rule.text("source")));
}

void checkIdentity(const PolicyTable& rule, const char* key, const IdentityForm& form)
{
    const auto identity = rule.text(key);
    const std::string type = programs::nameOf(programs::IDENTITY_TYPES, form.type);
    const std::string allowed = std::string("must be ") + form.what;
    if (identity && !form.fits(*identity))
        rule.refuse(key, allowed + " for identity-type " + quoted(type) + ", not " + quoted(*identity));
    else if (!rule.has(key))
        rule.refuse(key, "is missing, " + allowed + " for identity-type " + quoted(type));
}

void checkIdentities(const PolicyTable& rule)
{
    const auto type = rule.number("identity-type");
    if (!type && rule.has("identity-type"))
        return;
    for (const IdentityForm& form : IDENTITY_FORMS)
        if (type == form.type)
            for (const char* const key : IDENTITY_KEYS)
                checkIdentity(rule, key, form);
    if (type.value_or(FilterRule::IdentityNone) == FilterRule::IdentityNone)
        for (const char* const key : IDENTITY_KEYS)
            if (rule.has(key))
                rule.refuse(key, "is of no use without an identity-type, one of ip, dn, email");
}

common::FilterRulePtr toRule(const PolicyTable& table)
{
    const int action = table.number("action").value_or(FilterRule::FilterNone);
    auto rule =
        common::createFilterRule(static_cast<FilterRule::FilterType>(action),
                                 table.text("source").value_or(""), table.text("destination").value_or(""));
    const int identityType = table.number("identity-type").value_or(FilterRule::IdentityNone);
    rule->setIdentityType(static_cast<FilterRule::IdentityType>(identityType));
    rule->setSrcIdentity(table.text("source-identity").value_or(""));
    rule->setDstIdentity(table.text("destination-identity").value_or(""));
    if (const auto priority = table.number("priority"))
        rule->setPriority(*priority);
    return rule;
}

// The policy store tells rules that protect traffic apart by the exact texts of their addresses.
void checkPairs(const std::vector<PolicyTable>& rules)
{
    std::map<std::pair<std::string, std::string>, std::size_t> lines;
    for (const PolicyTable& rule : rules) {
        const auto source = rule.text("source");
        const auto destination = rule.text("destination");
        if (rule.number("action") != FilterRule::Use || !source || !destination)
            continue;
        const auto [first, isNew] =
            lines.emplace(std::make_pair(*source, *destination), rule.positionOf("source").line);
        if (!isNew)
            rule.refuse("source", quoted(*source) + " to " + quoted(*destination) +
                                      " is the pair of the rule in line " + std::to_string(first->second) +
                                      " already, only one rule with action 'use' may have it");
    }
}

} // namespace

common::FilterSet readRules(const std::vector<PolicyTable>& rules)
{
    checkPairs(rules);
    common::FilterSet result;
    for (const PolicyTable& rule : rules) {
        checkSelectors(rule);
        checkIdentities(rule);
        result.push_back(toRule(rule));
    }
    return result;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
