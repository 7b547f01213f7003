// Level store: insertions, erasures, guard adjustment, moves and audio-black sections.
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"
#include "platform/FrameRate.h"
#include "tests/support/FrameDuration.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

using Aud::DynamicLevelControl::Store;
using Node = Store::Node;

namespace {

constexpr Store::eNodeType N = Store::kNormal;
constexpr Store::eNodeType S = Store::kStartGuard;
constexpr Store::eNodeType E = Store::kEndGuard;
constexpr Store::eNodeType M = Store::kMarkedForDelete;

void* reader() { return reinterpret_cast<void*>(std::uintptr_t(0x1234)); }

struct Expect {
    double time;
    float level;
    Store::eNodeType type;
};

class LevelEdit : public ::testing::Test {
protected:
    audatoms::test::FrameDurationScope frame_{0.04};

    // Builds the store exactly as given (no adjustment).
    void build(const std::vector<Expect>& nodes) {
        for (const Expect& e : nodes) store.insert_noAdjust(Node(e.time, e.level, e.type, false));
    }
    std::string dump() const {
        std::string s;
        for (Store::iterator it = store.begin(); it != store.end(); ++it)
            s += std::to_string(it.getRawTime()) + "/" + std::to_string(it.getLevel()) + "/" +
                 std::to_string(int(it.getNodeType())) + " ";
        return s;
    }
    void expectNodes(const std::vector<Expect>& nodes) const {
        ASSERT_EQ(store.size(), nodes.size()) << dump();
        Store::iterator it = store.begin();
        for (const Expect& e : nodes) {
            EXPECT_EQ(it.getRawTime(), e.time) << dump();
            EXPECT_EQ(it.getLevel(), e.level) << "at " << e.time << ": " << dump();
            EXPECT_EQ(it.getNodeType(), e.type) << "at " << e.time;
            ++it;
        }
    }

    Store store;
};

}  // namespace

// ---- insert -----------------------------------------------------------------------------

TEST_F(LevelEdit, InsertWithinToleranceReplaces) {
    store.insert(Node(1.0, 0.5f));
    store.insert(Node(1.0 + 5e-7, 0.7f));
    expectNodes({{1.0 + 5e-7, 0.7f, N}});
    const double earlier = 1.0 + 5e-7 - 9e-7;
    store.insert(Node(earlier, 0.2f));
    expectNodes({{earlier, 0.2f, N}});
    // 2e-6 apart: two separate points.
    store.insert(Node(earlier + 2e-6, 0.9f));
    EXPECT_EQ(store.size(), 2u);
}

TEST_F(LevelEdit, InsertNormalNodeSetsNeighbouringGuards) {
    build({{0.0, 0.3f, S}, {2.0, 0.3f, E}});
    store.insert(Node(1.0, 0.8f));
    expectNodes({{0.0, 0.8f, S}, {1.0, 0.8f, N}, {2.0, 0.8f, E}});
}

TEST_F(LevelEdit, InsertNormalNodeLeavesNonGuardNeighbours) {
    build({{0.0, 0.3f, N}, {2.0, 0.4f, N}});
    store.insert(Node(1.0, 0.8f));
    expectNodes({{0.0, 0.3f, N}, {1.0, 0.8f, N}, {2.0, 0.4f, N}});
}

TEST_F(LevelEdit, InsertedStartGuardTakesTheNextLevel) {
    build({{1.0, 0.6f, N}});
    store.insert(Node(0.0, 0.1f, S, false));
    expectNodes({{0.0, 0.6f, S}, {1.0, 0.6f, N}});
    // With nothing after it, a start guard keeps its own level.
    store.insert(Node(5.0, 0.2f, S, false));
    expectNodes({{0.0, 0.6f, S}, {1.0, 0.6f, N}, {5.0, 0.2f, S}});
}

TEST_F(LevelEdit, InsertedEndGuardTakesThePreviousLevel) {
    build({{1.0, 0.6f, N}});
    store.insert(Node(2.0, 0.1f, E, false));
    expectNodes({{1.0, 0.6f, N}, {2.0, 0.6f, E}});
    // As the first node it keeps its own level.
    store.insert(Node(0.0, 0.25f, E, false));
    expectNodes({{0.0, 0.25f, E}, {1.0, 0.6f, N}, {2.0, 0.6f, E}});
}

TEST_F(LevelEdit, InsertedMarkedNodeIsNotAdjusted) {
    build({{0.0, 0.3f, S}, {2.0, 0.3f, E}});
    store.insert(Node(1.0, 0.8f, M, false));
    expectNodes({{0.0, 0.3f, S}, {1.0, 0.8f, M}, {2.0, 0.3f, E}});
}

TEST_F(LevelEdit, InsertReturnsTheNewNodeAndNotifies) {
    store.acknowledgeModification(reader(), nullptr);
    Store::iterator it = store.insert(Node(3.0, 0.5f));
    EXPECT_EQ(it.getRawTime(), 3.0);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
}

TEST_F(LevelEdit, HintedInsertAdjustsLikeInsert) {
    build({{0.0, 0.3f, S}, {2.0, 0.3f, E}});
    Store::iterator hint = store.find(2.0);
    Store::iterator it = store.insert(hint, Node(1.0, 0.8f));
    EXPECT_EQ(it.getRawTime(), 1.0);
    expectNodes({{0.0, 0.8f, S}, {1.0, 0.8f, N}, {2.0, 0.8f, E}});
    // A useless hint (far away, or from another store) still lands in order.
    Store other;
    other.insert(Node(100.0, 0.0f));
    store.insert(other.begin(), Node(1.5, 0.1f));
    store.insert(store.begin(), Node(10.0, 0.2f));
    EXPECT_EQ(store.find(1.2).getRawTime(), 1.5);
    EXPECT_EQ(store.find(3.0).getRawTime(), 10.0);
    EXPECT_EQ(other.size(), 1u);
}

TEST_F(LevelEdit, HintedInsertReplacesWithinToleranceEvenWhenTheHintGoes) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}});
    Store::iterator hint = store.find(2.0);
    store.insert(hint, Node(2.0 + 1e-7, 0.9f));
    expectNodes({{1.0, 0.1f, N}, {2.0 + 1e-7, 0.9f, N}});
}

TEST_F(LevelEdit, InsertNoAdjustKeepsDuplicatesInOrder) {
    store.insert_noAdjust(Node(1.0, 0.1f));
    store.insert_noAdjust(Node(1.0, 0.2f));
    store.insert_noAdjust(Node(1.0, 0.3f, S, false));
    expectNodes({{1.0, 0.1f, N}, {1.0, 0.2f, N}, {1.0, 0.3f, S}});
    // A hint at an equal-time node places the new node just before it.
    Store::iterator second = ++store.begin();
    store.insert_noAdjust(second, Node(1.0, 0.15f));
    expectNodes({{1.0, 0.1f, N}, {1.0, 0.15f, N}, {1.0, 0.2f, N}, {1.0, 0.3f, S}});
}

TEST_F(LevelEdit, InsertNoAdjustDoesNotTouchGuards) {
    build({{0.0, 0.3f, S}, {2.0, 0.3f, E}});
    store.insert_noAdjust(Node(1.0, 0.8f));
    expectNodes({{0.0, 0.3f, S}, {1.0, 0.8f, N}, {2.0, 0.3f, E}});
}

// ---- erase(iterator) ---------------------------------------------------------------

TEST_F(LevelEdit, EraseNodeAfterStartGuardPassesTheNextLevelBack) {
    build({{0.0, 0.5f, S}, {1.0, 0.5f, N}, {2.0, 0.7f, N}, {3.0, 0.7f, E}});
    Store::iterator r = store.erase(store.find(1.0));
    EXPECT_EQ(r.getRawTime(), 2.0);
    expectNodes({{0.0, 0.7f, S}, {2.0, 0.7f, N}, {3.0, 0.7f, E}});
}

TEST_F(LevelEdit, EraseBeforeAnEndGuardGivesItThePreviousLevel) {
    build({{0.0, 0.2f, N}, {1.0, 0.5f, N}, {2.0, 0.5f, E}});
    Store::iterator r = store.erase(store.find(1.0));
    EXPECT_TRUE(r.isEndGuard());
    expectNodes({{0.0, 0.2f, N}, {2.0, 0.2f, E}});
}

TEST_F(LevelEdit, EraseLeavesAGuardAfterAStartGuardAlone) {
    build({{0.0, 0.4f, S}, {1.0, 0.5f, N}, {2.0, 0.6f, E}});
    store.erase(store.find(1.0));
    expectNodes({{0.0, 0.4f, S}, {2.0, 0.6f, E}});
}

TEST_F(LevelEdit, EraseFirstNodeLeavesTheGuardThatBecomesFirst) {
    build({{0.0, 0.4f, N}, {1.0, 0.9f, E}});
    store.erase(store.begin());
    expectNodes({{1.0, 0.9f, E}});
}

TEST_F(LevelEdit, EraseMakesAStartGuardTakeThePreviousLevel) {
    // The result is a guard of either kind: a start guard after an end guard takes
    // the end guard's level.
    build({{0.0, 0.4f, E}, {1.0, 0.5f, N}, {2.0, 0.9f, S}, {3.0, 0.9f, N}});
    store.erase(store.find(1.0));
    expectNodes({{0.0, 0.4f, E}, {2.0, 0.4f, S}, {3.0, 0.9f, N}});
}

TEST_F(LevelEdit, EraseOfEndRemovesNothing) {
    build({{0.0, 0.4f, N}});
    store.acknowledgeModification(reader(), nullptr);
    Store::iterator r = store.erase(store.end());
    EXPECT_TRUE(r == store.end());
    EXPECT_EQ(store.size(), 1u);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
}

// ---- erase(t1, t2) and erase(first, last) -------------------------------------------

TEST_F(LevelEdit, RangeEraseSkipsOneNodeWhileNoAdjustDoesNot) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});
    Store::iterator r = store.erase(1.0, 3.0);  // removes 1 and 2; 3 survives
    EXPECT_EQ(r.getRawTime(), 4.0);
    expectNodes({{0.0, 0.1f, N}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});

    Store other;
    for (double t : {0.0, 1.0, 2.0, 3.0, 4.0}) other.insert_noAdjust(Node(t, 0.0f));
    Store::iterator q = other.erase_noAdjust(1.0, 3.0);
    EXPECT_EQ(q.getRawTime(), 3.0);
    EXPECT_EQ(other.size(), 3u);
}

TEST_F(LevelEdit, RangeEraseIsHalfOpenOnRawTime) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, E}, {3.0, 0.3f, N}});
    store.erase_noAdjust(1.0, 2.0);  // [1, 2): the end guard at raw 2 stays
    expectNodes({{2.0, 0.2f, E}, {3.0, 0.3f, N}});
}

TEST_F(LevelEdit, RangeEraseToTheEndReturnsTheEnd) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}});
    EXPECT_TRUE(store.erase(0.5, 10.0) == store.end());
    EXPECT_TRUE(store.erase_noAdjust(0.5, 10.0) == store.end());
    // The survivor at or after t2 is the last node: its successor is the end.
    build({{5.0, 0.3f, N}});
    EXPECT_TRUE(store.erase(0.5, 5.0) == store.end());
}

TEST_F(LevelEdit, ReversedRangeRemovesNothing) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}});
    store.erase(2.0, 0.0);
    store.erase_noAdjust(2.0, 0.0);
    EXPECT_EQ(store.size(), 3u);
}

TEST_F(LevelEdit, RangeEraseAdjustsAStartGuardBeforeTheResult) {
    // Removing [2, 3) leaves 3; the result is 4, preceded by... 3 (normal): no change.
    // Removing the normal node after a start guard that is not first: the start guard
    // before the result takes its level.
    build({{0.0, 0.1f, N}, {1.0, 0.2f, S}, {2.0, 0.3f, N}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});
    store.erase(1.5, 2.5);  // removes 2; survivor 3; result 4, before it 3: nothing
    expectNodes({{0.0, 0.1f, N}, {1.0, 0.2f, S}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});
    store.erase(2.5, 3.5);  // removes 3; survivor 4; result end: nothing
    expectNodes({{0.0, 0.1f, N}, {1.0, 0.2f, S}, {4.0, 0.5f, N}});

    Store s2;
    for (Expect e : std::vector<Expect>{{0.0, 0.1f, N}, {1.0, 0.2f, S}, {2.0, 0.3f, N}, {3.0, 0.4f, N}})
        s2.insert_noAdjust(Node(e.time, e.level, e.type, false));
    // Erase [0.5, 1.0) removes nothing; survivor 1 (S), result 2 (normal) whose
    // predecessor is the start guard, not the first node: it takes 0.3.
    Store::iterator r = s2.erase(0.5, 1.0);
    EXPECT_EQ(r.getRawTime(), 2.0);
    EXPECT_EQ(s2.find(1.0).getLevel(), 0.3f);
}

TEST_F(LevelEdit, RangeEraseLeavesAFirstStartGuardAlone) {
    build({{1.0, 0.2f, S}, {2.0, 0.3f, N}, {3.0, 0.4f, N}});
    // Nothing in [0, 0.5); survivor 1 (S, first); result 2 normal after a start guard
    // that is the first node: no change.
    store.erase(0.0, 0.5);
    expectNodes({{1.0, 0.2f, S}, {2.0, 0.3f, N}, {3.0, 0.4f, N}});
}

TEST_F(LevelEdit, RangeEraseGivesAnEndGuardResultThePreviousLevel) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.9f, E}});
    // Remove [0.5, 1.5): survivor 2, result the end guard 3, before it 2 (normal,
    // not first): the end guard takes 0.3.
    Store::iterator r = store.erase(0.5, 1.5);
    EXPECT_TRUE(r.isEndGuard());
    expectNodes({{0.0, 0.1f, N}, {2.0, 0.3f, N}, {3.0, 0.3f, E}});
}

TEST_F(LevelEdit, RangeEraseEndGuardAfterFirstOrStartGuardIsLeft) {
    build({{2.0, 0.3f, N}, {3.0, 0.9f, E}});
    store.erase(0.0, 1.0);  // result 3 (E) after the first node: unchanged
    expectNodes({{2.0, 0.3f, N}, {3.0, 0.9f, E}});
    store.clear();
    build({{0.0, 0.1f, N}, {2.0, 0.3f, S}, {3.0, 0.9f, E}});
    store.erase(1.0, 1.5);  // result 3 (E) after a start guard: unchanged
    expectNodes({{0.0, 0.1f, N}, {2.0, 0.3f, S}, {3.0, 0.9f, E}});
}

TEST_F(LevelEdit, IteratorRangeEraseReturnsTheSuccessorOfLast) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});
    Store::iterator r = store.erase(store.find(1.0), store.find(3.0));
    EXPECT_EQ(r.getRawTime(), 4.0);
    expectNodes({{0.0, 0.1f, N}, {3.0, 0.4f, N}, {4.0, 0.5f, N}});
    r = store.erase(store.find(3.0), store.end());
    EXPECT_TRUE(r == store.end());
    expectNodes({{0.0, 0.1f, N}});
}

TEST_F(LevelEdit, IteratorRangeEraseAdjustsAroundTheResult) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.4f, N}, {4.0, 0.8f, E}});
    // Remove [1, 3): last is 3, result its successor, the end guard, after 3 (normal,
    // not first): the guard takes 0.4.
    store.erase(store.find(1.0), store.find(3.0));
    expectNodes({{0.0, 0.1f, N}, {3.0, 0.4f, N}, {4.0, 0.4f, E}});
}

TEST_F(LevelEdit, IteratorRangeEraseWithLastBeforeFirstRemovesNothing) {
    build({{0.0, 0.1f, N}, {1.0, 0.2f, N}, {2.0, 0.3f, N}});
    store.erase(store.find(2.0), store.find(0.0));
    EXPECT_EQ(store.size(), 3u);
}

TEST_F(LevelEdit, EraseNoAdjustOfOneNode) {
    build({{0.0, 0.4f, S}, {1.0, 0.5f, N}, {2.0, 0.6f, E}});
    Store::iterator r = store.erase_noAdjust(store.find(1.0));
    EXPECT_TRUE(r.isEndGuard());
    expectNodes({{0.0, 0.4f, S}, {2.0, 0.6f, E}});
    EXPECT_TRUE(store.erase_noAdjust(store.end()) == store.end());
    EXPECT_EQ(store.size(), 2u);
}

// ---- eraseNonGuard -------------------------------------------------------------------

TEST_F(LevelEdit, EraseNonGuardByTimeKeepsGuards) {
    build({{0.0, 0.1f, N}, {1.0, 0.5f, S}, {2.0, 0.5f, N}, {3.0, 0.6f, N}, {4.0, 0.6f, E}, {5.0, 0.9f, N}});
    // From find(1 - 1e-6) up to find(5 - 1e-6): removes 2 and 3 with the adjusting erase.
    store.eraseNonGuard(1.0, 5.0);
    // Erasing 2: result 3 (normal) after S: S takes 0.6. Erasing 3: result E (guard)
    // after S: left alone.
    expectNodes({{0.0, 0.1f, N}, {1.0, 0.6f, S}, {4.0, 0.6f, E}, {5.0, 0.9f, N}});
}

TEST_F(LevelEdit, EraseNonGuardByTimeUsesTheTolerance) {
    build({{1.0 - 5e-7, 0.1f, N}, {2.0, 0.2f, N}, {3.0 - 5e-7, 0.3f, N}, {4.0, 0.4f, N}});
    // A node 5e-7 before t1 is inside; one 5e-7 before t2 is outside.
    store.eraseNonGuard(1.0, 3.0);
    expectNodes({{3.0 - 5e-7, 0.3f, N}, {4.0, 0.4f, N}});
}

TEST_F(LevelEdit, EraseNonGuardEmptiedSectionSetsBothGuardsToUnity) {
    build({{0.0, 0.3f, S}, {1.0, 0.3f, N}, {2.0, 0.3f, E}});
    store.eraseNonGuard(store.find(1.0), store.find(2.0));
    expectNodes({{0.0, 1.0f, S}, {2.0, 1.0f, E}});
}

TEST_F(LevelEdit, EraseNonGuardIteratorsSweepsTheWholeStore) {
    // The sweep runs over the whole store, also outside the erased range.
    build({{0.0, 0.3f, S},
           {1.0, 0.7f, N},
           {2.0, 0.2f, E},  // inconsistent section
           {3.0, 0.5f, S},
           {4.0, 0.5f, N},
           {5.0, 0.5f, N},
           {6.0, 0.5f, E}});
    store.eraseNonGuard(store.find(4.0), store.find(5.0));  // removes 4 only
    expectNodes({{0.0, 0.7f, S}, {1.0, 0.7f, N}, {2.0, 0.7f, E}, {3.0, 0.5f, S}, {5.0, 0.5f, N}, {6.0, 0.5f, E}});
}

TEST_F(LevelEdit, EraseNonGuardIteratorsKeepsGuardsInTheRange) {
    build({{0.0, 0.3f, N}, {1.0, 0.4f, S}, {2.0, 0.4f, N}, {3.0, 0.4f, E}, {4.0, 0.9f, N}});
    store.eraseNonGuard(store.begin(), store.end());
    expectNodes({{1.0, 1.0f, S}, {3.0, 1.0f, E}});
}

// ---- iterator setters ------------------------------------------------------------------

TEST_F(LevelEdit, SetLevelAdjustsNeighbouringGuards) {
    build({{0.0, 0.3f, S}, {1.0, 0.3f, N}, {2.0, 0.3f, E}});
    store.acknowledgeModification(reader(), nullptr);
    store.find(1.0).setLevel(0.6f);
    expectNodes({{0.0, 0.6f, S}, {1.0, 0.6f, N}, {2.0, 0.6f, E}});
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
}

TEST_F(LevelEdit, SetLevelOnAnEndGuardChangesOnlyIt) {
    build({{0.0, 0.3f, S}, {1.0, 0.3f, E}, {2.0, 0.3f, E}});
    store.find(1.0).setLevel(0.6f);
    expectNodes({{0.0, 0.3f, S}, {1.0, 0.6f, E}, {2.0, 0.3f, E}});
}

TEST_F(LevelEdit, SetLevelOnAStartGuardAdjustsAStartGuardBefore) {
    build({{0.0, 0.3f, S}, {1.0, 0.3f, S}, {2.0, 0.3f, E}});
    store.find(1.0).setLevel(0.6f);
    expectNodes({{0.0, 0.6f, S}, {1.0, 0.6f, S}, {2.0, 0.6f, E}});
}

TEST_F(LevelEdit, SetNodeTypeAndAudioBlackDoNotAdjust) {
    build({{0.0, 0.3f, S}, {1.0, 0.5f, N}, {2.0, 0.3f, E}});
    store.acknowledgeModification(reader(), nullptr);
    store.find(1.0).setNodeType(M);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
    store.acknowledgeModification(reader(), nullptr);
    store.find(1.0).setInAudioBlackSection(true);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
    expectNodes({{0.0, 0.3f, S}, {1.0, 0.5f, M}, {2.0, 0.3f, E}});
    EXPECT_TRUE(store.find(1.0).isInAudioBlack());
}

TEST_F(LevelEdit, RawSetLevelNeitherNotifiesNorAdjusts) {
    build({{0.0, 0.3f, S}, {1.0, 0.3f, N}, {2.0, 0.3f, E}});
    store.acknowledgeModification(reader(), nullptr);
    store.setLevel(store.find(1.0), 0.9f);
    expectNodes({{0.0, 0.3f, S}, {1.0, 0.9f, N}, {2.0, 0.3f, E}});
    EXPECT_FALSE(store.queryModification(reader(), nullptr));
}

// ---- setTime ---------------------------------------------------------------------------

TEST_F(LevelEdit, SetTimeToTheSameTimeKeepsAcknowledgements) {
    build({{1.0, 0.3f, N}, {2.0, 0.4f, N}});
    store.acknowledgeModification(reader(), nullptr);
    store.find(1.0).setTime(1.0);
    EXPECT_FALSE(store.queryModification(reader(), nullptr));
    store.find(1.0).setTime(1.5);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
}

TEST_F(LevelEdit, SetTimeBetweenNeighboursMovesInPlace) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}, {3.0, 0.3f, N}});
    Store::iterator it = store.find(2.0);
    it.setTime(2.9);
    EXPECT_EQ(it.getRawTime(), 2.9);
    expectNodes({{1.0, 0.1f, N}, {2.9, 0.2f, N}, {3.0, 0.3f, N}});
    it.setTime(1.1);
    expectNodes({{1.0, 0.1f, N}, {1.1, 0.2f, N}, {3.0, 0.3f, N}});
}

TEST_F(LevelEdit, EndNodesMoveFreelyOutwards) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}, {3.0, 0.3f, N}});
    store.find(1.0).setTime(-50.0);
    store.find(3.0).setTime(80.0);
    expectNodes({{-50.0, 0.1f, N}, {2.0, 0.2f, N}, {80.0, 0.3f, N}});
    // A lone node moves anywhere.
    Store one;
    one.insert(Node(1.0, 0.5f));
    one.begin().setTime(7.0);
    EXPECT_EQ(one.begin().getRawTime(), 7.0);
}

TEST_F(LevelEdit, MovingLaterErasesTheNodesPassedOver) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}, {3.0, 0.3f, N}, {4.0, 0.4f, N}, {5.0, 0.5f, N}});
    Store::iterator it = store.find(2.0);
    it.setTime(4.0);  // erases [2.005, 4.000001): 3 and 4
    EXPECT_EQ(it.getRawTime(), 4.0);
    EXPECT_EQ(it.getLevel(), 0.2f);
    expectNodes({{1.0, 0.1f, N}, {4.0, 0.2f, N}, {5.0, 0.5f, N}});
}

TEST_F(LevelEdit, MovingEarlierErasesTheNodesPassedOver) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}, {3.0, 0.3f, N}, {4.0, 0.4f, N}, {5.0, 0.5f, N}});
    Store::iterator it = store.find(4.0);
    it.setTime(1.5);  // erases [1.499999, 3.995): 2 and 3
    expectNodes({{1.0, 0.1f, N}, {1.5, 0.4f, N}, {5.0, 0.5f, N}});
}

TEST_F(LevelEdit, MovingKeepsNodesWithinTheMarginAndStaysOrdered) {
    build({{1.0, 0.1f, N}, {1.003, 0.2f, N}, {3.0, 0.3f, N}});
    Store::iterator it = store.find(1.0);
    it.setTime(2.0);  // crosses 1.003, which lies within 0.005 of the old place: kept
    expectNodes({{1.003, 0.2f, N}, {2.0, 0.1f, N}, {3.0, 0.3f, N}});
    EXPECT_EQ(it.getRawTime(), 2.0);
    EXPECT_EQ(it.getLevel(), 0.1f);
    // And earlier: the node at 1.999 stays and ends up after the moved node.
    Store s2;
    for (double t : {1.0, 1.999, 2.0}) s2.insert_noAdjust(Node(t, float(t)));
    Store::iterator j = s2.find(2.0);
    j.setTime(1.5);
    std::vector<double> times;
    for (Store::iterator k = s2.begin(); k != s2.end(); ++k) times.push_back(k.getRawTime());
    EXPECT_EQ(times, (std::vector<double>{1.0, 1.5, 1.999}));
    EXPECT_EQ(j.getLevel(), 2.0f);
}

TEST_F(LevelEdit, MovingOntoANeighbourReplacesIt) {
    build({{1.0, 0.1f, N}, {2.0, 0.2f, N}, {3.0, 0.3f, N}});
    store.find(1.0).setTime(2.0);  // not before the next node: crossing, 2 is erased
    expectNodes({{2.0, 0.1f, N}, {3.0, 0.3f, N}});
}

// ---- insertRange ------------------------------------------------------------------------

TEST_F(LevelEdit, InsertRangeFromAnotherStoreCopiesWithoutErasing) {
    build({{0.0, 0.5f, S}, {10.0, 0.5f, E}});
    Store source;
    source.insert_noAdjust(Node(2.0, 0.2f));
    source.insert_noAdjust(Node(3.0, 0.3f));
    source.insert_noAdjust(Node(4.0, 0.4f));
    store.acknowledgeModification(reader(), nullptr);
    store.insertRange(source.find(2.0), source.find(4.0));
    // Copies of 2 and 3; the start guard before the first copy takes its level, and
    // the end guard after the last copy takes its.
    expectNodes({{0.0, 0.2f, S}, {2.0, 0.2f, N}, {3.0, 0.3f, N}, {10.0, 0.3f, E}});
    EXPECT_EQ(source.size(), 3u);
    EXPECT_TRUE(store.queryModification(reader(), nullptr));
}

TEST_F(LevelEdit, InsertRangeOfTheSameStoreReinsertsIt) {
    build({{0.0, 0.9f, S}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.3f, E}});
    store.insertRange(store.find(1.0), store.find(3.0));
    // The range is erased (with adjustment) and its copies go back in; the start guard
    // takes the first copy's level.
    expectNodes({{0.0, 0.2f, S}, {1.0, 0.2f, N}, {2.0, 0.3f, N}, {3.0, 0.3f, E}});
}

TEST_F(LevelEdit, InsertRangeOfEmptyOrInvalidRangesAddsNothing) {
    Store source;
    source.insert_noAdjust(Node(1.0, 0.1f));
    source.insert_noAdjust(Node(2.0, 0.2f));
    store.insertRange(source.find(2.0), source.find(1.0));  // last before first
    store.insertRange(source.find(1.0), store.end());       // different stores
    store.insertRange(Store::iterator(), Store::iterator());
    EXPECT_TRUE(store.empty());
    store.insertRange(source.begin(), source.end());
    EXPECT_EQ(store.size(), 2u);
}

// ---- black sections -----------------------------------------------------------------------

TEST_F(LevelEdit, BlackSectionRemovesNormalsAndFlagsGuards) {
    build({{0.0, 0.5f, N}, {1.0, 0.5f, S}, {2.0, 0.6f, N}, {3.0, 0.6f, E}, {4.0, 0.7f, N}, {9.0, 0.7f, N}});
    store.setRangeToBlackSection(4.0, 1.0);  // bounds are ordered: [1 - 1e-6, 4 - 1e-6)
    // Erasing 2 leaves the end guard after the start guard: the adjusting erase leaves
    // a guard that follows a start guard alone.
    expectNodes({{0.0, 0.5f, N}, {1.0, 0.5f, S}, {3.0, 0.6f, E}, {4.0, 0.7f, N}, {9.0, 0.7f, N}});
    EXPECT_TRUE(store.find(1.0).isInAudioBlack());
    EXPECT_TRUE(store.find(3.0).isInAudioBlack());
    EXPECT_FALSE(store.find(4.0).isInAudioBlack());
    EXPECT_FALSE(store.find(0.0).isInAudioBlack());
}

TEST_F(LevelEdit, BlackSectionReachingPastTheLastNodeDoesNothing) {
    build({{0.0, 0.5f, N}, {1.0, 0.5f, N}});
    store.acknowledgeModification(reader(), nullptr);
    store.setRangeToBlackSection(0.0, 5.0);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_FALSE(store.queryModification(reader(), nullptr));
}

TEST_F(LevelEdit, NonBlackSectionClearsFlagsWithoutRemoving) {
    for (double t : {1.0, 2.0, 3.0, 4.0}) store.insert_noAdjust(Node(t, 0.5f, N, true));
    store.setRangeToNonBlackSection(1.0, 3.0);  // [1 - 1e-6, 3 - 1e-6)
    EXPECT_FALSE(store.find(1.0).isInAudioBlack());
    EXPECT_FALSE(store.find(2.0).isInAudioBlack());
    EXPECT_TRUE(store.find(3.0).isInAudioBlack());
    EXPECT_EQ(store.size(), 4u);
}

TEST_F(LevelEdit, NonBlackSectionDoesNotSwapItsBounds) {
    for (double t : {1.0, 2.0, 3.0, 4.0}) store.insert_noAdjust(Node(t, 0.5f, N, true));
    store.setRangeToNonBlackSection(3.0, 1.0);
    for (Store::iterator it = store.begin(); it != store.end(); ++it) EXPECT_TRUE(it.isInAudioBlack());
    store.setRangeToNonBlackSection(1.0, 9.0);  // find(9 - 1e-6) is the end: nothing
    for (Store::iterator it = store.begin(); it != store.end(); ++it) EXPECT_TRUE(it.isInAudioBlack());
}

// ---- every change notifies; iterators survive edits elsewhere ---------------------------

TEST_F(LevelEdit, EveryChangeNotifiesReaders) {
    const std::vector<std::pair<const char*, std::function<void(Store&)>>> changes = {
        {"insert", [](Store& s) { s.insert(Node(7.0, 0.1f)); }},
        {"insert hint", [](Store& s) { s.insert(s.begin(), Node(7.0, 0.1f)); }},
        {"erase it", [](Store& s) { s.erase(s.find(2.0)); }},
        {"erase times", [](Store& s) { s.erase(10.0, 11.0); }},
        {"erase its", [](Store& s) { s.erase(s.find(2.0), s.find(2.0)); }},
        {"eraseNonGuard times", [](Store& s) { s.eraseNonGuard(10.0, 11.0); }},
        {"eraseNonGuard its", [](Store& s) { s.eraseNonGuard(s.find(2.0), s.find(2.0)); }},
        {"insertRange", [](Store& s) { s.insertRange(s.find(2.0), s.find(2.0)); }},
        {"setLevel", [](Store& s) { s.find(2.0).setLevel(0.3f); }},
        {"insert_noAdjust", [](Store& s) { s.insert_noAdjust(Node(7.0, 0.1f)); }},
        {"insert_noAdjust hint", [](Store& s) { s.insert_noAdjust(s.begin(), Node(7.0, 0.1f)); }},
        {"erase_noAdjust it", [](Store& s) { s.erase_noAdjust(s.find(2.0)); }},
        {"erase_noAdjust times", [](Store& s) { s.erase_noAdjust(10.0, 11.0); }},
        {"setNodeType", [](Store& s) { s.find(2.0).setNodeType(Store::kNormal); }},
        {"setInAudioBlackSection", [](Store& s) { s.find(2.0).setInAudioBlackSection(false); }},
        {"setTime", [](Store& s) { s.find(2.0).setTime(2.5); }},
        {"clear", [](Store& s) { s.clear(); }},
        {"black section", [](Store& s) { s.setRangeToBlackSection(1.5, 2.5); }},
        {"non-black section", [](Store& s) { s.setRangeToNonBlackSection(1.5, 2.5); }},
    };
    for (const auto& [name, change] : changes) {
        Store s;
        for (double t : {1.0, 2.0, 3.0}) s.insert(Node(t, 0.5f));
        s.acknowledgeModification(reader(), nullptr);
        change(s);
        EXPECT_TRUE(s.queryModification(reader(), nullptr)) << name;
    }
}

TEST_F(LevelEdit, IteratorsFollowTheirNodeThroughEditsElsewhere) {
    for (int i = 0; i < 200; ++i) store.insert(Node(double(i), float(i)));
    Store::iterator held = store.find(150.0);
    Store::iterator heldEnd = store.end();
    // Enough inserts and erases to split and merge the leaves around it.
    for (int i = 0; i < 100; ++i) store.insert(Node(100.5 + i * 0.001, 0.0f));
    for (int i = 0; i < 140; ++i) store.erase(store.begin());
    EXPECT_EQ(held.getRawTime(), 150.0);
    EXPECT_EQ(held.getLevel(), 150.0f);
    EXPECT_TRUE(heldEnd == store.end());
    held.setLevel(0.25f);
    EXPECT_EQ(store.find(150.0).getLevel(), 0.25f);
    ++held;
    EXPECT_EQ(held.getRawTime(), 151.0);
    // When its node is erased an iterator moves on to the node that followed it.
    store.erase(store.find(151.0));
    EXPECT_EQ(held.getRawTime(), 152.0);
}
