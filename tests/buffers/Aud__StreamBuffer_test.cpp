#include "AudAtoms/AudAtoms.h"
#include "tests/support/BufferHelpers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace audatoms::test;

TEST(StreamBuffer, DefaultHasNoMemoryZeroSamplesAndUnknownType) {
    const Aud::StreamBuffer b;
    EXPECT_EQ(b.userTag, 0u);
    EXPECT_FALSE(b.memory);
    EXPECT_FALSE(b.hasMemory);
    EXPECT_EQ(b.numSamples, 0u);
    EXPECT_EQ(b.sampleType, -1);
}

TEST(StreamBuffer, ThreeArgumentConstructorSetsThoseFieldsOnly) {
    const Aud::StreamBuffer b(7, 480, 2);
    EXPECT_EQ(b.userTag, 7u);
    EXPECT_EQ(b.numSamples, 480u);
    EXPECT_EQ(b.sampleType, 2);
    EXPECT_FALSE(b.memory);
    EXPECT_FALSE(b.hasMemory);
}

TEST(StreamBuffer, CopyingTakesAReferenceAndDestructionReleasesIt) {
    int destroyed = 0;
    auto first = std::make_unique<Aud::StreamBuffer>(0, 4, 1);
    first->memory = Qm::Ptr<iMemHolder>(new CountingHolder(8, &destroyed));
    first->hasMemory = true;
    EXPECT_EQ(first->memory->refCount(), 1);
    {
        Aud::StreamBuffer copy = *first;
        EXPECT_EQ(copy.memory, first->memory);
        EXPECT_EQ(first->memory->refCount(), 2);
        EXPECT_TRUE(copy.hasMemory);
        EXPECT_EQ(copy.numSamples, 4u);
        EXPECT_EQ(copy.sampleType, 1);
    }
    EXPECT_EQ(first->memory->refCount(), 1);
    first.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(StreamBuffer, CopyKeepsItsMemoryWhenTheFirstIsDestroyed) {
    auto first = std::make_unique<Aud::StreamBuffer>(0, 3, 1);
    first->memory = memoryOf({1, 2, 3, 4, 5, 6});
    first->hasMemory = true;
    const Aud::StreamBuffer copy = *first;
    first.reset();
    ASSERT_TRUE(copy.memory);
    EXPECT_EQ(bytesOf(*copy.memory), (Bytes{1, 2, 3, 4, 5, 6}));  // read under the sanitizer
}

TEST(StreamBufferList, DefaultIsEmptyWithUnknownType) {
    const Aud::StreamBufferList list;
    EXPECT_TRUE(list.streamBuffers.empty());
    EXPECT_EQ(list.numSamples, 0u);
    EXPECT_EQ(list.sampleType, -1);
}

TEST(StreamBufferList, BuffersOutliveTheirList) {
    Aud::StreamBuffer kept;
    {
        Aud::StreamBufferList list;
        for (unsigned char c = 0; c < 4; ++c) {
            Aud::StreamBuffer b(0, 2, 1);
            b.memory = memoryOf({c, c, c, c});
            b.hasMemory = true;
            list.streamBuffers.push_back(b);
        }
        kept = list.streamBuffers[2];
    }
    EXPECT_EQ(bytesOf(*kept.memory), (Bytes{2, 2, 2, 2}));
    EXPECT_EQ(kept.memory->refCount(), 1);
}

TEST(MemRef, ViewsTheTargetAtItsOffset) {
    const Qm::Ptr<iMemHolder> target = memoryOf({10, 11, 12, 13, 14, 15, 16, 17});
    const MemRef view(target, 3, 4);
    EXPECT_EQ(view.getBuffer(), static_cast<unsigned char*>(target->getBuffer()) + 3);
    EXPECT_EQ(bytesOf(view), (Bytes{13, 14, 15, 16}));
    EXPECT_EQ(view.getOffset(), 3u);
    EXPECT_EQ(view.getTarget(), target);
}

TEST(MemRef, UsedEqualsSizeAndSetUsedChangesNothing) {
    MemRef view(memoryOf({1, 2, 3, 4, 5}), 1, 3);
    EXPECT_EQ(view.getSize(), 3u);
    EXPECT_EQ(view.getUsed(), view.getSize());
    EXPECT_EQ(view.setUsed(1), 0);
    EXPECT_EQ(view.setUsed(100), 0);
    EXPECT_EQ(view.getSize(), 3u);
    EXPECT_EQ(view.getUsed(), 3u);
}

TEST(MemRef, LastReferenceDestroysTheTarget) {
    int destroyed = 0;
    {
        Qm::Ptr<iMemHolder> view(new MemRef(Qm::Ptr<iMemHolder>(new CountingHolder(16, &destroyed)), 4, 8));
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(MemRef, TargetHeldElsewhereSurvivesTheView) {
    int destroyed = 0;
    Qm::Ptr<iMemHolder> target(new CountingHolder(16, &destroyed));
    {
        Qm::Ptr<iMemHolder> view(new MemRef(target, 0, 16));
        EXPECT_EQ(target->refCount(), 2);
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(target->refCount(), 1);
    target.reset();
    EXPECT_EQ(destroyed, 1);
}

TEST(MemRef, ViewKeepsTargetBytesReadableAfterOtherOwnersLetGo) {
    Qm::Ptr<iMemHolder> target = memoryOf({9, 8, 7, 6});
    Qm::Ptr<iMemHolder> view(new MemRef(target, 2, 2));
    target.reset();
    EXPECT_EQ(bytesOf(*view), (Bytes{7, 6}));
}

TEST(MemRef, WithoutTargetHasNoBuffer) {
    const MemRef view(Qm::Ptr<iMemHolder>(), 5, 0);
    EXPECT_EQ(view.getBuffer(), nullptr);
    EXPECT_EQ(view.getSize(), 0u);
}
