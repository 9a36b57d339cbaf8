#ifndef IPSECCFG_SERVER_REQUEST_H
#define IPSECCFG_SERVER_REQUEST_H

/// @file
/// One request of a client, and what the server accepts of it.

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"
#include "ObjectXMLMapping.h"

#include <istream>
#include <list>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// A request as it was received.
struct Request {
    int scenario = common::ScenarioCommand::None;
    common::IPsecPolicy policy;
    common::FilterSet defaultRules;
    std::list<common::CertificatePtr> certificates;
    std::string settingFilePath;
    bool fipsMode = false;
};

/// Receives one request; nothing of it is checked.
/// @throws what XmlRpcReceivePolicy throws: "CArrayPaser's parse error" and the errors of the messages.
Request receiveRequest(std::istream& stream);

/// "start", "shutdown" or "restart"; "request" for any other scenario.
std::string scenarioName(int scenario);

/// Checks all that can be said about a request without knowing the engine.
///
/// - The scenario is start, restart or shutdown.
/// - No string holds a control character (U+0000 to U+001F, U+007F to U+009F) or is other than UTF-8, the
///   authentication data included.
/// - The namespace name is empty or `[A-Za-z0-9_.-]{1,255}`, and neither "." nor "..".
/// - The setting file's path is there, except for a shutdown. (Where it may lead is SettingFolder's
///   business.)
/// - Every transform has an encryption and a hash algorithm, a lifetime and, but for 3DES, a key length;
///   enumerators, key lengths, lifetimes and priorities are ones that exist; a pre-shared key is not empty.
/// - A policy with rules that protect traffic has both associations.
///
/// A request from a caller that is not trusted may hold anything, so a refused value is quoted only if it is
/// a number.
/// @throws std::runtime_error "PLACE: MEMBER: what is wrong and what is allowed", for example "phase 1,
///         proposal 1, transform 2: enc-algo: 7 is not allowed, only 0 (AES), 1 (3DES), 2 (AES-GCM)".
void checkRequest(const Request& request);

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
