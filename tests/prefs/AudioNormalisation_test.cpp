#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const char* const kOriginNames[] = {
    "StereoWavImports", "MultiTrackWavImports",    "RecordingsWithVideo",        "AudioOnlyRecordings", "MP3Imports",
    "CDImports",        "OtherStereoAudioImports", "OtherMultiTrackAudioImports"};

ShotOrigin::eShotOrigin origin(int v) { return ShotOrigin::eShotOrigin(v); }

double storedDouble(const char* key) { return prefs().getPreference(LightweightString<char>(key), 12345.0); }
int storedInt(const char* key) { return prefs().getPreference(LightweightString<char>(key), 12345); }

class AudioNormalisationTest : public testing::Test {
protected:
    void SetUp() override { prefs().clear(); }
    void TearDown() override { prefs().clear(); }
};

}  // namespace

TEST_F(AudioNormalisationTest, MarkerIs999) { EXPECT_EQ(AudioNormalisation::invalidAudioNormalLevel(), 999.0f); }

TEST_F(AudioNormalisationTest, EmptyStoreGivesTheDefaults) {
    EXPECT_EQ(AudioNormalisation::getApplicationMethod(), 3);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), -18.0f);
    for (int v = 0; v <= 9; ++v) EXPECT_EQ(AudioNormalisation::getLevelFor(origin(v)), -18.0f) << v;
}

TEST_F(AudioNormalisationTest, OriginKeysCarryTheOriginNames) {
    for (int v = 1; v <= 8; ++v) {
        const std::string key = std::string("AudioNormalisationLevelFor_") + kOriginNames[v - 1];
        EXPECT_EQ(AudioNormalisation::levelKey(origin(v)), key.c_str());
        AudioNormalisation::setLevelFor(-float(v), origin(v));
        EXPECT_EQ(storedDouble(key.c_str()), -double(v)) << key;
    }
    for (int v = 1; v <= 8; ++v) EXPECT_EQ(AudioNormalisation::getLevelFor(origin(v)), -float(v));
}

TEST_F(AudioNormalisationTest, OriginsOutsideTheTableShareTheBarePrefixKey) {
    AudioNormalisation::setLevelFor(-7.0f, origin(0));
    EXPECT_EQ(storedDouble("AudioNormalisationLevelFor_"), -7.0);
    EXPECT_EQ(AudioNormalisation::getLevelFor(origin(9)), -7.0f);
    AudioNormalisation::setLevelFor(-9.0f, origin(-3));
    EXPECT_EQ(AudioNormalisation::getLevelFor(origin(0)), -9.0f);
    EXPECT_EQ(AudioNormalisation::getLevelFor(origin(1)), -18.0f);  // named origins untouched
}

TEST_F(AudioNormalisationTest, ApplicationMethodIsStoredUncheckedAndRepairedOnReading) {
    for (int v = 1; v <= 3; ++v) {
        AudioNormalisation::setApplicationMethod(AudioNormalisation::Application(v));
        EXPECT_EQ(storedInt("AudioNormalisationApplicationMethod"), v);
        EXPECT_EQ(AudioNormalisation::getApplicationMethod(), v);
    }
    for (int v : {0, 7, -1, 4}) {
        AudioNormalisation::setApplicationMethod(AudioNormalisation::Application(v));
        EXPECT_EQ(storedInt("AudioNormalisationApplicationMethod"), v);  // unchecked
        EXPECT_EQ(AudioNormalisation::getApplicationMethod(), 3) << v;
    }
}

TEST_F(AudioNormalisationTest, UniformLevelIsClampedOnStoring) {
    AudioNormalisation::setUniformLevel(5.0f);
    EXPECT_EQ(storedDouble("AudioNormalisationUniformLevel"), 0.0);
    AudioNormalisation::setUniformLevel(-50.0f);
    EXPECT_EQ(storedDouble("AudioNormalisationUniformLevel"), -36.0);
    AudioNormalisation::setUniformLevel(999.0f);  // the marker has no meaning here
    EXPECT_EQ(storedDouble("AudioNormalisationUniformLevel"), 0.0);
    AudioNormalisation::setUniformLevel(-12.3f);  // kept, widened exactly
    EXPECT_EQ(storedDouble("AudioNormalisationUniformLevel"), double(-12.3f));
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), -12.3f);
    AudioNormalisation::setUniformLevel(0.0f);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), 0.0f);
    AudioNormalisation::setUniformLevel(-36.0f);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), -36.0f);
}

TEST_F(AudioNormalisationTest, UniformLevelIsClampedOnReading) {
    prefs().setPreference(LightweightString<char>("AudioNormalisationUniformLevel"), -40.0);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), -36.0f);
    prefs().setPreference(LightweightString<char>("AudioNormalisationUniformLevel"), 3.0);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), 0.0f);
    prefs().setPreference(LightweightString<char>("AudioNormalisationUniformLevel"), 999.0);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), 0.0f);
    // A stored double is narrowed to float.
    prefs().setPreference(LightweightString<char>("AudioNormalisationUniformLevel"), -18.3);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), float(-18.3));
}

TEST_F(AudioNormalisationTest, TheMarkerPassesThroughPerOriginLevels) {
    AudioNormalisation::setLevelFor(999.0f, ShotOrigin::MP3Imports);
    EXPECT_EQ(storedDouble("AudioNormalisationLevelFor_MP3Imports"), 999.0);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::MP3Imports), 999.0f);
    AudioNormalisation::setLevelFor(AudioNormalisation::invalidAudioNormalLevel(), ShotOrigin::CDImports);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::CDImports), 999.0f);
    // Only the exact marker: anything else above 0 is clamped.
    AudioNormalisation::setLevelFor(998.0f, ShotOrigin::CDImports);
    EXPECT_EQ(storedDouble("AudioNormalisationLevelFor_CDImports"), 0.0);
}

TEST_F(AudioNormalisationTest, PerOriginLevelsAreClampedBothWays) {
    AudioNormalisation::setLevelFor(6.0f, ShotOrigin::StereoWavImports);
    EXPECT_EQ(storedDouble("AudioNormalisationLevelFor_StereoWavImports"), 0.0);
    AudioNormalisation::setLevelFor(-50.0f, ShotOrigin::StereoWavImports);
    EXPECT_EQ(storedDouble("AudioNormalisationLevelFor_StereoWavImports"), -36.0);
    AudioNormalisation::setLevelFor(-23.5f, ShotOrigin::StereoWavImports);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::StereoWavImports), -23.5f);

    prefs().setPreference(LightweightString<char>("AudioNormalisationLevelFor_CDImports"), -40.0);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::CDImports), -36.0f);
    prefs().setPreference(LightweightString<char>("AudioNormalisationLevelFor_CDImports"), 1.5);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::CDImports), 0.0f);
    prefs().setPreference(LightweightString<char>("AudioNormalisationLevelFor_CDImports"), 999.0);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::CDImports), 999.0f);
}

TEST_F(AudioNormalisationTest, SettingsSurviveSavingAndLoadingThePreferenceFile) {
    AudioNormalisation::setApplicationMethod(AudioNormalisation::Application(2));
    AudioNormalisation::setUniformLevel(-23.25f);
    AudioNormalisation::setLevelFor(999.0f, ShotOrigin::MP3Imports);
    AudioNormalisation::setLevelFor(-12.7f, ShotOrigin::RecordingsWithVideo);

    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("audionormalisation_prefs.txt");
    std::string error;
    ASSERT_TRUE(prefs().save(path, &error)) << error;
    prefs().clear();
    EXPECT_EQ(AudioNormalisation::getApplicationMethod(), 3);
    ASSERT_TRUE(prefs().load(path, &error)) << error;

    EXPECT_EQ(AudioNormalisation::getApplicationMethod(), 2);
    EXPECT_EQ(AudioNormalisation::getUniformLevel(), -23.25f);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::MP3Imports), 999.0f);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::RecordingsWithVideo), -12.7f);
    EXPECT_EQ(AudioNormalisation::getLevelFor(ShotOrigin::CDImports), -18.0f);
}
