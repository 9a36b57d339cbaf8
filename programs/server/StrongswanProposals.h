#ifndef IPSECCFG_SERVER_STRONGSWANPROPOSALS_H
#define IPSECCFG_SERVER_STRONGSWANPROPOSALS_H

/// @file
/// A policy's two associations in strongSwan's words.

#include "SecurityAssociation.h"

#include <cstddef>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// What the engine is to offer in one phase.
///
/// Each transform is one proposal of the engine, in the order of the policy. The engine has one lifetime for
/// all of them: the shortest, so that none is exceeded.
struct PhaseOffer {
    std::vector<std::string> proposals; ///< "aes256-sha256-modp2048"
    int lifetime = 0;                   ///< seconds
};

/// How both ends prove who they are; the engine knows one way for all proposals.
struct Authentication {
    bool preShared = false;   ///< else by RSA signatures
    std::string preSharedKey; ///< any bytes; a secret
};

/// What restricts the choice beyond the engine itself.
struct Restrictions {
    std::size_t ikeVersion = 2;
    bool fips = false;
};

/// The two phases of the policy.
/// @throws std::runtime_error "PLACE: MEMBER: VALUE is not possible REASON, only ..." for what the engine
///         cannot do
/// @{
PhaseOffer offerOfPhase1(const common::PayloadPtr& association, const Restrictions& restrictions);
PhaseOffer offerOfPhase2(const common::PayloadPtr& association, const Restrictions& restrictions);
Authentication authenticationOf(const common::PayloadPtr& phase1);
/// @}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
