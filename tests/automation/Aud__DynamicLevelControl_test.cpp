// Level store: nodes, lookups, range states and the modification protocol.
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"
#include "platform/FrameRate.h"
#include "tests/support/FrameDuration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

using Aud::DynamicLevelControl::Store;
using Node = Store::Node;

namespace {

// Frame duration 0.04 (25 fps): an end guard's effective time is raw + 0.01.
class LevelStore : public ::testing::Test {
protected:
    audatoms::test::FrameDurationScope frame_{0.04};
    Store store;
};

// Effective time of an end guard at raw time t under the fixture's frame duration.
double eff(double t) { return t + 0.25 * 0.04; }

void* id(std::uintptr_t v) { return reinterpret_cast<void*>(v); }

// The interpolation rule written out: f in double, converted to float, then
// a + (b - a) * f in single precision.
float lerp(double t, double ta, float a, double tb, float b) {
    const float f = static_cast<float>((t - ta) / (tb - ta));
    return a + (b - a) * f;
}

}  // namespace

// ---- nodes ---------------------------------------------------------------------

TEST_F(LevelStore, NodeConstructors) {
    Node d;
    EXPECT_EQ(d.time, -1.0);
    EXPECT_EQ(d.level, -1.0f);
    EXPECT_EQ(d.type, Store::kNormal);
    EXPECT_FALSE(d.inAudioBlack);
    Node t(2.5);
    EXPECT_EQ(t.time, 2.5);
    EXPECT_EQ(t.type, Store::kNormal);
    Node tl(3.0, 0.25f);
    EXPECT_EQ(tl.time, 3.0);
    EXPECT_EQ(tl.level, 0.25f);
    EXPECT_EQ(tl.type, Store::kNormal);
    EXPECT_FALSE(tl.inAudioBlack);
    Node all(4.0, 0.5f, Store::kEndGuard, true);
    EXPECT_EQ(all.time, 4.0);
    EXPECT_EQ(all.level, 0.5f);
    EXPECT_EQ(all.type, Store::kEndGuard);
    EXPECT_TRUE(all.inAudioBlack);
}

TEST_F(LevelStore, EnumerationValuesAreFixed) {
    EXPECT_EQ(int(Store::kNormal), 0);
    EXPECT_EQ(int(Store::kStartGuard), 1);
    EXPECT_EQ(int(Store::kEndGuard), 2);
    EXPECT_EQ(int(Store::kMarkedForDelete), 3);
    EXPECT_EQ(sizeof(Store::eNodeType), 4u);
    EXPECT_EQ(int(Store::kRangeSilent), 1);
    EXPECT_EQ(int(Store::kRangeUnity), 2);
    EXPECT_EQ(int(Store::kRangeConstant), 3);
    EXPECT_EQ(int(Store::kRangeVarying), 4);
}

TEST_F(LevelStore, NodesCompareByRawTimeOnly) {
    Node a(1.0, 0.0f, Store::kEndGuard, false), b(1.0, 5.0f, Store::kNormal, true), c(1.5, 0.0f);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(a < c);
    // An end guard's effective time is later, but ordering ignores it.
    Node guard(1.4, 0.0f, Store::kEndGuard, false);
    EXPECT_TRUE(guard < c);
    EXPECT_GT(guard.getTime(), c.getTime() - 0.2);
}

TEST_F(LevelStore, EndGuardEffectiveTimeIsAQuarterFrameLater) {
    EXPECT_EQ(Node(10.0, 0.0f, Store::kEndGuard, false).getTime(), 10.0 + 0.25 * 0.04);
    EXPECT_EQ(Node(10.0, 0.0f, Store::kStartGuard, false).getTime(), 10.0);
    EXPECT_EQ(Node(10.0, 0.0f, Store::kNormal, false).getTime(), 10.0);
    EXPECT_EQ(Node(10.0, 0.0f, Store::kMarkedForDelete, false).getTime(), 10.0);
    Qm::CurrentProject::setFrameDuration(1.0 / 24.0);
    EXPECT_EQ(Node(10.0, 0.0f, Store::kEndGuard, false).getTime(), 10.0 + 0.25 * (1.0 / 24.0));
}

TEST_F(LevelStore, ClientRecordsOrderByClientThenCookie) {
    using Rec = Store::ModificationClientRec;
    EXPECT_TRUE(Rec(id(1), id(9)) < Rec(id(2), id(0)));
    EXPECT_TRUE(Rec(id(1), id(1)) < Rec(id(1), id(2)));
    EXPECT_FALSE(Rec(id(1), id(2)) < Rec(id(1), id(2)));
    // Unsigned address order: the highest address sorts last.
    EXPECT_TRUE(Rec(id(1), nullptr) < Rec(id(~std::uintptr_t(0)), nullptr));
    EXPECT_TRUE(Rec(id(3), id(4)) == Rec(id(3), id(4)));
    EXPECT_FALSE(Rec(id(3), id(4)) == Rec(id(3), id(5)));
    EXPECT_FALSE(Rec(id(3), id(4)) == Rec(id(2), id(4)));
}

// ---- basic lookups ----------------------------------------------------------------

TEST_F(LevelStore, EmptyStore) {
    EXPECT_TRUE(store.empty());
    EXPECT_EQ(store.size(), 0u);
    EXPECT_TRUE(store.begin() == store.end());
    EXPECT_TRUE(store.find(0.0) == store.end());
    EXPECT_EQ(store.getLevelAtTime(5.0), 1.0f);
    EXPECT_FALSE(store.isInAudioBlackAtTime(5.0));
    float level = -7.0f;
    EXPECT_EQ(store.getRangeState(0.0, 10.0, &level), Store::kRangeUnity);
    EXPECT_EQ(level, 1.0f);
}

TEST_F(LevelStore, FindIsALowerBoundOnRawTime) {
    store.insert_noAdjust(Node(1.0, 0.1f));
    store.insert_noAdjust(Node(2.0, 0.2f, Store::kEndGuard, false));
    store.insert_noAdjust(Node(3.0, 0.3f));
    EXPECT_EQ(store.find(0.0).getRawTime(), 1.0);
    EXPECT_EQ(store.find(1.0).getRawTime(), 1.0);
    EXPECT_EQ(store.find(1.0000001).getRawTime(), 2.0);
    // Raw time decides: the end guard at raw 2 is found at 2.005 only by raw time 3.
    EXPECT_EQ(store.find(2.0).getRawTime(), 2.0);
    EXPECT_EQ(store.find(2.005).getRawTime(), 3.0);
    EXPECT_TRUE(store.find(3.0000001) == store.end());
    EXPECT_EQ(store.size(), 3u);
}

TEST_F(LevelStore, IteratorWalksInOrderBothWays) {
    for (double t : {3.0, 1.0, 2.0}) store.insert_noAdjust(Node(t, float(t)));
    Store::iterator it = store.begin();
    EXPECT_EQ(it.getRawTime(), 1.0);
    EXPECT_EQ((*it).level, 1.0f);
    EXPECT_EQ(it->time, 1.0);
    ++it;
    EXPECT_EQ(it.getRawTime(), 2.0);
    it++;
    EXPECT_EQ(it.getRawTime(), 3.0);
    ++it;
    EXPECT_TRUE(it == store.end());
    --it;
    EXPECT_EQ(it.getLevel(), 3.0f);
    Store::iterator before = it--;
    EXPECT_EQ(before.getRawTime(), 3.0);
    EXPECT_EQ(it.getRawTime(), 2.0);
}

TEST_F(LevelStore, IteratorPredicates) {
    store.insert_noAdjust(Node(1.0, 0.5f, Store::kStartGuard, false));
    store.insert_noAdjust(Node(2.0, 0.5f, Store::kNormal, true));
    store.insert_noAdjust(Node(3.0, 0.5f, Store::kEndGuard, false));
    store.insert_noAdjust(Node(4.0, 0.5f, Store::kMarkedForDelete, false));
    Store::iterator s = store.find(1.0), n = store.find(2.0), e = store.find(3.0), m = store.find(4.0);
    EXPECT_TRUE(s.isStartGuard());
    EXPECT_TRUE(s.isGuardNode());
    EXPECT_FALSE(s.isEndGuard());
    EXPECT_FALSE(n.isGuardNode());
    EXPECT_TRUE(n.isInAudioBlack());
    EXPECT_TRUE(e.isEndGuard());
    EXPECT_TRUE(e.isGuardNode());
    EXPECT_EQ(e.getTime(), eff(3.0));
    EXPECT_EQ(e.getRawTime(), 3.0);
    EXPECT_TRUE(m.isMarkedForDelete());
    EXPECT_FALSE(m.isGuardNode());
    EXPECT_EQ(m.getNodeType(), Store::kMarkedForDelete);
    EXPECT_EQ(n.getNode().level, 0.5f);
}

TEST_F(LevelStore, DefaultIteratorIsInvalidAndHarmless) {
    Store::iterator it;
    EXPECT_FALSE(it.isValid());
    EXPECT_EQ(it.getRawTime(), -1.0);
    EXPECT_EQ(it.getLevel(), -1.0f);
    it.setLevel(0.5f);
    it.setTime(3.0);
    ++it;
    EXPECT_TRUE(it == Store::iterator());
    EXPECT_FALSE(it == store.end());
    EXPECT_TRUE(store.begin().isValid());
    // Erasing through it changes nothing and returns the end.
    store.insert(Node(1.0, 0.5f));
    EXPECT_TRUE(store.erase(it) == store.end());
    EXPECT_EQ(store.size(), 1u);
}

// ---- level at a time ---------------------------------------------------------------------

TEST_F(LevelStore, LevelBeforeFirstAndAfterLastNode) {
    store.insert(Node(2.0, 0.25f));
    store.insert(Node(4.0, 0.75f));
    EXPECT_EQ(store.getLevelAtTime(-100.0), 0.25f);
    EXPECT_EQ(store.getLevelAtTime(1.999), 0.25f);
    EXPECT_EQ(store.getLevelAtTime(4.001), 0.75f);
    EXPECT_EQ(store.getLevelAtTime(1e9), 0.75f);
}

TEST_F(LevelStore, HalfwayBetweenNodesIsHalfway) {
    store.insert(Node(0.0, 0.0f));
    store.insert(Node(2.0, 1.0f));
    EXPECT_EQ(store.getLevelAtTime(1.0), 0.5f);
    EXPECT_EQ(store.getLevelAtTime(0.5), 0.25f);
    EXPECT_EQ(store.getLevelAtTime(1.5), 0.75f);
}

TEST_F(LevelStore, InterpolationFollowsTheSinglePrecisionRule) {
    store.insert(Node(1.0, 0.3f));
    store.insert(Node(4.0, 0.9f));
    for (double t : {1.1, 1.7, 2.0, 2.9, 3.33, 3.999})
        EXPECT_EQ(store.getLevelAtTime(t), lerp(t, 1.0, 0.3f, 4.0, 0.9f));
}

TEST_F(LevelStore, NodeWithinToleranceIsMatched) {
    store.insert(Node(1.0, 0.0f));
    store.insert(Node(2.0, 0.8f));
    store.insert(Node(3.0, 0.0f));
    // Up to 1e-6 either side of 2.0 counts as the node itself.
    EXPECT_EQ(store.getLevelAtTime(2.0), 0.8f);
    EXPECT_EQ(store.getLevelAtTime(2.0 + 9e-7), 0.8f);
    EXPECT_EQ(store.getLevelAtTime(2.0 - 9e-7), 0.8f);
    // 2e-6 after the node interpolates towards the next one.
    EXPECT_EQ(store.getLevelAtTime(2.000002), lerp(2.000002, 2.0, 0.8f, 3.0, 0.0f));
    EXPECT_LT(store.getLevelAtTime(2.000002), 0.8f);
}

TEST_F(LevelStore, GapBetweenSectionsHoldsTheEndGuardLevel) {
    store.insert_noAdjust(Node(0.0, 0.2f, Store::kStartGuard, false));
    store.insert_noAdjust(Node(1.0, 0.2f));
    store.insert_noAdjust(Node(2.0, 0.2f, Store::kEndGuard, false));
    store.insert_noAdjust(Node(5.0, 0.9f, Store::kStartGuard, false));
    store.insert_noAdjust(Node(6.0, 0.9f));
    store.insert_noAdjust(Node(7.0, 0.9f, Store::kEndGuard, false));
    // From the end guard's effective time 2.01 up to just before the start guard: 0.2.
    EXPECT_EQ(store.getLevelAtTime(2.5), 0.2f);
    EXPECT_EQ(store.getLevelAtTime(4.0), 0.2f);
    EXPECT_EQ(store.getLevelAtTime(5.0 - 2e-6), 0.2f);
    // At the start guard itself: its own level.
    EXPECT_EQ(store.getLevelAtTime(5.0), 0.9f);
}

TEST_F(LevelStore, GapRuleNeedsAnEndGuardBeforeAStartGuard) {
    // A normal node before a start guard interpolates as usual.
    store.insert_noAdjust(Node(2.0, 0.2f));
    store.insert_noAdjust(Node(5.0, 0.8f, Store::kStartGuard, false));
    EXPECT_EQ(store.getLevelAtTime(3.5), lerp(3.5, 2.0, 0.2f, 5.0, 0.8f));
    // Within 1e-6 below the start guard the tolerance match wins.
    EXPECT_EQ(store.getLevelAtTime(5.0 - 5e-7), 0.8f);
}

TEST_F(LevelStore, EndGuardMatchesAtItsEffectiveTime) {
    store.insert_noAdjust(Node(0.0, 0.0f));
    store.insert_noAdjust(Node(10.0, 1.0f, Store::kEndGuard, false));
    store.insert_noAdjust(Node(20.0, 0.0f));
    // At raw 10 the end guard is not matched: the level interpolates towards 10.01.
    EXPECT_EQ(store.getLevelAtTime(10.0), lerp(10.0, 0.0, 0.0f, eff(10.0), 1.0f));
    EXPECT_LT(store.getLevelAtTime(10.0), 1.0f);
    // At 10 + a quarter frame the line passes through the end guard's level.
    EXPECT_EQ(store.getLevelAtTime(eff(10.0)), 1.0f);
    // Beyond it, towards the node at 20.
    EXPECT_EQ(store.getLevelAtTime(15.0), lerp(15.0, eff(10.0), 1.0f, 20.0, 0.0f));
}

TEST_F(LevelStore, InterpolationFromAnEndGuardUsesItsEffectiveTime) {
    store.insert_noAdjust(Node(0.0, 0.4f, Store::kEndGuard, false));
    store.insert_noAdjust(Node(1.0, 1.0f));
    // From 0.01 (effective) to 1.0.
    EXPECT_EQ(store.getLevelAtTime(0.5), lerp(0.5, eff(0.0), 0.4f, 1.0, 1.0f));
}

// ---- audio black at a time ------------------------------------------------------------

TEST_F(LevelStore, AudioBlackAtTime) {
    store.insert_noAdjust(Node(1.0, 0.0f, Store::kNormal, false));
    store.insert_noAdjust(Node(2.0, 0.0f, Store::kNormal, true));
    store.insert_noAdjust(Node(3.0, 0.0f, Store::kNormal, false));
    store.insert_noAdjust(Node(4.0, 0.0f, Store::kEndGuard, true));
    EXPECT_FALSE(store.isInAudioBlackAtTime(0.5));  // before the first node
    EXPECT_FALSE(store.isInAudioBlackAtTime(1.0));  // at a node: its flag
    EXPECT_FALSE(store.isInAudioBlackAtTime(1.5));  // between: the node before
    EXPECT_TRUE(store.isInAudioBlackAtTime(2.0));
    EXPECT_TRUE(store.isInAudioBlackAtTime(2.0 - 5e-7));
    EXPECT_TRUE(store.isInAudioBlackAtTime(2.5));
    EXPECT_FALSE(store.isInAudioBlackAtTime(3.5));
    // The end guard at raw 4 takes over only from its effective time 4.01: at 4.0 the
    // node before (3.0) answers.
    EXPECT_FALSE(store.isInAudioBlackAtTime(4.0));
    EXPECT_TRUE(store.isInAudioBlackAtTime(eff(4.0)));
    EXPECT_TRUE(store.isInAudioBlackAtTime(100.0));  // after the last node: its flag
}

// ---- range state ---------------------------------------------------------------------------

TEST_F(LevelStore, RangeStateOfOneNode) {
    float level = -1.0f;
    store.insert(Node(1.0, 0.0f));
    EXPECT_EQ(store.getRangeState(5.0, 6.0, &level), Store::kRangeSilent);
    EXPECT_EQ(level, 0.0f);
    store.begin().setLevel(1.0f);
    EXPECT_EQ(store.getRangeState(5.0, 6.0, &level), Store::kRangeUnity);
    EXPECT_EQ(level, 1.0f);
    store.begin().setLevel(0.3f);
    EXPECT_EQ(store.getRangeState(-5.0, 6.0, &level), Store::kRangeConstant);
    EXPECT_EQ(level, 0.3f);
    store.begin().setLevel(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(store.getRangeState(0.0, 2.0, &level), Store::kRangeConstant);
    EXPECT_TRUE(std::isnan(level));
}

TEST_F(LevelStore, RangeStateOverSeveralNodes) {
    store.insert(Node(0.0, 0.5f));
    store.insert(Node(1.0, 0.5f));
    store.insert(Node(2.0, 0.5f));
    store.insert(Node(3.0, 0.9f));
    float level = -1.0f;
    // a = node before lower bound of 0.5 = node 0; b = lower bound of 2.5 = node 3;
    // nodes 1 and 2 are compared, both 0.5.
    EXPECT_EQ(store.getRangeState(0.5, 2.5, &level), Store::kRangeConstant);
    EXPECT_EQ(level, 0.5f);
    // The bounds are swapped when reversed.
    level = -1.0f;
    EXPECT_EQ(store.getRangeState(2.5, 0.5, &level), Store::kRangeConstant);
    EXPECT_EQ(level, 0.5f);
    // Reaching node 3 (b = end): its 0.9 differs, and the level is left alone.
    level = -1.0f;
    EXPECT_EQ(store.getRangeState(0.5, 3.5, &level), Store::kRangeVarying);
    EXPECT_EQ(level, -1.0f);
}

TEST_F(LevelStore, RangeStateDoesNotCompareTheBoundNode) {
    // Between 0 (0.5) and 10 (1.0) the level ramps, yet the range [2, 5] reports the
    // start node's level: only nodes strictly between a and b are compared.
    store.insert(Node(0.0, 0.5f));
    store.insert(Node(10.0, 1.0f));
    float level = -1.0f;
    EXPECT_EQ(store.getRangeState(2.0, 5.0, &level), Store::kRangeConstant);
    EXPECT_EQ(level, 0.5f);
}

TEST_F(LevelStore, RangeStateWhenBothBoundsMeetOneNode) {
    store.insert(Node(5.0, 0.0f));
    store.insert(Node(6.0, 1.0f));
    float level = -1.0f;
    // Both lower bounds are the first node, which is not stepped back: a == b.
    EXPECT_EQ(store.getRangeState(1.0, 2.0, &level), Store::kRangeSilent);
    EXPECT_EQ(level, 0.0f);
    // After the last node: a = last node, b = end, nothing between: the last level.
    EXPECT_EQ(store.getRangeState(7.0, 8.0, &level), Store::kRangeUnity);
    EXPECT_EQ(level, 1.0f);
}

TEST_F(LevelStore, RangeStateWithNaNReference) {
    store.insert_noAdjust(Node(0.0, std::numeric_limits<float>::quiet_NaN()));
    store.insert_noAdjust(Node(1.0, 0.5f));
    store.insert_noAdjust(Node(2.0, 0.5f));
    float level = -1.0f;
    EXPECT_EQ(store.getRangeState(0.5, 1.5, &level), Store::kRangeVarying);
    EXPECT_EQ(level, -1.0f);
}

TEST_F(LevelStore, RangeStateWithNullLevelPointer) {
    EXPECT_EQ(store.getRangeState(0.0, 1.0, nullptr), Store::kRangeUnity);
    store.insert(Node(0.0, 0.0f));
    EXPECT_EQ(store.getRangeState(0.0, 1.0, nullptr), Store::kRangeSilent);
    store.insert(Node(1.0, 0.0f));
    store.insert(Node(2.0, 0.0f));
    EXPECT_EQ(store.getRangeState(0.5, 2.5, nullptr), Store::kRangeSilent);
}

TEST_F(LevelStore, RangeStateNegativeZeroIsSilent) {
    store.insert(Node(0.0, -0.0f));
    float level = 1.0f;
    EXPECT_EQ(store.getRangeState(0.0, 1.0, &level), Store::kRangeSilent);
    EXPECT_TRUE(std::signbit(level));
}

// ---- modification protocol -----------------------------------------------------------

TEST_F(LevelStore, NewStoreCountsAsModifiedForEveryone) {
    EXPECT_TRUE(store.queryModification(id(1), nullptr));
    EXPECT_TRUE(store.queryModification(id(2), id(3)));
}

TEST_F(LevelStore, AcknowledgeThenModify) {
    store.acknowledgeModification(id(1), nullptr);
    EXPECT_FALSE(store.queryModification(id(1), nullptr));
    EXPECT_TRUE(store.queryModification(id(1), id(7)));  // another cookie is another reader
    EXPECT_TRUE(store.queryModification(id(2), nullptr));
    store.acknowledgeModification(id(1), nullptr);  // twice is the same as once
    store.acknowledgeModification(id(2), nullptr);
    EXPECT_FALSE(store.queryModification(id(2), nullptr));
    store.setModified();
    EXPECT_TRUE(store.queryModification(id(1), nullptr));
    EXPECT_TRUE(store.queryModification(id(2), nullptr));
}

TEST_F(LevelStore, ManyReadersDoNotInterfere) {
    for (std::uintptr_t c = 1; c <= 100; ++c) store.acknowledgeModification(id(c * 16), id(c));
    for (std::uintptr_t c = 1; c <= 100; ++c) {
        EXPECT_FALSE(store.queryModification(id(c * 16), id(c)));
        EXPECT_TRUE(store.queryModification(id(c * 16), id(c + 1)));
    }
    store.setModified();
    for (std::uintptr_t c = 1; c <= 100; ++c) EXPECT_TRUE(store.queryModification(id(c * 16), id(c)));
}

TEST_F(LevelStore, LookupsLeaveAcknowledgementsInPlace) {
    store.insert(Node(1.0, 0.5f));
    store.insert(Node(2.0, 0.7f, Store::kEndGuard, false));
    store.acknowledgeModification(id(1), nullptr);
    float level;
    (void)store.getLevelAtTime(1.5);
    (void)store.isInAudioBlackAtTime(1.5);
    (void)store.getRangeState(0.0, 3.0, &level);
    (void)store.find(1.0);
    (void)store.size();
    (void)store.empty();
    for (Store::iterator it = store.begin(); it != store.end(); ++it) (void)it.getNode();
    EXPECT_FALSE(store.queryModification(id(1), nullptr));
}

TEST_F(LevelStore, ClearEmptiesAndNotifies) {
    store.insert(Node(1.0, 0.5f));
    store.insert(Node(2.0, 0.5f));
    store.acknowledgeModification(id(1), nullptr);
    store.clear();
    EXPECT_TRUE(store.empty());
    EXPECT_TRUE(store.queryModification(id(1), nullptr));
    EXPECT_EQ(store.getLevelAtTime(1.0), 1.0f);
}
