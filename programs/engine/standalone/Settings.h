#ifndef IPSECCFG_STANDALONE_SETTINGS_H
#define IPSECCFG_STANDALONE_SETTINGS_H

/// @file
/// The engine's settings and the file that they stand in.
///
/// The file is JSON (RFC 8259). Every member is needed but those in brackets, and no other is allowed:
///
///     SETTINGS    = {"format": 1, "fips": BOOL, "namespace": TEXT,
///                    "phase1": [PROPOSAL...], "phase2": [PROPOSAL...],
///                    "rules": [RULE...], "certificates": [CERTIFICATE...]}
///     PROPOSAL    = {"id": INT, "transforms": [TRANSFORM...]}
///     TRANSFORM   = {"id": INT, "encryption": "AES" | "3DES" | "AES-GCM",
///                    ["key-length": 128 | 192 | 256,]            for 3DES: 0 | 168 | 192
///                    "hash": "SHA1" | "SHA256" | "SHA384" | "SHA512" | "AES-GCM",
///                    ["authentication": "PSK" | "RSA_SIG", "authentication-data": TEXT,]
///                    ["group": 14 | 24 | 19 | 20,] "lifetime": SECONDS}
///     RULE        = {"action": "use" | "bypass" | "discard", "source": TEXT, "destination": TEXT,
///                    "priority": 0 to 99, "identity-type": "none" | "ip" | "dn" | "email",
///                    "source-identity": TEXT, "destination-identity": TEXT}
///     CERTIFICATE = {"kind": "end-entity" | "internal-ca" | "root-ca",
///                    "certificate": TEXT, "private-key": TEXT}
///
/// The key length may be left out for 3DES only.

#include <optional>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::standalone {

struct Transform {
    int id = 0;
    std::string encryption;
    std::optional<int> keyLength;
    std::string hash;
    std::optional<std::string> authentication;
    std::string authenticationData; ///< a secret
    std::optional<int> group;
    int lifetime = 0; ///< seconds
};

struct Proposal {
    int id = 0;
    std::vector<Transform> transforms;
};

struct Rule {
    std::string action;
    std::string source;
    std::string destination;
    int priority = 0;
    std::string identityType;
    std::string sourceIdentity;
    std::string destinationIdentity;
};

struct Certificate {
    std::string kind;
    std::string certificate;
    std::string privateKey;
};

/// What the engine runs. A plain value, checked.
struct Settings {
    bool fips = false;
    std::string nameSpace;
    std::vector<Proposal> phase1;
    std::vector<Proposal> phase2;
    std::vector<Rule> rules;
    std::vector<Certificate> certificates;
};

/// Reads and checks a setting file.
/// @throws std::runtime_error "FILE: WHY" if it cannot be read, "FILE:LINE:COLUMN: is not JSON", "FILE:
///         PLACE: what is wrong and what is allowed" with a place like "rules[0].priority". Authentication
///         data is never part of a text.
Settings readSettings(const std::string& file);

/// The settings in numbers, without any value of theirs.
std::string summaryOf(const Settings& settings);

} // namespace norvale::tamber::systemdata::ipseccfg::standalone

#endif
