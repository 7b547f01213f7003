// The kernels' contract, with expected values worked out from their rules.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__MixRender_testing.h"
#include "tests/support/BitCompare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

using namespace Aud::MixRender;
using audatoms::test::bitsOf;
using audatoms::test::floatFromBits;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

using Buf = std::vector<float>;

}  // namespace

TEST(MixRender, CountZeroTouchesNothingAndStoresThePeakBack) {
    Buf src = {1, 2, 3, 4}, dst = {5, 6, 7, 8}, dst2 = {9, 9, 9, 9};
    const Buf src0 = src, dst0 = dst, dst20 = dst2;
    float peak = floatFromBits(0xFFC01234u);  // a NaN peak must come back bit for bit
    PeakScan(src.data(), 0, &peak);
    MultiplyConstantWithPrePeakScan(src.data(), dst.data(), 0, 0.5f, &peak);
    MultiplyConstantWithPrePeakScan(src.data(), dst.data(), 0, 1.0f, &peak);
    MultiplyConstantAndAddWithPrePeakScan(src.data(), dst.data(), 0, 0.5f, &peak);
    MultiplyConstantAndAddWithPrePeakScan(src.data(), dst.data(), 0, 1.0f, &peak);
    EXPECT_EQ(bitsOf(peak), 0xFFC01234u);
    for (float g : {0.0f, 1.0f, 0.5f}) {
        MultiplyConstant(src.data(), dst.data(), 0, g);
        MultiplyWithDelta(src.data(), dst.data(), 0, g, 0.0f);
        MultiplyWithDelta(src.data(), dst.data(), 0, g, 0.1f);
        MultiplyConstantAndAdd(src.data(), dst.data(), 0, g);
        MultiplyConstantAndAdd2(src.data(), dst.data(), dst2.data(), 0, g, 0.25f);
        MultiplyWithDeltaAndAdd(src.data(), dst.data(), 0, g, 0.0f);
        MultiplyWithDeltaAndAdd(src.data(), dst.data(), 0, g, 0.1f);
    }
    Add(src.data(), dst.data(), 0);
    EXPECT_EQ(src, src0);
    EXPECT_EQ(dst, dst0);
    EXPECT_EQ(dst2, dst20);
    // no buffer at all is fine when nothing is touched, short-cuts included
    float p = 0.5f;
    MultiplyConstant(nullptr, nullptr, 0, 1.0f);
    MultiplyConstant(nullptr, nullptr, 0, 0.0f);
    MultiplyConstantWithPrePeakScan(nullptr, nullptr, 0, 1.0f, &p);
    PeakScan(nullptr, 0, &p);
    EXPECT_EQ(p, 0.5f);
}

TEST(MixRender, KernelsTouchExactlyFourTimesCountSamples) {
    Buf src(12, 1.0f), dst(12, 2.0f);
    MultiplyConstant(src.data(), dst.data(), 2, 0.5f);
    MultiplyConstantAndAdd(src.data(), dst.data(), 2, 0.25f);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(dst[i], 0.75f) << i;
    for (int i = 8; i < 12; ++i) EXPECT_EQ(dst[i], 2.0f) << i;
    MultiplyConstant(src.data(), dst.data(), 1, 0.0f);  // zero fill of 16 bytes
    EXPECT_EQ(dst[3], 0.0f);
    EXPECT_EQ(dst[4], 0.75f);
}

TEST(MixRender, MultiplyConstantShortCuts) {
    Buf src = {kInf, kNaN, -0.0f, 3.0f}, dst(4, 7.0f);
    MultiplyConstant(src.data(), dst.data(), 1, -0.0f);  // -0.0 == 0.0: zero fill
    for (float d : dst) EXPECT_EQ(bitsOf(d), 0u);
    MultiplyConstant(src.data(), dst.data(), 1, 0.0f);
    for (float d : dst) EXPECT_EQ(bitsOf(d), 0u);
    // gain 1 copies the bytes: a signalling NaN payload survives, which no multiply keeps
    src[1] = floatFromBits(0x7F800123u);
    MultiplyConstant(src.data(), dst.data(), 1, 1.0f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(bitsOf(dst[i]), bitsOf(src[i])) << i;
    // a NaN gain takes the general loop
    Buf ordinary = {1, -2, 0, 0.5f};
    MultiplyConstant(ordinary.data(), dst.data(), 1, kNaN);
    for (float d : dst) EXPECT_TRUE(std::isnan(d));
    // in place with gain 1: the buffer is copied onto itself, unchanged
    const Buf before = src;
    MultiplyConstant(src.data(), src.data(), 1, 1.0f);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(bitsOf(src[i]), bitsOf(before[i])) << i;
    MultiplyConstant(ordinary.data(), dst.data(), 1, -2.0f);
    EXPECT_EQ(dst, (Buf{-2, 4, -0.0f, -1}));
    EXPECT_TRUE(std::signbit(dst[2]));
}

TEST(MixRender, PeakScanFollowsTheRunningMaximumRule) {
    Buf s = {-0.5f, 0.25f, kNaN, -0.75f};
    float peak = 0;
    PeakScan(s.data(), 1, &peak);
    EXPECT_EQ(peak, 0.75f);
    peak = 2.0f;  // never reset: a larger incoming peak stays
    PeakScan(s.data(), 1, &peak);
    EXPECT_EQ(peak, 2.0f);
    peak = kNaN;  // a NaN peak stays NaN
    PeakScan(s.data(), 1, &peak);
    EXPECT_TRUE(std::isnan(peak));
    peak = -0.0f;  // +0.0 samples are not greater than -0.0
    Buf zeros = {0.0f, -0.0f, 0.0f, -0.0f};
    PeakScan(zeros.data(), 1, &peak);
    EXPECT_EQ(bitsOf(peak), bitsOf(-0.0f));
    peak = -1.0f;  // a negative incoming peak is replaced by the first |sample|
    PeakScan(zeros.data(), 1, &peak);
    EXPECT_EQ(bitsOf(peak), 0u);
    Buf loud = {-kInf, 1, 2, 3};
    peak = 0;
    PeakScan(loud.data(), 1, &peak);
    EXPECT_EQ(peak, kInf);
}

TEST(MixRender, PrePeakScanMeasuresTheSourceBeforeGain) {
    Buf src = {0.5f, -4.0f, 1.0f, 2.0f}, dst(4, 9.0f);
    float peak = 0.25f;
    MultiplyConstantWithPrePeakScan(src.data(), dst.data(), 1, 0.5f, &peak);
    EXPECT_EQ(peak, 4.0f);
    EXPECT_EQ(dst, (Buf{0.25f, -2.0f, 0.5f, 1.0f}));
    // gain 1 copies and still scans
    peak = 0;
    MultiplyConstantWithPrePeakScan(src.data(), dst.data(), 1, 1.0f, &peak);
    EXPECT_EQ(peak, 4.0f);
    EXPECT_EQ(dst, src);
    // gain 0 zero-fills and leaves the peak exactly as it came in, however loud the source
    peak = floatFromBits(0x3E800001u);
    MultiplyConstantWithPrePeakScan(src.data(), dst.data(), 1, 0.0f, &peak);
    EXPECT_EQ(bitsOf(peak), 0x3E800001u);
    for (float d : dst) EXPECT_EQ(bitsOf(d), 0u);
    // in place: the scan sees the samples before they are scaled
    peak = 0;
    MultiplyConstantWithPrePeakScan(src.data(), src.data(), 1, 0.5f, &peak);
    EXPECT_EQ(peak, 4.0f);
    EXPECT_EQ(src, (Buf{0.25f, -2.0f, 0.5f, 1.0f}));
}

TEST(MixRender, AccumulatingPrePeakScanHasNoZeroShortCut) {
    Buf src = {0.5f, -4.0f, 1.0f, 2.0f}, dst = {1.0f, -1.0f, 0.0f, -0.0f};
    float peak = 0;
    MultiplyConstantAndAddWithPrePeakScan(src.data(), dst.data(), 1, 0.0f, &peak);
    EXPECT_EQ(peak, 4.0f);                           // measured even though the gain is 0
    EXPECT_EQ(dst, (Buf{1.0f, -1.0f, 0.0f, 0.0f}));  // dst + src * 0: numerically unchanged
    // the loop really runs: an infinite source times 0 is NaN
    Buf inf = {kInf, 1, 1, 1};
    MultiplyConstantAndAddWithPrePeakScan(inf.data(), dst.data(), 1, 0.0f, &peak);
    EXPECT_TRUE(std::isnan(dst[0]));
    EXPECT_EQ(peak, kInf);
    // gain 1 adds and scans
    Buf d2 = {1, 1, 1, 1};
    peak = 0;
    MultiplyConstantAndAddWithPrePeakScan(src.data(), d2.data(), 1, 1.0f, &peak);
    EXPECT_EQ(d2, (Buf{1.5f, -3.0f, 2.0f, 3.0f}));
    EXPECT_EQ(peak, 4.0f);
    Buf d3 = {1, 1, 1, 1};
    MultiplyConstantAndAddWithPrePeakScan(src.data(), d3.data(), 1, -0.5f, &peak);
    EXPECT_EQ(d3, (Buf{0.75f, 3.0f, 0.5f, 0.0f}));
}

TEST(MixRender, RampsApplyTheLevelThenAddTheDelta) {
    Buf ones(4, 1.0f), dst(4, 0.0f);
    MultiplyWithDelta(ones.data(), dst.data(), 1, 0.5f, 0.25f);
    EXPECT_EQ(dst, (Buf{0.5f, 0.75f, 1.0f, 1.25f}));
    Buf acc(4, 1.0f);
    MultiplyWithDeltaAndAdd(ones.data(), acc.data(), 1, 0.5f, 0.25f);
    EXPECT_EQ(acc, (Buf{1.5f, 1.75f, 2.0f, 2.25f}));
}

TEST(MixRender, RampLevelIsASerialChainOfFloatAdditions) {
    const unsigned count = 256;
    const float level = 0.0f, delta = 0.1f;
    Buf ones(count * 4, 1.0f), dst(count * 4), acc(count * 4, 0.0f);
    MultiplyWithDelta(ones.data(), dst.data(), count, level, delta);
    MultiplyWithDeltaAndAdd(ones.data(), acc.data(), count, level, delta);
    float l = level;
    int differsFromProduct = 0;
    for (unsigned i = 0; i < count * 4; ++i) {
        EXPECT_EQ(dst[i], l) << i;
        EXPECT_EQ(acc[i], 0.0f + l) << i;
        if (l != level + static_cast<float>(i) * delta) ++differsFromProduct;
        l += delta;
    }
    EXPECT_GT(differsFromProduct, 100);  // the two ways really part here
}

TEST(MixRender, ZeroDeltaRampsApplyTheirConstantPassAndThenTheRamp) {
    Buf ones(4, 1.0f), dst(4, 0.0f);
    MultiplyWithDeltaAndAdd(ones.data(), dst.data(), 1, 0.5f, 0.0f);  // accumulated twice
    EXPECT_EQ(dst, (Buf{1.0f, 1.0f, 1.0f, 1.0f}));
    Buf inPlace(4, 1.0f);
    MultiplyWithDelta(inPlace.data(), inPlace.data(), 1, 0.5f, 0.0f);  // scaled twice
    EXPECT_EQ(inPlace, (Buf{0.25f, 0.25f, 0.25f, 0.25f}));
    Buf apart(4, 9.0f);
    MultiplyWithDelta(ones.data(), apart.data(), 1, 0.5f, 0.0f);  // distinct buffers: once
    EXPECT_EQ(apart, (Buf{0.5f, 0.5f, 0.5f, 0.5f}));
    Buf unchanged = {1, 2, 3, 4};
    MultiplyWithDeltaAndAdd(ones.data(), unchanged.data(), 1, 0.0f, 0.0f);
    EXPECT_EQ(unchanged, (Buf{1, 2, 3, 4}));
    // -0.0 is a zero delta too
    Buf neg(4, 0.0f);
    MultiplyWithDeltaAndAdd(ones.data(), neg.data(), 1, 0.25f, -0.0f);
    EXPECT_EQ(neg, (Buf{0.5f, 0.5f, 0.5f, 0.5f}));
    // in place with level 1: the constant pass copies, the ramp pass multiplies by 1
    Buf same = {1.5f, -2, 3, 4};
    MultiplyWithDelta(same.data(), same.data(), 1, 1.0f, 0.0f);
    EXPECT_EQ(same, (Buf{1.5f, -2, 3, 4}));
    // in place with level 0: zero fill, then 0 * 0
    Buf zero = {1.5f, -2, 3, 4};
    MultiplyWithDelta(zero.data(), zero.data(), 1, 0.0f, 0.0f);
    EXPECT_EQ(zero, (Buf{0, 0, 0, 0}));
}

TEST(MixRender, AddAndMultiplyConstantAndAdd) {
    Buf src = {1, 2, 3, 4}, dst = {10, 20, 30, 40};
    Add(src.data(), dst.data(), 1);
    EXPECT_EQ(dst, (Buf{11, 22, 33, 44}));
    Add(dst.data(), dst.data(), 1);  // in place doubles
    EXPECT_EQ(dst, (Buf{22, 44, 66, 88}));
    MultiplyConstantAndAdd(src.data(), dst.data(), 1, 0.5f);
    EXPECT_EQ(dst, (Buf{22.5f, 45, 67.5f, 90}));
    MultiplyConstantAndAdd(dst.data(), dst.data(), 1, 1.0f);  // gain 1 is Add: doubles in place
    EXPECT_EQ(dst, (Buf{45, 90, 135, 180}));
    MultiplyConstantAndAdd(dst.data(), dst.data(), 1, -0.5f);  // in place scales by 0.5
    EXPECT_EQ(dst, (Buf{22.5f, 45, 67.5f, 90}));
    // gain 0 returns at once: even a NaN source leaves dst as it was
    Buf poison = {kNaN, kInf, -kInf, kNaN};
    MultiplyConstantAndAdd(poison.data(), dst.data(), 1, 0.0f);
    MultiplyConstantAndAdd(poison.data(), dst.data(), 1, -0.0f);
    EXPECT_EQ(dst, (Buf{22.5f, 45, 67.5f, 90}));
}

TEST(MixRender, MultiplyConstantAndAdd2FollowsItsBranches) {
    const Buf src = {1, -2, kInf, 4};
    const Buf d1Start = {10, 10, 10, 10}, d2Start = {20, 20, 20, 20};
    auto run = [&](float g1, float g2, Buf& d1, Buf& d2) {
        Buf s = src;
        d1 = d1Start;
        d2 = d2Start;
        MultiplyConstantAndAdd2(s.data(), d1.data(), d2.data(), 1, g1, g2);
    };
    auto expectAdded = [&](const Buf& d, const Buf& start, float g) {
        for (int i = 0; i < 4; ++i) {
            const float want = start[i] + src[i] * g;
            if (std::isnan(want)) {
                EXPECT_TRUE(std::isnan(d[i])) << i;
            } else {
                EXPECT_EQ(d[i], want) << i;
            }
        }
    };
    Buf d1, d2;
    run(1.0f, 0.0f, d1, d2);  // src into dst1, dst2 untouched
    expectAdded(d1, d1Start, 1.0f);
    EXPECT_EQ(d2, d2Start);
    run(0.0f, 0.0f, d1, d2);
    EXPECT_EQ(d1, d1Start);
    EXPECT_EQ(d2, d2Start);
    run(0.0f, 0.5f, d1, d2);  // dst1 skipped: its infinity * 0 never happens
    EXPECT_EQ(d1, d1Start);
    expectAdded(d2, d2Start, 0.5f);
    run(0.5f, 1.0f, d1, d2);
    expectAdded(d1, d1Start, 0.5f);
    expectAdded(d2, d2Start, 1.0f);
    run(0.5f, -0.0f, d1, d2);
    expectAdded(d1, d1Start, 0.5f);
    EXPECT_EQ(d2, d2Start);
    run(1.0f, 1.0f, d1, d2);
    expectAdded(d1, d1Start, 1.0f);
    expectAdded(d2, d2Start, 1.0f);
    run(0.25f, 0.25f, d1, d2);  // equal gains: one product for both
    expectAdded(d1, d1Start, 0.25f);
    expectAdded(d2, d2Start, 0.25f);
    run(0.25f, -3.0f, d1, d2);
    expectAdded(d1, d1Start, 0.25f);
    expectAdded(d2, d2Start, -3.0f);
    run(kNaN, kNaN, d1, d2);  // NaN gains are neither 0, 1 nor equal
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(std::isnan(d1[i]) && std::isnan(d2[i])) << i;
    // the same buffer as both destinations receives both products, dst1's first
    Buf s = {1, 2, 3, 4}, both = {0, 0, 0, 0};
    MultiplyConstantAndAdd2(s.data(), both.data(), both.data(), 1, 0.5f, 2.0f);
    EXPECT_EQ(both, (Buf{2.5f, 5, 7.5f, 10}));
    // src as dst1: both products come from the sample as read
    Buf s2 = {1, 2, 3, 4}, other = {0, 0, 0, 0};
    MultiplyConstantAndAdd2(s2.data(), s2.data(), other.data(), 1, 0.5f, 2.0f);
    EXPECT_EQ(s2, (Buf{1.5f, 3, 4.5f, 6}));
    EXPECT_EQ(other, (Buf{2, 4, 6, 8}));
}

TEST(MixRender, ReferenceKernelsKeepTheSameContract) {
    Buf s = {-0.5f, 0.25f, kNaN, -0.75f};
    float peak = 0;
    Reference::PeakScan(s.data(), 1, &peak);
    EXPECT_EQ(peak, 0.75f);
    Buf ones(4, 1.0f), dst(4, 0.0f);
    Reference::MultiplyWithDeltaAndAdd(ones.data(), dst.data(), 1, 0.5f, 0.0f);
    EXPECT_EQ(dst, (Buf{1, 1, 1, 1}));
    Buf inPlace(4, 1.0f);
    Reference::MultiplyWithDelta(inPlace.data(), inPlace.data(), 1, 0.5f, 0.0f);
    EXPECT_EQ(inPlace, (Buf{0.25f, 0.25f, 0.25f, 0.25f}));
    Buf d1 = {1, 1, 1, 1}, d2 = {2, 2, 2, 2};
    Reference::MultiplyConstantAndAdd2(ones.data(), d1.data(), d2.data(), 1, 1.0f, 0.0f);
    EXPECT_EQ(d1, (Buf{2, 2, 2, 2}));
    EXPECT_EQ(d2, (Buf{2, 2, 2, 2}));
}

// ---- ramps from a run's start --------------------------------------------------------

TEST(MixRenderRampFrom, EachSampleGetsTheLevelOfItsIndexInTheRun) {
    Buf ones(8, 1.0f), dst(8, 9.0f);
    MultiplyWithRampFrom(ones.data(), dst.data(), 1, 0.5f, 0.25f, 0);
    EXPECT_EQ(dst, (Buf{0.5f, 0.75f, 1.0f, 1.25f, 9, 9, 9, 9}));
    MultiplyWithRampFrom(ones.data(), dst.data(), 2, 0.5f, 0.25f, 2);  // indices 2 .. 9
    EXPECT_EQ(dst, (Buf{1.0f, 1.25f, 1.5f, 1.75f, 2.0f, 2.25f, 2.5f, 2.75f}));
    Buf acc(4, 1.0f);
    MultiplyWithRampFromAndAdd(ones.data(), acc.data(), 1, 0.5f, -0.125f, 1);
    EXPECT_EQ(acc, (Buf{1.375f, 1.25f, 1.125f, 1.0f}));
    Buf src = {2, -4, 8, 0.5f};
    MultiplyWithRampFrom(src.data(), src.data(), 1, 1.0f, 1.0f, 0);  // in place
    EXPECT_EQ(src, (Buf{2, -8, 24, 2}));
}

TEST(MixRenderRampFrom, TheLevelIsStartPlusIndexTimesDeltaNotASerialChain) {
    const unsigned count = 256;
    const float start = 0.0f, delta = 0.1f;
    Buf ones(count * 4, 1.0f), dst(count * 4), acc(count * 4, 0.0f);
    MultiplyWithRampFrom(ones.data(), dst.data(), count, start, delta, 0);
    MultiplyWithRampFromAndAdd(ones.data(), acc.data(), count, start, delta, 0);
    float chain = start;
    int differsFromChain = 0;
    for (unsigned i = 0; i < count * 4; ++i) {
        const float product = static_cast<float>(i) * delta;  // rounded on its own
        const float expected = start + product;
        ASSERT_EQ(bitsOf(dst[i]), bitsOf(expected)) << i;
        ASSERT_EQ(bitsOf(acc[i]), bitsOf(0.0f + expected)) << i;
        ASSERT_EQ(bitsOf(RampLevelAt(start, delta, i)), bitsOf(expected)) << i;
        if (expected != chain) ++differsFromChain;
        chain += delta;
    }
    EXPECT_GT(differsFromChain, 100);  // the two ways really part here
}

TEST(MixRenderRampFrom, ARunAppliedInPiecesEqualsTheRunInOneCall) {
    // 10 000 samples of a slow ramp over noise, cut into pieces of every length from 1 to
    // 37 samples; each piece runs whole four-sample groups (up to 3 samples past its end,
    // which the next piece rewrites), as a renderer's blocks do.
    const unsigned n = 10000;
    Buf src(n + 4), whole(n + 4, 0.0f), pieces(n + 4, 0.0f), accWhole(n + 4, 0.25f), accPieces(n + 4, 0.25f);
    std::uint32_t x = 12345;
    for (float& v : src) {
        x = x * 1664525u + 1013904223u;
        v = static_cast<float>(x >> 8) / 16777216.0f - 0.5f;
    }
    const float start = 0.8f, delta = -1.0f / 12345.0f;
    MultiplyWithRampFrom(src.data(), whole.data(), n / 4, start, delta, 0);
    unsigned done = 0, len = 1;
    while (done < n) {
        const unsigned take = std::min(len, n - done);
        MultiplyWithRampFrom(src.data() + done, pieces.data() + done, (take + 3) / 4, start, delta, done);
        done += take;
        len = len % 37 + 1;
    }
    for (unsigned i = 0; i < n; ++i) ASSERT_EQ(bitsOf(pieces[i]), bitsOf(whole[i])) << i;
    // The accumulating form, in pieces of four-sample groups (it adds, so nothing may be
    // processed twice).
    MultiplyWithRampFromAndAdd(src.data(), accWhole.data(), n / 4, start, delta, 0);
    for (unsigned at = 0, g = 1; at < n; at += 4 * g, g = g % 9 + 1) {
        const unsigned groups = std::min(g, (n - at) / 4);
        MultiplyWithRampFromAndAdd(src.data() + at, accPieces.data() + at, groups, start, delta, at);
    }
    for (unsigned i = 0; i < n; ++i) ASSERT_EQ(bitsOf(accPieces[i]), bitsOf(accWhole[i])) << i;
}

TEST(MixRenderRampFrom, TheIndexConvertsToTheNearestFloatOverAllThirtyTwoBits) {
    // delta 1 from start 0 makes the level the converted index itself.
    auto levels = [](unsigned first) {
        Buf ones(4, 1.0f), dst(4);
        MultiplyWithRampFrom(ones.data(), dst.data(), 1, 0.0f, 1.0f, first);
        return dst;
    };
    EXPECT_EQ(levels(16777215u), (Buf{16777215.0f, 16777216.0f, 16777216.0f, 16777218.0f}));  // ties to even
    EXPECT_EQ(levels(2147483647u), (Buf{2147483648.0f, 2147483648.0f, 2147483648.0f, 2147483648.0f}));
    EXPECT_EQ(levels(4294967294u), (Buf{4294967296.0f, 4294967296.0f, 0.0f, 1.0f}));  // the index wraps
    EXPECT_EQ(RampLevelAt(0.0f, 1.0f, 3000000000u), 3000000000.0f);
    EXPECT_EQ(RampLevelAt(0.0f, 1.0f, 16777217u), 16777216.0f);
}

TEST(MixRenderRampFrom, ALongRampStaysOnItsLineAndNeverTurnsBack) {
    // 0 -> 1 over 48 000 samples: each level within 2^-23 of j / 48000 (delta itself is
    // rounded, then the product and the sum), and never below the one before.
    const unsigned n = 48000;
    Buf ones(n, 1.0f), up(n), down(n);
    const float delta = 1.0f / 48000.0f;
    MultiplyWithRampFrom(ones.data(), up.data(), n / 4, 0.0f, delta, 0);
    MultiplyWithRampFrom(ones.data(), down.data(), n / 4, 1.0f, -delta, 0);
    for (unsigned i = 0; i < n; ++i) {
        const double line = double(i) / 48000.0;
        ASSERT_NEAR(up[i], line, 0x1p-23) << i;
        ASSERT_NEAR(down[i], 1.0 - line, 0x1p-23) << i;
        if (i > 0) {
            ASSERT_GE(up[i], up[i - 1]) << i;
            ASSERT_LE(down[i], down[i - 1]) << i;
        }
    }
}

TEST(MixRenderRampFrom, NoShortCutsForZeroDeltaOrSpecialLevels) {
    Buf src = {kInf, kNaN, -2.0f, 3.0f}, dst(4, 7.0f);
    MultiplyWithRampFrom(src.data(), dst.data(), 1, 0.0f, 0.0f, 5);  // multiplies: inf * 0 is NaN
    EXPECT_TRUE(std::isnan(dst[0]));
    EXPECT_TRUE(std::isnan(dst[1]));
    EXPECT_EQ(bitsOf(dst[2]), bitsOf(-0.0f));
    EXPECT_EQ(bitsOf(dst[3]), bitsOf(0.0f));
    Buf ones(4, 1.0f), neg(4);
    MultiplyWithRampFrom(ones.data(), neg.data(), 1, -0.0f, 0.0f, 0);  // -0 + 0 is +0
    for (float v : neg) EXPECT_EQ(bitsOf(v), bitsOf(0.0f));
    MultiplyWithRampFrom(ones.data(), neg.data(), 1, 0.5f, kInf, 0);  // 0 * inf is NaN, then inf
    EXPECT_TRUE(std::isnan(neg[0]));
    EXPECT_EQ(neg[1], kInf);
    Buf unchanged = {1, 2, 3, 4};
    MultiplyWithRampFromAndAdd(ones.data(), unchanged.data(), 0, 0.5f, 0.25f, 0);  // count 0
    MultiplyWithRampFrom(nullptr, nullptr, 0, 0.5f, 0.25f, 0);
    EXPECT_EQ(unchanged, (Buf{1, 2, 3, 4}));
}

TEST(MixRenderRampFrom, ReferenceKernelsGiveTheSameLevels) {
    Buf ones(8, 1.0f), dst(8), ref(8), acc(8, 1.0f), accRef(8, 1.0f);
    MultiplyWithRampFrom(ones.data(), dst.data(), 2, 0.3f, 0.01f, 99);
    Reference::MultiplyWithRampFrom(ones.data(), ref.data(), 2, 0.3f, 0.01f, 99);
    MultiplyWithRampFromAndAdd(ones.data(), acc.data(), 2, 0.3f, 0.01f, 99);
    Reference::MultiplyWithRampFromAndAdd(ones.data(), accRef.data(), 2, 0.3f, 0.01f, 99);
    for (unsigned i = 0; i < 8; ++i) {
        EXPECT_EQ(bitsOf(ref[i]), bitsOf(RampLevelAt(0.3f, 0.01f, 99 + i))) << i;
        EXPECT_EQ(bitsOf(dst[i]), bitsOf(ref[i])) << i;
        EXPECT_EQ(bitsOf(accRef[i]), bitsOf(1.0f + ref[i])) << i;
        EXPECT_EQ(bitsOf(acc[i]), bitsOf(accRef[i])) << i;
    }
}

// ---- fastSineCosine ----------------------------------------------------------------

TEST(FastSineCosine, ExactAtEveryMultipleOf45Degrees) {
    const float r = 0.70710677f;
    EXPECT_EQ(bitsOf(r), 0x3F3504F3u);
    const float want[8][2] = {{0, 1}, {r, r}, {1, 0}, {r, -r}, {0, -1}, {-r, -r}, {-1, 0}, {-r, r}};
    for (unsigned k = 0; k < 8; ++k) {
        float s = 9, c = 9;
        fastSineCosine(s, c, k * 0x2000u);
        EXPECT_EQ(s, want[k][0]) << k * 45 << " degrees";
        EXPECT_EQ(c, want[k][1]) << k * 45 << " degrees";
    }
}

TEST(FastSineCosine, WithinBoundsOverAllPhases) {
    double worstSine = 0, worstCosine = 0, minPower = 2, maxPower = 0;
    for (unsigned phase = 0; phase < 65536; ++phase) {
        float s, c;
        fastSineCosine(s, c, phase);
        const double a = phase * 2 * std::numbers::pi / 65536;
        worstSine = std::max(worstSine, std::fabs(s - std::sin(a)));
        worstCosine = std::max(worstCosine, std::fabs(c - std::cos(a)));
        const double power = double(s) * s + double(c) * c;
        minPower = std::min(minPower, power);
        maxPower = std::max(maxPower, power);
    }
    EXPECT_LE(worstSine, 0.024);
    EXPECT_LE(worstCosine, 0.024);
    EXPECT_GT(worstSine, 0.02);  // it is the parabolic approximation, not the library sine
    EXPECT_GE(minPower, 0.978);
    // The parabolas keep the power at or below 1; rounding sine and cosine to float (half
    // an ulp each, at most 2^-25 for values up to 1) may lift s^2 + c^2 by up to
    // 2 * (|s| + |c|) * 2^-25 < 2^-22 (measured: 3.3e-8 at 8 of the 65536 phases).
    EXPECT_LE(maxPower, 1.0 + std::ldexp(1.0, -22));
    EXPECT_LT(minPower, 0.98);
}

TEST(FastSineCosine, MidQuadrantValuesFollowTheChain) {
    const float k = floatFromBits(0x3F5413CCu), r = floatFromBits(0x3F3504F3u);
    // 22.5 degrees: x = 0.25, t = -0.25, h = r - (k * t) * t; sine = h + t, cosine = h - t
    {
        const float t = -0.25f, h = r - k * t * t;
        float s, c;
        fastSineCosine(s, c, 0x1000);
        EXPECT_EQ(s, h + t);
        EXPECT_EQ(c, h - t);
    }
    // 112.5 degrees: x = 0.25, u = 0.25, h = r - (k * u) * u; sine = u + h, cosine = u - h
    {
        const float u = 0.25f, h = r - k * u * u;
        float s, c;
        fastSineCosine(s, c, 0x5000);
        EXPECT_EQ(s, u + h);
        EXPECT_EQ(c, u - h);
    }
    // 202.5 degrees: t = -0.25, g = (k * t) * t - r; sine = g - t, cosine = t + g
    {
        const float t = -0.25f, g = k * t * t - r;
        float s, c;
        fastSineCosine(s, c, 0x9000);
        EXPECT_EQ(s, g - t);
        EXPECT_EQ(c, t + g);
    }
    // 292.5 degrees: t = -0.25, h = r - (k * t) * t; sine = t - h, cosine = t + h
    {
        const float t = -0.25f, h = r - k * t * t;
        float s, c;
        fastSineCosine(s, c, 0xD000);
        EXPECT_EQ(s, t - h);
        EXPECT_EQ(c, t + h);
    }
}

TEST(FastSineCosine, BitsAbove15AreIgnored) {
    for (unsigned phase : {0u, 0x2000u, 0x4000u, 0x1234u, 0xFFFFu}) {
        float s0, c0;
        fastSineCosine(s0, c0, phase);
        for (unsigned high : {0x10000u, 0x20000u, 0xFFFF0000u}) {
            float s, c;
            fastSineCosine(s, c, phase + high);
            EXPECT_EQ(bitsOf(s), bitsOf(s0)) << std::hex << phase + high;
            EXPECT_EQ(bitsOf(c), bitsOf(c0)) << std::hex << phase + high;
        }
    }
    float s1, c1, s2, c2;
    fastSineCosine(s1, c1, 0x10000u + 0x4000u);
    fastSineCosine(s2, c2, 0x4000u);
    EXPECT_EQ(s1, s2);
    EXPECT_EQ(c1, c2);
}

TEST(FastSineCosine, EveryPhaseFollowsTheQuadrantTable) {
    // The table of the rule, evaluated here in single precision in the stated order.
    const float k = floatFromBits(0x3F5413CCu), r = floatFromBits(0x3F3504F3u);
    for (unsigned phase = 0; phase < 65536; ++phase) {
        const float x = static_cast<float>(phase % 16384) / 16384.0f;
        float want[2];
        const unsigned quadrant = phase / 16384;
        if (quadrant == 1) {
            const float u = 0.5f - x;
            const float kuu = (k * u) * u, h = r - kuu;
            want[0] = u + h;
            want[1] = u - h;
        } else {
            const float t = x - 0.5f;
            const float ktt = (k * t) * t;
            if (quadrant == 2) {
                const float g = ktt - r;
                want[0] = g - t;
                want[1] = t + g;
            } else {
                const float h = r - ktt;
                want[0] = quadrant == 0 ? h + t : t - h;
                want[1] = quadrant == 0 ? h - t : t + h;
            }
        }
        float s, c;
        fastSineCosine(s, c, phase);
        ASSERT_EQ(bitsOf(s), bitsOf(want[0])) << phase;
        ASSERT_EQ(bitsOf(c), bitsOf(want[1])) << phase;
    }
}
