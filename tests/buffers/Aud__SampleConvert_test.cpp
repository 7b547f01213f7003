// Sample conversion to and from float: hand-worked values of each type's rule, the
// round trip of every 8, 16 and 24-bit integer, agreement with the monitor's value of
// a sample (the peak scan's scalar definition) and with the export conversion of
// writeSamplesPlanar (float stage after the value of the sample), and refusal of
// unknown types.
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

namespace {

template <class T>
std::vector<unsigned char> bytesOf(const std::vector<T>& v) {
    std::vector<unsigned char> b(v.size() * sizeof(T));
    if (!v.empty()) std::memcpy(b.data(), v.data(), b.size());
    return b;
}

std::vector<unsigned char> int24Bytes(const std::vector<std::int32_t>& v) {
    std::vector<unsigned char> b;
    for (std::int32_t s : v) {
        b.push_back(std::uint8_t(s));
        b.push_back(std::uint8_t(s >> 8));
        b.push_back(std::uint8_t(s >> 16));
    }
    return b;
}

std::vector<float> decode(int type, const std::vector<unsigned char>& bytes, unsigned count) {
    std::vector<float> out(count, -99.0f);
    EXPECT_TRUE(SampleConvert::toFloat(type, bytes.data(), count, out.data()));
    return out;
}

std::vector<unsigned char> encode(int type, const std::vector<float>& x, unsigned stride) {
    std::vector<unsigned char> out(x.size() * stride, 0xAB);
    EXPECT_TRUE(SampleConvert::fromFloat(type, x.data(), unsigned(x.size()), out.data()));
    return out;
}

template <class T>
T at(const std::vector<unsigned char>& b, std::size_t i) {
    T v;
    std::memcpy(&v, b.data() + i * sizeof(T), sizeof v);
    return v;
}

std::int32_t int24At(const std::vector<unsigned char>& b, std::size_t i) {
    const std::uint32_t u =
        std::uint32_t(b[3 * i]) | std::uint32_t(b[3 * i + 1]) << 8 | std::uint32_t(b[3 * i + 2]) << 16;
    return std::int32_t(u << 8) >> 8;
}

}  // namespace

TEST(SampleConvertToFloat, Int16IsDividedBy32768) {
    const auto x = decode(1, bytesOf<std::int16_t>({0, 16384, -16384, 32767, -32768, 1}), 6);
    EXPECT_EQ(x[0], 0.0f);
    EXPECT_EQ(x[1], 0.5f);
    EXPECT_EQ(x[2], -0.5f);
    EXPECT_EQ(x[3], 32767.0f / 32768.0f);
    EXPECT_EQ(x[4], -1.0f);
    EXPECT_EQ(x[5], std::ldexp(1.0f, -15));
}

TEST(SampleConvertToFloat, Packed24IsLittleEndianSignedOver2Pow23) {
    const auto x = decode(2, int24Bytes({0x400000, -0x800000, 0x7FFFFF, -1}), 4);
    EXPECT_EQ(x[0], 0.5f);
    EXPECT_EQ(x[1], -1.0f);
    EXPECT_EQ(x[2], 8388607.0f / 8388608.0f);
    EXPECT_EQ(x[3], -std::ldexp(1.0f, -23));
}

TEST(SampleConvertToFloat, EightBitSignedAndUnsigned) {
    const auto s = decode(3, std::vector<unsigned char>{0x80, 0x7F, 0x40, 0x00}, 4);
    EXPECT_EQ(s[0], -1.0f);
    EXPECT_EQ(s[1], 127.0f / 128.0f);
    EXPECT_EQ(s[2], 0.5f);
    EXPECT_EQ(s[3], 0.0f);
    const auto u = decode(4, std::vector<unsigned char>{0, 128, 255, 192}, 4);
    EXPECT_EQ(u[0], -1.0f);
    EXPECT_EQ(u[1], 0.0f);
    EXPECT_EQ(u[2], 127.0f / 128.0f);
    EXPECT_EQ(u[3], 0.5f);
}

TEST(SampleConvertToFloat, PaddedAndAesWordsUseTheirBits) {
    // Type 5: only the low three bytes count (the top byte is ignored).
    const auto p = decode(5, bytesOf<std::uint32_t>({0x12400000u, 0x00800000u}), 2);
    EXPECT_EQ(p[0], 0.5f);
    EXPECT_EQ(p[1], -1.0f);
    // Type 8: bits 12..27 as int16; type 9: bits 4..27 as int24.
    const auto a16 = decode(8, bytesOf<std::uint32_t>({0x08000000u | 0xF0000FFFu, 0x04000000u}), 2);
    EXPECT_EQ(a16[0], -1.0f);  // bits 12..27 = 0x8000
    EXPECT_EQ(a16[1], 0.5f);   // 0x4000
    const auto a24 = decode(9, bytesOf<std::uint32_t>({0x04000000u, 0x0800000Fu}), 2);
    EXPECT_EQ(a24[0], 0.5f);   // bits 4..27 = 0x400000
    EXPECT_EQ(a24[1], -1.0f);  // 0x800000
}

TEST(SampleConvertToFloat, Int32AndFloatTypes) {
    const auto i = decode(
        6,
        bytesOf<std::int32_t>({0, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}),
        3);
    EXPECT_EQ(i[0], float(0.5 / 2147483647.5));
    EXPECT_EQ(i[1], 1.0f);
    EXPECT_EQ(i[2], -1.0f);
    const auto f = decode(0, bytesOf<float>({1.5f, -0.25f}), 2);
    EXPECT_EQ(f[0], 1.5f);  // no clipping on the way in
    EXPECT_EQ(f[1], -0.25f);
    const auto d = decode(7, bytesOf<double>({0.1, -2.0}), 2);
    EXPECT_EQ(d[0], 0.1f);
    EXPECT_EQ(d[1], -2.0f);
}

TEST(SampleConvertFromFloat, Int16ClipsAndTruncates) {
    const auto b = encode(1,
                          {0.5f, 1.0f, 0.99997f, -1.0f, -1.5f, 2.0f, 0.75f / 32768.0f, -0.75f / 32768.0f,
                           std::numeric_limits<float>::quiet_NaN()},
                          2);
    EXPECT_EQ(at<std::int16_t>(b, 0), 16384);
    EXPECT_EQ(at<std::int16_t>(b, 1), 32767);  // above 0.9999695
    EXPECT_EQ(at<std::int16_t>(b, 2), 32767);
    EXPECT_EQ(at<std::int16_t>(b, 3), -32768);
    EXPECT_EQ(at<std::int16_t>(b, 4), -32768);  // below -1
    EXPECT_EQ(at<std::int16_t>(b, 5), 32767);
    EXPECT_EQ(at<std::int16_t>(b, 6), 0);  // truncation toward zero
    EXPECT_EQ(at<std::int16_t>(b, 7), 0);
    EXPECT_EQ(at<std::int16_t>(b, 8), 0);  // NaN is silence
}

TEST(SampleConvertFromFloat, Int24PackedAndPadded) {
    const std::vector<float> x = {0.5f, 1.0f, -1.0f, -3.0f, 1.5f / 8388608.0f, -1.5f / 8388608.0f};
    const auto b = encode(2, x, 3);
    EXPECT_EQ(int24At(b, 0), 0x400000);
    EXPECT_EQ(int24At(b, 1), 0x7FFFFF);
    EXPECT_EQ(int24At(b, 2), -0x800000);
    EXPECT_EQ(int24At(b, 3), -0x800000);
    EXPECT_EQ(int24At(b, 4), 1);
    EXPECT_EQ(int24At(b, 5), -1);
    const auto w = encode(5, x, 4);
    EXPECT_EQ(at<std::uint32_t>(w, 0), 0x00400000u);
    EXPECT_EQ(at<std::uint32_t>(w, 1), 0x007FFFFFu);
    EXPECT_EQ(at<std::uint32_t>(w, 2), 0xFF800000u);  // sign-extended
    EXPECT_EQ(at<std::uint32_t>(w, 5), 0xFFFFFFFFu);
}

TEST(SampleConvertFromFloat, EightBitAndWideTypes) {
    const auto s8 = encode(3, {0.5f, 0.995f, -1.25f}, 1);
    EXPECT_EQ(std::int8_t(s8[0]), 64);
    EXPECT_EQ(std::int8_t(s8[1]), 127);  // above 0.9921875
    EXPECT_EQ(std::int8_t(s8[2]), -128);
    // Unsigned 8-bit uses the export's 127.5 scale of x + 1: 0 -> 127, -1 -> 0, 1 -> 255.
    const auto u8 = encode(4, {0.0f, -1.0f, 1.0f, 0.5f, 1.5f}, 1);
    EXPECT_EQ(u8[0], 127);
    EXPECT_EQ(u8[1], 0);
    EXPECT_EQ(u8[2], 255);
    EXPECT_EQ(u8[3], 191);  // trunc(1.5 * 127.5) = trunc(191.25)
    EXPECT_EQ(u8[4], 255);
    const auto i32 = encode(6, {1.0f, -1.0f, 2.0f, 0.5f}, 4);
    EXPECT_EQ(at<std::int32_t>(i32, 0), 2147483647);  // 1.0 * 2147483647.5 - 0.5
    EXPECT_EQ(at<std::int32_t>(i32, 1), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(at<std::int32_t>(i32, 2), 2147483647);
    EXPECT_EQ(at<std::int32_t>(i32, 3), 1073741823);  // trunc(1073741823.75 - 0.5)
    const auto f32 = encode(0, {1.0f, -1.5f, 0.25f}, 4);
    EXPECT_EQ(at<float>(f32, 0), 0.9999999f);
    EXPECT_EQ(at<float>(f32, 1), -1.0f);
    EXPECT_EQ(at<float>(f32, 2), 0.25f);
    const auto f64 = encode(7, {0.1f, 3.0f}, 8);
    EXPECT_EQ(at<double>(f64, 0), double(0.1f));
    EXPECT_EQ(at<double>(f64, 1), 3.0);  // no clipping
}

TEST(SampleConvertRoundTrip, EveryNarrowIntegerSurvives) {
    std::vector<std::int16_t> all16(65536);
    for (int i = 0; i < 65536; ++i) all16[i] = std::int16_t(i - 32768);
    const auto b16 = bytesOf(all16);
    const auto x16 = decode(1, b16, 65536);
    EXPECT_EQ(encode(1, x16, 2), b16);

    std::vector<unsigned char> all8(256);
    for (int i = 0; i < 256; ++i) all8[i] = std::uint8_t(i);
    EXPECT_EQ(encode(3, decode(3, all8, 256), 1), all8);

    std::vector<std::int32_t> all24(1 << 24);
    for (int i = 0; i < (1 << 24); ++i) all24[i] = i - (1 << 23);
    const auto b24 = int24Bytes(all24);
    const auto x24 = decode(2, b24, 1u << 24);
    EXPECT_EQ(encode(2, x24, 3), b24);
}

TEST(SampleConvertAgreement, MagnitudeIsTheMonitorsValueOfASample) {
    const unsigned stride[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};
    std::mt19937 rng(7);
    for (int type = 0; type < 10; ++type) {
        std::vector<unsigned char> bytes(stride[type] * 512);
        for (auto& b : bytes) b = std::uint8_t(rng());
        if (type == 0)
            for (unsigned i = 0; i < 512; ++i) {
                const float f = std::ldexp(float(int(rng() % 20001) - 10000), -12);
                std::memcpy(bytes.data() + 4 * i, &f, 4);
            }
        if (type == 7)
            for (unsigned i = 0; i < 512; ++i) {
                const double d = std::ldexp(double(int(rng() % 20001) - 10000), -12);
                std::memcpy(bytes.data() + 8 * i, &d, 8);
            }
        const auto x = decode(type, bytes, 512);
        for (unsigned i = 0; i < 512; ++i) {
            const float monitor = PeakScan::referenceKernels().peak[type](bytes.data() + stride[type] * i, 1);
            ASSERT_EQ(std::fabs(x[i]), monitor) << "type " << type << " sample " << i;
        }
    }
}

TEST(SampleConvertAgreement, RoundTripIsTheExportConversion) {
    // writeSamplesPlanar takes each sample to float (the value toFloat gives) and back
    // with the rule fromFloat applies, so for every input the two must agree.
    for (int s = -32768; s < 32768; ++s) {
        const std::int16_t v = std::int16_t(s);
        float x;
        ASSERT_TRUE(SampleConvert::toFloat(1, &v, 1, &x));
        std::int16_t back;
        ASSERT_TRUE(SampleConvert::fromFloat(1, &x, 1, &back));
        ASSERT_EQ(back, SampleManip::exportInt16(v));
    }
    for (int s = 0; s < 256; ++s) {
        const std::uint8_t u = std::uint8_t(s);
        float x;
        ASSERT_TRUE(SampleConvert::toFloat(4, &u, 1, &x));
        std::uint8_t back;
        ASSERT_TRUE(SampleConvert::fromFloat(4, &x, 1, &back));
        ASSERT_EQ(back, SampleManip::exportUint8(u)) << s;
        const std::int8_t i8 = std::int8_t(s);
        ASSERT_TRUE(SampleConvert::toFloat(3, &i8, 1, &x));
        std::int8_t back8;
        ASSERT_TRUE(SampleConvert::fromFloat(3, &x, 1, &back8));
        ASSERT_EQ(back8, SampleManip::exportInt8(i8));
    }
    std::mt19937 rng(11);
    for (int k = 0; k < 200000; ++k) {
        const std::int32_t v = std::int32_t(rng());
        float x;
        ASSERT_TRUE(SampleConvert::toFloat(6, &v, 1, &x));
        std::int32_t back;
        ASSERT_TRUE(SampleConvert::fromFloat(6, &x, 1, &back));
        ASSERT_EQ(back, SampleManip::exportInt32(v)) << v;
        const std::uint32_t w = rng() & 0xFFFFFFu;
        ASSERT_TRUE(SampleConvert::toFloat(5, &w, 1, &x));
        std::uint32_t backWord;
        ASSERT_TRUE(SampleConvert::fromFloat(5, &x, 1, &backWord));
        ASSERT_EQ(backWord, SampleManip::exportPadded24(w));
    }
}

TEST(SampleConvert, UnknownTypesAreRefusedAndNothingIsWritten) {
    unsigned char src[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    float f[2] = {-7.0f, -7.0f};
    EXPECT_FALSE(SampleConvert::toFloat(10, src, 2, f));
    EXPECT_FALSE(SampleConvert::toFloat(-1, src, 2, f));
    EXPECT_EQ(f[0], -7.0f);
    unsigned char out[16] = {};
    const float x[2] = {0.5f, 0.5f};
    EXPECT_FALSE(SampleConvert::fromFloat(8, x, 2, out));
    EXPECT_FALSE(SampleConvert::fromFloat(9, x, 2, out));
    EXPECT_FALSE(SampleConvert::fromFloat(10, x, 2, out));
    for (unsigned char b : out) EXPECT_EQ(b, 0);
}

TEST(SampleConvert, ZeroCountTouchesNothing) {
    float f = -7.0f;
    EXPECT_TRUE(SampleConvert::toFloat(0, nullptr, 0, &f));
    EXPECT_TRUE(SampleConvert::toFloat(2, nullptr, 0, &f));
    EXPECT_EQ(f, -7.0f);
    unsigned char b = 0x5A;
    EXPECT_TRUE(SampleConvert::fromFloat(1, &f, 0, &b));
    EXPECT_EQ(b, 0x5A);
}
