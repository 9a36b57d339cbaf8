#ifndef IPSECCFG_XMLRPCRECEIVEPOLICY_H
#define IPSECCFG_XMLRPCRECEIVEPOLICY_H

/// @file
/// The server's end of the policy transport.

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"

#include <iosfwd>
#include <list>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::common {

/// Reads one request from a stream and hands out what it carries.
///
/// Holds a reference to the stream, which must outlive it. Not synchronised.
class XmlRpcReceivePolicy {
public:
    /// @param is where the request is read from; not owned, not read yet
    explicit XmlRpcReceivePolicy(std::istream& is);
    ~XmlRpcReceivePolicy();

    /// Reads one request. Scenario settings are handed out first (path, mode, and the name space into the
    /// policy). A shutdown ends there; otherwise both associations replace those of the policy, the used
    /// rules are added to it, and the default rules and the certificates replace the content of their lists.
    ///
    /// @param policy where associations, used rules and the name of the network namespace go
    /// @param defaultRules where the rules of other types than `Use` go
    /// @param certificates where the certificates go
    /// @param settingFilePath where the path of the engine's setting file goes
    /// @param fipsMode where it goes whether the engine is to run in FIPS mode
    /// @return the scenario as it was sent (ScenarioCommand::Type: 1 start, 2 shutdown, 3 restart), not
    ///         checked: 0 if the request has none, any other number as it came
    /// @throws std::runtime_error "CArrayPaser's parse error" if the stream does not hold a well-formed
    ///         request.
    /// @throws std::exception what the message classes (ObjectXMLMapping.h) and IPsecPolicy::addFilter throw,
    ///         unchanged; what was handed out before stays.
    int execute(IPsecPolicy& policy, FilterSet& defaultRules, std::list<CertificatePtr>& certificates,
                std::string& settingFilePath, bool& fipsMode);

private:
    XmlRpcReceivePolicy(const XmlRpcReceivePolicy&) = delete;
    XmlRpcReceivePolicy& operator=(const XmlRpcReceivePolicy&) = delete;

    std::istream& is_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::common

#endif
