#include "platform/FloatingPointMode.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <stdexcept>

namespace {
// volatile keeps the compiler from folding the arithmetic at compile time.
float halve(float x) {
    volatile float v = x;
    return v * 0.5f;
}
}  // namespace

#if defined(__x86_64__)
TEST(FloatingPointMode, FlushesSubnormalResultsOnlyWhileAlive) {
    ASSERT_FALSE(platform::ScopedFlushDenormals::active());
    const float smallest = FLT_MIN;  // halving it gives a subnormal
    EXPECT_GT(halve(smallest), 0.0f);
    {
        platform::ScopedFlushDenormals guard;
        EXPECT_TRUE(platform::ScopedFlushDenormals::active());
        EXPECT_EQ(halve(smallest), 0.0f);
        const float sub = FLT_MIN / 4.0f;  // a subnormal input: read as zero
        EXPECT_EQ(halve(sub), 0.0f);
    }
    EXPECT_FALSE(platform::ScopedFlushDenormals::active());
    EXPECT_GT(halve(smallest), 0.0f);
}

TEST(FloatingPointMode, RestoresThePreviousModeWhenNestedAndOnException) {
    platform::ScopedFlushDenormals outer;
    { platform::ScopedFlushDenormals inner; }
    EXPECT_TRUE(platform::ScopedFlushDenormals::active());
    try {
        platform::ScopedFlushDenormals guard;
        throw std::runtime_error("x");
    } catch (const std::runtime_error&) {}
    EXPECT_TRUE(platform::ScopedFlushDenormals::active());
}
#endif
