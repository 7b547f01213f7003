#include "platform/OS.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <set>
#include <thread>

TEST(OS, TheServicesObjectIsOneForTheProcess) {
    ASSERT_NE(OS(), nullptr);
    EXPECT_EQ(OS(), OS());
}

TEST(OS, AllocatedMemoryIsUsableAndFreed) {
    void* p = OS()->allocate(100);
    ASSERT_NE(p, nullptr);
    std::memset(p, 0xCD, 100);
    OS()->deallocate(p);
    void* empty = OS()->allocate(0);
    EXPECT_NE(empty, nullptr) << "a zero-byte request still gives a distinct pointer";
    OS()->deallocate(empty);
}

TEST(OS, UniqueIdsAreNonZeroAndNotRepeated) {
    std::set<std::uint32_t> seen;
    for (int i = 0; i < 10000; ++i) {
        const std::uint32_t id = OS()->uniqueId();
        EXPECT_NE(id, 0u);
        EXPECT_TRUE(seen.insert(id).second) << id;
    }
}

TEST(OS, TheClockIsMonotonicMilliseconds) {
    const double t0 = service_get_msecs_precise();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double t1 = service_get_msecs_precise();
    EXPECT_GE(t1 - t0, 19.999) << "at least the slept 20 ms";
    EXPECT_LT(t1 - t0, 20000.0) << "milliseconds, not a finer unit";
    double last = service_get_msecs_precise();
    for (int i = 0; i < 1000; ++i) {
        const double now = service_get_msecs_precise();
        EXPECT_GE(now, last);
        last = now;
    }
}

TEST(OS, ClockOverridesNestAndRestore) {
    {
        platform::ClockOverride outer(1000.0);
        EXPECT_EQ(service_get_msecs_precise(), 1000.0);
        outer.advance(2.5);
        EXPECT_EQ(service_get_msecs_precise(), 1002.5);
        EXPECT_EQ(outer.now(), 1002.5);
        {
            platform::ClockOverride inner(50.0);
            EXPECT_EQ(service_get_msecs_precise(), 50.0);
            inner.set(60.0);
            EXPECT_EQ(service_get_msecs_precise(), 60.0);
        }
        EXPECT_EQ(service_get_msecs_precise(), 1002.5) << "the outer override's time is back";
        outer.set(7.0);
        EXPECT_EQ(service_get_msecs_precise(), 7.0);
    }
    using namespace std::chrono;
    const double real = duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
    const double reported = service_get_msecs_precise();
    EXPECT_GE(reported, real) << "the real clock is back";
    EXPECT_LT(reported - real, 1000.0);
}
