// Session files, band texts and rate texts: what a well-formed file holds after
// parsing, and the message (file, line, entry) of each malformed one; the example
// session in examples/ is the demo's session and renders.
#include "tools/Equaliser.h"
#include "tools/Rates.h"
#include "tools/Session.h"
#include "tools/ToolError.h"

#include "tests/support/ToolTestSupport.h"

#include <cmath>

using namespace audtool;
using Aud::Filter::Biquad;

namespace {

std::string messageOf(const std::string& text) {
    try {
        parseSession(text, "t.ini", "/base");
    } catch (const InputError& e) {
        return e.what();
    }
    return "(no error)";
}

const char* kHead = "[Session]\nSampleRate=48000\nLength=2\n[Inputs]\nFile=a.wav\n";

}  // namespace

TEST(ToolSession, AWellFormedSessionIsReadCompletely) {
    const Session s = parseSession(R"(
; comment
# another
[session]
  samplerate = 44100
Length=2.5     ; seconds
FrameRate=29.97
Outputs=6
[Inputs]
File=a.wav
File=/abs/b.aiff
[Automation.3]
1.5=-6dB
0=0.25
[EQ.3]
Band=peaking:1k:q=2:+3
Band=hs:8000
[SimpleMixState.InputChannels.Fader]
000 = 0.5
[SimpleMixState.MixChannels.RouteToOutput]
01L->04=1
)",
                                   "t.ini", "/base");
    EXPECT_EQ(s.rate, 44100u);
    EXPECT_EQ(s.lengthSeconds, 2.5);
    EXPECT_EQ(s.frameRate, Qm::FrameRate29_97);
    EXPECT_EQ(s.outputs, 6u);
    ASSERT_EQ(s.files.size(), 2u);
    EXPECT_EQ(s.files[0].path, "/base/a.wav");
    EXPECT_EQ(s.files[0].line, 10);
    EXPECT_EQ(s.files[1].path, "/abs/b.aiff");
    const InputSetup& in = s.inputs.at(3);
    ASSERT_EQ(in.automation.size(), 2u);  // sorted by time
    EXPECT_EQ(in.automation[0].time, 0.0);
    EXPECT_EQ(in.automation[0].level, 0.25f);
    EXPECT_EQ(in.automation[1].time, 1.5);
    EXPECT_FLOAT_EQ(in.automation[1].level, float(std::pow(10.0, -6.0 / 20)));
    ASSERT_EQ(in.eq.size(), 2u);
    EXPECT_EQ(in.eq[0].type, Biquad::kPeaking);
    EXPECT_EQ(in.eq[0].frequency, 1000.0f);
    EXPECT_EQ(in.eq[0].shape.kind, Biquad::ShapeDescriptor::kQ);
    EXPECT_EQ(in.eq[0].shape.value, 2.0f);
    EXPECT_EQ(in.eq[0].gainDb, 3.0);
    EXPECT_EQ(in.eq[0].line, 16);
    EXPECT_EQ(in.eq[1].type, Biquad::kHighShelf);
    EXPECT_EQ(in.eq[1].shape.kind, Biquad::ShapeDescriptor::kShelfSlope);  // the shelf default
    EXPECT_EQ(in.eq[1].shape.value, 1.0f);
    ASSERT_TRUE(s.hasMixer);
    const QmIniFile::Section& fader = s.mixer.section(LightweightString<char>("SimpleMixState.InputChannels.Fader"));
    ASSERT_EQ(fader.size(), 1u);
    EXPECT_EQ(fader[0].attrib().toStd(), "000");  // blanks around key and value dropped
    EXPECT_EQ(fader[0].value().toStd(), "0.5");
}

TEST(ToolSession, DefaultsAreTwentyFiveFramesAndTwoOutputs) {
    const Session s = parseSession(kHead, "t.ini", "");
    EXPECT_EQ(s.frameRate, Qm::FrameRate25);
    EXPECT_EQ(s.outputs, 2u);
    EXPECT_FALSE(s.hasMixer);
    EXPECT_EQ(s.files[0].path, "a.wav");  // relative to the working folder when no folder is given
}

TEST(ToolSession, EveryMalformedEntryNamesFileLineAndEntry) {
    const std::string h = kHead;  // lines 1-5
    const std::pair<std::string, std::string> cases[] = {
        {h + "[Automation.0]\n0=1\n0.0000001=1\n", "t.ini:8: a second automation node at time 0.0000001"},
        {h + "[Automation.0]\n1=abc\n", "t.ini:7: automation level 'abc'"},
        {h + "[Automation.0]\n1=2000\n", "t.ini:7: automation level '2000' is above +60 dB"},
        {h + "[Automation.x]\n", "t.ini:6: section [Automation.x] needs an input number"},
        {h + "[Automation.32]\n", "t.ini:6: input 32 of [Automation.32] is beyond the mixer's 32 inputs"},
        {h + "[Automation.1]\n[Automation.1]\n", "t.ini:7: a second [Automation.1] section"},
        {h + "[EQ.0]\nBand=peaking:1k\nBand=peaking:1k\nBand=peaking:1k\nBand=peaking:1k\nBand=peaking:1k\nBand="
             "peaking:1k\n",
         "t.ini:12: more than 5 bands for input 0"},
        {h + "[EQ.0]\nFilter=lp:100\n", "t.ini:7: unknown key 'Filter'"},
        {h + "[EQ.0]\nBand=lp\n", "t.ini:7: band 'lp': expected TYPE:FREQ"},
        {h + "[EQ.0]\nBand=lp:100:x=3\n", "t.ini:7: band 'lp:100:x=3': unknown shape 'x'"},
        {h + "[EQ.0]\nBand=peak:100:loud\n", "t.ini:7: band 'peak:100:loud': bad gain 'loud'"},
        {h + "[Inputs]\n", "t.ini:6: a second [Inputs] section"},
        {h + "[Inputs\n", "t.ini:6: a section header without its closing ']'"},
        {h + "[]\n", "t.ini:6: an empty section name"},
        {"[Session]\nSampleRate=48000\nLength=2\n[Inputs]\nPath=x.wav\n", "t.ini:5: unknown key 'Path' in [Inputs]"},
        {"[Session]\nSampleRate=48000\nLength=2\n[Inputs]\nFile=\n", "t.ini:5: File= needs a path"},
        {"[Session]\nSampleRate=48000\nLength=2\n[Inputs]\n=x\n", "t.ini:5: an entry without a key"},
        {"[Session]\nSampleRate=8000\nLength=1\n", "t.ini:2: SampleRate '8000' is not one of the library's rates"},
        {"[Session]\nSampleRate=48000\nLength=-1\n", "t.ini:3: Length '-1'"},
        {"[Session]\nSampleRate=48000\nLength=1\nFrameRate=31\n",
         "t.ini:4: frame rate '31' is not one of the host's frame rates"},
        {"[Session]\nSampleRate=48000\nLength=1\nOutputs=17\n", "t.ini:4: Outputs '17' is not a number from 2 to 16"},
        {"[Session]\nLength=1\n[Inputs]\nFile=a.wav\n", "t.ini:1: [Session] has no SampleRate="},
        {"[Session]\nSampleRate=48000\n[Inputs]\nFile=a.wav\n", "t.ini:1: [Session] has no Length="},
        {h + "[SimpleMixState.Fader]\n", "t.ini:6: unknown mixer section [SimpleMixState.Fader]"},
        {h + "[SimpleMixState]\nVersion=1.1\n[SimpleMixState]\n", "t.ini:8: a second [SimpleMixState] section"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(messageOf(text).rfind(expected, 0), 0u) << messageOf(text);
}

TEST(ToolSession, ACommentNeedsABlankBeforeItInsideALine) {
    const Session s =
        parseSession("[Session]\nSampleRate=48000\nLength=2\n[Inputs]\nFile=take;2#b.wav ; the take\n", "t.ini", "");
    EXPECT_EQ(s.files[0].path, "take;2#b.wav");
}

TEST(ToolBands, TypesShapesAndGainsAreRead) {
    EXPECT_EQ(parseEqBand("LP:100").type, Biquad::kLowPass);
    EXPECT_EQ(parseEqBand("hp:100").type, Biquad::kHighPass);
    EXPECT_EQ(parseEqBand("bandpass:100").type, Biquad::kBandPassPeak);
    EXPECT_EQ(parseEqBand("bps:100").type, Biquad::kBandPassSkirt);
    EXPECT_EQ(parseEqBand("notch:100").type, Biquad::kNotch);
    EXPECT_EQ(parseEqBand("ap:100").type, Biquad::kAllPass);
    EXPECT_EQ(parseEqBand("bell:100").type, Biquad::kPeaking);
    EXPECT_EQ(parseEqBand("ls:100").type, Biquad::kLowShelf);
    EXPECT_EQ(parseEqBand("highshelf:100").type, Biquad::kHighShelf);
    const EqBandSettings b = parseEqBand("peaking:2.5kHz:bw=0.5:-3dB");
    EXPECT_EQ(b.frequency, 2500.0f);
    EXPECT_EQ(b.shape.kind, Biquad::ShapeDescriptor::kBandwidthOctaves);
    EXPECT_EQ(b.shape.value, 0.5f);
    EXPECT_EQ(b.gainDb, -3.0);
    const EqBandSettings c = parseEqBand("peaking:100:+4.5:q=0.5");  // gain and shape in either order
    EXPECT_EQ(c.gainDb, 4.5);
    EXPECT_EQ(c.shape.value, 0.5f);
    EXPECT_THROW(parseEqBand("peaking:0"), InputError);
    EXPECT_THROW(parseEqBand("peaking:-5"), InputError);
    EXPECT_THROW(parseEqBand("peaking:100:q=0"), InputError);
    EXPECT_THROW(parseEqBand("peaking:100:+1:+2"), InputError);
}

TEST(ToolBands, AnEqualiserIsTheLibrarysCascade) {
    const std::vector<EqBandSettings> bands = {parseEqBand("peaking:1k:q=2:+6"), parseEqBand("lowpass:5k")};
    Equaliser eq(bands, 48000);
    ASSERT_EQ(eq.numBands(), 2u);
    // The same bands as plain library sections, one sample at a time.
    Biquad a(Biquad::kPeaking, 1000, 48000, {Biquad::ShapeDescriptor::kQ, 2.0f}, 6.0, true);
    Biquad b(Biquad::kLowPass, 5000, 48000, {Biquad::ShapeDescriptor::kQ, 0.7071f}, 0.0, true);
    std::vector<float> x(1000);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = float(std::sin(0.05 * double(i)) * 0.5);
    std::vector<float> y = x;
    eq.process(y.data(), 600);  // in two calls: the state carries over
    eq.process(y.data() + 600, 400);
    for (std::size_t i = 0; i < x.size(); ++i) ASSERT_EQ(y[i], b.processSample(a.processSample(x[i]))) << i;
    // The response is the product of the bands' (the library's group response).
    for (float f : {0.01f, 0.1f, 0.5f})
        EXPECT_EQ(eq.responseMagnitude(f), a.getResponseMagnitudeAtFrequency(f) * b.getResponseMagnitudeAtFrequency(f));
    EXPECT_THROW(Equaliser(std::vector<EqBandSettings>(6, bands[0]), 48000), InputError);
    EXPECT_THROW(Equaliser({parseEqBand("lowpass:24000")}, 48000), InputError);
    EXPECT_THROW(Equaliser({parseEqBand("lowshelf:100:bw=1")}, 48000), InputError);  // the library refuses
}

TEST(ToolRates, RatesAndFrameRatesAsTheLibraryKnowsThem) {
    EXPECT_EQ(parseSampleRate("48000"), Aud::SampleRate(Aud::keBaseSampleRate48000));
    EXPECT_EQ(parseSampleRate("48000/1.001"), Aud::SampleRate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001));
    EXPECT_EQ(parseSampleRate("47952.048"), Aud::SampleRate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001));
    EXPECT_EQ(parseSampleRate("8000"), Aud::SampleRate(Aud::keBaseSampleRate16000, Aud::keFactor1_2));
    EXPECT_EQ(parseSampleRate("88200"), Aud::SampleRate(Aud::keBaseSampleRate44100, Aud::keFactor2));
    EXPECT_EQ(parseSampleRate("[A][264] 48 kHz x 1/1.001"),
              Aud::SampleRate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001));
    EXPECT_THROW(parseSampleRate("12345"), InputError);
    EXPECT_THROW(parseSampleRate("fast"), InputError);
    EXPECT_EQ(rateDisplayText(parseSampleRate("44100")), "44.1 kHz");
    EXPECT_EQ(parseFrameRate("25"), Qm::FrameRate25);
    EXPECT_EQ(parseFrameRate("23.976"), Qm::FrameRate23_976);
    EXPECT_EQ(parseFrameRate("30000/1001"), Qm::FrameRate29_97);
    EXPECT_EQ(parseFrameRate("59.94"), Qm::FrameRate59_94);
    EXPECT_EQ(frameRateText(Qm::FrameRate59_94), "59.94");
    EXPECT_THROW(parseFrameRate("0"), InputError);
}

TEST(ToolSession, TheExampleIsTheDemoSessionAndRenders) {
    audatoms::test::ScratchDir dir;
    // The demo writes its session and inputs; the example reads them from ../demo-out.
    const auto demo = audatoms::test::runTool({"-q", "demo", "--out", dir.file("demo-out")});
    ASSERT_EQ(demo.status, 0) << demo.err;
    auto settings = [](std::string text) {
        // The entries without comments and with the example's folder taken out.
        std::string out, line;
        std::istringstream in(text);
        while (std::getline(in, line)) {
            const auto semi = line.find(';');
            if (semi != std::string::npos) line.resize(semi);
            while (!line.empty() && line.back() == ' ') line.pop_back();
            const auto folder = line.find("../demo-out/");
            if (folder != std::string::npos) line.erase(folder, 12);
            if (!line.empty()) out += line + "\n";
        }
        return out;
    };
    const std::string example = audatoms::test::readText(std::string(AUDATOMS_SOURCE_DIR) + "/examples/session.ini");
    EXPECT_EQ(settings(example), settings(audatoms::test::readText(dir.file("demo-out/session.ini"))));
    std::filesystem::create_directory(dir.file("examples"));
    audatoms::test::writeText(dir.file("examples/session.ini"), example);
    const auto r =
        audatoms::test::renderWithTool({"-q", "--json"}, dir.file("examples/session.ini"), dir.file("mix.wav"));
    ASSERT_EQ(r.status, 0) << r.err;
    const audatoms::test::Audio mix = audatoms::test::readAudio(dir.file("mix.wav"));
    EXPECT_EQ(mix.info.channels, 4);
    EXPECT_EQ(mix.info.frames, 480000);
}
