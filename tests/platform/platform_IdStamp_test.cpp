#include "platform/IdStamp.h"

#include <gtest/gtest.h>

#include <unordered_set>

TEST(IdStamp, DefaultConstructionMakesFreshValidIds) {
    const IdStamp a, b, c;
    EXPECT_TRUE(a.valid());
    EXPECT_TRUE(b.valid());
    EXPECT_NE(a, b);
    EXPECT_NE(b, c);
    EXPECT_NE(a, c);
}

TEST(IdStamp, CopiesAreEqual) {
    const IdStamp a;
    const IdStamp copy = a;
    IdStamp assigned;
    assigned = a;
    EXPECT_EQ(copy, a);
    EXPECT_EQ(assigned, a);
    EXPECT_EQ(a.compare(copy), 0);
    EXPECT_FALSE(a < copy);
    EXPECT_FALSE(copy < a);
}

TEST(IdStamp, InvalidateMakesTheInvalidIdThatSortsFirst) {
    IdStamp a, b;
    const IdStamp valid;
    a.invalidate();
    b.invalidate();
    EXPECT_FALSE(a.valid());
    EXPECT_EQ(a, b) << "all invalid ids are equal";
    EXPECT_EQ(a, IdStamp::invalidId());
    EXPECT_EQ(a.compare(b), 0);
    EXPECT_TRUE(a < valid);
    EXPECT_LT(a.compare(valid), 0);
    EXPECT_GT(valid.compare(a), 0);
}

TEST(IdStamp, CompareAgreesWithLessAndEquality) {
    const IdStamp ids[] = {IdStamp(), IdStamp(), IdStamp(), IdStamp::invalidId(), IdStamp()};
    for (const auto& x : ids) {
        for (const auto& y : ids) {
            const int c = x.compare(y);
            EXPECT_EQ(c < 0, x < y);
            EXPECT_EQ(c > 0, y < x);
            EXPECT_EQ(c == 0, x == y);
            EXPECT_EQ(c != 0, x != y);
            EXPECT_EQ(c, -y.compare(x));
        }
    }
}

TEST(IdStamp, LaterIdsOrderAfterEarlierOnes) {
    const IdStamp first;
    const IdStamp second;
    EXPECT_TRUE(first < second);
    EXPECT_LT(first.compare(second), 0);
}

TEST(IdStamp, HashesForUnorderedContainers) {
    std::unordered_set<IdStamp> set;
    const IdStamp a, b;
    set.insert(a);
    set.insert(b);
    set.insert(a);
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(set.count(a), 1u);
}
