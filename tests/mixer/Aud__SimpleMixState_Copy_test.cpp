// Aud::SimpleMixState: copyFrom, operator=, clone and assign.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using audatoms::test::assertionsOf;

namespace {

const std::string kInputsNot32 = assertionLine(201, "numInputChans_ == EditChanMaxAudio");
const std::string kMixesNot4 = assertionLine(200, "numMixChans_ == 4");
const std::string kTablesDiffer = assertionLine(221, "mixRoutingTable_.size() == other.mixRoutingTable_.size()");

// An editor-sized state with some values away from the defaults.
Qm::Ptr<SimpleMixState> editorState() {
    Qm::Ptr<SimpleMixState> s(new SimpleMixState(32, 4, 4));
    s->setInputLevel(3, 0.25f);
    s->setInputPan(31, 0.0f);
    s->setInputMuteState(7, true);
    s->setInputSoloState(8, true);
    s->setInputRoutedToMix(9, 1, true);
    s->setMixLevel(2, 0.5f);
    s->setMixMuteState(0, true);
    s->setMixSoloState(1, true);
    s->setMixRoutedToOutput(1, 0, false, true);
    return s;
}

TEST(SimpleMixStateCopy, CopyOntoItselfChangesNothing) {
    Qm::Ptr<SimpleMixState> s = editorState();
    Qm::Ptr<SimpleMixState> reference = editorState();
    s->clearDirty();
    EXPECT_EQ(assertionsOf([&] { s->copyFrom(*s, true); }), "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(*s, *reference, &why)) << why;
    EXPECT_FALSE(s->getDirty());
    *s = *s;
    EXPECT_TRUE(audatoms::test::sameState(*s, *reference, &why)) << why;
}

TEST(SimpleMixStateCopy, InvalidOntoInvalidChangesNothing) {
    SimpleMixState a, b;
    b.setDirty();
    EXPECT_EQ(assertionsOf([&] { a.copyFrom(b, true); }), "");
    EXPECT_FALSE(a.valid());
    EXPECT_FALSE(a.getDirty());
    EXPECT_TRUE(b.getDirty());  // not even the source's flag is touched
}

TEST(SimpleMixStateCopy, ValidOntoInvalidTakesDimensionsValuesAndDirtyFlag) {
    Qm::Ptr<SimpleMixState> src = editorState();
    src->clearDirty();
    SimpleMixState dst;
    EXPECT_EQ(assertionsOf([&] { dst.copyFrom(*src, false); }), "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(dst, *src, &why)) << why;
    EXPECT_FALSE(dst.getDirty());  // the source's flag, although init made it dirty
}

TEST(SimpleMixStateCopy, ClearOtherDirtyClearsTheSourceOnly) {
    Qm::Ptr<SimpleMixState> src = editorState();
    ASSERT_TRUE(src->getDirty());
    SimpleMixState dst(32, 4, 4);
    dst.clearDirty();
    dst.copyFrom(*src, true);
    EXPECT_TRUE(dst.getDirty());
    EXPECT_FALSE(src->getDirty());

    SimpleMixState third(32, 4, 4);
    third = *src;  // operator= leaves the source's flag alone
    EXPECT_FALSE(third.getDirty());
    src->setDirty();
    third = *src;
    EXPECT_TRUE(third.getDirty());
    EXPECT_TRUE(src->getDirty());
}

TEST(SimpleMixStateCopy, EveryCopyOutsideTheEditorConfigurationIsReported) {
    SimpleMixState a(2, 4, 4), b(2, 4, 4);
    b.setInputLevel(1, 0.5f);
    EXPECT_EQ(assertionsOf([&] { a.copyFrom(b, false); }), kInputsNot32);
    EXPECT_EQ(a.getInputLevel(1), 0.5f);
    SimpleMixState c(32, 3, 4), d(32, 3, 4);
    EXPECT_EQ(assertionsOf([&] { c = d; }), kMixesNot4);
}

TEST(SimpleMixStateCopy, LargerDestinationIsResetThenTakesTheSource) {
    // Destination 32x4x4, source 16x8x4: dimensions become 32x8x4, the destination was
    // larger in inputs so it is reset (its tables grow, reported), then the source's
    // records and tables replace it.
    Qm::Ptr<SimpleMixState> dst = editorState();
    SimpleMixState src(16, 8, 4);
    src.setInputLevel(15, 0.75f);
    src.setMixLevel(6, 0.125f);
    src.setInputRoutedToMix(15, 6, true);
    const std::string out = assertionsOf([&] { dst->copyFrom(src, false); });
    EXPECT_EQ(out, kMixesNot4 + assertionLine(82) + assertionLine(90));
    EXPECT_EQ(dst->numInputChans(), 32);
    EXPECT_EQ(dst->numMixChans(), 8);
    EXPECT_EQ(dst->numOutputChans(), 4);
    EXPECT_EQ(dst->getInputLevel(15), 0.75f);
    EXPECT_EQ(dst->getInputLevel(3), 1.0f);  // the source's value, not the old 0.25
    EXPECT_EQ(dst->getMixLevel(6), 0.125f);
    // The source's 16 records and 16x8 routing table stand for 32 inputs: the records
    // past 16 are reported as out of range, the routing access past the table throws.
    EXPECT_EQ(assertionsOf([&] { EXPECT_EQ(dst->getInputLevel(20), 1.5f); }), assertionLine(258));
    EXPECT_THROW(dst->getInputRoutedToMix(20, -1), std::out_of_range);
    EXPECT_TRUE(dst->getInputRoutedToMix(15, 6));
}

TEST(SimpleMixStateCopy, GrowingMixesWithoutResetReportsDifferentTables) {
    Qm::Ptr<SimpleMixState> dst = editorState();
    SimpleMixState src(32, 8, 4);
    src.setMixSoloState(6, true);
    const std::string out = assertionsOf([&] { dst->copyFrom(src, false); });
    EXPECT_EQ(out, kMixesNot4 + kTablesDiffer);
    EXPECT_EQ(dst->numMixChans(), 8);
    EXPECT_TRUE(dst->getMixSoloState(6));
    EXPECT_EQ(dst->getInputLevel(3), 1.0f);
}

TEST(SimpleMixStateCopy, MoreOutputsInTheSourceAreTakenOver) {
    SimpleMixState dst(32, 4, 4);
    SimpleMixState src(32, 4, 6);
    src.setMixRoutedToOutput(2, 3, true, true);
    EXPECT_EQ(assertionsOf([&] { dst.copyFrom(src, false); }), "");
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(dst, src, &why)) << why;
}

TEST(SimpleMixStateCopy, EqualDimensionsCopyEverything) {
    std::mt19937 rng(11);
    for (int k = 0; k < 50; ++k) {
        Qm::Ptr<SimpleMixState> src = audatoms::test::randomState(rng, false);
        SimpleMixState dst(src->numInputChans(), src->numMixChans(), src->numOutputChans());
        assertionsOf([&] { dst.copyFrom(*src, false); });
        std::string why;
        EXPECT_TRUE(audatoms::test::sameState(dst, *src, &why)) << why;
    }
}

TEST(SimpleMixStateCopy, CloneIsAnEqualIndependentObject) {
    Qm::Ptr<SimpleMixState> src = editorState();
    Qm::Ptr<Taggable> copy;
    EXPECT_EQ(assertionsOf([&] { copy = src->clone(); }), "");
    auto* state = dynamic_cast<SimpleMixState*>(copy.get());
    ASSERT_NE(state, nullptr);
    EXPECT_NE(state, src.get());
    EXPECT_EQ(copy->refCount(), 1);
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(*state, *src, &why)) << why;
    state->setInputLevel(0, 0.0f);
    EXPECT_EQ(src->getInputLevel(0), 1.0f);

    Qm::Ptr<Streamable> viaBuilder = src->clone(Streamable::BuilderType(nullptr));
    auto* state2 = dynamic_cast<SimpleMixState*>(viaBuilder.get());
    ASSERT_NE(state2, nullptr);
    EXPECT_TRUE(audatoms::test::sameState(*state2, *src, &why)) << why;

    SimpleMixState small(2, 4, 4);
    EXPECT_EQ(assertionsOf([&] { copy = small.clone(); }), kInputsNot32);
}

// Another streamable class, to show that assign refuses what is not a mixer state.
class OtherThing : public Taggable {
public:
    int STRM_hierarchyPack(PStream&) const override { return kStreamLayerOk; }
    int STRM_hierarchyUnpack(PStream&) override { return kStreamLayerOk; }
    LightweightString<char> hierarchyName(bool, bool) const override { return "Other"; }
    Qm::Ptr<Streamable> clone(BuilderType) const override { return Qm::Ptr<Streamable>(new OtherThing); }
    Qm::Ptr<Taggable> clone() const override { return Qm::Ptr<Taggable>(new OtherThing); }
    bool assign(const Streamable*) override { return false; }
};

TEST(SimpleMixStateCopy, AssignTakesOnlyMixerStates) {
    Qm::Ptr<SimpleMixState> src = editorState();
    SimpleMixState dst(32, 4, 4);
    EXPECT_TRUE(dst.assign(src.get()));
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(dst, *src, &why)) << why;
    Qm::Ptr<OtherThing> other(new OtherThing);
    SimpleMixState untouched(32, 4, 4);
    EXPECT_FALSE(untouched.assign(other.get()));
    EXPECT_FALSE(untouched.assign(nullptr));
    EXPECT_EQ(untouched.getInputLevel(3), 1.0f);
}

}  // namespace
