// Mixed-rate sessions, pull-up and pull-down by the material's frame rate, and the
// resample command.
#include "tests/support/ResamplerSignals.h"
#include "tests/support/ToolTestSupport.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <string>
#include <vector>

using audatoms::test::RunResult;
using audatoms::test::runTool;
using audatoms::test::ScratchDir;

namespace {

// A mono 24-bit file of `frames` frames, silent but for a 0.5 impulse at `at`.
void writeImpulse(const std::string& path, int rate, int frames, int at) {
    std::vector<double> x(std::size_t(frames), 0.0);
    x[std::size_t(at)] = 0.5;
    audatoms::test::writeDoubles(path, SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, rate, x);
}

std::size_t peakIndex(const std::vector<float>& x) {
    std::size_t p = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (std::fabs(x[i]) > std::fabs(x[p])) p = i;
    return p;
}

// Renders the session in this process with input 0 panned hard left and input 1 hard
// right; returns the two outputs.
std::vector<std::vector<float>> renderPanned(const std::string& sessionPath) {
    audtool::RenderJob job = audtool::buildRenderJob(audtool::loadSession(sessionPath));
    job.renderer->mixer().setInputPan(0, 0.0f);
    if (job.renderer->numInputs() > 1) job.renderer->mixer().setInputPan(1, 1.0f);
    audatoms::test::MixCapture cap;
    cap.attach(*job.renderer);
    job.renderer->run();
    return cap.out;
}

}  // namespace

TEST(ToolResample, A44100AndA48000InputRenderTogetherAndTheirImpulsesLineUp) {
    ScratchDir dir;
    // Impulses at 0.1 s (on both grids) and at 44.1 kHz frame 4411 (between 48 kHz frames).
    for (const auto& [at44, at48] : {std::pair<int, int>{4410, 4800}, std::pair<int, int>{4411, 4801}}) {
        SCOPED_TRACE("44.1 kHz impulse at frame " + std::to_string(at44));
        writeImpulse(dir.file("a44.wav"), 44100, 22050, at44);
        writeImpulse(dir.file("b48.wav"), 48000, 24000, at48);
        for (const char* quality : {"quick", "high", "best"}) {
            SCOPED_TRACE(quality);
            audatoms::test::writeText(dir.file("s.ini"), std::string("[Session]\nSampleRate=48000\nLength=0.5\n") +
                                                             "Resampling=" + quality +
                                                             "\n[Inputs]\nFile=a44.wav\nFile=b48.wav\n");
            const auto out = renderPanned(dir.file("s.ini"));
            ASSERT_EQ(out.size(), 2u);
            ASSERT_EQ(out[0].size(), 24000u);
            const std::size_t p44 = peakIndex(out[0]), p48 = peakIndex(out[1]);
            EXPECT_EQ(p48, std::size_t(at48));
            EXPECT_LE(std::max(p44, p48) - std::min(p44, p48), 1u) << p44 << " vs " << p48;
            // Exactly on the grid, the converted impulse is centred on its frame.
            if (at44 == 4410) {
                EXPECT_EQ(p44, 4800u);
            }
        }
    }
    // And through the tool.
    writeImpulse(dir.file("a44.wav"), 44100, 22050, 4410);
    audatoms::test::writeText(dir.file("s.ini"),
                              "[Session]\nSampleRate=48000\nLength=0.5\n[Inputs]\nFile=a44.wav\nFile=b48.wav\n");
    const RunResult r = audatoms::test::renderWithTool({}, dir.file("s.ini"), dir.file("mix.wav"));
    EXPECT_EQ(r.status, 0) << r.err;
    const audatoms::test::Audio mix = audatoms::test::readAudio(dir.file("mix.wav"));
    EXPECT_EQ(mix.info.samplerate, 48000);
    EXPECT_EQ(mix.info.frames, 24000);
}

TEST(ToolResample, AConvertedSineKeepsItsFrequencyAndLevel) {
    ScratchDir dir;
    const std::vector<float> tone = audatoms::test::makeSine(1000.0, 44100.0, 44100, 0.5);
    audatoms::test::writeDoubles(dir.file("t44.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 44100,
                                 std::vector<double>(tone.begin(), tone.end()));
    audatoms::test::writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=1\n[Inputs]\nFile=t44.wav\n");
    const auto out = renderPanned(dir.file("s.ini"));
    const audatoms::test::SineFit fit = audatoms::test::fitSine(out[0].data() + 4000, 40000, 1000.0 / 48000.0);
    EXPECT_NEAR(fit.amplitude, 0.5, 1e-4);  // hard left: the left side at unity
    EXPECT_LT(fit.thdnDb(), -120.0);
}

TEST(ToolResample, MaterialFrameRatePullsUpAndDown) {
    ScratchDir dir;
    writeImpulse(dir.file("m.wav"), 48000, 60000, 48000);  // an impulse 1 s in
    struct Case {
        const char* sessionFps;
        const char* materialFps;  // "" for no [File.0]
        std::size_t expect;       // output frame of the impulse
    };
    const Case cases[] = {
        {"24", "", 48000},       {"24", "24", 48000},
        {"24", "23.976", 47952},  // 1.001 faster: 48000 / 1.001 = 47952.05
        {"23.976", "24", 48048},  // 1.001 slower
        {"30", "29.97", 47952},   // the same pull at video rates
        {"25", "24", 46080},      // 24 fps film at 25 fps: 25/24 faster
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.materialFps) + " fps material in a " + c.sessionFps + " fps session");
        std::string text = std::string("[Session]\nSampleRate=48000\nLength=1.25\nFrameRate=") + c.sessionFps +
                           "\n[Inputs]\nFile=m.wav\n";
        if (*c.materialFps) text += std::string("[File.0]\nFrameRate=") + c.materialFps + "\n";
        audatoms::test::writeText(dir.file("s.ini"), text);
        const auto out = renderPanned(dir.file("s.ini"));
        EXPECT_EQ(peakIndex(out[0]), c.expect);
    }
}

TEST(ToolResample, ResampleCommandWritesTheExactLengthAndReportsInJson) {
    ScratchDir dir;
    const std::vector<float> tone = audatoms::test::makeSine(997.0, 44100.0, 44100, 0.5);
    std::vector<double> stereo;
    for (float v : tone) {
        stereo.push_back(v);
        stereo.push_back(-0.5 * double(v));
    }
    audatoms::test::writeDoubles(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 44100, stereo);
    const RunResult r = runTool({"--json", "--quiet", "resample", dir.file("in.wav"), "-o", dir.file("out.wav"),
                                 "--rate", "48000", "--quality", "high"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["input_frames"], 44100);
    EXPECT_EQ(j["output_frames"], 48000);
    EXPECT_EQ(j["ratio"][0], 160);
    EXPECT_EQ(j["ratio"][1], 147);
    EXPECT_EQ(j["quality"], "high");
    EXPECT_EQ(j["channels"], 2);
    const audatoms::test::Audio a = audatoms::test::readAudio(dir.file("out.wav"));
    EXPECT_EQ(a.info.samplerate, 48000);
    ASSERT_EQ(a.info.frames, 48000);
    std::vector<float> left, right;
    for (std::size_t i = 0; i + 1 < a.samples.size(); i += 2) {
        left.push_back(float(a.samples[i]));
        right.push_back(float(a.samples[i + 1]));
    }
    const auto fl = audatoms::test::fitSine(left.data() + 2000, 44000, 997.0 / 48000.0);
    const auto fr = audatoms::test::fitSine(right.data() + 2000, 44000, 997.0 / 48000.0);
    EXPECT_NEAR(fl.amplitude, 0.5, 1e-5);
    EXPECT_NEAR(fr.amplitude, 0.25, 1e-5);
    EXPECT_LT(fl.thdnDb(), -120.0);  // 24-bit output: about -135 dB of rounding

    // A pull: 1001/1000 plays faster and shorter; --factor 1000/1001 slower and longer.
    const RunResult up = runTool({"--json", "--quiet", "resample", dir.file("in.wav"), "-o", dir.file("up.wav"),
                                  "--rate", "44100", "--factor", "1001/1000", "--quality", "quick"});
    ASSERT_EQ(up.status, 0) << up.err;
    EXPECT_EQ(nlohmann::json::parse(up.out)["output_frames"], 44100 * 1000 / 1001);
    EXPECT_EQ(audatoms::test::readAudio(dir.file("up.wav")).info.frames, 44100 * 1000 / 1001);
}

TEST(ToolResample, ResampleCommandRefusesBadArgumentsAndLeavesNoFile) {
    ScratchDir dir;
    audatoms::test::writeDoubles(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 48000,
                                 std::vector<double>(4800, 0.25));
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--rate", "12345"}, "12345"},
        {{"--rate", "48000", "--quality", "ultra"}, "--quality 'ultra' is not quick, high or best"},
        {{"--rate", "48000", "--factor", "3"}, "--factor '3' is not a speed change"},
        {{"--rate", "5512"}, "5512"},
        {{"--rate", "11025", "--factor", "2"}, "beyond 8:1"},
    };
    for (const auto& [extra, expect] : cases) {
        SCOPED_TRACE(expect);
        std::vector<std::string> args = {"resample", dir.file("in.wav"), "-o", dir.file("out.wav")};
        args.insert(args.end(), extra.begin(), extra.end());
        const RunResult r = runTool(args);
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_NE(r.err.find(expect), std::string::npos) << r.err;
        EXPECT_FALSE(std::filesystem::exists(dir.file("out.wav")));
    }
    const RunResult missing = runTool({"resample", dir.file("none.wav"), "-o", dir.file("out.wav"), "--rate", "44100"});
    EXPECT_EQ(missing.status, 2);
    const RunResult noDir =
        runTool({"resample", dir.file("in.wav"), "-o", dir.file("nodir/out.wav"), "--rate", "44100"});
    EXPECT_EQ(noDir.status, 1) << noDir.err;
}
