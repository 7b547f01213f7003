// Strict reading of every value the tool takes from a session file or a band text:
// unparsable, empty, NaN, infinite and out-of-range values are refused with the file,
// line, entry and the accepted range (exit status 2), including the mixer state's
// configuration-text sections, which the library itself would read leniently; and a
// band whose design is not a usable filter is refused and named.
#include "tools/Equaliser.h"
#include "tools/Session.h"
#include "tools/ToolError.h"

#include "tests/support/ScratchDir.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>

using namespace audtool;
using namespace audatoms::test;

namespace {

std::string messageOf(const std::string& text) {
    try {
        parseSession(text, "t.ini", "/base");
    } catch (const InputError& e) {
        return e.what();
    }
    return "(no error)";
}

const std::string kHead = "[Session]\nSampleRate=48000\nLength=2\nOutputs=4\n[Inputs]\nFile=a.wav\n";  // lines 1-6

TEST(ToolValidation, MixerFaderAndPanValuesMustBeNumbersInRange) {
    const std::string fader = kHead + "[SimpleMixState.InputChannels.Fader]\n";  // line 7; entries from 8
    const std::string accepted = "the value must be a fader level, a number from 0 to 1.5";
    for (const char* value : {"nan", "NaN", "inf", "-inf", "abc", "", "1.5x", "-0.1", "1.51", "2", "1e300"})
        EXPECT_EQ(messageOf(fader + "000=" + value + "\n"),
                  "t.ini:8: [SimpleMixState.InputChannels.Fader] entry '000=" + std::string(value) + "': " + accepted)
            << value;
    for (const char* value : {"0", "1", "1.5", "0.7500000000"})
        EXPECT_EQ(messageOf(fader + "000=" + value + "\n"), "(no error)") << value;
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.Pan]\n003=1.2\n"),
              "t.ini:8: [SimpleMixState.InputChannels.Pan] entry '003=1.2': the value must be a pan (0 left, 1 "
              "right), a number from 0 to 1");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.MixChannels.Fader]\n01=nan\n"),
              "t.ini:8: [SimpleMixState.MixChannels.Fader] entry '01=nan': " + accepted);
}

TEST(ToolValidation, MixerSwitchesAreZeroOrOne) {
    for (const char* value : {"true", "01", "", "2", "yes"})
        EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.Mute]\n000=" + value + "\n"),
                  "t.ini:8: [SimpleMixState.InputChannels.Mute] entry '000=" + std::string(value) +
                      "': the value must be 0 or 1")
            << value;
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.Solo]\n000=1\n001=0\n"), "(no error)");
}

TEST(ToolValidation, MixerKeysNameChannelsThatExist) {
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.Fader]\n32=1\n"),
              "t.ini:8: [SimpleMixState.InputChannels.Fader] entry '32=1': the key must be an input from 0 to 31");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.Fader]\nabc=1\n"),
              "t.ini:8: [SimpleMixState.InputChannels.Fader] entry 'abc=1': the key must be an input from 0 to 31");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.MixChannels.Fader]\n04=1\n"),
              "t.ini:8: [SimpleMixState.MixChannels.Fader] entry '04=1': the key must be a mix slot from 0 to 3");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState.InputChannels.RouteToMix]\n000->04=1\n"),
              "t.ini:8: [SimpleMixState.InputChannels.RouteToMix] entry '000->04=1': the key must be INPUT->MIXSLOT, "
              "inputs from 0 to 31, mix slots from 0 to 3 (00 is the main mix)");
    // Output slots follow Outputs= (4 real outputs: slots 0 to 5), wherever [Session] is.
    const std::string routes = "[SimpleMixState.MixChannels.RouteToOutput]\n";
    EXPECT_EQ(messageOf(routes + "01L->06=1\n" + kHead),
              "t.ini:2: [SimpleMixState.MixChannels.RouteToOutput] entry '01L->06=1': the key must be "
              "MIXSLOTL->OUTSLOT or MIXSLOTR->OUTSLOT (upper-case side), mix slots from 0 to 3, output slots from 0 "
              "to 5");
    EXPECT_EQ(messageOf(kHead + routes + "01L->05=1\n01R->05=0\n"), "(no error)");
    EXPECT_EQ(messageOf(kHead + routes + "01l->02=1\n")
                  .rfind("t.ini:8: [SimpleMixState.MixChannels.RouteToOutput] "
                         "entry '01l->02=1': the key must be MIXSLOTL->OUTSLOT",
                         0),
              0u);
    EXPECT_EQ(messageOf(kHead + routes + "00L->01=1\n"),
              "t.ini:8: [SimpleMixState.MixChannels.RouteToOutput] entry '00L->01=1': the main mix (slot 00) feeds "
              "output slots 2 and up only");
}

TEST(ToolValidation, TheMainMixerSectionTakesItsThreeKeys) {
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState]\nVersion=1.1\nAuthorApp=x\nAuthorAppVersion=1\n"), "(no error)");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState]\nVersion=2.0\n"),
              "t.ini:8: [SimpleMixState] entry 'Version=2.0': the version must be 1.0 or 1.1");
    EXPECT_EQ(messageOf(kHead + "[SimpleMixState]\nColour=red\n"),
              "t.ini:8: [SimpleMixState] entry 'Colour=red': the keys here are Version, AuthorApp and "
              "AuthorAppVersion");
}

TEST(ToolValidation, LengthNamesItsRealLimit) {
    const std::string head = "[Session]\nSampleRate=48000\n";
    const std::string tail = "[Inputs]\nFile=a.wav\n";
    EXPECT_EQ(messageOf(head + "Length=86400\n" + tail), "(no error)");
    for (const char* value : {"86401", "0", "-1", "nan", "inf", "", "ten"})
        EXPECT_EQ(messageOf(head + "Length=" + value + "\n" + tail),
                  "t.ini:3: Length '" + std::string(value) +
                      "' is not a number of seconds above 0 and at most 86400 (24 hours)")
            << value;
}

TEST(ToolValidation, ABandThatDesignsNoUsableFilterIsRefusedAndNamed) {
    const std::string why = "band 'ls:200:s=10:+12': these settings give a filter that is not usable (its "
                            "coefficients are not finite numbers); for a shelf, a slope (s=) of at most 1 always works";
    try {
        Equaliser({parseEqBand("ls:200:s=10:+12")}, 48000.0f);
        ADD_FAILURE() << "the band was accepted";
    } catch (const InputError& e) {
        EXPECT_EQ(e.what(), why);
    }
    // In a session: status 2, the session's file and the band's line, nothing written.
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 48000, std::vector<double>(4800, 0.1));
    writeText(dir.file("s.ini"), kHead + "[EQ.0]\nBand=highpass:80\nBand=ls:200:s=10:+12\n");
    RunResult r = runTool({"render", dir.file("s.ini"), "-o", dir.file("out.wav")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(dir.file("s.ini") + ":9: " + why), std::string::npos) << r.err;
    // From the command line: the same words, nothing written.
    r = runTool({"eq", "--band", "ls:200:s=10:+12", "--csv", dir.file("r.csv")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(why), std::string::npos) << r.err;
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"a.wav", "s.ini"}));
    // Steep but legal shelves and sharp peaks still design.
    EXPECT_NO_THROW(Equaliser({parseEqBand("ls:200:s=1:+12"), parseEqBand("peak:1k:q=40:+18")}, 48000.0f));
}

TEST(ToolValidation, AMixerValueTheToolRefusesExitsWithStatusTwo) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 48000, std::vector<double>(4800, 0.1));
    writeText(dir.file("s.ini"), kHead + "[SimpleMixState.InputChannels.Fader]\n000=nan\n");
    const RunResult r = runTool({"render", dir.file("s.ini"), "-o", dir.file("out.wav")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(dir.file("s.ini") + ":8: [SimpleMixState.InputChannels.Fader] entry '000=nan'"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"a.wav", "s.ini"}));
}

}  // namespace
