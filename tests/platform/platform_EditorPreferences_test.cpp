#include "platform/EditorPreferences.h"

#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <limits>
#include <sys/stat.h>

using audatoms::test::ScratchDir;
using Key = LightweightString<char>;

TEST(EditorPreferences, PrefsIsOneStoreForTheProcess) {
    EXPECT_EQ(&prefs(), &prefs());
    prefs().clear();
    prefs().setPreference(Key("TrackGroupingEnabled"), false);
    EXPECT_FALSE(prefs().getPreference(Key("TrackGroupingEnabled"), true));
    prefs().clear();
    EXPECT_TRUE(prefs().getPreference(Key("TrackGroupingEnabled"), true));
}

TEST(EditorPreferences, AbsentKeysGiveTheDefault) {
    const EditorPreferences p;
    EXPECT_EQ(p.getPreference(Key("a"), 3), 3);
    EXPECT_EQ(p.getPreference(Key("a"), -1.25), -1.25);
    EXPECT_TRUE(p.getPreference(Key("a"), true));
    EXPECT_FALSE(p.contains(Key("a")));
}

TEST(EditorPreferences, TypedValuesRoundTrip) {
    EditorPreferences p;
    p.setPreference(Key("int"), -123456);
    p.setPreference(Key("double"), 0.1);
    p.setPreference(Key("bool"), true);
    EXPECT_EQ(p.getPreference(Key("int"), 0), -123456);
    EXPECT_EQ(p.getPreference(Key("double"), 0.0), 0.1);
    EXPECT_TRUE(p.getPreference(Key("bool"), false));
    EXPECT_TRUE(p.contains(Key("int")));
    p.setPreference(Key("int"), 9);
    EXPECT_EQ(p.getPreference(Key("int"), 0), 9) << "setting again replaces";
    p.remove(Key("int"));
    EXPECT_FALSE(p.contains(Key("int")));
    EXPECT_EQ(p.getPreference(Key("int"), 4), 4);
}

TEST(EditorPreferences, ValuesConvertToTheAskedType) {
    EditorPreferences p;
    p.setPreference(Key("i"), 7);
    p.setPreference(Key("zero"), 0);
    p.setPreference(Key("t"), true);
    p.setPreference(Key("f"), false);
    p.setPreference(Key("d"), 2.9);
    p.setPreference(Key("negd"), -2.9);
    p.setPreference(Key("half"), 0.5);
    p.setPreference(Key("dzero"), 0.0);
    p.setPreference(Key("huge"), 1e20);
    p.setPreference(Key("tiny"), -1e20);
    p.setPreference(Key("nan"), std::numeric_limits<double>::quiet_NaN());

    EXPECT_EQ(p.getPreference(Key("i"), 0.0), 7.0);
    EXPECT_TRUE(p.getPreference(Key("i"), false));
    EXPECT_FALSE(p.getPreference(Key("zero"), true));
    EXPECT_EQ(p.getPreference(Key("t"), 5), 1);
    EXPECT_EQ(p.getPreference(Key("f"), 5), 0);
    EXPECT_EQ(p.getPreference(Key("t"), 5.0), 1.0);
    EXPECT_EQ(p.getPreference(Key("d"), 0), 2) << "toward zero";
    EXPECT_EQ(p.getPreference(Key("negd"), 0), -2) << "toward zero";
    EXPECT_TRUE(p.getPreference(Key("half"), false));
    EXPECT_FALSE(p.getPreference(Key("dzero"), true));
    EXPECT_EQ(p.getPreference(Key("huge"), 0), INT_MAX);
    EXPECT_EQ(p.getPreference(Key("tiny"), 0), INT_MIN);
    EXPECT_EQ(p.getPreference(Key("nan"), 11), 11);
    EXPECT_TRUE(p.getPreference(Key("nan"), true));
    EXPECT_FALSE(p.getPreference(Key("nan"), false));
    EXPECT_TRUE(std::isnan(p.getPreference(Key("nan"), 0.0)));
}

TEST(EditorPreferences, TheTextFormIsOneTypedLinePerKeyInKeyOrder) {
    EditorPreferences p;
    p.setPreference(Key("b"), 0.5);
    p.setPreference(Key("a"), 1);
    p.setPreference(Key("c"), true);
    p.setPreference(Key("x=y#z"), false);
    EXPECT_EQ(p.toText(), "# AudAtoms editor preferences\n"
                          "a=i:1\n"
                          "b=d:0.5\n"
                          "c=b:1\n"
                          "x\\ey\\hz=b:0\n");
}

TEST(EditorPreferences, SaveAndLoadThroughAFileKeepEveryValueExactly) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    EditorPreferences p;
    const double doubles[] = {0.1,
                              1.0 / 3.0,
                              DBL_MAX,
                              DBL_MIN,
                              5e-324,
                              -0.0,
                              1e300,
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity()};
    for (int i = 0; i < int(std::size(doubles)); ++i)
        p.setPreference(Key(("d" + std::to_string(i)).c_str()), doubles[i]);
    p.setPreference(Key("imin"), INT_MIN);
    p.setPreference(Key("imax"), INT_MAX);
    p.setPreference(Key("yes"), true);
    p.setPreference(Key("no"), false);
    const char* oddKeys[] = {
        "", "a=b", "line\nbreak", "back\\slash", "#hash", "trailing\\", "AudioNormalisationLevelFor_CDImports"};
    for (const char* k : oddKeys) p.setPreference(Key(k), 5);
    p.setPreference(Key("nan"), std::numeric_limits<double>::quiet_NaN());

    std::string error;
    ASSERT_TRUE(p.save(path, &error)) << error;
    EditorPreferences q;
    q.setPreference(Key("stale"), 1);
    ASSERT_TRUE(q.load(path, &error)) << error;
    EXPECT_FALSE(q.contains(Key("stale"))) << "load replaces the whole contents";
    for (int i = 0; i < int(std::size(doubles)); ++i) {
        const double got = q.getPreference(Key(("d" + std::to_string(i)).c_str()), 42.0);
        EXPECT_EQ(got, doubles[i]) << i;
        EXPECT_EQ(std::signbit(got), std::signbit(doubles[i])) << i;
    }
    EXPECT_EQ(q.getPreference(Key("imin"), 0), INT_MIN);
    EXPECT_EQ(q.getPreference(Key("imax"), 0), INT_MAX);
    EXPECT_TRUE(q.getPreference(Key("yes"), false));
    EXPECT_FALSE(q.getPreference(Key("no"), true));
    for (const char* k : oddKeys) EXPECT_EQ(q.getPreference(Key(k), 0), 5) << k;
    EXPECT_TRUE(std::isnan(q.getPreference(Key("nan"), 0.0)));
    EXPECT_EQ(q.toText(), p.toText());
}

TEST(EditorPreferences, LoadAcceptsCarriageReturnLineEnds) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    audatoms::test::writeFile(path, "# written elsewhere\r\nlevel=d:-12.5\r\non=b:1\r\ncount=i:3\r\n");
    EditorPreferences p;
    std::string error;
    ASSERT_TRUE(p.load(path, &error)) << error;
    EXPECT_EQ(p.getPreference(Key("level"), 0.0), -12.5);
    EXPECT_TRUE(p.getPreference(Key("on"), false));
    EXPECT_EQ(p.getPreference(Key("count"), 0), 3);
}

TEST(EditorPreferences, AnUnreadableFileChangesNothingAndNamesPathAndLine) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    EditorPreferences p;
    p.setPreference(Key("kept"), 8);
    const char* bad[] = {"ok=i:1\nbroken line\n", "ok=i:1\nx=i:12z\n",         "ok=i:1\nx=q:1\n",
                         "ok=i:1\nx=b:2\n",       "ok=i:1\nx=i:99999999999\n", "ok=i:1\nbad\\qescape=i:1\n"};
    for (const char* text : bad) {
        audatoms::test::writeFile(path, text);
        std::string error;
        EXPECT_FALSE(p.load(path, &error)) << text;
        EXPECT_NE(error.find(path), std::string::npos) << error;
        EXPECT_NE(error.find("line 2"), std::string::npos) << error;
        EXPECT_EQ(p.getPreference(Key("kept"), 0), 8);
        EXPECT_FALSE(p.contains(Key("ok")));
    }
    std::string error;
    EXPECT_FALSE(p.load(dir.file("absent.txt"), &error));
    EXPECT_NE(error.find("absent.txt"), std::string::npos) << error;
    EXPECT_EQ(p.getPreference(Key("kept"), 0), 8);
}

// ---- the save is atomic -------------------------------------------------------------

TEST(EditorPreferences, SaveReplacesAPreexistingFileWholeByRename) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    audatoms::test::writeFile(path, std::string(20000, 'x'));  // longer than what is saved
    ::chmod(path.c_str(), 0600);
    const unsigned long oldInode = audatoms::test::inodeOf(path);
    EditorPreferences p;
    p.setPreference(Key("a"), 1);
    ASSERT_TRUE(p.save(path));
    EXPECT_EQ(audatoms::test::readFile(path), p.toText()) << "nothing of the old bytes remains";
    EXPECT_NE(audatoms::test::inodeOf(path), oldInode) << "a new file renamed over the old one";
    EXPECT_EQ(audatoms::test::permissionsOf(path), 0600u) << "the replacement keeps the permissions";
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"prefs.txt"}) << "no temporary file left";
}

TEST(EditorPreferences, ASaveIntoADirectoryThatCannotBeWrittenLeavesTheOldFile) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    const std::string old = "# AudAtoms editor preferences\nold=i:1\n";
    audatoms::test::writeFile(path, old);
    ::chmod(path.c_str(), 0644);
    EditorPreferences p;
    p.setPreference(Key("new"), 2);
    const bool refused = audatoms::test::runWhereDirectoryIsReadOnly(dir.path(), [&] {
        std::string error;
        return !p.save(path, &error) && error.find(path) != std::string::npos;
    });
    EXPECT_TRUE(refused) << "the save must fail and say which file";
    EXPECT_EQ(audatoms::test::readFile(path), old);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"prefs.txt"});
}

TEST(EditorPreferences, ASaveThatFailsHalfWayLeavesTheOldFileAndNoTemporary) {
    ScratchDir dir;
    const std::string path = dir.file("prefs.txt");
    const std::string old = "# AudAtoms editor preferences\nold=i:1\n";
    audatoms::test::writeFile(path, old);
    EditorPreferences p;
    for (int i = 0; i < 200; ++i) p.setPreference(Key(("key" + std::to_string(i)).c_str()), i);
    ASSERT_GT(p.toText().size(), 1000u);
    const bool failed = audatoms::test::runWithFileSizeLimit(512, [&] { return !p.save(path); });
    EXPECT_TRUE(failed) << "a write past the size limit must fail the save";
    EXPECT_EQ(audatoms::test::readFile(path), old);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"prefs.txt"});
}

TEST(EditorPreferences, ASaveIntoAMissingDirectoryFailsCleanly) {
    ScratchDir dir;
    EditorPreferences p;
    p.setPreference(Key("a"), 1);
    std::string error;
    EXPECT_FALSE(p.save(dir.file("no/such/dir/prefs.txt"), &error));
    EXPECT_NE(error.find("no/such/dir/prefs.txt"), std::string::npos) << error;
    EXPECT_TRUE(dir.entries().empty());
}
