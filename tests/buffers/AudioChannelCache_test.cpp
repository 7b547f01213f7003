#include "AudAtoms/AudAtoms.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace audatoms::test;

namespace {

const char* const kSrc = "ole/AudAtoms/AudioChannelCache";

// Fills the entry for `key` with `channels` buffers of 16-bit samples (value = channel
// * 1000 + sample index) covering [start, start + length).
void fill(AudioChannelCache& cache, unsigned key, std::uint64_t start, unsigned length, unsigned channels,
          int type = 1) {
    Aud::StreamBufferList& list = cache.getBuffers({key, 0, start, length});
    list.streamBuffers.clear();
    const unsigned width = Aud::sampleTypeStride(type);
    for (unsigned c = 0; c < channels; ++c) {
        Bytes data;
        for (unsigned s = 0; s < length; ++s)
            for (unsigned b = 0; b < width; ++b) data.push_back(std::uint8_t((c * 1000 + s) >> (8 * (b % 2))));
        Aud::StreamBuffer buf(0, length, type);
        buf.memory = memoryOf(data);
        buf.hasMemory = true;
        list.streamBuffers.push_back(buf);
    }
    list.numSamples = length;
    list.sampleType = type;
}

}  // namespace

TEST(AudioChannelCacheReq, IsAnAggregateInFieldOrder) {
    const AudioChannelCacheReq r{3, 1, 1ull << 40, 64};
    EXPECT_EQ(r.key, 3u);
    EXPECT_EQ(r.channel, 1u);
    EXPECT_EQ(r.start, 1ull << 40);
    EXPECT_EQ(r.length, 64u);
}

TEST(AudioChannelCache, UnknownKeyIsNotContained) {
    const AudioChannelCache cache;
    EXPECT_FALSE(cache.contains({1, 0, 0, 0}));
}

TEST(AudioChannelCache, RangeEndingAtTheHeldEndIsContainedOneFurtherIsNot) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 100, 2);
    EXPECT_TRUE(cache.contains({1, 0, 1000, 100}));
    EXPECT_TRUE(cache.contains({1, 0, 1050, 50}));
    EXPECT_FALSE(cache.contains({1, 0, 1050, 51}));
    EXPECT_FALSE(cache.contains({1, 0, 1000, 101}));
    EXPECT_TRUE(cache.contains({1, 0, 1100, 0}));
}

TEST(AudioChannelCache, RangeStartingBeforeTheHeldRangeIsNotContained) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 100, 2);
    EXPECT_FALSE(cache.contains({1, 0, 999, 10}));
    EXPECT_FALSE(cache.contains({2, 0, 1000, 10}));  // other key
}

TEST(AudioChannelCache, SumsAreSixtyFourBit) {
    AudioChannelCache cache;
    const std::uint64_t start = (1ull << 32) - 10;
    fill(cache, 5, start, 20, 1);
    EXPECT_TRUE(cache.contains({5, 0, start + 5, 15}));  // ends past 2^32
    EXPECT_FALSE(cache.contains({5, 0, start + 5, 16}));
}

TEST(AudioChannelCache, SameStartReturnsTheCachedBufferItself) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 100, 2);
    const Aud::StreamBuffer& cached = cache.getBuffers({1, 0, 1000, 100}).streamBuffers[1];
    platform::LogCapture capture;
    const Aud::StreamBuffer r = cache.getResult({1, 1, 1000, 10});
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_EQ(r.memory, cached.memory);
    EXPECT_EQ(r.numSamples, 100u);
    EXPECT_EQ(r.sampleType, 1);
    EXPECT_TRUE(r.hasMemory);
}

TEST(AudioChannelCache, LaterStartGivesAViewIntoTheCachedMemory) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 100, 2);
    const Aud::StreamBuffer& cached = cache.getBuffers({1, 0, 1000, 100}).streamBuffers[0];
    const Aud::StreamBuffer r = cache.getResult({1, 0, 1010, 5});
    ASSERT_TRUE(r.memory);
    EXPECT_NE(r.memory, cached.memory);
    // 10 samples of 2 bytes: 20 bytes in, 10 fewer samples, to the end of the data.
    EXPECT_EQ(r.memory->getBuffer(), static_cast<unsigned char*>(cached.memory->getBuffer()) + 20);
    EXPECT_EQ(r.memory->getSize(), 200u - 20u);
    EXPECT_EQ(r.numSamples, 90u);
    EXPECT_EQ(r.sampleType, 1);
    EXPECT_TRUE(r.hasMemory);
    const auto* view = dynamic_cast<const MemRef*>(r.memory.get());
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->getOffset(), 20u);
    EXPECT_EQ(view->getTarget(), cached.memory);
    std::int16_t first;
    std::memcpy(&first, r.memory->getBuffer(), 2);
    EXPECT_EQ(first, 10);  // sample 10 of channel 0
}

TEST(AudioChannelCache, ViewOffsetsFollowTheSampleWidth) {
    const unsigned widths[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};
    for (int type = 0; type < 10; ++type) {
        AudioChannelCache cache;
        fill(cache, 9, 100, 50, 1, type);
        const Aud::StreamBuffer r = cache.getResult({9, 0, 107, 1});
        EXPECT_EQ(static_cast<const MemRef*>(r.memory.get())->getOffset(), 7 * widths[type]) << type;
        EXPECT_EQ(r.memory->getSize(), (50 - 7) * widths[type]) << type;
        EXPECT_EQ(r.numSamples, 43u);
    }
}

TEST(AudioChannelCache, ChannelPastTheListGivesAnEmptyBuffer) {
    AudioChannelCache cache;
    fill(cache, 1, 0, 10, 2);
    const Aud::StreamBuffer r = cache.getResult({1, 2, 0, 10});
    EXPECT_FALSE(r.memory);
    EXPECT_FALSE(r.hasMemory);
    EXPECT_EQ(r.sampleType, -1);
    EXPECT_EQ(r.numSamples, 0u);
}

TEST(AudioChannelCache, UncontainedRequestAssertsAndGoesOn) {
    AudioChannelCache cache;
    platform::LogCapture capture;
    const Aud::StreamBuffer r = cache.getResult({4, 0, 0, 1});  // no entry: one is created
    EXPECT_EQ(capture.assertionText(), assertionText("contains( req )", kSrc, 31));
    EXPECT_EQ(r.sampleType, -1);
    EXPECT_FALSE(cache.contains({4, 0, 0, 1}));
    EXPECT_TRUE(cache.contains({4, 0, 0, 0}));  // the created entry holds [0, 0)
}

TEST(AudioChannelCache, ViewPastTheDataIsEmptyNotOutside) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 10, 1);
    platform::LogCapture capture;
    const Aud::StreamBuffer r = cache.getResult({1, 0, 1020, 1});
    EXPECT_EQ(capture.assertionText(), assertionText("contains( req )", kSrc, 31));
    EXPECT_EQ(r.memory->getSize(), 0u);
    EXPECT_EQ(r.numSamples, 0u);
}

TEST(AudioChannelCache, UnknownSampleTypeAssertsAndViewsFromTheStart) {
    AudioChannelCache cache;
    fill(cache, 1, 1000, 10, 1);
    cache.getBuffers({1, 0, 1000, 10}).sampleType = 12;
    platform::LogCapture capture;
    const Aud::StreamBuffer r = cache.getResult({1, 0, 1004, 1});
    EXPECT_EQ(capture.assertionText(), assertionText("false", kSrc, 59));
    EXPECT_EQ(static_cast<const MemRef*>(r.memory.get())->getOffset(), 0u);
    EXPECT_EQ(r.numSamples, 6u);
}

TEST(AudioChannelCache, GetBuffersOverwritesTheEntryInPlace) {
    AudioChannelCache cache;
    fill(cache, 1, 0, 10, 2);
    Aud::StreamBufferList* first = &cache.getBuffers({1, 0, 500, 20});
    EXPECT_EQ(first->streamBuffers.size(), 2u);  // the caller refills it
    EXPECT_FALSE(cache.contains({1, 0, 0, 10}));
    EXPECT_TRUE(cache.contains({1, 0, 500, 20}));
    EXPECT_EQ(&cache.getBuffers({1, 0, 600, 1}), first);
}

TEST(AudioChannelCache, ViewsOutliveTheCache) {
    Aud::StreamBuffer view, same;
    {
        AudioChannelCache cache;
        fill(cache, 1, 1000, 100, 2);
        view = cache.getResult({1, 1, 1050, 10});
        same = cache.getResult({1, 0, 1000, 10});
    }
    std::int16_t v;
    std::memcpy(&v, view.memory->getBuffer(), 2);
    EXPECT_EQ(v, 1050);  // channel 1, sample 50
    std::memcpy(&v, static_cast<unsigned char*>(view.memory->getBuffer()) + 98, 2);
    EXPECT_EQ(v, 1099);  // the last sample, read under the sanitizer
    std::memcpy(&v, same.memory->getBuffer(), 2);
    EXPECT_EQ(v, 0);
}

TEST(AudioChannelCache, ViewsOutliveTheirEntrysNextFill) {
    AudioChannelCache cache;
    fill(cache, 1, 0, 100, 1);
    const Aud::StreamBuffer view = cache.getResult({1, 0, 40, 1});
    fill(cache, 1, 5000, 10, 1);  // the old list's memory now lives only in the view
    EXPECT_EQ(view.memory->refCount(), 1);
    std::int16_t v;
    std::memcpy(&v, view.memory->getBuffer(), 2);
    EXPECT_EQ(v, 40);
}

TEST(AudioChannelCache, WorksWithTheInterleaversOutput) {
    AudioChannelCache cache;
    AudioInterleaver a;
    const AudioChannelCacheReq req{7, 1, 2000, 4};
    ASSERT_FALSE(cache.contains(req));
    Aud::StreamBufferList& list = cache.getBuffers({7, 0, 2000, 4});
    const Bytes src = {0, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0};  // 4 frames, 2 channels
    ASSERT_EQ(a.deinterleaveAudio(4, Aud::Metadata(1, 2, 48000, 1, 0), memoryOf(src), list), 0);
    ASSERT_TRUE(cache.contains({7, 1, 2002, 2}));
    const Aud::StreamBuffer r = cache.getResult({7, 1, 2002, 2});
    EXPECT_EQ(bytesOf(*r.memory), (Bytes{5, 0, 7, 0}));
    EXPECT_EQ(r.numSamples, 2u);
}
