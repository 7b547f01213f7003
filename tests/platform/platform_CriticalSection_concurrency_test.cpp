#include "platform/CriticalSection.h"
#include "platform/Report.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {
bool tryEnterFromAnotherThread(CriticalSection& cs) {
    return std::async(std::launch::async,
                      [&cs] {
                          const bool got = cs.tryEnter();
                          if (got) cs.leave();
                          return got;
                      })
        .get();
}
}  // namespace

TEST(CriticalSectionConcurrency, OnlyOneThreadIsInsideAtATime) {
    CriticalSection cs;
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    long counter = 0;  // deliberately not atomic: the lock protects it
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                CriticalSectionGuard g(cs);
                if (inside.fetch_add(1) != 0) overlaps.fetch_add(1);
                CriticalSectionGuard nested(cs);  // re-entry while others wait
                ++counter;
                inside.fetch_sub(1);
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_EQ(counter, long(kThreads) * kRounds);
}

TEST(CriticalSectionConcurrency, TryEnterFromAnotherThreadFailsWhileHeld) {
    CriticalSection cs;
    EXPECT_TRUE(tryEnterFromAnotherThread(cs));
    cs.enter();
    cs.enter();
    EXPECT_FALSE(tryEnterFromAnotherThread(cs));
    cs.leave();
    EXPECT_FALSE(tryEnterFromAnotherThread(cs)) << "still held once";
    cs.leave();
    EXPECT_TRUE(tryEnterFromAnotherThread(cs));
}

TEST(CriticalSectionConcurrency, AWaitingThreadEntersOnceTheOwnerLeaves) {
    CriticalSection cs;
    cs.enter();
    std::atomic<bool> entered{false};
    std::thread waiter([&] {
        cs.enter();
        entered = true;
        cs.leave();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered.load()) << "enter() blocks while another thread holds the lock";
    cs.leave();
    waiter.join();
    EXPECT_TRUE(entered.load());
}

TEST(CriticalSectionConcurrency, ALeaveFromAThreadThatDoesNotHoldItIsRefused) {
    CriticalSection cs;
    cs.enter();
    platform::LogCapture capture;
    std::thread([&cs] { cs.leave(); }).join();
    EXPECT_EQ(capture.assertionText(), "assertion failed ownedByCurrentThread() at ole/OS/CriticalSection line 1\n");
    EXPECT_TRUE(cs.ownedByCurrentThread());
    EXPECT_FALSE(tryEnterFromAnotherThread(cs)) << "the owner still holds it";
    cs.leave();
    EXPECT_TRUE(tryEnterFromAnotherThread(cs));
}
