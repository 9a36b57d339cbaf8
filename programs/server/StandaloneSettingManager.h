#ifndef IPSECCFG_SERVER_STANDALONESETTINGMANAGER_H
#define IPSECCFG_SERVER_STANDALONESETTINGMANAGER_H

/// @file
/// The setting manager of the standalone engine.

#include "EngineSettingManager.h"

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Writes the whole policy as JSON (RFC 8259), in the words of the client's policy file:
///
///     {"format": 1, "fips": false, "namespace": "",
///      "phase1": [{"id": 1, "transforms": [TRANSFORM...]}...],                  the same for "phase2"
///      "rules": [{"action": "use", "source": "192.0.2.1", "destination": "192.0.2.2", "priority": 10,
///                 "identity-type": "ip", "source-identity": "192.0.2.1",
///                 "destination-identity": "192.0.2.2"}...],
///      "certificates": [{"kind": "end-entity", "certificate": "/path", "private-key": "/path"}...]}
///
///     TRANSFORM = {"id": 1, "encryption": "AES", "key-length": 256, "hash": "SHA256",
///                  "authentication": "PSK", "authentication-data": "SECRET", "group": 14, "lifetime": 28800}
///
/// Rules that protect come first, then the others, each in the order of the policy. "key-length", "group" and
/// the two of "authentication" are left out where the policy has none.
class StandaloneSettingManager : public EngineSettingManager {
public:
    using EngineSettingManager::EngineSettingManager;

private:
    std::string render_(const common::IPsecPolicy& policy, const common::FilterSet& filters,
                        const std::list<common::CertificatePtr>& certificates, bool fipsMode) const override;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
