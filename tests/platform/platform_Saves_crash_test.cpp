// A save interrupted by a crash: a child process saves in a loop, alternating two
// contents, and is killed with SIGKILL at 1,000 random moments. Every time, the file
// on disk must read back as exactly one of the two contents (never a mixture, a
// truncation or nothing). Temporary files a killed save leaves beside the target are
// counted; they never replace it.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct CrashTally {
    int kills = 0;
    int sawFirst = 0;
    int sawSecond = 0;
    int leftTemporaries = 0;
};

// save(path, version) is run by the child for version 1, 2, 1, 2, ...; check(path)
// returns the version the file holds, or 0 when it holds neither.
CrashTally killWhileSaving(const std::function<void(const std::string&, int)>& save,
                           const std::function<int(const std::string&)>& check, int kills) {
    CrashTally tally;
    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("saved");
    save(path, 1);
    std::mt19937 rng(20261124);
    std::uniform_int_distribution<int> delayUs(0, 10000);
    for (int i = 0; i < kills; ++i) {
        std::fflush(nullptr);
        const pid_t child = ::fork();
        if (child == 0) {
            for (int v = 2;; v = 3 - v) save(path, v);
        }
        if (child < 0) {
            ADD_FAILURE() << "fork failed";
            break;
        }
        ::usleep(useconds_t(delayUs(rng)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
        ++tally.kills;
        const int version = check(path);
        if (version == 0) {
            ADD_FAILURE() << "after kill " << i << " the file holds neither content";
            break;
        }
        (version == 1 ? tally.sawFirst : tally.sawSecond)++;
    }
    tally.leftTemporaries = int(dir.entries().size()) - 1;
    std::printf("%d kills: %d times the first content, %d times the second; %d temporaries left by killed saves\n",
                tally.kills, tally.sawFirst, tally.sawSecond, tally.leftTemporaries);
    return tally;
}

TEST(SaveCrash, PreferencesReadBackWholeAfterEveryKill) {
    const auto tally = killWhileSaving(
        [](const std::string& path, int version) {
            EditorPreferences p;
            for (int i = 0; i < 500; ++i) p.setPreference(("Key" + std::to_string(i)).c_str(), version);
            p.save(path);
        },
        [](const std::string& path) {
            EditorPreferences p;
            if (!p.load(path)) return 0;
            const int v = p.getPreference("Key0", 0);
            for (int i = 0; i < 500; ++i)
                if (p.getPreference(("Key" + std::to_string(i)).c_str(), 0) != v) return 0;
            return (v == 1 || v == 2) ? v : 0;
        },
        1000);
    EXPECT_EQ(tally.kills, 1000);
    // The moments are spread over saves: both contents are seen.
    EXPECT_GT(tally.sawFirst, 0);
    EXPECT_GT(tally.sawSecond, 0);
}

TEST(SaveCrash, MixerStateRecordReadsBackWholeAfterEveryKill) {
    const auto tally = killWhileSaving(
        [](const std::string& path, int version) {
            Aud::SimpleMixState s(64, 4, 8);
            for (int i = 0; i < 64; ++i) s.setInputLevel(i, float(version) / 4);
            s.saveToStreamFile(path);
        },
        [](const std::string& path) {
            Aud::SimpleMixState s;
            if (!s.loadFromStreamFile(path)) return 0;
            const float level = s.getInputLevel(0);
            for (int i = 0; i < 64; ++i)
                if (s.getInputLevel(i) != level) return 0;
            return level == 0.25f ? 1 : level == 0.5f ? 2 : 0;
        },
        1000);
    EXPECT_EQ(tally.kills, 1000);
    EXPECT_GT(tally.sawFirst, 0);
    EXPECT_GT(tally.sawSecond, 0);
}

}  // namespace
