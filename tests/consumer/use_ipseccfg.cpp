// A user of the whole library: a policy goes to the server that the first argument names. Exits with the server's status.
// Messages are part of it, so the headers of the platform must come along.

#include "CArrayParser.h"
#include "ObjectXMLMapping.h"
#include "PayloadBuilder.h"
#include "XmlRpcSendPolicy.h"

#include <cstdlib>

using namespace norvale::tamber::systemdata::ipseccfg::common;

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    setenv("IPSECCFGSERVER", argv[1], 1);
    IPsecPolicy& policy = getIPsecPolicy();
    policy.setPhase1SA(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                 AuthenticationMethod::PSK, "a pre-shared key",
                                                 GroupDescription::G14, LifeType::SECOND, 28800));
    policy.setPhase2SA(createSecurityAssociation(EncryptionAlgorithm::AES, 256, HashAlgorithm::SHA256,
                                                 LifeType::SECOND, 3600));
    policy.addFilter(createFilterRule(FilterRule::Use, "192.0.2.1", "192.0.2.2"));

    norvale::tamber::systemdata::parser::CArrayParser message;
    const std::list<CertificatePtr> none;
    CertificateSerializer certificates(none);
    certificates.setArrayParser(&message);
    certificates.execute();

    XmlRpcSendPolicy sender;
    sender.setSettingFilePath("/run/ipseccfg/engine.conf");
    return sender.startProcess(policy, {}, {});
}
