// The first use of what there is one of in a process, by many threads at once.

#include "IPsecEngineControlClient.h"
#include "IPsecPolicy.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace tests {
namespace {

using namespace norvale::tamber::systemdata::ipseccfg::common;

constexpr int THREADS = 16;

// Lets nobody pass before all have come.
class Barrier {
public:
    void pass()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (++arrived_ == THREADS)
            all_.notify_all();
        all_.wait(lock, [this] { return arrived_ == THREADS; });
    }

private:
    std::mutex mutex_;
    std::condition_variable all_;
    int arrived_ = 0;
};

// The addresses that the threads are given, each once.
template <class Get>
auto addressesOf(Get get)
{
    std::vector<decltype(get())> given(THREADS);
    Barrier barrier;
    std::vector<std::thread> threads;
    threads.reserve(given.size());
    for (auto& address : given)
        threads.emplace_back([&barrier, &address, get] {
            barrier.pass();
            address = get();
        });
    for (std::thread& thread : threads)
        thread.join();
    return std::set<decltype(get())>(given.begin(), given.end());
}

TEST(FirstUse, GivesAllThreadsOnePolicyStore)
{
    // Read at once, so that a sanitizer sees whether its making came before.
    const auto given = addressesOf([]() -> const IPsecPolicy* {
        const IPsecPolicy& policy = getIPsecPolicy();
        return policy.getNsName().empty() && policy.getFilterRules().empty() ? &policy : nullptr;
    });
    EXPECT_EQ(std::set<const IPsecPolicy*>{&getIPsecPolicy()}, given);
}

TEST(FirstUse, GivesAllThreadsOneControlClient)
{
    const auto given = addressesOf([] { return &IPsecEngineControlClient::getInstance(); });
    EXPECT_EQ(std::set<IPsecEngineControlClient*>{&IPsecEngineControlClient::getInstance()}, given);
}

} // namespace
} // namespace tests
