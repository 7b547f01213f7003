#include "platform/Report.h"

#include "tests/support/ScratchFiles.h"
#include "tests/support/StandardStreams.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

TEST(ReportConcurrency, LinesLoggedFromSeveralThreadsStayWhole) {
    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("host.log");
    audatoms::test::ScopedEnv file("AUDATOMS_LOG_FILE", path.c_str());
    platform::LogCapture capture;
    constexpr int kThreads = 4;
    constexpr int kLines = 300;
    audatoms::test::captureStandardStreams([] {  // keeps the splats out of the test's output
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < kLines; ++i) {
                    Log("thread %d line %04d %s\n", t, i, "abcdefghijklmnopqrstuvwxyz");
                    if (i % 50 == 0) ole_splat(("splat " + std::to_string(t)).c_str());
                }
            });
        }
        for (auto& th : threads) th.join();
    });

    std::set<std::string> expected;
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kLines; ++i) {
            char line[80];
            std::snprintf(line, sizeof line, "thread %d line %04d abcdefghijklmnopqrstuvwxyz", t, i);
            expected.insert(line);
        }
    }
    for (const std::string& text : {capture.logText(), audatoms::test::readFile(path)}) {
        std::istringstream in(text);
        std::set<std::string> got;
        std::string line;
        int count = 0;
        while (std::getline(in, line)) {
            got.insert(line);
            ++count;
        }
        EXPECT_EQ(count, kThreads * kLines);
        EXPECT_EQ(got, expected);
    }
    EXPECT_EQ(capture.splats().size(), std::size_t(kThreads) * (kLines / 50));
}

TEST(ReportConcurrency, AssertionLinesFromSeveralThreadsAreRecordedAndPrintedWhole) {
    platform::LogCapture capture;
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    const audatoms::test::StreamTexts streams = audatoms::test::captureStandardStreams([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([t] {
                const std::string condition = "thread " + std::to_string(t) + " abcdefghijklmnopqrstuvwxyz";
                for (int i = 0; i < kLines; ++i) assertionReport(condition.c_str(), "ole/AudAtoms/Aud__Concurrency", i);
            });
        }
        for (auto& th : threads) th.join();
    });

    std::multiset<std::string> expected;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kLines; ++i)
            expected.insert("assertion failed thread " + std::to_string(t) +
                            " abcdefghijklmnopqrstuvwxyz at ole/AudAtoms/Aud__Concurrency line " + std::to_string(i) +
                            "\n");
    const std::vector<std::string> recorded = capture.assertions();
    EXPECT_EQ(std::multiset<std::string>(recorded.begin(), recorded.end()), expected);
    std::multiset<std::string> printed;
    std::istringstream in(streams.out);
    for (std::string line; std::getline(in, line);) printed.insert(line + "\n");
    EXPECT_EQ(printed, expected);
}
