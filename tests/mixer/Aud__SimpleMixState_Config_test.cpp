// Aud::SimpleMixState: the configuration text, stored and retrieved through QmIniFile.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <functional>

using Aud::SimpleMixState;
using audatoms::test::assertionLine;
using audatoms::test::assertionsOf;
using audatoms::test::faderFromMagnitude;

namespace {

using Lines = std::vector<std::string>;

// A section's entries as "attribute=value" lines.
Lines entries(const QmIniFile& file, const char* section) {
    Lines lines;
    for (const auto& p : file.section(LightweightString<char>(section))) {
        EXPECT_TRUE(p.valid());
        lines.push_back(p.attrib().toStd() + "=" + p.value().toStd());
    }
    return lines;
}

QmIniFile fileFrom(const std::string& text) {
    QmIniFile file;
    EXPECT_EQ(file.fromText(text), 0);
    return file;
}

TEST(SimpleMixStateConfig, WorkedExampleEntryByEntry) {
    SimpleMixState s(2, 2, 4);
    QmIniFile file;
    EXPECT_EQ(s.storeCompatibleConfigurationInformation(file), 0);
    EXPECT_EQ(file.sectionNames(), (std::vector<LightweightString<char>>{
                                       "SimpleMixState",
                                       "SimpleMixState.InputChannels.Fader",
                                       "SimpleMixState.InputChannels.Pan",
                                       "SimpleMixState.InputChannels.Mute",
                                       "SimpleMixState.InputChannels.Solo",
                                       "SimpleMixState.InputChannels.RouteToMix",
                                       "SimpleMixState.MixChannels.Fader",
                                       "SimpleMixState.MixChannels.Mute",
                                       "SimpleMixState.MixChannels.Solo",
                                       "SimpleMixState.MixChannels.RouteToOutput",
                                   }));
    EXPECT_EQ(entries(file, "SimpleMixState"),
              (Lines{"Version=1.1", "AuthorApp=Quillmark Editor", "AuthorAppVersion=14.5.0.0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Fader"), (Lines{"000=1.0000000000", "001=1.0000000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Pan"), (Lines{"000=0.5000000000", "001=0.5000000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Mute"), (Lines{"000=0", "001=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Solo"), (Lines{"000=0", "001=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.RouteToMix"),
              (Lines{"000->00=1", "000->01=0", "001->00=1", "001->01=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Fader"), (Lines{"00=1.0000000000", "01=1.0000000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Mute"), (Lines{"00=0", "01=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Solo"), (Lines{"01=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.RouteToOutput"),
              (Lines{"00L->02=1", "00R->02=0", "00L->03=0", "00R->03=1", "01L->00=0", "01R->00=0", "01L->01=0",
                     "01R->01=0", "01L->02=0", "01R->02=0", "01L->03=0", "01R->03=0"}));
    // The attribute of "000->00=1" is split at the first '='.
    const auto& route = file.section("SimpleMixState.InputChannels.RouteToMix")[0];
    EXPECT_EQ(route.attrib(), "000->00");
    EXPECT_EQ(route.value(), "1");
    // As text on disk.
    EXPECT_NE(file.toText().find("[SimpleMixState.MixChannels.Solo]\n01=0\n"), std::string::npos);
}

TEST(SimpleMixStateConfig, StoreReplacesTheSectionsAndKeepsOthers) {
    QmIniFile file = fileFrom("[Other]\nkeep=me\n[SimpleMixState]\nVersion=0.9\nJunk=1\n"
                              "[SimpleMixState.InputChannels.Fader]\n099=0.1\n");
    SimpleMixState s(1, 1, 2);
    s.setInputLevel(0, 0.25f);
    s.setInputPan(0, -1.5f);
    s.setInputMuteState(0, true);
    s.setMixLevel(-1, 1.5f);
    s.setMixMuteState(-1, true);
    s.storeCompatibleConfigurationInformation(file);
    EXPECT_EQ(entries(file, "Other"), (Lines{"keep=me"}));
    EXPECT_EQ(entries(file, "SimpleMixState"),
              (Lines{"Version=1.1", "AuthorApp=Quillmark Editor", "AuthorAppVersion=14.5.0.0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Fader"), (Lines{"000=0.2500000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Pan"), (Lines{"000=-1.5000000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Mute"), (Lines{"000=1"}));
    EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.RouteToMix"), (Lines{"000->00=1"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Fader"), (Lines{"00=1.5000000000"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Mute"), (Lines{"00=1"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Solo"), Lines{});
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.RouteToOutput"), Lines{});  // main mix, special outputs only
}

TEST(SimpleMixStateConfig, SoloEntriesForEveryMixButTheMain) {
    SimpleMixState s(0, 4, 2);
    s.setMixSoloState(-1, true);
    s.setMixSoloState(1, true);
    QmIniFile file;
    s.storeCompatibleConfigurationInformation(file);
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Solo"), (Lines{"01=0", "02=1", "03=0"}));
    // With two output slots the default route of the main mix's left side to output 0
    // (slot 2 == outputs) passes the exclusive path's room check and lands in the next
    // row: mix 0's left side to output -2.
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.RouteToOutput"),
              (Lines{"01L->00=1", "01R->00=0", "01L->01=0", "01R->01=0", "02L->00=0", "02R->00=0", "02L->01=0",
                     "02R->01=0", "03L->00=0", "03R->00=0", "03L->01=0", "03R->01=0"}));
}

TEST(SimpleMixStateConfig, RetrieveResetsFirstAndMarksDirty) {
    SimpleMixState s(2, 2, 4);
    s.setInputLevel(0, 0.5f);
    s.setMixMuteState(0, true);
    s.setMixRoutedToOutput(0, 0, true, true);
    s.clearDirty();
    EXPECT_EQ(s.retrieveCompatibleConfigurationInformation(QmIniFile()), 0);
    SimpleMixState fresh(2, 2, 4);
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(s, fresh, &why)) << why;
    EXPECT_TRUE(s.getDirty());
}

TEST(SimpleMixStateConfig, WithoutAVersionEntryLevelsAreFaderValues) {
    SimpleMixState s(2, 2, 4);
    s.retrieveCompatibleConfigurationInformation(fileFrom(
        "[SimpleMixState.InputChannels.Fader]\n000=0.5000000000\n[SimpleMixState.MixChannels.Fader]\n01=0.25\n"));
    EXPECT_EQ(s.getInputLevel(0), 0.5f);
    EXPECT_EQ(s.getMixLevel(0), 0.25f);
}

TEST(SimpleMixStateConfig, Version10LevelsGoThroughTheCurve) {
    SimpleMixState s(2, 2, 4);
    s.retrieveCompatibleConfigurationInformation(
        fileFrom("[SimpleMixState]\nVersion=1.0\n[SimpleMixState.InputChannels.Fader]\n000=1.0000000000\n"
                 "001=0.5000000000\n[SimpleMixState.InputChannels.Pan]\n000=0.25\n"
                 "[SimpleMixState.MixChannels.Fader]\n00=2.0\n01=0.001\n"));
    EXPECT_EQ(s.getInputLevel(0), 1.0f);
    EXPECT_EQ(s.getInputLevel(1), faderFromMagnitude(0.5f));
    EXPECT_NEAR(s.getInputLevel(1), 0.802148f, 2e-4f);  // -6.02 dB on the fader law
    EXPECT_EQ(s.getInputPan(0), 0.25f);                 // pans are not converted
    EXPECT_EQ(s.getMixLevel(-1), faderFromMagnitude(2.0f));
    EXPECT_EQ(s.getMixLevel(0), faderFromMagnitude(0.001f));
    // A converted value above 1.5 is clamped by the setter: 4.0 is +12 dB, about 1.47;
    // 10.0 is past the table and extrapolated above 1.5.
    SimpleMixState t(1, 1, 2);
    t.retrieveCompatibleConfigurationInformation(
        fileFrom("[SimpleMixState]\nVersion=1.0\n[SimpleMixState.InputChannels.Fader]\n000=10\n"));
    ASSERT_GT(faderFromMagnitude(10.0f), 1.5f);
    EXPECT_EQ(t.getInputLevel(0), 1.5f);
}

TEST(SimpleMixStateConfig, VersionEntryIsFoundIgnoringCaseAndTheLastWins) {
    const std::string faders = "[SimpleMixState.InputChannels.Fader]\n000=0.5\n";
    auto levelWith = [&](const std::string& main) {
        SimpleMixState s(1, 1, 2);
        s.retrieveCompatibleConfigurationInformation(fileFrom("[SimpleMixState]\n" + main + faders));
        return s.getInputLevel(0);
    };
    const float converted = faderFromMagnitude(0.5f);
    EXPECT_EQ(levelWith("VERSION=1.0\n"), converted);
    EXPECT_EQ(levelWith("version=1.0\n"), converted);
    EXPECT_EQ(levelWith("Version=1.1\n"), 0.5f);
    EXPECT_EQ(levelWith("Version=1.1\nVersion=1.0\n"), converted);
    EXPECT_EQ(levelWith("Version=1.0\nVersion=1.1\n"), 0.5f);
    EXPECT_EQ(levelWith("Version=1.0\nVersion=x\n"), 0.5f);  // the last one, unreadable: -1.-1
    EXPECT_EQ(levelWith("Version=1\n"), 0.5f);               // minor absent: -1
    EXPECT_EQ(levelWith("Version=2.0\n"), 0.5f);
    EXPECT_EQ(levelWith("Version =1.0\n"), 0.5f);  // the attribute is "Version ": not the version entry
    EXPECT_EQ(levelWith("Version=1.00\n"), converted);
    EXPECT_EQ(levelWith("Versions=1.0\n"), 0.5f);
}

TEST(SimpleMixStateConfig, FaderValuesAreClampedByTheSetter) {
    SimpleMixState s(2, 2, 4);
    s.retrieveCompatibleConfigurationInformation(
        fileFrom("[SimpleMixState.InputChannels.Fader]\n000=2\n001=-3\n[SimpleMixState.MixChannels.Fader]\n00=1.75\n"));
    EXPECT_EQ(s.getInputLevel(0), 1.5f);
    EXPECT_EQ(s.getInputLevel(1), 0.0f);
    EXPECT_EQ(s.getMixLevel(-1), 1.5f);
}

TEST(SimpleMixStateConfig, MalformedAndOutOfRangeEntriesAreSkipped) {
    SimpleMixState s(2, 2, 4);
    const std::string out = assertionsOf([&] {
        s.retrieveCompatibleConfigurationInformation(
            fileFrom("[SimpleMixState.InputChannels.Fader]\n002=0.5\n-01=0.5\nabc=0.5\n000=abc\n001=0.25\n"
                     "[SimpleMixState.InputChannels.Pan]\n005=0.1\n000=\n001=-2.5\n"
                     "[SimpleMixState.InputChannels.RouteToMix]\n000->02=1\n002->00=0\n000-01=1\n001->01=x\n001->01=7\n"
                     "001->00=0\n"
                     "[SimpleMixState.MixChannels.Fader]\n02=0.5\n-1=0.5\n01=0.75\n"));
    });
    EXPECT_EQ(out, "");  // nothing is reported for what is skipped
    EXPECT_EQ(s.getInputLevel(0), 1.0f);
    EXPECT_EQ(s.getInputLevel(1), 0.25f);
    EXPECT_EQ(s.getInputPan(0), 0.5f);
    EXPECT_EQ(s.getInputPan(1), -2.5f);
    EXPECT_FALSE(s.getInputRoutedToMix(0, 1));
    EXPECT_TRUE(s.getInputRoutedToMix(1, 0));  // value 7: non-zero routes
    EXPECT_FALSE(s.getInputRoutedToMix(1, -1));
    EXPECT_TRUE(s.getInputRoutedToMix(0, -1));
    EXPECT_EQ(s.getMixLevel(-1), 1.0f);
    EXPECT_EQ(s.getMixLevel(0), 0.75f);
}

TEST(SimpleMixStateConfig, MuteAndSoloAreOnOnlyForTheText1) {
    SimpleMixState s(6, 2, 4);
    s.retrieveCompatibleConfigurationInformation(
        fileFrom("[SimpleMixState.InputChannels.Mute]\n000=1\n001=true\n002=01\n003=\n004=1 \n005=0\n"
                 "[SimpleMixState.InputChannels.Solo]\n000=2\n001=1\n"));
    EXPECT_TRUE(s.getInputMuteState(0));
    for (int i = 1; i <= 5; ++i) EXPECT_FALSE(s.getInputMuteState(i)) << i;
    EXPECT_FALSE(s.getInputSoloState(0));
    EXPECT_TRUE(s.getInputSoloState(1));
}

TEST(SimpleMixStateConfig, OutOfRangeMuteAndSoloIndexesReachTheSetters) {
    SimpleMixState s(2, 2, 4);
    const std::string out = assertionsOf([&] {
        s.retrieveCompatibleConfigurationInformation(
            fileFrom("[SimpleMixState.InputChannels.Mute]\n002=1\n-1=0\nxx=1\n[SimpleMixState.InputChannels.Solo]\n"
                     "099=1\n"));
    });
    EXPECT_EQ(out, assertionLine(345) + assertionLine(345) + assertionLine(376));
}

TEST(SimpleMixStateConfig, MixMutesAndSolosAreNeverReadBack) {
    SimpleMixState s(2, 4, 4);
    s.setMixMuteState(-1, true);
    s.setMixMuteState(1, true);
    s.setMixSoloState(2, true);
    QmIniFile file;
    s.storeCompatibleConfigurationInformation(file);
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Mute"), (Lines{"00=1", "01=0", "02=1", "03=0"}));
    EXPECT_EQ(entries(file, "SimpleMixState.MixChannels.Solo"), (Lines{"01=0", "02=0", "03=1"}));
    SimpleMixState back(2, 4, 4);
    back.setMixSoloState(0, true);
    back.retrieveCompatibleConfigurationInformation(file);
    for (int mix = -1; mix <= 2; ++mix) {
        EXPECT_FALSE(back.getMixMuteState(mix));
        EXPECT_FALSE(back.getMixSoloState(mix));
    }
}

TEST(SimpleMixStateConfig, MixRouteEntries) {
    SimpleMixState s(1, 3, 5);
    s.retrieveCompatibleConfigurationInformation(fileFrom("[SimpleMixState.MixChannels.RouteToOutput]\n"
                                                          "01l->02=1\n"     // lower-case side: ignored
                                                          "00L->01=1\n"     // main mix to a special output: ignored
                                                          "01X->03=1\n"     // no such side
                                                          "03L->03=1\n"     // mix slot out of range
                                                          "01L->05=1\n"     // output slot out of range
                                                          "01L->04=x\n"     // unreadable value
                                                          "01L03=1\n"       // no arrow
                                                          "02R->00=1\n"     // mix 1 right to output -2
                                                          "01L->01=1\n"));  // mix 0 left to output -1
    EXPECT_FALSE(s.getMixRoutedToOutput(0, 0, true));
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 0, true));  // defaults intact
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 1, false));
    EXPECT_FALSE(s.getMixRoutedToOutput(0, 1, true));
    EXPECT_FALSE(s.getMixRoutedToOutput(0, 2, true));
    EXPECT_TRUE(s.getMixRoutedToOutput(1, -2, false));
    EXPECT_TRUE(s.getMixRoutedToOutput(0, -1, true));
}

TEST(SimpleMixStateConfig, OfSeveralRoutesToOneOutputTheLastSurvives) {
    SimpleMixState s(1, 3, 4);
    s.retrieveCompatibleConfigurationInformation(fileFrom("[SimpleMixState.MixChannels.RouteToOutput]\n"
                                                          "01L->02=1\n02R->02=1\n01R->02=1\n"
                                                          "00R->03=1\n02L->03=0\n"));
    // Output 0: three exclusive routes in file order; the last one holds it.
    EXPECT_FALSE(s.getMixRoutedToOutput(-1, 0, true));
    EXPECT_FALSE(s.getMixRoutedToOutput(0, 0, true));
    EXPECT_FALSE(s.getMixRoutedToOutput(1, 0, false));
    EXPECT_TRUE(s.getMixRoutedToOutput(0, 0, false));
    // Output 1: the main mix's right side again; a "0" entry clears its own cell only.
    EXPECT_TRUE(s.getMixRoutedToOutput(-1, 1, false));
    EXPECT_FALSE(s.getMixRoutedToOutput(1, 1, true));
}

TEST(SimpleMixStateConfig, StoredTextReadsBackThroughTheTextForm) {
    SimpleMixState s(3, 3, 5);
    s.setInputLevel(0, 0.125f);
    s.setInputLevel(2, 1.5f);
    s.setInputPan(1, -0.25f);
    s.setInputMuteState(2, true);
    s.setInputSoloState(0, true);
    s.setInputRoutedToMix(1, 1, true);
    s.setInputRoutedToMix(0, -1, false);
    s.setMixLevel(1, 0.0f);
    s.setMixRoutedToOutput(1, 2, false, true);
    s.setMixRoutedToOutput(0, -2, true, true);
    QmIniFile file;
    s.storeCompatibleConfigurationInformation(file);
    SimpleMixState back(3, 3, 5);
    back.retrieveCompatibleConfigurationInformation(fileFrom(file.toText()));
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(back, s, &why)) << why;
}

TEST(SimpleMixStateConfig, InvalidStateReadsNothingAndReports) {
    SimpleMixState s;
    platform::LogCapture log;
    const std::string out = assertionsOf([&] {
        QmIniFile file;
        s.storeCompatibleConfigurationInformation(file);
        EXPECT_EQ(entries(file, "SimpleMixState.InputChannels.Fader"), Lines{});
        s.retrieveCompatibleConfigurationInformation(fileFrom("[SimpleMixState.InputChannels.Fader]\n000=0.5\n"));
    });
    EXPECT_EQ(out, "");
    EXPECT_FALSE(log.splats().empty());
    EXPECT_FALSE(s.valid());
}

}  // namespace
