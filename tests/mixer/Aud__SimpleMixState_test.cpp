// Aud::SimpleMixState: the model. Defaults, clamps, addressing, the per-accessor range
// reports, invalid-state reports, the dirty flag.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/BitCompare.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using audatoms::test::assertionsOf;

namespace {

TEST(SimpleMixState, FreshEditorStateHasTheDefaultConfigurationAndIsDirty) {
    std::string out;
    SimpleMixState* s = nullptr;
    out = assertionsOf([&] { s = new SimpleMixState(32, 4, 4); });
    Qm::Ptr<SimpleMixState> hold(s);
    EXPECT_EQ(out, "");
    ASSERT_TRUE(s->valid());
    EXPECT_EQ(s->numInputChans(), 32);
    EXPECT_EQ(s->numMixChans(), 4);
    EXPECT_EQ(s->numOutputChans(), 4);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(s->getInputLevel(i), 1.0f);
        EXPECT_EQ(s->getInputPan(i), 0.5f);
        EXPECT_FALSE(s->getInputMuteState(i));
        EXPECT_FALSE(s->getInputSoloState(i));
        EXPECT_TRUE(s->getInputRoutedToMix(i, -1));
        for (int mix = 0; mix <= 2; ++mix) EXPECT_FALSE(s->getInputRoutedToMix(i, mix)) << i << " " << mix;
    }
    for (int mix = -1; mix <= 2; ++mix) {
        EXPECT_EQ(s->getMixLevel(mix), 1.0f);
        EXPECT_FALSE(s->getMixMuteState(mix));
        EXPECT_FALSE(s->getMixSoloState(mix));
    }
    // Main mix: left feeds output 0, right feeds output 1; nothing else is routed.
    for (int mix = -1; mix <= 2; ++mix)
        for (int output = (mix == -1 ? 0 : -2); output <= 1; ++output)
            for (bool left : {true, false}) {
                const bool expected = mix == -1 && ((output == 0 && left) || (output == 1 && !left));
                EXPECT_EQ(s->getMixRoutedToOutput(mix, output, left), expected) << mix << " " << output << " " << left;
            }
    EXPECT_TRUE(s->getDirty());
    EXPECT_FALSE(s->anyInputSolo());
    EXPECT_FALSE(s->anyMixSolo());
}

TEST(SimpleMixState, DefaultConstructedStateIsInvalidAndEmpty) {
    SimpleMixState s;
    EXPECT_FALSE(s.valid());
    EXPECT_FALSE(s.getDirty());
    EXPECT_EQ(s.numInputChans(), 0);
    EXPECT_EQ(s.numMixChans(), 0);
    EXPECT_EQ(s.numOutputChans(), 0);
    EXPECT_FALSE(s.anyInputSolo());
    EXPECT_FALSE(s.anyMixSolo());
    for (int t = 0; t <= 9; ++t) EXPECT_EQ(s.sizeOf(SimpleMixState::eTables(t)), 0u);
}

TEST(SimpleMixState, LevelsAreClampedPansAreNot) {
    SimpleMixState s(32, 4, 4);
    s.setInputLevel(0, 2.0f);
    EXPECT_EQ(s.getInputLevel(0), 1.5f);
    s.setInputLevel(0, -0.1f);
    EXPECT_EQ(s.getInputLevel(0), 0.0f);
    s.setInputLevel(0, 1.5f);
    EXPECT_EQ(s.getInputLevel(0), 1.5f);
    s.setInputLevel(0, 0.75f);
    EXPECT_EQ(s.getInputLevel(0), 0.75f);
    s.setInputLevel(0, std::numeric_limits<float>::infinity());
    EXPECT_EQ(s.getInputLevel(0), 1.5f);
    s.setInputLevel(0, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(s.getInputLevel(0), 0.0f);
    s.setInputLevel(0, std::nanf(""));
    EXPECT_TRUE(std::isnan(s.getInputLevel(0)));  // NaN passes the clamp unchanged
    s.setInputLevel(0, -0.0f);
    EXPECT_EQ(audatoms::test::bitsOf(s.getInputLevel(0)), audatoms::test::bitsOf(-0.0f));  // not less than 0.0: kept

    s.setInputPan(0, 7.0f);
    EXPECT_EQ(s.getInputPan(0), 7.0f);
    s.setInputPan(0, -3.25f);
    EXPECT_EQ(s.getInputPan(0), -3.25f);

    s.setMixLevel(-1, 9.0f);
    EXPECT_EQ(s.getMixLevel(-1), 1.5f);
    s.setMixLevel(2, -1.0f);
    EXPECT_EQ(s.getMixLevel(2), 0.0f);
    s.setMixLevel(0, 0.25f);
    EXPECT_EQ(s.getMixLevel(0), 0.25f);
}

TEST(SimpleMixState, MixAddressingIsOffsetByOne) {
    SimpleMixState s(32, 4, 4);
    s.setMixLevel(-1, 0.5f);
    EXPECT_EQ(s.getMixLevel(-1), 0.5f);
    EXPECT_EQ(s.getMixLevel(0), 1.0f);
    std::string out = assertionsOf([&] { EXPECT_EQ(s.getMixLevel(3), 1.5f); });
    EXPECT_EQ(out, assertionLine(398));
    out = assertionsOf([&] { EXPECT_EQ(s.getMixLevel(-2), 1.5f); });
    EXPECT_EQ(out, assertionLine(398));
    s.setMixLevel(2, 0.125f);
    EXPECT_EQ(s.getMixLevel(2), 0.125f);
}

// Every accessor, just outside its range on both sides: its own line and its fallback,
// and the state (and its dirty flag) untouched.
TEST(SimpleMixState, EveryAccessorReportsItsOwnLineOutOfRange) {
    SimpleMixState s(3, 4, 4);
    s.clearDirty();
    struct Case {
        int line;
        std::function<void()> call;
    };
    float f = 0;
    bool b = true;
    const std::vector<Case> cases = {
        {258,
         [&] {
             f = s.getInputLevel(3);
             EXPECT_EQ(f, 1.5f);
         }},
        {258,
         [&] {
             f = s.getInputLevel(-1);
             EXPECT_EQ(f, 1.5f);
         }},
        {278, [&] { s.setInputLevel(3, 0.5f); }},
        {278, [&] { s.setInputLevel(-1, 0.5f); }},
        {296,
         [&] {
             f = s.getInputPan(3);
             EXPECT_EQ(f, 0.5f);
         }},
        {296,
         [&] {
             f = s.getInputPan(-1);
             EXPECT_EQ(f, 0.5f);
         }},
        {311, [&] { s.setInputPan(3, 0.1f); }},
        {311, [&] { s.setInputPan(-1, 0.1f); }},
        {330,
         [&] {
             b = s.getInputMuteState(3);
             EXPECT_FALSE(b);
         }},
        {330,
         [&] {
             b = s.getInputMuteState(-1);
             EXPECT_FALSE(b);
         }},
        {345, [&] { s.setInputMuteState(3, true); }},
        {345, [&] { s.setInputMuteState(-1, true); }},
        {363,
         [&] {
             b = s.getInputSoloState(3);
             EXPECT_FALSE(b);
         }},
        {363,
         [&] {
             b = s.getInputSoloState(-1);
             EXPECT_FALSE(b);
         }},
        {376, [&] { s.setInputSoloState(3, true); }},
        {376, [&] { s.setInputSoloState(-1, true); }},
        {398,
         [&] {
             f = s.getMixLevel(3);
             EXPECT_EQ(f, 1.5f);
         }},
        {398,
         [&] {
             f = s.getMixLevel(-2);
             EXPECT_EQ(f, 1.5f);
         }},
        {421, [&] { s.setMixLevel(3, 0.5f); }},
        {421, [&] { s.setMixLevel(-2, 0.5f); }},
        {444,
         [&] {
             b = s.getMixMuteState(3);
             EXPECT_FALSE(b);
         }},
        {444,
         [&] {
             b = s.getMixMuteState(-2);
             EXPECT_FALSE(b);
         }},
        {462, [&] { s.setMixMuteState(3, true); }},
        {462, [&] { s.setMixMuteState(-2, true); }},
        {484,
         [&] {
             b = s.getMixSoloState(3);
             EXPECT_FALSE(b);
         }},
        {484,
         [&] {
             b = s.getMixSoloState(-2);
             EXPECT_FALSE(b);
         }},
        {502, [&] { s.setMixSoloState(3, true); }},
        {502, [&] { s.setMixSoloState(-2, true); }},
        {528,
         [&] {
             b = s.getInputRoutedToMix(3, -1);
             EXPECT_FALSE(b);
         }},
        {528,
         [&] {
             b = s.getInputRoutedToMix(-1, -1);
             EXPECT_FALSE(b);
         }},
        {528,
         [&] {
             b = s.getInputRoutedToMix(0, 3);
             EXPECT_FALSE(b);
         }},
        {528,
         [&] {
             b = s.getInputRoutedToMix(0, -2);
             EXPECT_FALSE(b);
         }},
        {547, [&] { s.setInputRoutedToMix(3, 0, true); }},
        {547, [&] { s.setInputRoutedToMix(-1, 0, true); }},
        {547, [&] { s.setInputRoutedToMix(0, 3, true); }},
        {547, [&] { s.setInputRoutedToMix(0, -2, true); }},
        {569,
         [&] {
             b = s.getMixRoutedToOutput(-1, -1, true);
             EXPECT_FALSE(b);
         }},
        {569,
         [&] {
             b = s.getMixRoutedToOutput(-1, -2, false);
             EXPECT_FALSE(b);
         }},
        {585,
         [&] {
             b = s.getMixRoutedToOutput(4, 0, true);
             EXPECT_FALSE(b);
         }},
        {585,
         [&] {
             b = s.getMixRoutedToOutput(-2, 0, true);
             EXPECT_FALSE(b);
         }},
        {585,
         [&] {
             b = s.getMixRoutedToOutput(0, 3, true);
             EXPECT_FALSE(b);
         }},
        {585,
         [&] {
             b = s.getMixRoutedToOutput(0, -3, true);
             EXPECT_FALSE(b);
         }},
        {595,
         [&] {
             b = s.getMixRoutedToOutput(3, 0, true);
             EXPECT_FALSE(b);
         }},
        {611, [&] { s.setMixRoutedToOutput(-1, -2, true, true); }},
        {611, [&] { s.setMixRoutedToOutput(-1, -1, false, false); }},
        {611, [&] { s.setMixRoutedToOutput(-1, -2, true, false); }},
        {627, [&] { s.setMixRoutedToOutput(4, 0, true, false); }},
        {627, [&] { s.setMixRoutedToOutput(-2, 0, true, false); }},
        {627, [&] { s.setMixRoutedToOutput(0, 3, true, false); }},
        {627, [&] { s.setMixRoutedToOutput(0, -3, true, true); }},
        {643, [&] { s.setMixRoutedToOutput(3, 0, true, false); }},
        {643, [&] { s.setMixRoutedToOutput(3, -2, false, true); }},
    };
    Qm::Ptr<SimpleMixState> reference(new SimpleMixState(3, 4, 4));
    for (const Case& c : cases) {
        const std::string out = assertionsOf(c.call);
        EXPECT_EQ(out, assertionLine(c.line)) << "line " << c.line;
    }
    EXPECT_FALSE(s.getDirty());
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(s, *reference, &why)) << why;
}

TEST(SimpleMixState, SettersMarkDirtyAndStore) {
    SimpleMixState s(2, 4, 4);
    const std::vector<std::function<void()>> setters = {
        [&] { s.setInputLevel(1, 0.5f); },
        [&] { s.setInputPan(1, 0.25f); },
        [&] { s.setInputMuteState(1, true); },
        [&] { s.setInputSoloState(1, true); },
        [&] { s.setMixLevel(2, 0.5f); },
        [&] { s.setMixMuteState(2, true); },
        [&] { s.setMixSoloState(2, true); },
        [&] { s.setInputRoutedToMix(1, 2, true); },
        [&] { s.setMixRoutedToOutput(2, -2, false, true); },
        [&] { s.setMixRoutedToOutput(2, 1, true, true); },
    };
    for (std::size_t k = 0; k < setters.size(); ++k) {
        s.clearDirty();
        EXPECT_FALSE(s.getDirty());
        setters[k]();
        EXPECT_TRUE(s.getDirty()) << "setter " << k;
    }
    EXPECT_EQ(s.getInputLevel(1), 0.5f);
    EXPECT_EQ(s.getInputPan(1), 0.25f);
    EXPECT_TRUE(s.getInputMuteState(1));
    EXPECT_TRUE(s.getInputSoloState(1));
    EXPECT_EQ(s.getMixLevel(2), 0.5f);
    EXPECT_TRUE(s.getMixMuteState(2));
    EXPECT_TRUE(s.getMixSoloState(2));
    EXPECT_TRUE(s.getInputRoutedToMix(1, 2));
    EXPECT_TRUE(s.getMixRoutedToOutput(2, -2, false));
    EXPECT_TRUE(s.getMixRoutedToOutput(2, 1, true));
    EXPECT_TRUE(s.anyInputSolo());
    EXPECT_TRUE(s.anyMixSolo());
    // Input 0 is untouched.
    EXPECT_EQ(s.getInputLevel(0), 1.0f);
    EXPECT_FALSE(s.getInputMuteState(0));
}

TEST(SimpleMixState, SoloQueriesIncludeTheMainMixAndNeedNoValidState) {
    SimpleMixState s(4, 4, 4);
    EXPECT_FALSE(s.anyMixSolo());
    s.setMixSoloState(-1, true);
    EXPECT_TRUE(s.anyMixSolo());
    s.setMixSoloState(-1, false);
    s.setMixSoloState(2, true);
    EXPECT_TRUE(s.anyMixSolo());
    EXPECT_FALSE(s.anyInputSolo());
    s.setInputSoloState(3, true);
    EXPECT_TRUE(s.anyInputSolo());

    SimpleMixState invalid;
    platform::LogCapture log;
    EXPECT_FALSE(invalid.anyInputSolo());
    EXPECT_FALSE(invalid.anyMixSolo());
    invalid.setDirty();
    EXPECT_TRUE(invalid.getDirty());
    invalid.clearDirty();
    EXPECT_TRUE(log.splats().empty());
}

TEST(SimpleMixState, EveryAccessorOnAnInvalidStateReportsTheInvalidState) {
    SimpleMixState s;
    const std::vector<std::function<void()>> calls = {
        [&] { s.getInputLevel(0); },
        [&] { s.setInputLevel(0, 1); },
        [&] { s.getInputPan(0); },
        [&] { s.setInputPan(0, 1); },
        [&] { s.getInputMuteState(0); },
        [&] { s.setInputMuteState(0, true); },
        [&] { s.getInputSoloState(0); },
        [&] { s.setInputSoloState(0, true); },
        [&] { s.getMixLevel(-1); },
        [&] { s.setMixLevel(-1, 1); },
        [&] { s.getMixMuteState(-1); },
        [&] { s.setMixMuteState(-1, true); },
        [&] { s.getMixSoloState(-1); },
        [&] { s.setMixSoloState(-1, true); },
        [&] { s.getInputRoutedToMix(0, -1); },
        [&] { s.setInputRoutedToMix(0, -1, true); },
        [&] { s.getMixRoutedToOutput(0, 0, true); },
        [&] { s.setMixRoutedToOutput(0, -2, true, false); },
    };
    for (std::size_t k = 0; k < calls.size(); ++k) {
        platform::LogCapture log;
        const std::string out = assertionsOf(calls[k]);
        ASSERT_EQ(log.splats().size(), 1u) << "call " << k;
        EXPECT_EQ(log.splats()[0], "Function called on invalid MixerState!");
        // Then the index check fails against the empty dimensions.
        EXPECT_NE(out.find("assertion failed false at ole/AudAtoms/Aud__SimpleMixState line "), std::string::npos)
            << "call " << k;
    }
    {
        platform::LogCapture log;
        s.checkValid();
        EXPECT_EQ(log.splats().size(), 1u);
        // The reset reports once itself and once in each of its two main-mix route setters
        // (whose exclusive loops are empty without mixes, so nothing else is printed).
        EXPECT_EQ(assertionsOf([&] { s.resetToDefaultConfiguration(false); }), "");
        EXPECT_EQ(log.splats(), std::vector<std::string>(4, "Function called on invalid MixerState!"));
    }
    EXPECT_FALSE(s.valid());
    SimpleMixState good(1, 1, 1);
    platform::LogCapture log;
    good.checkValid();
    EXPECT_TRUE(log.splats().empty());
}

TEST(SimpleMixState, TableSizes) {
    SimpleMixState s(5, 3, 7);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tInputLevels), 20u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tInputPans), 20u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tInputMutes), 5u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tInputSolos), 5u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tMixLevels), 12u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tMixMutes), 3u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tMixSolos), 3u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tInputRoutingTable), 15u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tMixRoutingTable), 42u);
    EXPECT_EQ(s.sizeOf(SimpleMixState::tMixRoutingTableMax), 108u);
    unsigned size = 1;
    EXPECT_EQ(assertionsOf([&] { size = s.sizeOf(SimpleMixState::eTables(10)); }), assertionLine(1003));
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(assertionsOf([&] { size = s.sizeOf(SimpleMixState::eTables(-1)); }), assertionLine(1003));
    EXPECT_EQ(size, 0u);
}

TEST(SimpleMixState, InitTwiceReportsAndTakesTheNewDimensions) {
    SimpleMixState s(2, 2, 2);
    s.setInputLevel(0, 0.5f);
    const std::string out = assertionsOf([&] { s.init(3, 4, 5); });
    EXPECT_EQ(out, assertionLine(957, "valid_ == false"));
    EXPECT_EQ(s.numInputChans(), 3);
    EXPECT_EQ(s.numMixChans(), 4);
    EXPECT_EQ(s.numOutputChans(), 5);
    EXPECT_EQ(s.getInputLevel(0), 1.0f);  // reset to the defaults
    EXPECT_TRUE(s.getInputRoutedToMix(2, -1));
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 2, true) == false);
}

TEST(SimpleMixState, InitWithNegativeDimensionsReportsAndUsesZero) {
    SimpleMixState s;
    const std::string out = assertionsOf([&] { s.init(-1, 4, -7); });
    EXPECT_EQ(out, assertionLine(957, "numInputs >= 0 && numMixes >= 0 && numOutputs >= 0"));
    EXPECT_TRUE(s.valid());
    EXPECT_EQ(s.numInputChans(), 0);
    EXPECT_EQ(s.numMixChans(), 4);
    EXPECT_EQ(s.numOutputChans(), 0);
}

TEST(SimpleMixState, ResetLeavesTheStateDirtyThroughItsInnerSetters) {
    // With an input, the routing setter marks it dirty whatever markDirty says.
    SimpleMixState a(1, 1, 1);
    a.clearDirty();
    a.resetToDefaultConfiguration(false);
    EXPECT_TRUE(a.getDirty());
    // No input, one output: both main-mix routes return early (output + 1 >= outputs),
    // so nothing marks the state.
    SimpleMixState b(0, 4, 1);
    EXPECT_FALSE(b.getDirty());
    b.resetToDefaultConfiguration(true);
    EXPECT_TRUE(b.getDirty());
    // No input but room for output 0: the exclusive route marks it.
    SimpleMixState c(0, 4, 4);
    EXPECT_TRUE(c.getDirty());
    // No mixes at all: the exclusive loops are empty and still mark it.
    SimpleMixState d(0, 0, 4);
    EXPECT_TRUE(d.getDirty());
}

TEST(SimpleMixState, ResetRestoresEveryDefault) {
    std::mt19937 rng(7);
    Qm::Ptr<SimpleMixState> s = audatoms::test::randomState(rng, false);
    Qm::Ptr<SimpleMixState> fresh(new SimpleMixState(s->numInputChans(), s->numMixChans(), s->numOutputChans()));
    s->resetToDefaultConfiguration(false);
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(*s, *fresh, &why)) << why;
}

TEST(SimpleMixState, MainMixWithNoMixesReportsPerInputOnReset) {
    // Zero mix buses: the main mix does not exist, so every input's default route is
    // out of range and reported by its setter.
    const std::string out = assertionsOf([] { SimpleMixState s(2, 0, 4); });
    EXPECT_EQ(out, assertionLine(547) + assertionLine(547));
}

TEST(SimpleMixState, InsertInputsShiftsRecordsButNotRouting) {
    SimpleMixState s(5, 2, 4);
    for (int i = 0; i < 5; ++i) s.setInputLevel(i, 0.125f * float(i + 1));
    s.setInputRoutedToMix(2, 0, true);
    s.clearDirty();
    s.insertInputs(2, 1);
    // 1/8, new, new, 2/8, 3/8 ; 4/8 and 5/8 fall off
    EXPECT_EQ(s.getInputLevel(0), 0.125f);
    EXPECT_EQ(s.getInputLevel(1), 1.0f);
    EXPECT_EQ(s.getInputPan(1), 0.5f);
    EXPECT_EQ(s.getInputLevel(2), 1.0f);
    EXPECT_EQ(s.getInputLevel(3), 0.25f);
    EXPECT_EQ(s.getInputLevel(4), 0.375f);
    EXPECT_EQ(s.numInputChans(), 5);
    EXPECT_TRUE(s.getInputRoutedToMix(2, 0));  // routing stays with the input number
    EXPECT_FALSE(s.getInputRoutedToMix(4, 0));
    EXPECT_FALSE(s.getDirty());

    s.insertInputs(3, 5);  // at or past the end: nothing
    EXPECT_EQ(s.getInputLevel(4), 0.375f);
    s.insertInputs(1000000000000ul, 4);  // only one record can move: the last one is replaced
    EXPECT_EQ(s.getInputLevel(4), 1.0f);
    EXPECT_EQ(s.getInputLevel(3), 0.25f);
}

TEST(SimpleMixState, RemoveInputShiftsDownAndAppendsADefault) {
    SimpleMixState s(4, 2, 4);
    for (int i = 0; i < 4; ++i) {
        s.setInputLevel(i, 0.25f * float(i));
        s.setInputSoloState(i, true);
    }
    s.setInputRoutedToMix(1, 0, true);
    s.clearDirty();
    s.removeInput(1);
    EXPECT_EQ(s.getInputLevel(0), 0.0f);
    EXPECT_EQ(s.getInputLevel(1), 0.5f);
    EXPECT_EQ(s.getInputLevel(2), 0.75f);
    EXPECT_EQ(s.getInputLevel(3), 1.0f);
    EXPECT_FALSE(s.getInputSoloState(3));  // the appended default
    EXPECT_TRUE(s.getInputSoloState(2));
    EXPECT_TRUE(s.getInputRoutedToMix(1, 0));  // routing untouched
    EXPECT_FALSE(s.getDirty());
    s.removeInput(4);  // out of range: nothing
    EXPECT_EQ(s.getInputLevel(2), 0.75f);
}

TEST(SimpleMixState, InsertAndRemoveNeedNoValidState) {
    SimpleMixState s;
    platform::LogCapture log;
    const std::string out = assertionsOf([&] {
        s.insertInputs(2, 0);
        s.removeInput(0);
    });
    EXPECT_EQ(out, "");
    EXPECT_TRUE(log.splats().empty());
    EXPECT_FALSE(s.valid());
}

}  // namespace
