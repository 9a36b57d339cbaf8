#ifndef IPSECCFG_CLIENT_POLICYKEYS_H
#define IPSECCFG_CLIENT_POLICYKEYS_H

/// @file
/// The keys of a policy file, table by table.
///
///     [engine]
///     [[phase1.proposal]]            and the same below phase2
///     [[phase1.proposal.transform]]
///     [[rule]]
///     [[certificate]]

#include "Key.h"

#include <cstdint>
#include <limits>

namespace norvale::tamber::systemdata::ipseccfg::client {

constexpr std::int64_t LARGEST = std::numeric_limits<int>::max();

constexpr const char* ABSOLUTE_PATH = "an absolute path";
constexpr const char* SELECTOR = "an IP address, a network (address/length) or a range (first-last)";
constexpr const char* NAMESPACE_NAME =
    "1 to 255 letters, digits, '_', '.' and '-' (neither '.' nor '..'), or empty for none";
constexpr const char* PRINTABLE_KEY = "a string of printable ASCII characters";
constexpr const char* IDENTITY = "a string that fits the identity-type";

constexpr Key POLICY_KEYS[] = {tableKey("engine", Presence::Required), tableKey("phase1", Presence::Optional),
                               tableKey("phase2", Presence::Optional), tablesKey("rule", Presence::Optional),
                               tablesKey("certificate", Presence::Optional)};

constexpr Key ENGINE_KEYS[] = {textKey("setting-file", Presence::Required, ABSOLUTE_PATH),
                               flagKey("fips", Presence::Optional),
                               textKey("namespace", Presence::Optional, NAMESPACE_NAME)};

constexpr Key PHASE_KEYS[] = {tablesKey("proposal", Presence::Required)};

// The numbers are part of what travels: transforms gather under the number of their proposal.
constexpr Key PROPOSAL_KEYS[] = {numberKey("id", Presence::Required, 0, LARGEST),
                                 tablesKey("transform", Presence::Required)};

// Which key lengths there are depends on the encryption.
constexpr Key TRANSFORM_KEYS[] = {numberKey("id", Presence::Required, 0, LARGEST),
                                  nameKey("encryption", Presence::Required, programs::ENCRYPTIONS),
                                  numberKey("key-length", Presence::Optional, 1, LARGEST),
                                  nameKey("hash", Presence::Required, programs::HASHES),
                                  nameKey("authentication", Presence::Optional, programs::AUTHENTICATIONS),
                                  secretKey("psk", Presence::Optional, PRINTABLE_KEY),
                                  textKey("psk-file", Presence::Optional, ABSOLUTE_PATH),
                                  numberNameKey("group", Presence::Optional, programs::GROUPS),
                                  numberKey("lifetime", Presence::Required, 1, LARGEST)};

constexpr Key RULE_KEYS[] = {nameKey("action", Presence::Required, programs::ACTIONS),
                             textKey("source", Presence::Required, SELECTOR),
                             textKey("destination", Presence::Required, SELECTOR),
                             nameKey("identity-type", Presence::Optional, programs::IDENTITY_TYPES),
                             textKey("source-identity", Presence::Optional, IDENTITY),
                             textKey("destination-identity", Presence::Optional, IDENTITY),
                             numberKey("priority", Presence::Required, 0, 99)};

constexpr Key CERTIFICATE_KEYS[] = {nameKey("kind", Presence::Required, programs::CERTIFICATE_KINDS),
                                    textKey("certificate", Presence::Required, ABSOLUTE_PATH),
                                    textKey("private-key", Presence::Optional, ABSOLUTE_PATH)};

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
