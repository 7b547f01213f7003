#include "platform/IdStamp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

TEST(IdStampConcurrency, IdsMadeOnSeveralThreadsAtOnceAreAllDistinct) {
    constexpr int kThreads = 4;
    constexpr int kPerThread = 20000;
    std::vector<std::vector<IdStamp>> made(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            made[t].reserve(kPerThread);
            ready.fetch_add(1);
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int i = 0; i < kPerThread; ++i) made[t].emplace_back();
        });
    }
    for (auto& th : threads) th.join();
    std::set<IdStamp> all;
    for (const auto& v : made) {
        for (const auto& id : v) {
            EXPECT_TRUE(id.valid());
            all.insert(id);
        }
    }
    EXPECT_EQ(all.size(), std::size_t(kThreads) * kPerThread);
    for (const auto& v : made)
        for (std::size_t i = 1; i < v.size(); ++i) EXPECT_TRUE(v[i - 1] < v[i]) << "ids of one thread increase";
}
