// The peak scans: hand-worked values of the scalar definition, and every vectorised
// table the CPU runs compared bit for bit with the scalar reference over every
// alignment offset, every short length and a few long ones, on data from a fixed-seed
// generator salted with extremes, NaN, infinities, signed zeros and subnormals.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__PeakScan_testing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace Aud;
using PeakScan::Kernels;

namespace {

const unsigned kStride[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};

std::uint32_t bits(float f) {
    std::uint32_t b;
    std::memcpy(&b, &f, 4);
    return b;
}

template <class T>
void put(std::vector<unsigned char>& buf, std::size_t at, T v) {
    std::memcpy(buf.data() + at, &v, sizeof v);
}

float ref(int type, const std::vector<unsigned char>& buf, unsigned count) {
    return PeakScan::referenceKernels().peak[type](buf.data(), count);
}

std::vector<const Kernels*> fastTables() {
    std::vector<const Kernels*> v;
    if (const Kernels* k = PeakScan::sse2Kernels()) v.push_back(k);
    if (const Kernels* k = PeakScan::avx2Kernels()) v.push_back(k);
    return v;
}

// Fills n samples of a type at `at` with random data salted with special values.
void fill(std::vector<unsigned char>& buf, std::size_t at, int type, unsigned n, std::mt19937& rng) {
    const float fspecial[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              0.0f,
                              -0.0f,
                              std::numeric_limits<float>::denorm_min(),
                              -1e-40f,
                              std::numeric_limits<float>::max(),
                              -1.0f,
                              0.99f};
    const double dspecial[] = {std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity(),
                               0.0,
                               -0.0,
                               4.9e-324,
                               -1e-310,
                               1e300,
                               -3.5e38,
                               3.4028235677973366e38};
    const std::uint32_t wspecial[] = {0x80000000u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0u,          0x00800000u,
                                      0x007FFFFFu, 0x0FFFFFF0u, 0x08000000u, 0xF7FFF000u, 0x00008000u};
    std::uniform_int_distribution<int> pick(0, 15);
    for (unsigned i = 0; i < n; ++i) {
        const std::size_t p = at + std::size_t(i) * kStride[type];
        const bool special = pick(rng) == 0;
        const int s = pick(rng) % 10;
        if (type == 0) {
            const float v = special ? fspecial[s] : std::uniform_real_distribution<float>(-1.5f, 1.5f)(rng);
            put(buf, p, v);
        } else if (type == 7) {
            const double v = special ? dspecial[s] : std::uniform_real_distribution<double>(-1.5, 1.5)(rng);
            put(buf, p, v);
        } else {
            for (unsigned b = 0; b < kStride[type]; ++b) buf[p + b] = static_cast<unsigned char>(rng());
            if (special) {
                const std::uint32_t w = wspecial[s];
                for (unsigned b = 0; b < kStride[type]; ++b) buf[p + b] = static_cast<unsigned char>(w >> (8 * b));
            }
        }
    }
}

}  // namespace

// ---- the scalar definition, worked by hand -----------------------------------------

TEST(PeakScanReference, Int16) {
    std::vector<unsigned char> b(6);
    put<std::int16_t>(b, 0, 100);
    put<std::int16_t>(b, 2, -32768);  // 1.0
    put<std::int16_t>(b, 4, 5);
    EXPECT_EQ(ref(1, b, 3), 1.0f);
    put<std::int16_t>(b, 2, 32440);  // 32440 / 32768 = 0.989990234375
    EXPECT_EQ(ref(1, b, 3), 0.989990234375f);
    put<std::int16_t>(b, 2, 32767);
    EXPECT_EQ(ref(1, b, 3), 32767.0f / 32768.0f);
    EXPECT_EQ(ref(1, b, 1), 100.0f / 32768.0f);
    EXPECT_EQ(ref(1, b, 0), 0.0f);
}

TEST(PeakScanReference, Float32ClearsTheSignAndIgnoresNaN) {
    std::vector<unsigned char> b(16);
    put(b, 0, -0.75f);
    put(b, 4, std::numeric_limits<float>::quiet_NaN());
    put(b, 8, 0.5f);
    put(b, 12, -0.0f);
    EXPECT_EQ(ref(0, b, 4), 0.75f);
    put(b, 8, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(ref(0, b, 4), std::numeric_limits<float>::infinity());
    put(b, 0, std::numeric_limits<float>::quiet_NaN());
    put(b, 8, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(bits(ref(0, b, 4)), 0u);  // NaN and -0 only: +0
}

TEST(PeakScanReference, Packed24) {
    const std::vector<unsigned char> b = {0x00, 0x00, 0x80,   // -8388608 -> 1.0
                                          0xFF, 0xFF, 0x7F,   // 8388607
                                          0x01, 0x00, 0x00};  // 1
    EXPECT_EQ(ref(2, b, 3), 1.0f);
    EXPECT_EQ(ref(2, std::vector<unsigned char>(b.begin() + 3, b.end()), 2), 8388607.0f / 8388608.0f);
    EXPECT_EQ(ref(2, std::vector<unsigned char>(b.begin() + 6, b.end()), 1), 1.0f / 8388608.0f);
}

TEST(PeakScanReference, EightBit) {
    EXPECT_EQ(ref(3, {0x80, 0x10}, 2), 1.0f);             // -128 / 128
    EXPECT_EQ(ref(3, {0x7F, 0xF0}, 2), 127.0f / 128.0f);  // 127 and -16
    EXPECT_EQ(ref(4, {128, 128, 128}, 3), 0.0f);          // all silence
    EXPECT_EQ(ref(4, {0, 128}, 2), 1.0f);                 // 0 - 128
    EXPECT_EQ(ref(4, {255, 120}, 2), 127.0f / 128.0f);
}

TEST(PeakScanReference, Padded24IgnoresTheTopByte) {
    std::vector<unsigned char> b(8);
    put<std::uint32_t>(b, 0, 0x12800000u);  // low three bytes 0x800000 = -8388608
    put<std::uint32_t>(b, 4, 0xFF000010u);  // 16
    EXPECT_EQ(ref(5, b, 2), 1.0f);
    put<std::uint32_t>(b, 0, 0x7F400000u);  // 0x400000 = 4194304 -> 0.5
    EXPECT_EQ(ref(5, b, 2), 0.5f);
}

TEST(PeakScanReference, Int32) {
    std::vector<unsigned char> b(4);
    put<std::int32_t>(b, 0, std::numeric_limits<std::int32_t>::min());  // (-2^31 + 0.5) / (2^31 - 0.5) = -1
    EXPECT_EQ(ref(6, b, 1), 1.0f);
    put<std::int32_t>(b, 0, std::numeric_limits<std::int32_t>::max());  // (2^31 - 0.5) / (2^31 - 0.5) = 1
    EXPECT_EQ(ref(6, b, 1), 1.0f);
    put<std::int32_t>(b, 0, 0);  // 0.5 / 2147483647.5
    EXPECT_EQ(ref(6, b, 1), float(0.5 / 2147483647.5));
    put<std::int32_t>(b, 0, -1);  // -0.5 / 2147483647.5: the same magnitude
    EXPECT_EQ(ref(6, b, 1), float(0.5 / 2147483647.5));
    put<std::int32_t>(b, 0, 1073741824);  // (2^30 + 0.5) / (2^31 - 0.5)
    EXPECT_EQ(ref(6, b, 1), float(1073741824.5 / 2147483647.5));
}

TEST(PeakScanReference, Float64IsNarrowed) {
    std::vector<unsigned char> b(16);
    put(b, 0, -0.25);
    put(b, 8, 0.1);
    EXPECT_EQ(ref(7, b, 2), 0.25f);
    EXPECT_EQ(ref(7, std::vector<unsigned char>(b.begin() + 8, b.end()), 1), float(0.1));
    put(b, 8, 1e300);
    EXPECT_EQ(ref(7, b, 2), std::numeric_limits<float>::infinity());
}

TEST(PeakScanReference, AesSubframeWords) {
    std::vector<unsigned char> b(8);
    put<std::uint32_t>(b, 0, 0x08000000u);  // bits 12..27 = 0x8000 = -32768 -> 1.0
    put<std::uint32_t>(b, 4, 0x00001000u);  // 1
    EXPECT_EQ(ref(8, b, 2), 1.0f);
    put<std::uint32_t>(b, 0, 0xF4000FFFu);  // 0x4000 = 16384 -> 0.5; bits 0..11 and 28..31 ignored
    EXPECT_EQ(ref(8, b, 2), 0.5f);
    put<std::uint32_t>(b, 0, 0x08000000u);  // bits 4..27 = 0x800000 = -8388608 -> 1.0
    EXPECT_EQ(ref(9, b, 2), 1.0f);
    put<std::uint32_t>(b, 0, 0xF400000Fu);  // 0x400000 -> 0.5
    EXPECT_EQ(ref(9, b, 2), 0.5f);
}

TEST(PeakScan, UnknownTypeGivesZero) {
    const unsigned char data[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(PeakScan::peak(10, data, 2), 0.0f);
    EXPECT_EQ(PeakScan::peak(-1, data, 2), 0.0f);
    EXPECT_EQ(PeakScan::peak(1, data, 2), 1.0f / 32768.0f);  // -1
}

TEST(PeakScan, ActiveTableIsTheFastestSupported) {
    const Kernels& active = PeakScan::activeKernels();
    if (PeakScan::avx2Kernels()) EXPECT_STREQ(active.name, "avx2");
    else if (PeakScan::sse2Kernels()) EXPECT_STREQ(active.name, "sse2");
    else EXPECT_STREQ(active.name, "scalar");
}

// ---- fast tables against the reference -------------------------------------------

TEST(PeakScan, FastTablesMatchTheReferenceBitForBit) {
    const std::vector<const Kernels*> tables = fastTables();
    ASSERT_FALSE(tables.empty());
    std::mt19937 rng(20240611);
    std::vector<unsigned> lengths;
    for (unsigned n = 0; n <= 2 * 32 + 1; ++n) lengths.push_back(n);  // two AVX2 registers of bytes, and one
    for (unsigned n : {127u, 128u, 129u, 1000u, 1024u, 4099u}) lengths.push_back(n);
    long compared = 0;
    for (int type = 0; type <= 9; ++type) {
        for (unsigned offset = 0; offset < 32; ++offset) {
            for (unsigned n : lengths) {
                if (n > 200 && offset % 8 != 3) continue;  // long blocks at a few offsets
                // The buffer ends with the last sample, so AddressSanitizer catches any read
                // past it; the bytes before `offset` are garbage that must not count.
                std::vector<unsigned char> buf(offset + std::size_t(n) * kStride[type], 0xA5);
                fill(buf, offset, type, n, rng);
                const float expected = PeakScan::referenceKernels().peak[type](buf.data() + offset, n);
                for (const Kernels* t : tables) {
                    const float got = t->peak[type](buf.data() + offset, n);
                    ASSERT_EQ(bits(got), bits(expected))
                        << t->name << " type " << type << " offset " << offset << " length " << n;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 10000);
}

TEST(PeakScan, ExtremeAtEveryPositionIsFound) {
    // One full-scale sample among quiet ones, at every position of a block longer than
    // two vectors: the lane reductions and the scalar tail must all see it.
    const std::vector<const Kernels*> tables = fastTables();
    for (int type = 0; type <= 9; ++type) {
        const unsigned n = 77;
        for (unsigned at = 0; at < n; ++at) {
            std::vector<unsigned char> buf(std::size_t(n) * kStride[type], 0);
            if (type == 4) std::fill(buf.begin(), buf.end(), 128);
            const std::size_t p = std::size_t(at) * kStride[type];
            switch (type) {
            case 0: put(buf, p, -1.0f); break;
            case 1: put<std::int16_t>(buf, p, -32768); break;
            case 2: buf[p + 2] = 0x80; break;
            case 3: buf[p] = 0x80; break;
            case 4: buf[p] = 0; break;
            case 5: put<std::uint32_t>(buf, p, 0x00800000u); break;
            case 6: put<std::int32_t>(buf, p, std::numeric_limits<std::int32_t>::min()); break;
            case 7: put(buf, p, -1.0); break;
            case 8: put<std::uint32_t>(buf, p, 0x08000000u); break;
            case 9: put<std::uint32_t>(buf, p, 0x08000000u); break;
            }
            EXPECT_EQ(ref(type, buf, n), 1.0f) << type << " at " << at;
            for (const Kernels* t : tables)
                EXPECT_EQ(t->peak[type](buf.data(), n), 1.0f) << t->name << " " << type << " at " << at;
        }
    }
}
