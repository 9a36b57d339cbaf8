// What the tests of the strongSwan engine share.

#include "strongswan_support.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace tests {

using namespace norvale::tamber::systemdata::ipseccfg;

std::string enterNetworkForStrongswan()
{
    for (const char* const program : {CHARON, SWANCTL})
        if (access(program, X_OK) != 0)
            return std::string(program) + " is not there";
    if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return "this host lets no test have a network of its own";
    return "";
}

configserver::Request requestOf(const RequestParts& parts)
{
    std::istringstream stream(requestText(parts));
    configserver::Request request = configserver::receiveRequest(stream);
    configserver::checkRequest(request);
    return request;
}

void makeCertificates(const TemporaryFolder& folder)
{
    const std::string commands =
        "cd " + folder.path() +
        " && openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=root -keyout ca-key.pem -out ca.pem"
        " && openssl req -newkey rsa:2048 -nodes -subj /CN=device -keyout key.pem -out device.csr"
        " && openssl x509 -req -in device.csr -CA ca.pem -CAkey ca-key.pem -CAcreateserial -days 2 -out "
        "device.pem";
    const std::string log = folder / "openssl.log";
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): words of this test
    if (std::system(("(" + commands + ") >" + log + " 2>&1").c_str()) != 0)
        throw std::runtime_error("no certificates: " + readFile(log));
}

} // namespace tests
