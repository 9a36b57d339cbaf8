// Writing of the standalone engine's setting file.

#include "StandaloneSettingManager.h"

#include "Association.h"
#include "JsonText.h"
#include "PolicyNames.h"

#include <list>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr int FORMAT = 1;

void write(JsonText& json, const programs::TransformAttributes& transform)
{
    json.member("id", transform.id);
    json.member("encryption", programs::nameOf(programs::ENCRYPTIONS, transform.encryption.value()));
    if (transform.keyLength)
        json.member("key-length", *transform.keyLength);
    json.member("hash", programs::nameOf(programs::HASHES, transform.hash.value()));
    if (transform.authentication) {
        json.member("authentication", programs::nameOf(programs::AUTHENTICATIONS, *transform.authentication));
        json.member("authentication-data", transform.authenticationData);
    }
    if (transform.group)
        json.member("group", std::stoi(programs::nameOf(programs::GROUPS, *transform.group)));
    json.member("lifetime", transform.lifeDuration.value());
}

void write(JsonText& json, const common::FilterRulePtr& rule)
{
    json.member("action", programs::nameOf(programs::ACTIONS, rule->getFilterType()));
    json.member("source", rule->getSrcIpAddress());
    json.member("destination", rule->getDstIpAddress());
    json.member("priority", rule->getPriority());
    json.member("identity-type", programs::nameOf(programs::IDENTITY_TYPES, rule->getIdentityType()));
    json.member("source-identity", rule->getSrcIdentity());
    json.member("destination-identity", rule->getDstIdentity());
}

void write(JsonText& json, const common::CertificatePtr& certificate)
{
    json.member("kind", programs::nameOf(programs::CERTIFICATE_KINDS, certificate->getKind()));
    json.member("certificate", certificate->getCertFilePath());
    json.member("private-key", certificate->getPkeyFilePath());
}

void write(JsonText& json, const programs::ProposalTransforms& proposal);

template <class Records>
void writeArray(JsonText& json, const Records& records)
{
    json.array([&] {
        for (const auto& record : records)
            json.object([&] { write(json, record); });
    });
}

void write(JsonText& json, const programs::ProposalTransforms& proposal)
{
    json.member("id", proposal.id);
    json.name("transforms");
    writeArray(json, proposal.transforms);
}

} // namespace

std::string StandaloneSettingManager::render_(const common::IPsecPolicy& policy,
                                              const common::FilterSet& filters,
                                              const std::list<common::CertificatePtr>& certificates,
                                              bool fipsMode) const
{
    common::FilterSet rules = policy.getFilterRules();
    rules.insert(rules.end(), filters.begin(), filters.end());
    JsonText json;
    json.object([&] {
        json.member("format", FORMAT);
        json.member("fips", fipsMode);
        json.member("namespace", policy.getNsName());
        json.name("phase1");
        writeArray(json, programs::proposalsOf(policy.getPhase1SA(), "phase 1"));
        json.name("phase2");
        writeArray(json, programs::proposalsOf(policy.getPhase2SA(), "phase 2"));
        json.name("rules");
        writeArray(json, rules);
        json.name("certificates");
        writeArray(json, certificates);
    });
    return json.text() + "\n";
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
