// Waiting for a descriptor.

#include "Waiting.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

bool waitFor(int fd, short events, std::chrono::steady_clock::time_point deadline)
{
    using std::chrono::milliseconds;
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            return false;
        const auto left = std::chrono::ceil<milliseconds>(deadline - now).count();
        pollfd descriptor = {fd, events, 0};
        const int ready = poll(&descriptor, 1, static_cast<int>(std::min<milliseconds::rep>(left, INT_MAX)));
        // An error is for the read or write that follows to find.
        if (ready > 0 || (ready < 0 && errno != EINTR))
            return true;
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
