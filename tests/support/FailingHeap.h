#ifndef TESTS_FAILINGHEAP_H
#define TESTS_FAILINGHEAP_H

// The memory of a test program that is linked with FailingHeap.cpp: every allocation by operator new in it, its
// libraries' included, is counted, and fails when a test says so. With FailingExpat.cpp those of Expat as well.

#include "Failures.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <malloc.h>
#include <new>
#include <string>
#include <typeinfo>

namespace tests {

class FailingHeap {
public:
    /// Which allocation fails.
    FailurePoint failure;

    /// Allocations that were not released yet.
    long live() const { return live_; }
    /// Their bytes.
    std::size_t used() const { return used_; }
    /// The most that was used since forgetPeak.
    std::size_t peak() const { return peak_; }
    void forgetPeak() { peak_ = used_; }

    // The allocations. Null if one fails.
    void* allocate(std::size_t size) noexcept
    {
        return failure.strikes() ? nullptr : counted_(std::malloc(size));
    }
    void* reallocate(void* memory, std::size_t size) noexcept
    {
        if (failure.strikes())
            return nullptr;
        const std::size_t before = memory == nullptr ? 0 : malloc_usable_size(memory);
        void* const moved = std::realloc(memory, size);
        if (moved != nullptr && memory != nullptr) {
            --live_;
            used_ -= before;
        }
        return counted_(moved);
    }
    void release(void* memory) noexcept
    {
        if (memory != nullptr) {
            --live_;
            used_ -= malloc_usable_size(memory);
        }
        std::free(memory);
    }

private:
    void* counted_(void* memory) noexcept
    {
        if (memory != nullptr) {
            ++live_;
            used_ += malloc_usable_size(memory);
            peak_ = std::max(peak_, used_);
        }
        return memory;
    }

    long live_ = 0;
    std::size_t used_ = 0;
    std::size_t peak_ = 0;
};

inline FailingHeap heap;

/// What came of an action: empty if it ran through, "bad_alloc", or the text of another exception.
template <class Action>
std::string outcomeOf(Action&& action)
{
    try {
        action();
        return std::string();
    } catch (const std::exception& error) {
        const Undisturbed undisturbed;
        return typeid(error) == typeid(std::bad_alloc) ? "bad_alloc" : error.what();
    }
}

/// Runs an action with each of its allocations failing in turn, and `check` after each failure. Each of them
/// must have been thrown, as std::bad_alloc or as an exception of the text `otherwise`, and must have leaked
/// nothing; what the action leaves is released by `check` at the latest. At last none fails, and the action
/// must run through.
/// @return how many failures there were
template <class Action, class Check>
long failEachAllocation(Action action, Check check, const std::string& otherwise = "bad_alloc")
{
    long live = heap.live();
    std::string outcome;
    const long failures = failEach(
        heap.failure,
        [&] {
            live = heap.live();
            outcome = outcomeOf(action);
        },
        [&](long number) {
            EXPECT_TRUE(outcome == "bad_alloc" || outcome == otherwise)
                << "allocation " << number << ": "
                << (outcome.empty() ? "the failure was kept quiet" : outcome);
            std::string().swap(outcome); // its memory is not the action's
            check();
            EXPECT_EQ(live, heap.live()) << "allocation " << number;
        });
    EXPECT_EQ("", outcome) << "without a failure";
    return failures;
}

} // namespace tests

#endif
