// MixRender::MultiplyWithDeltaChannels on every instruction set this machine runs
// against its definition, MultiplyWithDelta channel by channel (the scalar reference,
// and the dispatched one-channel kernel): every channel count from 1 to 40 (lane groups
// of 16, 8 and 4 and the channels left over), every count of four-sample groups from 0
// to a few vector widths plus larger ones, every misalignment of each channel's source
// and destination, channels in place and apart in one call, levels and deltas at the
// short-cut values (0.0, -0.0, 1.0) and at NaN, infinities, subnormals and overflowing
// sizes, samples salted with the same, with and without flush-to-zero. Words around
// every buffer are checked for stray writes.
//
// Equality is of the bit pattern, except that any NaN equals any NaN: which NaN payload
// survives an operation on two NaNs depends on operand order, which the compiler may swap
// for a commutative multiply or add.
#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include "platform/FloatingPointMode.h"
#include "tests/support/BitCompare.h"
#include "tests/support/SaltedSamples.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <span>
#include <string>
#include <vector>

using namespace Aud::MixRender;
using audatoms::test::bitsOf;
using audatoms::test::floatFromBits;
using audatoms::test::sameBits;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

using Rng = audatoms::test::SaltedRng;

// Levels and deltas: ordinary ramps, the short-cut values, and values that overflow,
// underflow or poison.
const float kLevels[] = {0.7f, -1.3f, 1.0f, 0.0f, -0.0f, 1e-30f, 3e38f, kNaN, -kInf, 0.5f, 1e-40f};
const float kDeltas[] = {0.0015f, -0.25f, 0.0f, -0.0f, 1e-42f, kNaN, 1e-7f, -3.3e-5f, kInf, 3e37f, 0.7f};

constexpr std::size_t kGuard = audatoms::test::kGuardFloats;
constexpr std::uint32_t kCanary = audatoms::test::kCanaryBits;

// The buffers of one call: per channel a source and a destination (or the source
// again, in place), each at its own misalignment from a 64-byte boundary inside one
// arena, with canary words around each.
struct World {
    std::vector<float> arena;
    std::vector<std::size_t> srcAt, dstAt;  // dstAt == srcAt: in place
    std::vector<float> level, delta;
    std::size_t n;

    World(unsigned channels, unsigned count, std::uint64_t seed, unsigned salt) : n(std::size_t(count) * 4) {
        Rng rng{seed};
        const std::size_t stride = n + 2 * kGuard + 16;
        arena.assign(stride * 2 * channels + 16, floatFromBits(kCanary));
        const auto base = reinterpret_cast<std::uintptr_t>(arena.data());
        const std::size_t toAlign = ((64 - base % 64) % 64) / sizeof(float);
        for (unsigned c = 0; c < channels; ++c) {
            srcAt.push_back(toAlign + 2 * c * stride + kGuard + (c * 3 + salt) % 16);
            const bool inPlace = (c + salt) % 3 == 0;
            dstAt.push_back(inPlace ? srcAt.back() : toAlign + (2 * c + 1) * stride + kGuard + (c * 7 + salt) % 16);
            for (std::size_t i = 0; i < n; ++i) arena[srcAt[c] + i] = rng.sample();
            if (!inPlace)
                for (std::size_t i = 0; i < n; ++i) arena[dstAt[c] + i] = rng.sample();
            level.push_back(kLevels[(c * 5 + salt) % std::size(kLevels)]);
            delta.push_back(kDeltas[(c * 3 + salt * 7) % std::size(kDeltas)]);
        }
    }
    unsigned channels() const { return unsigned(srcAt.size()); }
    std::vector<float*> pointers(const std::vector<std::size_t>& at) {
        std::vector<float*> p;
        for (std::size_t i : at) p.push_back(arena.data() + i);
        return p;
    }
    void runChannels(bool reference) {
        std::vector<float*> s = pointers(srcAt), d = pointers(dstAt);
        const auto kernel = reference ? Reference::MultiplyWithDeltaChannels : MultiplyWithDeltaChannels;
        kernel(s.data(), d.data(), unsigned(n / 4), level.data(), delta.data(), channels());
    }
    void runOneByOne(bool reference) {
        const auto kernel = reference ? Reference::MultiplyWithDelta : MultiplyWithDelta;
        for (unsigned c = 0; c < channels(); ++c)
            kernel(arena.data() + srcAt[c], arena.data() + dstAt[c], unsigned(n / 4), level[c], delta[c]);
    }
};

::testing::AssertionResult sameWorld(const World& got, const World& want) {
    return sameBits(std::span<const float>(got.arena), std::span<const float>(want.arena));
}

std::vector<unsigned> counts() {
    std::vector<unsigned> c;
    for (unsigned i = 0; i <= 17; ++i) c.push_back(i);  // 0 .. 68 samples: 4 vectors of 16 and a tail
    for (unsigned i : {31u, 100u, 257u}) c.push_back(i);
    return c;
}

std::vector<eInstructionSet> machineSets() {
    std::vector<eInstructionSet> sets;
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512})
        if (isInstructionSetSupported(s)) sets.push_back(s);
    return sets;
}

class RampChannels : public ::testing::TestWithParam<eInstructionSet> {
protected:
    void SetUp() override { ASSERT_TRUE(setInstructionSet(GetParam())); }
    void TearDown() override { selectBestInstructionSet(); }
};

TEST_P(RampChannels, EveryChannelCountCountAndOffsetMatchesTheOneChannelKernel) {
    std::uint64_t seed = 0x9E3779B97F4A7C15ull;
    long calls = 0;
    for (unsigned channels = 1; channels <= 40; ++channels)
        for (unsigned count : counts())
            for (unsigned salt = 0; salt < 3; ++salt) {
                ++seed;
                World fast(channels, count, seed, salt + channels + count), ref = fast, one = fast, oneFast = fast;
                fast.runChannels(false);
                ref.runChannels(true);
                one.runOneByOne(true);
                oneFast.runOneByOne(false);
                ASSERT_TRUE(sameWorld(fast, one)) << channels << " channels, count " << count << ", salt " << salt;
                ASSERT_TRUE(sameWorld(ref, one)) << "reference: " << channels << " channels, count " << count;
                ASSERT_TRUE(sameWorld(oneFast, one)) << "one by one: " << channels << " channels, count " << count;
                ++calls;
            }
    EXPECT_EQ(calls, 40L * long(counts().size()) * 3);
}

TEST_P(RampChannels, EveryLevelAndDeltaPairInEveryLane) {
    // Each (level, delta) pair of the lists reaches every lane position of the widest
    // group and the channels left over.
    std::uint64_t seed = 99;
    for (unsigned salt = 0; salt < std::size(kLevels) * std::size(kDeltas); ++salt)
        for (unsigned channels : {4u, 16u, 23u, 40u}) {
            World fast(channels, 9, ++seed, salt), one = fast;
            fast.runChannels(false);
            one.runOneByOne(true);
            ASSERT_TRUE(sameWorld(fast, one)) << channels << " channels, salt " << salt;
        }
}

TEST_P(RampChannels, LongRampsKeepEachChannelsSerialChain) {
    // Deltas for which level + k * delta differs from the serial sum, over long runs.
    std::uint64_t seed = 7;
    for (float delta : {1e-7f, -3.3e-5f, 1.0f / 48000.0f, 1e-45f}) {
        World fast(37, 1000, ++seed, 1), one = fast;
        for (unsigned c = 0; c < 37; ++c) {
            fast.level[c] = one.level[c] = 0.001f * float(c);
            fast.delta[c] = one.delta[c] = delta * float(c % 5 + 1);
        }
        fast.runChannels(false);
        one.runOneByOne(true);
        ASSERT_TRUE(sameWorld(fast, one)) << "delta " << delta;
        // The guard: the serial chain gives other levels than start + i * delta would, so
        // the comparison above tells the two apart (a delta of one subnormal step is
        // absorbed by every level either way).
        if (delta == 1e-45f) continue;
        int differs = 0;
        for (unsigned c = 1; c < 37; ++c) {
            if (one.dstAt[c] == one.srcAt[c]) continue;  // in place: the source is gone
            const float* src = one.arena.data() + one.srcAt[c];
            const float* dst = one.arena.data() + one.dstAt[c];
            for (std::size_t i = 0; i < one.n; ++i)
                differs += bitsOf(dst[i]) != bitsOf(src[i] * (one.level[c] + float(i) * one.delta[c]));
        }
        EXPECT_GT(differs, 0) << "delta " << delta;
    }
}

TEST_P(RampChannels, TheDeltaZeroShortCutInPlaceAndApart) {
    // delta == 0.0: the constant pass first, then the ramp over the same samples; in place
    // that leaves src * level * level (1.0 copies, 0.0 zero-fills, then the ramp).
    for (float level : {0.5f, 1.0f, 0.0f, -0.0f, -3.0f, kNaN}) {
        for (float zero : {0.0f, -0.0f}) {
            World fast(20, 5, 3, 0), one = fast;
            for (unsigned c = 0; c < 20; ++c) {
                fast.level[c] = one.level[c] = level;
                fast.delta[c] = one.delta[c] = c % 2 ? zero : 0.25f;
            }
            fast.runChannels(false);
            one.runOneByOne(true);
            ASSERT_TRUE(sameWorld(fast, one)) << "level " << level << ", delta " << zero;
        }
    }
    // The spelled-out case: in place, level 0.5, no slope, samples of 1.0 give 0.25.
    std::vector<float> buffers(16 * 8, 1.0f);
    std::vector<float*> p;
    for (int c = 0; c < 16; ++c) p.push_back(buffers.data() + 8 * c);
    const std::vector<float> levels(16, 0.5f), deltas(16, 0.0f);
    MultiplyWithDeltaChannels(p.data(), p.data(), 2, levels.data(), deltas.data(), 16);
    for (float v : buffers) ASSERT_EQ(v, 0.25f);
}

TEST_P(RampChannels, FlushToZeroAppliesAlikeToTheLanes) {
    platform::ScopedFlushDenormals guard;
    std::uint64_t seed = 1234;
    for (unsigned channels : {8u, 16u, 33u})
        for (unsigned salt = 0; salt < 12; ++salt) {
            World fast(channels, 13, ++seed, salt), one = fast;
            fast.runChannels(false);
            one.runOneByOne(true);
            ASSERT_TRUE(sameWorld(fast, one)) << channels << " channels, salt " << salt;
        }
}

TEST_P(RampChannels, NothingToDoTouchesNothing) {
    // No channels or no samples: nothing written, nothing read (null arrays allowed).
    MultiplyWithDeltaChannels(nullptr, nullptr, 4, nullptr, nullptr, 0);
    std::vector<float*> nulls(5, nullptr);
    const float levels[5] = {1, 2, 3, 4, 5}, deltas[5] = {0, 0, 0, 0, 0};
    MultiplyWithDeltaChannels(nulls.data(), nulls.data(), 0, levels, deltas, 5);
    MultiplyWithDeltaChannels(nulls.data(), nulls.data(), 0, nullptr, nullptr, 5);
    World w(5, 3, 42, 0), before = w;
    std::vector<float*> s = w.pointers(w.srcAt), d = w.pointers(w.dstAt);
    MultiplyWithDeltaChannels(s.data(), d.data(), 0, w.level.data(), w.delta.data(), 5);
    EXPECT_TRUE(sameWorld(w, before));
}

TEST_P(RampChannels, TheRampChangesTheSamples) {
    // A guard on the comparisons above: the kernel does write each channel's ramp.
    World w(40, 16, 5, 0);
    for (unsigned c = 0; c < 40; ++c) {
        w.level[c] = 0.25f;
        w.delta[c] = 0.01f;
        for (std::size_t i = 0; i < w.n; ++i) w.arena[w.srcAt[c] + i] = 1.0f;
    }
    w.runChannels(false);
    for (unsigned c = 0; c < 40; ++c) {
        const float* dst = w.arena.data() + w.dstAt[c];
        float level = 0.25f;
        for (std::size_t i = 0; i < w.n; ++i) {
            ASSERT_EQ(bitsOf(dst[i]), bitsOf(level)) << "channel " << c << ", sample " << i;
            level += 0.01f;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(MixRender, RampChannels, ::testing::ValuesIn(machineSets()),
                         [](const ::testing::TestParamInfo<eInstructionSet>& p) {
                             switch (p.param) {
                             case eInstructionSet::kSSE2: return std::string("SSE2");
                             case eInstructionSet::kAVX2: return std::string("AVX2");
                             case eInstructionSet::kAVX512: return std::string("AVX512");
                             }
                             return std::string("Unknown");
                         });

}  // namespace
