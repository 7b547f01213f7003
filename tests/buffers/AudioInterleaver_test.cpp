// AudioInterleaver: construction, channel counts, output buffers, splitting and byte
// order. writeSamplesPlanar has its own file.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <random>

using namespace audatoms::test;

namespace {

const char* const kSrc = "ole/AudAtoms/AudioInterleaver";
const char* const kShape =
    "buffers.streamBuffers.size() == fmt.getChannelsPerStream() || buffers.streamBuffers.empty()";

Aud::Metadata format(int type, unsigned channels, bool bigEndian = false) {
    Aud::Metadata m(1, channels, 48000, type, Aud::keLocationMemory);
    if (bigEndian) m.setEndianType(Aud::keBigEndian);
    return m;
}

Bytes randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = std::uint8_t(rng());
    return b;
}

}  // namespace

TEST(AudioInterleaver, DefaultHasAZeroFormat) {
    const AudioInterleaver a;
    EXPECT_EQ(a.getLastError(), 0);
    EXPECT_EQ(int(a.getAudioFormat().getDataType()), 0);
    EXPECT_EQ(a.getAudioFormat().getChannelsPerStream(), 0u);
    EXPECT_EQ(a.getScratch(), nullptr);
    EXPECT_EQ(a.getScratchCapacity(), 0u);
}

TEST(AudioInterleaver, ConstructorMakesOneStreamAt48k) {
    const AudioInterleaver a(6, 8, Aud::eDataType(212));
    const Aud::Metadata& f = a.getAudioFormat();
    EXPECT_EQ(f.getAudioStreams(), 1u);
    EXPECT_EQ(f.getChannelsPerStream(), 8u);
    EXPECT_EQ(f.getSamplesPerSec(), 48000u);
    EXPECT_EQ(f.getSampleTypeNumber(), 6);
    EXPECT_EQ(f.getStride(), 4u);
    EXPECT_EQ(int(f.getDataType()), 212);
    EXPECT_EQ(a.getLastError(), 0);
}

TEST(AudioInterleaver, SetNumChannelsAcceptsOneToThirtyTwo) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    Aud::Metadata f = a.getAudioFormat();
    f.setAudioStreams(3);
    a.setAudioFormat(f);
    EXPECT_EQ(a.setNumChannels(32), AudioInterleaver::kSuccess);
    EXPECT_EQ(a.getAudioFormat().getChannelsPerStream(), 32u);
    EXPECT_EQ(a.getAudioFormat().getAudioStreams(), 1u);
    EXPECT_EQ(a.setNumChannels(1), 0);
    EXPECT_EQ(a.getAudioFormat().getChannelsPerStream(), 1u);
    for (unsigned bad : {0u, 33u, 1000u}) {
        EXPECT_EQ(a.setNumChannels(bad), 3);
        EXPECT_EQ(a.getLastError(), 3);
        EXPECT_EQ(a.getAudioFormat().getChannelsPerStream(), 1u);
    }
    EXPECT_EQ(a.setNumChannels(2), 0);
    EXPECT_EQ(a.getLastError(), 0);
}

TEST(AudioInterleaver, SleStoresAndReturns) {
    AudioInterleaver a;
    EXPECT_EQ(a.sle(AudioInterleaver::kNoSamples), 13);
    EXPECT_EQ(a.getLastError(), 13);
}

TEST(CreateOutputBuffers, RejectsChannelCountsOutsideOneToThirtyTwo) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    EXPECT_EQ(a.createOutputBuffers(10, format(1, 0), list), 3);
    EXPECT_EQ(a.createOutputBuffers(10, format(1, 33), list), 3);
    EXPECT_TRUE(list.streamBuffers.empty());
}

TEST(CreateOutputBuffers, OneChannelLeavesTheListAlone) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    list.streamBuffers.resize(3);
    list.numSamples = 77;
    platform::LogCapture capture;
    EXPECT_EQ(a.createOutputBuffers(10, format(1, 1), list), 0);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(list.streamBuffers.size(), 3u);
    EXPECT_EQ(list.numSamples, 77u);
}

TEST(CreateOutputBuffers, BuildsOneOwnedBufferPerChannel) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    EXPECT_EQ(a.createOutputBuffers(100, format(6, 3), list), 0);
    ASSERT_EQ(list.streamBuffers.size(), 3u);
    EXPECT_EQ(list.numSamples, 100u);
    EXPECT_EQ(list.sampleType, 6);
    for (const auto& b : list.streamBuffers) {
        EXPECT_EQ(b.userTag, 0u);
        EXPECT_EQ(b.numSamples, 100u);
        EXPECT_EQ(b.sampleType, 6);
        EXPECT_TRUE(b.hasMemory);
        ASSERT_TRUE(b.memory);
        EXPECT_EQ(b.memory->getSize(), 400u);
        EXPECT_EQ(b.memory->refCount(), 1);
    }
    EXPECT_NE(list.streamBuffers[0].memory, list.streamBuffers[1].memory);
}

TEST(CreateOutputBuffers, TwentyFourInFourBecomesPacked) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    EXPECT_EQ(a.createOutputBuffers(10, format(5, 2), list), 0);
    EXPECT_EQ(list.sampleType, 2);
    EXPECT_EQ(list.streamBuffers[0].sampleType, 2);
    EXPECT_EQ(list.streamBuffers[0].memory->getSize(), 30u);  // 10 x 3 bytes
}

TEST(CreateOutputBuffers, ReusesAListOfTheRightSizeAndCapacity) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    ASSERT_EQ(a.createOutputBuffers(100, format(1, 2), list), 0);
    const iMemHolder* m0 = list.streamBuffers[0].memory.get();
    const iMemHolder* m1 = list.streamBuffers[1].memory.get();
    EXPECT_EQ(list.streamBuffers[0].memory->getUsed(), 200u);
    platform::LogCapture capture;
    EXPECT_EQ(a.createOutputBuffers(60, format(1, 2), list), 0);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(list.streamBuffers[0].memory.get(), m0);
    EXPECT_EQ(list.streamBuffers[1].memory.get(), m1);
    EXPECT_EQ(list.streamBuffers[0].memory->getUsed(), 0u);
    EXPECT_EQ(list.streamBuffers[1].memory->getUsed(), 0u);
    EXPECT_EQ(list.numSamples, 100u);  // still the earlier count
    EXPECT_EQ(list.streamBuffers[0].numSamples, 100u);
}

TEST(CreateOutputBuffers, ReuseDoesNotCompareTheSampleType) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    ASSERT_EQ(a.createOutputBuffers(100, format(0, 2), list), 0);  // 4-byte samples
    const iMemHolder* m0 = list.streamBuffers[0].memory.get();
    EXPECT_EQ(a.createOutputBuffers(100, format(1, 2), list), 0);  // 2-byte samples fit
    EXPECT_EQ(list.streamBuffers[0].memory.get(), m0);
    EXPECT_EQ(list.sampleType, 0);  // the label stays as it was
}

TEST(CreateOutputBuffers, RebuildsWhenAnEntryCouldNotHoldTheSamples) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    ASSERT_EQ(a.createOutputBuffers(100, format(1, 2), list), 0);  // 200 bytes each
    const iMemHolder* m0 = list.streamBuffers[0].memory.get();
    EXPECT_EQ(a.createOutputBuffers(100, format(0, 2), list), 0);  // would need 400
    EXPECT_NE(list.streamBuffers[0].memory.get(), m0);
    EXPECT_EQ(list.streamBuffers[0].memory->getSize(), 400u);
    EXPECT_EQ(list.sampleType, 0);
}

TEST(CreateOutputBuffers, RebuildsWhenTheFirstEntryIsTooSmall) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    ASSERT_EQ(a.createOutputBuffers(10, format(1, 2), list), 0);
    EXPECT_EQ(a.createOutputBuffers(11, format(1, 2), list), 0);
    EXPECT_EQ(list.numSamples, 11u);
    EXPECT_EQ(list.streamBuffers[1].memory->getSize(), 22u);
}

TEST(CreateOutputBuffers, AListOfTheWrongSizeAssertsAndIsRebuilt) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    list.streamBuffers.resize(3);
    platform::LogCapture capture;
    EXPECT_EQ(a.createOutputBuffers(10, format(1, 2), list), 0);
    EXPECT_EQ(capture.assertionText(), assertionText(kShape, kSrc, 177));
    EXPECT_EQ(list.streamBuffers.size(), 2u);
    EXPECT_TRUE(list.streamBuffers[1].hasMemory);
}

TEST(CreateOutputBuffers, UsesTheObjectsFormatWhenNoneIsGiven) {
    AudioInterleaver a(2, 4, Aud::keAudioDataTypePCM);
    Aud::StreamBufferList list;
    EXPECT_EQ(a.createOutputBuffers(5, list), 0);
    EXPECT_EQ(list.streamBuffers.size(), 4u);
    EXPECT_EQ(list.streamBuffers[0].memory->getSize(), 15u);
}

TEST(CreateOutputBuffers, BuffersOutliveTheirListUnderTheSanitizer) {
    AudioInterleaver a;
    Aud::StreamBuffer kept;
    {
        Aud::StreamBufferList list;
        ASSERT_EQ(a.deinterleaveAudio(2, format(1, 2), memoryOf({1, 2, 3, 4, 5, 6, 7, 8}), list), 0);
        kept = list.streamBuffers[1];
    }
    EXPECT_EQ(bytesOf(*kept.memory), (Bytes{3, 4, 7, 8}));
}

TEST(Deinterleave, NullSourceIsStatus13) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    EXPECT_EQ(a.deinterleaveAudio(4, format(1, 2), Qm::Ptr<iMemHolder>(), list), 13);
}

TEST(Deinterleave, EmptySourceAssertsAndSucceedsWithoutTouchingTheList) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    Qm::Ptr<iMemHolder> source = memoryOf({1, 2, 3, 4});
    source->setUsed(0);
    platform::LogCapture capture;
    EXPECT_EQ(a.deinterleaveAudio(1, format(1, 2), source, list), 0);
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 245));
    EXPECT_TRUE(list.streamBuffers.empty());
}

TEST(Deinterleave, BadChannelCountIsStatus3) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    EXPECT_EQ(a.deinterleaveAudio(1, format(1, 0), memoryOf({1, 2}), list), 3);
    EXPECT_EQ(a.deinterleaveAudio(1, format(1, 40), memoryOf({1, 2}), list), 3);
}

TEST(Deinterleave, SourceTooSmallAssertsAndIsStatus11) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    platform::LogCapture capture;
    EXPECT_EQ(a.deinterleaveAudio(3, format(1, 2), memoryOf(Bytes(11)), list), 11);  // needs 12
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 326));
    capture.clear();
    EXPECT_EQ(a.deinterleaveAudio(3, format(1, 2), memoryOf(Bytes(12)), list), 0);
    EXPECT_EQ(capture.assertionText(), "");
}

TEST(Deinterleave, TwoChannelsSixteenBitByHand) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    const Bytes src = {0x01, 0x02, 0x11, 0x12, 0x03, 0x04, 0x13, 0x14};
    ASSERT_EQ(a.deinterleaveAudio(2, format(1, 2), memoryOf(src), list), 0);
    EXPECT_EQ(bytesOf(*list.streamBuffers[0].memory), (Bytes{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(bytesOf(*list.streamBuffers[1].memory), (Bytes{0x11, 0x12, 0x13, 0x14}));
    ASSERT_EQ(a.deinterleaveAudio(2, format(1, 2, true), memoryOf(src), list), 0);
    EXPECT_EQ(bytesOf(*list.streamBuffers[0].memory), (Bytes{0x02, 0x01, 0x04, 0x03}));
    EXPECT_EQ(bytesOf(*list.streamBuffers[1].memory), (Bytes{0x12, 0x11, 0x14, 0x13}));
}

TEST(Deinterleave, TwentyFourInFourReadsAtSampleByteOffsets) {
    // Little-endian reads start at c x 3 (not c x 4): channel 1 takes bytes 3..5 of
    // each 8-byte frame. Big-endian reads start at c x 4 + 2 and go backwards.
    AudioInterleaver a;
    Aud::StreamBufferList list;
    const Bytes src = {0xA0, 0xA1, 0xA2, 0xA3, 0xB0, 0xB1, 0xB2, 0xB3};
    platform::LogCapture capture;
    ASSERT_EQ(a.deinterleaveAudio(1, format(5, 2), memoryOf(src), list), 0);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(list.sampleType, 2);
    EXPECT_EQ(bytesOf(*list.streamBuffers[0].memory), (Bytes{0xA0, 0xA1, 0xA2}));
    EXPECT_EQ(bytesOf(*list.streamBuffers[1].memory), (Bytes{0xA3, 0xB0, 0xB1}));
    ASSERT_EQ(a.deinterleaveAudio(1, format(5, 2, true), memoryOf(src), list), 0);
    EXPECT_EQ(bytesOf(*list.streamBuffers[0].memory), (Bytes{0xA2, 0xA1, 0xA0}));
    EXPECT_EQ(bytesOf(*list.streamBuffers[1].memory), (Bytes{0xB2, 0xB1, 0xB0}));
}

TEST(Deinterleave, EveryTypeAndChannelCountInBothByteOrders) {
    // Expected bytes follow the rule: sample s of channel c is sampleBytes bytes from
    // s x frame + c x sampleBytes (little-endian), or read backwards from
    // s x frame + c x stride + sampleBytes - 1 (big-endian).
    for (int type = 0; type < 10; ++type)
        for (unsigned channels : {2u, 6u, 32u})
            for (bool be : {false, true})
                for (unsigned frames : {1u, 7u, 300u}) {
                    const unsigned stride = Aud::sampleTypeStride(type);
                    const unsigned sb = type == 5 ? 3 : stride;
                    const unsigned frame = channels * stride;
                    const Bytes src = randomBytes(std::size_t(frames) * frame, type * 1000 + channels + frames);
                    AudioInterleaver a;
                    Aud::StreamBufferList list;
                    ASSERT_EQ(a.deinterleaveAudio(frames, format(type, channels, be), memoryOf(src), list), 0);
                    ASSERT_EQ(list.streamBuffers.size(), channels);
                    EXPECT_EQ(list.sampleType, type == 5 ? 2 : type);
                    EXPECT_EQ(list.numSamples, frames);
                    for (unsigned c = 0; c < channels; ++c) {
                        Bytes want;
                        for (unsigned s = 0; s < frames; ++s)
                            for (unsigned b = 0; b < sb; ++b)
                                want.push_back(be ? src[s * frame + c * stride + sb - 1 - b]
                                                  : src[s * frame + c * sb + b]);
                        const auto& buf = list.streamBuffers[c];
                        EXPECT_EQ(buf.memory->getUsed(), frames * sb);
                        ASSERT_EQ(bytesOf(*buf.memory), want)
                            << "type " << type << " channels " << channels << (be ? " BE" : " LE") << " c " << c;
                    }
                }
}

TEST(Deinterleave, OneChannelSharesTheSourceMemory) {
    for (int type = 0; type < 10; ++type) {
        AudioInterleaver a;
        Aud::StreamBufferList list;
        list.streamBuffers.resize(4);
        const Bytes src = randomBytes(8 * 16, type);
        Qm::Ptr<iMemHolder> source = memoryOf(src);
        ASSERT_EQ(a.deinterleaveAudio(16, format(type, 1), source, list), 0);
        ASSERT_EQ(list.streamBuffers.size(), 1u);
        EXPECT_EQ(list.streamBuffers[0].memory, source);
        EXPECT_TRUE(list.streamBuffers[0].hasMemory);
        EXPECT_EQ(list.streamBuffers[0].numSamples, 16u);
        EXPECT_EQ(list.streamBuffers[0].sampleType, type);  // type 5 stays 5 here
        EXPECT_EQ(list.sampleType, type);
        EXPECT_EQ(list.numSamples, 16u);
        EXPECT_EQ(bytesOf(*source), src);  // little-endian: untouched
    }
}

TEST(Deinterleave, OneBigEndianChannelIsSwappedInPlace) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    Qm::Ptr<iMemHolder> s16 = memoryOf({1, 2, 3, 4});
    ASSERT_EQ(a.deinterleaveAudio(2, format(1, 1, true), s16, list), 0);
    EXPECT_EQ(bytesOf(*s16), (Bytes{2, 1, 4, 3}));
    Qm::Ptr<iMemHolder> s24 = memoryOf({1, 2, 3, 4, 5, 6});
    ASSERT_EQ(a.deinterleaveAudio(2, format(2, 1, true), s24, list), 0);
    EXPECT_EQ(bytesOf(*s24), (Bytes{3, 2, 1, 6, 5, 4}));
    EXPECT_EQ(list.streamBuffers[0].memory, s24);
}

TEST(Deinterleave, OneBigEndianFourByteChannelMirrorsTheLowHalf) {
    for (int type : {0, 5, 6, 8, 9}) {
        AudioInterleaver a;
        Aud::StreamBufferList list;
        Qm::Ptr<iMemHolder> source = memoryOf({0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88});
        ASSERT_EQ(a.deinterleaveAudio(2, format(type, 1, true), source, list), 0);
        EXPECT_EQ(bytesOf(*source), (Bytes{0x11, 0x22, 0x22, 0x11, 0x55, 0x66, 0x66, 0x55})) << type;
    }
}

TEST(Deinterleave, OneBigEndianChannelOfOtherStridesIsStatus11) {
    for (int type : {3, 4, 7}) {
        AudioInterleaver a;
        Aud::StreamBufferList list;
        Qm::Ptr<iMemHolder> source = memoryOf({1, 2, 3, 4, 5, 6, 7, 8});
        EXPECT_EQ(a.deinterleaveAudio(1, format(type, 1, true), source, list), 11) << type;
        EXPECT_EQ(bytesOf(*source), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
        EXPECT_TRUE(list.streamBuffers.empty());
    }
}

TEST(Deinterleave, OneChannelNeverSwapsPastTheSource) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    Qm::Ptr<iMemHolder> source = memoryOf({1, 2, 3});
    EXPECT_EQ(a.deinterleaveAudio(2, format(1, 1, true), source, list), 11);
    EXPECT_EQ(bytesOf(*source), (Bytes{1, 2, 3}));
}

TEST(Deinterleave, UsesTheObjectsFormatWhenNoneIsGiven) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    Aud::StreamBufferList list;
    ASSERT_EQ(a.deinterleaveAudio(1, memoryOf({1, 2, 3, 4}), list), 0);
    EXPECT_EQ(bytesOf(*list.streamBuffers[1].memory), (Bytes{3, 4}));
    EXPECT_EQ(a.getLastError(), 0);  // splitting does not set lastError
}

TEST(Deinterleave, DoesNotSetLastError) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    a.sle(AudioInterleaver::kPlaneCountMismatch);
    Aud::StreamBufferList list;
    EXPECT_EQ(a.deinterleaveAudio(1, Qm::Ptr<iMemHolder>(), list), 13);
    EXPECT_EQ(a.getLastError(), 12);
}

TEST(Deinterleave, ReusedListKeepsItsMemoryAndGetsTheNewSamples) {
    AudioInterleaver a;
    Aud::StreamBufferList list;
    ASSERT_EQ(a.deinterleaveAudio(4, format(1, 2), memoryOf(Bytes(16, 0)), list), 0);
    const iMemHolder* m0 = list.streamBuffers[0].memory.get();
    ASSERT_EQ(a.deinterleaveAudio(1, format(1, 2), memoryOf({9, 8, 7, 6}), list), 0);
    EXPECT_EQ(list.streamBuffers[0].memory.get(), m0);
    EXPECT_EQ(list.streamBuffers[0].memory->getUsed(), 2u);
    EXPECT_EQ(bytesOf(*list.streamBuffers[0].memory), (Bytes{9, 8}));
    EXPECT_EQ(list.numSamples, 4u);
}

TEST(CopyBigEndian, StrideTwoSwapsPairs) {
    AudioInterleaver a(1, 2, Aud::keAudioDataTypePCM);
    Bytes src = {1, 2, 3, 4, 5, 6}, dst(6, 0);
    EXPECT_EQ(a.copyBigEndianAudioToBuff(dst.data(), src.data(), 3), 6u);
    EXPECT_EQ(dst, (Bytes{2, 1, 4, 3, 6, 5}));
    EXPECT_EQ(a.copyBigEndianAudioToBuff(src.data(), src.data(), 2), 4u);  // in place
    EXPECT_EQ(src, (Bytes{2, 1, 4, 3, 5, 6}));
}

TEST(CopyBigEndian, StrideThreeAssertsAndReversesGroupsOfTheCountInBytes) {
    AudioInterleaver a(2, 2, Aud::keAudioDataTypePCM);
    Bytes src = {1, 2, 3, 4, 5, 6, 7}, dst(7, 0);
    platform::LogCapture capture;
    EXPECT_EQ(a.copyBigEndianAudioToBuff(dst.data(), src.data(), 7), 21u);  // stride x count
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 436));
    EXPECT_EQ(dst, (Bytes{3, 2, 1, 6, 5, 4, 0}));  // only whole groups
}

TEST(CopyBigEndian, StrideFourReversesGroupsOfTheCountInBytes) {
    AudioInterleaver a(6, 2, Aud::keAudioDataTypePCM);
    Bytes src = {1, 2, 3, 4, 5, 6, 7, 8}, dst(8, 0);
    EXPECT_EQ(a.copyBigEndianAudioToBuff(dst.data(), src.data(), 8), 32u);
    EXPECT_EQ(dst, (Bytes{4, 3, 2, 1, 8, 7, 6, 5}));
    EXPECT_EQ(a.copyBigEndianAudioToBuff(src.data(), src.data(), 4), 16u);
    EXPECT_EQ(src, (Bytes{4, 3, 2, 1, 5, 6, 7, 8}));
}

TEST(CopyBigEndian, OtherStridesCopyNothing) {
    for (int type : {3, 7}) {
        AudioInterleaver a(type, 2, Aud::keAudioDataTypePCM);
        Bytes src = {1, 2, 3, 4, 5, 6, 7, 8}, dst(8, 0);
        EXPECT_EQ(a.copyBigEndianAudioToBuff(dst.data(), src.data(), 2), Aud::sampleTypeStride(type) * 2);
        EXPECT_EQ(dst, Bytes(8, 0));
    }
}
