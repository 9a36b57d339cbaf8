#ifndef SYSTEMDATA_REQUESTER_DEADLINE_H
#define SYSTEMDATA_REQUESTER_DEADLINE_H

/// @file
/// A moment until which something may take.

#include <algorithm>
#include <chrono>
#include <limits>

namespace norvale::tamber::systemdata::requester {

/// A moment on the monotonic clock, which no setting of the time of day moves. A plain value.
class Deadline {
public:
    explicit Deadline(std::chrono::milliseconds fromNow)
        : moment_(std::chrono::steady_clock::now() + fromNow)
    {}

    bool hasPassed() const { return std::chrono::steady_clock::now() >= moment_; }

    /// What is left for poll(2): milliseconds, rounded up, so that a wait never ends just before the moment.
    int pollTimeout() const
    {
        using std::chrono::milliseconds;
        const auto left = std::chrono::ceil<milliseconds>(moment_ - std::chrono::steady_clock::now());
        constexpr milliseconds longest{std::numeric_limits<int>::max()};
        return static_cast<int>(std::clamp(left, milliseconds::zero(), longest).count());
    }

private:
    std::chrono::steady_clock::time_point moment_;
};

} // namespace norvale::tamber::systemdata::requester

#endif
