#include "AudAtoms/AudAtoms.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

using Aud::Metadata;
using Aud::WavHeaderEx;
using audatoms::test::assertionText;

namespace {

const char* const kSrc = "ole/AudAtoms/audiometadata";

WavHeaderEx header(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t blockAlign,
                   std::uint16_t bits) {
    WavHeaderEx h;
    h.wFormatTag = tag;
    h.nChannels = channels;
    h.nSamplesPerSec = rate;
    h.nAvgBytesPerSec = rate * blockAlign;
    h.nBlockAlign = blockAlign;
    h.wBitsPerSample = bits;
    h.cbSize = 0;
    return h;
}

Metadata fresh() { return Metadata(1, 2, 48000, 1, Aud::keLocationUnspecified); }

}  // namespace

TEST(WavHeaderEx, IsThe18ByteWaveFormatLayout) {
    EXPECT_EQ(sizeof(WavHeaderEx), 18u);
    EXPECT_EQ(offsetof(WavHeaderEx, wFormatTag), 0u);
    EXPECT_EQ(offsetof(WavHeaderEx, nChannels), 2u);
    EXPECT_EQ(offsetof(WavHeaderEx, nSamplesPerSec), 4u);
    EXPECT_EQ(offsetof(WavHeaderEx, nAvgBytesPerSec), 8u);
    EXPECT_EQ(offsetof(WavHeaderEx, nBlockAlign), 12u);
    EXPECT_EQ(offsetof(WavHeaderEx, wBitsPerSample), 14u);
    EXPECT_EQ(offsetof(WavHeaderEx, cbSize), 16u);
}

TEST(Metadata, ConstructorFillsWidthsFromTheSampleTypeTable) {
    const unsigned bits[10] = {32, 16, 24, 8, 8, 24, 32, 64, 16, 24};
    const unsigned strides[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};
    for (int n = 0; n < 10; ++n) {
        platform::LogCapture capture;
        const Metadata m(3, 6, 44100, n, Aud::keLocationFile);
        EXPECT_EQ(capture.assertionText(), "");
        EXPECT_EQ(m.getBitsPerSample(), bits[n]) << n;
        EXPECT_EQ(m.getStride(), strides[n]) << n;
        EXPECT_EQ(m.getSignType(), n == 4 ? 2u : 1u) << n;
        EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypePCM);
        EXPECT_EQ(int(m.getDataType()), 201);
        EXPECT_EQ(int(m.getEndianType()), 0);
        EXPECT_EQ(m.getAudioStreams(), 3u);
        EXPECT_EQ(m.getChannelsPerStream(), 6u);
        EXPECT_EQ(m.getSamplesPerSec(), 44100u);
        EXPECT_EQ(m.getSampleTypeNumber(), n);
        EXPECT_EQ(m.getLocation(), Aud::keLocationFile);
        EXPECT_EQ(Aud::sampleTypeStride(n), strides[n]);
        EXPECT_EQ(Aud::sampleTypeBits(n), bits[n]);
    }
}

TEST(Metadata, ConstructorWithANumberAboveNineAssertsAndLeavesWidthsUnset) {
    platform::LogCapture capture;
    const Metadata m(1, 2, 48000, 10, 0);
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 32));
    EXPECT_EQ(m.getSampleTypeNumber(), 10);
    EXPECT_EQ(m.getStride(), 0u);
    EXPECT_EQ(m.getBitsPerSample(), 0u);
    EXPECT_EQ(m.getSignType(), 1u);
    EXPECT_EQ(Aud::sampleTypeStride(10), 0u);
    EXPECT_EQ(Aud::sampleTypeStride(-1), 0u);
}

TEST(Metadata, DefaultIsAllZero) {
    const Metadata m;
    EXPECT_EQ(int(m.getDataType()), 0);
    EXPECT_EQ(m.getSignType(), 0u);
    EXPECT_EQ(m.getChannelsPerStream(), 0u);
    EXPECT_EQ(m.getAudioStreams(), 0u);
    EXPECT_EQ(m.getStride(), 0u);
    EXPECT_EQ(m.getBitsPerSample(), 0u);
    EXPECT_EQ(m.getSampleTypeNumber(), 0);
    EXPECT_EQ(m.bytesPerGroup(), 0u);
}

TEST(Metadata, SettersStoreOneFieldAndNeverRecalculate) {
    Metadata m = fresh();
    m.setBitsPerSample(32);
    m.setStride(4);
    m.setDataType(Aud::keAudioDataTypeFloat);
    m.setEndianType(Aud::keBigEndian);
    m.setAudioStreams(2);
    m.setChannelsPerStream(5);
    m.setSamplesPerSec(96000);
    EXPECT_EQ(m.getSampleTypeNumber(), 1);  // still the constructor's number
    EXPECT_EQ(m.getBitsPerSample(), 32u);
    EXPECT_EQ(m.getStride(), 4u);
    EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypeFloat);
    EXPECT_TRUE(m.isBigEndian());
    EXPECT_EQ(m.getAudioStreams(), 2u);
    EXPECT_EQ(m.getChannelsPerStream(), 5u);
    EXPECT_EQ(m.getSamplesPerSec(), 96000u);
    EXPECT_EQ(m.bytesPerGroup(), 20u);  // stride 4 x 5 channels (one stream)
    m.setEndianType(7);
    EXPECT_TRUE(m.isBigEndian());  // any non-zero value is big-endian
    m.setDataType(212);
    EXPECT_EQ(int(m.getDataType()), 212);
}

TEST(Metadata, DataTypeNamesAndCompressedFlags) {
    struct Row {
        int type;
        const char* name;
        bool compressed;
    };
    const Row rows[] = {
        {2, "FLoating Point", false},
        {3, "Matrox", false},
        {131, "MPEG1", true},
        {132, "MPEG1", true},
        {140, "AAC", true},
        {141, "AAC", true},
        {142, "AAC", true},
        {143, "AAC", true},
        {150, "Dolby Digital", true},
        {151, "Dolby Digital Plus", true},
        {160, "AMR", true},
        {165, "WMA", true},
        {170, "SDDS", true},
        {172, "DTS", true},
        {199, "", false},
        {259, "", false},
        {200, "PCM", false},
        {201, "PCM", false},
        {202, "PCM (DVD)", false},
        {203, "LPCM", false},
        {210, "AES", false},
        {211, "AES", false},
        {212, "AES", false},
        {213, "AES", false},
        {214, "BWF", false},
        {230, "PCM (twos)", false},
        {231, "PCM (QT)", false},
        {232, "", true},
        {233, "", true},
        {240, "AIFF", false},
        {241, "PCM (Alaw)", false},
        // anything else
        {1, "", false},
        {4, "", false},
        {130, "", false},
        {144, "", false},
        {171, "", false},
        {204, "", false},
        {215, "", false},
        {234, "", false},
        {242, "", false},
        {1000, "", false},
        {-3, "", false},
    };
    for (const Row& r : rows) {
        Metadata m = fresh();
        m.setDataType(r.type);
        platform::LogCapture capture;
        EXPECT_EQ(m.CompressionFormatAsString(), r.name) << r.type;
        EXPECT_EQ(m.isCompressedFormat(), r.compressed) << r.type;
        EXPECT_EQ(capture.assertionText(), "") << r.type;
    }
}

TEST(Metadata, DataType232IsCompressedButHasAnEmptyName) {
    Metadata m = fresh();
    m.setDataType(232);
    EXPECT_TRUE(m.isCompressedFormat());
    EXPECT_TRUE(m.CompressionFormatAsString().empty());
}

TEST(Metadata, DataTypeZeroAssertsForNameAndFlag) {
    Metadata m = fresh();
    m.setDataType(0);
    platform::LogCapture capture;
    EXPECT_EQ(m.CompressionFormatAsString(), "");
    EXPECT_FALSE(m.isCompressedFormat());
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 180) + assertionText("false", kSrc, 117));
}

namespace {

// Sets the fields calculateSampleTypeNumber reads and runs it.
int numberFor(unsigned bits, unsigned stride, int dataType, bool unsignedSamples = false, std::string* out = nullptr) {
    Metadata m(1, 1, 48000, unsignedSamples ? 4 : 1, 0);
    m.setBitsPerSample(bits);
    m.setStride(stride);
    m.setDataType(dataType);
    platform::LogCapture capture;
    const int n = m.calculateSampleTypeNumber();
    const std::string printed = capture.assertionText();
    if (out) *out = printed;
    EXPECT_EQ(n, m.getSampleTypeNumber());
    return n;
}

}  // namespace

TEST(Metadata, CalculateSampleTypeNumberFindsEveryNumber) {
    EXPECT_EQ(numberFor(32, 4, 2), 0);
    EXPECT_EQ(numberFor(16, 2, 201), 1);
    EXPECT_EQ(numberFor(24, 3, 201), 2);
    EXPECT_EQ(numberFor(8, 1, 201), 3);
    EXPECT_EQ(numberFor(8, 1, 201, true), 4);
    EXPECT_EQ(numberFor(24, 4, 201), 5);
    EXPECT_EQ(numberFor(32, 4, 201), 6);
    EXPECT_EQ(numberFor(64, 8, 2), 7);
    EXPECT_EQ(numberFor(16, 4, 210), 8);
    EXPECT_EQ(numberFor(16, 4, 212), 8);
    EXPECT_EQ(numberFor(24, 4, 210), 9);
    EXPECT_EQ(numberFor(24, 4, 212), 9);
    // Only the PCM-ness of the data type matters for the integer numbers.
    EXPECT_EQ(numberFor(16, 2, 230), 1);
}

TEST(Metadata, AesTypes211And213AreNotAesContainers) {
    EXPECT_EQ(numberFor(24, 4, 211), 5);  // padded, like PCM
    EXPECT_EQ(numberFor(24, 4, 213), 5);
    std::string printed;
    EXPECT_EQ(numberFor(16, 4, 211, false, &printed), -1);  // 16 in 4 is neither packed nor AES
    EXPECT_EQ(printed, assertionText("sampleTypeNumber_ != -1", kSrc, 307));
    EXPECT_EQ(numberFor(32, 4, 210, false, &printed), -1);  // AES 32-bit is no number
    EXPECT_EQ(printed, assertionText("sampleTypeNumber_ != -1", kSrc, 307));
}

TEST(Metadata, CalculateSampleTypeNumberWithoutMatchAsserts) {
    std::string printed;
    EXPECT_EQ(numberFor(16, 2, 2, false, &printed), -1);  // 16-bit float
    EXPECT_EQ(printed, assertionText("sampleTypeNumber_ != -1", kSrc, 307));
    EXPECT_EQ(numberFor(16, 2, 201, true, &printed), -1);  // unsigned 16-bit
    EXPECT_EQ(printed, assertionText("sampleTypeNumber_ != -1", kSrc, 307));
    EXPECT_EQ(numberFor(64, 8, 201, false, &printed), -1);  // 64-bit integer
    EXPECT_EQ(numberFor(32, 4, 2, true, &printed), -1);     // unsigned float
    EXPECT_EQ(numberFor(8, 2, 201, false, &printed), -1);   // 8 in 2
}

TEST(Metadata, CalculateSampleTypeNumberTurnsUnknownSignednessIntoSigned) {
    Metadata m;  // signType 0
    m.setBitsPerSample(16);
    m.setStride(2);
    m.setDataType(201);
    EXPECT_EQ(m.calculateSampleTypeNumber(), 1);
    EXPECT_EQ(m.getSignType(), 1u);
}

TEST(Metadata, Header24BitsWithBlockAlign8IsPaddedAnd6IsPacked) {
    Metadata m = fresh();
    m.getFromWAVFORMATEX(header(1, 2, 48000, 8, 24), 1);
    EXPECT_EQ(m.getStride(), 4u);
    EXPECT_EQ(m.getSampleTypeNumber(), 5);
    m.getFromWAVFORMATEX(header(1, 2, 48000, 6, 24), 1);
    EXPECT_EQ(m.getStride(), 3u);
    EXPECT_EQ(m.getSampleTypeNumber(), 2);
}

TEST(Metadata, EightBitHeaderSignednessFollowsTheWidthHeldBefore) {
    Metadata m = fresh();  // held 16 bits
    m.getFromWAVFORMATEX(header(1, 1, 8000, 1, 8), 1);
    EXPECT_EQ(m.getSignType(), 1u);
    EXPECT_EQ(m.getSampleTypeNumber(), 3);
    // Now it holds 8 bits, so reading the same header again makes it unsigned.
    m.getFromWAVFORMATEX(header(1, 1, 8000, 1, 8), 1);
    EXPECT_EQ(m.getSignType(), 2u);
    EXPECT_EQ(m.getSampleTypeNumber(), 4);
}

TEST(Metadata, UnsignedSticksWhenAWiderHeaderFollows) {
    Metadata m(1, 1, 8000, 4, 0);  // unsigned 8-bit
    platform::LogCapture capture;
    m.getFromWAVFORMATEX(header(1, 2, 48000, 4, 16), 1);
    EXPECT_EQ(capture.assertionText(), assertionText("sampleTypeNumber_ != -1", kSrc, 307));
    EXPECT_EQ(m.getSampleTypeNumber(), -1);
}

TEST(Metadata, FloatHeaderWith64BitsIsNumber7) {
    Metadata m = fresh();
    m.getFromWAVFORMATEX(header(3, 2, 96000, 16, 64), 4);
    EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypeFloat);
    EXPECT_EQ(m.getStride(), 8u);
    EXPECT_EQ(m.getSampleTypeNumber(), 7);
    EXPECT_EQ(m.getAudioStreams(), 4u);
    EXPECT_EQ(m.getSamplesPerSec(), 96000u);
}

TEST(Metadata, HeaderTagsAndTheirDataTypes) {
    Metadata m = fresh();
    m.setDataType(2);
    m.getFromWAVFORMATEX(header(0xFFFE, 2, 48000, 4, 16), 1);
    EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypePCM);
    EXPECT_EQ(m.getSampleTypeNumber(), 1);

    // MPEG tags take the stride from the bit width, not from the block align.
    for (std::uint16_t tag : {std::uint16_t(0x50), std::uint16_t(0x55)}) {
        m.setDataType(2);
        m.getFromWAVFORMATEX(header(tag, 2, 44100, 1, 16), 1);
        EXPECT_EQ(m.getStride(), 2u);
        EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypePCM);
        EXPECT_EQ(m.getSampleTypeNumber(), 1);
    }

    m.setDataType(2);
    platform::LogCapture capture;
    m.getFromWAVFORMATEX(header(2, 2, 44100, 4, 16), 1);  // ADPCM: unknown here
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 234));
    EXPECT_EQ(m.getDataType(), Aud::keAudioDataTypePCM);
    EXPECT_EQ(m.getSampleTypeNumber(), 1);
}

TEST(Metadata, ZeroChannelsTakeTheBlockAlignAsStride) {
    Metadata m = fresh();
    platform::LogCapture capture;
    m.getFromWAVFORMATEX(header(1, 0, 48000, 2, 16), 1);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(m.getChannelsPerStream(), 0u);
    EXPECT_EQ(m.getStride(), 2u);
    EXPECT_EQ(m.getSampleTypeNumber(), 1);
}

TEST(Metadata, StrideIsTheIntegerQuotientOfBlockAlignAndChannels) {
    Metadata m = fresh();
    m.getFromWAVFORMATEX(header(1, 3, 48000, 7, 16), 1);  // 7 / 3 = 2
    EXPECT_EQ(m.getStride(), 2u);
    m.getFromWAVFORMATEX(header(1, 1, 48000, 0xFFFF, 16), 1);
    EXPECT_EQ(m.getStride(), 0xFFFFu);
}

TEST(Metadata, SetWavHeaderForTwoStreamsOfTwoChannels) {
    Metadata m(2, 2, 48000, 1, 0);
    WavHeaderEx h;
    std::memset(&h, 0xCD, sizeof h);
    platform::LogCapture capture;
    m.setWAVFORMATEX(h);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(h.wFormatTag, 1);
    EXPECT_EQ(h.nChannels, 4);
    EXPECT_EQ(h.nSamplesPerSec, 48000u);
    EXPECT_EQ(h.nBlockAlign, 8);
    EXPECT_EQ(h.nAvgBytesPerSec, 384000u);  // 48000 x 2 x 4
    EXPECT_EQ(h.wBitsPerSample, 16);
    EXPECT_EQ(h.cbSize, 14);
}

TEST(Metadata, SetWavHeaderTagsFloatAndAssertsOnOtherDataTypes) {
    Metadata m(1, 2, 48000, 0, 0);
    m.setDataType(Aud::keAudioDataTypeFloat);
    WavHeaderEx h{};
    m.setWAVFORMATEX(h);
    EXPECT_EQ(h.wFormatTag, 3);
    m.setDataType(212);
    platform::LogCapture capture;
    m.setWAVFORMATEX(h);
    EXPECT_EQ(capture.assertionText(), assertionText("eDataType_ == keAudioDataTypePCM", kSrc, 316));
    EXPECT_EQ(h.wFormatTag, 1);
}

TEST(Metadata, SetWavHeaderTruncatesTheChannelCountTo16Bits) {
    Metadata m(2, 32768 + 3, 8000, 1, 0);  // 65542 channels -> 6
    WavHeaderEx h{};
    m.setWAVFORMATEX(h);
    EXPECT_EQ(h.nChannels, 6);
    EXPECT_EQ(h.nBlockAlign, 12);
    EXPECT_EQ(h.nAvgBytesPerSec, 8000u * 2u * 6u);
}

TEST(Metadata, CommonWavHeadersSurviveARoundTrip) {
    struct Format {
        std::uint16_t tag, bits, bytes;
        int number;
    };
    const Format formats[] = {
        {1, 8, 1, 3},  // read into a format that held 16 bits: signed (see above)
        {1, 16, 2, 1}, {1, 24, 3, 2}, {1, 32, 4, 6}, {1, 24, 4, 5},  // 24 in 32
        {3, 32, 4, 0}, {3, 64, 8, 7},
    };
    for (const Format& f : formats)
        for (std::uint16_t channels = 1; channels <= 32; ++channels)
            for (std::uint32_t rate : {44100u, 48000u, 96000u}) {
                const WavHeaderEx in = header(f.tag, channels, rate, std::uint16_t(channels * f.bytes), f.bits);
                Metadata m = fresh();
                platform::LogCapture capture;
                m.getFromWAVFORMATEX(in, 1);
                WavHeaderEx out;
                std::memset(&out, 0xEE, sizeof out);
                m.setWAVFORMATEX(out);
                EXPECT_EQ(capture.assertionText(), "");
                EXPECT_EQ(m.getSampleTypeNumber(), f.number) << f.bits << " bits, " << channels << " channels";
                EXPECT_EQ(out.wFormatTag, in.wFormatTag);
                EXPECT_EQ(out.nChannels, in.nChannels);
                EXPECT_EQ(out.nSamplesPerSec, in.nSamplesPerSec);
                EXPECT_EQ(out.nAvgBytesPerSec, rate * channels * f.bytes);
                EXPECT_EQ(out.nBlockAlign, in.nBlockAlign);
                EXPECT_EQ(out.wBitsPerSample, in.wBitsPerSample);
                EXPECT_EQ(out.cbSize, 14);
            }
}

TEST(Metadata, ExtensibleHeadersComeBackAsPlainPcm) {
    Metadata m = fresh();
    m.getFromWAVFORMATEX(header(0xFFFE, 6, 48000, 18, 24), 1);
    WavHeaderEx out{};
    m.setWAVFORMATEX(out);
    EXPECT_EQ(out.wFormatTag, 1);
    EXPECT_EQ(out.nChannels, 6);
    EXPECT_EQ(out.nBlockAlign, 18);
}
