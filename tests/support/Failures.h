#ifndef TESTS_FAILURES_H
#define TESTS_FAILURES_H

// Failures that are enumerated: an action is repeated with event 0 of a kind failing, then event 1, and so on,
// until it comes to no event that is left to fail. What an event is (an allocation, a call of a C function),
// is up to who asks whether it is struck.

#include <gtest/gtest.h>

namespace tests {

/// While one exists nothing fails, nor counts as something that could: for what stands in for the world outside.
class Undisturbed {
public:
    Undisturbed() { ++existing_; }
    ~Undisturbed() { --existing_; }
    Undisturbed(const Undisturbed&) = delete;
    Undisturbed& operator=(const Undisturbed&) = delete;

    static bool exists() { return existing_ > 0; }

private:
    inline static int existing_ = 0;
};

/// Of the events of one kind, those that fail: none at first. Of one thread.
class FailurePoint {
public:
    /// From now on `number` events go well and the next one fails; if `lasting`, all that follow it too.
    void arm(long number, bool lasting = false)
    {
        left_ = number;
        lasting_ = lasting;
        armed_ = true;
        struck_ = false;
    }
    void disarm() { armed_ = false; }

    /// Takes note of an event. Whether it is to fail.
    bool strikes()
    {
        if (!armed_ || Undisturbed::exists() || (struck_ && !lasting_) || left_-- > 0)
            return false;
        left_ = 0;
        struck_ = true;
        return true;
    }

    /// Whether an event has failed since arm was called.
    bool struck() const { return struck_; }

private:
    long left_ = 0;
    bool armed_ = false;
    bool lasting_ = false;
    bool struck_ = false;
};

/// Repeats `attempt` with one event failing, the first one, then the second one, ..., and `check` after each
/// of them with its number; at last once with none failing. `attempt` lets no exception out.
/// @return how many failures there were
template <class Attempt, class Check>
long failEach(FailurePoint& point, Attempt attempt, Check check)
{
    constexpr long ENDLESS = 100'000;
    for (long number = 0; number < ENDLESS; ++number) {
        point.arm(number);
        attempt();
        point.disarm();
        if (!point.struck())
            return number;
        check(number);
    }
    ADD_FAILURE() << "there is always one more that can fail";
    return ENDLESS;
}

} // namespace tests

#endif
