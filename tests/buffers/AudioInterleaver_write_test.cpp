// AudioInterleaver::writeSamplesPlanar: every sample type at its full-scale and clip
// boundaries, zero and (for the float types) NaN, every output byte compared with bytes
// worked out by hand. For the integer types the input has the output's own type, so
// nothing it can hold reaches a clip branch: their boundary is full scale passing.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace audatoms::test;

namespace {

Bytes scratchOf(const AudioInterleaver& a, std::size_t n) { return Bytes(a.getScratch(), a.getScratch() + n); }

// Writes two planes of three samples each and returns the interleaved bytes.
Bytes writeTwo(AudioInterleaver& a, const Bytes& left, const Bytes& right, unsigned frames) {
    const std::vector<const unsigned char*> planes = {left.data(), right.data()};
    EXPECT_EQ(a.writeSamplesPlanar(planes, frames), 0);
    EXPECT_EQ(a.getLastError(), 0);
    return scratchOf(a, left.size() + right.size());
}

}  // namespace

TEST(WriteSamplesPlanar, Float32ClipsAtTheLargestFloatBelowOneAndAtMinusOne) {
    AudioInterleaver a(0, 2, Aud::keAudioDataTypeFloat);
    // left: 0.9999999f (passes), the next float up (clips), -1.0 (passes), the next
    // float down (clips); right: 0, -0, a NaN with payload, +inf (clips).
    const Bytes left = concat({le32(0x3F7FFFFE), le32(0x3F7FFFFF), le32(0xBF800000), le32(0xBF800001)});
    const Bytes right = concat({le32(0x00000000), le32(0x80000000), le32(0x7FC00001), le32(0x7F800000)});
    EXPECT_EQ(writeTwo(a, left, right, 4),
              concat({le32(0x3F7FFFFE), le32(0x00000000), le32(0x3F7FFFFE), le32(0x80000000), le32(0xBF800000),
                      le32(0x7FC00001), le32(0xBF800000), le32(0x3F7FFFFE)}));
}

TEST(WriteSamplesPlanar, Int16FullScalePasses) {
    // 32767 -> 0.999969482 (not above 0.9999695) -> 32767; -32768 -> -1.0 -> -32768.
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    const Bytes left = concat({le16(32767), le16(0x8000), le16(0)});
    const Bytes right = concat({le16(1), le16(0xFFFF), le16(12345)});
    EXPECT_EQ(writeTwo(a, left, right, 3),
              concat({le16(32767), le16(1), le16(0x8000), le16(0xFFFF), le16(0), le16(12345)}));
}

TEST(WriteSamplesPlanar, Int24FullScalePassesAsThreeBytes) {
    AudioInterleaver a(2, 2, Aud::keAudioDataTypePCM);
    const Bytes left = {0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x80, 0x00, 0x00, 0x00};   // 0x7FFFFF, -0x800000, 0
    const Bytes right = {0x01, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x56, 0x34, 0x12};  // 1, -1, 0x123456
    EXPECT_EQ(writeTwo(a, left, right, 3), (Bytes{0xFF, 0xFF, 0x7F, 0x01, 0x00, 0x00, 0x00, 0x00, 0x80, 0xFF, 0xFF,
                                                  0xFF, 0x00, 0x00, 0x00, 0x56, 0x34, 0x12}));
}

TEST(WriteSamplesPlanar, Int8FullScalePasses) {
    AudioInterleaver a(3, 2, Aud::keAudioDataTypePCM);
    const Bytes left = {0x7F, 0x80, 0x00}, right = {0x01, 0xFF, 0x05};
    EXPECT_EQ(writeTwo(a, left, right, 3), (Bytes{0x7F, 0x01, 0x80, 0xFF, 0x00, 0x05}));
}

TEST(WriteSamplesPlanar, Uint8UsesThe127Point5Scale) {
    // trunc(s / 128 * 127.5): 255 -> 254.0039 -> 254, 128 -> 127.5 -> 127, 0 -> 0,
    // 1 -> 0.996 -> 0, 2 -> 1.99 -> 1, 200 -> 199.22 -> 199.
    AudioInterleaver a(4, 2, Aud::keAudioDataTypePCM);
    const Bytes left = {255, 128, 0}, right = {1, 2, 200};
    EXPECT_EQ(writeTwo(a, left, right, 3), (Bytes{254, 0, 127, 1, 0, 199}));
}

TEST(WriteSamplesPlanar, Padded24SignExtendsAndReportsEverySample) {
    AudioInterleaver a(5, 2, Aud::keAudioDataTypePCM);
    const Bytes left = concat({le32(0xAB7FFFFF), le32(0x00800000), le32(0)});
    const Bytes right = concat({le32(0x12000001), le32(0x00FFFFFF), le32(0xFF000000)});
    platform::LogCapture capture;
    const Bytes out = writeTwo(a, left, right, 3);
    EXPECT_EQ(capture.assertionText(), assertionText("false", "ole/AudAtoms/Aud__SampleManip", 514, 6));
    EXPECT_EQ(out, concat({le32(0x007FFFFF), le32(1), le32(0xFF800000), le32(0xFFFFFFFF), le32(0), le32(0)}));
}

TEST(WriteSamplesPlanar, Int32RoundsThroughSinglePrecision) {
    // See the worked values in Aud__SampleManip_test: full scale both ways stays, 1 -> 0,
    // -2 -> -1, 2147483646 -> 2147483647 (its float is 1.0).
    AudioInterleaver a(6, 2, Aud::keAudioDataTypePCM);
    const Bytes left = concat({le32(0x7FFFFFFF), le32(0x80000000), le32(0)});
    const Bytes right = concat({le32(1), le32(0xFFFFFFFE), le32(0x7FFFFFFE)});
    EXPECT_EQ(writeTwo(a, left, right, 3),
              concat({le32(0x7FFFFFFF), le32(0), le32(0x80000000), le32(0xFFFFFFFF), le32(0), le32(0x7FFFFFFF)}));
}

TEST(WriteSamplesPlanar, Float64NarrowsThroughSingleWithoutClipping) {
    // 0.1 -> the float 0x3DCCCCCD -> 0x3FB99999A0000000; 1e300 -> +inf; -0 stays;
    // the default quiet NaN stays 0x7FF8000000000000; 2.0 stays; 1e-300 -> +0.
    AudioInterleaver a(7, 2, Aud::keAudioDataTypeFloat);
    double l[3] = {0.1, 1e300, -0.0}, r[3] = {0, 2.0, 1e-300};
    const std::uint64_t nan = 0x7FF8000000000000ull;
    std::memcpy(&r[0], &nan, 8);
    Bytes left(24), right(24);
    std::memcpy(left.data(), l, 24);
    std::memcpy(right.data(), r, 24);
    EXPECT_EQ(writeTwo(a, left, right, 3),
              concat({le64(0x3FB99999A0000000ull), le64(0x7FF8000000000000ull), le64(0x7FF0000000000000ull),
                      le64(0x4000000000000000ull), le64(0x8000000000000000ull), le64(0)}));
}

TEST(WriteSamplesPlanar, Aes16TakesBits12To27AndClearsTheUpperHalf) {
    AudioInterleaver a(6, 2, Aud::keAudioDataTypePCM);
    // Leave all-ones in the scratch first, so that cleared bytes are really written.
    const Bytes ones(12, 0xFF);
    writeTwo(a, ones, ones, 3);
    a.setAudioFormat([] {
        Aud::Metadata m(1, 2, 48000, 8, 0);
        m.setDataType(210);
        return m;
    }());
    const Bytes left = concat({le32(0x07FFF000), le32(0xF8000FFF), le32(0xABCDE123)});  // 32767, -32768, 0xBCDE
    const Bytes right = concat({le32(0), le32(0x0FFFF000), le32(0x00001000)});          // 0, -1, 1
    EXPECT_EQ(writeTwo(a, left, right, 3),
              concat({le32(0x7FFF), le32(0), le32(0x8000), le32(0xFFFF), le32(0xBCDE), le32(1)}));
}

TEST(WriteSamplesPlanar, Aes24TakesBits4To27SignExtended) {
    AudioInterleaver a(9, 2, Aud::eDataType(212));
    const Bytes left = concat({le32(0x07FFFFF0), le32(0x0800000F), le32(0xF0000010)});
    const Bytes right = concat({le32(0), le32(0x0FFFFFF0), le32(0x01234560)});
    EXPECT_EQ(writeTwo(a, left, right, 3),
              concat({le32(0x007FFFFF), le32(0), le32(0xFF800000), le32(0xFFFFFFFF), le32(1), le32(0x00123456)}));
}

TEST(WriteSamplesPlanar, WrongPlaneCountIsStatus12) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    const Bytes p(8);
    EXPECT_EQ(a.writeSamplesPlanar({p.data()}, 2), 12);
    EXPECT_EQ(a.getLastError(), 12);
    EXPECT_EQ(a.writeSamplesPlanar({p.data(), p.data(), p.data()}, 2), 12);
    EXPECT_EQ(a.getScratch(), nullptr);
}

TEST(WriteSamplesPlanar, NoSamplesOrNoPlaneIsStatus13) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    const Bytes p(8);
    EXPECT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 0), 13);
    EXPECT_EQ(a.getLastError(), 13);
    EXPECT_EQ(a.writeSamplesPlanar({p.data(), nullptr}, 2), 13);
    EXPECT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 2), 0);
    EXPECT_EQ(a.getLastError(), 0);
}

TEST(WriteSamplesPlanar, ScratchGrowsToTheRequestAndNeverShrinks) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    const Bytes p(4000);
    ASSERT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 100), 0);
    EXPECT_EQ(a.getScratchCapacity(), 400u);  // 100 x 2 bytes x 2 channels
    const unsigned char* first = a.getScratch();
    ASSERT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 10), 0);
    EXPECT_EQ(a.getScratchCapacity(), 400u);
    EXPECT_EQ(a.getScratch(), first);
    ASSERT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 1000), 0);
    EXPECT_EQ(a.getScratchCapacity(), 4000u);
}

TEST(WriteSamplesPlanar, SeveralStreamsInterleaveAllTheirChannels) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    Aud::Metadata f = a.getAudioFormat();
    f.setAudioStreams(2);
    a.setAudioFormat(f);
    const Bytes p0 = concat({le16(1), le16(5)}), p1 = concat({le16(2), le16(6)}), p2 = concat({le16(3), le16(7)}),
                p3 = concat({le16(4), le16(8)});
    EXPECT_EQ(a.writeSamplesPlanar({p0.data(), p1.data()}, 2), 12);  // four planes needed
    ASSERT_EQ(a.writeSamplesPlanar({p0.data(), p1.data(), p2.data(), p3.data()}, 2), 0);
    // Sized for every channel written: 2 samples x 2 bytes x 4 channels.
    EXPECT_EQ(a.getScratchCapacity(), 16u);
    EXPECT_EQ(scratchOf(a, 16), concat({le16(1), le16(2), le16(3), le16(4), le16(5), le16(6), le16(7), le16(8)}));
}

TEST(WriteSamplesPlanar, EightChannelsOfALargeBlockInterleaveFrameByFrame) {
    AudioInterleaver a(1, 8, Aud::keAudioDataTypePCM);
    std::vector<Bytes> planes(8);
    std::vector<const unsigned char*> ptrs;
    for (unsigned c = 0; c < 8; ++c) {
        for (unsigned s = 0; s < 1001; ++s) {
            const Bytes v = le16(std::uint16_t(s * 8 + c));
            planes[c].insert(planes[c].end(), v.begin(), v.end());
        }
        ptrs.push_back(planes[c].data());
    }
    ASSERT_EQ(a.writeSamplesPlanar(ptrs, 1001), 0);
    for (unsigned i = 0; i < 1001 * 8; ++i) {
        std::uint16_t v;
        std::memcpy(&v, a.getScratch() + 2 * i, 2);
        ASSERT_EQ(v, i);
    }
}

TEST(WriteSamplesPlanar, UnsupportedTypeLogsAndSucceeds) {
    AudioInterleaver a(12, 2, Aud::keAudioDataTypePCM);  // the format itself asserts (line 32)
    platform::LogCapture log;
    const Bytes p(8);
    EXPECT_EQ(a.writeSamplesPlanar({p.data(), p.data()}, 2), 0);
    EXPECT_EQ(log.logText(), "WavExport: Mixer buffer sample format not supported!\n");
}

TEST(WriteSamplesPlanar, DefaultObjectHasNoChannelsToWrite) {
    AudioInterleaver a;
    EXPECT_EQ(a.writeSamplesPlanar({}, 5), 0);
    EXPECT_EQ(a.getScratchCapacity(), 0u);
    const Bytes p(4);
    EXPECT_EQ(a.writeSamplesPlanar({p.data()}, 1), 12);
}
