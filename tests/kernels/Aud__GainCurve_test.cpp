#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <numbers>

using namespace Aud::GainCurve;

namespace {

// The laws, written here from their definitions with the run-time mathematics library.
double cpMag(double uval) { return std::sin(uval * std::numbers::pi / 2); }
double cpUVal(double mag) { return std::asin(mag) * 2 / std::numbers::pi; }

struct Anchor {
    double u72, db;
};
constexpr Anchor kAnchors[] = {{0, -145}, {3, -60}, {11, -40}, {20, -30}, {49, -10},
                               {60, -5},  {72, 0},  {87, 5},   {100, 10}};
constexpr int kLastSegment = 7;  // 87..100, continued beyond 100

double mixerMag(double uval) {
    if (uval == 0) return 0;
    const double u72 = uval * 72;
    int seg = kLastSegment;
    for (int j = 0; j < kLastSegment; ++j)
        if (u72 < kAnchors[j + 1].u72) {
            seg = j;
            break;
        }
    const Anchor a = kAnchors[seg], b = kAnchors[seg + 1];
    const double db = a.db + (u72 - a.u72) * (b.db - a.db) / (b.u72 - a.u72);
    return std::pow(10.0, db / 20);
}

double mixerUVal(double mag) {
    if (mag == 0) return 0;
    const double db = 20 * std::log10(mag);
    int seg = kLastSegment;
    for (int j = 0; j < kLastSegment; ++j)
        if (db < kAnchors[j + 1].db) {
            seg = j;
            break;
        }
    const Anchor a = kAnchors[seg], b = kAnchors[seg + 1];
    return (a.u72 + (db - a.db) * (b.u72 - a.u72) / (b.db - a.db)) / 72;
}

enum class Dir { kUVal2Mag, kMag2UVal };

// Checks every node of a table against the law sampled at i / divisor.
template <std::size_t N>
void expectNodesFollowLaw(const CurveNode (&table)[N], const std::function<double(double)>& law, double divisor,
                          Dir dir, bool lastSlopeZero) {
    for (std::size_t i = 0; i < N; ++i) {
        const double in = static_cast<double>(i) / divisor, next = static_cast<double>(i + 1) / divisor;
        const double out = law(in);
        double slope = (law(next) - out) / (next - in);
        if (i == N - 1 && lastSlopeZero) slope = 0;
        const float wantUVal = static_cast<float>(dir == Dir::kUVal2Mag ? in : out);
        const float wantMag = static_cast<float>(dir == Dir::kUVal2Mag ? out : in);
        EXPECT_EQ(table[i].uval, wantUVal) << "node " << i;
        EXPECT_EQ(table[i].mag, wantMag) << "node " << i;
        EXPECT_EQ(table[i].slope, static_cast<float>(slope)) << "node " << i;
        EXPECT_EQ(table[i].reserved, 0.0f) << "node " << i;
    }
}

// The lookup rule, applied by hand to a table.
template <std::size_t N>
float byRule(const CurveNode (&table)[N], float in, float step, Dir dir) {
    const float q = in / step;
    std::size_t i = N - 1;
    if (q >= 0 && q < static_cast<float>(N)) i = static_cast<std::size_t>(q);
    const CurveNode& n = table[i];
    return dir == Dir::kUVal2Mag ? n.mag + (in - n.uval) * n.slope : n.uval + (in - n.mag) * n.slope;
}

}  // namespace

TEST(GainCurve, NodeIsSixteenBytesOfFourFloats) {
    EXPECT_EQ(sizeof(CurveNode), 16u);
    EXPECT_EQ(offsetof(CurveNode, uval), 0u);
    EXPECT_EQ(offsetof(CurveNode, mag), 4u);
    EXPECT_EQ(offsetof(CurveNode, slope), 8u);
    EXPECT_EQ(offsetof(CurveNode, reserved), 12u);
}

TEST(GainCurve, TablesHaveTheirNodeCounts) {
    EXPECT_EQ(std::size(ConstantPower1_Private::UVal2Mag_CurveNodes), 101u);
    EXPECT_EQ(std::size(ConstantPower1_Private::Mag2UVal_CurveNodes), 101u);
    EXPECT_EQ(std::size(MixerStyleLog1_Private::UVal2Mag_CurveNodes), 1502u);
    EXPECT_EQ(std::size(MixerStyleLog1_Private::Mag2UVal_CurveNodes), 903u);
}

TEST(GainCurve, ConstantPowerNodesFollowTheLaw) {
    expectNodesFollowLaw(ConstantPower1_Private::UVal2Mag_CurveNodes, cpMag, 100, Dir::kUVal2Mag, true);
    expectNodesFollowLaw(ConstantPower1_Private::Mag2UVal_CurveNodes, cpUVal, 100, Dir::kMag2UVal, true);
}

TEST(GainCurve, MixerStyleNodesFollowTheLaw) {
    expectNodesFollowLaw(MixerStyleLog1_Private::UVal2Mag_CurveNodes, mixerMag, 1000, Dir::kUVal2Mag, false);
    expectNodesFollowLaw(MixerStyleLog1_Private::Mag2UVal_CurveNodes, mixerUVal, 200, Dir::kMag2UVal, false);
}

TEST(GainCurve, PublishedCheckpointsOfTheTables) {
    const auto& cu = ConstantPower1_Private::UVal2Mag_CurveNodes;
    const auto& cm = ConstantPower1_Private::Mag2UVal_CurveNodes;
    EXPECT_NEAR(cu[0].slope, 1.570732, 1e-6);
    EXPECT_NEAR(cu[1].mag, 0.015707, 1e-6);
    EXPECT_NEAR(cu[1].slope, 1.570344, 1e-6);
    EXPECT_NEAR(cm[0].slope, 0.636630, 1e-6);
    EXPECT_NEAR(cm[1].uval, 0.006366, 1e-6);
    EXPECT_NEAR(cm[1].slope, 0.636694, 1e-6);
    for (const CurveNode* last : {&cu[100], &cm[100]}) {
        EXPECT_EQ(last->uval, 1.0f);
        EXPECT_EQ(last->mag, 1.0f);
        EXPECT_EQ(last->slope, 0.0f);
    }
    const auto& mu = MixerStyleLog1_Private::UVal2Mag_CurveNodes;
    const auto& mm = MixerStyleLog1_Private::Mag2UVal_CurveNodes;
    EXPECT_EQ(mu[1000].mag, 1.0f);             // uval 1 is unity
    EXPECT_NEAR(mu[1500].mag, 4.50657, 1e-5);  // +13.077 dB at the top of travel
    EXPECT_NEAR(20 * std::log10(mu[1500].mag), 13.077, 1e-3);
    EXPECT_NEAR(mu[1501].mag, 4.52096, 1e-5);
    EXPECT_NEAR(mm[1].uval, 0.119330, 1e-6);
    EXPECT_NEAR(mm[2].uval, 0.152778, 1e-6);
    EXPECT_NEAR(mm[902].mag, 4.51f, 1e-6);
}

TEST(GainCurve, UnityBothWaysOnBothCurves) {
    EXPECT_EQ(ConstantPower1::Mag2UVal(1.0f), 1.0f);
    EXPECT_EQ(MixerStyleLog1::Mag2UVal(1.0f), 1.0f);
    EXPECT_EQ(ConstantPower1::UVal2Mag(1.0f), 1.0f);
    EXPECT_EQ(MixerStyleLog1::UVal2Mag(1.0f), 1.0f);
}

TEST(GainCurve, MixerUValZeroIsSilenceAndOneStepUpIsAboutMinus143dB) {
    EXPECT_EQ(MixerStyleLog1::UVal2Mag(0.0f), 0.0f);
    // u72 = 0.072: -145 + 0.072 * 85 / 3 = -142.96 dB
    EXPECT_NEAR(20 * std::log10(MixerStyleLog1::UVal2Mag(0.001f)), -142.96, 1e-3);
}

TEST(GainCurve, ConstantPowerMidpointIsMinus3dB) {
    EXPECT_EQ(ConstantPower1::UVal2Mag(0.5f), static_cast<float>(std::sqrt(0.5)));
    EXPECT_NEAR(20 * std::log10(ConstantPower1::UVal2Mag(0.5f)), -3.0103, 1e-4);
    EXPECT_NEAR(ConstantPower1::Mag2UVal(static_cast<float>(std::sqrt(0.5))), 0.5, 1e-4);
}

TEST(GainCurve, LookupsAtAndBetweenNodesFollowTheRuleAndTheLaw) {
    struct Case {
        std::function<float(float)> lookup;
        std::function<double(double)> law;
        const CurveNode* table;
        std::size_t size;
        float step;
        Dir dir;
        double lawTolerance;  // bound on linear interpolation error between nodes
    };
    const Case cases[] = {
        {ConstantPower1::UVal2Mag, cpMag, ConstantPower1_Private::UVal2Mag_CurveNodes, 101, 0.01f, Dir::kUVal2Mag,
         4e-5},
        // asin has a square-root corner at 1: the chord over [0.99, 1] is off by up to
        // (2/pi) * sqrt(2 * 0.01) / 4 = 0.0225
        {ConstantPower1::Mag2UVal, cpUVal, ConstantPower1_Private::Mag2UVal_CurveNodes, 101, 0.01f, Dir::kMag2UVal,
         2.5e-2},
        {MixerStyleLog1::UVal2Mag, mixerMag, MixerStyleLog1_Private::UVal2Mag_CurveNodes, 1502, 0.001f, Dir::kUVal2Mag,
         5e-4},  // kinks of the dB law inside intervals
        // the first interval spans everything from silence to -46 dB
        {MixerStyleLog1::Mag2UVal, mixerUVal, MixerStyleLog1_Private::Mag2UVal_CurveNodes, 903, 0.005f, Dir::kMag2UVal,
         3e-2},
    };
    for (const Case& c : cases) {
        for (std::size_t i = 0; i + 1 < c.size; ++i) {
            for (double frac : {0.0, 0.25, 0.5, 0.75}) {
                const double in = (static_cast<double>(i) + frac) * c.step;
                const float x = static_cast<float>(in);
                const CurveNode* t = c.table;
                // The rule on the table, written out (index may be one below at a node
                // when the single-precision quotient falls just short of it).
                const float q = x / c.step;
                const std::size_t k = q < static_cast<float>(c.size) ? static_cast<std::size_t>(q) : c.size - 1;
                const float want = c.dir == Dir::kUVal2Mag ? t[k].mag + (x - t[k].uval) * t[k].slope
                                                           : t[k].uval + (x - t[k].mag) * t[k].slope;
                const float got = c.lookup(x);
                if (!(c.dir == Dir::kMag2UVal && x == 1.0f)) {
                    EXPECT_EQ(got, want) << i << " " << frac;
                }
                EXPECT_NEAR(got, c.law(x), c.lawTolerance) << i << " " << frac;
            }
        }
    }
}

TEST(GainCurve, BeyondTheEndsExtrapolatesAlongTheLastNode) {
    const auto& mm = MixerStyleLog1_Private::Mag2UVal_CurveNodes;
    const CurveNode& last = mm[902];
    EXPECT_EQ(MixerStyleLog1::Mag2UVal(10.0f), last.uval + (10.0f - last.mag) * last.slope);
    EXPECT_NEAR(MixerStyleLog1::Mag2UVal(10.0f), 1.5004 + (10 - 4.51) * last.slope, 1e-3);
    // negative magnitudes past one step use the last node as well
    EXPECT_EQ(MixerStyleLog1::Mag2UVal(-1.0f), last.uval + (-1.0f - last.mag) * last.slope);
    // ... while one within a step truncates to node 0
    EXPECT_EQ(MixerStyleLog1::Mag2UVal(-0.001f), mm[0].uval + (-0.001f - mm[0].mag) * mm[0].slope);

    const auto& mu = MixerStyleLog1_Private::UVal2Mag_CurveNodes;
    EXPECT_EQ(MixerStyleLog1::UVal2Mag(2.0f), mu[1501].mag + (2.0f - mu[1501].uval) * mu[1501].slope);
    // the constant-power tables end flat
    EXPECT_EQ(ConstantPower1::UVal2Mag(1.5f), 1.0f);
    EXPECT_EQ(ConstantPower1::Mag2UVal(3.0f), 1.0f);
    EXPECT_EQ(byRule(ConstantPower1_Private::UVal2Mag_CurveNodes, 1.5f, 0.01f, Dir::kUVal2Mag), 1.0f);

    EXPECT_TRUE(std::isnan(MixerStyleLog1::Mag2UVal(std::numeric_limits<float>::quiet_NaN())));
    EXPECT_TRUE(std::isnan(ConstantPower1::UVal2Mag(std::numeric_limits<float>::quiet_NaN())));
    EXPECT_EQ(MixerStyleLog1::UVal2Mag(std::numeric_limits<float>::infinity()), std::numeric_limits<float>::infinity());
}
