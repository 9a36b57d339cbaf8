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
    return transform.authenticationData.empty() ? name : name + " (key " + transform.authenticationData + ")";
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
    words.push_back("lifetime " + std::to_string(*transform.lifeDuration) + " " +
                    nameOf(programs::LIFE_TYPES, *transform.lifeType));
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

Row rowOf(const FilterRule& rule, std::size_t number)
{
    return {std::to_string(number),
            nameOf(programs::ACTIONS, rule.getFilterType()),
            rule.getSrcIpAddress(),
            rule.getDstIpAddress(),
            nameOf(programs::IDENTITY_TYPES, rule.getIdentityType()),
            cell(rule.getSrcIdentity()),
            cell(rule.getDstIdentity()),
            std::to_string(rule.getPriority())};
}

std::string rules(const Policy& policy)
{
    std::vector<Row> rows = {{"#", "action", "source", "destination", "identity-type", "source-identity",
                              "destination-identity", "priority"}};
    for (const common::FilterSet& set : {policy.store.getFilterRules(), policy.defaultRules})
        for (const common::FilterRulePtr& rule : set)
            rows.push_back(rowOf(*rule, rows.size() - 1));
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
