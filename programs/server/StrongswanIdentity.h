#ifndef IPSECCFG_SERVER_STRONGSWANIDENTITY_H
#define IPSECCFG_SERVER_STRONGSWANIDENTITY_H

/// @file
/// Identities in strongSwan's words.

#include "FilterRule.h"

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// The engine's text for an identity; empty if there is none.
///
/// The engine guesses an identity's kind from its text, takes a "*" for anything and takes what it cannot
/// read for opaque bytes. So only what it surely reads as the kind that is meant is let through:
///
/// - ip: an address other than 0.0.0.0 and ::
/// - dn: TYPE=VALUE pairs with commas between, TYPE one of C, ST, L, O, OU, CN, SN, T, D, N, G, I, DC, UID,
///   E; VALUE printable ASCII without a comma, not empty, not "*", not beginning with "=", no space at its
///   ends
/// - email: printable ASCII with one "@" inside, without space, "*" and a "#" at its beginning
///
/// Each has 255 characters at most.
/// @param place what messages call the identity: "used rule 1: src-identity"
/// @throws std::runtime_error "PLACE: 'VALUE' is not possible, only ..."
std::string identityText(common::FilterRule::IdentityType type, const std::string& identity,
                         const std::string& place);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
