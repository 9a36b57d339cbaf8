#ifndef TESTS_PROGRAMS_STRONGSWAN_SUPPORT_H
#define TESTS_PROGRAMS_STRONGSWAN_SUPPORT_H

// What the tests of the strongSwan engine share.

#include "Connection.h"
#include "Request.h"

#include "server_support.h"

#include <string>
#include <vector>

namespace tests {

constexpr const char* CHARON = "/usr/sbin/charon-systemd";
constexpr const char* SWANCTL = "/usr/sbin/swanctl";

/// Gives this process a network of its own, in which a daemon disturbs nobody.
/// @return why strongSwan cannot be run there; empty if it can
std::string enterNetworkForStrongswan();

/// A request of these parts as the server receives it, checked.
norvale::tamber::systemdata::ipseccfg::configserver::Request requestOf(const RequestParts& parts);

/// A key, a certificate of an authority and one that it has issued: key.pem, ca.pem, device.pem.
void makeCertificates(const TemporaryFolder& folder);

} // namespace tests

#endif
