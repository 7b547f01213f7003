// The audatoms command line, run as a program: the demo writes a valid WAV whose peaks
// are the printed meter table's; --help for every command; info, eq, cadence and
// mixstate convert, as text and as JSON; every kind of bad input (missing or unreadable
// file, unsupported format, malformed session entry, impossible band type, bad option)
// gives a message naming the file, line or entry, exit status 2, and leaves no output
// file; every output that cannot be written gives a message naming it, exit status 1,
// and leaves nothing; an interrupt gives exit status 130 and leaves nothing.
#include "tests/support/ToolTestSupport.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <csignal>
#include <pty.h>
#include <thread>

using audatoms::test::RunResult;
using audatoms::test::runTool;
using audatoms::test::ScratchDir;

namespace {

bool contains(const std::string& s, const std::string& part) { return s.find(part) != std::string::npos; }

double peakOf(const std::vector<double>& interleaved, int channels, int c) {
    double p = 0;
    for (std::size_t i = c; i < interleaved.size(); i += channels) p = std::max(p, std::fabs(interleaved[i]));
    return p;
}

void writeStereoTone(const std::string& path, int rate = 48000, double seconds = 0.5) {
    std::vector<double> x;
    for (int i = 0; i < int(rate * seconds); ++i) {
        const double v = 0.5 * std::sin(2 * M_PI * 440 * i / rate);
        x.push_back(v);
        x.push_back(-0.25 * v);
    }
    audatoms::test::writeDoubles(path, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, rate, x);
}

}  // namespace

TEST(ToolCli, DemoWritesAValidWavWhosePeaksMatchTheMeterTable) {
    ScratchDir dir;
    const RunResult r = runTool({"--json", "--quiet", "demo", "--out", dir.file("demo-out")});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    const audatoms::test::Audio wav = audatoms::test::readAudio(dir.file("demo-out/demo.wav"));
    // The file holds integers; the float mix of the session the demo wrote (its render
    // without the edit it makes while rendering) is checked finite here.
    audatoms::test::renderSessionHere(dir.file("demo-out/session.ini"), false);
    EXPECT_EQ(wav.info.format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(wav.info.samplerate, 48000);
    EXPECT_EQ(wav.info.frames, 480000);
    ASSERT_EQ(wav.info.channels, int(j["outputs"].size()));
    ASSERT_EQ(wav.info.channels, 4);
    for (int c = 0; c < wav.info.channels; ++c) {
        const double metered = j["outputs"][c]["peak"].get<double>();
        EXPECT_FALSE(j["outputs"][c]["clipped"].get<bool>());
        EXPECT_GT(metered, 0.01) << "output " << c << " is silent";
        // The file holds the metered mix truncated to 24 bits: within one step.
        EXPECT_NEAR(peakOf(wav.samples, 4, c), metered, 1.0 / 8388608) << "output " << c;
    }
    // The clipping input is marked, and its meter reads full scale.
    bool clipSeen = false;
    for (const auto& in : j["inputs"])
        clipSeen = clipSeen || (in["clipped"].get<bool>() && in["peak"].get<double>() >= 1.0);
    EXPECT_TRUE(clipSeen);
    EXPECT_GT(j["times_real_time"].get<double>(), 0.0);
    // The EQ plot is an SVG document with a curve per band and per equaliser.
    const std::string svg = audatoms::test::readText(dir.file("demo-out/demo-eq.svg"));
    EXPECT_EQ(svg.rfind("<?xml", 0), 0u);
    EXPECT_TRUE(contains(svg, "<svg") && contains(svg, "</svg>"));
    std::size_t paths = 0;
    for (std::size_t p = svg.find("<path"); p != std::string::npos; p = svg.find("<path", p + 1)) ++paths;
    EXPECT_EQ(paths, 3u + 3u + 2u + 1u);  // tones 3 bands, sweep 2, noise 1, and a total each
}

TEST(ToolCli, DemoTextPrintsTheSpeedAndTheMeterTable) {
    ScratchDir dir;
    const RunResult r = runTool({"demo", "--out", dir.file("d")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(contains(r.out, "x real time on one core"));
    EXPECT_TRUE(contains(r.out, "dBFS  CLIP  clip.wav"));
    EXPECT_FALSE(contains(r.err, "\r"));  // no progress bar when standard error is not a terminal
    // The printed output rows (dBFS to two decimals) against the file's peaks.
    const audatoms::test::Audio wav = audatoms::test::readAudio(dir.file("d/demo.wav"));
    audatoms::test::renderSessionHere(dir.file("d/session.ini"), false);  // its float mix checked finite
    ASSERT_EQ(wav.info.channels, 4);
    for (int c = 0; c < 4; ++c) {
        const std::string key = "  out  " + std::to_string(c) + " ";
        const auto at = r.out.find(key);
        ASSERT_NE(at, std::string::npos) << key;
        const double printed = std::stod(r.out.substr(at + key.size()));
        EXPECT_NEAR(20 * std::log10(peakOf(wav.samples, 4, c)), printed, 0.005 + 1e-5) << "output " << c;
    }
}

TEST(ToolCli, EveryCommandHasHelp) {
    for (const std::vector<std::string>& cmd : std::vector<std::vector<std::string>>{{},
                                                                                     {"demo"},
                                                                                     {"render"},
                                                                                     {"info"},
                                                                                     {"eq"},
                                                                                     {"cadence"},
                                                                                     {"mixstate"},
                                                                                     {"mixstate", "convert"},
                                                                                     {"bench"}}) {
        std::vector<std::string> args = cmd;
        args.push_back("--help");
        const RunResult r = runTool(args);
        std::string usage = "Usage: audatoms";
        for (const std::string& c : cmd) usage += " " + c;
        EXPECT_EQ(r.status, 0) << usage;
        EXPECT_TRUE(contains(r.out, usage)) << r.out;
    }
}

TEST(ToolCli, InfoShowsTheFormatAsTheLibrarySeesItWithPeaks) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    const RunResult r = runTool({"--json", "info", dir.file("tone.wav"), "--fps", "29.97"});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.size(), 1u);
    EXPECT_EQ(j[0]["sample_type"], 2);
    EXPECT_EQ(j[0]["sample_type_name"], "24 bit");
    EXPECT_EQ(j[0]["channels"], 2);
    EXPECT_EQ(j[0]["rate"], "48 kHz");
    EXPECT_EQ(j[0]["frames"], 24000);
    EXPECT_EQ(j[0]["samples_per_frame"], nlohmann::json({1602, 1601, 1602, 1601, 1602}));
    // Peaks of 0.5 and 0.125 at 24 bits (a sine at 440 Hz reaches within 2e-4 of its top in 0.5 s).
    EXPECT_NEAR(j[0]["peaks"][0]["peak"].get<double>(), 0.5, 2e-4);
    EXPECT_NEAR(j[0]["peaks"][1]["peak"].get<double>(), 0.125, 1e-4);
    const RunResult text = runTool({"info", dir.file("tone.wav")});
    EXPECT_TRUE(contains(text.out, "sample type  2 \"24 bit\""));
    EXPECT_TRUE(contains(text.out, "1920 samples at 25 fps"));
}

TEST(ToolCli, InfoReadsOneChannelOfBigEndianDoubles) {
    ScratchDir dir;
    std::vector<double> x(4801, 0.0);
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 0.5 * std::sin(0.01 * double(i));
    x[4799] = -0.75;  // the peak, in the last odd-numbered frame
    audatoms::test::writeDoubles(dir.file("mono.aiff"), SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, 1, 48000, x);
    const RunResult r = runTool({"--json", "info", dir.file("mono.aiff")});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.size(), 1u);
    EXPECT_EQ(j[0]["sample_type"], 7);
    EXPECT_EQ(j[0]["channels"], 1);
    EXPECT_EQ(j[0]["frames"], 4801);
    EXPECT_EQ(j[0]["peaks"][0]["peak"].get<double>(), 0.75);
}

TEST(ToolCli, CadenceGivesFrameAndFieldSequences) {
    RunResult r = runTool({"--json", "cadence", "--rate", "48000", "--fps", "30000/1001"});
    ASSERT_EQ(r.status, 0) << r.err;
    nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["samples_per_frame"], nlohmann::json({1602, 1601, 1602, 1601, 1602}));
    EXPECT_EQ(j["samples_per_field"], nlohmann::json({801, 801, 800, 801, 801, 801, 800, 801, 801, 801}));
    r = runTool({"--json", "cadence", "--rate", "47952.048", "--fps", "29.97"});
    ASSERT_EQ(r.status, 0) << r.err;
    j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["rate"], "48 kHz x 1/1.001");
    EXPECT_EQ(j["samples_per_frame"], nlohmann::json({1600}));
    r = runTool({"cadence", "--rate", "44100", "--fps", "59.94"});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(r.err, "no cadence for 44.1 kHz at 59.94 fps")) << r.err;
}

TEST(ToolCli, EqPlotsWritesCsvAndAppliesToAFile) {
    ScratchDir dir;
    writeStereoTone(dir.file("in.wav"));
    const RunResult r =
        runTool({"--quiet", "eq", "--band", "peaking:440:q=2:+6", "--band", "hp:20", "--svg", dir.file("eq.svg"),
                 "--csv", dir.file("eq.csv"), "--apply", dir.file("in.wav"), "-o", dir.file("out.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string csv = audatoms::test::readText(dir.file("eq.csv"));
    EXPECT_EQ(csv.rfind("frequency_hz,band1_db,band2_db,total_db\n", 0), 0u);
    EXPECT_TRUE(contains(audatoms::test::readText(dir.file("eq.svg")), "</svg>"));
    // +6 dB at 440 Hz (the high-pass at 20 Hz takes almost nothing there): the tone's
    // peak doubles once the filter has settled.
    const audatoms::test::Audio out = audatoms::test::readAudio(dir.file("out.wav"));
    ASSERT_EQ(out.info.frames, 24000);
    double late = 0;
    for (std::size_t i = 2 * 12000; i < out.samples.size(); i += 2) late = std::max(late, std::fabs(out.samples[i]));
    EXPECT_NEAR(late, 0.5 * std::pow(10.0, 6.0 / 20), 0.01);
}

TEST(ToolCli, MixstateConvertsTextToStreamAndBack) {
    ScratchDir dir;
    audatoms::test::writeText(dir.file("m.ini"), "[SimpleMixState.InputChannels.Fader]\n003=0.2500000000\n"
                                                 "[SimpleMixState.MixChannels.RouteToOutput]\n02L->05=1\n");
    ASSERT_EQ(
        runTool({"-q", "mixstate", "convert", dir.file("m.ini"), dir.file("m.mixstate"), "--outputs", "6"}).status, 0);
    ASSERT_EQ(runTool({"-q", "mixstate", "convert", dir.file("m.mixstate"), dir.file("back.ini")}).status, 0);
    const std::string back = audatoms::test::readText(dir.file("back.ini"));
    EXPECT_TRUE(contains(back, "003=0.2500000000"));
    EXPECT_TRUE(contains(back, "02L->05=1"));
    EXPECT_TRUE(contains(back, "Version=1.1"));
    // Unknown extensions and files without mixer sections are refused.
    RunResult r = runTool({"mixstate", "convert", dir.file("m.ini"), dir.file("m.xyz")});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(r.err, "m.xyz: unknown mixer state file type"));
    audatoms::test::writeText(dir.file("empty.ini"), "[Other]\na=1\n");
    r = runTool({"mixstate", "convert", dir.file("empty.ini"), dir.file("x.mixstate")});
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(r.err, "no SimpleMixState sections"));
    EXPECT_FALSE(std::filesystem::exists(dir.file("x.mixstate")));
}

// ---- bad input: message, status 2, no output ----

namespace {

struct BadCase {
    const char* name;
    std::string session;  // session text ("" = use args as given)
    std::string expect;   // a part of the message
};

const char* kGoodHead = "[Session]\nSampleRate=48000\nLength=0.5\n";

}  // namespace

TEST(ToolCli, EveryBadSessionGivesItsMessageStatusTwoAndNoOutput) {
    const std::vector<BadCase> cases = {
        {"missing input file", std::string(kGoodHead) + "[Inputs]\nFile=nothere.wav\n", "s.ini:5: "},
        {"directory as input", std::string(kGoodHead) + "[Inputs]\nFile=adir\n", "adir: is a directory"},
        {"unreadable input", std::string(kGoodHead) + "[Inputs]\nFile=garbage.wav\n",
         "garbage.wav: cannot read as an audio file"},
        {"unsupported format", std::string(kGoodHead) + "[Inputs]\nFile=ulaw.wav\n", "ulaw.wav: unsupported format"},
        {"rate the library cannot express", std::string(kGoodHead) + "[Inputs]\nFile=tone5k.wav\n",
         "tone5k.wav: sample rate 5000 Hz is not one the library can express"},
        {"conversion beyond 8:1", "[Session]\nSampleRate=96000\nLength=0.5\n[Inputs]\nFile=tone8k.wav\n",
         "cannot convert 16 kHz x 1/2 to 96 kHz (the ratio is beyond 8:1)"},
        {"bad resampling quality", std::string(kGoodHead) + "Resampling=ultra\n[Inputs]\nFile=tone.wav\n",
         "s.ini:4: Resampling 'ultra' is not quick, high or best"},
        {"bad material frame rate", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[File.0]\nFrameRate=17\n",
         "s.ini:7: "},
        {"file section beyond the files", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[File.1]\nFrameRate=24\n",
         "s.ini:6: [File.1] names File= line 1 (from 0), but [Inputs] has 1"},
        {"unknown file key", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[File.0]\nSpeed=2\n",
         "s.ini:7: unknown key 'Speed' in a [File.N] section"},
        {"bad number", "[Session]\nSampleRate=48k\nLength=1\n[Inputs]\nFile=tone.wav\n", "s.ini:2: SampleRate '48k'"},
        {"unknown key", std::string(kGoodHead) + "Colour=blue\n[Inputs]\nFile=tone.wav\n",
         "s.ini:4: unknown key 'Colour'"},
        {"unknown section", std::string(kGoodHead) + "[Effects]\n", "s.ini:4: unknown section [Effects]"},
        {"no equals sign", std::string(kGoodHead) + "[Inputs]\nFile tone.wav\n", "s.ini:5: expected KEY=VALUE"},
        {"repeated key", std::string(kGoodHead) + "Length=2\n[Inputs]\nFile=tone.wav\n",
         "s.ini:4: 'Length' is given twice"},
        {"negative level", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[Automation.0]\n0=-1\n",
         "s.ini:7: automation level '-1'"},
        {"bad time", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[Automation.0]\nsoon=1\n",
         "s.ini:7: automation time 'soon'"},
        {"input out of range", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[Automation.5]\n0=1\n",
         "s.ini:6: a section names mixer input 5, but the input files give 2 channels"},
        {"impossible band type", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[EQ.1]\nBand=wobble:100\n",
         "s.ini:7: band 'wobble:100': unknown band type 'wobble'"},
        {"band above Nyquist", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[EQ.0]\nBand=lowpass:30k\n",
         "s.ini:7: band 'lowpass:30k': frequency"},
        {"shape the type refuses", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[EQ.0]\nBand=notch:1k:s=1\n",
         "s.ini:7: band 'notch:1k:s=1': ShapeDescriptor/FilterType mismatch"},
        {"unknown mixer section", std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n[SimpleMixState.Inputs]\n",
         "s.ini:6: unknown mixer section [SimpleMixState.Inputs]"},
        {"no session section", "[Inputs]\nFile=tone.wav\n", "s.ini: no [Session] section"},
        {"no inputs", std::string(kGoodHead), "s.ini: no input files"},
        {"entry before a section", "Length=1\n", "s.ini:1: an entry before the first [section]"},
    };
    for (const BadCase& c : cases) {
        SCOPED_TRACE(c.name);
        ScratchDir dir;
        writeStereoTone(dir.file("tone.wav"));
        writeStereoTone(dir.file("tone5k.wav"), 5000);
        writeStereoTone(dir.file("tone8k.wav"), 8000);
        std::filesystem::create_directory(dir.file("adir"));
        audatoms::test::writeText(dir.file("garbage.wav"), "RIFF....WAVEjunk");
        audatoms::test::writeDoubles(dir.file("ulaw.wav"), SF_FORMAT_WAV | SF_FORMAT_ULAW, 1, 48000,
                                     std::vector<double>(100, 0.1));
        audatoms::test::writeText(dir.file("s.ini"), c.session);
        const std::vector<std::string> before = dir.entries();
        const RunResult r = runTool({"render", "s.ini", "-o", "out.wav"}, dir.path());
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_TRUE(contains(r.err, c.expect)) << "message: " << r.err;
        EXPECT_TRUE(contains(r.err, "audatoms: ")) << r.err;
        EXPECT_EQ(dir.entries(), before) << "an output or temporary file was left";
    }
}

TEST(ToolCli, BadArgumentsGiveStatusTwoAndNoOutput) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    audatoms::test::writeText(dir.file("s.ini"), std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"render", "missing.ini"}, "missing.ini: cannot open: No such file or directory"},
        {{"render", "s.ini", "-o", "out.xyz"}, "out.xyz: unknown output file type"},
        {{"render", "s.ini", "-o", "out.wav", "--sample-type", "20"}, "unknown sample type '20'"},
        {{"render", "s.ini", "-o", "out.wav", "--sample-type", "24-unpacked"}, "24-unpacked"},
        {{"render"}, "SESSION is required"},
        {{"frobnicate"}, "unknown command 'frobnicate'"},
        {{"info", "missing.wav"}, "missing.wav: cannot open"},
        {{"info", "s.ini"}, "s.ini: cannot read as an audio file"},
        {{"eq", "--band", "wobble:100"}, "band 'wobble:100': unknown band type 'wobble'"},
        {{"eq", "--band", "peaking:abc"}, "band 'peaking:abc': bad frequency 'abc'"},
        {{"eq", "--band", "peaking:100:q=1:q=2"}, "more than one shape"},
        {{"eq", "--band", "lp:100", "--apply", "tone.wav"}, "--apply needs -o OUT"},
        {{"eq", "--band", "lp:100", "--apply", "missing.wav", "-o", "out.wav"}, "missing.wav: cannot open"},
        {{"cadence", "--rate", "12345", "--fps", "25"}, "sample rate '12345'"},
        {{"cadence", "--rate", "48000", "--fps", "33"}, "frame rate '33'"},
        {{"mixstate", "convert", "missing.mixstate", "out.ini"}, "missing.mixstate: cannot open: No such file"},
        {{"render", "."}, ".: is a directory, not a session file"},
        {{"bench", "--inputs", "40"}, "--inputs must be from 1 to 32"},
        {{"demo", "--frob"}, "--frob"},
        {{"mixstate", "convert", "s.ini", "out.ini", "--outputs", "40"}, "--outputs must be from 2 to 16"},
    };
    for (const auto& [args, expect] : cases) {
        std::string joined;
        for (const auto& a : args) joined += a + " ";
        SCOPED_TRACE(joined);
        const std::vector<std::string> before = dir.entries();
        const RunResult r = runTool(args, dir.path());
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_TRUE(contains(r.err, expect)) << "message: " << r.err;
        EXPECT_EQ(dir.entries(), before);
    }
}

TEST(ToolCli, AFailedRenderLeavesAnEarlierOutputUntouched) {
    ScratchDir dir;
    audatoms::test::writeText(dir.file("out.wav"), "earlier result");
    audatoms::test::writeText(dir.file("s.ini"), std::string(kGoodHead) + "[Inputs]\nFile=missing.wav\n");
    const RunResult r = runTool({"render", "s.ini", "-o", "out.wav"}, dir.path());
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(audatoms::test::readText(dir.file("out.wav")), "earlier result");
}

TEST(ToolCli, AStoppedRenderRemovesItsTemporaryFile) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    // An hour of output (the short input is followed by silence): far longer than the
    // moment the render is stopped at.
    audatoms::test::writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=3600\n[Inputs]\nFile=tone.wav\n");
    const std::string tool = AUDATOMS_TOOL_PATH;
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (::chdir(dir.path().c_str()) != 0) ::_exit(127);
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, 1);
        ::dup2(null, 2);
        ::execl(tool.c_str(), tool.c_str(), "render", "s.ini", "-o", "out.wav", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Wait until the temporary exists, then stop the render.
    bool sawTemporary = false;
    for (int i = 0; i < 500 && !sawTemporary; ++i) {
        for (const std::string& e : dir.entries()) sawTemporary = sawTemporary || e.rfind("out.wav.tmp.", 0) == 0;
        if (!sawTemporary) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::kill(pid, SIGTERM);
    int wstatus = 0;
    ::waitpid(pid, &wstatus, 0);
    ASSERT_TRUE(sawTemporary);
    ASSERT_TRUE(WIFEXITED(wstatus));
    EXPECT_EQ(WEXITSTATUS(wstatus), 128 + SIGTERM);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"s.ini", "tone.wav"}));
}

namespace {

// Runs the tool on a pseudo-terminal (standard output and error both on it) and
// returns everything it wrote.
std::string runOnTerminal(const std::vector<std::string>& args, const std::string& cwd) {
    int master = -1;
    const pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        if (::chdir(cwd.c_str()) != 0) ::_exit(127);
        std::vector<std::string> copy = args;
        std::string tool = AUDATOMS_TOOL_PATH;
        std::vector<char*> argv{tool.data()};
        for (std::string& a : copy) argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(tool.c_str(), argv.data());
        ::_exit(127);
    }
    std::string out;
    char buf[4096];
    for (;;) {
        const ssize_t n = ::read(master, buf, sizeof buf);
        if (n <= 0) break;  // EIO once the child has gone
        out.append(buf, std::size_t(n));
    }
    ::close(master);
    ::waitpid(pid, nullptr, 0);
    return out;
}

}  // namespace

TEST(ToolCli, TheProgressBarIsDrawnOnATerminalUnlessQuiet) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    audatoms::test::writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=120\n[Inputs]\nFile=tone.wav\n");
    const std::string shown = runOnTerminal({"render", "s.ini", "-o", "a.wav"}, dir.path());
    EXPECT_TRUE(contains(shown, "\rrendering [")) << shown;
    EXPECT_TRUE(contains(shown, "100%")) << shown;
    EXPECT_TRUE(contains(shown, "wrote a.wav"));
    const std::string quiet = runOnTerminal({"--quiet", "render", "s.ini", "-o", "b.wav"}, dir.path());
    EXPECT_FALSE(contains(quiet, "rendering [")) << quiet;
    EXPECT_TRUE(contains(quiet, "wrote b.wav"));  // the results are still printed
}

// ---- outputs that cannot be written: message naming the path, status 1, nothing left ----

TEST(ToolCli, EveryUnwritableOutputGivesStatusOneNamingItAndLeavesNothing) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    audatoms::test::writeText(dir.file("s.ini"), std::string(kGoodHead) + "[Inputs]\nFile=tone.wav\n");
    audatoms::test::writeText(dir.file("m.ini"), "[SimpleMixState.InputChannels.Fader]\n003=0.25\n");
    // A regular file where a folder is expected: no one can create anything inside it,
    // whatever the user's privileges.
    audatoms::test::writeText(dir.file("afile"), "not a folder");
    std::filesystem::create_directory(dir.file("adir.wav"));
    std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"render", "s.ini", "-o", "afile/out.wav"}, "afile/out.wav: cannot create the output file in afile"},
        {{"render", "s.ini", "-o", "nofolder/out.wav"}, "nofolder/out.wav: cannot create the output file"},
        {{"render", "s.ini", "-o", "adir.wav"}, "adir.wav: is a directory"},
        {{"demo", "--out", "afile/demo-out"}, "afile/demo-out: cannot create the output folder"},
        {{"demo", "--out", "afile"}, "afile: is not a folder"},
        {{"eq", "--band", "lp:100", "--svg", "afile/eq.svg"}, "afile/eq.svg: cannot write"},
        {{"eq", "--band", "lp:100", "--csv", "afile/eq.csv"}, "afile/eq.csv: cannot write"},
        {{"eq", "--band", "lp:100", "--apply", "tone.wav", "-o", "afile/out.wav"},
         "afile/out.wav: cannot create the output file"},
        {{"mixstate", "convert", "m.ini", "afile/m.mixstate"}, "afile/m.mixstate: cannot write"},
        {{"mixstate", "convert", "m.ini", "afile/back.ini"}, "afile/back.ini: cannot write"},
    };
    // A folder without write permission stops only users other than root.
    const bool root = ::geteuid() == 0;
    if (!root) {
        std::filesystem::create_directory(dir.file("locked"));
        std::filesystem::permissions(dir.file("locked"),
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        cases.push_back({{"render", "s.ini", "-o", "locked/out.wav"}, "locked/out.wav: cannot create the output file"});
        cases.push_back({{"mixstate", "convert", "m.ini", "locked/m.mixstate"}, "locked/m.mixstate: cannot write"});
    }
    for (const auto& [args, expect] : cases) {
        std::string joined;
        for (const auto& a : args) joined += a + " ";
        SCOPED_TRACE(joined);
        const std::vector<std::string> before = dir.entries();
        const RunResult r = runTool(args, dir.path());
        EXPECT_EQ(r.status, 1) << r.err;
        EXPECT_TRUE(contains(r.err, "audatoms: " + expect)) << "message: " << r.err;
        EXPECT_EQ(dir.entries(), before) << "an output or temporary file was left";
        EXPECT_EQ(audatoms::test::readText(dir.file("afile")), "not a folder");
    }
    if (!root) {
        EXPECT_TRUE(std::filesystem::is_empty(dir.file("locked")));
        std::filesystem::permissions(dir.file("locked"), std::filesystem::perms::owner_all);
    }
}

TEST(ToolCli, AStandardOutputThatCannotBeWrittenGivesStatusOne) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this system";
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"info", "tone.wav"}, {"--json", "info", "tone.wav"}, {"cadence", "--rate", "48000", "--fps", "25"}}) {
        SCOPED_TRACE(args[0] + " " + args[1]);
        const RunResult r = runTool(args, dir.path(), "/dev/full");
        EXPECT_EQ(r.status, 1) << r.err;
        EXPECT_TRUE(contains(r.err, "audatoms: standard output: cannot write the results")) << r.err;
    }
    // The same commands with a writable standard output succeed.
    const RunResult ok = runTool({"info", "tone.wav"}, dir.path(), "/dev/null");
    EXPECT_EQ(ok.status, 0) << ok.err;
}

// ---- interrupts: status 130, nothing left ----

namespace {

struct Started {
    pid_t pid = -1;
    int err = -1;  // read end of the child's standard error
};

// Starts the tool in `cwd` with standard output on /dev/null and standard error on a pipe.
Started startTool(const std::vector<std::string>& args, const std::string& cwd) {
    int fds[2];
    if (::pipe(fds) != 0) return {};
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        const int null = ::open("/dev/null", O_RDWR);
        if (null < 0 || ::chdir(cwd.c_str()) != 0) ::_exit(127);
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(fds[1], 2);
        std::vector<std::string> copy = args;
        std::string tool = AUDATOMS_TOOL_PATH;
        std::vector<char*> argv{tool.data()};
        for (std::string& a : copy) argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(tool.c_str(), argv.data());
        ::_exit(127);
    }
    ::close(fds[1]);
    return {pid, fds[0]};
}

// Reads the child's standard error until it holds `part` or ends.
std::string readErrorUntil(int fd, const std::string& part, std::string text = "") {
    char buf[512];
    while (!contains(text, part)) {
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0) break;
        text.append(buf, std::size_t(n));
    }
    return text;
}

}  // namespace

TEST(ToolCli, AnInterruptedRenderExitsWith130AndLeavesNoFile) {
    ScratchDir dir;
    writeStereoTone(dir.file("tone.wav"));
    // An hour of output: far longer than the moment of the interrupt.
    audatoms::test::writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=3600\n[Inputs]\nFile=tone.wav\n");
    const Started child = startTool({"render", "s.ini", "-o", "out.wav"}, dir.path());
    ASSERT_GT(child.pid, 0);
    bool sawTemporary = false;
    for (int i = 0; i < 500 && !sawTemporary; ++i) {
        for (const std::string& e : dir.entries()) sawTemporary = sawTemporary || e.rfind("out.wav.tmp.", 0) == 0;
        if (!sawTemporary) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::kill(child.pid, SIGINT);
    const std::string err = readErrorUntil(child.err, "\n");
    ::close(child.err);
    int wstatus = 0;
    ::waitpid(child.pid, &wstatus, 0);
    ASSERT_TRUE(sawTemporary);
    ASSERT_TRUE(WIFEXITED(wstatus)) << "the tool was killed by the signal instead of handling it";
    EXPECT_EQ(WEXITSTATUS(wstatus), 130);
    EXPECT_TRUE(contains(err, "audatoms: interrupted")) << err;
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"s.ini", "tone.wav"}));
}

TEST(ToolCli, AnInterruptedBenchExitsWith130) {
    ScratchDir dir;
    // The full benchmark runs for many seconds; it is interrupted once it has said that
    // it is rendering.
    const Started child = startTool({"bench"}, dir.path());
    ASSERT_GT(child.pid, 0);
    std::string err = readErrorUntil(child.err, "rendering 32 inputs");
    const bool started = contains(err, "rendering 32 inputs");
    ::kill(child.pid, SIGINT);
    err = readErrorUntil(child.err, "audatoms: interrupted", err);
    ::close(child.err);
    int wstatus = 0;
    ::waitpid(child.pid, &wstatus, 0);
    ASSERT_TRUE(started) << err;
    ASSERT_TRUE(WIFEXITED(wstatus)) << "the tool was killed by the signal instead of handling it";
    EXPECT_EQ(WEXITSTATUS(wstatus), 130);
    EXPECT_TRUE(contains(err, "audatoms: interrupted")) << err;
    EXPECT_TRUE(dir.entries().empty());
}

// ---- the JSON form of the commands without a meter table ----

TEST(ToolCli, EqMixstateAndBenchGiveTheirResultsAsJson) {
    ScratchDir dir;
    writeStereoTone(dir.file("in.wav"));
    RunResult r = runTool(
        {"--json", "-q", "eq", "--band", "peaking:1k:q=2:+6", "--csv", "eq.csv", "--apply", "in.wav", "-o", "out.wav"},
        dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["rate"], 48000.0);
    EXPECT_EQ(j["bands"].size(), 1u);
    EXPECT_EQ(j["csv"], "eq.csv");
    EXPECT_FALSE(j.contains("svg"));
    EXPECT_EQ(j["applied"]["output"], "out.wav");
    EXPECT_EQ(j["applied"]["channels"], 2);
    EXPECT_EQ(j["applied"]["sample_type"], "24");
    bool sawPeak = false;
    for (const auto& p : j["response"])
        if (p["frequency_hz"] == 1000.0) {
            sawPeak = true;
            EXPECT_NEAR(p["db"].get<double>(), 6.0, 1e-3);
        }
    EXPECT_TRUE(sawPeak);
    EXPECT_TRUE(std::filesystem::exists(dir.file("out.wav")));

    audatoms::test::writeText(dir.file("m.ini"), "[SimpleMixState.InputChannels.Fader]\n003=0.25\n");
    r = runTool({"--json", "mixstate", "convert", "m.ini", "m.mixstate", "--outputs", "6"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["input"], "m.ini");
    EXPECT_EQ(j["input_form"], "text");
    EXPECT_EQ(j["output"], "m.mixstate");
    EXPECT_EQ(j["output_form"], "stream");
    EXPECT_EQ(j["inputs"], 32);
    EXPECT_EQ(j["mixes"], 4);
    EXPECT_EQ(j["output_slots"], 8);
    EXPECT_TRUE(contains(r.err, "wrote m.mixstate (32 inputs, 4 mixes, 8 output slots)")) << r.err;
    // Text form: nothing on standard output; the note on standard error, unless quiet.
    r = runTool({"mixstate", "convert", "m.mixstate", "back.ini"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(contains(r.err, "wrote back.ini"));
    r = runTool({"-q", "mixstate", "convert", "m.mixstate", "back2.ini"}, dir.path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");

    // The denormal check decides the status: 0 when it passed, 1 when it failed.
    r = runTool({"--json", "-q", "bench", "--inputs", "2", "--seconds", "1"}, dir.path());
    j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["render"]["inputs"], 2);
    EXPECT_GT(j["render"]["times_real_time"].get<double>(), 0.0);
    EXPECT_EQ(j["denormal"]["limit"], 1.5);
    EXPECT_EQ(j["denormal"]["passed"].get<bool>(), j["denormal"]["with_guard"]["ratio"].get<double>() <= 1.5);
    EXPECT_EQ(r.status, j["denormal"]["passed"].get<bool>() ? 0 : 1) << r.err;
    EXPECT_EQ(contains(r.err, "denormal guard check failed"), !j["denormal"]["passed"].get<bool>()) << r.err;
}

namespace {

// Runs `audatoms --json -q bench ... --ffmpeg` with PATH set to `path`.
nlohmann::json benchWithFfmpeg(const std::string& path, const std::string& cwd, RunResult& r) {
    const std::string saved = std::getenv("PATH") ? std::getenv("PATH") : "";
    ::setenv("PATH", path.c_str(), 1);
    r = runTool({"--json", "-q", "bench", "--inputs", "2", "--seconds", "1", "--ffmpeg"}, cwd);
    ::setenv("PATH", saved.c_str(), 1);
    return nlohmann::json::parse(r.out);
}

}  // namespace

TEST(ToolCli, BenchSaysWhyFfmpegWasNotMeasured) {
    ScratchDir dir;
    RunResult r;
    // No ffmpeg on PATH.
    std::filesystem::create_directories(dir.file("empty"));
    nlohmann::json j = benchWithFfmpeg(dir.file("empty"), dir.path(), r);
    EXPECT_EQ(j["ffmpeg"]["not_measured"], "ffmpeg was not found on PATH") << r.out;
    EXPECT_EQ(r.status, j["denormal"]["passed"].get<bool>() ? 0 : 1) << r.err;
    // An ffmpeg that fails: its last message is given.
    std::filesystem::create_directories(dir.file("failing"));
    {
        std::ofstream fake(dir.file("failing/ffmpeg"));
        fake << "#!/bin/sh\necho 'no such filter' >&2\nexit 1\n";
    }
    std::filesystem::permissions(dir.file("failing/ffmpeg"), std::filesystem::perms::owner_all);
    j = benchWithFfmpeg(dir.file("failing"), dir.path(), r);
    EXPECT_EQ(j["ffmpeg"]["not_measured"], "ffmpeg failed: no such filter") << r.out;
}

TEST(ToolCli, BenchTimesFfmpegMixingTheSameInputs) {
    const char* path = std::getenv("PATH");
    bool found = false;
    for (std::string rest = path ? path : ""; !found && !rest.empty();) {
        const std::size_t colon = rest.find(':');
        const std::string dirName = rest.substr(0, colon);
        found = ::access((dirName + "/ffmpeg").c_str(), X_OK) == 0;
        rest = colon == std::string::npos ? "" : rest.substr(colon + 1);
    }
    if (!found) GTEST_SKIP() << "ffmpeg is not installed (make bench installs it)";
    ScratchDir dir;
    RunResult r;
    std::filesystem::create_directories(dir.file("tmp"));
    const std::string savedTmp = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "";
    ::setenv("TMPDIR", dir.file("tmp").c_str(), 1);
    const nlohmann::json j = benchWithFfmpeg(path, dir.path(), r);
    if (savedTmp.empty()) ::unsetenv("TMPDIR");
    else ::setenv("TMPDIR", savedTmp.c_str(), 1);
    ASSERT_TRUE(j["ffmpeg"].contains("cpu_seconds")) << r.out;
    const double ffmpegCpu = j["ffmpeg"]["cpu_seconds"], renderCpu = j["render"]["render_cpu_seconds"];
    EXPECT_GT(ffmpegCpu, 0.0);
    EXPECT_DOUBLE_EQ(j["ffmpeg"]["render_times_faster"].get<double>(), ffmpegCpu / renderCpu);
    EXPECT_DOUBLE_EQ(j["ffmpeg"]["times_real_time"].get<double>(), 1.0 / ffmpegCpu);
    EXPECT_EQ(j["ffmpeg"]["aim"], 10);
    // The inputs were written to a folder of their own in TMPDIR and removed afterwards.
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("tmp")));
}
