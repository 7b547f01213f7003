// The 32-bit integer export (sample type 6) of every kernel table the CPU runs (generic
// scalar, SSE2, AVX2, AVX-512, AVX-512 VBMI) against the definition, exportInt32, for
// every one of the 2^32 inputs, bit for bit. The definition divides in double precision
// and rounds through single precision; the tables use an exact reformulation without
// division (see int32RoundTrip in AudAtoms/internal/SimdSse2.h), so this is the proof
// that the two agree. The inputs are cut into blocks shared out among the processors.
// Under a sanitizer (roughly ten times slower) the blocks are sampled instead: every
// value near each power of two and near the carry values, and every 61st block.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using namespace Aud::SampleManip;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(undefined_behavior_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

constexpr unsigned kBlockBits = 16;
constexpr std::uint32_t kBlock = 1u << kBlockBits;
constexpr std::uint32_t kBlocks = std::uint32_t((std::uint64_t(1) << 32) >> kBlockBits);

std::vector<const Kernels*> tables() {
    std::vector<const Kernels*> v{&genericKernels()};
    for (const Kernels* k : {sse2Kernels(), avx2Kernels(), avx512Kernels(), avx512VbmiKernels()})
        if (k) v.push_back(k);
    return v;
}

// The first difference in block b (inputs b * kBlock ...), or an empty string.
std::string checkBlock(std::uint32_t b, const std::vector<const Kernels*>& ks, std::vector<std::int32_t>& in,
                       std::vector<std::int32_t>& want, std::vector<std::int32_t>& got) {
    for (std::uint32_t i = 0; i < kBlock; ++i) in[i] = std::int32_t((b << kBlockBits) + i);
    const unsigned char* plane = reinterpret_cast<const unsigned char*>(in.data());
    referenceKernels().exportPlanar[6](&plane, 1, kBlock, reinterpret_cast<unsigned char*>(want.data()));
    for (const Kernels* k : ks) {
        k->exportPlanar[6](&plane, 1, kBlock, reinterpret_cast<unsigned char*>(got.data()));
        if (std::memcmp(want.data(), got.data(), kBlock * 4) != 0)
            for (std::uint32_t i = 0; i < kBlock; ++i)
                if (want[i] != got[i])
                    return std::string(k->name) + ": input " + std::to_string(in[i]) + " gives " +
                           std::to_string(got[i]) + ", the definition " + std::to_string(want[i]);
    }
    return {};
}

bool sampledBlock(std::uint32_t b) {
    if (b % 61 == 0) return true;
    // Blocks holding a power of two, its negative, or a carry value, and their neighbours.
    for (int p = 0; p < 32; ++p)
        for (std::uint32_t v : {std::uint32_t(1) << p, std::uint32_t(0) - (std::uint32_t(1) << p)}) {
            const std::uint32_t vb = v >> kBlockBits;
            if (b + 1 >= vb && b <= vb + 1) return true;
        }
    for (std::uint32_t v : {0x7FFFFEBFu, 0x7FFFFFBFu, 0x80000140u, 0x80000040u})
        if ((v >> kBlockBits) == b) return true;
    return false;
}

}  // namespace

TEST(SampleKernelsInt32, EveryInputMatchesTheDefinitionInEveryTable) {
    const std::vector<const Kernels*> ks = tables();
    std::atomic<std::uint32_t> next{0};
    std::atomic<bool> failed{false};
    const unsigned workers = std::max(1u, std::min(8u, std::thread::hardware_concurrency()));
    std::vector<std::thread> threads;
    std::vector<std::string> found(workers);
    for (unsigned w = 0; w < workers; ++w)
        threads.emplace_back([&, w] {
            std::vector<std::int32_t> in(kBlock), want(kBlock), got(kBlock);
            for (std::uint32_t b = next++; b < kBlocks && !failed; b = next++) {
                if (kSanitized && !sampledBlock(b)) continue;
                std::string f = checkBlock(b, ks, in, want, got);
                if (!f.empty()) {
                    found[w] = f;
                    failed = true;
                }
            }
        });
    for (auto& t : threads) t.join();
    for (const std::string& f : found) EXPECT_TRUE(f.empty()) << f;
    std::string names;
    for (const Kernels* k : ks) names += std::string(" ") + k->name;
    RecordProperty("tables", names);
}

TEST(SampleKernelsInt32, CarryValuesAndTiesByHand) {
    // The carry values (the double's rounding reaches the 32nd bit) and a tie on each
    // side: the definition's values, worked out by exportInt32 itself and written here.
    const std::int32_t in[] = {0x7FFFFEBF,
                               0x7FFFFFBF,
                               std::int32_t(0x80000140u),
                               std::int32_t(0x80000040u),
                               0x00800000,
                               0x00800001,
                               -0x00800001,
                               -0x00800002,
                               0,
                               -1,
                               1,
                               2147483647,
                               -2147483647 - 1};
    // Each value at every position of a block of 128 (vector bodies and scalar tails).
    std::vector<std::int32_t> block(128);
    for (std::int32_t s : in)
        for (unsigned at = 0; at < block.size(); ++at) {
            for (unsigned i = 0; i < block.size(); ++i) block[i] = std::int32_t(i * 2654435761u);
            block[at] = s;
            const unsigned char* plane = reinterpret_cast<const unsigned char*>(block.data());
            std::vector<std::int32_t> want(block.size()), got(block.size());
            referenceKernels().exportPlanar[6](&plane, 1, unsigned(block.size()),
                                               reinterpret_cast<unsigned char*>(want.data()));
            for (const Kernels* k : tables()) {
                k->exportPlanar[6](&plane, 1, unsigned(block.size()), reinterpret_cast<unsigned char*>(got.data()));
                ASSERT_EQ(got, want) << k->name << " input " << s << " at " << at;
            }
        }
    EXPECT_EQ(exportInt32(0x7FFFFEBF), 0x7FFFFEFF);
    EXPECT_EQ(exportInt32(0x7FFFFFBF), 0x7FFFFFFF);
    EXPECT_EQ(exportInt32(std::int32_t(0x80000140u)), std::int32_t(0x80000100u));
    EXPECT_EQ(exportInt32(std::int32_t(0x80000040u)), std::int32_t(0x80000000u));
    EXPECT_EQ(exportInt32(0x00800000), 0x00800000);  // a tie: the float rounds away from zero
    EXPECT_EQ(exportInt32(-0x00800001), -0x00800001);
}
