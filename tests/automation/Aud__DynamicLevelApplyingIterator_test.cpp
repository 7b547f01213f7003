// Level applying iterator: configuring, advancing and reacting to edits, field by field.
// Expected counts, levels and deltas are written out from the walk's rules in each test.
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"
#include "platform/FrameRate.h"
#include "platform/Report.h"
#include "tests/support/FrameDuration.h"
#include "tests/support/LevelRender.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <string>
#include <vector>

using namespace Aud::DynamicLevelControl;
using Node = Store::Node;

namespace {

constexpr double kRate = 48000.0;
const double kMaxTime = std::numeric_limits<double>::max();
const double kMinNormal = 2.2250738585072014e-308;

// (time difference * rate) truncated to 64 bits, low 32 kept.
std::uint32_t samples(double x) { return static_cast<std::uint32_t>(static_cast<std::int64_t>(x)); }

float lerp(double t, double ta, float a, double tb, float b) {
    const float f = static_cast<float>((t - ta) / (tb - ta));
    return a + (b - a) * f;
}

double eff(double rawEndGuardTime) { return rawEndGuardTime + 0.25 * 0.04; }

void* key(const DynamicLevelApplyingIteratorState& s) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(s.clientId_));
}

class ApplyingIterator : public ::testing::Test {
protected:
    audatoms::test::FrameDurationScope frame_{0.04};
    void add(double t, float level, Store::eNodeType type = Store::kNormal) {
        store.insert_noAdjust(Node(t, level, type, false));
    }
    Store store;
    DynamicLevelApplyingIteratorState state;
    DynamicLevelApplyingIteratorBase walk{state};
};

}  // namespace

// ---- the state ----------------------------------------------------------------------

TEST_F(ApplyingIterator, NewStateIsAtEndWithUnityLevel) {
    DynamicLevelApplyingIteratorState s;
    EXPECT_TRUE(s.nodeIter_.isEnd());
    EXPECT_EQ(s.store_, nullptr);
    EXPECT_EQ(s.samplesToNextNode_, 0u);
    EXPECT_EQ(s.level_, 1.0f);
    EXPECT_EQ(s.levelDelta_, 0.0f);
    EXPECT_EQ(s.sampleRate_, 0.0);
    EXPECT_TRUE(s.atEnd_);
    EXPECT_EQ(s.nextNodeTime_, 0.0);
    EXPECT_FALSE(s.pendingValid_);
    EXPECT_EQ(s.pendingSamplesToNextNode_, 0u);
    EXPECT_EQ(s.pendingLevel_, 0.0f);
    EXPECT_EQ(s.pendingLevelDelta_, 0.0f);
    EXPECT_FALSE(s.pendingAtEnd_);
    EXPECT_EQ(s.pendingNextNodeTime_, 0.0);
    EXPECT_NE(s.clientId_, 0u);
    DynamicLevelApplyingIteratorState other;
    EXPECT_NE(other.clientId_, s.clientId_);
}

TEST_F(ApplyingIterator, InvalidateResetsAndTakesAFreshIdentity) {
    add(1.0, 0.5f);
    add(2.0, 0.7f);
    walk.configureForwards(&store, kRate, 1.5);
    const Store::NodePos pos = state.nodeIter_;
    const std::uint32_t oldId = state.clientId_;
    state.pendingValid_ = true;
    state.invalidate();
    EXPECT_EQ(state.nodeIter_, pos);
    EXPECT_EQ(state.store_, nullptr);
    EXPECT_EQ(state.level_, 1.0f);
    EXPECT_TRUE(state.atEnd_);
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, 0u);
    EXPECT_EQ(state.sampleRate_, 0.0);
    EXPECT_NE(state.clientId_, oldId);
    EXPECT_NE(state.clientId_, 0u);
    // A new identity is a new reader: the store counts as modified for it.
    EXPECT_TRUE(store.queryModification(key(state), nullptr));
}

TEST_F(ApplyingIterator, GetNodeStore) {
    EXPECT_EQ(walk.getNodeStore(), nullptr);
    walk.configureReverse(&store, kRate, 0.0);
    EXPECT_EQ(walk.getNodeStore(), &store);
}

// ---- no automation -------------------------------------------------------------------

TEST_F(ApplyingIterator, NoStoreOrNoRateGivesUnityAtEnd) {
    add(1.0, 0.25f);
    for (bool reverse : {false, true}) {
        for (double rate : {48000.0, 0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
            for (const Store* s : {static_cast<const Store*>(nullptr), static_cast<const Store*>(&store)}) {
                if (s && rate == 48000.0) continue;
                DynamicLevelApplyingIteratorState st;
                DynamicLevelApplyingIteratorBase w(st);
                st.level_ = 0.3f;
                if (reverse) w.configureReverse(s, rate, 0.5);
                else w.configureForwards(s, rate, 0.5);
                EXPECT_EQ(st.level_, 1.0f) << reverse << " " << rate;
                EXPECT_TRUE(st.atEnd_);
                EXPECT_EQ(st.levelDelta_, 0.0f);
                EXPECT_EQ(st.samplesToNextNode_, 0u);
                EXPECT_EQ(st.store_, s);
                // Nothing was acknowledged.
                EXPECT_TRUE(store.queryModification(key(st), nullptr));
            }
        }
    }
}

TEST_F(ApplyingIterator, WithoutAStoreAdvancingDoesNothing) {
    walk.configureForwards(nullptr, kRate, 0.0);
    state.atEnd_ = false;
    walk.moveToNextNodeForwards();
    walk.moveToNextNodeReverse();
    walk.handleStoreModsForwards(1.0);
    walk.handleStoreModsReverse(1.0);
    EXPECT_EQ(state.level_, 1.0f);
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, 0u);
}

TEST_F(ApplyingIterator, EmptyStoreGivesUnityBothWays) {
    walk.configureForwards(&store, kRate, 3.0);
    EXPECT_EQ(state.level_, 1.0f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.nextNodeTime_, kMaxTime);
    EXPECT_TRUE(state.nodeIter_.isEnd());
    EXPECT_FALSE(store.queryModification(key(state), nullptr));  // acknowledged

    walk.configureReverse(&store, kRate, 3.0);
    EXPECT_EQ(state.level_, 1.0f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.nextNodeTime_, kMinNormal);
    EXPECT_EQ(state.nextNodeTime_, std::numeric_limits<double>::min());
}

// ---- forwards -----------------------------------------------------------------------------

TEST_F(ApplyingIterator, ForwardsBeforeTheFirstNodeHoldsItsLevel) {
    add(1.0, 0.3f);
    add(2.0, 0.9f);
    walk.configureForwards(&store, kRate, 0.5);
    EXPECT_FALSE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.3f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_EQ(state.samplesToNextNode_, samples((1.0 - 0.5) * kRate));
    EXPECT_EQ(state.nextNodeTime_, 1.0);
    // Rendered, the level stays exactly 0.3 until the node is reached.
    audatoms::test::LevelRenderer r(state, false, 30000);
    std::vector<float> out(24000);
    ASSERT_TRUE(r.render(out.data(), out.size()));
    for (float v : out) ASSERT_EQ(v, 0.3f);
    // At the node the next run starts from its level towards the next node.
    EXPECT_EQ(state.level_, 0.3f);
    EXPECT_EQ(state.samplesToNextNode_, samples((2.0 - 1.0) * kRate));
    EXPECT_EQ(state.levelDelta_, (0.9f - 0.3f) / 48000.0f);
}

TEST_F(ApplyingIterator, ForwardsAfterTheLastNodeIsAtEnd) {
    add(1.0, 0.3f);
    add(2.0, 0.9f);
    walk.configureForwards(&store, kRate, 2.5);
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.9f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_EQ(state.nextNodeTime_, kMaxTime);
    EXPECT_TRUE(state.nodeIter_.isEnd());
}

TEST_F(ApplyingIterator, ForwardsBetweenNodes) {
    add(1.0, 0.2f);
    add(3.0, 0.8f);
    walk.configureForwards(&store, kRate, 1.7);
    const std::uint32_t n = samples((3.0 - 1.7) * kRate);
    const float level = lerp(1.7, 1.0, 0.2f, 3.0, 0.8f);
    EXPECT_EQ(state.samplesToNextNode_, n);
    EXPECT_EQ(state.level_, level);
    EXPECT_EQ(state.levelDelta_, (0.8f - level) / float(n));
    EXPECT_EQ(state.nextNodeTime_, 3.0);
    EXPECT_FALSE(state.atEnd_);
}

TEST_F(ApplyingIterator, ForwardsTowardsAnEndGuardUsesItsEffectiveTime) {
    add(0.0, 0.0f);
    add(1.0, 1.0f, Store::kEndGuard);
    walk.configureForwards(&store, kRate, 0.5);
    const std::uint32_t n = samples((eff(1.0) - 0.5) * kRate);
    const float level = lerp(0.5, 0.0, 0.0f, eff(1.0), 1.0f);
    EXPECT_EQ(state.nextNodeTime_, eff(1.0));
    EXPECT_EQ(state.samplesToNextNode_, n);
    EXPECT_EQ(state.level_, level);
    EXPECT_EQ(state.levelDelta_, (1.0f - level) / float(n));
}

TEST_F(ApplyingIterator, ForwardsFromAnEndGuardCountsFromItsRawTime) {
    add(1.0, 0.4f, Store::kEndGuard);
    add(2.0, 0.9f, Store::kStartGuard);
    walk.configureForwards(&store, kRate, 0.0);
    ASSERT_EQ(state.samplesToNextNode_, samples((eff(1.0) - 0.0) * kRate));
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    EXPECT_EQ(state.level_, 0.4f);
    EXPECT_EQ(state.samplesToNextNode_, samples((2.0 - 1.0) * kRate));
    EXPECT_EQ(state.levelDelta_, (0.9f - 0.4f) / float(samples((2.0 - 1.0) * kRate)));
}

TEST_F(ApplyingIterator, ForwardsExactlyAtANodeMovesOnAtOnce) {
    add(0.0, 0.0f);
    add(1.0, 0.5f);
    add(2.0, 1.0f);
    walk.configureForwards(&store, kRate, 1.0);
    // The count to the node at 1.0 is 0, so the walk advances during configure.
    EXPECT_EQ(state.level_, 0.5f);
    EXPECT_EQ(state.samplesToNextNode_, samples(1.0 * kRate));
    EXPECT_EQ(state.levelDelta_, 0.5f / 48000.0f);
    EXPECT_EQ(state.nextNodeTime_, 2.0);
}

TEST_F(ApplyingIterator, ForwardsAdvanceSnapsToEachNodeAndEndsAtTheLast) {
    add(0.0, 0.1f);
    add(0.5, 0.6f);
    add(1.25, 0.2f);
    walk.configureForwards(&store, kRate, 0.25);
    state.samplesToNextNode_ = 0;
    state.level_ = 123.0f;  // whatever the consumer accumulated, the node's level wins
    walk.moveToNextNodeForwards();
    EXPECT_EQ(state.level_, 0.6f);
    EXPECT_EQ(state.samplesToNextNode_, samples((1.25 - 0.5) * kRate));
    EXPECT_EQ(state.levelDelta_, (0.2f - 0.6f) / float(samples((1.25 - 0.5) * kRate)));
    EXPECT_EQ(state.nextNodeTime_, 1.25);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.2f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_EQ(state.samplesToNextNode_, 0u);
    EXPECT_TRUE(state.nodeIter_.isEnd());
}

TEST_F(ApplyingIterator, AdvanceWithSamplesLeftDoesNothing) {
    add(0.0, 0.1f);
    add(1.0, 0.6f);
    walk.configureForwards(&store, kRate, 0.5);
    const auto before = state.samplesToNextNode_;
    const float level = state.level_;
    walk.moveToNextNodeForwards();
    EXPECT_EQ(state.samplesToNextNode_, before);
    EXPECT_EQ(state.level_, level);
}

TEST_F(ApplyingIterator, NodesCloserThanOneSampleAreSkippedForwards) {
    add(1.0, 0.2f);
    add(1.0 + 1e-5, 0.9f);  // 0.48 samples later at 48000
    add(2.0, 0.5f);
    walk.configureForwards(&store, kRate, 0.5);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    // No zero-length run: the walk went straight on to the run from the second node.
    EXPECT_EQ(state.level_, 0.9f);
    EXPECT_EQ(state.samplesToNextNode_, samples((2.0 - (1.0 + 1e-5)) * kRate));
    EXPECT_NE(state.samplesToNextNode_, 0u);
    EXPECT_EQ(state.levelDelta_, (0.5f - 0.9f) / float(state.samplesToNextNode_));
}

TEST_F(ApplyingIterator, NodesCloserThanOneSampleAreSkippedInReverse) {
    add(1.0, 0.5f);
    add(2.0 - 1e-5, 0.9f);
    add(2.0, 0.2f);
    walk.configureReverse(&store, kRate, 2.5);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeReverse();
    EXPECT_EQ(state.level_, 0.9f);
    EXPECT_EQ(state.samplesToNextNode_, samples(((2.0 - 1e-5) - 1.0) * kRate));
    EXPECT_EQ(state.levelDelta_, (0.5f - 0.9f) / float(state.samplesToNextNode_));
    EXPECT_EQ(state.nextNodeTime_, 1.0);
}

TEST_F(ApplyingIterator, ConfigureBetweenNodesCloserThanOneSample) {
    add(1.0, 0.2f);
    add(1.0 + 1e-5, 0.9f);
    add(2.0, 0.5f);
    // Between the close pair: count 0 to the second node, so configure advances.
    walk.configureForwards(&store, kRate, 1.0 + 5e-6);
    EXPECT_EQ(state.level_, 0.9f);
    EXPECT_EQ(state.nextNodeTime_, 2.0);
    EXPECT_NE(state.samplesToNextNode_, 0u);
}

TEST_F(ApplyingIterator, LongGapCountKeepsTheLow32Bits) {
    add(0.0, 0.5f);
    add(100000.0, 0.5f);
    walk.configureForwards(&store, kRate, 0.0);
    // 100000 * 48000 = 4800000000 samples; kept in 32 bits: 4800000000 - 2^32.
    EXPECT_EQ(state.samplesToNextNode_, 505032704u);
}

TEST_F(ApplyingIterator, CountBeyondSixtyFourBitsIsZero) {
    add(0.0, 0.5f);
    add(1e300, 0.7f);
    walk.configureForwards(&store, kRate, 0.0);
    // The run to 1e300 has no representable length (0): the walk goes on to the last
    // node and ends there.
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.7f);
}

TEST_F(ApplyingIterator, ApproachingTheEndReportsAnAssertion) {
    add(0.0, 0.5f);
    walk.configureForwards(&store, kRate, -1.0);
    state.nodeIter_ = Store::NodePos{};  // an impossible place: the end, not at end
    state.samplesToNextNode_ = 0;
    state.atEnd_ = false;
    platform::LogCapture capture;
    walk.moveToNextNodeForwards();
    EXPECT_EQ(capture.assertionText(),
              "assertion failed iter != state_.store_->nodeStore_.end() at ole/AudAtoms/Aud__DynamicLevelControl "
              "line 1276\n");
    // Stepping from the end does not move: the edit reaction runs, and with no edit
    // it leaves the state as it was.
    EXPECT_FALSE(state.atEnd_);
    EXPECT_FALSE(state.pendingValid_);
    // With an edit pending the reaction sets up a glide instead.
    store.setModified();
    state.nextNodeTime_ = 0.5;
    capture.clear();
    state.samplesToNextNode_ = 0;
    state.nodeIter_ = Store::NodePos{};
    walk.handleStoreModsForwards(0.5);
    EXPECT_EQ(capture.assertionText(), "");
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, 480u);
}

// ---- reverse ------------------------------------------------------------------------------

TEST_F(ApplyingIterator, ReverseAtOrBeforeTheFirstNodeIsAtEnd) {
    add(1.0, 0.3f);
    add(2.0, 0.9f);
    for (double t : {1.0, 0.5, -100.0}) {
        walk.configureReverse(&store, kRate, t);
        EXPECT_TRUE(state.atEnd_) << t;
        EXPECT_EQ(state.level_, 0.3f);
        EXPECT_EQ(state.levelDelta_, 0.0f);
        EXPECT_EQ(state.nextNodeTime_, kMinNormal);
        EXPECT_EQ(store.iteratorAt(state.nodeIter_).getRawTime(), 1.0);
    }
}

TEST_F(ApplyingIterator, ReverseAfterTheLastNodeHoldsItsLevel) {
    add(1.0, 0.3f);
    add(2.0, 0.9f);
    walk.configureReverse(&store, kRate, 2.75);
    EXPECT_FALSE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.9f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_EQ(state.samplesToNextNode_, samples((2.75 - 2.0) * kRate));
    EXPECT_EQ(state.nextNodeTime_, 2.0);
    EXPECT_EQ(store.iteratorAt(state.nodeIter_).getRawTime(), 2.0);
}

TEST_F(ApplyingIterator, ReverseBetweenNodesUsesRawTimes) {
    add(0.0, 0.0f);
    add(1.0, 1.0f, Store::kEndGuard);
    walk.configureReverse(&store, kRate, 0.5);
    // Raw times on both sides: f = 0.5 / 1.0.
    const std::uint32_t n = samples(kRate * (0.5 - 0.0));
    const float level = lerp(0.5, 0.0, 0.0f, 1.0, 1.0f);
    EXPECT_EQ(level, 0.5f);
    EXPECT_EQ(state.level_, level);
    EXPECT_EQ(state.samplesToNextNode_, n);
    EXPECT_EQ(state.levelDelta_, (0.0f - level) / float(n));
    EXPECT_EQ(state.nextNodeTime_, 0.0);
    EXPECT_FALSE(state.atEnd_);
    EXPECT_EQ(store.iteratorAt(state.nodeIter_).getRawTime(), 0.0);
}

TEST_F(ApplyingIterator, ReverseExactlyAtANodeMovesOnAtOnce) {
    add(0.0, 0.2f);
    add(1.0, 0.6f);
    add(2.0, 1.0f);
    walk.configureReverse(&store, kRate, 2.0);
    // n = the node at 2.0; p = the node at 1.0: 48000 samples from 2.0 back to 1.0.
    EXPECT_EQ(state.samplesToNextNode_, samples(kRate * 1.0));
    EXPECT_EQ(state.level_, lerp(2.0, 1.0, 0.6f, 2.0, 1.0f));
    // At 1.0 itself the count is 0 and the walk moves on during configure.
    walk.configureReverse(&store, kRate, 1.0 + 1e-9);
    EXPECT_EQ(state.level_, 0.6f);
    EXPECT_EQ(state.nextNodeTime_, 0.0);
    EXPECT_EQ(state.samplesToNextNode_, samples((1.0 - 0.0) * kRate));
    EXPECT_EQ(state.levelDelta_, (0.2f - 0.6f) / 48000.0f);
}

TEST_F(ApplyingIterator, ReverseAdvanceTargetsTheEffectiveTimeOfThePreviousNode) {
    add(1.0, 0.3f, Store::kEndGuard);
    add(2.0, 0.7f, Store::kStartGuard);
    add(3.0, 0.7f);
    walk.configureReverse(&store, kRate, 2.5);
    EXPECT_EQ(state.nextNodeTime_, 2.0);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeReverse();
    const std::uint32_t n = samples((2.0 - eff(1.0)) * kRate);
    EXPECT_EQ(state.nextNodeTime_, eff(1.0));
    EXPECT_EQ(state.level_, 0.7f);
    EXPECT_EQ(state.samplesToNextNode_, n);
    EXPECT_EQ(state.levelDelta_, (0.3f - 0.7f) / float(n));
    // At the first node the walk ends with its level.
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeReverse();
    EXPECT_TRUE(state.atEnd_);
    EXPECT_EQ(state.level_, 0.3f);
    EXPECT_EQ(state.levelDelta_, 0.0f);
    EXPECT_EQ(state.samplesToNextNode_, 0u);
}

TEST_F(ApplyingIterator, ReverseCountPastACloseEndGuardWraps) {
    // A start guard less than a quarter frame after an end guard: stepping back from
    // it, (1.005 - 1.01) * 48000 = -240 samples, which the 32-bit count keeps as
    // 2^32 - 240.
    add(1.0, 0.3f, Store::kEndGuard);
    add(1.005, 0.7f, Store::kStartGuard);
    add(3.0, 0.7f);
    walk.configureReverse(&store, kRate, 2.0);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeReverse();
    EXPECT_EQ(state.samplesToNextNode_, samples((1.005 - eff(1.0)) * kRate));
    EXPECT_EQ(state.samplesToNextNode_, 4294967056u);
}

// ---- edits -------------------------------------------------------------------------------

TEST_F(ApplyingIterator, EditReactionWithoutAnEditDoesNothing) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    walk.configureForwards(&store, kRate, 0.25);
    const DynamicLevelApplyingIteratorState before = state;
    walk.handleStoreModsForwards(0.5);
    walk.handleStoreModsReverse(0.5);
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, before.samplesToNextNode_);
    EXPECT_EQ(state.level_, before.level_);
    EXPECT_EQ(state.levelDelta_, before.levelDelta_);
    EXPECT_EQ(state.nodeIter_, before.nodeIter_);
}

TEST_F(ApplyingIterator, EditReactionForwardsGlidesToTheEditedLine) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    walk.configureForwards(&store, kRate, 0.25);
    state.level_ = 0.5f;  // where the consumer stands
    store.insert(Node(0.6, 0.0f));
    walk.handleStoreModsForwards(0.5);
    // The edited line 0.01 later, at 0.51: between 0.0 (0.2) and 0.6 (0.0).
    const float target = lerp(0.51, 0.0, 0.2f, 0.6, 0.0f);
    const std::uint32_t toNode = samples((0.6 - 0.51) * kRate);
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.pendingLevel_, target);
    EXPECT_EQ(state.pendingSamplesToNextNode_, toNode);
    EXPECT_EQ(state.pendingLevelDelta_, (0.0f - target) / float(toNode));
    EXPECT_FALSE(state.pendingAtEnd_);
    EXPECT_EQ(state.pendingNextNodeTime_, 0.6);
    EXPECT_EQ(store.iteratorAt(state.nodeIter_).getRawTime(), 0.6);
    // The glide: 0.01 * 48000 samples from the current level to the target.
    EXPECT_EQ(state.samplesToNextNode_, 480u);
    EXPECT_EQ(state.level_, 0.5f);
    EXPECT_EQ(state.levelDelta_, (target - 0.5f) / 480.0f);
    EXPECT_EQ(state.nextNodeTime_, 0.5 + 0.01);
    EXPECT_FALSE(state.atEnd_);
    // The edit is acknowledged.
    EXPECT_FALSE(store.queryModification(key(state), nullptr));
    // When the glide ends the waiting segment takes over.
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.level_, target);
    EXPECT_EQ(state.samplesToNextNode_, toNode);
    EXPECT_EQ(state.levelDelta_, (0.0f - target) / float(toNode));
    EXPECT_EQ(state.nextNodeTime_, 0.6);
    // And then the walk goes on along the edited line.
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    EXPECT_EQ(state.level_, 0.0f);
    EXPECT_EQ(state.nextNodeTime_, 1.0);
    EXPECT_EQ(state.samplesToNextNode_, samples((1.0 - 0.6) * kRate));
}

TEST_F(ApplyingIterator, EditReactionInReverseGlidesToTheEditedLine) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    walk.configureReverse(&store, kRate, 0.75);
    state.level_ = 0.4f;
    store.find(0.0).setLevel(1.0f);
    walk.handleStoreModsReverse(0.5);
    // The edited line 0.01 earlier, at 0.49, read in reverse (raw times).
    const float target = lerp(0.49, 0.0, 1.0f, 1.0, 0.8f);
    const std::uint32_t toNode = samples(kRate * (0.49 - 0.0));
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.pendingLevel_, target);
    EXPECT_EQ(state.pendingSamplesToNextNode_, toNode);
    EXPECT_EQ(state.pendingLevelDelta_, (1.0f - target) / float(toNode));
    EXPECT_EQ(state.pendingNextNodeTime_, 0.0);
    EXPECT_EQ(state.samplesToNextNode_, 480u);
    EXPECT_EQ(state.level_, 0.4f);
    EXPECT_EQ(state.levelDelta_, (target - 0.4f) / 480.0f);
    EXPECT_EQ(state.nextNodeTime_, 0.5 - 0.01);
}

TEST_F(ApplyingIterator, AdvanceNoticesAnEditFirst) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    add(2.0, 0.4f);
    walk.configureForwards(&store, kRate, 0.5);
    state.samplesToNextNode_ = 0;
    state.level_ = 0.8f;
    store.find(2.0).setLevel(0.0f);
    walk.moveToNextNodeForwards();
    // The reaction ran at nextNodeTime_ (1.0): the edited line at 1.01.
    const float target = lerp(1.01, 1.0, 0.8f, 2.0, 0.0f);
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.pendingLevel_, target);
    EXPECT_EQ(state.samplesToNextNode_, 480u);
    EXPECT_EQ(state.levelDelta_, (target - 0.8f) / 480.0f);
    EXPECT_EQ(state.nextNodeTime_, 1.0 + 0.01);
}

TEST_F(ApplyingIterator, GlideLengthFollowsTheRate) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    for (double rate : {44100.0, 96000.0, 8000.0, 100.0}) {
        walk.configureForwards(&store, rate, 0.25);
        store.setModified();
        walk.handleStoreModsForwards(0.5);
        EXPECT_EQ(state.samplesToNextNode_, samples(0.01 * rate)) << rate;
    }
    EXPECT_EQ(samples(0.01 * 44100.0), 441u);
    EXPECT_EQ(samples(0.01 * 100.0), 1u);
}

TEST_F(ApplyingIterator, RateBelowOneHundredGivesAZeroLengthGlide) {
    add(0.0, 0.2f);
    add(10.0, 0.8f);
    walk.configureForwards(&store, 50.0, 1.0);
    state.level_ = 0.3f;
    store.insert(Node(5.0, 0.9f));
    walk.handleStoreModsForwards(2.0);
    EXPECT_EQ(state.samplesToNextNode_, 0u);
    EXPECT_TRUE(std::isinf(state.levelDelta_));  // (target - 0.3) / 0
    EXPECT_TRUE(state.pendingValid_);
    // With no level change the division is 0 / 0.
    walk.configureForwards(&store, 50.0, 1.0);
    store.setModified();
    state.level_ = lerp(2.01, 0.0, 0.2f, 5.0, 0.9f);
    walk.handleStoreModsForwards(2.0);
    EXPECT_TRUE(std::isnan(state.levelDelta_));
    // The consumer takes no samples from it and advances: the edited line takes over.
    walk.moveToNextNodeForwards();
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.level_, lerp(2.01, 0.0, 0.2f, 5.0, 0.9f));
}

TEST_F(ApplyingIterator, ReadersNoticeEditsIndependently) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    DynamicLevelApplyingIteratorState other;
    DynamicLevelApplyingIteratorBase otherWalk(other);
    walk.configureForwards(&store, kRate, 0.1);
    otherWalk.configureReverse(&store, kRate, 0.9);
    store.insert(Node(0.5, 0.0f));
    walk.handleStoreModsForwards(0.2);
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_FALSE(store.queryModification(key(state), nullptr));
    // The other reader still sees the edit as new.
    EXPECT_TRUE(store.queryModification(key(other), nullptr));
    otherWalk.handleStoreModsReverse(0.8);
    EXPECT_TRUE(other.pendingValid_);
    EXPECT_FALSE(store.queryModification(key(other), nullptr));
}

TEST_F(ApplyingIterator, TheWalkHoldsNoLockBetweenCalls) {
    add(0.0, 0.2f);
    add(1.0, 0.8f);
    walk.configureForwards(&store, kRate, 0.1);
    state.samplesToNextNode_ = 0;
    walk.moveToNextNodeForwards();
    store.setModified();
    walk.handleStoreModsForwards(0.3);
    // Another thread can edit the store at once.
    auto edit = std::async(std::launch::async, [this] {
        store.insert(Node(0.5, 0.1f));
        return store.size();
    });
    ASSERT_EQ(edit.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(edit.get(), 3u);
}
