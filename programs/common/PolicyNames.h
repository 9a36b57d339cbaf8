#ifndef IPSECCFG_PROGRAMS_POLICYNAMES_H
#define IPSECCFG_PROGRAMS_POLICYNAMES_H

/// @file
/// The enumerators that a policy may use, by their names in policy and setting files.

#include "Certificate.h"
#include "FilterRule.h"
#include "SecurityAssociation.h"

#include <cstddef>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::programs {

/// One enumerator: its number in the model and on the wire, and its name.
struct Enumerator {
    int value;
    const char* name;
};

constexpr Enumerator ENCRYPTIONS[] = {{common::EncryptionAlgorithm::AES, "AES"},
                                      {common::EncryptionAlgorithm::DES3, "3DES"},
                                      {common::EncryptionAlgorithm::AES_GCM, "AES-GCM"}};
constexpr Enumerator HASHES[] = {{common::HashAlgorithm::SHA1, "SHA1"},
                                 {common::HashAlgorithm::SHA256, "SHA256"},
                                 {common::HashAlgorithm::SHA384, "SHA384"},
                                 {common::HashAlgorithm::SHA512, "SHA512"},
                                 {common::HashAlgorithm::AES_GCM, "AES-GCM"}};
constexpr Enumerator AUTHENTICATIONS[] = {{common::AuthenticationMethod::PSK, "PSK"},
                                          {common::AuthenticationMethod::RSA_SIG, "RSA_SIG"}};
constexpr Enumerator GROUPS[] = {{common::GroupDescription::G14, "14"},
                                 {common::GroupDescription::G24, "24"},
                                 {common::GroupDescription::G19, "19"},
                                 {common::GroupDescription::G20, "20"}};
constexpr Enumerator LIFE_TYPES[] = {{common::LifeType::SECOND, "seconds"}};
constexpr Enumerator ACTIONS[] = {{common::FilterRule::Bypass, "bypass"},
                                  {common::FilterRule::Discard, "discard"},
                                  {common::FilterRule::Use, "use"}};
constexpr Enumerator IDENTITY_TYPES[] = {{common::FilterRule::IdentityNone, "none"},
                                         {common::FilterRule::IPAddress, "ip"},
                                         {common::FilterRule::DN, "dn"},
                                         {common::FilterRule::Email, "email"}};
constexpr Enumerator CERTIFICATE_KINDS[] = {{common::Certificate::EndEntity, "end-entity"},
                                            {common::Certificate::InternalCA, "internal-ca"},
                                            {common::Certificate::RootCA, "root-ca"}};

/// The name of an enumerator; null if the table does not have it.
template <std::size_t N>
const char* nameOf(const Enumerator (&table)[N], int value)
{
    for (const Enumerator& enumerator : table)
        if (enumerator.value == value)
            return enumerator.name;
    return nullptr;
}

/// What a table allows, for messages: "0 (AES), 1 (3DES), 2 (AES-GCM)".
template <std::size_t N>
std::string listOf(const Enumerator (&table)[N])
{
    std::string list;
    for (const Enumerator& enumerator : table) {
        list += list.empty() ? "" : ", ";
        list += std::to_string(enumerator.value) + " (" + enumerator.name + ")";
    }
    return list;
}

} // namespace norvale::tamber::systemdata::ipseccfg::programs

#endif
