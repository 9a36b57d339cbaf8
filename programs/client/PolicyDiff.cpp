// Comparison of two policies: each is taken apart into named parts, and parts of the same name are compared.

#include "PolicyDiff.h"

#include "Association.h"
#include "Colours.h"
#include "Masking.h"
#include "PolicyNames.h"
#include "PolicyView.h"
#include "Text.h"

#include <cstddef>
#include <map>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::FilterRule;
using programs::nameOf;
using Change = Difference::Change;

struct Part {
    std::string name;
    std::string shown;  // what of it may be shown
    std::string secret; // what of it may not
    std::string place;  // what decides when its turn comes; empty if nothing does
    std::string queue;  // which parts its turn comes before or after, by their order; empty if none
};

// The parts of a policy in their order.
class Parts {
public:
    // Two parts may be about the same: the second is called so.
    void add(Part part)
    {
        const int number = ++counts_[part.name];
        if (number > 1)
            part.name += " (" + std::to_string(number) + ")";
        index_.emplace(part.name, parts_.size());
        parts_.push_back(part);
    }

    const Part* find(const std::string& name) const
    {
        const auto found = index_.find(name);
        return found == index_.end() ? nullptr : &parts_[found->second];
    }

    std::vector<Part>::const_iterator begin() const { return parts_.begin(); }
    std::vector<Part>::const_iterator end() const { return parts_.end(); }

private:
    std::vector<Part> parts_;
    std::map<std::string, int> counts_;
    std::map<std::string, std::size_t> index_;
};

Parts engineOf(const Policy& policy)
{
    Parts parts;
    parts.add({"engine, setting-file", policy.settingFile, "", "", ""});
    parts.add({"engine, fips", policy.fipsMode ? "true" : "false", "", "", ""});
    const std::string& name = policy.store.getNsName();
    parts.add({"engine, namespace", name.empty() ? "none" : name, "", "", ""});
    return parts;
}

Parts phaseOf(const common::PayloadPtr& association, const common::PayloadPtr& masked,
              const std::string& name)
{
    Parts parts;
    const auto proposals = programs::proposalsOf(association, name);
    const auto shown = programs::proposalsOf(masked, name);
    for (std::size_t p = 0; p < proposals.size(); ++p)
        for (std::size_t t = 0; t < proposals[p].transforms.size(); ++t) {
            const auto& transform = proposals[p].transforms[t];
            parts.add({name + ", proposal " + std::to_string(proposals[p].id) + ", transform " +
                           std::to_string(transform.id),
                       inWords(shown[p].transforms[t]), transform.authenticationData, "",
                       name + ", order of preference"});
        }
    return parts;
}

std::string inWords(const FilterRule& rule)
{
    std::string text = nameOf(programs::ACTIONS, rule.getFilterType());
    if (rule.getIdentityType() != FilterRule::IdentityNone)
        text += std::string(", ") + nameOf(programs::IDENTITY_TYPES, rule.getIdentityType()) + " " +
                rule.getSrcIdentity() + " -> " + rule.getDstIdentity();
    return text;
}

void addRules(Parts& parts, const common::FilterSet& rules, const std::string& kind)
{
    for (const common::FilterRulePtr& rule : rules) {
        const std::string priority = "priority " + std::to_string(rule->getPriority());
        parts.add({"rule " + rule->getSrcIpAddress() + " -> " + rule->getDstIpAddress(), inWords(*rule), "",
                   priority, kind + " of " + priority + ", order"});
    }
}

Parts rulesOf(const Policy& policy)
{
    Parts parts;
    addRules(parts, policy.store.getFilterRules(), "rules that protect,");
    addRules(parts, policy.defaultRules, "other rules,");
    return parts;
}

Parts certificatesOf(const Policy& policy)
{
    Parts parts;
    for (const common::CertificatePtr& certificate : policy.certificates) {
        const std::string key = certificate->getPkeyFilePath();
        parts.add({std::string("certificate ") + nameOf(programs::CERTIFICATE_KINDS, certificate->getKind()) +
                       " " + certificate->getCertFilePath(),
                   key.empty() ? "without a private key" : "private key " + key, "", "", ""});
    }
    return parts;
}

std::string whole(const Part& part)
{
    return part.shown + (part.place.empty() ? "" : ", " + part.place);
}

void compare(const Part& before, const Part& after, Differences& differences)
{
    if (before.shown != after.shown)
        differences.push_back({Change::Changed, before.name, whole(before), whole(after)});
    else if (before.secret != after.secret)
        differences.push_back(
            {Change::Changed, before.name, whole(before), whole(after) + ", with another key"});
    else if (before.place != after.place)
        differences.push_back({Change::Moved, before.name, before.place, after.place});
}

// The names of the parts that the other policy has in the same queues, queue by queue.
std::map<std::string, std::vector<std::string>> queuesOf(const Parts& parts, const Parts& other)
{
    std::map<std::string, std::vector<std::string>> queues;
    for (const Part& part : parts) {
        const Part* const counterpart = other.find(part.name);
        if (!part.queue.empty() && counterpart != nullptr && counterpart->queue == part.queue)
            queues[part.queue].push_back(part.name);
    }
    return queues;
}

void compareOrder(const Parts& before, const Parts& after, Differences& differences)
{
    const auto then = queuesOf(before, after);
    const auto now = queuesOf(after, before);
    for (const auto& [queue, names] : then)
        if (names != now.at(queue))
            differences.push_back(
                {Change::Moved, queue, programs::joined(names, "; "), programs::joined(now.at(queue), "; ")});
}

void compare(const Parts& before, const Parts& after, Differences& differences)
{
    for (const Part& part : before) {
        const Part* const now = after.find(part.name);
        if (now == nullptr)
            differences.push_back({Change::Removed, part.name, whole(part), {}});
        else
            compare(part, *now, differences);
    }
    for (const Part& part : after)
        if (before.find(part.name) == nullptr)
            differences.push_back({Change::Added, part.name, {}, whole(part)});
    compareOrder(before, after, differences);
}

struct ChangeFacts {
    const char* name;
    const char* sign;
    Colour colour;
};
// In the order of Change.
constexpr ChangeFacts CHANGE_FACTS[] = {{"added", "+", Colour::Green},
                                        {"removed", "-", Colour::Red},
                                        {"changed", "~", Colour::Yellow},
                                        {"moved", ">", Colour::Blue}};

const ChangeFacts& factsOf(Change change)
{
    return CHANGE_FACTS[static_cast<int>(change)];
}

} // namespace

const char* nameOf(Difference::Change change)
{
    return factsOf(change).name;
}

Differences differencesBetween(const Policy& before, const Policy& after)
{
    const Policy beforeMasked = masked(before);
    const Policy afterMasked = masked(after);
    Differences differences;
    compare(engineOf(before), engineOf(after), differences);
    compare(phaseOf(before.store.getPhase1SA(), beforeMasked.store.getPhase1SA(), "phase 1"),
            phaseOf(after.store.getPhase1SA(), afterMasked.store.getPhase1SA(), "phase 1"), differences);
    compare(phaseOf(before.store.getPhase2SA(), beforeMasked.store.getPhase2SA(), "phase 2"),
            phaseOf(after.store.getPhase2SA(), afterMasked.store.getPhase2SA(), "phase 2"), differences);
    compare(rulesOf(before), rulesOf(after), differences);
    compare(certificatesOf(before), certificatesOf(after), differences);
    return differences;
}

std::string viewOf(const Differences& differences, bool colours)
{
    std::string text;
    for (const Difference& difference : differences) {
        const ChangeFacts& facts = factsOf(difference.change);
        text += painted(colours, facts.colour, std::string(facts.sign) + " " + difference.what) + ": ";
        if (difference.before.empty() || difference.after.empty())
            text += difference.before + difference.after + "\n";
        else
            text += difference.before + "\n  now " + difference.after + "\n";
    }
    return text;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
