// Aud::SimpleMixState: input-to-mix and mix-to-output routing, the exclusive output
// path and the range quirks of the mix routing table.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <functional>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using audatoms::test::assertionsOf;

namespace {

// Every (mix, output, side) that is routed, read through the getter over the addressable range.
std::vector<std::tuple<int, int, bool>> routes(const SimpleMixState& s) {
    std::vector<std::tuple<int, int, bool>> r;
    for (int mix = -1; mix < s.numMixChans() - 1; ++mix)
        for (int out = (mix == -1 ? 0 : -2); out < s.numOutputChans() - 2; ++out)
            for (bool left : {true, false})
                if (s.getMixRoutedToOutput(mix, out, left)) r.emplace_back(mix, out, left);
    return r;
}
using Route = std::tuple<int, int, bool>;

TEST(SimpleMixStateRouting, RoutingARealOutputIsExclusive) {
    SimpleMixState s(32, 4, 4);
    s.setMixRoutedToOutput(0, 0, true, true);
    // Mix -1's left route to output 0 is gone, mix 0's left route is set.
    EXPECT_EQ(routes(s), (std::vector<Route>{{-1, 1, false}, {0, 0, true}}));
    s.setMixRoutedToOutput(0, 0, true, false);  // un-routing clears that one cell only
    EXPECT_EQ(routes(s), (std::vector<Route>{{-1, 1, false}}));

    // Taking output 1 for mix 2's left side removes the main mix's right route.
    s.setMixRoutedToOutput(2, 1, true, true);
    EXPECT_EQ(routes(s), (std::vector<Route>{{2, 1, true}}));
    s.setMixRoutedToOutput(2, 1, false, true);  // the other side of the same mix takes it
    EXPECT_EQ(routes(s), (std::vector<Route>{{2, 1, false}}));
}

TEST(SimpleMixStateRouting, SpecialOutputsAreNeverExclusive) {
    SimpleMixState s(2, 4, 4);
    s.setMixRoutedToOutput(0, -2, true, true);
    s.setMixRoutedToOutput(1, -2, true, true);
    s.setMixRoutedToOutput(2, -1, false, true);
    s.setMixRoutedToOutput(1, -1, false, true);
    EXPECT_TRUE(s.getMixRoutedToOutput(0, -2, true));
    EXPECT_TRUE(s.getMixRoutedToOutput(1, -2, true));
    EXPECT_TRUE(s.getMixRoutedToOutput(2, -1, false));
    EXPECT_TRUE(s.getMixRoutedToOutput(1, -1, false));
    // The main mix's routes are untouched.
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 0, true));
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 1, false));
}

TEST(SimpleMixStateRouting, ExclusivePathWithoutRoomReturnsWithoutMarking) {
    SimpleMixState s(2, 4, 4);
    s.clearDirty();
    // output + 1 >= outputs: returns at once, nothing changed, not dirty, nothing reported.
    EXPECT_EQ(assertionsOf([&] { s.setMixRoutedToOutput(0, 3, true, true); }), "");
    EXPECT_FALSE(s.getDirty());
    EXPECT_EQ(routes(s), (std::vector<Route>{{-1, 0, true}, {-1, 1, false}}));
}

TEST(SimpleMixStateRouting, ExclusivePathMakesNoMixChecks) {
    SimpleMixState s(2, 4, 4);
    // Mix 7 does not exist: output 0 is taken from everyone and given to no one.
    EXPECT_EQ(assertionsOf([&] { s.setMixRoutedToOutput(7, 0, true, true); }), "");
    EXPECT_EQ(routes(s), (std::vector<Route>{{-1, 1, false}}));
    EXPECT_TRUE(s.getDirty());
}

TEST(SimpleMixStateRouting, LastMixPassesTheFirstCheckAndIsCaughtBySize) {
    SimpleMixState s(32, 4, 4);
    EXPECT_EQ(assertionsOf([&] { EXPECT_FALSE(s.getMixRoutedToOutput(3, 0, true)); }), assertionLine(595));
    EXPECT_EQ(assertionsOf([&] { s.setMixRoutedToOutput(3, 0, true, false); }), assertionLine(643));
}

TEST(SimpleMixStateRouting, OutputEqualToTheCountPassesTheRangeCheck) {
    // The range check is a strict greater-than: output slot == outputs passes and, for
    // every mix but the last, addresses the next mix's first cell: cell
    // ((mix+1)*O + O)*2 + s == ((mix+2)*O + 0)*2 + s, i.e. mix + 1's output -2.
    SimpleMixState s(2, 4, 4);
    s.setMixRoutedToOutput(1, -2, true, true);
    std::string out = assertionsOf([&] { EXPECT_TRUE(s.getMixRoutedToOutput(0, 2, true)); });
    EXPECT_EQ(out, "");
    out = assertionsOf([&] { s.setMixRoutedToOutput(0, 2, true, false); });  // un-routing: clears mix 1's cell
    EXPECT_EQ(out, "");
    EXPECT_FALSE(s.getMixRoutedToOutput(1, -2, true));
}

TEST(SimpleMixStateRouting, DefaultRoutesWithTooFewOutputsLandInTheNextRow) {
    // Output 0 is slot 2: with 2 output slots it passes the exclusive path's room check
    // (0 + 1 < 2) and its cells are the next mix's output -2 cells. Output 1 (slot 3)
    // does the same with 3 output slots.
    SimpleMixState two(1, 3, 2);
    EXPECT_EQ(routes(two), (std::vector<Route>{{0, -2, true}}));
    SimpleMixState three(1, 3, 3);
    EXPECT_EQ(routes(three), (std::vector<Route>{{-1, 0, true}, {0, -2, false}}));
    SimpleMixState one(1, 3, 1);
    EXPECT_EQ(routes(one), std::vector<Route>{});
}

TEST(SimpleMixStateRouting, ExclusivePathSkipsCellsPastTheTable) {
    // 18 output slots fill the table's rows exactly; output 16 passes the exclusive
    // path's room check and would address one row past the last mix.
    SimpleMixState s(1, 2, 18);
    s.setMixRoutedToOutput(0, -2, true, true);
    ASSERT_TRUE(s.getMixRoutedToOutput(0, -2, true));
    s.setMixRoutedToOutput(0, 3, true, true);
    s.setMixRoutedToOutput(0, 16, true, true);
    // Mix 0's row: its cell (0, 16) is output slot 18, i.e. past its row and the table.
    EXPECT_TRUE(s.getMixRoutedToOutput(0, 3, true));
    EXPECT_EQ(assertionsOf([&] { EXPECT_FALSE(s.getMixRoutedToOutput(0, 16, true)); }), assertionLine(595));
    // The main mix's cell for output 16 is mix 0's output -2 cell and was cleared.
    EXPECT_FALSE(s.getMixRoutedToOutput(0, -2, true));
}

TEST(SimpleMixStateRouting, InputRoutingCellsAreIndependent) {
    SimpleMixState s(3, 4, 4);
    s.setInputRoutedToMix(0, 2, true);
    s.setInputRoutedToMix(2, 0, true);
    s.setInputRoutedToMix(1, -1, false);
    for (int i = 0; i < 3; ++i)
        for (int mix = -1; mix <= 2; ++mix) {
            const bool expected = (i == 0 && mix == 2) || (i == 2 && mix == 0) || (mix == -1 && i != 1);
            EXPECT_EQ(s.getInputRoutedToMix(i, mix), expected) << i << " " << mix;
        }
}

TEST(SimpleMixStateRouting, InputRoutingTableShorterThanItsDimensionsThrows) {
    // A valid state copied from an invalid one keeps its dimensions but takes the empty
    // tables: the bounds-checked routing access throws.
    SimpleMixState s(2, 4, 4);
    SimpleMixState invalid;
    const std::string out = assertionsOf([&] { s.copyFrom(invalid, false); });
    EXPECT_EQ(out, assertionLine(177) + assertionLine(201, "numInputChans_ == EditChanMaxAudio") +
                       assertionLine(221, "mixRoutingTable_.size() == other.mixRoutingTable_.size()"));
    EXPECT_THROW(s.getInputRoutedToMix(0, -1), std::out_of_range);
    EXPECT_THROW(s.setInputRoutedToMix(0, -1, true), std::out_of_range);
    // The mix routing and the records are bounded by the tables' real sizes.
    EXPECT_EQ(assertionsOf([&] { EXPECT_FALSE(s.getMixRoutedToOutput(0, 0, true)); }), assertionLine(595));
    EXPECT_EQ(assertionsOf([&] { EXPECT_EQ(s.getInputLevel(0), 1.5f); }), assertionLine(258));
    // A reset brings the tables back to their sizes.
    EXPECT_EQ(assertionsOf([&] { s.resetToDefaultConfiguration(false); }), assertionLine(82) + assertionLine(90));
    EXPECT_TRUE(s.getInputRoutedToMix(0, -1));
    EXPECT_EQ(s.getInputLevel(1), 1.0f);
}

}  // namespace
