// The packed 24-bit conversions behind SampleConvert::toFloat / fromFloat (type 2) on
// every instruction set this machine runs, against the scalar reference, bit for bit
// and byte for byte: every count from 0 to 80 at every byte misalignment of source and
// destination, guard bytes around the destination, every 24-bit value, every float that
// lies on or next to a step of the 24-bit grid, the clamp edges, NaNs, infinities,
// subnormals and a sweep through all float bit patterns.
#include "AudAtoms/buffers/Aud__SampleConvert.h"
#include "AudAtoms/buffers/Aud__SampleConvert_testing.h"

#include "tests/support/BitCompare.h"
#include "tests/support/SaltedSamples.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace P24 = Aud::SampleConvert::Packed24;
using audatoms::test::bitsOf;
using audatoms::test::floatFromBits;

namespace {

constexpr unsigned char kGuardByte = 0xA5;
constexpr std::size_t kGuard = 64;

std::vector<const P24::Kernels*> vectorSets() {
    std::vector<const P24::Kernels*> sets;
    if (const P24::Kernels* k = P24::avx2Kernels()) sets.push_back(k);
    return sets;
}

// Runs fromFloat of one table into a guarded buffer at byte offset `misalign`.
std::vector<unsigned char> fromFloatGuarded(const P24::Kernels& k, const float* x, unsigned n, unsigned misalign) {
    std::vector<unsigned char> out(kGuard + misalign + std::size_t(n) * 3 + kGuard, kGuardByte);
    k.fromFloat(x, n, out.data() + kGuard + misalign);
    return out;
}

TEST(SampleConvertPacked24, TheActiveTableIsAvx2WhereTheCpuHasIt) {
    EXPECT_STREQ(P24::referenceKernels().name, "scalar");
    EXPECT_STREQ(P24::activeKernels().name, P24::avx2Kernels() ? "avx2" : "scalar");
}

TEST(SampleConvertPacked24, EveryCountAndMisalignmentReadsAsTheReference) {
    audatoms::test::SaltedRng rng{24};
    for (const P24::Kernels* k : vectorSets())
        for (unsigned n = 0; n <= 80; ++n)
            for (unsigned misalign = 0; misalign < 4; ++misalign) {
                // The source ends exactly at the end of its buffer, so an over-read is
                // caught by the address sanitizer.
                std::vector<unsigned char> src(misalign + std::size_t(n) * 3);
                for (unsigned char& b : src) b = static_cast<unsigned char>(rng.next());
                const unsigned char* s = src.data() + misalign;
                std::vector<float> want(n + 2 * kGuard, floatFromBits(audatoms::test::kCanaryBits));
                std::vector<float> got = want;
                P24::referenceKernels().toFloat(s, n, want.data() + kGuard);
                k->toFloat(s, n, got.data() + kGuard);
                ASSERT_TRUE(audatoms::test::sameBits(got, want)) << k->name << " n " << n << " misalign " << misalign;
            }
}

TEST(SampleConvertPacked24, EveryCountAndMisalignmentWritesAsTheReferenceAndNoMore) {
    audatoms::test::SaltedRng rng{42};
    for (const P24::Kernels* k : vectorSets())
        for (unsigned n = 0; n <= 80; ++n)
            for (unsigned misalign = 0; misalign < 4; ++misalign) {
                std::vector<float> storage(n + 4);
                float* x = storage.data() + misalign;  // floats at every 4-byte phase of 16
                for (unsigned i = 0; i < n; ++i) x[i] = rng.sample();
                const std::vector<unsigned char> want = fromFloatGuarded(P24::referenceKernels(), x, n, misalign);
                const std::vector<unsigned char> got = fromFloatGuarded(*k, x, n, misalign);
                ASSERT_EQ(got, want) << k->name << " n " << n << " misalign " << misalign;
                for (std::size_t b = 0; b < kGuard + misalign; ++b) ASSERT_EQ(got[b], kGuardByte);
                for (std::size_t b = kGuard + misalign + std::size_t(n) * 3; b < got.size(); ++b)
                    ASSERT_EQ(got[b], kGuardByte) << "written past the end, n " << n;
            }
}

TEST(SampleConvertPacked24, EveryValueAndItsGridNeighboursConvertAsTheReference) {
    constexpr unsigned kValues = 1u << 24;
    std::vector<unsigned char> packed(std::size_t(kValues) * 3);
    for (std::uint32_t v = 0; v < kValues; ++v) {
        packed[std::size_t(v) * 3] = static_cast<unsigned char>(v);
        packed[std::size_t(v) * 3 + 1] = static_cast<unsigned char>(v >> 8);
        packed[std::size_t(v) * 3 + 2] = static_cast<unsigned char>(v >> 16);
    }
    std::vector<float> want(kValues), got(kValues);
    P24::referenceKernels().toFloat(packed.data(), kValues, want.data());
    for (const P24::Kernels* k : vectorSets()) {
        k->toFloat(packed.data(), kValues, got.data());
        ASSERT_TRUE(audatoms::test::sameBits(got, want)) << k->name;
        // Every value survives the round trip, and so do the floats just above and just
        // below each grid step (where truncation changes its answer).
        std::vector<unsigned char> back(packed.size());
        k->fromFloat(got.data(), kValues, back.data());
        ASSERT_EQ(back, packed) << k->name;
        std::vector<unsigned char> wantBytes(packed.size());
        for (float direction : {2.0f, -2.0f}) {
            std::vector<float> near(kValues);
            for (std::uint32_t v = 0; v < kValues; ++v) near[v] = std::nextafter(want[v], direction);
            P24::referenceKernels().fromFloat(near.data(), kValues, wantBytes.data());
            k->fromFloat(near.data(), kValues, back.data());
            ASSERT_EQ(back, wantBytes) << k->name << " toward " << direction;
        }
    }
}

TEST(SampleConvertPacked24, ClampEdgesAndSpecialValuesWriteAsTheRule) {
    const float kInf = std::numeric_limits<float>::infinity();
    const std::vector<float> x = {0.9999999f,
                                  std::nextafter(0.9999999f, 2.0f),
                                  std::nextafter(0.9999999f, 0.0f),
                                  1.0f,
                                  -1.0f,
                                  std::nextafter(-1.0f, -2.0f),
                                  std::nextafter(-1.0f, 0.0f),
                                  0.0f,
                                  -0.0f,
                                  std::numeric_limits<float>::quiet_NaN(),
                                  floatFromBits(0xFFC00001u),
                                  kInf,
                                  -kInf,
                                  std::numeric_limits<float>::max(),
                                  -std::numeric_limits<float>::max(),
                                  std::numeric_limits<float>::denorm_min(),
                                  -1e-40f,
                                  0.5f};
    // The rule: above 0.9999999 -> 0x7FFFFF, below -1 -> -0x800000, NaN -> 0.
    const std::int32_t rule[] = {0x7FFFFF, 0x7FFFFF, 0x7FFFFE, 0x7FFFFF,  -0x800000, -0x800000, -0x7FFFFF, 0, 0,
                                 0,        0,        0x7FFFFF, -0x800000, 0x7FFFFF,  -0x800000, 0,         0, 0x400000};
    std::vector<const P24::Kernels*> sets = vectorSets();
    sets.push_back(&P24::referenceKernels());
    for (const P24::Kernels* k : sets) {
        std::vector<unsigned char> out(x.size() * 3);
        k->fromFloat(x.data(), unsigned(x.size()), out.data());
        for (std::size_t i = 0; i < x.size(); ++i) {
            const std::int32_t v = std::int32_t((std::uint32_t(out[i * 3]) | std::uint32_t(out[i * 3 + 1]) << 8 |
                                                 std::uint32_t(out[i * 3 + 2]) << 16)
                                                << 8) >>
                                   8;
            EXPECT_EQ(v, rule[i]) << k->name << " " << x[i];
        }
    }
}

TEST(SampleConvertPacked24, ASweepThroughAllFloatBitPatternsWritesAsTheReference) {
    constexpr std::uint32_t kStep = 61;  // prime: every exponent, sign and low-bit pattern comes up
    constexpr unsigned kBatch = 1u << 16;
    std::vector<float> x(kBatch);
    std::vector<unsigned char> want(std::size_t(kBatch) * 3), got(want.size());
    for (const P24::Kernels* k : vectorSets()) {
        std::uint64_t bits = 0;
        while (bits <= 0xFFFFFFFFu) {
            unsigned n = 0;
            for (; n < kBatch && bits <= 0xFFFFFFFFu; ++n, bits += kStep) x[n] = floatFromBits(std::uint32_t(bits));
            P24::referenceKernels().fromFloat(x.data(), n, want.data());
            k->fromFloat(x.data(), n, got.data());
            ASSERT_EQ(0, std::memcmp(got.data(), want.data(), std::size_t(n) * 3)) << k->name << " near " << bits;
        }
    }
}

TEST(SampleConvertPacked24, ThePublicCallsUseTheActiveTable) {
    // Forcing the reference and the default give the same bytes through the public calls.
    audatoms::test::SaltedRng rng{7};
    std::vector<float> x(1000);
    for (float& v : x) v = rng.sample();
    std::vector<unsigned char> a(3000), b(3000);
    ASSERT_TRUE(Aud::SampleConvert::fromFloat(2, x.data(), 1000, a.data()));
    P24::forceKernels(&P24::referenceKernels());
    ASSERT_TRUE(Aud::SampleConvert::fromFloat(2, x.data(), 1000, b.data()));
    std::vector<float> fa(1000), fb(1000);
    ASSERT_TRUE(Aud::SampleConvert::toFloat(2, a.data(), 1000, fb.data()));
    P24::forceKernels(nullptr);
    ASSERT_TRUE(Aud::SampleConvert::toFloat(2, a.data(), 1000, fa.data()));
    EXPECT_EQ(a, b);
    EXPECT_TRUE(audatoms::test::sameBits(fa, fb));
}

}  // namespace
