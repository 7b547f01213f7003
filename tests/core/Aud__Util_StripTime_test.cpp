// Timeline positions to sample positions. Times are chosen as binary fractions so that
// seconds x rate is exact and the expected values can be worked out by hand.
#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

using namespace Aud;

namespace {

const SampleRate k32(keBaseSampleRate32000);
const SampleRate k48(keBaseSampleRate48000);
const Qm::OutputGearing kOneToOne;

SubSamplePos sub(double time, const SampleRate& rate = k32, eFactor f1 = keFactorNone, eFactor f2 = keFactorNone,
                 const Qm::OutputGearing& g = kOneToOne) {
    return stripTimeToSubSamplePos(rate, f1, f2, time, g);
}

void expectPos(const SubSamplePos& p, std::int64_t whole, std::uint32_t fraction) {
    EXPECT_EQ(p.whole, whole);
    EXPECT_EQ(p.fraction, fraction);
}

}  // namespace

TEST(StripTimeToSamplePos, SecondsTimesRateTruncated) {
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactorNone, 1.5, kOneToOne), 72000);
    EXPECT_EQ(stripTimeToSamplePos(k32, keFactorNone, keFactorNone, 1.0 / 1024, kOneToOne), 31);    // 31.25
    EXPECT_EQ(stripTimeToSamplePos(k32, keFactorNone, keFactorNone, -1.0 / 1024, kOneToOne), -31);  // toward 0
    EXPECT_EQ(stripTimeToSamplePos(k32, keFactorNone, keFactorNone, 0.0, kOneToOne), 0);
}

TEST(StripTimeToSamplePos, GearingMapsTheTimeFirst) {
    Qm::OutputGearing g;
    g.scale = 2.0;
    g.offset = 0.25;
    // 1.0 -> 2.25 s -> 108000 samples at 48 kHz.
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactorNone, 1.0, g), 108000);
}

TEST(StripTimeToSamplePos, BothFactorsAndTheRatesOwnFactorApply) {
    // 44.1 kHz x 24/25 is exactly 42336 Hz.
    EXPECT_EQ(stripTimeToSamplePos(SampleRate(keBaseSampleRate44100, keFactor24_25), keFactorNone, keFactorNone, 0.5,
                                   kOneToOne),
              21168);
    // x2 and x1/2 cancel; 48000 x 0.96 = 46080 (0.96 x 48000 rounds to 46080.0 exactly).
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactor2, keFactor1_2, 1.0, kOneToOne), 48000);
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactor24_25, keFactorNone, 1.0, kOneToOne), 46080);
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactor2, 0.25, kOneToOne), 24000);
}

TEST(StripTimeToSamplePos, OutOfRangeSaturates) {
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactorNone, 1e300, kOneToOne),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactorNone, -inf, kOneToOne),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(stripTimeToSamplePos(k48, keFactorNone, keFactorNone, std::nan(""), kOneToOne), 0);
    // No rate: 0 Hz.
    EXPECT_EQ(stripTimeToSamplePos(SampleRate(), keFactorNone, keFactorNone, 10.0, kOneToOne), 0);
}

TEST(StripTimeToSubSamplePos, PositiveFractionsRoundToTheNearestUnit) {
    expectPos(sub(0.0), 0, 0);                  // u = (0 + 1) >> 1 = 0
    expectPos(sub(1.0 / 512), 62, 536870912);   // 62.5: (1073741823 + 1) >> 1
    expectPos(sub(1.0 / 1024), 31, 268435456);  // 31.25: (536870911 + 1) >> 1
    expectPos(sub(3.0 / 1024), 93, 805306367);  // 93.75: trunc(1610612734.5) + 1 = 1610612735, >> 1
}

TEST(StripTimeToSubSamplePos, AFractionJustBelowOneCarriesIntoTheWholePart) {
    // t = 3642132267 / 2^40 makes x = t x 32000 = 3642132267 x 125 / 2^32
    // = 105.99999999976717 exactly (3642132267 x 125 = -1 mod 2^32). Then
    // (x - 105) x 2147483646 = 2147483645.5 -> 2147483645, + 1 = 2147483646, >> 1 =
    // 1073741823 = one whole unit: whole 106, fraction 0.
    const double t = 3642132267.0 / 1099511627776.0;
    ASSERT_EQ(t * 32000.0, 105.99999999976717);
    expectPos(sub(t), 106, 0);
}

TEST(StripTimeToSubSamplePos, NegativeTimesKeepTheirEstablishedRounding) {
    // -31.25: w = 31, whole = -31; (x + w) = -0.25 -> trunc(-536870911.5) - 1 =
    // -536870912, >> 1 = -268435456; r < 0: fraction 268435456, whole -32 (-31.75).
    expectPos(sub(-1.0 / 1024), -32, 268435456);
    // -62.5: -0.5 -> -1073741823 - 1 = -1073741824 >> 1 = -536870912: -63 and a half.
    expectPos(sub(-1.0 / 512), -63, 536870912);
    // -125.0: x + w = 0 -> (0 - 1) >> 1 = -1: whole -126, fraction 1.
    expectPos(sub(-1.0 / 256), -126, 1);
    // -93.75: -0.75 -> trunc(-1610612734.5) - 1 = -1610612735, >> 1 = -805306368;
    // q = 0: whole -94, fraction 805306368.
    expectPos(sub(-3.0 / 1024), -94, 805306368);
}

TEST(StripTimeToSubSamplePos, MultipliesTheFactorsFirst) {
    // At 48 kHz / 1.001 with a 1.001 factor and t = 1/48000: 1.001 x t x 47952.047952...
    // rounds to exactly 1.0, while t x 47952.047952... x 1.001 (the whole-sample
    // order) rounds to 0.9999999999999999.
    const SampleRate ntsc(keBaseSampleRate48000, keFactor1000_1001);
    const double t = 1.0 / 48000.0;
    expectPos(stripTimeToSubSamplePos(ntsc, keFactor1001_1000, keFactorNone, t, kOneToOne), 1, 0);
    EXPECT_EQ(stripTimeToSamplePos(ntsc, keFactor1001_1000, keFactorNone, t, kOneToOne), 0);
}

TEST(StripTimeToSubSamplePos, GearingAndFactorsApply) {
    Qm::OutputGearing g;
    g.scale = 0.5;
    g.offset = 1.0 / 1024;
    // 1/512 -> 1/1024 + 1/1024 = 1/512 s; x2 factor: 125 samples.
    expectPos(sub(1.0 / 512, k32, keFactor2, keFactorNone, g), 125, 0);
}

TEST(StripTimeToSubSamplePos, OutOfRangeSaturatesAndNaNIsZero) {
    const double inf = std::numeric_limits<double>::infinity();
    expectPos(sub(std::nan("")), 0, 0);
    expectPos(sub(inf), std::numeric_limits<std::int64_t>::max(), 0);
    expectPos(sub(-inf), std::numeric_limits<std::int64_t>::min(), 0);
    expectPos(sub(1e300), std::numeric_limits<std::int64_t>::max(), 0);
}
