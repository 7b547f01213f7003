// The true-peak interpolator's filter pass on every instruction set this machine runs
// against the scalar reference, bit for bit: the interpolator's own taps at every
// factor and random taps, windows at every misalignment, inputs salted with NaNs,
// infinities, signed zeros, subnormals and values whose products overflow. Then the
// interpolator itself: every forced instruction set gives the same peak, and the peak
// keeps its relations when the same programme is fed in other block sizes, with other
// floors, after silence, or scaled by 0.5.
#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include "tests/support/BitCompare.h"
#include "tests/support/SaltedSamples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

using Aud::TruePeakInterpolator;
using audatoms::test::bitsOf;
namespace TK = Aud::TruePeakKernels;

namespace {

constexpr unsigned kTaps = TruePeakInterpolator::kTapsPerPhase;
constexpr unsigned kWindow = TK::kBlock + kTaps - 1;

std::vector<const TK::Kernels*> availableSets() {
    std::vector<const TK::Kernels*> sets;
    for (const TK::Kernels* k : {TK::sse2Kernels(), TK::avx2Kernels(), TK::avx512Kernels()})
        if (k) sets.push_back(k);
    return sets;
}

std::vector<float> tapsOf(const TruePeakInterpolator& t) {
    return {t.phaseTaps(0), t.phaseTaps(0) + std::size_t(t.factor()) * kTaps};
}

// Forces a table for one scope.
struct Forced {
    explicit Forced(const TK::Kernels* k) { TK::forceKernels(k); }
    ~Forced() { TK::forceKernels(nullptr); }
    Forced(const Forced&) = delete;
    Forced& operator=(const Forced&) = delete;
};

TEST(TruePeakVariants, ThisMachineRunsAtLeastOneVectorSet) {
    ASSERT_FALSE(availableSets().empty());
    EXPECT_STREQ(TK::referenceKernels().name, "scalar");
}

TEST(TruePeakVariants, EveryPassEqualsTheReferenceBitForBit) {
    audatoms::test::SaltedRng rng{0x7E0A11u};
    std::vector<std::vector<float>> tapSets;
    for (double hz : {48000.0, 96000.0, 192000.0}) tapSets.push_back(tapsOf(TruePeakInterpolator(hz)));
    for (unsigned factor : {8u, 4u, 2u, 1u, 3u}) {
        std::vector<float> t(factor * kTaps);
        for (float& v : t) v = rng.uniform(-1.5f, 1.5f);
        tapSets.push_back(t);
    }
    std::vector<float> arena(kWindow + 64);
    for (const TK::Kernels* k : availableSets())
        for (const std::vector<float>& taps : tapSets) {
            const auto factor = unsigned(taps.size() / kTaps);
            for (unsigned trial = 0; trial < 300; ++trial) {
                const unsigned offset = trial % 16;
                float* h = arena.data() + offset;
                const bool salted = trial % 3 == 0;
                for (unsigned i = 0; i < kWindow; ++i) h[i] = salted ? rng.sample() : rng.uniform(-2.0f, 2.0f);
                const float peak = trial % 5 == 0 ? 0.0f : rng.uniform(0.0f, 3.0f);
                const float want = TK::referenceKernels().pass(taps.data(), factor, h, peak);
                const float got = k->pass(taps.data(), factor, h, peak);
                ASSERT_EQ(bitsOf(got), bitsOf(want))
                    << k->name << " factor " << factor << " trial " << trial << ": " << got << " vs " << want;
                ASSERT_FALSE(std::isnan(got));
            }
        }
}

TEST(TruePeakVariants, ANanOutputIsPassedOverAndAnInfiniteOneIsThePeak) {
    const TruePeakInterpolator tp(48000.0);
    const std::vector<float> taps = tapsOf(tp);
    std::vector<float> h(kWindow, 0.25f);
    h[20] = std::numeric_limits<float>::infinity();
    h[21] = -std::numeric_limits<float>::infinity();  // inf - inf: NaN outputs around them
    const float want = TK::referenceKernels().pass(taps.data(), tp.factor(), h.data(), 0.5f);
    EXPECT_FALSE(std::isnan(want));
    for (const TK::Kernels* k : availableSets())
        EXPECT_EQ(bitsOf(k->pass(taps.data(), tp.factor(), h.data(), 0.5f)), bitsOf(want)) << k->name;
    std::vector<float> one(kWindow, 0.0f);
    one[10] = std::numeric_limits<float>::infinity();
    for (const TK::Kernels* k : availableSets())
        EXPECT_EQ(k->pass(taps.data(), tp.factor(), one.data(), 0.0f), std::numeric_limits<float>::infinity())
            << k->name;
}

TEST(TruePeakVariants, APartialPassIsTheFullPassCutShort) {
    const TruePeakInterpolator tp(44100.0);
    const std::vector<float> taps = tapsOf(tp);
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> h(kWindow);
    for (float& v : h) v = u(rng);
    EXPECT_EQ(bitsOf(TK::referencePartialPass(taps.data(), tp.factor(), h.data(), TK::kBlock, 0.0f)),
              bitsOf(TK::referenceKernels().pass(taps.data(), tp.factor(), h.data(), 0.0f)));
    // Zeroing the windows past `count` outputs leaves a partial pass unchanged.
    for (unsigned count = 1; count < TK::kBlock; ++count) {
        std::vector<float> cut = h;
        std::fill(cut.begin() + count + kTaps - 1, cut.end(), 0.0f);
        float want = 0.0f;
        for (unsigned p = 0; p < tp.factor(); ++p)
            for (unsigned i = 0; i < count; ++i) {
                float y = 0.0f;
                for (unsigned k = 0; k < kTaps; ++k) y = y + tp.phaseTaps(p)[k] * cut[i + k];
                want = std::max(want, std::fabs(y));
            }
        EXPECT_EQ(bitsOf(TK::referencePartialPass(taps.data(), tp.factor(), cut.data(), count, 0.0f)), bitsOf(want))
            << count;
    }
}

// A programme whose level wanders: loud and quiet passages, silence, single spikes.
std::vector<float> programme(unsigned seed, std::size_t n) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> x(n);
    float level = 0.5f;
    for (std::size_t i = 0; i < n; ++i) {
        if (i % 700 == 0) level = std::pow(10.0f, -2.5f * std::fabs(u(rng)));
        x[i] = (i / 700) % 5 == 3 ? 0.0f : level * u(rng);
        if (i % 4099 == 17) x[i] = 0.9f * (u(rng) > 0 ? 1.0f : -1.0f);
    }
    return x;
}

// Feeds x in blocks of `block`, with the running peak as the floor (or 0).
float peakOf(const std::vector<float>& x, unsigned block, bool floorIsPeak, double hz = 48000.0) {
    TruePeakInterpolator tp(hz);
    float peak = 0.0f;
    for (std::size_t i = 0; i < x.size(); i += block) {
        const auto n = unsigned(std::min<std::size_t>(block, x.size() - i));
        peak = std::max(peak, tp.process(x.data() + i, n, floorIsPeak ? peak : 0.0f));
    }
    return peak;
}

// Every output of the filter, no skipping, one by one: the definition of the peak.
float definitionPeak(const std::vector<float>& x, double hz = 48000.0) {
    const TruePeakInterpolator tp(hz);
    std::vector<float> h(kTaps - 1, 0.0f);
    for (float v : x) h.push_back(std::isfinite(v) ? v : 0.0f);
    float peak = 0.0f;
    for (unsigned p = 0; p < tp.factor(); ++p)
        for (std::size_t i = 0; i + kTaps <= h.size(); ++i) {
            float y = 0.0f;
            for (unsigned k = 0; k < kTaps; ++k) y = y + tp.phaseTaps(p)[k] * h[i + k];
            peak = std::max(peak, std::fabs(y));
        }
    return peak;
}

TEST(TruePeakInterpolatorSets, EverySetAndEveryBlockSizeGiveTheDefinitionsPeak) {
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const std::vector<float> x = programme(seed, 30011);
        for (double hz : {48000.0, 96000.0, 192000.0}) {
            const float want = definitionPeak(x, hz);
            std::vector<const TK::Kernels*> sets = availableSets();
            sets.push_back(&TK::referenceKernels());
            for (const TK::Kernels* k : sets) {
                const Forced forced(k);
                for (unsigned block : {1u, 7u, 31u, 32u, 33u, 255u, 256u, 257u, 1920u, 30011u})
                    for (bool floorIsPeak : {false, true})
                        ASSERT_EQ(bitsOf(peakOf(x, block, floorIsPeak, hz)), bitsOf(want))
                            << k->name << " " << hz << " Hz, blocks of " << block << ", floor "
                            << (floorIsPeak ? "peak" : "0");
            }
        }
    }
}

TEST(TruePeakInterpolatorSets, SilenceBeforeAndHalfTheLevelKeepTheirRelations) {
    const std::vector<float> x = programme(9, 20000);
    const float peak = peakOf(x, 1920, true);
    std::vector<float> padded(4321, 0.0f);
    padded.insert(padded.end(), x.begin(), x.end());
    padded.resize(padded.size() + 999, 0.0f);
    EXPECT_EQ(bitsOf(peakOf(padded, 1920, true)), bitsOf(peak));
    // Halving every sample halves every product and sum exactly (no value here is
    // near the subnormal range), so the peak halves bit for bit.
    std::vector<float> half = x;
    for (float& v : half) v *= 0.5f;
    EXPECT_EQ(bitsOf(peakOf(half, 1920, true)), bitsOf(peak * 0.5f));
}

TEST(TruePeakInterpolatorSets, AFloorAboveEveryOutputReturnsNothingAboveIt) {
    const std::vector<float> x = programme(4, 5000);
    const float peak = definitionPeak(x);
    TruePeakInterpolator tp(48000.0);
    EXPECT_LE(tp.process(x.data(), unsigned(x.size()), peak * 1.5f), peak * 1.5f);
    TruePeakInterpolator nanFloor(48000.0);  // a NaN floor skips nothing
    EXPECT_EQ(bitsOf(nanFloor.process(x.data(), unsigned(x.size()), std::numeric_limits<float>::quiet_NaN())),
              bitsOf(peak));
}

}  // namespace
