#ifndef IPSECCFG_PROGRAMS_ASSOCIATION_H
#define IPSECCFG_PROGRAMS_ASSOCIATION_H

/// @file
/// A security association read out of its tree, for those who check it or write it down.

#include "SecurityAssociation.h"

#include <optional>
#include <string>
#include <vector>

namespace norvale::tamber::systemdata::ipseccfg::programs {

/// The attributes of one transform, by number as the model has them; what the tree does not have is empty.
struct TransformAttributes {
    int id = 0;
    std::optional<int> encryption;
    std::optional<int> keyLength;
    std::optional<int> hash;
    std::optional<int> authentication;
    std::string authenticationData; ///< a secret, for a pre-shared key
    std::optional<int> group;
    std::optional<int> lifeType;
    std::optional<int> lifeDuration;
};

/// One proposal: its number and its transforms in their order.
struct ProposalTransforms {
    int id = 0;
    std::vector<TransformAttributes> transforms;
};

/// The proposals of an association in their order; none for a null handle.
/// @param name what messages call the association: "phase 1"
/// @throws std::runtime_error "NAME, proposal P, transform T: MEMBER: is given twice" (the attribute's member
///         on the wire).
std::vector<ProposalTransforms> proposalsOf(const common::PayloadPtr& association, const std::string& name);

} // namespace norvale::tamber::systemdata::ipseccfg::programs

#endif
