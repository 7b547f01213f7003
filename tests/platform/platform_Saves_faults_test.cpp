// Every file the platform writes (preferences, INI files, object streams, and the
// whole-file writer under them) survives every single I/O fault of a save: the k-th
// write, fsync, close or rename failing with EIO or ENOSPC, for every k.
#include "platform/AtomicFile.h"
#include "platform/EditorPreferences.h"
#include "platform/IniFile.h"
#include "platform/Streams.h"
#include "tests/support/fault/SaveFaults.h"

#include <gtest/gtest.h>

#include <string>

namespace fault = audatoms::test::fault;

namespace {

// Contents large enough to take several write calls in some savers, different per
// version.
std::string contents(int version) {
    std::string s;
    for (int i = 0; i < 2000; ++i) s += "line " + std::to_string(i * version) + "\n";
    return s;
}

void report(const fault::FaultTally& t) {
    testing::Test::RecordProperty("faults", t.faults);
    testing::Test::RecordProperty("failed_saves", t.failures);
    std::printf("clean save: %d write, %d fsync, %d close, %d rename; %d faults, %d reported as failed saves\n",
                t.cleanSave.write, t.cleanSave.fsync, t.cleanSave.close, t.cleanSave.rename, t.faults, t.failures);
}

TEST(SaveFaults, WholeFileWriter) {
    const auto t = fault::checkEverySaveFault([](const std::string& path, int version, std::string* error) {
        return platform::writeFileAtomically(path, contents(version), error);
    });
    report(t);
    // The file's own write, flush, close and rename can each fail; only the folder's
    // flush and close come after the new file is in place.
    EXPECT_GT(t.cleanSave.write, 1);  // short writes: the save loops
    EXPECT_EQ(t.cleanSave.rename, 1);
    EXPECT_EQ(t.cleanSave.fsync, 2);
    EXPECT_EQ(t.failures, 2 * (t.cleanSave.write + 1 + 1 + 1));
}

TEST(SaveFaults, Preferences) {
    const auto t = fault::checkEverySaveFault(
        [](const std::string& path, int version, std::string* error) {
            EditorPreferences p;
            for (int i = 0; i < 1000; ++i) p.setPreference(("Key" + std::to_string(i)).c_str(), i * version);
            p.setPreference("Version", double(version) / 3);
            return p.save(path, error);
        },
        "prefs.txt");
    report(t);
    EXPECT_GT(t.failures, 0);
}

TEST(SaveFaults, IniFile) {
    const auto t = fault::checkEverySaveFault(
        [](const std::string& path, int version, std::string* error) {
            QmIniFile ini;
            for (int i = 0; i < 1000; ++i)
                ini.section("Section").emplace_back(
                    ("Key" + std::to_string(i) + "=" + std::to_string(i * version)).c_str(), '=');
            return ini.save(path, error);
        },
        "file.ini");
    report(t);
    EXPECT_GT(t.failures, 0);
}

TEST(SaveFaults, ObjectStreamFile) {
    const auto t = fault::checkEverySaveFault(
        [](const std::string& path, int version, std::string* error) {
            StreamFile f;
            if (!f.open(path, true)) {
                *error = f.lastError();
                return false;
            }
            for (int i = 0; i < 5000; ++i) f.setLong(i * version);
            const bool ok = f.close();
            if (!ok) *error = f.lastError();
            return ok;
        },
        "object.strm");
    report(t);
    EXPECT_GT(t.failures, 0);
}

// The seam itself: an armed fault fails exactly the k-th call and nothing else.
TEST(SaveFaults, TheSeamFailsExactlyTheArmedCall) {
    audatoms::test::ScratchDir dir;
    std::string error;
    fault::arm(fault::Op::rename, 1, ENOSPC);
    EXPECT_FALSE(platform::writeFileAtomically(dir.file("a"), "x", &error));
    EXPECT_TRUE(fault::fired());
    const fault::Counts c = fault::disarm();
    EXPECT_EQ(c.rename, 1);
    EXPECT_EQ(error, "cannot write " + dir.file("a") + ": No space left on device");
    EXPECT_TRUE(dir.entries().empty());
    // Disarmed: the same save goes through.
    EXPECT_TRUE(platform::writeFileAtomically(dir.file("a"), "x", &error)) << error;
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"a"});
}

}  // namespace
