// The per-sample export conversions, with expected values worked out by hand from the
// formulas (comments show the arithmetic), and the block operations' own behaviour.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/BitCompare.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

using namespace Aud::SampleManip;
using audatoms::test::assertionText;
using audatoms::test::bitsOf;

namespace {
const float kInf = std::numeric_limits<float>::infinity();
}  // namespace

TEST(ExportFloat32, ClipsAboveTheLargestFloatBelowOneAndBelowMinusOne) {
    // 0.9999999 as a float is 1 - 2^-23 = 0x3F7FFFFE; the next float, 1 - 2^-24
    // (0x3F7FFFFF), is the smallest value that clips.
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0x3F7FFFFEu))), 0x3F7FFFFEu);
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0x3F7FFFFFu))), 0x3F7FFFFEu);
    EXPECT_EQ(bitsOf(exportFloat32(1.0f)), 0x3F7FFFFEu);
    EXPECT_EQ(bitsOf(exportFloat32(kInf)), 0x3F7FFFFEu);
    // -1.0 passes; the next float below it (0xBF800001) clips to -1.0 (0xBF800000).
    EXPECT_EQ(bitsOf(exportFloat32(-1.0f)), 0xBF800000u);
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0xBF800001u))), 0xBF800000u);
    EXPECT_EQ(bitsOf(exportFloat32(-kInf)), 0xBF800000u);
}

TEST(ExportFloat32, ZeroSignAndNaNPassUnchanged) {
    EXPECT_EQ(bitsOf(exportFloat32(0.0f)), 0x00000000u);
    EXPECT_EQ(bitsOf(exportFloat32(-0.0f)), 0x80000000u);
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0x7FC00000u))), 0x7FC00000u);
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0xFFC12345u))), 0xFFC12345u);
    EXPECT_EQ(bitsOf(exportFloat32(std::bit_cast<float>(0x00000001u))), 0x00000001u);  // subnormal
}

TEST(ExportInt16, FullScaleAndZeroPass) {
    // 32767 / 32768 = 0.999969482421875, which is the float nearest 0.9999695 and so
    // not above it: the value passes and comes back as 32767. Nothing an int16 holds can
    // reach the clip branches: the range is exactly [-1, 32767/32768].
    EXPECT_EQ(exportInt16(32767), 32767);
    EXPECT_EQ(exportInt16(-32768), -32768);
    EXPECT_EQ(exportInt16(0), 0);
    EXPECT_EQ(exportInt16(-1), -1);
    for (int s = -32768; s <= 32767; ++s) ASSERT_EQ(exportInt16(std::int16_t(s)), s);
}

TEST(ExportInt24, FullScaleAndZeroPass) {
    // 8388607 / 2^23 = 1 - 2^-23, which equals the float 0.9999999: not above it.
    EXPECT_EQ(exportInt24(0x7FFFFF), 0x7FFFFF);
    EXPECT_EQ(exportInt24(-0x800000), -0x800000);
    EXPECT_EQ(exportInt24(0), 0);
    EXPECT_EQ(exportInt24(-1), -1);
}

TEST(ExportInt8, FullScaleAndZeroPass) {
    EXPECT_EQ(exportInt8(127), 127);  // 127/128 = 0.9921875 is not above 0.9921875
    EXPECT_EQ(exportInt8(-128), -128);
    EXPECT_EQ(exportInt8(0), 0);
}

TEST(ExportUint8, UsesThe127Point5Scale) {
    // x = (s - 128) / 128 + 1 = s / 128, then trunc(x * 127.5):
    //   255: 1.9921875 * 127.5 = 254.00390625 -> 254
    //   128: 1.0 * 127.5 = 127.5 -> 127
    //     1: 0.0078125 * 127.5 = 0.99609375 -> 0
    //     2: 0.015625 * 127.5 = 1.9921875 -> 1
    //     0: 0
    EXPECT_EQ(exportUint8(255), 254);
    EXPECT_EQ(exportUint8(128), 127);
    EXPECT_EQ(exportUint8(1), 0);
    EXPECT_EQ(exportUint8(2), 1);
    EXPECT_EQ(exportUint8(0), 0);
    // In general trunc(s * 255 / 256) = s - 1 for every s from 1 to 255.
    for (int s = 1; s < 256; ++s) ASSERT_EQ(exportUint8(std::uint8_t(s)), s - 1);
}

TEST(ExportInt32, RoundsThroughSinglePrecision) {
    // Full scale: (2147483647 + 0.5) / 2147483647.5 = 1.0 -> 1.0 * 2147483647.5 - 0.5.
    EXPECT_EQ(exportInt32(2147483647), 2147483647);
    // 2147483646: 1 - 1/2147483647.5 rounds to the float 1.0, so it comes out at full scale.
    EXPECT_EQ(exportInt32(2147483646), 2147483647);
    // -2147483648: (-2147483647.5) / 2147483647.5 = -1.0 -> -2147483647.5 - 0.5.
    EXPECT_EQ(exportInt32(-2147483647 - 1), -2147483647 - 1);
    // 0: 0.5 / 2147483647.5 = 1/(2^32 - 1) rounds to the float 2^-32;
    //    2^-32 * 2147483647.5 - 0.5 = -1.16e-10 -> 0.
    EXPECT_EQ(exportInt32(0), 0);
    // 1: 1.5 / 2147483647.5 rounds to 1.5 * 2^-31; times 2147483647.5 = 1.49999999965,
    //    minus 0.5 = 0.99999999965 -> 0.
    EXPECT_EQ(exportInt32(1), 0);
    // -2: -1.5 / 2147483647.5 -> -1.5 * 2^-31 -> -1.49999999965 - 0.5 -> -1.
    EXPECT_EQ(exportInt32(-2), -1);
    // 2^24 + 1 = 16777217: (16777217.5) / 2147483647.5 = 2^-7 * (1 + 1.5 * 2^-24 + ...),
    //    whose float is 2^-7 * (1 + 2^-23); times 2147483647.5 = 16777218.0000..., minus
    //    0.5 and truncated: 16777217.
    EXPECT_EQ(exportInt32(16777217), 16777217);
}

TEST(ExportFloat64, NarrowsToSingleAndBack) {
    // 0.1 becomes the double nearest to the float 0.1: 0.100000001490116119384765625.
    EXPECT_EQ(exportFloat64(0.1), 0.100000001490116119384765625);
    EXPECT_EQ(exportFloat64(0.1), double(0.1f));
    EXPECT_EQ(exportFloat64(1e300), std::numeric_limits<double>::infinity());
    EXPECT_EQ(exportFloat64(-1e300), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(bitsOf(exportFloat64(-1e-300)), 0x8000000000000000ull);  // underflow keeps the sign
    EXPECT_EQ(bitsOf(exportFloat64(-0.0)), 0x8000000000000000ull);
    EXPECT_TRUE(std::isnan(exportFloat64(std::numeric_limits<double>::quiet_NaN())));
    // The float midway above the largest float rounds to even, i.e. to infinity; one
    // step below it, to the largest float.
    EXPECT_EQ(exportFloat64(3.4028235677973366e38), std::numeric_limits<double>::infinity());
    EXPECT_EQ(exportFloat64(std::nextafter(3.4028235677973366e38, 0.0)), double(std::numeric_limits<float>::max()));
    // No clipping: 2.0 stays 2.0.
    EXPECT_EQ(exportFloat64(2.0), 2.0);
}

TEST(ExportPadded24, ReadsTheLowThreeBytesAndSignExtends) {
    EXPECT_EQ(exportPadded24(0x007FFFFFu), 0x007FFFFFu);
    EXPECT_EQ(exportPadded24(0xAB7FFFFFu), 0x007FFFFFu);  // the top byte is ignored
    EXPECT_EQ(exportPadded24(0x00800000u), 0xFF800000u);
    EXPECT_EQ(exportPadded24(0x12000001u), 0x00000001u);
    EXPECT_EQ(exportPadded24(0x00FFFFFFu), 0xFFFFFFFFu);  // -1
}

TEST(ExportAes, TakesTheAudioBitsOfTheSubframeWord) {
    // 16-bit: bits 12..27. 0x07FFF000 holds 0x7FFF; the upper half of the result is zero.
    EXPECT_EQ(exportAes16(0x07FFF000u), 0x00007FFFu);
    EXPECT_EQ(exportAes16(0xF8000FFFu), 0x00008000u);  // -32768, with noise outside the field
    EXPECT_EQ(exportAes16(0x0FFFF000u), 0x0000FFFFu);  // -1
    EXPECT_EQ(exportAes16(0u), 0u);
    // 24-bit: bits 4..27, written sign-extended.
    EXPECT_EQ(exportAes24(0x07FFFFF0u), 0x007FFFFFu);
    EXPECT_EQ(exportAes24(0x0800000Fu), 0xFF800000u);
    EXPECT_EQ(exportAes24(0xF0000010u), 0x00000001u);
}

TEST(ExportInterleaved, PaddedTwentyFourReportsOncePerSample) {
    const unsigned char a[8] = {1, 0, 0, 0, 2, 0, 0, 0};
    const unsigned char b[8] = {3, 0, 0, 0, 4, 0, 0, 0};
    const unsigned char* planes[2] = {a, b};
    unsigned char out[16] = {};
    platform::LogCapture capture;
    EXPECT_TRUE(exportInterleaved(5, planes, 2, 2, out));
    EXPECT_EQ(capture.assertionText(), assertionText("false", "ole/AudAtoms/Aud__SampleManip", 514, 4));
    const unsigned char want[16] = {1, 0, 0, 0, 3, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(out, want, 16));
}

TEST(ExportInterleaved, UnknownTypesWriteNothing) {
    const unsigned char a[4] = {1, 2, 3, 4};
    const unsigned char* planes[1] = {a};
    unsigned char out[4] = {9, 9, 9, 9};
    EXPECT_FALSE(exportInterleaved(10, planes, 1, 1, out));
    EXPECT_FALSE(exportInterleaved(-1, planes, 1, 1, out));
    EXPECT_EQ(out[0], 9);
}

TEST(ByteOrder, GroupsAreReversedAndMirrored) {
    unsigned char d[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    swapPairs(d, d, 4);
    EXPECT_EQ(audatoms::test::Bytes(d, d + 8), (audatoms::test::Bytes{2, 1, 4, 3, 6, 5, 8, 7}));
    reverseQuads(d, d, 2);
    EXPECT_EQ(audatoms::test::Bytes(d, d + 8), (audatoms::test::Bytes{3, 4, 1, 2, 7, 8, 5, 6}));
    unsigned char t[6] = {1, 2, 3, 4, 5, 6};
    reverseTriples(t, t, 2);
    EXPECT_EQ(audatoms::test::Bytes(t, t + 6), (audatoms::test::Bytes{3, 2, 1, 6, 5, 4}));
    unsigned char q[4] = {0x11, 0x22, 0x33, 0x44};
    mirrorLowHalf(q, q, 1);
    EXPECT_EQ(audatoms::test::Bytes(q, q + 4), (audatoms::test::Bytes{0x11, 0x22, 0x22, 0x11}));
}
