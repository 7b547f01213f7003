#include "platform/AtomicFile.h"

#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using audatoms::test::ScratchDir;

TEST(AtomicFile, WritesAndReadsBytesExactly) {
    ScratchDir dir;
    const std::string path = dir.file("data.bin");
    const std::string payload("line\r\n\0\xFF end", 12);
    std::string error;
    ASSERT_TRUE(platform::writeFileAtomically(path, payload, &error)) << error;
    std::string back;
    ASSERT_TRUE(platform::readWholeFile(path, back, &error)) << error;
    EXPECT_EQ(back, payload);
    EXPECT_EQ(audatoms::test::permissionsOf(path), 0644u) << "a new file is 0644";
    ASSERT_TRUE(platform::writeFileAtomically(path, "", &error));
    ASSERT_TRUE(platform::readWholeFile(path, back, &error));
    EXPECT_EQ(back, "");
}

TEST(AtomicFile, AReplacementIsANewFileWithTheOldPermissions) {
    ScratchDir dir;
    const std::string path = dir.file("data.bin");
    audatoms::test::writeFile(path, std::string(4096, 'o'));
    ::chmod(path.c_str(), 0640);
    const unsigned long oldInode = audatoms::test::inodeOf(path);
    ASSERT_TRUE(platform::writeFileAtomically(path, "new"));
    EXPECT_EQ(audatoms::test::readFile(path), "new");
    EXPECT_NE(audatoms::test::inodeOf(path), oldInode);
    EXPECT_EQ(audatoms::test::permissionsOf(path), 0640u);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"data.bin"});
}

TEST(AtomicFile, FailuresLeaveTheTargetAndNoTemporary) {
    ScratchDir dir;
    const std::string path = dir.file("data.bin");
    audatoms::test::writeFile(path, "old contents");
    ::chmod(path.c_str(), 0644);
    const std::string big(10000, 'n');
    EXPECT_TRUE(audatoms::test::runWhereDirectoryIsReadOnly(dir.path(), [&] {
        std::string error;
        return !platform::writeFileAtomically(path, big, &error) && error.find(path) != std::string::npos;
    }));
    EXPECT_TRUE(audatoms::test::runWithFileSizeLimit(1000, [&] {
        std::string error;
        return !platform::writeFileAtomically(path, big, &error) && error.find(path) != std::string::npos;
    }));
    EXPECT_EQ(audatoms::test::readFile(path), "old contents");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"data.bin"});
}

TEST(AtomicFile, ReadingAMissingFileOrADirectoryFails) {
    ScratchDir dir;
    std::string bytes = "untouched", error;
    EXPECT_FALSE(platform::readWholeFile(dir.file("absent"), bytes, &error));
    EXPECT_NE(error.find("absent"), std::string::npos);
    EXPECT_FALSE(platform::readWholeFile(dir.path(), bytes, &error));
    EXPECT_EQ(bytes, "untouched");
}
