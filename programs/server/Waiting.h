#ifndef IPSECCFG_SERVER_WAITING_H
#define IPSECCFG_SERVER_WAITING_H

/// @file
/// Waiting, always with an end.

#include <chrono>
#include <thread>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// Waits until a descriptor is ready for `events` (as for poll), has an error or is closed by the other side.
/// @return false if it is not by the deadline
bool waitFor(int fd, short events, std::chrono::steady_clock::time_point deadline);

/// Waits until a condition holds, asking again after each pause.
/// @return what the condition was in the end
template <class Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds time,
               std::chrono::milliseconds pause = std::chrono::milliseconds(20))
{
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
