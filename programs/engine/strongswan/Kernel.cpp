// Two messages to the kernel (xfrm over netlink).

#include "Kernel.h"

#include <cstdint>
#include <cstring>
#include <linux/netlink.h>
#include <linux/xfrm.h>
#include <sys/socket.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

namespace {

// Sends one request and waits until the kernel has carried it out.
template <class Request>
void tell(int socket, std::uint16_t type, Request& request)
{
    request.head.nlmsg_len = sizeof(request);
    request.head.nlmsg_type = type;
    request.head.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the system takes it
    if (sendto(socket, &request, sizeof(request), 0, reinterpret_cast<const sockaddr*>(&kernel),
               sizeof(kernel)) != sizeof(request))
        return;
    char answer[512];
    recv(socket, static_cast<char*>(answer), sizeof(answer), 0);
}

struct PolicyFlush {
    nlmsghdr head;
};

struct StateFlush {
    nlmsghdr head;
    xfrm_usersa_flush body;
};

} // namespace

void flushKernel()
{
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_XFRM);
    if (netlink < 0)
        return;
    PolicyFlush policies = {};
    tell(netlink, XFRM_MSG_FLUSHPOLICY, policies);
    StateFlush states = {};
    states.body.proto = 255; // all protocols
    tell(netlink, XFRM_MSG_FLUSHSA, states);
    close(netlink);
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan
