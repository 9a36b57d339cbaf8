// A server that reads the policy and answers at once: what the request channel and the libraries cost, without an engine.

#include "CArrayParser.h"
#include "IPsecPolicy.h"
#include "ObjectXMLMapping.h"
#include "XmlRpcReceivePolicy.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <list>
#include <string>

using namespace norvale::tamber::systemdata;

namespace {

// The most memory that was resident. Not from getrusage, which counts what the starting process had, too.
std::string peakMemory()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line) && line.rfind("VmHWM:", 0) != 0) {
    }
    return line;
}

} // namespace

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
    const bool measuresMemory = std::getenv("BENCHMARK_PEAK_MEMORY") != nullptr;
    ipseccfg::common::ResultSerializer result(ipseccfg::common::ResultCommand::Success,
                                              measuresMemory ? peakMemory() : "");
    result.setArrayParser(&answer);
    result.execute();
    parser::COStream out(std::cout);
    return answer.serialize(out);
}
