#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

using namespace Aud;

namespace {

double energyOf(double lufs) { return std::pow(10.0, (lufs + 0.691) / 10.0); }

// The exact gated mean of a list of block energies, as a reference.
double exactGated(const std::vector<double>& e, double gateLu) {
    double sum = 0.0;
    std::size_t n = 0;
    for (double v : e)
        if (LoudnessHistogram::loudnessOf(v) > -70.0) {
            sum += v;
            ++n;
        }
    if (n == 0) return 0.0;
    const double gate = sum / double(n) * std::pow(10.0, gateLu / 10.0);
    sum = 0.0;
    n = 0;
    for (double v : e)
        if (LoudnessHistogram::loudnessOf(v) > -70.0 && v > gate) {
            sum += v;
            ++n;
        }
    return n ? sum / double(n) : 0.0;
}

}  // namespace

TEST(LoudnessHistogram, GatedMeanIsWithinItsStatedBoundOfTheExactMean) {
    std::mt19937 rng(7);
    for (int trial = 0; trial < 200; ++trial) {
        std::uniform_real_distribution<double> centre(-60.0, 0.0), spread(0.5, 30.0);
        std::normal_distribution<double> level(centre(rng), spread(rng));
        std::vector<double> e(std::uniform_int_distribution<int>(1, 3000)(rng));
        LoudnessHistogram h;
        for (double& v : e) {
            v = energyOf(level(rng));
            h.add(v);
        }
        const LoudnessHistogram::GatedMean g = h.gatedMean(-10.0);
        const double exact = exactGated(e, -10.0);
        if (exact == 0.0) {
            EXPECT_EQ(g.counted, 0u);
            continue;
        }
        const double err = std::fabs(LoudnessHistogram::loudnessOf(g.energy) - LoudnessHistogram::loudnessOf(exact));
        EXPECT_LE(err, g.maxErrorLu() + 1e-9) << trial;
        if (g.gateBinBlocks == 0) {
            EXPECT_LT(err, 1e-9) << trial;
        }
    }
}

TEST(LoudnessHistogram, BlocksCrowdedAtTheGateGiveANonZeroErrorThatStaysWithinTheBound) {
    // One loud block and many blocks placed just around the relative gate: the worst
    // case for the fixed bins.
    const double loud = energyOf(-10.0);
    const int quiet = 20;
    // Gate energy g = 0.1 (loud + quiet q) / (quiet + 1); q a hair above or below g.
    for (double nudge : {1.00001, 0.99999}) {
        const double q = 0.1 * loud / (0.9 * quiet + 1.0) * nudge;
        std::vector<double> e(std::size_t(quiet), q);
        e.push_back(loud);
        LoudnessHistogram h;
        for (double v : e) h.add(v);
        const LoudnessHistogram::GatedMean g = h.gatedMean(-10.0);
        const double exact = exactGated(e, -10.0);
        EXPECT_EQ(g.gateBinBlocks, std::uint64_t(quiet));
        const double err = std::fabs(LoudnessHistogram::loudnessOf(g.energy) - LoudnessHistogram::loudnessOf(exact));
        EXPECT_LE(err, g.maxErrorLu() + 1e-9);
    }
}

TEST(LoudnessHistogram, AbsoluteGateAndBadEnergiesAreNotKept) {
    LoudnessHistogram h;
    h.add(energyOf(-70.0));
    h.add(energyOf(-80.0));
    h.add(0.0);
    h.add(-1.0);
    h.add(std::nan(""));
    h.add(INFINITY);
    EXPECT_EQ(h.blocks(), 0u);
    h.add(energyOf(-69.99));
    h.add(energyOf(80.0));  // above the top: into the top bin, energy kept exactly
    EXPECT_EQ(h.blocks(), 2u);
    h.clear();
    EXPECT_EQ(h.blocks(), 0u);
    EXPECT_EQ(h.gatedMean(-10.0).counted, 0u);
    EXPECT_EQ(h.range(-20.0, 0.1, 0.95), 0.0);
}

TEST(LoudnessHistogram, RangePercentilesAreWithinABinOfTheSortedValues) {
    std::mt19937 rng(11);
    std::normal_distribution<double> level(-25.0, 6.0);
    std::vector<double> lufs(5000);
    LoudnessHistogram h;
    for (double& v : lufs) {
        v = level(rng);
        h.add(energyOf(v));
    }
    // Exact statistic from the sorted gated values.
    double sum = 0.0;
    for (double v : lufs) sum += energyOf(v);
    const double gate = LoudnessHistogram::loudnessOf(sum / double(lufs.size())) - 20.0;
    std::vector<double> kept;
    for (double v : lufs)
        if (v > gate && v > -70.0) kept.push_back(v);
    std::sort(kept.begin(), kept.end());
    const auto at = [&](double f) { return kept[std::size_t(double(kept.size() - 1) * f + 0.5)]; };
    EXPECT_NEAR(h.range(-20.0, 0.1, 0.95), at(0.95) - at(0.1), 0.02 + 1e-9);
}
