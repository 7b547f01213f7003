#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <string>

using namespace Aud;

namespace {

const std::string kLine1138 = "assertion failed false at ole/AudAtoms/Aud__Util_AudAtoms line 1138\n";

std::string times(const std::string& line, int n) {
    std::string s;
    for (int i = 0; i < n; ++i) s += line;
    return s;
}

const wchar_t* const kNames[7] = {L"24 bit floating point",     L"16 bit",        L"24 bit", L"8 bit signed", L"8 bit",
                                  L"24 bit unpacked (4 bytes)", L"32 bit integer"};

}  // namespace

TEST(SampleTypeNames, KnownCodes) {
    platform::LogCapture capture;
    for (int code = 0; code <= 6; ++code) EXPECT_EQ(getAsString(code), kNames[code]) << code;
    EXPECT_EQ(capture.assertionText(), "");
}

TEST(SampleTypeNames, UnknownCodesPrintAndGiveError) {
    for (int code : {7, -1, 8, 9, 1000, INT_MIN, INT_MAX}) {
        platform::LogCapture capture;
        EXPECT_EQ(getAsString(code), L"Error") << code;
        EXPECT_EQ(capture.assertionText(), kLine1138) << code;
    }
}

TEST(SampleTypeNames, FromStringFindsEachName) {
    platform::LogCapture capture;
    EXPECT_EQ(sampleTypeFromString(L"24 bit"), 2);
    for (int code = 0; code <= 6; ++code) EXPECT_EQ(sampleTypeFromString(kNames[code]), code) << code;
    EXPECT_EQ(capture.assertionText(), "");
}

TEST(SampleTypeNames, FromStringOfUnknownTextTriesUpToNine) {
    for (const LightweightString<wchar_t>& text :
         {LightweightString<wchar_t>(L"24 Bit"), LightweightString<wchar_t>(L""), LightweightString<wchar_t>(),
          LightweightString<wchar_t>(L"24 bit ")}) {
        platform::LogCapture capture;
        EXPECT_EQ(sampleTypeFromString(text), 0);
        EXPECT_EQ(capture.assertionText(), times(kLine1138, 3));
    }
}

TEST(SampleTypeNames, FromStringOfErrorGivesSeven) {
    platform::LogCapture capture;
    EXPECT_EQ(sampleTypeFromString(L"Error"), 7);
    EXPECT_EQ(capture.assertionText(), kLine1138);
}

TEST(ExportChoices, CodesAndNames) {
    platform::LogCapture capture;
    const Vector<int> codes = getExportChoicesAsInt();
    ASSERT_EQ(codes.size(), 3u);
    EXPECT_EQ(codes[0], 1);
    EXPECT_EQ(codes[1], 2);
    EXPECT_EQ(codes[2], 5);
    const auto names = getExportChoices();
    ASSERT_EQ(names.size(), 3u);
    EXPECT_EQ(names[0], L"16 bit");
    EXPECT_EQ(names[1], L"24 bit");
    EXPECT_EQ(names[2], L"24 bit unpacked (4 bytes)");
    for (std::size_t i = 0; i < codes.size(); ++i) EXPECT_EQ(sampleTypeFromString(names[i]), codes[i]) << i;
    EXPECT_EQ(capture.assertionText(), "");
}

TEST(LibraryFacts, FixedAnswers) {
    EXPECT_EQ(audio_get_record_channels(), 4);
    EXPECT_TRUE(audio_playback_lock_to_word_clock());
    EXPECT_STREQ(audAtomsDllVersionStr(), "14.5.0.0");
    // A static string: the same pointer every time.
    EXPECT_EQ(audAtomsDllVersionStr(), audAtomsDllVersionStr());
}

TEST(LibraryFacts, ExportedWithCLinkage) {
    // The unmangled names are found in the loaded library.
    using VersionFn = const char* (*)();
    using ChannelsFn = int (*)();
    using LockFn = bool (*)();
    auto version = reinterpret_cast<VersionFn>(dlsym(RTLD_DEFAULT, "audAtomsDllVersionStr"));
    auto channels = reinterpret_cast<ChannelsFn>(dlsym(RTLD_DEFAULT, "audio_get_record_channels"));
    auto lock = reinterpret_cast<LockFn>(dlsym(RTLD_DEFAULT, "audio_playback_lock_to_word_clock"));
    ASSERT_NE(version, nullptr);
    ASSERT_NE(channels, nullptr);
    ASSERT_NE(lock, nullptr);
    EXPECT_STREQ(version(), "14.5.0.0");
    EXPECT_EQ(channels(), 4);
    EXPECT_TRUE(lock());
}
