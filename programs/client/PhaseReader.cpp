// The security association of one phase.

#include "PhaseReader.h"

#include "PayloadBuilder.h"
#include "PolicyKeys.h"
#include "PreSharedKey.h"
#include "Wording.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

namespace {

using common::AuthenticationMethod;
using common::EncryptionAlgorithm;
using common::HashAlgorithm;
using common::PayloadPtr;

// The key lengths of an encryption, in bits. 3DES has but one, which may be left out, or counted without its
// parity bits.
struct KeyLengths {
    EncryptionAlgorithm::Type encryption;
    bool required;
    std::vector<int> bits;
};

const std::vector<KeyLengths>& keyLengths()
{
    static const std::vector<KeyLengths> LENGTHS = {{EncryptionAlgorithm::AES, true, {128, 192, 256}},
                                                    {EncryptionAlgorithm::DES3, false, {168, 192}},
                                                    {EncryptionAlgorithm::AES_GCM, true, {128, 192, 256}}};
    return LENGTHS;
}

std::string inWords(const std::vector<int>& numbers)
{
    std::vector<std::string> words;
    words.reserve(numbers.size());
    for (const int number : numbers)
        words.push_back(std::to_string(number));
    return listed(words);
}

void checkKeyLength(const PolicyTable& transform, int encryption)
{
    const auto found = std::find_if(keyLengths().begin(), keyLengths().end(),
                                    [&](const KeyLengths& row) { return row.encryption == encryption; });
    const std::string allowed = std::string(", must be one of ") + inWords(found->bits) + " for " +
                                programs::nameOf(programs::ENCRYPTIONS, encryption);
    const auto bits = transform.number("key-length");
    if (bits && std::count(found->bits.begin(), found->bits.end(), *bits) == 0)
        transform.refuse("key-length", std::to_string(*bits) + " is not allowed" + allowed);
    else if (found->required && !transform.has("key-length"))
        transform.refuse("key-length", "is missing" + allowed);
}

// Other hashes beside AES-GCM are fine: IKE derives its keys with them.
void checkHash(const PolicyTable& transform, int encryption)
{
    if (transform.number("hash") == HashAlgorithm::AES_GCM && encryption != EncryptionAlgorithm::AES_GCM)
        transform.refuse("hash", std::string("'AES-GCM' goes with encryption 'AES-GCM' only, not with ") +
                                     quoted(programs::nameOf(programs::ENCRYPTIONS, encryption)));
}

// A key that nothing uses is more likely a mistake than a wish.
void refuseKeys(const PolicyTable& transform)
{
    for (const char* const key : {"psk", "psk-file"})
        if (transform.has(key))
            transform.refuse(key, "is of no use without authentication = \"PSK\"");
}

std::string authenticationData(const PolicyTable& transform)
{
    const auto method = transform.number("authentication");
    if (method == AuthenticationMethod::PSK)
        return preSharedKeyOf(transform);
    if (method || !transform.has("authentication"))
        refuseKeys(transform);
    return std::string();
}

template <class Type, class Factory>
void addAttribute(const PayloadPtr& node, std::optional<int> value, Factory create)
{
    if (value)
        node->add(create(static_cast<Type>(*value)));
}

PayloadPtr readTransform(const PolicyTable& table)
{
    const auto encryption = table.number("encryption");
    if (encryption) {
        checkKeyLength(table, *encryption);
        checkHash(table, *encryption);
    }
    const std::string data = authenticationData(table);

    const auto transform = std::static_pointer_cast<common::Transform>(common::createTransform());
    transform->setId(table.number("id").value_or(0));
    addAttribute<EncryptionAlgorithm::Type>(transform, encryption, common::createEncryptionAlgorithm);
    addAttribute<int>(transform, table.number("key-length"), common::createKeyLength);
    addAttribute<HashAlgorithm::Type>(transform, table.number("hash"), common::createHashAlgorithm);
    addAttribute<AuthenticationMethod::Type>(
        transform, table.number("authentication"),
        [&](AuthenticationMethod::Type method) { return common::createAuthenticationMethod(method, data); });
    addAttribute<common::GroupDescription::Type>(transform, table.number("group"),
                                                 common::createGroupDescription);
    transform->add(common::createLifeType(common::LifeType::SECOND));
    addAttribute<int>(transform, table.number("lifetime"), common::createLifeDuration);
    return transform;
}

// Refuses a number that an earlier table of the same list has.
void checkNumbers(const std::vector<PolicyTable>& tables, const std::string& noun)
{
    std::map<int, std::size_t> lines;
    for (const PolicyTable& table : tables) {
        const auto id = table.number("id");
        if (!id)
            continue;
        const auto [first, isNew] = lines.emplace(*id, table.positionOf("id").line);
        if (!isNew)
            table.refuse("id", std::to_string(*id) + " is the id of the " + noun + " in line " +
                                   std::to_string(first->second) + " already, each needs one of its own");
    }
}

void checkNotEmpty(const PolicyTable& table, const std::string& key, const std::vector<PolicyTable>& tables)
{
    if (tables.empty() && table.has(key))
        table.refuse(key, "is empty, at least one is needed");
}

void readProposal(const PolicyTable& table, Phase& phase)
{
    const auto proposal = std::static_pointer_cast<common::Proposal>(common::createProposal());
    proposal->setId(table.number("id").value_or(0));
    const std::vector<PolicyTable> transforms = table.tables("transform", TRANSFORM_KEYS);
    checkNumbers(transforms, "transform");
    checkNotEmpty(table, "transform", transforms);
    for (const PolicyTable& transform : transforms) {
        proposal->add(readTransform(transform));
        if (transform.number("authentication") == AuthenticationMethod::RSA_SIG)
            phase.signatures.push_back(transform);
    }
    phase.association->add(proposal);
}

} // namespace

Phase readPhase(const std::optional<PolicyTable>& table)
{
    Phase phase{common::createSecurityAssociation(), {}};
    if (!table)
        return phase;
    const std::vector<PolicyTable> proposals = table->tables("proposal", PROPOSAL_KEYS);
    checkNumbers(proposals, "proposal");
    checkNotEmpty(*table, "proposal", proposals);
    for (const PolicyTable& proposal : proposals)
        readProposal(proposal, phase);
    return phase;
}

} // namespace norvale::tamber::systemdata::ipseccfg::client
