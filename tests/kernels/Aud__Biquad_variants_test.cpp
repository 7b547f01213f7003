// Biquad::processChannels on every instruction set this machine runs (AVX-512: groups
// of 16, 8 and 4 channels; AVX2: 8 and 4; SSE2: 4; the rest one by one) against its
// definition, processSample called section by section, sample by sample, channel by
// channel. Every output sample and every section's memory afterwards must have the same
// bit pattern: every channel count from 1 to 40, every block length from 0 to three
// vector widths plus a tail, cascades of 1 to 13 sections (across the passes of four),
// channel buffers at every misalignment, inactive sections anywhere, special values in
// the samples and in the filter memory (NaN, infinities, signed zeros, subnormals, the
// largest floats, full scale), with and without flush-to-zero, and blocks of every
// length in succession. Canary words around every channel buffer catch stray writes.
#include "AudAtoms/kernels/Aud__Biquad_testing.h"

#include "platform/FloatingPointMode.h"
#include "tests/support/BitCompare.h"
#include "tests/support/SaltedSamples.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace Aud::Filter {
// Reads and sets a section's filter memory, which no public call reaches whole.
struct BiquadTestAccess {
    static std::vector<float> memory(const Biquad& b) { return {b.x1_, b.x2_, b.y1_, b.y2_}; }
    static void setMemory(Biquad& b, float x1, float x2, float y1, float y2) {
        b.x1_ = x1;
        b.x2_ = x2;
        b.y1_ = y1;
        b.y2_ = y2;
    }
};
}  // namespace Aud::Filter

using Aud::Filter::Biquad;
using Aud::Filter::BiquadTestAccess;
using audatoms::test::bitsOf;
using audatoms::test::floatFromBits;
using eInstructionSet = Aud::Filter::BiquadChannels::eInstructionSet;
namespace BC = Aud::Filter::BiquadChannels;
using Shape = Biquad::ShapeDescriptor;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

const float kSpecials[] = {0.0f,
                           -0.0f,
                           std::numeric_limits<float>::quiet_NaN(),
                           floatFromBits(0xFFC00001u),  // negative NaN with a payload
                           kInf,
                           -kInf,
                           1e-40f,  // subnormal
                           -1e-42f,
                           std::numeric_limits<float>::min(),
                           std::numeric_limits<float>::denorm_min(),
                           kMax,
                           -kMax,
                           1.0f,  // full scale
                           -1.0f,
                           0.99999994f,  // just below full scale
                           1.0000001f};  // just above

// A designed section of a random type, with memory from a random prelude.
Biquad randomSection(std::mt19937& rng) {
    std::uniform_int_distribution<int> type(1, 9);
    std::uniform_real_distribution<float> logF(std::log(20.0f), std::log(20000.0f));
    std::uniform_real_distribution<float> q(0.3f, 4.0f);
    std::uniform_real_distribution<double> gain(-15.0, 15.0);
    const auto t = static_cast<Biquad::eFilterType>(type(rng));
    const bool shelf = t == Biquad::kLowShelf || t == Biquad::kHighShelf;
    const Shape shape = shelf ? Shape{Shape::kShelfSlope, 1.0f} : Shape{Shape::kQ, q(rng)};
    Biquad b(t, std::exp(logF(rng)), 48000.0f, shape, gain(rng), true);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (int i = 0; i < 5; ++i) b.processSample(u(rng));
    return b;
}

// Channel buffers in one arena, channel c starting `misalign(c)` floats past a 64-byte
// boundary, with canary words around each.
constexpr std::uint32_t kCanary = audatoms::test::kCanaryBits;
constexpr std::size_t kGuard = audatoms::test::kGuardFloats;

struct Case {
    unsigned perChannel = 0, n = 0;
    std::vector<Biquad> sections;  // channels * perChannel, channel-major
    std::vector<float> arena;
    std::vector<std::size_t> offsets;  // channel c's first sample in the arena

    unsigned channels() const { return unsigned(offsets.size()); }
    float* channel(unsigned c) { return arena.data() + offsets[c]; }
    const float* channel(unsigned c) const { return arena.data() + offsets[c]; }
};

Case makeCase(std::mt19937& rng, unsigned channels, unsigned perChannel, unsigned n, unsigned misalignSeed) {
    Case c;
    c.perChannel = perChannel;
    c.n = n;
    for (unsigned i = 0; i < channels * perChannel; ++i) c.sections.push_back(randomSection(rng));
    const std::size_t stride = (n + 2 * kGuard + 16 + 15) / 16 * 16;
    c.arena.assign(stride * channels + 16, floatFromBits(kCanary));
    const auto base = reinterpret_cast<std::uintptr_t>(c.arena.data());
    const std::size_t toAlign = ((64 - base % 64) % 64) / sizeof(float);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    for (unsigned ch = 0; ch < channels; ++ch) {
        c.offsets.push_back(toAlign + ch * stride + kGuard + (ch * 5 + misalignSeed) % 16);
        for (unsigned i = 0; i < n; ++i) c.channel(ch)[i] = u(rng);
    }
    return c;
}

// The definition: processSample, section by section, sample by sample.
void runScalar(Case& c) {
    for (unsigned ch = 0; ch < c.channels(); ++ch)
        for (unsigned i = 0; i < c.n; ++i) {
            float v = c.channel(ch)[i];
            for (unsigned k = 0; k < c.perChannel; ++k) v = c.sections[ch * c.perChannel + k].processSample(v);
            c.channel(ch)[i] = v;
        }
}

void runChannels(Case& c, unsigned from, unsigned n) {
    std::vector<Biquad*> sections;
    for (Biquad& b : c.sections) sections.push_back(&b);
    std::vector<float*> x;
    for (unsigned ch = 0; ch < c.channels(); ++ch) x.push_back(c.channel(ch) + from);
    Biquad::processChannels(sections.data(), c.perChannel, x.data(), c.channels(), n);
}
void runChannels(Case& c) { runChannels(c, 0, c.n); }

// The same bit pattern, except that any NaN equals any NaN: which NaN payload survives an
// operation on two NaNs depends on operand order, which the compiler may swap for a
// commutative multiply or add (in the scalar definition as in the lanes).
bool same(float a, float b) { return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b)); }

// Every word of the arena (samples and canaries) and every section's memory.
::testing::AssertionResult identical(const Case& got, const Case& want) {
    for (std::size_t i = 0; i < got.arena.size(); ++i)
        if (!same(got.arena[i], want.arena[i])) {
            for (unsigned ch = 0; ch < got.channels(); ++ch)
                if (i >= got.offsets[ch] && i < got.offsets[ch] + got.n)
                    return ::testing::AssertionFailure()
                           << "channel " << ch << ", sample " << i - got.offsets[ch] << ": " << got.arena[i]
                           << " (bits " << bitsOf(got.arena[i]) << ") vs " << want.arena[i] << " (bits "
                           << bitsOf(want.arena[i]) << ")";
            return ::testing::AssertionFailure() << "a word outside the channels changed, arena index " << i;
        }
    for (std::size_t s = 0; s < got.sections.size(); ++s) {
        const std::vector<float> a = BiquadTestAccess::memory(got.sections[s]);
        const std::vector<float> b = BiquadTestAccess::memory(want.sections[s]);
        for (int m = 0; m < 4; ++m)
            if (!same(a[m], b[m]))
                return ::testing::AssertionFailure()
                       << "section " << s << ", memory word " << m << ": " << a[m] << " vs " << b[m];
    }
    return ::testing::AssertionSuccess();
}

std::vector<eInstructionSet> machineSets() {
    std::vector<eInstructionSet> sets;
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512})
        if (BC::isInstructionSetSupported(s)) sets.push_back(s);
    return sets;
}

class BiquadVariants : public ::testing::TestWithParam<eInstructionSet> {
protected:
    void SetUp() override {
        ASSERT_TRUE(BC::setInstructionSet(GetParam()));
        unsigned widths[3];
        if (BC::laneWidths(widths) != 0) widest = widths[0];
    }
    void TearDown() override { BC::selectBestInstructionSet(); }
    unsigned widest = 4;
};

TEST_P(BiquadVariants, EveryChannelCountAndBlockLengthMatchesProcessSample) {
    std::mt19937 rng(101);
    int cases = 0;
    for (unsigned channels = 1; channels <= 40; ++channels)
        for (unsigned n = 0; n <= 3 * widest + 5; ++n) {
            const unsigned perChannel = (channels + n) % 5 + 1;
            Case fast = makeCase(rng, channels, perChannel, n, channels + n);
            Case ref = fast;
            runScalar(ref);
            runChannels(fast);
            ASSERT_TRUE(identical(fast, ref))
                << channels << " channels, " << perChannel << " sections, " << n << " samples";
            ++cases;
        }
    EXPECT_EQ(cases, int(40 * (3 * widest + 6)));
}

TEST_P(BiquadVariants, CascadesOfEveryLengthAcrossThePasses) {
    std::mt19937 rng(202);
    for (unsigned perChannel = 1; perChannel <= 13; ++perChannel)
        for (unsigned channels : {1u, 3u, 4u, 7u, 8u, 12u, 16u, 21u, 28u, 32u, 40u})
            for (unsigned n : {1u, widest - 1, widest, 2 * widest + 3, 131u}) {
                Case fast = makeCase(rng, channels, perChannel, n, perChannel);
                Case ref = fast;
                runScalar(ref);
                runChannels(fast);
                ASSERT_TRUE(identical(fast, ref))
                    << channels << " channels, " << perChannel << " sections, " << n << " samples";
            }
}

TEST_P(BiquadVariants, EveryMisalignmentOfTheChannelBuffers) {
    std::mt19937 rng(303);
    for (unsigned seed = 0; seed < 16; ++seed)
        for (unsigned channels : {4u, 8u, 16u, 19u, 32u})
            for (unsigned n : {widest + 1, 2 * widest + 7}) {
                Case fast = makeCase(rng, channels, 3, n, seed);
                Case ref = fast;
                runScalar(ref);
                runChannels(fast);
                ASSERT_TRUE(identical(fast, ref)) << "seed " << seed << ", " << channels << " channels";
            }
}

TEST_P(BiquadVariants, InactiveSectionsAnywhereSendTheirChannelOneByOne) {
    // One channel out of the lanes at every position, and every third one out: the
    // others still group, in channel order, and the results do not change.
    std::mt19937 rng(404);
    for (unsigned channels : {5u, 17u, 33u, 40u}) {
        for (unsigned out = 0; out < channels; ++out) {
            Case fast = makeCase(rng, channels, 3, 2 * widest + 3, out);
            fast.sections[out * 3 + out % 3].setActive(false);
            Case ref = fast;
            runScalar(ref);
            runChannels(fast);
            ASSERT_TRUE(identical(fast, ref)) << channels << " channels, channel " << out << " inactive";
        }
        Case fast = makeCase(rng, channels, 2, 3 * widest + 1, channels);
        for (unsigned ch = 0; ch < channels; ch += 3) fast.sections[ch * 2 + 1].setActive(false);
        Case ref = fast;
        runScalar(ref);
        runChannels(fast);
        ASSERT_TRUE(identical(fast, ref)) << channels << " channels, every third inactive";
    }
}

TEST_P(BiquadVariants, SpecialValuesInSamplesAndMemory) {
    for (bool flush : {false, true}) {
        SCOPED_TRACE(flush ? "flush-to-zero" : "gradual underflow");
        std::mt19937 rng(505);
        for (unsigned channels : {4u, 8u, 16u, 24u, 37u}) {
            for (unsigned salt = 0; salt < 16; ++salt) {
                const unsigned n = 2 * widest + salt % 7;
                Case fast = makeCase(rng, channels, 2, n, salt);
                for (unsigned ch = 0; ch < channels; ++ch) {
                    for (unsigned i = 0; i < n; ++i)
                        if ((i + ch + salt) % 3 == 0) fast.channel(ch)[i] = kSpecials[(i + 5 * ch + salt) % 16];
                    // A few sections start from special memory as well.
                    if ((ch + salt) % 4 == 0) {
                        Biquad& b = fast.sections[ch * 2 + salt % 2];
                        BiquadTestAccess::setMemory(b, kSpecials[(ch + salt) % 16], kSpecials[(ch + 3) % 16],
                                                    kSpecials[(ch + 7 * salt) % 16], kSpecials[(salt + 11) % 16]);
                    }
                }
                Case ref = fast;
                if (flush) {
                    platform::ScopedFlushDenormals guard;
                    runScalar(ref);
                    runChannels(fast);
                } else {
                    runScalar(ref);
                    runChannels(fast);
                }
                ASSERT_TRUE(identical(fast, ref)) << channels << " channels, salt " << salt;
            }
        }
    }
}

TEST_P(BiquadVariants, SubnormalTailsDecayAlikeWithAndWithoutFlushing) {
    // Filter memory deep in the subnormal range and silence in: the recursion produces
    // subnormals (or flushes them) on every sample, the same way in every lane.
    for (bool flush : {false, true}) {
        std::mt19937 rng(606);
        Case fast = makeCase(rng, 40, 3, 3 * widest + 3, 1);
        for (unsigned ch = 0; ch < 40; ++ch) {
            for (unsigned i = 0; i < fast.n; ++i) fast.channel(ch)[i] = 0.0f;
            for (unsigned k = 0; k < 3; ++k)
                BiquadTestAccess::setMemory(fast.sections[ch * 3 + k], 3e-39f, -2e-39f, 1e-39f * float(ch + 1),
                                            -4e-40f);
        }
        Case ref = fast;
        if (flush) {
            platform::ScopedFlushDenormals guard;
            runScalar(ref);
            runChannels(fast);
        } else {
            runScalar(ref);
            runChannels(fast);
        }
        ASSERT_TRUE(identical(fast, ref)) << (flush ? "flushing" : "gradual underflow");
        // The check above is meaningful: without flushing, subnormal outputs did occur.
        if (!flush) {
            int subnormal = 0;
            for (unsigned ch = 0; ch < 40; ++ch)
                for (unsigned i = 0; i < fast.n; ++i) subnormal += std::fpclassify(fast.channel(ch)[i]) == FP_SUBNORMAL;
            EXPECT_GT(subnormal, 100);
        }
    }
}

TEST_P(BiquadVariants, SuccessiveBlocksOfEveryLengthContinueTheRecursion) {
    std::mt19937 rng(707);
    for (unsigned channels : {6u, 16u, 29u, 40u}) {
        const unsigned total = 40 * widest;
        Case whole = makeCase(rng, channels, 5, total, channels);
        Case blocks = whole;
        runScalar(whole);
        unsigned start = 0, len = 0;
        while (start < total) {
            const unsigned n = std::min(len, total - start);  // 0 .. widest + 3, a zero-length block included
            runChannels(blocks, start, n);
            start += n;
            len = (len + 1) % (widest + 4);
        }
        ASSERT_TRUE(identical(blocks, whole)) << channels << " channels";
    }
}

TEST_P(BiquadVariants, TheFilteringIsNotAnIdentity) {
    // A guard on the comparisons above: every lane width changes the samples it filters.
    std::mt19937 rng(808);
    Case c = makeCase(rng, 40, 2, 64, 0);
    const Case before = c;
    runChannels(c);
    for (unsigned ch = 0; ch < 40; ++ch) {
        int changed = 0;
        for (unsigned i = 0; i < 64; ++i) changed += bitsOf(c.channel(ch)[i]) != bitsOf(before.channel(ch)[i]);
        EXPECT_GT(changed, 50) << "channel " << ch;
    }
}

INSTANTIATE_TEST_SUITE_P(Biquad, BiquadVariants, ::testing::ValuesIn(machineSets()),
                         [](const ::testing::TestParamInfo<eInstructionSet>& p) {
                             switch (p.param) {
                             case eInstructionSet::kSSE2: return std::string("SSE2");
                             case eInstructionSet::kAVX2: return std::string("AVX2");
                             case eInstructionSet::kAVX512: return std::string("AVX512");
                             }
                             return std::string("Unknown");
                         });

TEST(BiquadInstructionSets, EachSetGroupsByItsWidestVectorsThenNarrower) {
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512}) {
        if (!BC::isInstructionSetSupported(s)) {
            const eInstructionSet before = BC::getInstructionSet();
            EXPECT_FALSE(BC::setInstructionSet(s));
            EXPECT_EQ(BC::getInstructionSet(), before);
            continue;
        }
        ASSERT_TRUE(BC::setInstructionSet(s));
        EXPECT_EQ(BC::getInstructionSet(), s);
        unsigned widths[3] = {0, 0, 0};
        const unsigned count = BC::laneWidths(widths);
#if defined(__x86_64__)
        const std::vector<unsigned> want = s == eInstructionSet::kAVX512 ? std::vector<unsigned>{16, 8, 4}
                                           : s == eInstructionSet::kAVX2 ? std::vector<unsigned>{8, 4}
                                                                         : std::vector<unsigned>{4};
        EXPECT_EQ(std::vector<unsigned>(widths, widths + count), want) << Aud::Cpu::name(s);
#else
        EXPECT_EQ(count, 0u);
#endif
    }
    BC::selectBestInstructionSet();
    EXPECT_EQ(BC::getInstructionSet(), Aud::Cpu::widest());
}

}  // namespace
