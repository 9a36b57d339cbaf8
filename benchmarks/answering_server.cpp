// A server that reads the policy and answers at once: what the request channel and the libraries cost, without an engine.

#include "CArrayParser.h"
#include "IPsecPolicy.h"
#include "ObjectXMLMapping.h"
#include "XmlRpcReceivePolicy.h"

#include <iostream>
#include <list>
#include <string>

using namespace norvale::tamber::systemdata;

int main()
{
    std::ios_base::sync_with_stdio(false);
    ipseccfg::common::FilterSet others;
    std::list<ipseccfg::common::CertificatePtr> certificates;
    std::string settingFile;
    bool fipsMode = false;
    ipseccfg::common::XmlRpcReceivePolicy(std::cin).execute(ipseccfg::common::getIPsecPolicy(), others,
                                                            certificates, settingFile, fipsMode);
    parser::CArrayParser answer;
    ipseccfg::common::ResultSerializer result(ipseccfg::common::ResultCommand::Success, "");
    result.setArrayParser(&answer);
    result.execute();
    parser::COStream out(std::cout);
    return answer.serialize(out);
}
