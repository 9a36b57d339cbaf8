// The floor of a round trip: a program with the same libraries as a server that does nothing.

#include "CRequester.h"
#include "IPsecPolicy.h"

using namespace norvale::tamber::systemdata;

int main(int argc, const char*[])
{
    if (argc > 1) { // never: so that the libraries stay linked
        const requester::CRequester requester(1);
        ipseccfg::common::getIPsecPolicy().unsetPhase1SA();
    }
    return 0;
}
