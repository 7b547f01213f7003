#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

using namespace Aud;

namespace {

const std::string kUnreadable = "Warning: encountered unreadable SampleRate value!\n";
const std::string kRevision = "Warning: encountered unrecognized SampleRate revision!\n";

const char* const kBaseNames[10] = {nullptr,  nullptr,  "11.025 kHz", "16 kHz", "22.05 kHz",
                                    "24 kHz", "32 kHz", "44.1 kHz",   "48 kHz", "96 kHz"};

// Display text of a base code as UTF-8, from the table of names and the two resources.
std::string baseText(unsigned code) {
    if (code >= 2 && code <= 9) return kBaseNames[code];
    if (code == 1) return toUTF8(resourceStrW(10342)).toStd();
    return "< " + toUTF8(resourceStrW(10055)).toStd() + " >";
}

// Display text of the factor: the pieces of the pairs with exactly one flag set, the
// first piece without its " x ".
std::string factorText(unsigned f) {
    const struct {
        unsigned flag, inverse;
        const char* piece;
    } pieces[] = {{0x20, 0x40, "24/25"},   {0x40, 0x20, "25/24"},   {0x80, 0x100, "1.001"}, {0x100, 0x80, "1/1.001"},
                  {0x200, 0x400, "30/24"}, {0x400, 0x200, "24/30"}, {0x800, 0x1000, "2"},   {0x1000, 0x800, "1/2"}};
    std::string text;
    for (const auto& p : pieces) {
        if ((f & p.flag) && !(f & p.inverse)) {
            if (!text.empty()) text += " x ";
            text += p.piece;
        }
    }
    return text;
}

std::string expectedPersisted(std::uint32_t word) {
    std::string text = "[A][" + std::to_string(std::int32_t(word)) + "] " + baseText(word & 0x1F);
    const std::string f = factorText(word & ~0x1Fu);
    if (!f.empty()) text += " x " + f;
    return text;
}

std::vector<eFactor> canonicalFactors() {
    const unsigned flags[8] = {0x20, 0x40, 0x80, 0x100, 0x200, 0x400, 0x800, 0x1000};
    std::vector<eFactor> out;
    for (int n = 0; n < 81; ++n) {
        unsigned f = 0, rest = unsigned(n);
        for (int pair = 0; pair < 4; ++pair, rest /= 3)
            if (rest % 3) f |= flags[2 * pair + rest % 3 - 1];
        out.push_back(eFactor(f));
    }
    return out;
}

// Reads text into a rate that starts non-zero; returns the word and the log text.
std::pair<std::uint32_t, std::string> read(const LightweightString<char>& text) {
    platform::LogCapture capture;
    SampleRate r(keBaseSampleRate96000, keFactor2);
    r.setFromString(text);
    return {r.word(), capture.logText()};
}

}  // namespace

TEST(SampleRateText, PersistedExamples) {
    EXPECT_EQ(SampleRate(keBaseSampleRate48000).asString(), "[A][8] 48 kHz");
    EXPECT_EQ(SampleRate(keBaseSampleRate48000, keFactor1000_1001).asString(), "[A][264] 48 kHz x 1/1.001");
    EXPECT_EQ(SampleRate(keBaseSampleRate44100, keFactor24_25 | keFactor2).asString(),
              "[A][2087] 44.1 kHz x 24/25 x 2");
    EXPECT_EQ(
        SampleRate(keBaseSampleRate11025, keFactor25_24 | keFactor1001_1000 | keFactor24_30 | keFactor1_2).asString(),
        "[A][" + std::to_string(2 + 0x40 + 0x80 + 0x400 + 0x1000) + "] 11.025 kHz x 25/24 x 1.001 x 24/30 x 1/2");
}

TEST(SampleRateText, AllZeroRateWritesTheWrappedNoRateResource) {
    const std::string expected = "[A][0] < " + toUTF8(resourceStrW(10055)).toStd() + " >";
    EXPECT_EQ(SampleRate().asString(), expected);
    EXPECT_FALSE(resourceStrW(10055).empty());
}

TEST(SampleRateText, BothFlagsOfAPairWriteNoPiece) {
    SampleRate r(keBaseSampleRate48000, keFactor1000_1001);
    r.addFactor(keFactor1001_1000);
    EXPECT_EQ(r.asString(), "[A][392] 48 kHz");
    r.addFactor(keFactor30_24);
    EXPECT_EQ(r.asString(), "[A][904] 48 kHz x 30/24");
}

TEST(SampleRateText, WordIsWrittenSigned) {
    // Every bit set: base 31 (no rate), every pair both-set (no factor text).
    EXPECT_EQ(SampleRate::fromWord(0xFFFFFFFFu).asString(), "[A][-1] < " + toUTF8(resourceStrW(10055)).toStd() + " >");
    // Stray bits above the flags are written but show nothing.
    EXPECT_EQ(SampleRate::fromWord(0x2000u | 8u | 0x20u).asString(), "[A][8232] 48 kHz x 24/25");
}

TEST(SampleRateText, ReadingIgnoresEverythingAfterTheWord) {
    EXPECT_EQ(read("[A][8]"), std::make_pair(8u, std::string()));
    EXPECT_EQ(read("[A][8"), std::make_pair(8u, std::string()));
    EXPECT_EQ(read("[A][8] 96 kHz"), std::make_pair(8u, std::string()));
    EXPECT_EQ(read("[A][264]garbage"), std::make_pair(264u, std::string()));
    // The number is scanned as a decimal integer: leading blanks and a sign are accepted.
    EXPECT_EQ(read("[A][ +7]"), std::make_pair(7u, std::string()));
}

TEST(SampleRateText, UnknownRevisionLogsAndGivesZero) {
    EXPECT_EQ(read("[B][8] 48 kHz"), std::make_pair(0u, kRevision));
    EXPECT_EQ(read("[a][8]"), std::make_pair(0u, kRevision));
    EXPECT_EQ(read("[ ][8]"), std::make_pair(0u, kRevision));
}

TEST(SampleRateText, UnreadableTextLogsAndGivesZero) {
    for (const char* text : {"48 kHz", "", "[A]", "[A][", "[A][x]", "A][8]", "[AB][8]", " [A][8]"}) {
        EXPECT_EQ(read(text), std::make_pair(0u, kUnreadable)) << '"' << text << '"';
    }
    EXPECT_EQ(read(LightweightString<char>()), std::make_pair(0u, kUnreadable));
}

TEST(SampleRateText, ReadingStoresTheWordUnchecked) {
    const auto [word, log] = read("[A][-1]");
    EXPECT_EQ(word, 0xFFFFFFFFu);
    EXPECT_EQ(log, "");
    const SampleRate r = SampleRate::fromWord(word);
    EXPECT_EQ(r.baseSampleRate(), eBaseSampleRate(31));
    EXPECT_TRUE(r.valid());
    EXPECT_EQ(read("[A][12]").first, 12u);
    EXPECT_EQ(read("[A][8232]").first, 8232u);
    EXPECT_EQ(read("[A][-2147483648]").first, 0x80000000u);
}

TEST(SampleRateText, ConstructorReadsThePersistedForm) {
    EXPECT_EQ(SampleRate(LightweightString<char>("[A][264] 48 kHz x 1/1.001")),
              SampleRate(keBaseSampleRate48000, keFactor1000_1001));
    platform::LogCapture capture;
    const SampleRate bad{LightweightString<char>("[B][8]")};
    EXPECT_EQ(bad.word(), 0u);
    EXPECT_EQ(capture.logText(), kRevision);
}

TEST(SampleRateText, EveryBaseWithEveryCanonicalFactorRoundTrips) {
    platform::LogCapture capture;
    int checked = 0;
    for (unsigned code = 0; code <= 31; ++code) {
        for (const eFactor f : canonicalFactors()) {
            const std::uint32_t word = code | unsigned(f);
            const SampleRate written = SampleRate::fromWord(word);
            const LightweightString<char> text = written.asString();
            EXPECT_EQ(text.toStd(), expectedPersisted(word));
            SampleRate back(keBaseSampleRate44100, keFactor2);
            back.setFromString(text);
            EXPECT_EQ(back.word(), word) << text.c_str();
            ++checked;
        }
    }
    EXPECT_EQ(checked, 32 * 81);
    EXPECT_EQ(capture.logText(), "");
}

TEST(SampleRateText, BaseDisplayTexts) {
    for (unsigned code = 2; code <= 9; ++code)
        EXPECT_EQ(getDisplayString(eBaseSampleRate(code)), fromUTF8(kBaseNames[code])) << code;
    EXPECT_EQ(getDisplayString(keBaseSampleRateProject), resourceStrW(10342));
    const LightweightString<wchar_t> none = LightweightString<wchar_t>(L"< ") + resourceStrW(10055) + L" >";
    EXPECT_EQ(getDisplayString(keBaseSampleRateInvalid), none);
    for (unsigned code = 10; code <= 31; ++code) EXPECT_EQ(getDisplayString(eBaseSampleRate(code)), none) << code;
}

TEST(SampleRateText, FactorDisplayTexts) {
    EXPECT_EQ(getDisplayString(keFactorNone), L"");
    EXPECT_EQ(getDisplayString(keFactor1000_1001), L"1/1.001");
    EXPECT_EQ(getDisplayString(keFactor24_25 | keFactor1001_1000), L"24/25 x 1.001");
    EXPECT_EQ(getDisplayString(keFactor2), L"2");
    EXPECT_EQ(getDisplayString(keFactor1_2 | keFactor24_30 | keFactor25_24), L"25/24 x 24/30 x 1/2");
    EXPECT_EQ(getDisplayString(keFactor24_25 | keFactor25_24), L"");
    EXPECT_EQ(getDisplayString(keFactor24_25 | keFactor25_24 | keFactor2), L"2");
    EXPECT_EQ(getDisplayString(eFactor(0x1Fu | 0xFFFFE000u)), L"");
    for (const eFactor f : canonicalFactors())
        EXPECT_EQ(getDisplayString(f), fromUTF8(factorText(unsigned(f)))) << unsigned(f);
}

TEST(SampleRateText, RateDisplayTexts) {
    EXPECT_EQ(getDisplayString(SampleRate(keBaseSampleRate48000)), L"48 kHz");
    EXPECT_EQ(getDisplayString(SampleRate(keBaseSampleRate48000, keFactor1000_1001)), L"48 kHz x 1/1.001");
    EXPECT_EQ(getDisplayString(SampleRate(keBaseSampleRate44100, keFactor24_25 | keFactor2)), L"44.1 kHz x 24/25 x 2");
    // The project rate is never resolved for display.
    *Private::getProjectHardwareSampleRateNamedObject() = SampleRate(keBaseSampleRate96000);
    EXPECT_EQ(getDisplayString(SampleRate(keBaseSampleRateProject, keFactor2)), resourceStrW(10342) + L" x 2");
    *Private::getProjectHardwareSampleRateNamedObject() = SampleRate();
}

TEST(SampleRateText, FromDisplayStringMatchesWholeTextsOnly) {
    for (unsigned code = 2; code <= 9; ++code)
        EXPECT_EQ(fromDisplayString(fromUTF8(kBaseNames[code])), eBaseSampleRate(code)) << code;
    EXPECT_EQ(fromDisplayString(L"48kHz"), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(L"44.1 kHz x 1.001"), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(L"44.1 kHz "), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(L"96 KHZ"), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(L""), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(LightweightString<wchar_t>()), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(getDisplayString(keBaseSampleRateProject)), keBaseSampleRate48000);
    EXPECT_EQ(fromDisplayString(getDisplayString(keBaseSampleRateInvalid)), keBaseSampleRate48000);
}

TEST(SampleRateText, TranslatedResourcesAreUsedAndWrittenAsUtf8) {
    char path[] = "/tmp/audatoms-resources-XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const std::string table = "10055 = Kein Wert\n10342 = Projektrate \xC3\xBC\xF0\x9F\x8E\xB5\n";
    ASSERT_EQ(write(fd, table.data(), table.size()), ssize_t(table.size()));
    close(fd);
    setenv("AUDATOMS_RESOURCES", path, 1);
    platform::reloadResources();

    EXPECT_EQ(getDisplayString(keBaseSampleRateInvalid), L"< Kein Wert >");
    EXPECT_EQ(getDisplayString(keBaseSampleRateProject), L"Projektrate \u00FC\U0001F3B5");
    EXPECT_EQ(SampleRate().asString(), "[A][0] < Kein Wert >");
    EXPECT_EQ(SampleRate(keBaseSampleRateProject, keFactor1_2).asString(),
              "[A][4097] Projektrate \xC3\xBC\xF0\x9F\x8E\xB5 x 1/2");
    EXPECT_EQ(SampleRate(LightweightString<char>("[A][4097] Projektrate \xC3\xBC\xF0\x9F\x8E\xB5 x 1/2")).word(),
              4097u);

    unsetenv("AUDATOMS_RESOURCES");
    platform::reloadResources();
    std::remove(path);
}
