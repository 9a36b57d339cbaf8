// A library that is loaded before a program's others: the kernel then refuses the program's IPsec policies, each of which
// it is told with a prefix that is longer than any address.

#include <cstring>
#include <dlfcn.h>
#include <linux/netlink.h>
#include <linux/xfrm.h>
#include <string>
#include <sys/socket.h>

extern "C" ssize_t sendto(int socket, const void* message, size_t size, int flags, const sockaddr* address,
                          socklen_t addressSize)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the loader takes it
    static const auto send = reinterpret_cast<decltype(&sendto)>(dlsym(RTLD_NEXT, "sendto"));
    std::string changed(static_cast<const char*>(message), size);
    nlmsghdr head = {};
    xfrm_userpolicy_info policy = {};
    if (address != nullptr && address->sa_family == AF_NETLINK && size >= NLMSG_LENGTH(sizeof(policy))) {
        std::memcpy(&head, changed.data(), sizeof(head));
        if (head.nlmsg_type == XFRM_MSG_NEWPOLICY || head.nlmsg_type == XFRM_MSG_UPDPOLICY) {
            std::memcpy(&policy, &changed[NLMSG_HDRLEN], sizeof(policy));
            policy.sel.prefixlen_d = 255;
            std::memcpy(&changed[NLMSG_HDRLEN], &policy, sizeof(policy));
        }
    }
    return send(socket, changed.data(), size, flags, address, addressSize);
}
