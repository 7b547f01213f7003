#include "platform/Config.h"

#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

using audatoms::test::ScopedEnv;
using audatoms::test::ScratchDir;

namespace {
// Each test starts and ends without in-process values.
class Config : public testing::Test {
protected:
    void SetUp() override { config_reset(); }
    void TearDown() override { config_reset(); }
};
}  // namespace

TEST_F(Config, WithoutAFileTheDefaultIsReturned) {
    ScopedEnv none("AUDATOMS_CONFIG", nullptr);
    EXPECT_EQ(config_int("video_in_film_pulldown", 1), 1);
    EXPECT_EQ(config_int("video_in_film_pulldown", 0), 0);
    EXPECT_EQ(config_int(nullptr, 17), 17);
}

TEST_F(Config, AValueSetInProcessWinsOverFileAndDefault) {
    ScratchDir dir;
    audatoms::test::writeFile(dir.file("audatoms.conf"), "showMixChansDebug = 0\n");
    ScopedEnv file("AUDATOMS_CONFIG", dir.file("audatoms.conf").c_str());
    EXPECT_EQ(config_int("showMixChansDebug", 5), 0);
    config_set_int("showMixChansDebug", 1);
    EXPECT_EQ(config_int("showMixChansDebug", 5), 1);
    config_set_int("showMixChansDebug", -3);
    EXPECT_EQ(config_int("showMixChansDebug", 5), -3) << "the last set wins";
    config_reset();
    EXPECT_EQ(config_int("showMixChansDebug", 5), 0) << "after a reset the file counts again";
}

TEST_F(Config, TheFileIsReadWithCommentsBlanksAndTheLastLineWinning) {
    ScratchDir dir;
    const std::string path = dir.file("audatoms.conf");
    audatoms::test::writeFile(path, "# settings of this machine\n"
                                    "\n"
                                    "video_in_film_pulldown = 0\n"
                                    "  showMixChansDebug=1   # debug on\n"
                                    "# video_in_film_pulldown = 9\n"
                                    "negative = -42\r\n"
                                    "leadingZero = 010\n"
                                    "video_in_film_pulldown = 2\n");
    ScopedEnv file("AUDATOMS_CONFIG", path.c_str());
    EXPECT_EQ(config_int("video_in_film_pulldown", 1), 2);
    EXPECT_EQ(config_int("showMixChansDebug", 0), 1);
    EXPECT_EQ(config_int("negative", 0), -42);
    EXPECT_EQ(config_int("leadingZero", 0), 10) << "decimal, not octal";
    EXPECT_EQ(config_int("absent", 77), 77);
    EXPECT_EQ(config_int("video_in_film", 77), 77) << "names match whole";
}

TEST_F(Config, UnreadableValuesAreIgnored) {
    ScratchDir dir;
    const std::string path = dir.file("audatoms.conf");
    audatoms::test::writeFile(path, "a = 3\n"
                                    "a = three\n"
                                    "a = 4x\n"
                                    "a =\n"
                                    "a = 99999999999\n"
                                    "b = 2147483647\n"
                                    "c = -2147483648\n"
                                    "d = 2147483648\n"
                                    "no separator here\n");
    ScopedEnv file("AUDATOMS_CONFIG", path.c_str());
    EXPECT_EQ(config_int("a", 0), 3);
    EXPECT_EQ(config_int("b", 0), 2147483647);
    EXPECT_EQ(config_int("c", 0), -2147483647 - 1);
    EXPECT_EQ(config_int("d", 6), 6) << "out of the range of int";
}

TEST_F(Config, AMissingFileGivesTheDefault) {
    ScratchDir dir;
    ScopedEnv file("AUDATOMS_CONFIG", dir.file("nothing-here.conf").c_str());
    EXPECT_EQ(config_int("video_in_film_pulldown", 1), 1);
}

TEST_F(Config, TheFileIsReadAgainOnEachCall) {
    ScratchDir dir;
    const std::string path = dir.file("audatoms.conf");
    audatoms::test::writeFile(path, "x = 1\n");
    ScopedEnv file("AUDATOMS_CONFIG", path.c_str());
    EXPECT_EQ(config_int("x", 0), 1);
    audatoms::test::writeFile(path, "x = 2\n");
    EXPECT_EQ(config_int("x", 0), 2);
}
