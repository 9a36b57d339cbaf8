#ifndef IPSECCFG_CLIENT_PHASEREADER_H
#define IPSECCFG_CLIENT_PHASEREADER_H

/// @file
/// The security association of one phase.

#include "PolicyTable.h"
#include "SecurityAssociation.h"

#include <optional>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::client {

/// What was read of a phase. It is good only if nothing was reported.
struct Phase {
    common::PayloadPtr association; ///< without proposals if the phase is left out
    std::vector<PolicyTable>
        signatures; ///< the transforms with authentication RSA_SIG, which need a certificate
};

/// Reads the proposals and transforms of a phase, if it is there, and reports what is wrong with them.
Phase readPhase(const std::optional<PolicyTable>& table);

} // namespace norvale::tamber::systemdata::ipseccfg::client

#endif
