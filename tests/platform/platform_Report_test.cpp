#include "platform/Report.h"

#include "tests/support/ScratchFiles.h"
#include "tests/support/StandardStreams.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using audatoms::test::ScopedEnv;
using audatoms::test::ScratchDir;
using Streams = audatoms::test::StreamTexts;

namespace {
// Output of one call on standard output and standard error.
Streams captureBoth(const std::function<void()>& f) { return audatoms::test::captureStandardStreams(f); }
}  // namespace

// The one check of where the assertion line really goes; other tests read the lines
// back from platform::LogCapture.
TEST(Report, AssertionReportPrintsTheExactLineOnStandardOutput) {
    const Streams s = captureBoth([] { assertionReport("false", "ole/AudAtoms/Aud__SampleRate", 174); });
    EXPECT_EQ(s.out, "assertion failed false at ole/AudAtoms/Aud__SampleRate line 174\n");
    EXPECT_EQ(s.err, "");
}

TEST(Report, AssertionReportKeepsTheConditionTextAsGiven) {
    platform::LogCapture capture;
    assertionReport("rate == 48000", "ole/AudAtoms/Aud__Util_AudAtoms", 113);
    assertionReportAt("i < size_", "ole/qm/Vector line 87");
    EXPECT_EQ(capture.assertionText(), "assertion failed rate == 48000 at ole/AudAtoms/Aud__Util_AudAtoms line 113\n"
                                       "assertion failed i < size_ at ole/qm/Vector line 87\n");
}

TEST(Report, AVeryLongSourceNameIsNotCut) {
    const std::string source = "ole/AudAtoms/" + std::string(600, 'x');
    platform::LogCapture capture;
    assertionReport("c", source.c_str(), 5);
    EXPECT_EQ(capture.assertionText(), "assertion failed c at " + source + " line 5\n");
}

TEST(Report, ACaptureRecordsEachAssertionLineExactlyAsPrinted) {
    const std::string source = "ole/AudAtoms/" + std::string(600, 'y');
    platform::LogCapture capture;
    const Streams s = captureBoth([&] {
        assertionReport("a == b", "ole/AudAtoms/Aud__SimpleMixState", 772);
        assertionReportAt(nullptr, nullptr);
        assertionReport("c", source.c_str(), -5);
    });
    const std::vector<std::string> lines = capture.assertions();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "assertion failed a == b at ole/AudAtoms/Aud__SimpleMixState line 772\n");
    EXPECT_EQ(lines[1], "assertion failed  at \n");
    EXPECT_EQ(lines[2], "assertion failed c at " + source + " line -5\n");
    EXPECT_EQ(capture.assertionText(), lines[0] + lines[1] + lines[2]);
    EXPECT_EQ(capture.assertionText(), s.out) << "the record is the standard output, byte for byte";
    EXPECT_EQ(s.err, "");
    EXPECT_EQ(capture.logText(), "") << "an assertion line is not a log text";
    EXPECT_TRUE(capture.splats().empty());
}

TEST(Report, NestedCapturesEachRecordAssertionLinesWhileAlive) {
    platform::LogCapture outer;
    assertionReport("one", "s", 1);
    {
        platform::LogCapture inner;
        assertionReport("two", "s", 2);
        EXPECT_EQ(inner.assertionText(), "assertion failed two at s line 2\n");
    }
    assertionReport("three", "s", 3);
    EXPECT_EQ(outer.assertionText(), "assertion failed one at s line 1\nassertion failed two at s line 2\n"
                                     "assertion failed three at s line 3\n");
    outer.clear();
    EXPECT_TRUE(outer.assertions().empty());
    EXPECT_EQ(outer.assertionText(), "");
    assertionReport("four", "s", 4);
    EXPECT_EQ(outer.assertions(), std::vector<std::string>{"assertion failed four at s line 4\n"});
}

TEST(Report, ASilencingCaptureKeepsAssertionLinesOffStandardOutputWhileItLives) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    platform::LogCapture plain;
    const Streams s = captureBoth([] {
        assertionReport("before", "s", 1);
        {
            platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
            assertionReport("during", "s", 2);
            Log("a log line\n");
            EXPECT_EQ(quiet.assertionText(), "assertion failed during at s line 2\n") << "still recorded";
        }
        assertionReport("after", "s", 3);
    });
    EXPECT_EQ(s.out, "assertion failed before at s line 1\nassertion failed after at s line 3\n");
    EXPECT_EQ(s.err, "a log line\n") << "only the assertion lines are silenced";
    EXPECT_EQ(plain.assertionText(), "assertion failed before at s line 1\nassertion failed during at s line 2\n"
                                     "assertion failed after at s line 3\n")
        << "every live capture records the silenced line";
}

TEST(Report, OleSplatWritesTheMessageAndANewlineOnStandardError) {
    platform::LogCapture capture;
    const Streams s = captureBoth([] { ole_splat("Method called on invalid IO_ConnectionTypeInfo object"); });
    EXPECT_EQ(s.err, "Method called on invalid IO_ConnectionTypeInfo object\n");
    EXPECT_EQ(s.out, "");
    ASSERT_EQ(capture.splats().size(), 1u);
    EXPECT_EQ(capture.splats()[0], "Method called on invalid IO_ConnectionTypeInfo object");
    EXPECT_EQ(capture.logText(), "") << "a splat is not a log text";
}

TEST(Report, LogWithoutALogFileGoesToStandardError) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    platform::LogCapture capture;
    const Streams s = captureBoth([] { Log("Warning: %s %d/%d bytes\n", "layer AS", 3, 12); });
    EXPECT_EQ(s.err, "Warning: layer AS 3/12 bytes\n");
    EXPECT_EQ(s.out, "");
    EXPECT_EQ(capture.logText(), "Warning: layer AS 3/12 bytes\n");
}

TEST(Report, LogWithALogFileAppendsToTheFileOnly) {
    ScratchDir dir;
    const std::string path = dir.file("host.log");
    ScopedEnv file("AUDATOMS_LOG_FILE", path.c_str());
    const Streams s = captureBoth([] {
        Log("first %.2f\n", 1.5);
        Log("second\n");
    });
    EXPECT_EQ(s.err, "");
    EXPECT_EQ(audatoms::test::readFile(path), "first 1.50\nsecond\n");
}

TEST(Report, LogBothWithALogFileWritesTheFileAndStandardError) {
    ScratchDir dir;
    const std::string path = dir.file("host.log");
    audatoms::test::writeFile(path, "earlier line\n");
    ScopedEnv file("AUDATOMS_LOG_FILE", path.c_str());
    platform::LogCapture capture;
    const Streams s = captureBoth([] { LogBoth("Warning: encountered unreadable SampleRate value!\n"); });
    EXPECT_EQ(s.err, "Warning: encountered unreadable SampleRate value!\n");
    EXPECT_EQ(audatoms::test::readFile(path), "earlier line\nWarning: encountered unreadable SampleRate value!\n");
    EXPECT_EQ(capture.logText(), "Warning: encountered unreadable SampleRate value!\n") << "recorded once";
}

TEST(Report, LogBothWithoutALogFileWritesStandardErrorOnce) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    const Streams s = captureBoth([] { LogBoth("once\n"); });
    EXPECT_EQ(s.err, "once\n");
}

TEST(Report, AnEmptyOrUnopenableLogFileFallsBackToStandardError) {
    {
        ScopedEnv empty("AUDATOMS_LOG_FILE", "");
        EXPECT_EQ(captureBoth([] { Log("a\n"); }).err, "a\n");
    }
    ScratchDir dir;
    const std::string path = dir.file("missing-folder/host.log");
    ScopedEnv bad("AUDATOMS_LOG_FILE", path.c_str());
    EXPECT_EQ(captureBoth([] { Log("b\n"); }).err, "b\n");
    EXPECT_EQ(captureBoth([] { LogBoth("c\n"); }).err, "c\n") << "not twice: the log is standard error";
    EXPECT_FALSE(audatoms::test::fileExists(path));
}

TEST(Report, LongLogTextsAreFormattedWhole) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    platform::LogCapture capture;
    const std::string big(5000, 'z');
    captureBoth([&] { Log("[%s]\n", big.c_str()); });
    EXPECT_EQ(capture.logText(), "[" + big + "]\n");
}

TEST(Report, NestedCapturesEachRecordWhileAlive) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    captureBoth([] {
        platform::LogCapture outer;
        Log("one\n");
        {
            platform::LogCapture inner;
            Log("two\n");
            ole_splat("splat two");
            EXPECT_EQ(inner.logText(), "two\n");
            EXPECT_EQ(inner.splats(), std::vector<std::string>{"splat two"});
        }
        LogBoth("three\n");
        ole_splat("splat three");
        EXPECT_EQ(outer.logText(), "one\ntwo\nthree\n");
        EXPECT_EQ(outer.splats(), (std::vector<std::string>{"splat two", "splat three"}));
        outer.clear();
        EXPECT_EQ(outer.logText(), "");
        EXPECT_TRUE(outer.splats().empty());
        Log("four\n");
        EXPECT_EQ(outer.logText(), "four\n");
    });
}

TEST(Report, NothingIsRecordedWithoutACapture) {
    ScopedEnv noFile("AUDATOMS_LOG_FILE", nullptr);
    captureBoth([] {
        Log("before\n");
        assertionReport("before", "s", 1);
    });
    platform::LogCapture capture;
    EXPECT_EQ(capture.logText(), "");
    EXPECT_TRUE(capture.splats().empty());
    EXPECT_TRUE(capture.assertions().empty());
}
