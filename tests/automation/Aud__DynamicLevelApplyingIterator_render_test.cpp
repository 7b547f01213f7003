// Level applying iterator, rendered: a reference renderer that follows the consumer
// contract (runs applied with the ramp) over random automation, forwards and in
// reverse, and edits made during playback.
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"
#include "platform/FrameRate.h"
#include "tests/support/FrameDuration.h"
#include "tests/support/LevelRender.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace Aud::DynamicLevelControl;
using Node = Store::Node;

namespace {

constexpr double kFrame = 0.04;  // frame duration: an end guard's effective time is raw + 0.01

struct RefNode {
    double time;
    float level;
    Store::eNodeType type;
    double eff() const { return type == Store::kEndGuard ? time + 0.25 * kFrame : time; }
};

std::uint32_t samples(double x) { return static_cast<std::uint32_t>(static_cast<std::int64_t>(x)); }

float lerp(double t, double ta, float a, double tb, float b) {
    const float f = static_cast<float>((t - ta) / (tb - ta));
    return a + (b - a) * f;
}

// Automation in sections: a start guard, 1 to 8 normal nodes, an end guard, then a
// gap of at least 0.05 (so that stepping back past an end guard never meets a node
// within its quarter frame), with a few loose normal nodes in front. Guards carry
// their inner neighbours' levels. Nodes are at least 0.002 apart (88 samples at
// 44100), so every node starts a run of its own.
std::vector<RefNode> randomAutomation(std::mt19937& rng, int sections) {
    std::uniform_real_distribution<double> step(0.002, 0.3), gap(0.05, 0.5);
    std::uniform_real_distribution<float> level(0.0f, 2.0f);
    std::vector<RefNode> v;
    double t = 0.1;
    for (int i = 0; i < 3; ++i, t += step(rng)) v.push_back({t, level(rng), Store::kNormal});
    for (int s = 0; s < sections; ++s) {
        t += gap(rng);
        const std::size_t start = v.size();
        v.push_back({t, 0.0f, Store::kStartGuard});
        const int inner = std::uniform_int_distribution<int>(1, 8)(rng);
        for (int i = 0; i < inner; ++i) {
            t += step(rng);
            v.push_back({t, level(rng), Store::kNormal});
        }
        t += step(rng);
        v.push_back({t, v.back().level, Store::kEndGuard});
        v[start].level = v[start + 1].level;
    }
    return v;
}

void fill(Store& store, const std::vector<RefNode>& nodes) {
    for (const RefNode& n : nodes) store.insert_noAdjust(Node(n.time, n.level, n.type, false));
}

// Renders `total` samples in blocks of random size; returns the output.
std::vector<float> renderAll(audatoms::test::LevelRenderer& r, std::size_t total, std::mt19937& rng,
                             std::size_t maxBlock) {
    std::vector<float> out(total);
    std::uniform_int_distribution<std::size_t> block(1, maxBlock);
    for (std::size_t done = 0; done < total;) {
        const std::size_t n = std::min(block(rng), total - done);
        EXPECT_TRUE(r.render(out.data() + done, n));
        done += n;
    }
    return out;
}

// How far a repeated single-precision ramp may stray from its exact line after j
// steps: the delta itself is rounded (relative 2^-24, so at most 2^-24 * |b - a| over
// the run), each addition rounds by at most half an ulp of a value below 2 * max(|a|,
// |b|), and each block boundary re-anchors the level by a multiply-add of the same
// size. Twice that, to stay clear of the edge.
double rampTolerance(std::size_t j, float a, float b) {
    const double m = std::max(std::fabs(a), std::fabs(b));
    return std::ldexp(1.0, -24) * (4.0 * std::fabs(double(b) - a) + 4.0 * double(j + 2) * m);
}

void checkSegment(const std::vector<float>& out, std::size_t from, std::size_t to, float a, float b,
                  const std::string& where) {
    const float lo = std::min(a, b), hi = std::max(a, b);
    for (std::size_t i = from + 1; i < to && i < out.size(); ++i) {
        const double tol = rampTolerance(i - from, a, b);
        ASSERT_GE(out[i], lo - tol) << where << " sample " << i;
        ASSERT_LE(out[i], hi + tol) << where << " sample " << i;
    }
}

struct RenderCase {
    double rate;
    bool reverse;
};

void PrintTo(const RenderCase& c, std::ostream* os) { *os << c.rate << (c.reverse ? " reverse" : " forwards"); }

class ReferenceRender : public ::testing::TestWithParam<RenderCase> {};

}  // namespace

TEST_P(ReferenceRender, LevelsMeetEveryNodeAndStayBetweenNeighbours) {
    const RenderCase c = GetParam();
    audatoms::test::FrameDurationScope frame(kFrame);
    std::mt19937 rng(c.reverse ? 1234u : 4321u);
    const std::vector<RefNode> nodes = randomAutomation(rng, 40);
    Store store;
    fill(store, nodes);
    const std::size_t last = nodes.size() - 1;

    // Where each node's run starts, by the walk's counting rule.
    std::vector<std::size_t> at(nodes.size());
    std::size_t total;
    DynamicLevelApplyingIteratorState state;
    DynamicLevelApplyingIteratorBase walk(state);
    if (!c.reverse) {
        const double t0 = nodes.front().time - 0.05;
        std::size_t idx = samples((nodes[0].eff() - t0) * c.rate);
        for (std::size_t k = 0; k <= last; ++k) {
            at[k] = idx;
            if (k < last) idx += samples((nodes[k + 1].eff() - nodes[k].time) * c.rate);
        }
        total = at[last] + std::size_t(0.2 * c.rate);
        walk.configureForwards(&store, c.rate, t0);
    } else {
        const double t0 = nodes.back().time + 0.05;
        std::size_t idx = samples((t0 - nodes[last].time) * c.rate);
        for (std::size_t k = last + 1; k-- > 0;) {
            at[k] = idx;
            if (k > 0) idx += samples((nodes[k].time - nodes[k - 1].eff()) * c.rate);
        }
        total = at[0] + std::size_t(0.2 * c.rate);
        walk.configureReverse(&store, c.rate, t0);
    }

    audatoms::test::LevelRenderer renderer(state, c.reverse, 4096, 4 * nodes.size());
    const std::vector<float> out = renderAll(renderer, total, rng, 4096);

    const std::size_t firstMet = c.reverse ? last : 0;
    const std::size_t lastMet = c.reverse ? 0 : last;
    for (std::size_t i = 0; i < at[firstMet]; ++i) ASSERT_EQ(out[i], nodes[firstMet].level) << "lead-in " << i;
    for (std::size_t k = 0; k <= last; ++k) ASSERT_EQ(out[at[k]], nodes[k].level) << "node " << k;
    for (std::size_t k = 0; k < last; ++k) {
        if (!c.reverse)
            checkSegment(out, at[k], at[k + 1], nodes[k].level, nodes[k + 1].level, "node " + std::to_string(k));
        else checkSegment(out, at[k + 1], at[k], nodes[k + 1].level, nodes[k].level, "node " + std::to_string(k + 1));
    }
    for (std::size_t i = at[lastMet]; i < total; ++i) ASSERT_EQ(out[i], nodes[lastMet].level) << "tail " << i;
    EXPECT_TRUE(state.atEnd_);

    // Every node began a run of its own, and no run was a glide.
    std::vector<std::size_t> starts;
    for (const audatoms::test::LevelRun& r : renderer.runs()) {
        EXPECT_FALSE(r.pendingValid);
        starts.push_back(r.start);
    }
    for (std::size_t k = 0; k <= last; ++k)
        EXPECT_TRUE(std::find(starts.begin(), starts.end(), at[k]) != starts.end()) << "node " << k;
}

INSTANTIATE_TEST_SUITE_P(Rates, ReferenceRender,
                         ::testing::Values(RenderCase{48000.0, false}, RenderCase{48000.0, true},
                                           RenderCase{44100.0, false}, RenderCase{44100.0, true}),
                         [](const auto& p) {
                             return std::to_string(int(p.param.rate)) + (p.param.reverse ? "Reverse" : "Forwards");
                         });

// ---- edits during playback ------------------------------------------------------------

namespace {

// The edited line as a fresh walk would start on it at time t.
float forwardStartLevel(const std::vector<RefNode>& v, double t) {
    std::size_t n = 0;
    while (n < v.size() && v[n].time < t) ++n;
    if (n == v.size()) return v.back().level;
    if (n == 0) return v[0].level;
    return lerp(t, v[n - 1].time, v[n - 1].level, v[n].eff(), v[n].level);
}

float reverseStartLevel(const std::vector<RefNode>& v, double t) {
    std::size_t n = 0;
    while (n < v.size() && v[n].time < t) ++n;
    if (n == 0) return v[0].level;
    if (n == v.size()) return v.back().level;
    return lerp(t, v[n - 1].time, v[n - 1].level, v[n].time, v[n].level);
}

struct EditCase {
    std::string name;
    std::function<void(Store&)> edit;
    std::vector<RefNode> edited;  // the node line after the edit
};

const std::vector<RefNode> kLine = {{0.0, 0.2f, Store::kNormal},
                                    {0.1, 0.8f, Store::kNormal},
                                    {0.2, 0.4f, Store::kNormal},
                                    {0.3, 1.0f, Store::kNormal},
                                    {0.4, 0.5f, Store::kNormal}};

std::vector<RefNode> with(std::vector<RefNode> v, const std::function<void(std::vector<RefNode>&)>& change) {
    change(v);
    std::sort(v.begin(), v.end(), [](const RefNode& a, const RefNode& b) { return a.time < b.time; });
    return v;
}

std::vector<EditCase> forwardEdits() {
    return {
        {"insert", [](Store& s) { s.insert(Node(0.15, 0.0f)); },
         with(kLine,
              [](auto& v) {
                  v.push_back({0.15, 0.0f, Store::kNormal});
              })},
        {"erase", [](Store& s) { s.erase(s.find(0.1)); }, with(kLine, [](auto& v) { v.erase(v.begin() + 1); })},
        {"setLevel", [](Store& s) { s.find(0.2).setLevel(0.0f); }, with(kLine, [](auto& v) { v[2].level = 0.0f; })},
        {"setTime", [](Store& s) { s.find(0.2).setTime(0.12); }, with(kLine, [](auto& v) { v[2].time = 0.12; })},
        {"blackSection", [](Store& s) { s.setRangeToBlackSection(0.05, 0.25); },
         with(kLine, [](auto& v) { v.erase(v.begin() + 1, v.begin() + 3); })},
    };
}

std::vector<EditCase> reverseEdits() {
    return {
        {"insert", [](Store& s) { s.insert(Node(0.25, 0.0f)); },
         with(kLine,
              [](auto& v) {
                  v.push_back({0.25, 0.0f, Store::kNormal});
              })},
        {"erase", [](Store& s) { s.erase(s.find(0.2)); }, with(kLine, [](auto& v) { v.erase(v.begin() + 2); })},
        {"setLevel", [](Store& s) { s.find(0.2).setLevel(0.0f); }, with(kLine, [](auto& v) { v[2].level = 0.0f; })},
        {"setTime", [](Store& s) { s.find(0.2).setTime(0.28); }, with(kLine, [](auto& v) { v[2].time = 0.28; })},
        {"blackSection", [](Store& s) { s.setRangeToBlackSection(0.15, 0.35); },
         with(kLine, [](auto& v) { v.erase(v.begin() + 2, v.begin() + 4); })},
    };
}

// Plays kLine from t0, makes the edit 1000 samples in (mid-run), and checks: nothing
// changes until the walk's next advance; that advance starts exactly one glide of
// 0.01 * rate samples from the level then playing to the edited line 0.01 further on;
// after the glide the output is that of a fresh walk of the edited line started there.
void playWithEdit(double rate, bool reverse, const EditCase& e) {
    SCOPED_TRACE(e.name + (reverse ? " reverse " : " forwards ") + std::to_string(rate));
    audatoms::test::FrameDurationScope frame(kFrame);
    const double t0 = reverse ? 0.35 : 0.05;
    Store store, unedited;
    fill(store, kLine);
    fill(unedited, kLine);

    DynamicLevelApplyingIteratorState state, refState;
    DynamicLevelApplyingIteratorBase walk(state), refWalk(refState);
    if (reverse) {
        walk.configureReverse(&store, rate, t0);
        refWalk.configureReverse(&unedited, rate, t0);
    } else {
        walk.configureForwards(&store, rate, t0);
        refWalk.configureForwards(&unedited, rate, t0);
    }
    // The first run by hand: forwards from 0.05 towards 0.1, in reverse from 0.35 back
    // to 0.3 (raw times; all nodes are normal).
    const std::uint32_t firstRun = reverse ? samples(rate * (t0 - 0.3)) : samples((0.1 - t0) * rate);
    const float l0 = reverse ? lerp(t0, 0.3, 1.0f, 0.4, 0.5f) : lerp(t0, 0.0, 0.2f, 0.1, 0.8f);
    const float d0 = reverse ? (1.0f - l0) / float(firstRun) : (0.8f - l0) / float(firstRun);
    ASSERT_EQ(state.samplesToNextNode_, firstRun);
    ASSERT_EQ(state.level_, l0);
    ASSERT_EQ(state.levelDelta_, d0);

    const std::size_t kMax = 1 << 16;
    audatoms::test::LevelRenderer r(state, reverse, kMax, 64), ref(refState, reverse, kMax, 64);
    std::vector<float> a(kMax), b(kMax);
    ASSERT_TRUE(r.render(a.data(), 1000));
    ASSERT_TRUE(ref.render(b.data(), 1000));
    const double approached = state.nextNodeTime_;  // the node this run ends at
    const std::uint32_t remaining = state.samplesToNextNode_;
    ASSERT_EQ(remaining, firstRun - 1000);

    e.edit(store);

    // Until the run ends, the old line plays on.
    ASSERT_TRUE(r.render(a.data() + 1000, remaining));
    ASSERT_TRUE(ref.render(b.data() + 1000, remaining));
    for (std::size_t i = 0; i < 1000 + remaining; ++i) ASSERT_EQ(a[i], b[i]) << i;

    // The advance at the run's end noticed the edit: one glide.
    float levelThen = l0;
    levelThen += 1000.0f * d0;
    levelThen += float(remaining) * d0;
    const double glideEnd = reverse ? approached - 0.01 : approached + 0.01;
    const float target = reverse ? reverseStartLevel(e.edited, glideEnd) : forwardStartLevel(e.edited, glideEnd);
    const std::uint32_t glide = samples(0.01 * rate);
    ASSERT_EQ(glide, rate == 48000.0 ? 480u : 441u);
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, glide);
    EXPECT_EQ(state.level_, levelThen);
    EXPECT_EQ(state.levelDelta_, (target - levelThen) / float(glide));
    EXPECT_EQ(state.nextNodeTime_, glideEnd);
    EXPECT_FALSE(state.atEnd_);

    std::vector<float> g(glide), expectGlide(glide + 4), ones(glide + 4, 1.0f);
    ASSERT_TRUE(r.render(g.data(), glide));
    audatoms::test::rampRun(ones.data(), expectGlide.data(), (glide + 3) / 4, levelThen,
                            (target - levelThen) / float(glide));
    for (std::uint32_t i = 0; i < glide; ++i) ASSERT_EQ(g[i], expectGlide[i]) << "glide sample " << i;
    EXPECT_FALSE(state.pendingValid_);
    EXPECT_EQ(state.level_, target);

    // From here on: the edited line, exactly as a fresh walk from the glide's end.
    Store edited;
    fill(edited, e.edited);
    DynamicLevelApplyingIteratorState freshState;
    DynamicLevelApplyingIteratorBase freshWalk(freshState);
    if (reverse) freshWalk.configureReverse(&edited, rate, glideEnd);
    else freshWalk.configureForwards(&edited, rate, glideEnd);
    audatoms::test::LevelRenderer fresh(freshState, reverse, kMax, 64);
    r.clearLog();
    std::vector<float> after(kMax), expectAfter(kMax);
    const std::size_t rest = std::size_t(0.5 * rate);
    for (std::size_t done = 0, block = 512; done < rest; done += block) {
        ASSERT_TRUE(r.render(after.data(), block));
        ASSERT_TRUE(fresh.render(expectAfter.data(), block));
        for (std::size_t i = 0; i < block; ++i) ASSERT_EQ(after[i], expectAfter[i]) << "after glide " << done + i;
    }
    for (const audatoms::test::LevelRun& run : r.runs()) EXPECT_FALSE(run.pendingValid) << "a second glide";
}

}  // namespace

TEST(LevelPlayback, EditsAreNoticedAtTheNextAdvanceWithOneGlideForwards) {
    for (double rate : {48000.0, 44100.0})
        for (const EditCase& e : forwardEdits()) playWithEdit(rate, false, e);
}

TEST(LevelPlayback, EditsAreNoticedAtTheNextAdvanceWithOneGlideInReverse) {
    for (double rate : {48000.0, 44100.0})
        for (const EditCase& e : reverseEdits()) playWithEdit(rate, true, e);
}

TEST(LevelPlayback, AnEditDuringAGlideStartsAnotherGlideWhenItEnds) {
    audatoms::test::FrameDurationScope frame(kFrame);
    Store store;
    fill(store, kLine);
    DynamicLevelApplyingIteratorState state;
    DynamicLevelApplyingIteratorBase walk(state);
    walk.configureForwards(&store, 48000.0, 0.05);
    audatoms::test::LevelRenderer r(state, false, 1 << 16, 16);
    std::vector<float> out(1 << 16);
    ASSERT_TRUE(r.render(out.data(), 100));
    store.find(0.2).setLevel(0.0f);
    ASSERT_TRUE(r.render(out.data(), state.samplesToNextNode_));
    ASSERT_TRUE(state.pendingValid_);
    ASSERT_EQ(state.nextNodeTime_, 0.1 + 0.01);
    ASSERT_TRUE(r.render(out.data(), 200));  // part way through the glide
    store.find(0.3).setLevel(0.0f);
    const float levelThen = state.level_ + float(state.samplesToNextNode_) * state.levelDelta_;
    ASSERT_TRUE(r.render(out.data(), state.samplesToNextNode_));
    // The glide's end (0.11) is where the second reaction looks from: 0.12 on the
    // line edited twice (0.1 at 0.8 to 0.2 at 0.0).
    const float target = lerp(0.12, 0.1, 0.8f, 0.2, 0.0f);
    EXPECT_TRUE(state.pendingValid_);
    EXPECT_EQ(state.samplesToNextNode_, 480u);
    EXPECT_EQ(state.level_, levelThen);
    EXPECT_EQ(state.levelDelta_, (target - levelThen) / 480.0f);
    EXPECT_EQ(state.nextNodeTime_, 0.1 + 0.01 + 0.01);
    EXPECT_EQ(state.pendingLevel_, target);
}
