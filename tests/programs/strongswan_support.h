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

/// Why strongSwan cannot be run here; empty if it can.
std::string strongswanIsMissing();

/// Gives this process a network namespace of its own, in which a daemon disturbs nobody. Whether that was
/// possible.
bool leaveNetwork();

/// A request of these parts as the server receives it, checked.
norvale::tamber::systemdata::ipseccfg::configserver::Request requestOf(const RequestParts& parts);

/// A key, a certificate of an authority and one that it has issued: key.pem, ca.pem, device.pem.
void makeCertificates(const TemporaryFolder& folder);

} // namespace tests

#endif
