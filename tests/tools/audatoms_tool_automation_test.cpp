// Level automation as the host applies it: every sample's gain depends only on its place
// in its run of the level iterator, never on where blocks fall. So a ramp stays within
// 2 LSB (24-bit) of its straight line, never turns back and ends exactly on its node's
// level; a session renders to the same samples at every frame rate and fixed block
// length, with and without an equaliser after the automation; a session shifted in time
// together with its automation renders to the same samples shifted; and an automation
// edit made between blocks glides the same at every block length. The renderer plays
// forwards; the reverse play of the same applier is checked on its own.
#include "tools/AutomationApplier.h"
#include "tools/RenderJob.h"
#include "tools/Renderer.h"
#include "tools/Synth.h"

#include "tests/support/ToolTestSupport.h"

#include "platform/FloatingPointMode.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <random>

using namespace audtool;
using audatoms::test::ScratchDir;
using Store = Aud::DynamicLevelControl::Store;

namespace {

constexpr unsigned kRate = 48000;
constexpr double kLsb = 8388608.0;  // 24-bit steps per unit of full scale

// A render set up in this process: mono inputs, each with its own automation and
// equaliser (none when empty), the blocks, and optionally one automation edit.
struct RenderSetup {
    std::vector<std::vector<float>> inputs;  // all one length
    std::vector<std::vector<AutomationPoint>> automation;
    std::vector<std::vector<std::string>> eq;  // band texts
    Qm::FrameRate frameRate = Qm::FrameRate25;
    unsigned blockFrames = 0;  // 0: one block per video frame
    // At the block that starts at editAt, this node goes into input 0's store.
    std::int64_t editAt = -1;
    AutomationPoint edit;
};

struct Mix {
    std::vector<std::vector<float>> out;  // per output channel
    std::int64_t blocks = 0;
    bool edited = false;
};

Mix render(const RenderSetup& s) {
    std::vector<std::unique_ptr<AudioSource>> sources;
    for (std::size_t i = 0; i < s.inputs.size(); ++i)
        sources.push_back(makeMemorySource("in" + std::to_string(i), 0, false, kRate, {s.inputs[i]}));
    RenderConfig c;
    c.totalFrames = std::int64_t(s.inputs.at(0).size());
    c.frameRate = s.frameRate;
    c.blockFrames = s.blockFrames;
    Renderer r(c, std::move(sources));
    std::vector<std::unique_ptr<Store>> stores(s.inputs.size());
    for (std::size_t i = 0; i < s.automation.size(); ++i) {
        if (s.automation[i].empty()) continue;
        stores[i] = makeStore(s.automation[i]);
        r.setAutomation(unsigned(i), stores[i].get());
    }
    for (std::size_t i = 0; i < s.eq.size(); ++i) {
        if (s.eq[i].empty()) continue;
        std::vector<EqBandSettings> bands;
        for (const std::string& b : s.eq[i]) bands.push_back(parseEqBand(b));
        r.setEqualiser(unsigned(i), Equaliser(bands, float(kRate)));
    }
    Mix m;
    if (s.editAt >= 0) {
        r.setBlockHook([&](std::int64_t frame) {
            if (frame != s.editAt) return;
            stores.at(0)->insert(Store::Node(s.edit.time, s.edit.level));
            m.edited = true;
        });
    }
    audatoms::test::MixCapture cap;
    cap.attach(r);
    m.blocks = r.run().blocks;
    m.out = std::move(cap.out);
    return m;
}

// The first frame (from `from`) at which b, read from frame `shift` on, differs bit for
// bit from a on any output; -1 when they agree everywhere.
std::int64_t firstDifference(const Mix& a, const Mix& b, std::int64_t shift = 0, std::int64_t from = 0) {
    for (std::size_t k = 0; k < a.out.size(); ++k) {
        if (b.out.at(k).size() != a.out[k].size() + std::size_t(shift)) return std::int64_t(a.out[k].size());
        for (std::size_t i = std::size_t(from); i < a.out[k].size(); ++i)
            if (std::bit_cast<std::uint32_t>(a.out[k][i]) != std::bit_cast<std::uint32_t>(b.out[k][i + shift]))
                return std::int64_t(i);
    }
    return -1;
}

std::vector<float> noise(std::size_t n, unsigned seed, float amplitude) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-amplitude, amplitude);
    std::vector<float> v(n);
    for (float& x : v) x = u(rng);
    return v;
}

// Two inputs over 3 s with busy automation: ramps of many lengths and both directions, a
// 10 ms ramp, nodes closer than one sample, ramps ending in the middle of blocks.
RenderSetup busySession(bool withEq) {
    RenderSetup s;
    const std::size_t n = 3 * kRate;
    s.inputs = {noise(n, 7, 0.5f), sine(kRate, 3.0, 440.0, 0.4)};
    s.automation = {{{0.0, 0.0f},
                     {0.37, 1.0f},
                     {0.38, 0.5f},
                     {1.2, 0.25f},
                     {1.90001, 0.25f},
                     {1.9000101, 0.6f},
                     {2.6, 0.9f},
                     {2.99, 0.0f}},
                    {{0.1, 1.0f}, {0.7, 0.2f}, {2.2, 1.3f}}};
    if (withEq) s.eq = {{"peaking:1k:q=1:+9", "lowpass:3k"}, {"highshelf:2k:-6", "hp:100"}};
    return s;
}

const Qm::FrameRate kFrameRates[] = {Qm::FrameRate23_976, Qm::FrameRate24, Qm::FrameRate25,   Qm::FrameRate29_97,
                                     Qm::FrameRate30,     Qm::FrameRate50, Qm::FrameRate59_94};
const unsigned kBlockLengths[] = {1, 17, 64, 256, 1024, 4096};

// A ramp from one node to the next on a constant input.
struct Ramp {
    float from, to;
    double seconds;
};
const Ramp kRamps[] = {{0.0f, 1.0f, 1.0}, {1.0f, 0.0f, 1.0}, {0.0f, 1.0f, 0.01}, {1.0f, 0.0f, 0.01}};

std::string rampName(const Ramp& r) {
    char text[64];
    std::snprintf(text, sizeof text, "%g -> %g over %g s", double(r.from), double(r.to), r.seconds);
    return text;
}

// Checks y[start .. start + n] (the ramp's n samples and the node's), in 24-bit steps,
// against the straight line from scale * from to scale * to: within 2 steps, never
// turning back; and that y holds nodeValue exactly from the node (start + n) on.
// Returns the largest deviation.
double checkRamp(const Ramp& r, const std::vector<double>& y, std::size_t start, std::size_t n, double scale,
                 double nodeValue) {
    double worst = 0.0;
    const bool rising = r.to > r.from;
    for (std::size_t j = 0; j <= n; ++j) {
        const double line = scale * (r.from + (double(r.to) - r.from) * double(j) / double(n));
        const double dev = std::fabs(y[start + j] - line);
        worst = std::max(worst, dev);
        EXPECT_LE(dev, 2.0) << rampName(r) << ": sample " << j << " is " << dev << " LSB off the line";
        if (j > 0) {
            if (rising) EXPECT_GE(y[start + j], y[start + j - 1]) << rampName(r) << ": turns back at " << j;
            else EXPECT_LE(y[start + j], y[start + j - 1]) << rampName(r) << ": turns back at " << j;
        }
        if (::testing::Test::HasFailure()) return worst;
    }
    for (std::size_t i = start + n; i < y.size(); ++i) {
        if (y[i] == nodeValue) continue;
        ADD_FAILURE() << rampName(r) << ": sample " << i - start << " is " << y[i] << ", not the node's " << nodeValue;
        break;
    }
    return worst;
}

}  // namespace

TEST(ToolAutomation, RampsStayOnTheirLineAndEndExactlyOnTheNodesLevel) {
    for (const Ramp& r : kRamps) {
        const auto n = std::size_t(r.seconds * kRate);  // the walk's count: 48 000 or 480
        ASSERT_EQ(n, r.seconds == 1.0 ? 48000u : 480u);
        for (unsigned block : {0u, 17u}) {
            RenderSetup s;
            s.inputs = {std::vector<float>(n + kRate / 2, 0.5f)};
            s.automation = {{{0.0, r.from}, {r.seconds, r.to}}};
            s.blockFrames = block;
            const Mix m = render(s);
            std::vector<double> y(m.out[0].begin(), m.out[0].end());
            for (double& v : y) v *= kLsb;  // in 24-bit steps
            SCOPED_TRACE(block ? "blocks of 17" : "25 fps");
            const double worst = checkRamp(r, y, 0, n, 0.5 * kLsb, double(0.5f * r.to) * kLsb);
            std::printf("[ measured ] %s, %s: float mix at most %.3f LSB (24-bit) from the line\n", rampName(r).c_str(),
                        block ? "blocks of 17" : "25 fps", worst);
        }
    }
}

TEST(ToolAutomation, RampsWrittenAs24BitStayOnTheirLineAndEndExactlyOnTheNodesLevel) {
    // As a user renders them: a 24-bit file of constant 0.5 through the tool, the ramp's
    // end node at its time; the 24-bit export truncates toward zero, so up to one more LSB.
    ScratchDir dir;
    const int frames = 72000;
    audatoms::test::writeInts(dir.file("half.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, int(kRate),
                              std::vector<int>(frames, 4194304 * 256));
    for (const Ramp& r : kRamps) {
        SCOPED_TRACE(rampName(r));
        char text[400];
        std::snprintf(text, sizeof text,
                      "[Session]\nSampleRate=48000\nLength=1.5\n[Inputs]\nFile=half.wav\n[Automation.0]\n0=%g\n%g=%g\n",
                      double(r.from), r.seconds, double(r.to));
        audatoms::test::writeText(dir.file("ramp.ini"), text);
        const auto res = audatoms::test::renderWithTool({"--quiet"}, dir.file("ramp.ini"), dir.file("ramp.wav"));
        ASSERT_EQ(res.status, 0) << res.err;
        const std::vector<std::int32_t> out = audatoms::test::rawInt24(dir.file("ramp.wav"));
        ASSERT_EQ(out.size(), std::size_t(frames) * 2);
        std::vector<double> left;
        for (int i = 0; i < frames; ++i) {
            ASSERT_EQ(out[2 * i], out[2 * i + 1]) << i;
            left.push_back(out[2 * i]);
        }
        const auto n = std::size_t(r.seconds * kRate);
        const double worst = checkRamp(r, left, 0, n, 4194304.0, r.to * 4194304.0);
        std::printf("[ measured ] %s: 24-bit file at most %.3f LSB from the line\n", rampName(r).c_str(), worst);
    }
}

TEST(ToolAutomation, EveryFrameRateAndBlockLengthGivesTheSameSamples) {
    for (const bool withEq : {false, true}) {
        SCOPED_TRACE(withEq ? "with equalisers" : "without equalisers");
        RenderSetup s = busySession(withEq);
        s.frameRate = Qm::FrameRate25;
        const Mix reference = render(s);
        for (Qm::FrameRate fr : kFrameRates) {
            s.frameRate = fr;
            s.blockFrames = 0;
            const Mix m = render(s);
            EXPECT_EQ(firstDifference(reference, m), -1) << "frame rate code " << int(fr);
        }
        s.frameRate = Qm::FrameRate25;
        for (unsigned b : kBlockLengths) {
            s.blockFrames = b;
            const Mix m = render(s);
            EXPECT_EQ(firstDifference(reference, m), -1) << "blocks of " << b;
        }
        // The automation is really at work: the mix is not the plain sum of the inputs.
        EXPECT_NE(reference.out[0][24000], s.inputs[0][24000] + s.inputs[1][24000]);
    }
}

TEST(ToolAutomation, EveryFrameRateWritesTheSameFileThroughTheTool) {
    ScratchDir dir;
    const std::vector<float> x = noise(2 * kRate, 3, 0.5f);
    std::vector<int> ints;
    for (float v : x) ints.push_back(int(std::lround(v * 8388607.0)) * 256);
    audatoms::test::writeInts(dir.file("noise.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, int(kRate), ints);
    std::string reference;
    for (const char* fps : {"25", "23.976", "24", "29.97", "30", "50", "59.94"}) {
        SCOPED_TRACE(std::string("FrameRate=") + fps);
        audatoms::test::writeText(dir.file("s.ini"), std::string("[Session]\nSampleRate=48000\nLength=2\nFrameRate=") +
                                                         fps +
                                                         "\n[Inputs]\nFile=noise.wav\n[Automation.0]\n0=0\n0.7=1\n"
                                                         "0.71=-6dB\n1.3=0.2\n1.9=1\n[EQ.0]\nBand=peaking:1k:q=1:+9\n");
        const auto r = audatoms::test::renderWithTool({"--quiet"}, dir.file("s.ini"), dir.file("out.wav"));
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string bytes = audatoms::test::readText(dir.file("out.wav"));
        ASSERT_GT(bytes.size(), std::size_t(2 * kRate) * 6);
        if (reference.empty()) reference = bytes;
        else EXPECT_TRUE(bytes == reference) << "the file differs from the 25 fps one";
    }
}

TEST(ToolAutomation, ShiftingTheInputsAndTheAutomationShiftsTheMix) {
    // Node times sit a quarter or three quarters of a sample past a sample, alternately,
    // so that the walk's truncated counts (node time x rate) put each node on the same
    // sample relative to the inputs however far the session is shifted.
    struct Node {
        std::int64_t sample;
        double fraction;
        float level;
    };
    const std::vector<Node> nodes0 = {{100, 0.25, 0.0f},    {30000, 0.75, 1.0f},  {60000, 0.25, 0.3f},
                                      {60480, 0.75, 0.9f},  {90000, 0.25, 0.9f},  {100000, 0.75, 0.5f},
                                      {100001, 0.25, 0.7f}, {130000, 0.75, 0.05f}};
    const std::vector<Node> nodes1 = {{5000, 0.75, 1.2f}, {70000, 0.25, 0.1f}, {140000, 0.75, 1.0f}};
    auto automation = [](const std::vector<Node>& nodes, std::int64_t shift) {
        std::vector<AutomationPoint> pts;
        for (const Node& n : nodes)
            pts.push_back({(double(shift + n.sample) + n.fraction) / double(kRate), n.level, 0});
        return pts;
    };
    const std::size_t n = 3 * kRate;
    const std::vector<float> a = noise(n, 11, 0.5f), b = sine(kRate, 3.0, 330.0, 0.5);
    for (const bool withEq : {false, true}) {
        for (unsigned block : {0u, 256u}) {
            SCOPED_TRACE(std::string(withEq ? "with" : "without") + " equalisers, " +
                         (block ? "blocks of 256" : "25 fps"));
            RenderSetup s;
            s.inputs = {a, b};
            s.automation = {automation(nodes0, 0), automation(nodes1, 0)};
            if (withEq) s.eq = {{"peaking:2k:q=2:+6"}, {"lowshelf:200:+3", "lp:5k"}};
            s.blockFrames = block;
            const Mix reference = render(s);
            for (std::int64_t shift : {1, 3, 1000, 48000}) {
                RenderSetup t = s;
                for (auto& in : t.inputs) in.insert(in.begin(), std::size_t(shift), 0.0f);
                t.automation = {automation(nodes0, shift), automation(nodes1, shift)};
                const Mix shifted = render(t);
                EXPECT_EQ(firstDifference(reference, shifted, shift), -1) << "shifted by " << shift << " frames";
                for (const auto& ch : shifted.out)
                    for (std::int64_t i = 0; i < shift; ++i) ASSERT_EQ(ch[std::size_t(i)], 0.0f) << i;
            }
        }
    }
}

TEST(ToolAutomation, AnEditBetweenBlocksGlidesTheSameAtEveryBlockLength) {
    // A ramp 0 -> 1 over 2 s; during it a node goes in at 1.7 s, made before frame
    // editAt, a block start at every block length of the group.
    RenderSetup s;
    s.inputs = {noise(2 * kRate + 4000, 5, 0.5f)};
    s.automation = {{{0.0, 0.0f}, {2.0, 1.0f}}};
    s.eq = {{"peaking:1k:q=1:+9"}};
    s.edit = {1.7, 0.2f, 0};
    const Mix unedited = render(s);
    struct Group {
        std::int64_t editAt;
        std::vector<std::pair<Qm::FrameRate, unsigned>> blocks;
    };
    const Group groups[] = {
        {17 * 4096,
         {{Qm::FrameRate25, 1},
          {Qm::FrameRate25, 17},
          {Qm::FrameRate25, 64},
          {Qm::FrameRate25, 256},
          {Qm::FrameRate25, 1024},
          {Qm::FrameRate25, 4096}}},
        {48000,
         {{Qm::FrameRate24, 0},
          {Qm::FrameRate25, 0},
          {Qm::FrameRate30, 0},
          {Qm::FrameRate50, 0},
          {Qm::FrameRate25, 1},
          {Qm::FrameRate25, 64},
          {Qm::FrameRate25, 960}}},
    };
    for (const Group& g : groups) {
        SCOPED_TRACE("edit at frame " + std::to_string(g.editAt));
        s.editAt = g.editAt;
        Mix first;
        for (const auto& [fr, block] : g.blocks) {
            s.frameRate = fr;
            s.blockFrames = block;
            const Mix m = render(s);
            ASSERT_TRUE(m.edited) << "no block started at frame " << g.editAt;
            // Up to the edit the mix is the unedited one. The glide starts from the level
            // the ramp has reached, so the first sample to differ is the one after it.
            EXPECT_EQ(firstDifference(unedited, m), g.editAt + 1);
            if (first.out.empty()) first = m;
            else EXPECT_EQ(firstDifference(first, m), -1) << "frame rate code " << int(fr) << ", blocks of " << block;
        }
    }
}

// ---- the applier in reverse play --------------------------------------------------

namespace {

// Plays `frames` samples of a constant 0.5 backwards from time `from`, in blocks of
// `block`, through an applier; before the block that starts at sample editAt, `edit`
// goes into the store.
std::vector<float> playReverse(Store& store, double from, std::size_t frames, unsigned block, std::int64_t editAt = -1,
                               Store::Node edit = Store::Node(0.0, 1.0f)) {
    AutomationApplier a;
    a.configure(&store, double(kRate), from, AutomationApplier::Direction::kReverse);
    const std::vector<float> half(block + 4, 0.5f);
    std::vector<float> work(block + 4, 0.0f), out;
    platform::ScopedFlushDenormals guard;  // as a player's render loop runs
    std::size_t done = 0;
    while (done < frames) {
        const unsigned n = unsigned(std::min<std::size_t>(block, frames - done));
        if (std::int64_t(done) == editAt) store.insert(edit);
        a.noticeEdits(from - double(done) / kRate);
        const float* y = a.apply(half.data(), work.data(), n);
        out.insert(out.end(), y, y + n);
        done += n;
    }
    return out;
}

bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::bit_cast<std::uint32_t>(a[i]) != std::bit_cast<std::uint32_t>(b[i])) return false;
    return true;
}

}  // namespace

TEST(ToolAutomationReverse, RampsStayOnTheirLineAndEndExactlyOnTheNodesLevel) {
    // Nodes at 0 s and at the ramp's length; played backwards from 24 000.5 samples past
    // the last node, the level holds the last node's level for 24 000 samples, then ramps
    // to the first node's, which it reaches exactly and holds.
    for (const Ramp& r : kRamps) {
        const Ramp reversed{r.to, r.from, r.seconds};  // as heard
        const auto n = std::size_t(r.seconds * kRate);
        for (unsigned block : {1920u, 17u}) {
            Store store;
            store.insert(Store::Node(0.0, r.from));
            store.insert(Store::Node(r.seconds, r.to));
            const double from = r.seconds + 24000.5 / kRate;
            const std::vector<float> y = playReverse(store, from, kRate / 2 + n + 1000, block);
            for (std::size_t i = 0; i < kRate / 2; ++i) ASSERT_EQ(y[i], 0.5f * r.to) << i;
            std::vector<double> steps(y.begin(), y.end());
            for (double& v : steps) v *= kLsb;
            SCOPED_TRACE("blocks of " + std::to_string(block));
            const double worst = checkRamp(reversed, steps, kRate / 2, n, 0.5 * kLsb, double(0.5f * r.from) * kLsb);
            std::printf("[ measured ] reverse %s, blocks of %u: at most %.3f LSB (24-bit) from the line\n",
                        rampName(reversed).c_str(), block, worst);
        }
    }
}

TEST(ToolAutomationReverse, EveryBlockLengthGivesTheSameSamples) {
    Store store;
    const RenderSetup busy = busySession(false);
    for (const AutomationPoint& p : busy.automation[0]) store.insert(Store::Node(p.time, p.level));
    const std::vector<float> reference = playReverse(store, 3.0, 3 * kRate, 1920);
    for (unsigned b : {1u, 17u, 64u, 256u, 1024u, 4096u, 2002u}) {
        EXPECT_TRUE(sameBits(playReverse(store, 3.0, 3 * kRate, b), reference)) << "blocks of " << b;
    }
}

TEST(ToolAutomationReverse, AnEditBetweenBlocksGlidesTheSameAtEveryBlockLength) {
    // Played backwards from 2 s over a ramp 0 -> 1 (heard 1 -> 0); a node goes in at
    // 0.3 s before the block that starts 17 x 4096 samples in (at 0.549 s).
    const std::int64_t editAt = 17 * 4096;
    auto play = [&](unsigned block, bool edit) {
        Store store;
        store.insert(Store::Node(0.0, 0.0f));
        store.insert(Store::Node(2.0, 1.0f));
        return playReverse(store, 2.0, 2 * kRate, block, edit ? editAt : -1, Store::Node(0.3, 0.8f));
    };
    const std::vector<float> unedited = play(4096, false), reference = play(4096, true);
    for (std::int64_t i = 0; i < editAt; ++i) ASSERT_EQ(reference[i], unedited[i]) << i;
    EXPECT_NE(reference[editAt + 100], unedited[editAt + 100]);  // the glide has begun
    for (unsigned b : {1u, 17u, 64u, 256u, 1024u}) EXPECT_TRUE(sameBits(play(b, true), reference)) << "blocks of " << b;
}

TEST(ToolAutomationApplier, ARunBeginsAtEachAdvanceAndEachEditButNotBetweenBlocks) {
    Store store;
    store.insert(Store::Node(0.0, 0.0f));
    store.insert(Store::Node(1.0, 1.0f));
    AutomationApplier a;
    a.configure(&store, double(kRate), 0.0, AutomationApplier::Direction::kForwards);
    EXPECT_EQ(a.runsBegun(), 1u);
    EXPECT_EQ(a.runStart(), 0.0f);
    EXPECT_EQ(a.runDelta(), 1.0f / 48000.0f);
    std::vector<float> ones(1004, 1.0f), out(1004);
    for (int block = 0; block < 10; ++block) {
        a.noticeEdits(block * 1000.0 / kRate);  // nothing changed: the run goes on
        a.apply(ones.data(), out.data(), 1000);
    }
    EXPECT_EQ(a.runsBegun(), 1u);
    EXPECT_EQ(a.runPosition(), 10000u);
    EXPECT_EQ(a.state().samplesToNextNode_, 38000u);
    // The walk's level is the next sample's by the run's own rule.
    const float delta = 1.0f / 48000.0f;
    const float product = float(10000) * delta, before = float(9999) * delta;  // each rounded on its own
    EXPECT_EQ(a.state().level_, 0.0f + product);
    EXPECT_EQ(out[999], 0.0f + before);
    // An edit: the glide is a new run from the level reached, 480 samples long.
    const float reached = a.state().level_;
    store.insert(Store::Node(0.5, 0.1f));
    a.noticeEdits(10000.0 / kRate);
    EXPECT_EQ(a.runsBegun(), 2u);
    EXPECT_EQ(a.runStart(), reached);
    EXPECT_EQ(a.runPosition(), 0u);
    EXPECT_TRUE(a.state().pendingValid_);
    EXPECT_EQ(a.state().samplesToNextNode_, 480u);
    // Through the glide's end (a new run) and on to the node (another).
    a.apply(ones.data(), out.data(), 1000);
    EXPECT_EQ(a.runsBegun(), 3u);
    EXPECT_EQ(a.runPosition(), 520u);
    EXPECT_FALSE(a.state().pendingValid_);
}
