// The loudness meter over a ten-hour programme fed in large blocks: its memory is fixed
// at construction (no allocation while processing, no growth of the process), a burst of
// non-finite samples in the middle changes nothing, and the statistics stay exact.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/AllocationMeter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <vector>

using namespace Aud;

namespace {

// Resident set size in bytes, from /proc/self/statm.
long residentBytes() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return resident * 4096;
}

}  // namespace

TEST(LoudnessLongRun, TenHoursInFixedMemoryWithANonFiniteBurst) {
    // Mono at 11.025 kHz without the true-peak interpolator keeps ten hours of audio
    // (397 million samples) inside the test-time budget; the meter's memory does not
    // depend on the rate or the channel count in any way this would hide.
    const double rate = 11025.0;
    const std::size_t blockFrames = 11025 * 60;  // one minute per call
    audatoms::test::AllocationMeter construction;
    auto meter = std::make_unique<Loudness>(std::vector<eChannelRole>{keRoleCentre}, rate, false);
    const auto constructionBytes = std::size_t(construction.allocatedBytes());
    ASSERT_EQ(meter->status(), sSuccess);

    // One minute of a 1 kHz sine at peak 1; each hour alternates -20 and -30 dBFS.
    std::vector<float> unit(blockFrames), block(blockFrames);
    for (std::size_t i = 0; i < blockFrames; ++i)
        unit[i] = float(std::sin(6.283185307179586 * 1000.0 * double(i) / rate));
    const float* channels[1] = {block.data()};

    const long rssBefore = residentBytes();
    audatoms::test::AllocationMeter processing;
    for (int minute = 0; minute < 600; ++minute) {
        const float gain = float(std::pow(10.0, ((minute / 60) % 2 == 0 ? -20.0 : -30.0) / 20.0));
        for (std::size_t i = 0; i < blockFrames; ++i) block[i] = unit[i] * gain;
        if (minute == 300)
            for (std::size_t i = 1000; i < 1000 + 4410; ++i)
                block[i] = (i % 2) ? std::numeric_limits<float>::quiet_NaN() : std::numeric_limits<float>::infinity();
        ASSERT_EQ(meter->process(channels, blockFrames), sSuccess);
    }
    const auto allocationsDuring = std::size_t(processing.allocations());
    const long rssGrowth = residentBytes() - rssBefore;

    EXPECT_EQ(allocationsDuring, 0u);
    EXPECT_LT(rssGrowth, 1L << 20);
    EXPECT_LT(constructionBytes, std::size_t(1) << 20);
    std::printf("  10 h mono: %zu bytes allocated at construction, %zu allocations while processing, "
                "resident set grew by %ld bytes\n",
                constructionBytes, allocationsDuring, rssGrowth);

    EXPECT_EQ(meter->framesProcessed(), std::uint64_t(blockFrames) * 600);
    EXPECT_EQ(meter->nonFiniteSamples(), 4410u);
    // One channel of a sine at peak -20 dBFS reads about -23 LUFS (at this low rate the
    // weighting's 1 kHz gain is 0.04 dB off its 48 kHz value). Equal time at that level
    // and 10 dB below: both pass the relative gate, so the integrated loudness is their
    // energy mean, 10 log10((1 + 0.1) / 2) below the louder; the range is the 10 LU.
    EXPECT_NEAR(meter->maxMomentary(), -23.0, 0.1);
    EXPECT_NEAR(meter->integrated(), meter->maxMomentary() + 10.0 * std::log10(1.1 / 2.0), 0.01);
    EXPECT_NEAR(meter->loudnessRange(), 10.0, 0.05);
    EXPECT_LE(meter->integratedErrorBound(), 0.01);
}

TEST(LoudnessLongRun, FiveOneWithTruePeakAllocatesNothingWhileProcessing) {
    Loudness meter({keRoleLeft, keRoleRight, keRoleCentre, keRoleLFE, keRoleLeftSurround, keRoleRightSurround},
                   48000.0);
    std::vector<std::vector<float>> buf(6, std::vector<float>(48000));
    for (std::size_t c = 0; c < buf.size(); ++c)
        for (std::size_t i = 0; i < buf[c].size(); ++i) buf[c][i] = float(0.1 * std::sin(0.05 * double(i * (c + 1))));
    const float* ptrs[6];
    for (std::size_t c = 0; c < 6; ++c) ptrs[c] = buf[c].data();
    audatoms::test::AllocationMeter processing;
    for (int second = 0; second < 20; ++second)
        for (std::size_t at : {std::size_t(0), std::size_t(1), std::size_t(4000), std::size_t(47000)}) {
            const float* shifted[6];
            for (std::size_t c = 0; c < 6; ++c) shifted[c] = ptrs[c] + at;
            meter.process(shifted, 1000);
        }
    EXPECT_EQ(processing.allocations(), 0);
    (void)meter.integrated();
    (void)meter.loudnessRange();
    EXPECT_GT(meter.truePeak(), 0.0f);
}
