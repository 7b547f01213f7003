// The resampler's vector dot products (SSE2, AVX2, AVX-512) against the scalar reference,
// bit for bit: the kernels alone on random data of many lengths, and whole conversions
// with each table forced. Tables this CPU cannot run are skipped (and say so).
#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include "tests/support/CpuFamily.h"
#include "tests/support/ResamplerSignals.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using Aud::Resampler;
namespace K = Aud::ResamplerKernels;
using namespace audatoms::test;

namespace {

std::vector<const K::Kernels*> vectorTables() {
    std::vector<const K::Kernels*> v;
    for (const K::Kernels* k : {K::sse2Kernels(), K::avx2Kernels(), K::avx512Kernels()})
        if (k != nullptr) v.push_back(k);
    return v;
}

std::vector<double> randomDoubles(std::size_t n, std::uint64_t seed) {
    const std::vector<float> f = makeNoise(n, 1.0, seed);
    std::vector<double> d(n);
    for (std::size_t i = 0; i < n; ++i) d[i] = double(f[i]) * (1.0 + double(f[(i * 7) % n]) * 1e-3);
    return d;
}

struct ForceGuard {
    ~ForceGuard() { K::forceKernels(nullptr); }
};

}  // namespace

TEST(ResamplerVariants, DotProductsEqualTheReferenceBitForBit) {
    const auto tables = vectorTables();
    if (tables.empty()) GTEST_SKIP() << "no vector kernels on this machine";
    for (unsigned n = 8; n <= 1024; n += 8) {
        const auto c = randomDoubles(n, n);
        const auto x = randomDoubles(n, n + 1000);
        const double want = K::referenceKernels().dot(c.data(), x.data(), n);
        for (const K::Kernels* k : tables) {
            const double got = k->dot(c.data(), x.data(), n);
            EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0) << k->name << " n=" << n;
        }
    }
}

TEST(ResamplerVariants, WholeConversionsEqualTheReferenceBitForBit) {
    ForceGuard guard;
    const std::vector<float> in = makeNoise(30000, 0.8, 99);
    const Aud::SampleRate pulled(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001);
    struct Conv {
        Aud::SampleRate from, to;
    };
    const Conv convs[] = {{Aud::SampleRate(Aud::keBaseSampleRate44100), Aud::SampleRate(Aud::keBaseSampleRate48000)},
                          {Aud::SampleRate(Aud::keBaseSampleRate44100), pulled}};
    for (const Conv& cv : convs) {
        K::forceKernels(&K::referenceKernels());
        Resampler ref(cv.from, cv.to, 1);
        const auto want = resampleAll(ref, in);
        for (const K::Kernels* k : vectorTables()) {
            K::forceKernels(k);
            Resampler r(cv.from, cv.to, 1);
            const auto got = resampleAll(r, in);
            ASSERT_EQ(got.size(), want.size());
            EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof(float)), 0) << k->name;
        }
    }
    K::forceKernels(nullptr);
    EXPECT_NE(K::activeKernels().name, nullptr);
}

// The first choice: the widest set, except AVX2 on CPUs that split 512-bit operations
// (there its loops measure faster); forcing and un-forcing leave it as it was.
TEST(ResamplerVariants, SelectsAvx2WhereWideOperationsSplit) {
    K::forceKernels(nullptr);
    const K::Kernels* expected = K::avx512Kernels();
    if (expected == nullptr || audatoms::test::isAmdFamily19h()) expected = K::avx2Kernels();
    if (expected == nullptr) expected = K::sse2Kernels();
    if (expected == nullptr) expected = &K::referenceKernels();
    EXPECT_EQ(&K::activeKernels(), expected) << K::activeKernels().name;
    K::forceKernels(&K::referenceKernels());
    EXPECT_EQ(&K::activeKernels(), &K::referenceKernels());
    K::forceKernels(nullptr);
    EXPECT_EQ(&K::activeKernels(), expected);
}

TEST(ResamplerVariants, BatchedDotProductsEqualSingleOnesBitForBit) {
    std::vector<const K::Kernels*> tables = vectorTables();
    tables.push_back(&K::referenceKernels());
    const unsigned n = 240;
    std::vector<std::vector<double>> cs, xs;
    for (unsigned k = 0; k < 8; ++k) {
        cs.push_back(randomDoubles(n, 10 + k));
        xs.push_back(randomDoubles(n, 20 + k));
    }
    const double* cp[8];
    const double* xp[8];
    for (unsigned k = 0; k < 8; ++k) {
        cp[k] = cs[k].data();
        xp[k] = xs[k].data();
    }
    for (const K::Kernels* t : tables) {
        for (unsigned count = 1; count <= 8; ++count) {
            double got[8];
            t->dots(cp, xp, count, n, got);
            for (unsigned k = 0; k < count; ++k) {
                const double want = K::referenceKernels().dot(cp[k], xp[k], n);
                EXPECT_EQ(std::memcmp(&got[k], &want, sizeof want), 0) << t->name << " count " << count << " k " << k;
            }
        }
    }
}
