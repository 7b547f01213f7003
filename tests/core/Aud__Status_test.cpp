#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>

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

TEST(Status, DebugStringOfEveryCodeFromMinusTwoToFortySix) {
    // The names of the status table, by value; the rest have none.
    const std::pair<int, const char*> named[] = {
        {0, "sSuccess"},
        {1, "sReady"},
        {2, "sPending"},
        {7, "sInvalid"},
        {8, "sAlreadyReserved"},
        {9, "sAlreadyInGroup"},
        {10, "sNotFound"},
        {11, "sOutOfRange"},
        {12, "sHardwareNotCapable"},
        {13, "sSampleRateMismatch"},
        {14, "sConflictingSampleRate"},
        {15, "sConflictingIO_SyncSource"},
        {16, "sConflictingIO_MixerState"},
        {17, "sConflictingChannelNumber"},
        {18, "sFailedToSetHardwareSampleRateOrSyncSource"},
        {19, "sInvalidIO_MixerState"},
        {20, "sInvalidIO_Direction"},
        {21, "sInvalidSampleRate"},
        {22, "sInvalidIO_ConnectionType"},
        {23, "sInvalidIO_SyncSourceType"},
        {24, "sInvalidReserverName"},
        {25, "sChannelNumberOutOfRange"},
        {26, "sIO_SyncSourceInputNumberOutOfRange"},
        {27, "sIO_ConnectionTypeNotAvailable"},
        {28, "sIO_SyncSourceTypeNotSupported"},
        {29, "sSampleRateNotSupported"},
        {30, "sUnavailable"},
        {31, "sInvalidEditType"},
        {32, "sReadFailed"},
        {33, "sOutOfNodes"},
        {34, "sOutOfMemory"},
        {35, "sIteratorStateMismatch"},
        {36, "sInvalidChannelNumber"},
        {37, "sCaptureActive"},
        {38, "sDeactivationInProgress"},
        {39, "sAlreadyInUse"},
        {40, "sEditHasNoAudioChannels"},
        {41, "sInvalidEdit"},
        {42, "sRenderingAbortedByCallbackFn"},
        {43, "sEditIsInvalid"},
    };
    for (int v = -2; v <= 46; ++v) {
        const char* expected = "<UNKNOWN>";
        for (const auto& [value, name] : named)
            if (value == v) expected = name;
        EXPECT_STREQ(getDebugString(eStatus(v)), expected) << v;
        // Static strings: the same pointer on every call.
        EXPECT_EQ(getDebugString(eStatus(v)), getDebugString(eStatus(v))) << v;
    }
    EXPECT_STREQ(getDebugString(eStatus(INT32_MIN)), "<UNKNOWN>");
    EXPECT_STREQ(getDebugString(eStatus(INT32_MAX)), "<UNKNOWN>");
}

TEST(Status, EnumeratorsHaveTheirFixedValues) {
    EXPECT_EQ(int(sPending), 2);
    EXPECT_EQ(int(sInvalid), 7);
    EXPECT_EQ(int(sInvalidReserverName), 24);
    EXPECT_EQ(int(sUnavailable), 30);
    EXPECT_EQ(int(sEditIsInvalid), 43);
    EXPECT_EQ(sizeof(eStatus), 4u);
}
