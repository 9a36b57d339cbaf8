#ifndef TESTS_GROWTH_H
#define TESTS_GROWTH_H

// Whether the time that something takes grows no faster than what it is done to.

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>

namespace tests {

/// The processor time of an action, the least of three runs: others use the machine too.
template <class Action>
double secondsFor(Action action)
{
    double least = 1e9;
    for (int run = 0; run < 3; ++run) {
        const std::clock_t start = std::clock();
        action();
        least = std::min(least, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
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
