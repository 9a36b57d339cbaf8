#ifndef IPSECCFG_SERVER_STRONGSWANSETTINGMANAGER_H
#define IPSECCFG_SERVER_STRONGSWANSETTINGMANAGER_H

/// @file
/// The setting manager of strongSwan.

#include "EngineSettingManager.h"

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Writes the policy as a swanctl.conf(5) with its secrets, after lines of comment for the program that runs
/// the engine:
///
///     # ipseccfg-strongswan 1
///     # namespace: NAME                        empty: that of the server
///     # private-key: PATH                      for each end-entity certificate
///     connections {
///         protect-FINGERPRINT {                for each pair of ends and identities
///             children { use-FINGERPRINT { ... } }
///         }
///         shunts { children { bypass-FINGERPRINT { ... } discard-FINGERPRINT { ... } } }
///     }
///     secrets { ike { secret = "0x..." } }
///     authorities { ca-1 { cacert = "/path" } }
///
/// A fingerprint is one of the content (without children and keys): what stays keeps its name, and so its
/// tunnel.
///
/// The policy in the engine's terms:
/// - A rule protects in transport mode between two addresses, else in a tunnel; the configuration says more
///   (see sample-server.toml). Its traffic starts the negotiation. A range becomes the subnets that it is
///   made of.
/// - Priority P is the engine's P + 2: there 0 has a meaning of its own, and 1 lets the neighbour discovery of
///   IPv6 pass in clear where a rule protects IPv6. Without it the ends would not find each other.
/// - A lifetime L is the end of the keys; they are renewed in the tenth of L before it.
/// - Without identities this end is its address, or the subject of its certificate, and the other end may be
///   anybody who has the pre-shared key or a certificate of one of the authorities.
/// - Certificates count only with RSA signatures, and of those of authorities no private key.
/// - FIPS mode leaves AES, AES-GCM, SHA-1 (with HMAC), SHA-2 and the groups 14, 19 and 20.
class StrongswanSettingManager : public EngineSettingManager {
public:
    StrongswanSettingManager(const Configuration& configuration, const SettingFolder& folder);

private:
    std::string render_(const common::IPsecPolicy& policy, const common::FilterSet& filters,
                        const std::list<common::CertificatePtr>& certificates, bool fipsMode) const override;

    Configuration configuration_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
