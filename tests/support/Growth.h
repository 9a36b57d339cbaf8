#ifndef TESTS_GROWTH_H
#define TESTS_GROWTH_H

// Whether the time that something takes grows no faster than what it is done to.

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>

namespace tests {

/// Of this thread: the clock of the process goes in steps of several milliseconds where its processor time is limited.
inline double processorSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The processor time of an action, the least of three runs: others use the machine too.
template <class Action>
double secondsFor(Action action)
{
    double least = std::numeric_limits<double>::max();
    for (int run = 0; run < 3; ++run) {
        const double start = processorSeconds();
        action();
        least = std::min(least, processorSeconds() - start);
    }
    return least;
}

/// How much longer an action takes for four times the size: four times in linear time, sixteen times if each
/// piece looks at all the others. Measured until it is less than eight, at most twenty times; the least times count.
/// @param secondsForSize the processor time for a size
template <class Measure>
double growthOf(Measure secondsForSize, std::size_t size)
{
    constexpr double CLOCK_STEP = 0.001;
    double least = std::numeric_limits<double>::max();
    double leastOfLarger = least;
    double ratio = 0;
    for (int attempt = 0; attempt < 20; ++attempt) {
        least = std::min(least, secondsForSize(size));
        leastOfLarger = std::min(leastOfLarger, secondsForSize(4 * size));
        ratio = leastOfLarger / (least + CLOCK_STEP);
        if (ratio < 8)
            break;
    }
    return ratio;
}

} // namespace tests

#endif
