// audatoms play: the real-time player on a dummy JACK server of the test's own.
//  - played headless with --capture at 64, 256 and 1024-frame periods, a session gives
//    the samples `audatoms render` writes, bit for bit;
//  - scripted edits (fader, mute, an automation node at the playhead) appear in the
//    captured output at a block boundary within one period of where they were applied,
//    and the automation edit is reached through a glide, not a step;
//  - the preloaded probe sees no allocation and no lock beyond the allowed ones in any
//    callback over a whole run with edits, and does see a planted allocation and lock;
//  - bad input: no server, a session at another rate, unreadable inputs, a bad edits
//    file, a disk reader that cannot keep up: clear messages, documented statuses.
#include "tests/support/JackServer.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace audatoms::test;

namespace {

constexpr int kRate = 48000;

// Two seconds of varied material: a stereo 24-bit file and a mono 16-bit file.
void writeInputs(const ScratchDir& dir, double seconds = 2.0) {
    const int n = int(seconds * kRate);
    std::vector<double> st(std::size_t(n) * 2);
    std::vector<double> mono(static_cast<std::size_t>(n));
    unsigned seed = 12345;
    for (int i = 0; i < n; ++i) {
        seed = seed * 1664525u + 1013904223u;
        const double noise = (double(seed >> 8) / double(1u << 24) - 0.5) * 0.2;
        st[std::size_t(i) * 2] = 0.4 * std::sin(2 * M_PI * 220 * i / kRate) + noise;
        st[std::size_t(i) * 2 + 1] = 0.3 * std::sin(2 * M_PI * 330 * i / kRate) - noise;
        mono[std::size_t(i)] = 0.5 * std::sin(2 * M_PI * 1000 * i / kRate) * (double(i % 9600) / 9600.0);
    }
    writeDoubles(dir.file("st.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, kRate, st);
    writeDoubles(dir.file("mono.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, kRate, mono);
}

const char* kSession = R"([Session]
SampleRate=48000
Length=2
FrameRate=25
Outputs=4
[Inputs]
File=st.wav
File=mono.wav
[Automation.0]
0=0
0.5=1
1.2=-6dB
1.7=1
[Automation.2]
0.3=1
0.9=0.2
[EQ.1]
Band=peaking:2500:q=1.2:+4
Band=lowshelf:120:-3
[SimpleMixState.InputChannels.Fader]
000=0.9
002=0.7
[SimpleMixState.InputChannels.Pan]
000=0.3
001=0.7
[SimpleMixState.InputChannels.RouteToMix]
002->01=1
[SimpleMixState.MixChannels.RouteToOutput]
01L->02=1
01R->03=1
)";

std::vector<std::string> playArgs(const JackServer& server, const std::string& session,
                                  const std::vector<std::string>& more = {}) {
    // A dummy server on a busy machine runs slower than real time: the run ends at the
    // session's end, and --seconds only guards against a hang.
    std::vector<std::string> a = {"--json", "play", session, "--server", server.name(), "--no-ui", "--no-connect"};
    if (std::find(more.begin(), more.end(), "--seconds") == more.end()) a.insert(a.end(), {"--seconds", "60"});
    a.insert(a.end(), more.begin(), more.end());
    return a;
}

nlohmann::json parseJson(const RunResult& r) {
    try {
        return nlohmann::json::parse(r.out);
    } catch (const std::exception& e) {
        ADD_FAILURE() << "not JSON: " << e.what() << "\n" << r.out << "\n" << r.err;
        return {};
    }
}

class PlayBitExact : public ::testing::TestWithParam<unsigned> {};

TEST_P(PlayBitExact, CaptureEqualsTheOfflineRender) {
    ScratchDir dir;
    writeInputs(dir);
    writeText(dir.file("s.ini"), kSession);
    JackServer server(kRate, GetParam(), "bitexact");
    ASSERT_TRUE(server.ready()) << "jackd -d dummy did not start";
    const RunResult play = runTool(playArgs(server, dir.file("s.ini"), {"--capture", dir.file("cap.wav")}));
    ASSERT_EQ(play.status, 0) << play.err;
    const nlohmann::json j = parseJson(play);
    EXPECT_EQ(j["period_frames"], GetParam());
    EXPECT_EQ(j["frames_played"], 2 * kRate);
    EXPECT_EQ(j["underruns"], 0);
    const RunResult render = renderWithTool({}, dir.file("s.ini"), dir.file("ren.wav"));
    ASSERT_EQ(render.status, 0) << render.err;
    const Audio cap = readAudio(dir.file("cap.wav"));
    const Audio ren = readAudio(dir.file("ren.wav"));
    ASSERT_EQ(cap.info.channels, 4);
    ASSERT_EQ(cap.info.frames, ren.info.frames);
    ASSERT_EQ(cap.ints.size(), ren.ints.size());
    std::size_t differ = 0, first = 0;
    for (std::size_t i = 0; i < cap.ints.size(); ++i)
        if (cap.ints[i] != ren.ints[i] && differ++ == 0) first = i;
    EXPECT_EQ(differ, 0u) << "first difference at frame " << first / 4 << " channel " << first % 4;
    // The mix is not silent: the comparison compared something.
    double energy = 0;
    for (double x : ren.samples) energy += x * x;
    EXPECT_GT(energy, 100.0);
}

INSTANTIATE_TEST_SUITE_P(Periods, PlayBitExact, ::testing::Values(64u, 256u, 1024u),
                         [](const ::testing::TestParamInfo<unsigned>& p) { return std::to_string(p.param); });

// Constant inputs, input 0 hard left and input 1 hard right, so that each output shows
// one input's gain sample by sample.
void writeDcSession(const ScratchDir& dir, double seconds) {
    const int n = int(seconds * kRate);
    writeDoubles(dir.file("dc.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, kRate,
                 std::vector<double>(std::size_t(n) * 2, 0.5));
    writeText(dir.file("dc.ini"), "[Session]\nSampleRate=48000\nLength=" + std::to_string(seconds) +
                                      "\nOutputs=2\n[Inputs]\nFile=dc.wav\n"
                                      "[SimpleMixState.InputChannels.Pan]\n000=0\n001=1\n");
}

// The first frame from `from` on where channel c differs from its value at `from`.
std::int64_t firstChange(const Audio& a, int c, std::int64_t from) {
    const int ch = a.info.channels;
    for (std::int64_t i = from + 1; i < a.info.frames; ++i)
        if (a.ints[std::size_t(i * ch + c)] != a.ints[std::size_t(from * ch + c)]) return i;
    return -1;
}

TEST(Play, ScriptedEditsLandWithinOnePeriodAndAutomationGlides) {
    constexpr unsigned kPeriod = 256;
    ScratchDir dir;
    writeDcSession(dir, 3.0);
    writeText(dir.file("edits.txt"), "# a fader, a mute and an automation node at the playhead\n"
                                     "0.5 fader 0 0.5\n1.0 mute 1 on\n1.5 node 0 now 0.25\n");
    JackServer server(kRate, kPeriod, "edits");
    ASSERT_TRUE(server.ready());
    const RunResult play = runTool(
        playArgs(server, dir.file("dc.ini"), {"--capture", dir.file("cap.wav"), "--edits", dir.file("edits.txt")}));
    ASSERT_EQ(play.status, 0) << play.err;
    const nlohmann::json j = parseJson(play);
    ASSERT_EQ(j["edits"].size(), 3u);
    const std::int64_t fader = j["edits"][0]["applied_at_frame"], mute = j["edits"][1]["applied_at_frame"],
                       node = j["edits"][2]["applied_at_frame"];
    const Audio cap = readAudio(dir.file("cap.wav"));
    ASSERT_EQ(cap.info.frames, 3 * kRate);
    auto at = [&](std::int64_t i, int c) { return cap.ints[std::size_t(i * 2 + c)]; };

    // Fader: one step from unity, at a block boundary within one period of the edit.
    const std::int64_t f1 = firstChange(cap, 0, 0);
    ASSERT_GT(f1, 0);
    EXPECT_EQ(f1 % kPeriod, 0) << f1;
    EXPECT_LE(std::llabs(f1 - fader), std::int64_t(kPeriod)) << "fader applied at " << fader << ", heard at " << f1;
    const int before = at(0, 0), after = at(f1, 0);
    EXPECT_LT(after, before);
    EXPECT_GT(after, 0);

    // Mute of the right input: silence from a block boundary near the edit.
    const std::int64_t f2 = firstChange(cap, 1, 0);
    ASSERT_GT(f2, 0);
    EXPECT_EQ(f2 % kPeriod, 0);
    EXPECT_LE(std::llabs(f2 - mute), std::int64_t(kPeriod));
    EXPECT_EQ(at(f2, 1), 0);
    EXPECT_EQ(at(cap.info.frames - 1, 1), 0);

    // The node: the left output leaves the fader's level near the edit and glides to a
    // quarter of it without a step.
    // The glide's first sample is the level it starts from: the change shows one sample
    // after the block boundary where the walk noticed the edit.
    const std::int64_t f3 = firstChange(cap, 0, f1);
    ASSERT_GT(f3, 0);
    EXPECT_EQ((f3 - 1) % kPeriod, 0) << f3;
    EXPECT_LE(std::llabs(f3 - node), std::int64_t(kPeriod));
    const int target = int(std::lround(after * 0.25));
    int largestStep = 0;
    std::int64_t reached = -1;
    for (std::int64_t i = f3; i < cap.info.frames; ++i) {
        largestStep = std::max(largestStep, std::abs(at(i, 0) - at(i - 1, 0)));
        if (reached < 0 && std::abs(at(i, 0) - target) <= 2) reached = i;
    }
    ASSERT_GT(reached, f3) << "the glide never reached the new level " << target;
    EXPECT_GT(reached - f3, 64) << "the level jumped to the node instead of gliding";
    EXPECT_LT(largestStep, (after - target) / 20) << "a step in the glide";
    EXPECT_LE(std::abs(at(cap.info.frames - 1, 0) - target), 2);
}

// Edits every 10 ms on the user-interface thread, of every kind.
std::string busyEdits(double seconds) {
    std::ostringstream e;
    int k = 0;
    for (double t = 0.01; t < seconds; t += 0.01, ++k) {
        switch (k % 7) {
        case 0: e << t << " fader " << k % 3 << " " << 0.5 + 0.1 * (k % 5) << "\n"; break;
        case 1: e << t << " pan " << k % 3 << " " << 0.1 * (k % 10) << "\n"; break;
        case 2: e << t << " mute " << k % 3 << " " << (k % 2 ? "on" : "off") << "\n"; break;
        case 3: e << t << " solo " << k % 3 << " " << (k % 2 ? "on" : "off") << "\n"; break;
        case 4: e << t << " node " << k % 3 << " now " << 0.2 + 0.05 * (k % 10) << "\n"; break;
        case 5: e << t << " move 0 0.5 " << 0.5 + 0.001 * (k % 50) << "\n"; break;
        default: e << t << " erase 2 " << 0.3 << "\n"; break;
        }
    }
    return e.str();
}

std::map<std::string, long> readProbe(const std::string& path) {
    std::map<std::string, long> m;
    std::istringstream in(readText(path));
    for (std::string w; in >> w;) m[w.substr(0, w.find('='))] = std::stol(w.substr(w.find('=') + 1));
    return m;
}

class PlayProbe : public ::testing::Test {
protected:
    void SetUp() override {
        if (std::string(AUDATOMS_RTPROBE_PATH).empty()) GTEST_SKIP() << "no probe under a sanitizer";
        writeInputs(dir);
        writeText(dir.file("s.ini"), kSession);
        writeText(dir.file("edits.txt"), busyEdits(2.0));
    }
    std::map<std::string, long> run(const JackServer& server, const std::vector<std::string>& more) {
        const std::string report = dir.file("probe.txt");
        const RunResult r =
            runToolWithEnv(playArgs(server, dir.file("s.ini"), more),
                           {std::string("LD_PRELOAD=") + AUDATOMS_RTPROBE_PATH, "AUDATOMS_RTPROBE_REPORT=" + report});
        EXPECT_EQ(r.status, 0) << r.err;
        return readProbe(report);
    }
    ScratchDir dir;
};

TEST_F(PlayProbe, NoAllocationAndNoUnspecifiedLockInAnyCallback) {
    JackServer server(kRate, 64, "probe");
    ASSERT_TRUE(server.ready());
    const auto p = run(server, {"--edits", dir.file("edits.txt")});
    EXPECT_GE(p.at("callbacks"), 1400);  // two seconds of 64-frame periods
    EXPECT_EQ(p.at("allocations"), 0);
    EXPECT_EQ(p.at("locks"), 0);
    EXPECT_GT(p.at("allowed_locks"), 0);  // the store's and the registry's locks were seen
}

TEST_F(PlayProbe, SeesAPlantedAllocationAndLock) {
    JackServer server(kRate, 256, "probe-plant");
    ASSERT_TRUE(server.ready());
    const auto a = run(server, {"--test-plant", "alloc", "--seconds", "0.5"});
    EXPECT_GT(a.at("callbacks"), 10);
    EXPECT_GE(a.at("allocations"), a.at("callbacks") - 1);
    const auto l = run(server, {"--test-plant", "lock", "--seconds", "0.5"});
    EXPECT_GE(l.at("locks"), l.at("callbacks") - 1);
    EXPECT_EQ(l.at("allocations"), 0);
}

// A loop: after the loop's end the transport plays from its start again, each pass read
// afresh from the files; without automation or equalisers the mix is a function of the
// input samples alone, so every pass gives the first pass's samples.
TEST(Play, ALoopPlaysTheSameSamplesOnEveryPass) {
    ScratchDir dir;
    writeInputs(dir);
    writeText(dir.file("loop.ini"), "[Session]\nSampleRate=48000\nLength=2\nOutputs=2\n[Inputs]\nFile=st.wav\n"
                                    "File=mono.wav\n[SimpleMixState.InputChannels.Pan]\n000=0.2\n002=0.9\n");
    JackServer server(kRate, 256, "loop");
    ASSERT_TRUE(server.ready());
    const RunResult r = runTool(playArgs(server, dir.file("loop.ini"),
                                         {"--loop", "0.5", "1.0", "--seconds", "4", "--capture", dir.file("cap.wav")}));
    ASSERT_EQ(r.status, 0) << r.err;
    const Audio cap = readAudio(dir.file("cap.wav"));
    ASSERT_GE(cap.info.frames, 72000) << "fewer than one and a half passes captured";
    // Frames 0 .. 48000 are the first pass (0 to 1 s); the next pass is 0.5 to 1 s again.
    for (std::size_t i = 0; i < 24000 * 2; ++i)
        ASSERT_EQ(cap.ints[48000 * 2 + i], cap.ints[24000 * 2 + i]) << "frame " << 48000 + i / 2;
    double energy = 0;
    for (std::size_t i = 48000 * 2; i < 72000 * 2; ++i) energy += cap.samples[i] * cap.samples[i];
    EXPECT_GT(energy, 10.0);
    const nlohmann::json j = parseJson(r);
    EXPECT_EQ(j["underruns"], 0);
    EXPECT_LT(j["frames_played"].get<long>(), 48000);  // still looping at the stop
}

// The benchmark session as files: every input file, automation and a 3-band equaliser on
// each input, eight outputs (four mix buses), and the session renders.
TEST(PlayBenchSession, WritesASessionThatRenders) {
    ScratchDir dir;
    RunResult r = runTool({"-q", "bench", "--write-session", dir.file("bench"), "--inputs", "3", "--seconds", "1"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string ini = readText(dir.file("bench/session.ini"));
    for (const char* want : {"File=input_00.wav", "File=input_02.wav", "[Automation.2]", "[EQ.2]",
                             "Band=lowshelf:", "Band=peaking:", "Band=highshelf:", "Outputs=8", "RouteToOutput"})
        EXPECT_NE(ini.find(want), std::string::npos) << want;
    r = renderWithTool({"-q"}, dir.file("bench/session.ini"), dir.file("mix.wav"));
    ASSERT_EQ(r.status, 0) << r.err;
    const Audio mix = readAudio(dir.file("mix.wav"));
    EXPECT_EQ(mix.info.channels, 8);
    EXPECT_EQ(mix.info.frames, kRate);
    double energy = 0;
    for (double x : mix.samples) energy += x * x;
    EXPECT_GT(energy, 1.0);
}

TEST(PlayBadInput, NoServer) {
    ScratchDir dir;
    writeInputs(dir);
    writeText(dir.file("s.ini"), kSession);
    const auto t0 = std::chrono::steady_clock::now();
    const RunResult r = runTool({"play", dir.file("s.ini"), "--no-ui", "--server", uniqueJackName("none")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("no JACK server is running"), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count(), 10.0);
}

TEST(PlayBadInput, OtherRateUnreadableInputsAndBadEdits) {
    ScratchDir dir;
    JackServer server(kRate, 256, "bad");
    ASSERT_TRUE(server.ready());
    writeDoubles(dir.file("slow.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 44100, std::vector<double>(4410, 0.1));
    writeText(dir.file("slow.ini"), "[Session]\nSampleRate=44100\nLength=1\n[Inputs]\nFile=slow.wav\n");
    RunResult r = runTool(playArgs(server, dir.file("slow.ini")));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("44100 Hz differs from the JACK server's 48000 Hz"), std::string::npos) << r.err;

    writeText(dir.file("notaudio.wav"), "this is text, not audio\n");
    writeText(dir.file("text.ini"), "[Session]\nSampleRate=48000\nLength=1\n[Inputs]\nFile=notaudio.wav\n");
    r = runTool(playArgs(server, dir.file("text.ini")));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("notaudio.wav"), std::string::npos) << r.err;

    writeText(dir.file("missing.ini"), "[Session]\nSampleRate=48000\nLength=1\n[Inputs]\nFile=missing.wav\n");
    r = runTool(playArgs(server, dir.file("missing.ini")));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("missing.wav"), std::string::npos) << r.err;

    writeInputs(dir);
    writeText(dir.file("s.ini"), kSession);
    writeText(dir.file("bad.txt"), "0.5 fader 0 0.5\n0.7 wobble 0 1\n");
    r = runTool(playArgs(server, dir.file("s.ini"), {"--edits", dir.file("bad.txt")}));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("bad.txt:2: unknown edit 'wobble'"), std::string::npos) << r.err;
    writeText(dir.file("bad.txt"), "0.5 fader 7 0.5\n");
    r = runTool(playArgs(server, dir.file("s.ini"), {"--edits", dir.file("bad.txt")}));
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("bad.txt:1: input 7 is not in the session"), std::string::npos) << r.err;
}

TEST(PlayBadInput, ADiskReaderThatCannotKeepUpGivesUnderrunsNotAHang) {
    ScratchDir dir;
    writeInputs(dir);
    writeText(dir.file("s.ini"), kSession);
    JackServer server(kRate, 256, "slowdisk");
    ASSERT_TRUE(server.ready());
    const auto t0 = std::chrono::steady_clock::now();
    // 2048-frame chunks (43 ms) read every 150 ms: a third of real time.
    const RunResult r =
        runTool(playArgs(server, dir.file("s.ini"),
                         {"--test-disk-delay-ms", "150", "--read-ahead", "0.1", "--capture", dir.file("cap.wav")}));
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = parseJson(r);
    EXPECT_GT(j["underruns"].get<long>(), 10);
    EXPECT_LT(wall, 20.0);
    // The played output differs from the offline render (inputs went silent for a while)
    // but the transport kept time: the whole session was played.
    EXPECT_EQ(j["frames_played"], 2 * kRate);
}

}  // namespace
