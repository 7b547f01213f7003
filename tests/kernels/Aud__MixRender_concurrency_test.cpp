// Kernels are stateless: threads calling them at once on their own buffers, including
// the very first calls that pick the instruction set, get the reference results.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace Aud::MixRender;

TEST(MixRenderConcurrency, ThreadsRenderTheirOwnBuffersAtOnce) {
    constexpr int kThreads = 4;
    constexpr unsigned kCount = 257;
    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &mismatches] {
            std::vector<float> src(kCount * 4), a(kCount * 4), b(kCount * 4);
            for (unsigned i = 0; i < src.size(); ++i) src[i] = static_cast<float>((i * 37 + t) % 101) / 50.0f - 1.0f;
            for (int round = 0; round < 200; ++round) {
                const float gain = 0.25f + 0.01f * static_cast<float>(round + t);
                float pa = 0, pb = 0;
                a.assign(a.size(), 0.5f);
                b.assign(b.size(), 0.5f);
                MultiplyConstantAndAddWithPrePeakScan(src.data(), a.data(), kCount, gain, &pa);
                Reference::MultiplyConstantAndAddWithPrePeakScan(src.data(), b.data(), kCount, gain, &pb);
                MultiplyWithDeltaAndAdd(src.data(), a.data(), kCount, gain, 1e-4f);
                Reference::MultiplyWithDeltaAndAdd(src.data(), b.data(), kCount, gain, 1e-4f);
                if (a != b || pa != pb) ++mismatches[t];
            }
        });
    }
    for (std::thread& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << t;
}
