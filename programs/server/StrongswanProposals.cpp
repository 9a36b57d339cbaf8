// Translation of transforms.

#include "StrongswanProposals.h"

#include "Association.h"
#include "PolicyNames.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

using common::AuthenticationMethod;
using common::EncryptionAlgorithm;
using common::GroupDescription;
using common::HashAlgorithm;

constexpr programs::Enumerator INTEGRITIES[] = {{HashAlgorithm::SHA1, "sha1"},
                                                {HashAlgorithm::SHA256, "sha256"},
                                                {HashAlgorithm::SHA384, "sha384"},
                                                {HashAlgorithm::SHA512, "sha512"}};
// Where the cipher protects integrity itself and the policy names no hash: any of them.
constexpr programs::Enumerator PSEUDORANDOMS[] = {{HashAlgorithm::SHA1, "prfsha1"},
                                                  {HashAlgorithm::SHA256, "prfsha256"},
                                                  {HashAlgorithm::SHA384, "prfsha384"},
                                                  {HashAlgorithm::SHA512, "prfsha512"},
                                                  {HashAlgorithm::AES_GCM, "prfsha256-prfsha384-prfsha512"}};
constexpr programs::Enumerator MODP_AND_ECP[] = {{GroupDescription::G14, "modp2048"},
                                                 {GroupDescription::G24, "modp2048s256"},
                                                 {GroupDescription::G19, "ecp256"},
                                                 {GroupDescription::G20, "ecp384"}};

// Below that there is no time left in which the engine could renew the keys.
constexpr int SHORTEST_LIFETIME = 10;

// One transform, for messages that name its place.
class Checked {
public:
    Checked(const std::string& phase, int proposal, const programs::TransformAttributes& transform)
        : place_(phase + ", proposal " + std::to_string(proposal) + ", transform " +
                 std::to_string(transform.id) + ": ")
        , transform_(transform)
    {}

    void require(bool possible, const std::string& member, const std::string& why) const
    {
        if (!possible)
            throw std::runtime_error(place_ + member + ": " + why);
    }

    const programs::TransformAttributes& attributes() const { return transform_; }
    bool isGcm() const { return transform_.encryption == EncryptionAlgorithm::AES_GCM; }
    std::string hashName() const { return programs::nameOf(programs::HASHES, transform_.hash.value()); }
    std::string encryptionName() const
    {
        return programs::nameOf(programs::ENCRYPTIONS, transform_.encryption.value());
    }

private:
    std::string place_;
    const programs::TransformAttributes& transform_;
};

std::string cipherOf(const Checked& transform)
{
    if (transform.attributes().encryption == EncryptionAlgorithm::DES3)
        return "3des";
    const std::string aes = "aes" + std::to_string(transform.attributes().keyLength.value());
    return transform.isGcm() ? aes + "gcm16" : aes;
}

std::string integrityOf(const Checked& transform)
{
    const char* const name = programs::nameOf(INTEGRITIES, transform.attributes().hash.value());
    transform.require(name != nullptr, "hash-algo",
                      transform.hashName() + " is not possible with " + transform.encryptionName() +
                          ", only SHA1, SHA256, SHA384, SHA512");
    return name;
}

void checkCommon(const Checked& transform, const Restrictions& restrictions)
{
    const programs::TransformAttributes& attributes = transform.attributes();
    if (restrictions.fips) {
        transform.require(attributes.encryption != EncryptionAlgorithm::DES3, "enc-algo",
                          "3DES is not possible in FIPS mode, only AES, AES-GCM");
        transform.require(attributes.group != GroupDescription::G24, "group-dsc",
                          "24 is not possible in FIPS mode, only 14, 19, 20");
    }
    const int lifetime = attributes.lifeDuration.value();
    transform.require(lifetime >= SHORTEST_LIFETIME, "life-duration",
                      std::to_string(lifetime) + " is not possible with this engine, only " +
                          std::to_string(SHORTEST_LIFETIME) + " and more");
}

std::string ikeProposalOf(const Checked& transform, const Restrictions& restrictions)
{
    const programs::TransformAttributes& attributes = transform.attributes();
    transform.require(!transform.isGcm() || restrictions.ikeVersion != 1, "enc-algo",
                      "AES-GCM is not possible in phase 1 of IKE version 1, only AES, 3DES");
    transform.require(attributes.group.has_value(), "group-dsc",
                      "is missing; phase 1 needs one of 14, 24, 19, 20");
    const std::string hash =
        transform.isGcm() ? programs::nameOf(PSEUDORANDOMS, attributes.hash.value()) : integrityOf(transform);
    return cipherOf(transform) + "-" + hash + "-" + programs::nameOf(MODP_AND_ECP, *attributes.group);
}

std::string espProposalOf(const Checked& transform)
{
    const programs::TransformAttributes& attributes = transform.attributes();
    transform.require(!attributes.authentication, "auth-method", "is not possible in phase 2");
    std::string proposal = cipherOf(transform);
    if (transform.isGcm())
        transform.require(attributes.hash == HashAlgorithm::AES_GCM, "hash-algo",
                          transform.hashName() + " is not possible with AES-GCM in phase 2, only AES-GCM");
    else
        proposal += "-" + integrityOf(transform);
    if (attributes.group)
        proposal += std::string("-") + programs::nameOf(MODP_AND_ECP, *attributes.group);
    return proposal;
}

PhaseOffer offerOf(const common::PayloadPtr& association, const std::string& phase,
                   const Restrictions& restrictions,
                   const std::function<std::string(const Checked&)>& proposalOf)
{
    PhaseOffer offer;
    for (const programs::ProposalTransforms& proposal : programs::proposalsOf(association, phase))
        for (const programs::TransformAttributes& attributes : proposal.transforms) {
            const Checked transform(phase, proposal.id, attributes);
            checkCommon(transform, restrictions);
            const std::string text = proposalOf(transform);
            const int lifetime = attributes.lifeDuration.value();
            offer.lifetime = offer.proposals.empty() ? lifetime : std::min(offer.lifetime, lifetime);
            if (std::find(offer.proposals.begin(), offer.proposals.end(), text) == offer.proposals.end())
                offer.proposals.push_back(text);
        }
    if (offer.proposals.empty())
        throw std::runtime_error(phase + ": has no transform, but there are rules that protect traffic");
    return offer;
}

} // namespace

PhaseOffer offerOfPhase1(const common::PayloadPtr& association, const Restrictions& restrictions)
{
    return offerOf(association, "phase 1", restrictions, [&restrictions](const Checked& transform) {
        return ikeProposalOf(transform, restrictions);
    });
}

PhaseOffer offerOfPhase2(const common::PayloadPtr& association, const Restrictions& restrictions)
{
    return offerOf(association, "phase 2", restrictions, espProposalOf);
}

Authentication authenticationOf(const common::PayloadPtr& phase1)
{
    const std::string phase = "phase 1";
    const auto proposals = programs::proposalsOf(phase1, phase);
    const programs::TransformAttributes* first = nullptr;
    for (const programs::ProposalTransforms& proposal : proposals)
        for (const programs::TransformAttributes& attributes : proposal.transforms) {
            const Checked transform(phase, proposal.id, attributes);
            transform.require(attributes.authentication.has_value(), "auth-method",
                              "is missing; phase 1 needs one of PSK, RSA_SIG");
            if (first == nullptr)
                first = &attributes;
            transform.require(
                attributes.authentication == first->authentication, "auth-method",
                std::string(programs::nameOf(programs::AUTHENTICATIONS, *attributes.authentication)) +
                    " is not possible beside " +
                    programs::nameOf(programs::AUTHENTICATIONS, *first->authentication) +
                    ", only one method in all transforms");
            transform.require(attributes.authentication != AuthenticationMethod::PSK ||
                                  attributes.authenticationData == first->authenticationData,
                              "auth-method",
                              "a second pre-shared key is not possible, only one in all transforms");
        }
    if (first == nullptr)
        throw std::runtime_error("phase 1: has no transform, but there are rules that protect traffic");
    const bool preShared = first->authentication == AuthenticationMethod::PSK;
    return {preShared, preShared ? first->authenticationData : ""};
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
