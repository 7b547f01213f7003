// Enumeration translations and the natural playback factor. The translation tables
// and the 42 rows of the factor table are transcribed here by hand from the
// documented tables; a small matcher written from the documented rule finds, for
// every row, inputs that reach it, and checks the library over a grid of inputs.
#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <vector>

using namespace Aud;

namespace {

Qm::FrameRate fr(int c) { return Qm::FrameRate(c); }

// Frame-rate code -> mask bit; every code not listed has mask 0.
const std::map<int, std::uint32_t> kMaskOfCode = {
    {1, 0x1},    {2, 0x1},    {3, 0x2},     {4, 0x4},     {5, 0x4},     {6, 0x8},     {7, 0x8},     {8, 0x10},
    {9, 0x20},   {10, 0x20},  {35, 0x40},   {36, 0x40},   {37, 0x80},   {38, 0x100},  {39, 0x100},  {40, 0x200},
    {41, 0x400}, {42, 0x800}, {43, 0x1000}, {44, 0x2000}, {45, 0x2000}, {46, 0x4000}, {47, 0x4000},
};

std::uint32_t maskOfCode(int c) {
    const auto it = kMaskOfCode.find(c);
    return it == kMaskOfCode.end() ? 0 : it->second;
}
std::uint32_t maskOfMedium(int m) { return m == 2 ? 1 : m == 3 ? 2 : 0; }
std::uint32_t maskOfTransfer(int t) { return t == 0 ? 1 : t == 3 ? 4 : t == 7 ? 2 : 0; }

struct Row {
    std::uint32_t src, tgt, med, xfer, third, factor;
};
constexpr std::uint32_t F1001 = 0x80, F24_25 = 0x20, F24_30 = 0x400;
const Row kRows[42] = {
    {0x12, 0x1001, 0, 0, 0, 0},
    {0x12, 0x80, 0, 0, 0, 0},
    {0x12, 0x12, 0, 0x1, 0, 0},
    {0x12, 0x12, 0, 0x2, 0, 0},
    {0x12, 0x12, 0, 0x4, 0, 0},
    {0x12, 0x12, 0, 0x4, 0, 0},
    {0x24, 0x6C01, 0x2, 0, 0, F1001},
    {0x24, 0x100, 0x2, 0, 0, F1001},
    {0x24, 0x6C01, 0x1, 0, 0, 0},
    {0x24, 0x100, 0x1, 0, 0, 0},
    {0x24, 0x24, 0x1, 0x1, 0, 0},
    {0x24, 0x24, 0x2, 0x1, 0, F1001},
    {0x24, 0x24, 0x2, 0x2, 0, F1001},
    {0x24, 0x24, 0x1, 0x2, 0, 0},
    {0x24, 0x24, 0x2, 0x4, 0, F1001},
    {0x24, 0x24, 0x1, 0x4, 0, 0},
    {0x1, 0x201, 0x2, 0, 0, F1001},
    {0x1, 0x8, 0x2, 0, 0, F1001},
    {0x1, 0x8, 0x1, 0, 0, 0},
    {0x1, 0x40, 0x2, 0, 0x1, F1001},
    {0x1, 0x201, 0x1, 0, 0x1, 0},
    {0x1, 0x40, 0x1, 0, 0x1, 0},
    {0x1, 0x1012, 0, 0x2, 0x1, 0},
    {0x1, 0x1012, 0, 0x4, 0x1, F24_25},
    {0x1, 0x6C24, 0x2, 0x2, 0x1, F1001},
    {0x1, 0x6C24, 0x1, 0x2, 0x1, 0},
    {0x1, 0x24, 0x2, 0x4, 0x1, F1001 | F24_30},
    {0x1, 0x24, 0x1, 0x4, 0x1, F24_30},
    {0x1, 0x6000, 0x1, 0, 0, 0},
    {0x1, 0x6000, 0x2, 0, 0, F1001},
    {0x8, 0x201, 0x2, 0, 0x8, F1001},
    {0x8, 0x40, 0x2, 0, 0x8, F1001},
    {0x8, 0x201, 0x1, 0, 0x8, 0},
    {0x8, 0x40, 0x1, 0, 0x8, 0},
    {0x8, 0x8, 0x2, 0, 0, F1001},
    {0x8, 0x8, 0x1, 0, 0, 0},
    {0x8, 0x1012, 0, 0x2, 0x8, 0},
    {0x8, 0x1012, 0, 0x4, 0x8, F24_25},
    {0x8, 0x6C24, 0x2, 0x2, 0x8, F1001},
    {0x8, 0x6C24, 0x1, 0x2, 0x8, 0},
    {0x8, 0x6C24, 0x2, 0x4, 0x8, F1001 | F24_30},
    {0x8, 0x6C24, 0x1, 0x4, 0x8, F24_30},
};

bool matches(std::uint32_t column, std::uint32_t input) { return column == 0 || (column & input) != 0; }

// Reference: the pulldown rewrite, then the first matching row (42 = none).
unsigned referenceRow(int src, int tgt, int med, int xfer, int third, int pulldownSetting /* -1: unset */) {
    if (xfer == 0 && (src == 6 || src == 1) &&
        (tgt == 3 || tgt == 4 || tgt == 5 || tgt == 8 || tgt == 9 || tgt == 10)) {
        const int dflt = (tgt == 3 || tgt == 8) ? 0 : 1;
        const int setting = pulldownSetting < 0 ? dflt : pulldownSetting;
        xfer = setting != 0 ? 7 : 3;
    }
    for (unsigned r = 0; r < 42; ++r) {
        const Row& row = kRows[r];
        if (matches(row.src, maskOfCode(src)) && matches(row.tgt, maskOfCode(tgt)) &&
            matches(row.med, maskOfMedium(med)) && matches(row.xfer, maskOfTransfer(xfer)) &&
            matches(row.third, maskOfCode(third)))
            return r;
    }
    return 42;
}

struct Inputs {
    int src, tgt, med, xfer, third;
};

std::vector<int> rateCodes() {
    std::vector<int> v;
    for (int c = 0; c <= 12; ++c) v.push_back(c);
    for (int c = 35; c <= 48; ++c) v.push_back(c);
    return v;
}

eStatus factorOf(eFactor& out, const Inputs& in) {
    return Util::determineNaturalPlaybackResamplingFactor(out, fr(in.src), fr(in.tgt), MediumRollMedium(in.med),
                                                          transfer_type(in.xfer), fr(in.third));
}

class PlaybackFactor : public testing::Test {
protected:
    void SetUp() override { config_reset(); }
    void TearDown() override { config_reset(); }
};

}  // namespace

// ---- translations ----------------------------------------------------------------

TEST(TranslateEnum, FrameRateCodesToMasks) {
    for (int c = -2; c <= 60; ++c) EXPECT_EQ(std::uint32_t(translateEnum(fr(c))), maskOfCode(c)) << c;
}

TEST(TranslateEnum, MasksToTheFirstCodeOfTheirBit) {
    const std::map<std::uint32_t, int> expected = {
        {0x1, 1},    {0x2, 3},    {0x4, 4},    {0x8, 6},    {0x10, 8},    {0x20, 9},    {0x40, 35},   {0x80, 37},
        {0x100, 38}, {0x200, 40}, {0x400, 41}, {0x800, 42}, {0x1000, 43}, {0x2000, 44}, {0x4000, 46},
    };
    for (const auto& [mask, code] : expected) {
        EXPECT_EQ(int(translateEnum(bmFrameRate(mask))), code) << mask;
        EXPECT_EQ(translateEnum(translateEnum(bmFrameRate(mask))), bmFrameRate(mask)) << mask;
    }
    for (std::uint32_t other : {0x0u, 0x3u, 0x6u, 0x8000u, 0x10000u, 0xFFFFFFFFu, 0x4001u})
        EXPECT_EQ(int(translateEnum(bmFrameRate(other))), 0) << other;
    // A slowed rate maps back to its plain twin.
    EXPECT_EQ(translateEnum(translateEnum(fr(5))), fr(4));
    EXPECT_EQ(translateEnum(translateEnum(fr(47))), fr(46));
}

TEST(TranslateEnum, Medium) {
    for (int m = -1; m <= 9; ++m)
        EXPECT_EQ(std::uint32_t(translateEnum(MediumRollMedium(m))), std::uint32_t(m == 2 ? 1 : m == 3 ? 2 : 0)) << m;
    EXPECT_EQ(int(translateEnum(bmMediumRollMedium(1))), 2);
    EXPECT_EQ(int(translateEnum(bmMediumRollMedium(2))), 3);
    for (std::uint32_t m : {0u, 3u, 4u, 0xFFFFFFFFu}) EXPECT_EQ(int(translateEnum(bmMediumRollMedium(m))), 0) << m;
}

TEST(TranslateEnum, TransferType) {
    const std::map<int, std::uint32_t> to = {{0, 1}, {3, 4}, {7, 2}};
    for (int t = -1; t <= 12; ++t) {
        const auto it = to.find(t);
        EXPECT_EQ(std::uint32_t(translateEnum(transfer_type(t))), it == to.end() ? 0u : it->second) << t;
    }
    EXPECT_EQ(int(translateEnum(bmTransferType(1))), 0);
    EXPECT_EQ(int(translateEnum(bmTransferType(2))), 7);
    EXPECT_EQ(int(translateEnum(bmTransferType(4))), 3);
    for (std::uint32_t m : {0u, 3u, 5u, 8u, 0xFFFFFFFFu})
        EXPECT_EQ(std::uint32_t(translateEnum(bmTransferType(m))), 0xFFFFFFFFu) << m;
}

// ---- the factor table --------------------------------------------------------------

TEST_F(PlaybackFactor, EveryRowIsReachedAndGivesItsFactor) {
    // Search a grid for the first inputs that reach each row by the reference rule.
    std::vector<bool> found(43, false);
    std::vector<Inputs> witness(43);
    const std::vector<int> codes = rateCodes();
    for (int src : codes)
        for (int tgt : codes)
            for (int med = 0; med <= 4; ++med)
                for (int xfer = 0; xfer <= 8; ++xfer)
                    for (int third : codes) {
                        const unsigned r = referenceRow(src, tgt, med, xfer, third, -1);
                        if (!found[r]) {
                            found[r] = true;
                            witness[r] = {src, tgt, med, xfer, third};
                        }
                    }
    for (unsigned r = 0; r < 42; ++r) {
        if (r == 5) continue;  // identical to row 4, which always wins
        ASSERT_TRUE(found[r]) << "row " << r << " unreached";
        const Inputs& in = witness[r];
        EXPECT_EQ(Util::naturalPlaybackRow(fr(in.src), fr(in.tgt), MediumRollMedium(in.med), transfer_type(in.xfer),
                                           fr(in.third)),
                  r);
        eFactor out = eFactor(0xDEAD0000u);
        EXPECT_EQ(factorOf(out, in), sSuccess) << "row " << r;
        EXPECT_EQ(std::uint32_t(out), kRows[r].factor) << "row " << r;
    }
    EXPECT_FALSE(found[5]);
    EXPECT_TRUE(found[42]);  // and the terminator
}

TEST_F(PlaybackFactor, RowFiveIsShadowedByRowFour) {
    // 25 fps to 50 fps, sped up: rows 4 and 5 both match; the first one wins.
    EXPECT_EQ(Util::naturalPlaybackRow(fr(3), fr(8), MediumRollMedium(0), transfer_type(3), fr(0)), 4u);
}

TEST_F(PlaybackFactor, TheTerminatorGivesInvalidAndLeavesTheResultAlone) {
    const Inputs none[] = {
        {0, 0, 0, 0, 0},  // nothing matches a film, video or source mask
        {4, 4, 0, 0, 0},  // 30 -> 30 needs a medium
        {1, 4, 2, 1, 0},  // 24 -> 30 video, telecine transfer: no row
        {6, 6, 1, 0, 6},  // 48 -> 48 audio medium
    };
    for (const Inputs& in : none) {
        EXPECT_EQ(referenceRow(in.src, in.tgt, in.med, in.xfer, in.third, -1), 42u);
        eFactor out = keFactor2;
        EXPECT_EQ(factorOf(out, in), sInvalid);
        EXPECT_EQ(out, keFactor2);
        EXPECT_EQ(Util::naturalPlaybackRow(fr(in.src), fr(in.tgt), MediumRollMedium(in.med), transfer_type(in.xfer),
                                           fr(in.third)),
                  Util::naturalPlaybackTableRows());
    }
}

TEST_F(PlaybackFactor, AgreesWithTheRuleOverAGridOfInputs) {
    const std::vector<int> codes = rateCodes();
    const int thirds[] = {0, 1, 2, 3, 4, 6, 8, 9, 35, 37, 38, 40, 41, 42, 43, 44, 46};
    long mismatches = 0;
    for (int src : codes)
        for (int tgt : codes)
            for (int med = 0; med <= 4; ++med)
                for (int xfer = 0; xfer <= 8; ++xfer)
                    for (int third : thirds) {
                        const unsigned expected = referenceRow(src, tgt, med, xfer, third, -1);
                        eFactor out = eFactor(0xDEAD0000u);
                        const eStatus st = factorOf(out, {src, tgt, med, xfer, third});
                        const bool ok = expected == 42 ? st == sInvalid && out == eFactor(0xDEAD0000u)
                                                       : st == sSuccess && std::uint32_t(out) == kRows[expected].factor;
                        if (!ok && ++mismatches < 10)
                            ADD_FAILURE() << src << " " << tgt << " " << med << " " << xfer << " " << third;
                    }
    EXPECT_EQ(mismatches, 0);
}

TEST_F(PlaybackFactor, FilmPulldownSettingDecidesForFilmSourcesWithPlainTransfer) {
    for (int setting : {0, 1, 5}) {
        config_set_int("video_in_film_pulldown", setting);
        for (int src : {1, 6})
            for (int tgt : {3, 4, 5, 8, 9, 10})
                for (int med = 0; med <= 3; ++med)
                    for (int third : {0, 1, 6}) {
                        const unsigned expected = referenceRow(src, tgt, med, 0, third, setting);
                        EXPECT_EQ(Util::naturalPlaybackRow(fr(src), fr(tgt), MediumRollMedium(med), transfer_type(0),
                                                           fr(third)),
                                  expected)
                            << setting << " " << src << " " << tgt << " " << med << " " << third;
                    }
    }
}

TEST_F(PlaybackFactor, FilmToVideoExamples) {
    eFactor out = keFactorNone;
    // 24 fps to 30 fps on video, plain transfer: pulled down by default (row 25, none).
    EXPECT_EQ(factorOf(out, {1, 4, 2, 0, 1}), sSuccess);
    EXPECT_EQ(out, keFactorNone);
    EXPECT_EQ(Util::naturalPlaybackRow(fr(1), fr(4), MediumRollMedium(2), transfer_type(0), fr(1)), 25u);
    // With the setting off it is sped up instead: 24/30 (row 27).
    config_set_int("video_in_film_pulldown", 0);
    EXPECT_EQ(factorOf(out, {1, 4, 2, 0, 1}), sSuccess);
    EXPECT_EQ(out, keFactor24_30);
    config_reset();

    // 24 fps to 25 fps: sped up by default, 24/25 (row 23); pulled down when set (row 22).
    EXPECT_EQ(factorOf(out, {1, 3, 0, 0, 1}), sSuccess);
    EXPECT_EQ(out, keFactor24_25);
    config_set_int("video_in_film_pulldown", 1);
    EXPECT_EQ(factorOf(out, {1, 3, 0, 0, 1}), sSuccess);
    EXPECT_EQ(out, keFactorNone);
    EXPECT_EQ(Util::naturalPlaybackRow(fr(1), fr(3), MediumRollMedium(0), transfer_type(0), fr(1)), 22u);

    // A transfer other than plain is taken as given: the setting is not consulted.
    config_set_int("video_in_film_pulldown", 0);
    EXPECT_EQ(Util::naturalPlaybackRow(fr(1), fr(3), MediumRollMedium(0), transfer_type(7), fr(1)), 22u);

    // 23.976 is not a film source for the rewrite (only codes 1 and 6 are).
    config_reset();
    EXPECT_EQ(Util::naturalPlaybackRow(fr(2), fr(3), MediumRollMedium(0), transfer_type(0), fr(1)), 42u);

    // 48 fps film to 50 fps, sped up by default, with the third rate 48: 24/25 (row 37).
    EXPECT_EQ(factorOf(out, {6, 8, 0, 0, 6}), sSuccess);
    EXPECT_EQ(out, keFactor24_25);
    // 30 fps video from film, medium film: 1.001 (row 6 via target 24).
    EXPECT_EQ(factorOf(out, {4, 1, 3, 5, 0}), sSuccess);
    EXPECT_EQ(out, keFactor1001_1000);
    // 24 to 29.97 on film, sped up, third 24: 1.001 and 24/30 (row 26).
    EXPECT_EQ(factorOf(out, {1, 5, 3, 3, 1}), sSuccess);
    EXPECT_EQ(out, keFactor1001_1000 | keFactor24_30);
}
