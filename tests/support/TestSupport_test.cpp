// The shared test helpers themselves: the bit comparison and the scratch folder.
#include "tests/support/BitCompare.h"
#include "tests/support/ScratchDir.h"
#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>
#include <vector>

using audatoms::test::bitsOf;
using audatoms::test::floatFromBits;
using audatoms::test::sameBits;

TEST(TestSupportBits, BitsRoundTrip) {
    EXPECT_EQ(bitsOf(1.0f), 0x3F800000u);
    EXPECT_EQ(bitsOf(-0.0f), 0x80000000u);
    EXPECT_EQ(bitsOf(-2.0), 0xC000000000000000ull);
    EXPECT_EQ(bitsOf(floatFromBits(0x7FC01234u)), 0x7FC01234u) << "a NaN payload is kept";
}

TEST(TestSupportBits, AnyNaNEqualsAnyNaN) {
    const std::vector<float> a = {1.0f, floatFromBits(0x7FC00000u), -0.0f};
    const std::vector<float> b = {1.0f, floatFromBits(0xFFC01234u), -0.0f};
    EXPECT_TRUE(sameBits(a, b));
    EXPECT_TRUE(sameBits(std::numeric_limits<float>::quiet_NaN(), floatFromBits(0x7F800001u)));
}

TEST(TestSupportBits, SignedZerosDiffer) {
    EXPECT_FALSE(sameBits(0.0f, -0.0f));
    EXPECT_FALSE(sameBits(1.0f, std::numeric_limits<float>::quiet_NaN()));
}

TEST(TestSupportBits, TheMessageNamesTheFirstDifferingIndex) {
    const std::vector<float> a = {1.0f, 2.0f, 3.0f, 4.0f};
    const std::vector<float> b = {1.0f, 2.0f, -3.0f, 5.0f};
    const testing::AssertionResult r = sameBits(a, b);
    ASSERT_FALSE(r);
    EXPECT_EQ(std::string(r.message()), "first difference at index 2: 3 (0x40400000) vs -3 (0xC0400000)");
}

TEST(TestSupportBits, BuffersOfDifferentLengthsDiffer) {
    const std::vector<float> a = {1.0f, 2.0f};
    const std::vector<float> b = {1.0f};
    const testing::AssertionResult r = sameBits(a, b);
    ASSERT_FALSE(r);
    EXPECT_EQ(std::string(r.message()), "lengths differ: 2 vs 1");
}

TEST(TestSupportScratchDir, AFreshFolderRemovedWithItsContents) {
    std::string path;
    {
        audatoms::test::ScratchDir dir;
        path = dir.path();
        EXPECT_TRUE(std::filesystem::is_directory(path));
        EXPECT_TRUE(dir.entries().empty());
        audatoms::test::writeFile(dir.file("b.txt"), "b");
        std::filesystem::create_directory(dir.file("a"));
        audatoms::test::writeFile(dir.file("a/inner"), "x");
        EXPECT_EQ(dir.entries(), (std::vector<std::string>{"a", "b.txt"}));
        audatoms::test::ScratchDir other;
        EXPECT_NE(other.path(), path);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}
