// A policy as text for people.

#include "PolicyView.h"

#include "Association.h"
#include "PolicyNames.h"
#include "Text.h"
#include "TextTable.h"
#include "Wording.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::FilterRule;
using programs::nameOf;

std::string authentication(const programs::TransformAttributes& transform)
{
    const std::string name = nameOf(programs::AUTHENTICATIONS, *transform.authentication);
    return transform.authenticationData.empty() ? name : name + " " + transform.authenticationData;
}

} // namespace

std::string inWords(const programs::TransformAttributes& transform)
{
    std::vector<std::string> words = {nameOf(programs::ENCRYPTIONS, *transform.encryption)};
    if (transform.keyLength)
        words.back() += " " + std::to_string(*transform.keyLength) + " bits";
    words.emplace_back(nameOf(programs::HASHES, *transform.hash));
    if (transform.authentication)
        words.push_back(authentication(transform));
    if (transform.group)
        words.push_back(std::string("group ") + nameOf(programs::GROUPS, *transform.group));
    words.push_back("for " + std::to_string(*transform.lifeDuration) + " s");
    return listed(words);
}

namespace {

// One node of a tree drawn with letters that every terminal has.
std::string branch(bool last)
{
    return last ? "`- " : "|- ";
}

std::string treeOf(const programs::ProposalTransforms& proposal, bool last)
{
    std::string text = "  " + branch(last) + "proposal " + std::to_string(proposal.id) + "\n";
    for (const programs::TransformAttributes& transform : proposal.transforms)
        text += std::string(last ? "     " : "  |  ") + branch(&transform == &proposal.transforms.back()) +
                "transform " + std::to_string(transform.id) + ": " + inWords(transform) + "\n";
    return text;
}

std::string phase(const std::string& name, const common::PayloadPtr& association)
{
    const auto proposals = programs::proposalsOf(association, name);
    std::string text = name + (proposals.empty() ? ": none\n" : "\n");
    for (const programs::ProposalTransforms& proposal : proposals)
        text += treeOf(proposal, &proposal == &proposals.back());
    return text;
}

std::string engine(const Policy& policy)
{
    return "Engine\n" + aligned({{"setting file", policy.settingFile},
                                 {"FIPS mode", policy.fipsMode ? "on" : "off"},
                                 {"namespace", cell(policy.store.getNsName())}});
}

std::vector<common::FilterRulePtr> rulesOf(const Policy& policy)
{
    std::vector<common::FilterRulePtr> rules;
    for (const common::FilterSet& set : {policy.store.getFilterRules(), policy.defaultRules})
        rules.insert(rules.end(), set.begin(), set.end());
    return rules;
}

bool hasIdentities(const common::FilterRulePtr& rule)
{
    return rule->getIdentityType() != FilterRule::IdentityNone;
}

// The columns that few rules fill come last, and only if there is one of these, so that most tables fit a terminal.
std::string rules(const Policy& policy)
{
    const auto rules = rulesOf(policy);
    const bool identities = std::any_of(rules.begin(), rules.end(), hasIdentities);
    std::vector<Row> rows = {{"#", "priority", "action", "source", "destination"}};
    if (identities)
        rows.front().insert(rows.front().end(), {"identity-type", "source-identity", "destination-identity"});
    for (const common::FilterRulePtr& rule : rules) {
        rows.push_back({std::to_string(rows.size() - 1), std::to_string(rule->getPriority()),
                        nameOf(programs::ACTIONS, rule->getFilterType()), rule->getSrcIpAddress(),
                        rule->getDstIpAddress()});
        if (identities)
            rows.back().insert(rows.back().end(),
                               {nameOf(programs::IDENTITY_TYPES, rule->getIdentityType()),
                                cell(rule->getSrcIdentity()), cell(rule->getDstIdentity())});
    }
    return rows.size() == 1 ? "Rules: none\n" : "Rules\n" + aligned(rows);
}

std::string certificates(const Policy& policy)
{
    std::vector<Row> rows = {{"kind", "certificate", "private-key"}};
    for (const common::CertificatePtr& certificate : policy.certificates)
        rows.push_back({nameOf(programs::CERTIFICATE_KINDS, certificate->getKind()),
                        certificate->getCertFilePath(), cell(certificate->getPkeyFilePath())});
    return rows.size() == 1 ? "Certificates: none\n" : "Certificates\n" + aligned(rows);
}

} // namespace

std::string viewOf(const Policy& policy)
{
    return engine(policy) + "\n" + phase("Phase 1", policy.store.getPhase1SA()) + "\n" +
           phase("Phase 2", policy.store.getPhase2SA()) + "\n" + rules(policy) + "\n" + certificates(policy);
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
