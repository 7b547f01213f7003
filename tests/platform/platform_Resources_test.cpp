#include "platform/Resources.h"

#include "tests/support/ScratchFiles.h"

#include <gtest/gtest.h>

#include <set>

using audatoms::test::ScopedEnv;
using audatoms::test::ScratchDir;
using WideString = LightweightString<wchar_t>;

namespace {
// Each test starts from the built-in English table.
class Resources : public testing::Test {
protected:
    void SetUp() override { platform::reloadResources(); }
    void TearDown() override { platform::reloadResources(); }
    ScopedEnv noTable_{"AUDATOMS_RESOURCES", nullptr};
};
}  // namespace

TEST_F(Resources, TheBuiltInEnglishTexts) {
    EXPECT_EQ(resourceStrW(10055), L"None");
    EXPECT_EQ(resourceStrW(10342), L"Project rate");
    EXPECT_EQ(resourceStrW(10204), L"Always");
    EXPECT_EQ(resourceStrW(10205), L"When timecodes match");
    EXPECT_EQ(resourceStrW(10206), L"When names and timecodes match");
    EXPECT_EQ(resourceStrW(11643), L"Embedded (SDI)");
    EXPECT_EQ(resourceStrW(11644), L"ADAT");
    EXPECT_EQ(resourceStrW(11645), L"AES/EBU");
    EXPECT_EQ(resourceStrW(11646), L"Analogue");
    EXPECT_EQ(resourceStrW(11647), L"S/PDIF");
}

TEST_F(Resources, ChoicesShownSideBySideAreDistinct) {
    std::set<std::wstring> connections;
    for (int id = 11643; id <= 11647; ++id) connections.insert(resourceStrW(id).toStd());
    EXPECT_EQ(connections.size(), 5u);
    const std::set<std::wstring> conditions = {resourceStrW(10204).toStd(), resourceStrW(10205).toStd(),
                                               resourceStrW(10206).toStd()};
    EXPECT_EQ(conditions.size(), 3u);
}

TEST_F(Resources, AnUnknownNumberGivesAnEmptyString) {
    for (int id : {0, -1, 1, 10056, 99999}) {
        const WideString s = resourceStrW(id);
        EXPECT_TRUE(s.empty()) << id;
        EXPECT_FALSE(s.isNull()) << id;
    }
}

TEST_F(Resources, PaddedTextsAddPrefixAndSuffix) {
    EXPECT_EQ(paddedResourceStrW(10055, WideString(L"< "), WideString(L" >")), L"< None >");
    EXPECT_EQ(paddedResourceStrW(10055, WideString(L"<"), WideString(L">"), 1), L"< None >");
    EXPECT_EQ(paddedResourceStrW(10342, WideString(), WideString()), L"Project rate");
    EXPECT_EQ(paddedResourceStrW(1, WideString(L"["), WideString(L"]")), L"[]");
}

TEST_F(Resources, ATranslationFileReplacesTheTextsItNames) {
    ScratchDir dir;
    const std::string path = dir.file("fr.txt");
    audatoms::test::writeFile(path, "\xEF\xBB\xBF# French\r\n"
                                    "10055 = Aucun\r\n"
                                    "\n"
                                    "   11646=Analogique\n"
                                    "10342 = Fr\xC3\xA9quence du projet\n"
                                    "10204 = \xF0\x9F\x98\x80 toujours\n"
                                    "12345 = Extra\n"
                                    "10205 =\n"
                                    "10206x = ignored\n"
                                    "abc = ignored\n"
                                    "no separator\n"
                                    "11644 = =ADAT=\n");
    ScopedEnv table("AUDATOMS_RESOURCES", path.c_str());
    platform::reloadResources();
    EXPECT_EQ(resourceStrW(10055), L"Aucun");
    EXPECT_EQ(resourceStrW(11646), L"Analogique");
    EXPECT_EQ(resourceStrW(10342), L"Fr\u00e9quence du projet");
    const WideString smile = resourceStrW(10204);
    ASSERT_EQ(smile.size(), 10u);  // the emoji, a blank and "toujours"
    EXPECT_EQ(std::uint32_t(smile[0]), 0x1F600u);
    EXPECT_EQ(resourceStrW(12345), L"Extra");
    EXPECT_EQ(resourceStrW(10205), L"When timecodes match") << "an empty translation keeps the English";
    EXPECT_EQ(resourceStrW(10206), L"When names and timecodes match");
    EXPECT_EQ(resourceStrW(11644), L"=ADAT=") << "split at the first '='";
    EXPECT_EQ(resourceStrW(11645), L"AES/EBU") << "untranslated texts stay English";
    EXPECT_EQ(paddedResourceStrW(10055, WideString(L"< "), WideString(L" >")), L"< Aucun >");
}

TEST_F(Resources, TheTableIsReadOnceUntilReloaded) {
    ScratchDir dir;
    const std::string path = dir.file("de.txt");
    audatoms::test::writeFile(path, "10055 = Keine\n");
    EXPECT_EQ(resourceStrW(10055), L"None");
    ScopedEnv table("AUDATOMS_RESOURCES", path.c_str());
    EXPECT_EQ(resourceStrW(10055), L"None") << "the table was already read";
    platform::reloadResources();
    EXPECT_EQ(resourceStrW(10055), L"Keine");
    audatoms::test::writeFile(path, "10055 = Nichts\n");
    EXPECT_EQ(resourceStrW(10055), L"Keine");
    platform::reloadResources();
    EXPECT_EQ(resourceStrW(10055), L"Nichts");
}

TEST_F(Resources, AMissingTranslationFileLeavesEnglish) {
    ScratchDir dir;
    ScopedEnv table("AUDATOMS_RESOURCES", dir.file("missing.txt").c_str());
    platform::reloadResources();
    EXPECT_EQ(resourceStrW(11647), L"S/PDIF");
}
