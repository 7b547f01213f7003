#include "platform/MemHolder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {
int buffersDestroyed = 0;
struct TrackedBuffer : ByteBufferImpl {
    using ByteBufferImpl::ByteBufferImpl;
    ~TrackedBuffer() override { ++buffersDestroyed; }
};
}  // namespace

TEST(MemHolder, AnEmptyBufferHoldsNothing) {
    const ByteBufferImpl b;
    EXPECT_EQ(b.getBuffer(), nullptr);
    EXPECT_EQ(b.getSize(), 0u);
    EXPECT_EQ(b.getUsed(), 0u);
}

TEST(MemHolder, AllocGivesAZeroFilledArrayInUseWhole) {
    ByteBufferImpl b;
    ASSERT_TRUE(b.alloc(64));
    ASSERT_NE(b.getBuffer(), nullptr);
    EXPECT_EQ(b.getSize(), 64u);
    EXPECT_EQ(b.getUsed(), 64u);
    const auto* p = static_cast<const unsigned char*>(b.getBuffer());
    for (unsigned i = 0; i < 64; ++i) EXPECT_EQ(p[i], 0) << i;
}

TEST(MemHolder, ReallocatingReplacesTheArrayAndZeroesIt) {
    ByteBufferImpl b(8);
    std::memset(b.getBuffer(), 0x5A, 8);
    ASSERT_TRUE(b.alloc(16));
    EXPECT_EQ(b.getSize(), 16u);
    const auto* p = static_cast<const unsigned char*>(b.getBuffer());
    for (unsigned i = 0; i < 16; ++i) EXPECT_EQ(p[i], 0) << i;
    ASSERT_TRUE(b.alloc(0));
    EXPECT_EQ(b.getBuffer(), nullptr);
    EXPECT_EQ(b.getSize(), 0u);
    EXPECT_EQ(b.getUsed(), 0u);
}

TEST(MemHolder, SetUsedAcceptsUpToTheCapacityOnly) {
    ByteBufferImpl b(32);
    EXPECT_EQ(b.setUsed(10), 0);
    EXPECT_EQ(b.getUsed(), 10u);
    EXPECT_EQ(b.setUsed(32), 0);
    EXPECT_EQ(b.getUsed(), 32u);
    EXPECT_EQ(b.setUsed(0), 0);
    EXPECT_EQ(b.getUsed(), 0u);
    EXPECT_NE(b.setUsed(33), 0);
    EXPECT_EQ(b.getUsed(), 0u) << "a refused setUsed changes nothing";
    EXPECT_EQ(b.getSize(), 32u);
}

TEST(MemHolder, SharedThroughThePointerTheLastReleaseFreesIt) {
    buffersDestroyed = 0;
    Qm::Ptr<iMemHolder> holder(new TrackedBuffer(128u));
    Qm::Ptr<iMemHolder> view = holder;
    EXPECT_EQ(view->getSize(), 128u);
    EXPECT_EQ(view->getBuffer(), holder->getBuffer());
    holder.reset();
    EXPECT_EQ(buffersDestroyed, 0);
    static_cast<unsigned char*>(view->getBuffer())[127] = 1;  // still owned, still writable
    view.reset();
    EXPECT_EQ(buffersDestroyed, 1);
}

TEST(MemHolder, MemsetFillsExactlyTheGivenBytes) {
    unsigned char bytes[10];
    std::memset(bytes, 0x11, sizeof bytes);
    Qm::Memset(bytes + 2, 0xAB, 5);
    const unsigned char expected[10] = {0x11, 0x11, 0xAB, 0xAB, 0xAB, 0xAB, 0xAB, 0x11, 0x11, 0x11};
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof bytes), 0);
    Qm::Memset(bytes, 0x00, 0);
    EXPECT_EQ(bytes[0], 0x11) << "a zero count writes nothing";
    Qm::Memset(nullptr, 0xFF, 0);  // nothing to write, nothing touched
}
