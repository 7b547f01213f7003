#include "platform/FrameRate.h"

#include <gtest/gtest.h>

#include <type_traits>

using Qm::FrameRate;
using Qm::getFramesPerSecond;

TEST(FrameRate, TheFixedCodesAreExact) {
    EXPECT_EQ(getFramesPerSecond(FrameRate(0)), 0.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(1)), 24.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(2)), 24000.0 / 1001.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(3)), 25.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(4)), 30.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(5)), 30000.0 / 1001.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(6)), 48.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(7)), 48000.0 / 1001.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(8)), 50.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(9)), 60.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(10)), 60000.0 / 1001.0);
}

TEST(FrameRate, TheNamedFixedCodesHaveTheirNumbers) {
    EXPECT_EQ(int(Qm::FrameRateNone), 0);
    EXPECT_EQ(int(Qm::FrameRate24), 1);
    EXPECT_EQ(int(Qm::FrameRate23_976), 2);
    EXPECT_EQ(int(Qm::FrameRate25), 3);
    EXPECT_EQ(int(Qm::FrameRate30), 4);
    EXPECT_EQ(int(Qm::FrameRate29_97), 5);
    EXPECT_EQ(int(Qm::FrameRate48), 6);
    EXPECT_EQ(int(Qm::FrameRate47_952), 7);
    EXPECT_EQ(int(Qm::FrameRate50), 8);
    EXPECT_EQ(int(Qm::FrameRate60), 9);
    EXPECT_EQ(int(Qm::FrameRate59_94), 10);
}

TEST(FrameRate, TheHostCodesAreTheDocumentedRates) {
    // The table documented beside the enumerators in platform/FrameRate.h.
    const double expected[48] = {0.0,
                                 24.0,
                                 24000.0 / 1001.0,
                                 25.0,
                                 30.0,
                                 30000.0 / 1001.0,
                                 48.0,
                                 48000.0 / 1001.0,
                                 50.0,
                                 60.0,
                                 60000.0 / 1001.0,
                                 /* 11 */ 12.0,
                                 15.0,
                                 16.0,
                                 18.0,
                                 20.0,
                                 8.0,
                                 10.0,
                                 6.0,
                                 5.0,
                                 4.0,
                                 /* 21 */ 3.0,
                                 2.0,
                                 1.0,
                                 7.5,
                                 12.5,
                                 15000.0 / 1001.0,
                                 12000.0 / 1001.0,
                                 144.0,
                                 150.0,
                                 200.0,
                                 /* 31 */ 300.0,
                                 90.0,
                                 180.0,
                                 50.0 / 3.0,
                                 96.0,
                                 96000.0 / 1001.0,
                                 100.0,
                                 15.0,
                                 15000.0 / 1001.0,
                                 72.0,
                                 /* 41 */ 30000.0 / 1001.0,
                                 60000.0 / 1001.0,
                                 200.0,
                                 120.0,
                                 120000.0 / 1001.0,
                                 240.0,
                                 240000.0 / 1001.0};
    for (int code = 0; code <= 47; ++code) EXPECT_EQ(getFramesPerSecond(FrameRate(code)), expected[code]) << code;
}

TEST(FrameRate, SlowedTwinsAreTheirPartnersDividedBy1001Over1000) {
    const std::pair<int, int> twins[] = {{1, 2}, {4, 5}, {6, 7}, {9, 10}, {35, 36}, {38, 39}, {44, 45}, {46, 47}};
    for (auto [plain, slowed] : twins) {
        EXPECT_EQ(getFramesPerSecond(FrameRate(slowed)), getFramesPerSecond(FrameRate(plain)) * 1000.0 / 1001.0)
            << plain << "/" << slowed;
    }
}

TEST(FrameRate, UnknownCodesHaveNoRate) {
    EXPECT_EQ(getFramesPerSecond(FrameRate(48)), 0.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(-1)), 0.0);
    EXPECT_EQ(getFramesPerSecond(FrameRate(1000)), 0.0);
}

TEST(FrameRate, TheDefaultGearingIsOneToOne) {
    const Qm::OutputGearing gearing;
    for (double t : {0.0, 1.0, 12.5, -3.25, 86400.125}) EXPECT_EQ(mPosn_Xlate_CelToClock(t, gearing), t);
    Qm::OutputGearing geared;
    geared.scale = 2.0;
    geared.offset = 1.0;
    EXPECT_EQ(mPosn_Xlate_CelToClock(3.0, geared), 7.0);
}

TEST(FrameRate, TheCurrentProjectFrameDurationDefaultsToOneTwentyFifth) {
    EXPECT_EQ(Qm::CurrentProject::getFrameDuration(), 1.0 / 25.0);
    Qm::CurrentProject::setFrameDuration(1001.0 / 30000.0);
    EXPECT_EQ(Qm::CurrentProject::getFrameDuration(), 1001.0 / 30000.0);
    Qm::CurrentProject::setFrameDuration(1.0 / 25.0);
    EXPECT_EQ(Qm::CurrentProject::getFrameDuration(), 1.0 / 25.0);
}

TEST(FrameRate, HostEnumerationsArePlainNumericEnums) {
    static_assert(std::is_enum_v<MediumRollMedium> && std::is_convertible_v<MediumRollMedium, int>);
    static_assert(std::is_enum_v<transfer_type> && std::is_convertible_v<transfer_type, int>);
    static_assert(std::is_convertible_v<Qm::FrameRate, int>);
    // The values the timing code switches on: video and film media, the normal,
    // speed-up and pulldown transfers.
    EXPECT_EQ(int(MediumRollMediumVideo), 2);
    EXPECT_EQ(int(MediumRollMediumFilm), 3);
    EXPECT_EQ(int(transfer_normal), 0);
    EXPECT_EQ(int(transfer_speed_up), 3);
    EXPECT_EQ(int(transfer_pulldown), 7);
}
