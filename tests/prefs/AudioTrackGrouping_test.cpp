#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Condition = AudioTrackGrouping::GroupingCondition::eGroupingCondition;

const char* const kOriginNames[] = {
    "StereoWavImports", "MultiTrackWavImports",    "RecordingsWithVideo",        "AudioOnlyRecordings", "MP3Imports",
    "CDImports",        "OtherStereoAudioImports", "OtherMultiTrackAudioImports"};

ShotOrigin::eShotOrigin origin(int v) { return ShotOrigin::eShotOrigin(v); }
int storedInt(const std::string& key) { return prefs().getPreference(LightweightString<char>(key), 12345); }

class AudioTrackGroupingTest : public testing::Test {
protected:
    void SetUp() override { prefs().clear(); }
    void TearDown() override { prefs().clear(); }
};

}  // namespace

TEST_F(AudioTrackGroupingTest, EmptyStoreGivesTheDefaults) {
    EXPECT_TRUE(AudioTrackGrouping::getEnabled());
    for (int v = 0; v <= 9; ++v) EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(origin(v)), 3) << v;
}

TEST_F(AudioTrackGroupingTest, EnabledIsStoredAsABool) {
    AudioTrackGrouping::setEnabled(false);
    EXPECT_FALSE(AudioTrackGrouping::getEnabled());
    EXPECT_FALSE(prefs().getPreference(LightweightString<char>("TrackGroupingEnabled"), true));
    AudioTrackGrouping::setEnabled(true);
    EXPECT_TRUE(AudioTrackGrouping::getEnabled());
    EXPECT_TRUE(prefs().getPreference(LightweightString<char>("TrackGroupingEnabled"), false));
}

TEST_F(AudioTrackGroupingTest, ConditionsAreKeptPerOrigin) {
    for (int v = 1; v <= 8; ++v) {
        const std::string key = std::string("TrackGroupingConditionFor_") + kOriginNames[v - 1];
        EXPECT_EQ(AudioTrackGrouping::conditionKey(origin(v)), key.c_str());
        const int c = 1 + v % 3;
        AudioTrackGrouping::setGroupingCondition(origin(v), Condition(c));
        EXPECT_EQ(storedInt(key), c) << key;
    }
    for (int v = 1; v <= 8; ++v) EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(origin(v)), 1 + v % 3);
}

TEST_F(AudioTrackGroupingTest, OriginsOutsideTheTableShareTheBarePrefixKey) {
    AudioTrackGrouping::setGroupingCondition(origin(0), Condition(1));
    EXPECT_EQ(storedInt("TrackGroupingConditionFor_"), 1);
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(origin(12)), 1);
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::CDImports), 3);
}

TEST_F(AudioTrackGroupingTest, OutOfRangeConditionsAreStoredButReadAsThree) {
    AudioTrackGrouping::setGroupingCondition(ShotOrigin::MP3Imports, Condition(4));
    EXPECT_EQ(storedInt("TrackGroupingConditionFor_MP3Imports"), 4);  // accepted as it is
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::MP3Imports), 3);
    AudioTrackGrouping::setGroupingCondition(ShotOrigin::MP3Imports, Condition(0));
    EXPECT_EQ(storedInt("TrackGroupingConditionFor_MP3Imports"), 0);
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::MP3Imports), 3);
    AudioTrackGrouping::setGroupingCondition(ShotOrigin::MP3Imports, Condition(2));
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::MP3Imports), 2);
}

TEST_F(AudioTrackGroupingTest, DisplayStringsComeFromTheResources) {
    EXPECT_EQ(getDisplayString(Condition(1)), resourceStrW(10206));
    EXPECT_EQ(getDisplayString(Condition(2)), resourceStrW(10205));
    EXPECT_EQ(getDisplayString(Condition(3)), resourceStrW(10204));
    for (int v = 1; v <= 3; ++v) {
        EXPECT_FALSE(getDisplayString(Condition(v)).empty()) << v;
        EXPECT_EQ(AudioTrackGrouping::getDisplayString(Condition(v)), getDisplayString(Condition(v)));
    }
    EXPECT_NE(getDisplayString(Condition(1)), getDisplayString(Condition(3)));
}

TEST_F(AudioTrackGroupingTest, DisplayStringOfAnUnknownConditionIsEmpty) {
    EXPECT_TRUE(getDisplayString(Condition(0)).empty());
    EXPECT_TRUE(getDisplayString(Condition(4)).empty());
    EXPECT_TRUE(getDisplayString(Condition(-1)).empty());
}

TEST_F(AudioTrackGroupingTest, SettingsSurviveSavingAndLoadingThePreferenceFile) {
    AudioTrackGrouping::setEnabled(false);
    AudioTrackGrouping::setGroupingCondition(ShotOrigin::CDImports, Condition(1));
    AudioTrackGrouping::setGroupingCondition(ShotOrigin::AudioOnlyRecordings, Condition(2));

    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("trackgrouping_prefs.txt");
    std::string error;
    ASSERT_TRUE(prefs().save(path, &error)) << error;
    prefs().clear();
    EXPECT_TRUE(AudioTrackGrouping::getEnabled());
    ASSERT_TRUE(prefs().load(path, &error)) << error;

    EXPECT_FALSE(AudioTrackGrouping::getEnabled());
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::CDImports), 1);
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::AudioOnlyRecordings), 2);
    EXPECT_EQ(AudioTrackGrouping::getGroupingCondition(ShotOrigin::MP3Imports), 3);
}
