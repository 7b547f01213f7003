#include "platform/Streams.h"

#include "tests/support/BitCompare.h"
#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using audatoms::test::bitsOf;
using audatoms::test::ScratchDir;
using NString = LightweightString<char>;

namespace {
std::string bytes(std::initializer_list<unsigned char> b) {
    std::string s;
    for (unsigned char c : b) s += char(c);
    return s;
}

// One value of each type, in this order; the bytes worked out by hand, little-endian:
// 0xAB | 0x1234 -> 34 12 | -2 -> FE FF FF FF | 0xDEADBEEF -> EF BE AD DE |
// 1.0f = 0x3F800000 -> 00 00 80 3F.
void writeSample(StreamFile& f) {
    f.setCookedChar(0xAB);
    f.setUnsignedShort(0x1234);
    f.setLong(-2);
    f.setUnsignedLong(0xDEADBEEFu);
    f.setFloat(1.0f);
}
const std::string kSampleBytes =
    bytes({0xAB, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF, 0xEF, 0xBE, 0xAD, 0xDE, 0x00, 0x00, 0x80, 0x3F});

void expectSample(StreamFile& f) {
    EXPECT_EQ(f.getCookedChar(), 0xAB);
    EXPECT_EQ(f.getUnsignedShort(), 0x1234);
    EXPECT_EQ(f.getLong(), -2);
    EXPECT_EQ(f.getUnsignedLong(), 0xDEADBEEFu);
    EXPECT_EQ(f.getFloat(), 1.0f);
    EXPECT_FALSE(f.failed());
    EXPECT_TRUE(f.atEnd());
}
}  // namespace

// ---- in memory -------------------------------------------------------------------------

TEST(Streams, ANewStreamIsEmptyInMemory) {
    const StreamFile f;
    EXPECT_EQ(f.tell(), 0u);
    EXPECT_EQ(f.size(), 0u);
    EXPECT_TRUE(f.atEnd());
    EXPECT_TRUE(f.bytes().empty());
    EXPECT_FALSE(f.failed());
}

TEST(Streams, TypedValuesAreLittleEndianAndRoundTrip) {
    StreamFile f;
    writeSample(f);
    EXPECT_EQ(f.bytes(), kSampleBytes);
    EXPECT_EQ(f.tell(), 15u);
    f.seek(0);
    EXPECT_FALSE(f.atEnd());
    expectSample(f);
}

TEST(Streams, ExtremeValuesRoundTrip) {
    StreamFile f;
    f.setLong(std::numeric_limits<std::int32_t>::min());
    f.setLong(std::numeric_limits<std::int32_t>::max());
    f.setUnsignedLong(0xFFFFFFFFu);
    f.setUnsignedShort(0xFFFF);
    f.setCookedChar(0);
    const float floats[] = {-0.0f, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::denorm_min(),
                            std::numeric_limits<float>::quiet_NaN(), -1.5e-30f};
    for (float v : floats) f.setFloat(v);
    EXPECT_EQ(f.bytes().substr(0, 4), bytes({0x00, 0x00, 0x00, 0x80}));
    f.seek(0);
    EXPECT_EQ(f.getLong(), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(f.getLong(), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(f.getUnsignedLong(), 0xFFFFFFFFu);
    EXPECT_EQ(f.getUnsignedShort(), 0xFFFF);
    EXPECT_EQ(f.getCookedChar(), 0);
    for (float v : floats) EXPECT_EQ(bitsOf(f.getFloat()), bitsOf(v)) << "bit for bit";
}

TEST(Streams, WritingAfterSeekingBackOverwritesInPlace) {
    StreamFile f;
    for (int i = 0; i < 4; ++i) f.setLong(0x11111111 * (i + 1));
    f.seek(4);
    f.setLong(7);
    EXPECT_EQ(f.size(), 16u) << "overwriting does not grow the stream";
    EXPECT_EQ(f.tell(), 8u);
    EXPECT_EQ(f.bytes().substr(0, 12), bytes({0x11, 0x11, 0x11, 0x11, 0x07, 0x00, 0x00, 0x00, 0x33, 0x33, 0x33, 0x33}));
    f.seek(14);
    f.setUnsignedLong(0x01020304u);  // two bytes overwrite, two append
    EXPECT_EQ(f.size(), 18u);
    EXPECT_EQ(f.bytes().substr(12), bytes({0x44, 0x44, 0x04, 0x03, 0x02, 0x01}));
}

TEST(Streams, SeekingPastTheEndStopsAtTheEnd) {
    StreamFile f;
    f.setUnsignedShort(1);
    f.seek(100);
    EXPECT_EQ(f.tell(), 2u);
    EXPECT_TRUE(f.atEnd());
}

TEST(Streams, ReadsPastTheEndFailWithZeroValuesAndNoOverrun) {
    StreamFile f;
    f.setBytes(bytes({0x01, 0x02, 0x03}));
    EXPECT_EQ(f.getLong(), 0);
    EXPECT_TRUE(f.failed());
    EXPECT_EQ(f.tell(), 3u) << "the position is left at the end";
    EXPECT_EQ(f.getCookedChar(), 0);
    EXPECT_EQ(f.getFloat(), 0.0f);
    f.clearFailed();
    EXPECT_FALSE(f.failed());
    f.seek(1);
    EXPECT_EQ(f.getUnsignedShort(), 0x0302) << "a read that fits still works";
    EXPECT_FALSE(f.failed());
    char buffer[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    f.seek(2);
    EXPECT_FALSE(f.readBytes(buffer, 8));
    for (char c : buffer) EXPECT_EQ(c, 0) << "a failed read gives zero bytes";
}

TEST(Streams, GetStringReadsUpToAndIncludingTheNul) {
    StreamFile f;
    f.setBytes(std::string("AS\0T\0\0tail", 10));
    EXPECT_EQ(f.getString(), "AS");
    EXPECT_EQ(f.tell(), 3u);
    EXPECT_EQ(f.getString(), "T");
    const NString empty = f.getString();
    EXPECT_TRUE(empty.empty());
    EXPECT_FALSE(f.failed());
    EXPECT_EQ(f.getString(), "tail") << "no NUL before the end: what there is";
    EXPECT_TRUE(f.failed());
    EXPECT_TRUE(f.atEnd());
    f.clearFailed();
    EXPECT_TRUE(f.getString().empty());
    EXPECT_TRUE(f.failed()) << "at the end there is no string";
}

TEST(Streams, ReadBinaryReadsALengthAndThatManyBytes) {
    StreamFile f;
    f.setBytes(bytes({0x03, 0x00, 0x00, 0x00, 'a', 0x00, 'c', 0x00, 0x00, 0x00, 0x00, 'z'}));
    EXPECT_EQ(f.readBinary(), std::string("a\0c", 3));
    EXPECT_EQ(f.readBinary(), "") << "a zero-length block";
    EXPECT_FALSE(f.failed());
    EXPECT_EQ(f.getCookedChar(), 'z');
}

TEST(Streams, ReadBinaryWithALengthPastTheEndFails) {
    StreamFile f;
    f.setBytes(bytes({0xE8, 0x03, 0x00, 0x00, 'a', 'b', 'c'}));  // 1000 bytes announced, 3 there
    EXPECT_EQ(f.readBinary(), "");
    EXPECT_TRUE(f.failed());
    EXPECT_TRUE(f.atEnd());
    StreamFile huge;
    huge.setBytes(bytes({0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(huge.readBinary(), "");
    EXPECT_TRUE(huge.failed());
    StreamFile truncatedLength;
    truncatedLength.setBytes(bytes({0x01, 0x00}));
    EXPECT_EQ(truncatedLength.readBinary(), "");
    EXPECT_TRUE(truncatedLength.failed());
}

// ---- object stream framing -----------------------------------------------------------------

TEST(Streams, WriteBinaryOfSizeZeroWritesANulTerminatedString) {
    StreamFile f;
    PStream s(f);
    s.writeBinary("AS", 0, false, false);
    s.writeBinary("", 0, false, false);
    s.writeBinary(nullptr, 0, false, false);
    EXPECT_EQ(f.bytes(), std::string("AS\0\0\0", 5));
    f.seek(0);
    EXPECT_EQ(f.getString(), "AS");
}

TEST(Streams, WriteBinaryWithLengthWritesAUint32LengthFirst) {
    StreamFile f;
    PStream s(f);
    const unsigned char block[5] = {1, 0, 2, 0, 3};
    s.writeBinary(block, 5, true, false);
    s.writeBinary(block, 2, false, false);
    EXPECT_EQ(f.bytes(), bytes({0x05, 0x00, 0x00, 0x00, 1, 0, 2, 0, 3, 1, 0}));
    f.seek(0);
    EXPECT_EQ(f.readBinary(), std::string(reinterpret_cast<const char*>(block), 5));
    EXPECT_FALSE(s.failed());
}

TEST(Streams, WriteBinaryWithoutDataIsAnError) {
    StreamFile f;
    PStream s(f);
    s.writeBinary(nullptr, 4, true, false);
    EXPECT_TRUE(f.bytes().empty());
    EXPECT_TRUE(s.failed());
    EXPECT_FALSE(s.errorText().empty());
}

TEST(Streams, ErrorTextAccumulatesInOrder) {
    StreamFile f;
    PStream s(f);
    EXPECT_TRUE(s.errorText().empty());
    EXPECT_FALSE(s.failed());
    s.appendError("Encountered unknown version. ");
    s.appendError(NString("Unexpected end-of-file."));
    s.appendError(std::string(" Third."));
    EXPECT_EQ(s.errorText(), "Encountered unknown version. Unexpected end-of-file. Third.");
    EXPECT_FALSE(s.failed()) << "error text alone does not fail the stream";
    s.setFailed();
    EXPECT_TRUE(s.failed());
    s.clearFailed();
    EXPECT_FALSE(s.failed());
}

TEST(Streams, AStreamFailsWhenItsFileDoes) {
    StreamFile f;
    PStream s(f);
    EXPECT_EQ(f.getLong(), 0);
    EXPECT_TRUE(s.failed());
    s.clearFailed();
    EXPECT_FALSE(f.failed());
}

TEST(Streams, TheFormatNumberDefaultsToTwo) {
    StreamFile f;
    PStream s(f);
    EXPECT_EQ(s.formatNumber(), 2);
    s.setFormatNumber(1);
    EXPECT_EQ(s.formatNumber(), 1);
    EXPECT_EQ(&s.file(), &f);
}

// ---- on disk -------------------------------------------------------------------------------

TEST(Streams, AStreamWrittenToDiskHoldsExactlyItsBytes) {
    ScratchDir dir;
    const std::string path = dir.file("state.strm");
    {
        StreamFile out;
        ASSERT_TRUE(out.open(path, true));
        writeSample(out);
        ASSERT_TRUE(out.close()) << out.lastError();
    }
    EXPECT_EQ(audatoms::test::readFile(path), kSampleBytes);
    StreamFile in;
    ASSERT_TRUE(in.open(path, false)) << in.lastError();
    EXPECT_EQ(in.bytes(), kSampleBytes);
    expectSample(in);
}

TEST(Streams, TheDestructorWritesAStreamOpenedForWriting) {
    ScratchDir dir;
    const std::string path = dir.file("state.strm");
    {
        StreamFile out;
        ASSERT_TRUE(out.open(path, true));
        PStream s(out);
        s.writeBinary("T", 0, false, false);
    }
    EXPECT_EQ(audatoms::test::readFile(path), std::string("T\0", 2));
}

TEST(Streams, RewritingAFileReplacesItWhole) {
    ScratchDir dir;
    const std::string path = dir.file("state.strm");
    audatoms::test::writeFile(path, std::string(1000, '\x7F'));
    StreamFile out;
    ASSERT_TRUE(out.open(path, true));
    out.setUnsignedShort(0xBEEF);
    ASSERT_TRUE(out.close());
    EXPECT_EQ(audatoms::test::readFile(path), bytes({0xEF, 0xBE}));
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"state.strm"});
}

TEST(Streams, OpeningAMissingFileFailsAndReadsFail) {
    ScratchDir dir;
    StreamFile in;
    EXPECT_FALSE(in.open(dir.file("absent.strm"), false));
    EXPECT_FALSE(in.lastError().empty());
    EXPECT_EQ(in.getUnsignedLong(), 0u);
    EXPECT_TRUE(in.failed());
}

TEST(Streams, ClosingIntoAMissingDirectoryFailsWithAReason) {
    ScratchDir dir;
    StreamFile out;
    ASSERT_TRUE(out.open(dir.file("missing/state.strm"), true));
    out.setCookedChar(1);
    EXPECT_FALSE(out.close());
    EXPECT_NE(out.lastError().find("missing/state.strm"), std::string::npos) << out.lastError();
    EXPECT_TRUE(out.close()) << "nothing is left to write";
}
