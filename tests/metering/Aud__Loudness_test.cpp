#include "AudAtoms/AudAtoms.h"

#include "../support/LoudnessSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace Aud;
using audatoms::test::feedSines;
using audatoms::test::SineSegment;

namespace {

const std::vector<eChannelRole> kStereo = {keRoleLeft, keRoleRight};

// The meter after a stereo programme of 1 kHz sine segments at 48 kHz.
struct Metered {
    double integrated, momentary, shortTerm, range;
};

// True peak is left out: these cases are about loudness, and the interpolator is most of
// the meter's cost (the true-peak cases have their own tests).
Metered meterSines(const std::vector<SineSegment>& segments, double rate = 48000.0) {
    Loudness meter(kStereo, rate, false);
    feedSines(2, rate, segments, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    return {meter.integrated(), meter.momentary(), meter.shortTerm(), meter.loudnessRange()};
}

}  // namespace

TEST(KWeighting, DerivationReproducesThe48kTableToOneMillionth) {
    const KWeightingCoefficients d = KWeightingCoefficients::derive(48000.0);
    const KWeightingCoefficients t = KWeightingCoefficients::table48k();
    const KWeightingSection* ds[] = {&d.shelf, &d.highPass};
    const KWeightingSection* ts[] = {&t.shelf, &t.highPass};
    for (int s = 0; s < 2; ++s) {
        EXPECT_NEAR(ds[s]->b0, ts[s]->b0, 1e-6) << s;
        EXPECT_NEAR(ds[s]->b1, ts[s]->b1, 1e-6) << s;
        EXPECT_NEAR(ds[s]->b2, ts[s]->b2, 1e-6) << s;
        EXPECT_NEAR(ds[s]->a1, ts[s]->a1, 1e-6) << s;
        EXPECT_NEAR(ds[s]->a2, ts[s]->a2, 1e-6) << s;
    }
}

TEST(KWeighting, UsesThePublishedTableAt48kAndTheDerivationElsewhere) {
    EXPECT_EQ(KWeightingCoefficients::forRate(48000.0).shelf.b0, 1.53512485958697);
    EXPECT_EQ(KWeightingCoefficients::forRate(44100.0).shelf.b0, KWeightingCoefficients::derive(44100.0).shelf.b0);
    EXPECT_NE(KWeightingCoefficients::derive(44100.0).shelf.b0, 1.53512485958697);
}

TEST(KWeighting, GainAt1kHzIsAboutSevenTenthsOfADecibelAtEveryRate) {
    // A 1 kHz sine of peak 1 reads -3.01 dB mean square + the weighting's gain; the
    // loudness constant -0.691 is chosen so that it reads -3.01 LUFS per channel.
    for (double rate : {22050.0, 32000.0, 44100.0, 48000.0, 96000.0, 192000.0}) {
        KWeightingFilter f(KWeightingCoefficients::forRate(rate));
        double sum = 0.0;
        const auto n = std::size_t(rate);
        for (std::size_t i = 0; i < 2 * n; ++i) {
            const double y = f.filter(std::sin(6.283185307179586 * 1000.0 * double(i) / rate));
            if (i >= n) sum += y * y;
        }
        // The bilinear transform bends the shelf a little at low rates: 0.04 dB at 22 kHz.
        EXPECT_NEAR(-0.691 + 10.0 * std::log10(sum / double(n)), -3.0103, rate == 48000.0 ? 0.01 : 0.05) << rate;
    }
}

// Tech 3341 test cases.
TEST(LoudnessTech3341, SineAtMinus23ReadsMinus23Everywhere) {
    const Metered m = meterSines({{-23.0, 20.0}});
    EXPECT_NEAR(m.momentary, -23.0, 0.1);
    EXPECT_NEAR(m.shortTerm, -23.0, 0.1);
    EXPECT_NEAR(m.integrated, -23.0, 0.1);
}

TEST(LoudnessTech3341, SineAtMinus33ReadsMinus33Everywhere) {
    const Metered m = meterSines({{-33.0, 20.0}});
    EXPECT_NEAR(m.momentary, -33.0, 0.1);
    EXPECT_NEAR(m.shortTerm, -33.0, 0.1);
    EXPECT_NEAR(m.integrated, -33.0, 0.1);
}

TEST(LoudnessTech3341, RelativeGateRemovesTheQuietEnds) {
    EXPECT_NEAR(meterSines({{-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}}).integrated, -23.0, 0.1);
}

TEST(LoudnessTech3341, AbsoluteAndRelativeGatesTogether) {
    EXPECT_NEAR(meterSines({{-72.0, 10.0}, {-36.0, 10.0}, {-23.0, 60.0}, {-36.0, 10.0}, {-72.0, 10.0}}).integrated,
                -23.0, 0.1);
}

TEST(LoudnessTech3341, GatedMeanOfTwoLevels) {
    EXPECT_NEAR(meterSines({{-26.0, 20.0}, {-20.0, 20.1}, {-26.0, 20.0}}).integrated, -23.0, 0.1);
}

TEST(LoudnessTech3341, FiveChannelsWithSurroundWeights) {
    const std::vector<eChannelRole> roles = {keRoleLeft, keRoleRight, keRoleCentre, keRoleLeftSurround,
                                             keRoleRightSurround};
    Loudness meter(roles, 48000.0, false);
    feedSines(5, 48000.0, {{0.0, 20.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); },
              {-28.0, -28.0, -24.0, -30.0, -30.0});
    EXPECT_NEAR(meter.integrated(), -23.0, 0.1);
}

TEST(LoudnessTech3341, ShortTermHoldsThroughAlternatingLevels) {
    Loudness meter(kStereo, 48000.0, false);
    std::vector<SineSegment> segments;
    for (int i = 0; i < 20; ++i) {
        segments.push_back({-20.0, 1.34});
        segments.push_back({-30.0, 1.66});
    }
    std::size_t frames = 0;
    int checked = 0;
    feedSines(
        2, 48000.0, segments,
        [&](const float* const* ch, std::size_t n) {
            meter.process(ch, n);
            frames += n;
            if (frames >= 3 * 48000) {
                EXPECT_NEAR(meter.shortTerm(), -23.0, 0.1) << frames;
                ++checked;
            }
        },
        {}, 480);
    EXPECT_GT(checked, 5000);
}

TEST(LoudnessTech3341, FractionalRateMeasuresTheSame) {
    SampleRate pulled(keBaseSampleRate48000, keFactor1000_1001);
    Loudness meter(kStereo, pulled);
    ASSERT_EQ(meter.status(), sSuccess);
    EXPECT_NEAR(meter.sampleRate(), 48000.0 / 1.001, 1e-9);
    feedSines(2, meter.sampleRate(), {{-23.0, 20.0}},
              [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    EXPECT_NEAR(meter.integrated(), -23.0, 0.1);
    EXPECT_NEAR(meter.momentary(), -23.0, 0.1);
}

TEST(LoudnessTech3341, EveryLibraryBaseRateMeasuresMinus23) {
    for (eBaseSampleRate base :
         {keBaseSampleRate11025, keBaseSampleRate16000, keBaseSampleRate22050, keBaseSampleRate24000,
          keBaseSampleRate32000, keBaseSampleRate44100, keBaseSampleRate96000}) {
        Loudness meter(kStereo, SampleRate(base));
        ASSERT_EQ(meter.status(), sSuccess);
        feedSines(2, meter.sampleRate(), {{-23.0, 5.0}},
                  [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
        EXPECT_NEAR(meter.integrated(), -23.0, 0.1) << meter.sampleRate();
    }
}

// Tech 3342 test cases.
TEST(LoudnessTech3342, RangeOfTenLu) { EXPECT_NEAR(meterSines({{-20.0, 20.0}, {-30.0, 20.0}}).range, 10.0, 1.0); }

TEST(LoudnessTech3342, RangeOfFiveLu) { EXPECT_NEAR(meterSines({{-20.0, 20.0}, {-15.0, 20.0}}).range, 5.0, 1.0); }

TEST(LoudnessTech3342, RangeOfTwentyLu) { EXPECT_NEAR(meterSines({{-40.0, 20.0}, {-20.0, 20.0}}).range, 20.0, 1.0); }

TEST(LoudnessTech3342, RangeOfFifteenLuWithGatedEnds) {
    EXPECT_NEAR(meterSines({{-50.0, 20.0}, {-35.0, 20.0}, {-20.0, 20.0}, {-35.0, 20.0}, {-50.0, 20.0}}).range, 15.0,
                1.0);
}

// True peak.
TEST(LoudnessTruePeak, QuarterRateSineAt45DegreesReadsZeroDbtp) {
    for (double rate : {44100.0, 48000.0, 96000.0}) {
        Loudness meter({keRoleCentre}, rate);
        feedSines(
            1, rate, {{0.0, 1.0, rate / 4.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); }, {},
            4800, 3.14159265358979 / 4.0);
        EXPECT_NEAR(Loudness::toDecibels(meter.samplePeak()), -3.01, 0.01) << rate;
        const double tp = Loudness::toDecibels(meter.truePeak());
        EXPECT_LE(tp, 0.2) << rate;
        EXPECT_GE(tp, -0.4) << rate;
    }
}

TEST(LoudnessTruePeak, SinesFrom20HzTo20kHzReadTheirAnalyticPeak) {
    std::mt19937 rng(1234);
    std::uniform_real_distribution<double> phase(0.0, 6.283185307179586);
    for (double rate : {44100.0, 48000.0, 96000.0}) {
        for (double hz = 20.0; hz <= 20000.0; hz *= 1.12) {
            for (double f : {hz, 20000.0}) {
                Loudness meter({keRoleCentre}, rate);
                const double peakDb = -6.0;
                // Faded in, so that the sine's onset adds no overshoot of its own.
                feedSines(
                    1, rate, {{peakDb, std::max(0.1, 2.0 / f), f}},
                    [&](const float* const* ch, std::size_t n) { meter.process(ch, n); }, {}, 4800, phase(rng), 0.01);
                const double tp = Loudness::toDecibels(meter.truePeak());
                EXPECT_LE(tp, peakDb + 0.2) << rate << " Hz " << f;
                EXPECT_GE(tp, peakDb - 0.4) << rate << " Hz " << f;
            }
        }
    }
}

TEST(LoudnessTruePeak, IsAtLeastTheSamplePeakAndFollowsEachChannel) {
    Loudness meter(kStereo, 48000.0);
    feedSines(2, 48000.0, {{-10.0, 0.5, 997.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); },
              {0.0, -6.0});
    EXPECT_GE(meter.truePeak(0), meter.samplePeak(0));
    EXPECT_NEAR(Loudness::toDecibels(meter.truePeak(0)), -10.0, 0.05);
    EXPECT_NEAR(Loudness::toDecibels(meter.truePeak(1)), -16.0, 0.05);
    EXPECT_EQ(meter.truePeak(), meter.truePeak(0));
    EXPECT_EQ(meter.truePeak(7), 0.0f);
}

TEST(LoudnessTruePeak, InterpolatorFactorsByRate) {
    EXPECT_EQ(TruePeakInterpolator::factorForRate(44100.0), 8u);
    EXPECT_EQ(TruePeakInterpolator::factorForRate(48000.0), 8u);
    EXPECT_EQ(TruePeakInterpolator::factorForRate(96000.0), 4u);
    EXPECT_EQ(TruePeakInterpolator::factorForRate(192000.0), 2u);
}

// Roles, bad input and edge cases.
TEST(LoudnessInput, LfeIsLeftOutAndSurroundsWeigh141) {
    EXPECT_EQ(loudnessWeight(keRoleLFE), 0.0);
    EXPECT_EQ(loudnessWeight(keRoleLeftSurround), 1.41);
    EXPECT_EQ(loudnessWeight(keRoleRightSurround), 1.41);
    EXPECT_EQ(loudnessWeight(keRoleCentre), 1.0);
    EXPECT_EQ(loudnessWeight(keRoleOther), 1.0);
    Loudness meter({keRoleLFE}, 48000.0);
    feedSines(1, 48000.0, {{-10.0, 5.0, 60.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    EXPECT_EQ(meter.integrated(), -std::numeric_limits<double>::infinity());
    EXPECT_NEAR(Loudness::toDecibels(meter.samplePeak()), -10.0, 0.01);
}

TEST(LoudnessInput, ChannelCountsOutsideOneTo32AreRefused) {
    Loudness none({}, 48000.0);
    EXPECT_EQ(none.status(), sChannelNumberOutOfRange);
    Loudness many(std::vector<eChannelRole>(33, keRoleOther), 48000.0);
    EXPECT_EQ(many.status(), sChannelNumberOutOfRange);
    float x[4] = {};
    const float* p[1] = {x};
    EXPECT_EQ(none.process(p, 4), sChannelNumberOutOfRange);
    EXPECT_EQ(none.integrated(), -std::numeric_limits<double>::infinity());
    Loudness full(std::vector<eChannelRole>(32, keRoleOther), 48000.0);
    EXPECT_EQ(full.status(), sSuccess);
}

TEST(LoudnessInput, UnknownRatesAreRefused) {
    EXPECT_EQ(Loudness(kStereo, SampleRate()).status(), sInvalidSampleRate);
    EXPECT_EQ(Loudness(kStereo, SampleRate::fromWord(15)).status(), sInvalidSampleRate);
    EXPECT_EQ(Loudness(kStereo, 0.0).status(), sInvalidSampleRate);
    EXPECT_EQ(Loudness(kStereo, std::numeric_limits<double>::quiet_NaN()).status(), sInvalidSampleRate);
    Loudness bad(kStereo, -1.0);
    const float* p[2] = {nullptr, nullptr};
    EXPECT_EQ(bad.process(p, 10), sInvalidSampleRate);
}

TEST(LoudnessInput, NullChannelPointersAreInvalid) {
    Loudness meter(kStereo, 48000.0);
    float x[4] = {};
    const float* p[2] = {x, nullptr};
    EXPECT_EQ(meter.process(nullptr, 4), sInvalid);
    EXPECT_EQ(meter.process(p, 4), sInvalid);
    EXPECT_EQ(meter.process(p, 0), sSuccess);
}

TEST(LoudnessInput, NonFiniteSamplesAreCountedAndNeverReachTheReadings) {
    Loudness meter(kStereo, 48000.0);
    std::size_t frames = 0;
    std::vector<float> burst(1000);
    for (std::size_t i = 0; i < burst.size(); ++i)
        burst[i] = i % 3 == 0   ? std::numeric_limits<float>::quiet_NaN()
                   : i % 3 == 1 ? std::numeric_limits<float>::infinity()
                                : -std::numeric_limits<float>::infinity();
    feedSines(2, 48000.0, {{-23.0, 20.0}}, [&](const float* const* ch, std::size_t n) {
        meter.process(ch, n);
        frames += n;
        if (frames == 48000 * 10) {
            const float* b[2] = {burst.data(), burst.data()};
            meter.process(b, burst.size());
        }
    });
    EXPECT_EQ(meter.nonFiniteSamples(), 2000u);
    EXPECT_NEAR(meter.integrated(), -23.0, 0.1);
    EXPECT_TRUE(std::isfinite(meter.momentary()));
    EXPECT_NEAR(Loudness::toDecibels(meter.samplePeak()), -23.0, 0.01);
    EXPECT_LT(Loudness::toDecibels(meter.truePeak()), -22.0);
}

TEST(LoudnessInput, SilenceHasNoLoudnessAndNoRange) {
    Loudness meter(kStereo, 48000.0);
    feedSines(2, 48000.0, {{-200.0, 5.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    const double minusInf = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(meter.integrated(), minusInf);
    EXPECT_EQ(meter.loudnessRange(), 0.0);
    EXPECT_LT(meter.momentary(), -150.0);
}

TEST(LoudnessInput, ReadingsBeforeTheWindowsFillAreMinusInfinity) {
    Loudness meter(kStereo, 48000.0);
    const double minusInf = -std::numeric_limits<double>::infinity();
    feedSines(2, 48000.0, {{-23.0, 0.39}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    EXPECT_EQ(meter.momentary(), minusInf);
    EXPECT_EQ(meter.shortTerm(), minusInf);
    EXPECT_EQ(meter.integrated(), minusInf);
    feedSines(2, 48000.0, {{-23.0, 0.01}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    EXPECT_NEAR(meter.momentary(), -23.0, 0.1);
    EXPECT_EQ(meter.shortTerm(), minusInf);
}

TEST(LoudnessInput, BlockSizeDoesNotChangeTheReadings) {
    auto run = [](std::size_t block) {
        Loudness meter(kStereo, 44100.0);
        feedSines(
            2, 44100.0, {{-30.0, 4.0, 440.0}, {-12.0, 4.0, 3000.0}},
            [&](const float* const* ch, std::size_t n) { meter.process(ch, n); }, {}, block);
        return std::vector<double>{meter.integrated(),    meter.momentary(),        meter.shortTerm(),
                                   meter.loudnessRange(), double(meter.truePeak()), meter.maxMomentary()};
    };
    const std::vector<double> a = run(1), b = run(4096), c = run(100000);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a, c);
}

TEST(LoudnessInput, ResetForgetsTheProgramme) {
    Loudness meter(kStereo, 48000.0);
    feedSines(2, 48000.0, {{-10.0, 5.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    meter.reset();
    EXPECT_EQ(meter.truePeak(), 0.0f);
    EXPECT_EQ(meter.framesProcessed(), 0u);
    feedSines(2, 48000.0, {{-23.0, 5.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); });
    EXPECT_NEAR(meter.integrated(), -23.0, 0.1);
    EXPECT_NEAR(meter.maxMomentary(), -23.0, 0.1);
}

TEST(LoudnessInput, RoleNamesRoundTrip) {
    for (int r = 0; r <= int(keRoleOther); ++r) {
        eChannelRole back = keRoleOther;
        ASSERT_TRUE(channelRoleFromName(channelRoleName(eChannelRole(r)), back));
        EXPECT_EQ(int(back), r);
    }
    eChannelRole role = keRoleLeft;
    EXPECT_FALSE(channelRoleFromName("Lx", role));
    EXPECT_FALSE(channelRoleFromName(nullptr, role));
}

TEST(LoudnessTruePeak, SkippingQuietPassesGivesExactlyTheFullResult) {
    // Programmes whose level moves around their peak: the interpolator fed with the
    // running peak as its floor finds exactly the peak of filtering everything.
    std::mt19937 rng(21);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int trial = 0; trial < 20; ++trial) {
        TruePeakInterpolator full(48000.0), skipping(48000.0);
        float fullPeak = 0.0f, skippingPeak = 0.0f;
        std::vector<float> x(3000);
        for (int block = 0; block < 30; ++block) {
            const float level = std::pow(10.0f, -2.0f * std::fabs(u(rng)));
            for (float& v : x) v = level * u(rng);
            const auto n = unsigned(100 + (block * 37 + trial * 11) % 2900);
            fullPeak = std::max(fullPeak, full.process(x.data(), n));
            skippingPeak = std::max(skippingPeak, skipping.process(x.data(), n, skippingPeak));
        }
        EXPECT_EQ(fullPeak, skippingPeak) << trial;
    }
    EXPECT_GT(TruePeakInterpolator(48000.0).maxGain(), 1.0f);
}
