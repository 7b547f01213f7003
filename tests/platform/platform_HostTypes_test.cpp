#include "platform/HostTypes.h"
#include "platform/Report.h"

#include <gtest/gtest.h>

#include <string>

namespace {
const char* const kOutOfRange = "assertion failed i < size_ at ole/qm/Vector line 87\n";
}

TEST(HostTypes, EditChanMaxAudioIsThirtyTwo) { EXPECT_EQ(EditChanMaxAudio, 32u); }

TEST(HostTypes, ShotOriginsAreOneToEight) {
    EXPECT_EQ(int(ShotOrigin::StereoWavImports), 1);
    EXPECT_EQ(int(ShotOrigin::MultiTrackWavImports), 2);
    EXPECT_EQ(int(ShotOrigin::RecordingsWithVideo), 3);
    EXPECT_EQ(int(ShotOrigin::AudioOnlyRecordings), 4);
    EXPECT_EQ(int(ShotOrigin::MP3Imports), 5);
    EXPECT_EQ(int(ShotOrigin::CDImports), 6);
    EXPECT_EQ(int(ShotOrigin::OtherStereoAudioImports), 7);
    EXPECT_EQ(int(ShotOrigin::OtherMultiTrackAudioImports), 8);
}

TEST(HostTypes, VectorIndexesInRangeSilently) {
    Vector<int> v{10, 20, 30};
    platform::LogCapture capture;
    EXPECT_EQ(v[0], 10);
    EXPECT_EQ(v[2], 30);
    v[1] = 21;
    EXPECT_EQ(v[1], 21);
    EXPECT_EQ(capture.assertionText(), "");
}

TEST(HostTypes, VectorIndexPastTheEndReportsAndGivesADefaultValue) {
    Vector<int> v{1, 2, 3, 4};
    v.pop_back();  // the old fourth element's bytes stay in the allocation
    platform::LogCapture capture;
    const int got = v[3];
    EXPECT_EQ(capture.assertionText(), kOutOfRange);
    EXPECT_EQ(got, 0) << "a default value, not the stale element past the end";
    EXPECT_EQ(v.size(), 3u);
}

TEST(HostTypes, ConstVectorIndexPastTheEndReportsToo) {
    const Vector<std::string> v(std::vector<std::string>{"a"});
    platform::LogCapture capture;
    const std::string got = v[1];
    const std::string far = v[1000000];
    EXPECT_EQ(capture.assertionText(), std::string(kOutOfRange) + kOutOfRange);
    EXPECT_EQ(got, "");
    EXPECT_EQ(far, "");
}

TEST(HostTypes, WritingThroughAnOutOfRangeIndexChangesNothingInTheVector) {
    Vector<std::string> v;
    platform::LogCapture capture;
    v[0] = "lost";
    const std::string again = v[0];
    EXPECT_EQ(capture.assertionText(), std::string(kOutOfRange) + kOutOfRange);
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(again, "") << "each out-of-range access gives a fresh default";
}

TEST(HostTypes, VectorIsAStandardVector) {
    Vector<int> v(std::vector<int>{5, 6});
    v.push_back(7);
    const std::vector<int>& base = v;
    EXPECT_EQ(base, (std::vector<int>{5, 6, 7}));
}
