// Aud::Resampler::process allocates nothing: the allocation meter (which replaces the
// global operator new and delete) counts every allocation made while streaming
// (exact and interpolated phase tables, several channel counts, full and partial output
// room, NaN input, reset).
#include "AudAtoms/kernels/Aud__Resampler.h"
#include "tests/support/AllocationMeter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

TEST(ResamplerNoAlloc, ProcessAndResetAllocateNothing) {
    const Aud::SampleRate r44(Aud::keBaseSampleRate44100), r48(Aud::keBaseSampleRate48000);
    const Aud::SampleRate pulled(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    for (unsigned channels : {1u, 2u, 32u}) {
        Aud::Resampler exact(r44, r48, channels), interpolated(r44, pulled, channels, Aud::Resampler::keQualityQuick);
        std::vector<std::vector<float>> in(channels, std::vector<float>(10000, 0.25f));
        in[0][5000] = std::numeric_limits<float>::quiet_NaN();
        std::vector<std::vector<float>> out(channels, std::vector<float>(12000));
        std::vector<const float*> ip(channels);
        std::vector<float*> op(channels);
        for (unsigned c = 0; c < channels; ++c) {
            ip[c] = in[c].data();
            op[c] = out[c].data();
        }
        for (Aud::Resampler* r : {&exact, &interpolated}) {
            audatoms::test::AllocationMeter meter;
            std::size_t total = 0;
            for (int pass = 0; pass < 3; ++pass) {
                total += r->process(ip.data(), in[0].size(), op.data(), out[0].size()).produced;
                total += r->process(ip.data(), 777, op.data(), 13).produced;  // partial room
            }
            r->reset();
            total += r->process(ip.data(), in[0].size(), op.data(), out[0].size()).produced;
            const long long allocations = meter.allocations();
            EXPECT_GT(total, 0u);
            EXPECT_EQ(allocations, 0) << channels << " channels";
        }
    }
}
