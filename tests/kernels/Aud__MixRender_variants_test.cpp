// Every vectorised kernel against its scalar reference, bit for bit, on every
// instruction set this machine runs: all counts 0..67 and some larger ones, every source
// and destination misalignment of 0 to 3 floats, in place and out of place, over buffers
// salted with NaN, infinities, signed zeros, subnormals and huge values. Words around
// each buffer are checked for stray writes.
//
// Equality is of the bit pattern, except that any NaN equals any NaN: which NaN payload
// survives an operation on two NaNs depends on operand order, which the compiler may swap
// for a commutative multiply or add.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__MixRender_testing.h"
#include "tests/support/BitCompare.h"
#include "tests/support/SaltedSamples.h"
#include "tests/support/CpuFamily.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
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

constexpr std::size_t kGuard = audatoms::test::kGuardFloats;
constexpr std::uint32_t kCanary = audatoms::test::kCanaryBits;

// A buffer of n floats at a chosen misalignment (in floats) from a 64-byte boundary,
// with canary words around it.
struct Buffer {
    std::vector<float> storage;
    std::size_t offset, n;
    Buffer(std::size_t n_, unsigned misalign) : storage(n_ + 2 * kGuard + 32), n(n_) {
        const auto base = reinterpret_cast<std::uintptr_t>(storage.data());
        const std::size_t toAlign = ((64 - base % 64) % 64) / sizeof(float);
        offset = toAlign + kGuard + misalign;
        for (float& f : storage) f = floatFromBits(kCanary);
    }
    float* data() { return storage.data() + offset; }
    bool guardsIntact() const {
        for (std::size_t i = 0; i < storage.size(); ++i)
            if ((i < offset || i >= offset + n) && bitsOf(storage[i]) != kCanary) return false;
        return true;
    }
};

// The buffers of one call: the source and up to two destinations, each placed by its
// own misalignment, or aliased to one another for in-place calls.
enum class Alias { kNone, kSrcIsDst1, kSrcIsDst2, kDst1IsDst2 };

struct Layout {
    std::size_t n;
    unsigned misSrc, misDst;
    Alias alias;
};

struct World {
    Buffer src, dst1, dst2;
    float peak = 0;
    float *s, *d1, *d2;
    World(const Layout& st, Rng& rng) : src(st.n, st.misSrc), dst1(st.n, st.misDst), dst2(st.n, (st.misDst + 1) % 4) {
        for (Buffer* b : {&src, &dst1, &dst2})
            for (std::size_t i = 0; i < st.n; ++i) b->data()[i] = rng.sample();
        s = src.data();
        d1 = dst1.data();
        d2 = dst2.data();
        if (st.alias == Alias::kSrcIsDst1) d1 = s;
        if (st.alias == Alias::kSrcIsDst2) d2 = s;
        if (st.alias == Alias::kDst1IsDst2) d2 = d1;
    }
};

// a and b: the gain, level or start and the second gain or delta; first: the run index
// of the first sample (ramps from a run's start only).
using Call = void (*)(bool reference, World& w, unsigned count, float a, float b, unsigned first);

struct Kernel {
    const char* name;
    Call call;
    bool twoDestinations;
    bool peak;
};

#define AUD_PICK(fn) (reference ? Reference::fn : fn)
const Kernel kKernels[] = {
    {"PeakScan",
     [](bool reference, World& w, unsigned c, float, float, unsigned) {
         const auto scan = AUD_PICK(PeakScan);
         scan(w.s, c, &w.peak);
     },
     false, true},
    {"MultiplyConstant",
     [](bool reference, World& w, unsigned c, float a, float, unsigned) {
         AUD_PICK(MultiplyConstant)(w.s, w.d1, c, a);
     },
     false, false},
    {"MultiplyConstantWithPrePeakScan",
     [](bool reference, World& w, unsigned c, float a, float, unsigned) {
         AUD_PICK(MultiplyConstantWithPrePeakScan)(w.s, w.d1, c, a, &w.peak);
     },
     false, true},
    {"MultiplyWithDelta",
     [](bool reference, World& w, unsigned c, float a, float b, unsigned) {
         AUD_PICK(MultiplyWithDelta)(w.s, w.d1, c, a, b);
     },
     false, false},
    {"Add",
     [](bool reference, World& w, unsigned c, float, float, unsigned) {
         AUD_PICK(Add)
         (w.s, w.d1, c);
     },
     false, false},
    {"MultiplyConstantAndAdd",
     [](bool reference, World& w, unsigned c, float a, float, unsigned) {
         AUD_PICK(MultiplyConstantAndAdd)(w.s, w.d1, c, a);
     },
     false, false},
    {"MultiplyConstantAndAdd2",
     [](bool reference, World& w, unsigned c, float a, float b, unsigned) {
         AUD_PICK(MultiplyConstantAndAdd2)(w.s, w.d1, w.d2, c, a, b);
     },
     true, false},
    {"MultiplyConstantAndAdd2 equal gains",
     [](bool reference, World& w, unsigned c, float a, float, unsigned) {
         AUD_PICK(MultiplyConstantAndAdd2)(w.s, w.d1, w.d2, c, a, a);
     },
     true, false},
    {"MultiplyConstantAndAddWithPrePeakScan",
     [](bool reference, World& w, unsigned c, float a, float, unsigned) {
         AUD_PICK(MultiplyConstantAndAddWithPrePeakScan)(w.s, w.d1, c, a, &w.peak);
     },
     false, true},
    {"MultiplyWithDeltaAndAdd",
     [](bool reference, World& w, unsigned c, float a, float b, unsigned) {
         AUD_PICK(MultiplyWithDeltaAndAdd)(w.s, w.d1, c, a, b);
     },
     false, false},
    {"MultiplyWithRampFrom",
     [](bool reference, World& w, unsigned c, float a, float b, unsigned first) {
         AUD_PICK(MultiplyWithRampFrom)(w.s, w.d1, c, a, b, first);
     },
     false, false},
    {"MultiplyWithRampFromAndAdd",
     [](bool reference, World& w, unsigned c, float a, float b, unsigned first) {
         AUD_PICK(MultiplyWithRampFromAndAdd)(w.s, w.d1, c, a, b, first);
     },
     false, false},
};
#undef AUD_PICK

// Gains, levels, deltas and incoming peaks: ordinary values, the short-cut values, and
// values that overflow, underflow or poison.
const float kFirstArgs[] = {0.7f, -1.3f, 1.0f, 0.0f, -0.0f, 1e-30f, 3e38f, kNaN, -kInf};
const float kSecondArgs[] = {0.0015f, -0.25f, 0.0f, -0.0f, 1e-42f, kNaN, 0.7f};
const float kPeaks[] = {0.0f, -0.0f, 0.5f, -1.0f, kNaN, kInf};
// Run indices of a ramp's first sample: small, around 2^24 (where floats stop holding
// every integer), around 2^31 (where a signed conversion would turn negative) and just
// below 2^32 (where the index wraps within the call).
const unsigned kFirsts[] = {0u,        1u,          3u,          1000u,       16777213u,
                            16777217u, 2147483643u, 2147483651u, 4294967290u, 4294967295u};

std::vector<unsigned> counts() {
    std::vector<unsigned> c;
    for (unsigned i = 0; i <= 67; ++i) c.push_back(i);
    for (unsigned i : {100u, 127u, 256u, 511u, 512u, 1023u, 4096u}) c.push_back(i);  // 512: the long peak scan
    return c;
}

std::vector<eInstructionSet> machineSets() {
    std::vector<eInstructionSet> sets;
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512})
        if (isInstructionSetSupported(s)) sets.push_back(s);
    return sets;
}

class Variants : public ::testing::TestWithParam<eInstructionSet> {
protected:
    void SetUp() override { ASSERT_TRUE(setInstructionSet(GetParam())); }
    void TearDown() override { selectBestInstructionSet(); }
};

// Runs one kernel on one set-up both ways and compares every word of every buffer.
void compareOnce(const Kernel& k, const Layout& st, unsigned count, float a, float b, float peakIn, std::uint64_t seed,
                 int& failures, unsigned first = 0) {
    Rng r1{seed}, r2{seed};
    World fast(st, r1), ref(st, r2);
    fast.peak = ref.peak = peakIn;
    k.call(false, fast, count, a, b, first);
    k.call(true, ref, count, a, b, first);
    auto fail = [&](const std::string& what) {
        if (++failures <= 10)
            ADD_FAILURE() << k.name << " " << what << " count=" << count << " misSrc=" << st.misSrc
                          << " misDst=" << st.misDst << " alias=" << static_cast<int>(st.alias) << " a=" << a
                          << " b=" << b << " peakIn=" << peakIn << " first=" << first;
    };
    auto words = [&](Buffer& buf) { return std::span<const float>(buf.data(), st.n); };
    if (auto r = sameBits(words(fast.src), words(ref.src)); !r) return fail(std::string("src: ") + r.message());
    if (auto r = sameBits(words(fast.dst1), words(ref.dst1)); !r) return fail(std::string("dst1: ") + r.message());
    if (auto r = sameBits(words(fast.dst2), words(ref.dst2)); !r) return fail(std::string("dst2: ") + r.message());
    if (auto r = sameBits(fast.peak, ref.peak); !r) return fail(std::string("peak: ") + r.message());
    if (!fast.src.guardsIntact() || !fast.dst1.guardsIntact() || !fast.dst2.guardsIntact()) fail("stray write");
}

TEST_P(Variants, EveryKernelMatchesItsScalarReferenceBitForBit) {
    int failures = 0;
    std::uint64_t seed = 0x9E3779B97F4A7C15ull;
    long calls = 0;
    for (const Kernel& k : kKernels) {
        std::vector<Alias> aliases = {Alias::kNone, Alias::kSrcIsDst1};
        if (k.twoDestinations) {
            aliases.push_back(Alias::kSrcIsDst2);
            aliases.push_back(Alias::kDst1IsDst2);
        }
        for (unsigned count : counts()) {
            const Layout base{count * 4u, 0, 0, Alias::kNone};
            for (unsigned ms = 0; ms < 4; ++ms) {
                for (unsigned md = 0; md < 4; ++md) {
                    for (Alias al : aliases) {
                        if (al != Alias::kNone && (al != Alias::kDst1IsDst2 ? ms != md : false)) continue;
                        Layout st = base;
                        st.misSrc = ms;
                        st.misDst = md;
                        st.alias = al;
                        // All argument pairs on the small counts, a rotating few on the rest.
                        const bool all = count <= 5;
                        for (std::size_t ai = 0; ai < std::size(kFirstArgs); ++ai) {
                            for (std::size_t bi = 0; bi < std::size(kSecondArgs); ++bi) {
                                if (!all && (ai * 7 + bi + count + ms + md) % 9 != 0) continue;
                                const float peakIn = kPeaks[(ai + bi + count) % std::size(kPeaks)];
                                const unsigned first = kFirsts[(ai * 3 + bi + count + ms) % std::size(kFirsts)];
                                compareOnce(k, st, count, kFirstArgs[ai], kSecondArgs[bi], peakIn, ++seed, failures,
                                            first);
                                ++calls;
                            }
                        }
                    }
                }
            }
        }
    }
    EXPECT_EQ(failures, 0);
    EXPECT_GT(calls, 50000);
}

TEST_P(Variants, RampsFromAnyStartLevelKeepTheSerialChain) {
    // Long ramps with deltas that make level + k * delta differ from the serial sum.
    int failures = 0;
    std::uint64_t seed = 77;
    for (float level : {0.0f, -0.0f, 1e-3f, 0.999f, -2.5f, kNaN, kInf}) {
        for (float delta : {1e-7f, -3.3e-5f, 0.1f, 1e-45f, -0.0f, 0.0f}) {
            for (unsigned count : {1u, 2u, 3u, 4u, 5u, 17u, 33u, 1000u}) {
                for (unsigned m = 0; m < 4; ++m) {
                    const Layout apart{count * 4u, m, (m + 1) % 4, Alias::kNone};
                    compareOnce(kKernels[3], apart, count, level, delta, 0, ++seed, failures);
                    compareOnce(kKernels[9], apart, count, level, delta, 0, ++seed, failures);
                    const Layout inPlace{count * 4u, m, m, Alias::kSrcIsDst1};
                    compareOnce(kKernels[3], inPlace, count, level, delta, 0, ++seed, failures);
                    compareOnce(kKernels[9], inPlace, count, level, delta, 0, ++seed, failures);
                }
            }
        }
    }
    EXPECT_EQ(failures, 0);
}

TEST_P(Variants, RampsFromARunsStartMatchAtEveryIndexAndOffset) {
    // Every first index of the list with every length and both misalignments, long runs
    // with deltas of every size, in place and apart: the vector loops convert each index
    // and form each level exactly as the scalar loop does.
    int failures = 0;
    std::uint64_t seed = 4242;
    const Kernel& ramp = kKernels[10];
    const Kernel& rampAdd = kKernels[11];
    for (unsigned first : kFirsts) {
        for (float start : {0.0f, -0.0f, 1.0f, 0.25f, -3.5f, kNaN, -kInf}) {
            for (float delta : {1.0f / 48000.0f, -1.0f / 480.0f, 3e-9f, -0.0f, 0.0f, 1e-45f, kInf, 1e30f}) {
                for (unsigned count : {1u, 2u, 3u, 5u, 9u, 17u, 33u, 600u}) {
                    for (unsigned m = 0; m < 4; ++m) {
                        const Layout apart{count * 4u, m, (m + 3) % 4, Alias::kNone};
                        compareOnce(ramp, apart, count, start, delta, 0, ++seed, failures, first + m);
                        compareOnce(rampAdd, apart, count, start, delta, 0, ++seed, failures, first - m);
                        const Layout inPlace{count * 4u, m, m, Alias::kSrcIsDst1};
                        compareOnce(ramp, inPlace, count, start, delta, 0, ++seed, failures, first + 7 * m);
                        compareOnce(rampAdd, inPlace, count, start, delta, 0, ++seed, failures, first);
                    }
                }
            }
        }
    }
    EXPECT_EQ(failures, 0);
}

TEST_P(Variants, PeakOfLongBuffersWithTheLoudestSampleAnywhere) {
    // The maximum placed at every position of a buffer of 3 vectors' worth, among NaNs.
    for (unsigned mis = 0; mis < 4; ++mis) {
        const std::size_t n = 4 * 37;
        Buffer b(n, mis);
        for (std::size_t pos = 0; pos < n; ++pos) {
            for (std::size_t i = 0; i < n; ++i) b.data()[i] = (i % 5 == 0) ? kNaN : -0.25f;
            b.data()[pos] = -0.875f;
            float fastPeak = 0.5f, refPeak = 0.5f;
            PeakScan(b.data(), n / 4, &fastPeak);
            Reference::PeakScan(b.data(), n / 4, &refPeak);
            ASSERT_EQ(fastPeak, 0.875f) << pos << " " << mis;
            ASSERT_EQ(refPeak, 0.875f) << pos << " " << mis;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(MixRender, Variants, ::testing::ValuesIn(machineSets()),
                         [](const ::testing::TestParamInfo<eInstructionSet>& p) {
                             switch (p.param) {
                             case eInstructionSet::kSSE2: return std::string("SSE2");
                             case eInstructionSet::kAVX2: return std::string("AVX2");
                             case eInstructionSet::kAVX512: return std::string("AVX512");
                             }
                             return std::string("Unknown");
                         });

TEST(MixRenderInstructionSets, SelectionAndForcing) {
    EXPECT_TRUE(isInstructionSetSupported(eInstructionSet::kSSE2));
    selectBestInstructionSet();
    const eInstructionSet best = getInstructionSet();
    for (eInstructionSet s : machineSets()) EXPECT_LE(static_cast<int>(s), static_cast<int>(best));
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512}) {
        if (isInstructionSetSupported(s)) {
            EXPECT_TRUE(setInstructionSet(s));
            EXPECT_EQ(getInstructionSet(), s);
        } else {
            const eInstructionSet before = getInstructionSet();
            EXPECT_FALSE(setInstructionSet(s));
            EXPECT_EQ(getInstructionSet(), before);
        }
    }
    EXPECT_FALSE(setInstructionSet(static_cast<eInstructionSet>(7)));
    EXPECT_STREQ(getInstructionSetName(eInstructionSet::kSSE2), "SSE2");
    EXPECT_STREQ(getInstructionSetName(eInstructionSet::kAVX2), "AVX2");
    EXPECT_STREQ(getInstructionSetName(eInstructionSet::kAVX512), "AVX-512");
    selectBestInstructionSet();
    EXPECT_EQ(getInstructionSet(), best);
}

#if defined(__x86_64__)
TEST(MixRenderInstructionSets, ThePeakScanAndTheAddsRunAvx2WhereWideOperationsSplit) {
    selectBestInstructionSet();
    const bool split = isInstructionSetSupported(eInstructionSet::kAVX512) && audatoms::test::isAmdFamily19h();
    EXPECT_EQ(getInstructionSet(), machineSets().back());  // the widest, for the mix loops
    EXPECT_EQ(getPeakScanInstructionSet(), split ? eInstructionSet::kAVX2 : getInstructionSet());
    EXPECT_EQ(getAddInstructionSet(), split ? eInstructionSet::kAVX2 : getInstructionSet());
    // Forcing a set forces it for the peak scan and the adds too, and the first choice
    // comes back.
    for (eInstructionSet s : machineSets()) {
        ASSERT_TRUE(setInstructionSet(s));
        EXPECT_EQ(getPeakScanInstructionSet(), s);
        EXPECT_EQ(getAddInstructionSet(), s);
    }
    selectBestInstructionSet();
    EXPECT_EQ(getPeakScanInstructionSet(), split ? eInstructionSet::kAVX2 : getInstructionSet());
    EXPECT_EQ(getAddInstructionSet(), split ? eInstructionSet::kAVX2 : getInstructionSet());
    // The first choice gives the reference's peak, bit for bit, at every length and offset.
    std::vector<float> v(4 * 300 + 16);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = std::sin(float(i) * 0.37f) * float(i % 17);
    for (unsigned off = 0; off < 16; ++off)
        for (unsigned count = 0; count < 300; ++count) {
            float fast = 0.25f, ref = 0.25f;
            PeakScan(v.data() + off, count, &fast);
            Reference::PeakScan(v.data() + off, count, &ref);
            ASSERT_EQ(std::bit_cast<std::uint32_t>(fast), std::bit_cast<std::uint32_t>(ref)) << off << " " << count;
        }
    // And the adds give the reference's sums, at every length and destination offset.
    for (unsigned off = 0; off < 16; ++off)
        for (unsigned count = 0; count < 300; count += 1 + count / 40) {
            std::vector<float> a(v.size(), 0.5f), b = a, a2(v.size(), -0.25f), b2 = a2;
            Add(v.data(), a.data() + off, count);
            Reference::Add(v.data(), b.data() + off, count);
            MultiplyConstantAndAdd(v.data() + 1, a.data() + off, count, 0.3f);
            Reference::MultiplyConstantAndAdd(v.data() + 1, b.data() + off, count, 0.3f);
            MultiplyConstantAndAdd2(v.data() + 2, a.data() + off, a2.data() + off, count, 0.7f, -1.1f);
            Reference::MultiplyConstantAndAdd2(v.data() + 2, b.data() + off, b2.data() + off, count, 0.7f, -1.1f);
            ASSERT_TRUE(audatoms::test::sameBits(a, b)) << off << " " << count;
            ASSERT_TRUE(audatoms::test::sameBits(a2, b2)) << off << " " << count;
        }
}

TEST(MixRenderInstructionSets, ThisMachineRunsEveryVariantItAdvertises) {
    EXPECT_EQ(isInstructionSetSupported(eInstructionSet::kAVX2), __builtin_cpu_supports("avx2") != 0);
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    EXPECT_EQ(isInstructionSetSupported(eInstructionSet::kAVX512), avx512);
}
#endif

}  // namespace
