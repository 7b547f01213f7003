// Rendering: the unity session reproduces a 24-bit input bit for bit; a session with
// known automation levels, faders, pans and routes gives, sample by sample, the values
// worked out here from the rules (gains from the fader and pan laws, sums in input
// order, the export's truncation); each sample of a level ramp gets the level of its
// place in the run; an edit between blocks glides; the denormal guard keeps filter
// tails out of the subnormal range and restores the previous mode; other output sample
// types. The relations that automation keeps across block lengths, time shifts and
// edits are in audatoms_tool_automation_test.cpp.
#include "tools/AudioFileWriter.h"
#include "tools/RenderJob.h"
#include "tools/Renderer.h"
#include "tools/Synth.h"

#include "tests/support/ToolTestSupport.h"

#include "AudAtoms/kernels/Aud__GainCurve.h"
#include "platform/FloatingPointMode.h"

#include <cmath>
#include <numbers>
#include <random>

using namespace audtool;
using audatoms::test::ScratchDir;

namespace {

// Random packed 24-bit samples, salted with both extremes.
std::vector<int> random24(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int> v(n);
    for (auto& s : v) s = int(rng() % 16777216) - 8388608;
    v[0] = 8388607;
    v[1] = -8388608;
    v[2] = 0;
    v[3] = -1;
    return v;
}

// The export rule of a float sample to packed 24-bit.
std::int32_t export24(float x) {
    if (x > 0.9999999f) return 0x7FFFFF;
    if (x < -1.0f) return -0x800000;
    return std::max(std::int32_t(x * 8388608.0f), -8388608);
}

// Mixer fader law: dB piecewise linear in uval * 72 through the anchors, mag = 10^(dB/20).
float faderGain(double uval) {
    const double x[] = {0, 3, 11, 20, 49, 60, 72, 87, 100}, db[] = {-145, -60, -40, -30, -10, -5, 0, 5, 10};
    const double u = uval * 72;
    int k = 0;
    while (k < 7 && u > x[k + 1]) ++k;
    return float(std::pow(10.0, (db[k] + (db[k + 1] - db[k]) * (u - x[k]) / (x[k + 1] - x[k])) / 20.0));
}

std::string session(const std::string& body) { return body; }

}  // namespace

TEST(ToolRender, UnitySessionReproducesA24BitInputBitForBit) {
    ScratchDir dir;
    const int frames = 48000 + 1920 + 77;  // a partial last block too
    std::vector<int> in = random24(frames, 1);
    std::vector<int> scaled(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) scaled[i] = in[i] * 256;  // libsndfile's int scale is 2^31
    audatoms::test::writeInts(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, 48000, scaled);
    audatoms::test::writeText(dir.file("unity.ini"),
                              "[Session]\nSampleRate=48000\nLength=" + std::to_string(double(frames) / 48000) +
                                  "\n[Inputs]\nFile=in.wav\n");
    const auto r = audatoms::test::renderWithTool({"--quiet"}, dir.file("unity.ini"), dir.file("out.wav"));
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::int32_t> out = audatoms::test::rawInt24(dir.file("out.wav"));
    ASSERT_EQ(out.size(), std::size_t(frames) * 2);
    for (int i = 0; i < frames; ++i) {
        ASSERT_EQ(out[2 * i], in[i]) << "left, frame " << i;
        ASSERT_EQ(out[2 * i + 1], in[i]) << "right, frame " << i;
    }
}

TEST(ToolRender, KnownGainsGiveTheComputedSamples) {
    ScratchDir dir;
    const int frames = 9600 + 5;
    const std::vector<int> a = random24(frames, 2);             // mono, input 0
    std::vector<int> b = random24(std::size_t(frames) * 2, 3);  // stereo, inputs 1 and 2
    for (int& s : b) s = (s / 256) * 256;                       // 16-bit values in 24-bit units
    std::vector<int> a31(a.size()), b31(b.size());
    for (std::size_t i = 0; i < a.size(); ++i) a31[i] = a[i] * 256;
    for (std::size_t i = 0; i < b.size(); ++i) b31[i] = b[i] * 256;
    audatoms::test::writeInts(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, 48000, a31);
    audatoms::test::writeInts(dir.file("b.aiff"), SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 48000, b31);
    audatoms::test::writeText(dir.file("gains.ini"), session(R"(
[Session]
SampleRate=48000
Length=)" + std::to_string(double(frames) / 48000) + R"(
Outputs=4
[Inputs]
File=a.wav     ; input 0
File=b.aiff    ; inputs 1 and 2
[Automation.0]
0=0.5
10=0.5
[SimpleMixState.InputChannels.Pan]
000=0.25
001=0.0
002=1.0
[SimpleMixState.InputChannels.Fader]
002=0.5
[SimpleMixState.InputChannels.RouteToMix]
002->01=1
[SimpleMixState.MixChannels.RouteToOutput]
01L->04=1
01R->05=1
)"));
    const auto r = audatoms::test::renderWithTool({"--quiet"}, dir.file("gains.ini"), dir.file("out.wav"));
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::int32_t> out = audatoms::test::rawInt24(dir.file("out.wav"));
    ASSERT_EQ(out.size(), std::size_t(frames) * 4);

    // Gains: input 0 at pan 0.25 is left 1.0, right sin(pi/4) (constant-power law at
    // 0.5); input 1 at pan 0 is left 1, right 0; input 2 at pan 1 is left 0, right
    // fader(0.5); mix faders 1.0 (unity). Automation holds input 0 at 0.5.
    // The pan gain at 0.5 is a node of the constant-power table, so exactly the law's
    // value; the fader gain is the mixer curve's table lookup (node 499 of the 0.001
    // grid plus its slope, as 0.5f / 0.001f truncates to 499), within a few float steps
    // of the law: the test takes the curve's value and checks it against the law.
    const float r0 = float(std::sin(0.5 * std::numbers::pi / 2));
    ASSERT_EQ(r0, Aud::GainCurve::ConstantPower1::UVal2Mag(0.5f));
    const float g2 = Aud::GainCurve::MixerStyleLog1::UVal2Mag(0.5f);
    ASSERT_NEAR(g2, faderGain(0.5), 1e-6 * faderGain(0.5));
    for (int i = 0; i < frames; ++i) {
        const float x0 = float(a[i]) / 8388608.0f * 0.5f;
        const float x1 = float(b[2 * i]) / 8388608.0f;
        const float x2 = float(b[2 * i + 1]) / 8388608.0f;
        const float mainL = x0 + x1;            // 0 + x0 * 1, + x1 * 1
        const float mainR = x0 * r0 + x2 * g2;  // input 1 adds nothing on the right
        const float mix0R = x2 * g2;
        ASSERT_EQ(out[4 * i + 0], export24(mainL)) << "frame " << i;
        ASSERT_EQ(out[4 * i + 1], export24(mainR)) << "frame " << i;
        ASSERT_EQ(out[4 * i + 2], 0) << "frame " << i;
        ASSERT_EQ(out[4 * i + 3], export24(mix0R)) << "frame " << i;
    }
}

namespace {

// The outputs collected as floats (and checked finite).
using Capture = audatoms::test::MixCapture;

std::unique_ptr<Renderer> constantInputRenderer(float value, double seconds) {
    std::vector<std::unique_ptr<AudioSource>> sources;
    sources.push_back(
        makeMemorySource("dc", 0, false, 48000, {std::vector<float>(std::size_t(seconds * 48000), value)}));
    RenderConfig c;
    c.totalFrames = std::int64_t(seconds * 48000);
    return std::make_unique<Renderer>(c, std::move(sources));
}

}  // namespace

TEST(ToolRender, ALevelRampGivesEachSampleTheLevelOfItsPlaceInTheRun) {
    // Automation 0 -> 1 over the first second on a constant 0.5: the walk hands out one
    // run of 48 000 samples with delta 1 / 48000, and sample j of it gets
    // 0 + float(j) * delta, whatever block (the 25 fps cadence, 1920) it falls in.
    auto r = constantInputRenderer(0.5f, 1.5);
    auto store = makeStore({{0.0, 0.0f}, {1.0, 1.0f}});
    r->setAutomation(0, store.get());
    Capture cap;
    cap.attach(*r);
    r->run();
    const float delta = (1.0f - 0.0f) / float(48000u);
    for (int j = 0; j < 48000; ++j) {
        const float product = float(j) * delta;  // rounded on its own, then the sum
        const float level = 0.0f + product;
        ASSERT_EQ(cap.out[0][j], 0.5f * level) << "sample " << j;
    }
    // From the node on the level is the node's own, 1.0.
    for (int i = 48000; i < 72000; ++i) ASSERT_EQ(cap.out[0][i], 0.5f) << i;
}

TEST(ToolRender, AnEditBetweenBlocksGlidesToTheEditedLine) {
    auto r = constantInputRenderer(0.5f, 2.0);
    auto store = makeStore({{0.0, 1.0f}, {2.0, 1.0f}});
    r->setAutomation(0, store.get());
    const std::int64_t editAt = 19200;  // the start of block 10
    r->setBlockHook([&](std::int64_t frame) {
        if (frame == editAt) store->insert(Aud::DynamicLevelControl::Store::Node(0.5, 0.25f));
    });
    Capture cap;
    cap.attach(*r);
    r->run();
    const auto& y = cap.out[0];
    for (std::int64_t i = 0; i < editAt; ++i) ASSERT_EQ(y[i], 0.5f) << i;  // before the edit: unity
    // The glide: 0.01 s = 480 samples, from the old level to the edited line 0.01 s on,
    // falling steadily.
    const double lineAt = [&] {
        const double t = double(editAt) / 48000 + 0.01;  // 0.41 s, on the 0 -> 0.5 s segment
        return 1.0 + (0.25 - 1.0) * (t / 0.5);
    }();
    for (std::int64_t i = editAt + 1; i < editAt + 480; ++i) ASSERT_LT(y[i], y[i - 1]) << i;
    EXPECT_NEAR(y[editAt + 480] / 0.5, lineAt, 2e-3);
    // After the glide the level follows the edited line: 0.25 at 0.5 s, back to 1 at 2 s.
    EXPECT_NEAR(y[24000] / 0.5, 0.25, 2e-3);
    EXPECT_NEAR(y[72000] / 0.5, 0.25 + 0.75 * (1.5 - 0.5) / (2.0 - 0.5), 2e-3);
}

TEST(ToolRender, TheDenormalGuardKeepsFilterTailsOutOfTheSubnormalRange) {
    // An impulse, then 4 s of silence through low, narrow bands that ring for long.
    const unsigned frames = 48000 * 4;
    std::vector<float> impulse(frames, 0.0f);
    impulse[0] = 1.0f;
    const std::vector<EqBandSettings> bands = {parseEqBand("peaking:40:q=2:+9"), parseEqBand("lowpass:60")};
    auto countSubnormal = [](const std::vector<float>& v) {
        std::size_t n = 0;
        for (float s : v) n += s != 0.0f && std::fabs(s) < std::numeric_limits<float>::min();
        return n;
    };
    // Without the guard the same equaliser produces subnormal samples (so the check
    // below can fail).
    ASSERT_FALSE(platform::ScopedFlushDenormals::active());
    {
        Equaliser eq(bands, 48000);
        std::vector<float> y = impulse;
        eq.process(y.data(), frames);
        ASSERT_GT(countSubnormal(y), 100u);
    }
    std::vector<std::unique_ptr<AudioSource>> sources;
    sources.push_back(makeMemorySource("impulse", 0, false, 48000, {impulse}));
    RenderConfig c;
    c.totalFrames = frames;
    Renderer r(c, std::move(sources));
    r.setEqualiser(0, Equaliser(bands, 48000));
    Capture cap;
    cap.attach(r);
    bool guarded = true;
    r.setBlockHook([&](std::int64_t) { guarded = guarded && platform::ScopedFlushDenormals::active(); });
    r.run();
    EXPECT_TRUE(guarded);
    EXPECT_FALSE(platform::ScopedFlushDenormals::active());  // restored
    EXPECT_EQ(countSubnormal(cap.out[0]), 0u);
    EXPECT_NE(cap.out[0][100], 0.0f);  // the filter did ring
}

TEST(ToolRender, EqualisersFilteredTogetherGiveWhatEachGivesAlone) {
    // Eight inputs: five with three bands (one lane group and one left over), one with
    // one band, one with two, one without; every input to the main mix at unity, so the
    // left output is their sum in input order.
    const unsigned frames = 48000 / 2 + 7;
    const char* bandTexts[8][3] = {{"ls:120:+4", "peak:1k:q=2:-6", "hs:6k:+3"},
                                   {"hp:80", "notch:3k:q=4", "lp:12k"},
                                   {"peak:300:q=0.7:+9", nullptr, nullptr},
                                   {"bp:2k:bw=1", "ap:500", "hs:10k:s=0.5:-4"},
                                   {nullptr, nullptr, nullptr},
                                   {"lp:500", "lp:800", "peak:200:+12"},
                                   {"bps:900:q=3", "ls:60:-8", nullptr},
                                   {"peak:5k:q=1:+2", "peak:7k:q=1:-2", "hp:30"}};
    std::mt19937 rng(21);
    std::uniform_real_distribution<float> u(-0.1f, 0.1f);
    std::vector<std::vector<float>> inputs(8, std::vector<float>(frames));
    for (auto& ch : inputs)
        for (float& v : ch) v = u(rng);
    std::vector<std::vector<EqBandSettings>> bands(8);
    for (unsigned c = 0; c < 8; ++c)
        for (const char* t : bandTexts[c])
            if (t) bands[c].push_back(parseEqBand(t));

    std::vector<float> expected(frames, 0.0f);
    {
        platform::ScopedFlushDenormals guard;  // as the render runs
        for (unsigned c = 0; c < 8; ++c) {
            std::vector<float> y = inputs[c];
            if (!bands[c].empty()) Equaliser(bands[c], 48000).process(y.data(), frames);
            for (unsigned i = 0; i < frames; ++i) expected[i] += y[i];
        }
    }

    std::vector<std::unique_ptr<AudioSource>> sources;
    sources.push_back(makeMemorySource("eight", 0, false, 48000, inputs));
    RenderConfig c;
    c.totalFrames = frames;
    Renderer r(c, std::move(sources));
    for (unsigned k = 0; k < 8; ++k)
        if (!bands[k].empty()) r.setEqualiser(k, Equaliser(bands[k], 48000));
    Capture cap;
    cap.attach(r);
    r.run();
    ASSERT_EQ(cap.out[0].size(), frames);
    for (unsigned i = 0; i < frames; ++i) ASSERT_EQ(cap.out[0][i], expected[i]) << "frame " << i;
}

TEST(ToolRender, SixteenBitAndUnpackedOutputsCarryTheSameMix) {
    ScratchDir dir;
    const int frames = 4000;
    std::vector<int> in = random24(frames, 9);
    for (int& s : in) s *= 256;
    audatoms::test::writeInts(dir.file("in.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, 48000, in);
    audatoms::test::writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=" +
                                                     std::to_string(frames / 48000.0) + "\n[Inputs]\nFile=in.wav\n");
    ASSERT_EQ(
        audatoms::test::renderWithTool({"-q"}, dir.file("s.ini"), dir.file("o16.wav"), {"--sample-type", "16"}).status,
        0);
    const auto r =
        audatoms::test::renderWithTool({"-q"}, dir.file("s.ini"), dir.file("o.raw"), {"--sample-type", "24-unpacked"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("assertion failed"), std::string::npos);  // the per-sample reports are not shown
    const audatoms::test::Audio a16 = audatoms::test::readAudio(dir.file("o16.wav"));
    ASSERT_EQ(a16.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
    const std::string raw = audatoms::test::readText(dir.file("o.raw"));
    ASSERT_EQ(raw.size(), std::size_t(frames) * 2 * 4);
    for (int i = 0; i < frames; ++i) {
        const int s24 = in[i] / 256;
        // 16-bit: trunc(x * 32768) of x = s24 / 2^23, that is s24 / 256 toward zero.
        ASSERT_EQ(a16.ints[2 * i] / 65536, s24 / 256) << i;
        std::int32_t w;
        std::memcpy(&w, raw.data() + 8 * i, 4);
        ASSERT_EQ(w, s24) << i;  // sign-extended 24-bit in 4 little-endian bytes
    }
}
