// Writing of the standalone engine's setting file.

#include "StandaloneSettingManager.h"

#include "Association.h"
#include "PolicyNames.h"

#include <nlohmann/json.hpp>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// Members stay in the order in which they are written here.
using Json = nlohmann::ordered_json;

constexpr int FORMAT = 1;
constexpr int INDENTATION = 2;

Json jsonOf(const programs::TransformAttributes& transform)
{
    Json json = {{"id", transform.id}, {"encryption", programs::nameOf(programs::ENCRYPTIONS, transform.encryption.value())}};
    if (transform.keyLength)
        json["key-length"] = *transform.keyLength;
    json["hash"] = programs::nameOf(programs::HASHES, transform.hash.value());
    if (transform.authentication) {
        json["authentication"] = programs::nameOf(programs::AUTHENTICATIONS, *transform.authentication);
        json["authentication-data"] = transform.authenticationData;
    }
    if (transform.group)
        json["group"] = std::stoi(programs::nameOf(programs::GROUPS, *transform.group));
    json["lifetime"] = transform.lifeDuration.value();
    return json;
}

Json jsonOf(const common::PayloadPtr& association, const char* name)
{
    Json proposals = Json::array();
    for (const programs::ProposalTransforms& proposal : programs::proposalsOf(association, name)) {
        Json transforms = Json::array();
        for (const programs::TransformAttributes& transform : proposal.transforms)
            transforms.push_back(jsonOf(transform));
        proposals.push_back({{"id", proposal.id}, {"transforms", transforms}});
    }
    return proposals;
}

Json jsonOf(const common::FilterRule& rule)
{
    return {{"action", programs::nameOf(programs::ACTIONS, rule.getFilterType())},
            {"source", rule.getSrcIpAddress()},
            {"destination", rule.getDstIpAddress()},
            {"priority", rule.getPriority()},
            {"identity-type", programs::nameOf(programs::IDENTITY_TYPES, rule.getIdentityType())},
            {"source-identity", rule.getSrcIdentity()},
            {"destination-identity", rule.getDstIdentity()}};
}

Json jsonOf(const common::Certificate& certificate)
{
    return {{"kind", programs::nameOf(programs::CERTIFICATE_KINDS, certificate.getKind())},
            {"certificate", certificate.getCertFilePath()},
            {"private-key", certificate.getPkeyFilePath()}};
}

template <class Handles>
void append(Json& array, const Handles& handles)
{
    for (const auto& handle : handles)
        array.push_back(jsonOf(*handle));
}

} // namespace

std::string StandaloneSettingManager::render_(const common::IPsecPolicy& policy,
                                              const common::FilterSet& filters,
                                              const std::list<common::CertificatePtr>& certificates,
                                              bool fipsMode) const
{
    Json settings = {{"format", FORMAT},
                     {"fips", fipsMode},
                     {"namespace", policy.getNsName()},
                     {"phase1", jsonOf(policy.getPhase1SA(), "phase 1")},
                     {"phase2", jsonOf(policy.getPhase2SA(), "phase 2")},
                     {"rules", Json::array()},
                     {"certificates", Json::array()}};
    append(settings["rules"], policy.getFilterRules());
    append(settings["rules"], filters);
    append(settings["certificates"], certificates);
    return settings.dump(INDENTATION) + "\n";
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
