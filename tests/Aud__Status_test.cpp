#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace Aud;

TEST(Status, NamedCodesSpellTheirNames) {
    EXPECT_STREQ(getDebugString(sSuccess), "sSuccess");
    EXPECT_STREQ(getDebugString(eStatus(13)), "sSampleRateMismatch");
    EXPECT_STREQ(getDebugString(eStatus(24)), "sInvalidReserverName");
    EXPECT_STREQ(getDebugString(eStatus(43)), "sEditIsInvalid");
}

TEST(Status, ReservedGapIsNeitherOkNorFailure) {
    for (int v = 3; v <= 6; ++v) {
        EXPECT_FALSE(isOk(eStatus(v))) << v;
        EXPECT_FALSE(isFailure(eStatus(v))) << v;
        EXPECT_FALSE(isWarning(eStatus(v))) << v;
        EXPECT_STREQ(getDebugString(eStatus(v)), "<UNKNOWN>") << v;
    }
}

TEST(Status, FortyFourIsAnUnnamedFailureAndFortyFiveIsNeither) {
    EXPECT_TRUE(isFailure(eStatus(44)));
    EXPECT_STREQ(getDebugString(eStatus(44)), "<UNKNOWN>");
    EXPECT_FALSE(isFailure(eStatus(45)));
    EXPECT_FALSE(isOk(eStatus(45)));
}

TEST(Status, NegativeCodesAreNeitherOkNorFailure) {
    EXPECT_FALSE(isOk(eStatus(-1)));
    EXPECT_FALSE(isFailure(eStatus(-1)));
    EXPECT_STREQ(getDebugString(eStatus(-1)), "<UNKNOWN>");
}

TEST(Status, ClassesOverTheWholeRange) {
    for (int v = -2; v <= 46; ++v) {
        const eStatus s = eStatus(v);
        EXPECT_EQ(isOk(s), v >= 0 && v <= 2) << v;
        EXPECT_EQ(isFailure(s), v >= 7 && v <= 44) << v;
        EXPECT_FALSE(isWarning(s)) << v;
        const bool named = (v >= 0 && v <= 2) || (v >= 7 && v <= 43);
        EXPECT_EQ(std::strcmp(getDebugString(s), "<UNKNOWN>") != 0, named) << v;
    }
}
