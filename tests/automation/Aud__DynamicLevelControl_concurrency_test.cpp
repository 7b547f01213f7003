// Level automation under concurrent use: one thread edits a store continuously while
// others render through it forwards and in reverse (and read it), for a few seconds.
// Built into the ThreadSanitizer run (make test-tsan).
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"
#include "tests/support/LevelRender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

using namespace Aud::DynamicLevelControl;
using Node = Store::Node;

namespace {

constexpr double kSpan = 60.0;  // the edits and the playback stay within [0, kSpan)
constexpr double kRate = 48000.0;
constexpr std::size_t kBlock = 512;

void editContinuously(Store& store, const std::atomic<bool>& stop, unsigned seed, long& edits) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> when(0.0, kSpan), width(0.0, 2.0);
    std::uniform_real_distribution<float> level(0.0f, 2.0f);
    std::uniform_int_distribution<int> pick(0, 15);
    Store clipboard;
    for (int i = 0; i < 20; ++i) clipboard.insert(Node(10.0 + i * 0.1, level(rng)));
    while (!stop.load(std::memory_order_relaxed)) {
        const double t = when(rng);
        switch (pick(rng)) {
        case 0:
        case 1:
        case 2: store.insert(Node(t, level(rng))); break;
        case 3: {  // a section: start guard, a node, end guard
            store.insert(Node(t, 0.0f, Store::kStartGuard, false));
            store.insert(Node(t + 0.05, level(rng)));
            store.insert(Node(t + 0.1, 0.0f, Store::kEndGuard, false));
            break;
        }
        case 4: store.insert_noAdjust(Node(t, level(rng))); break;
        case 5: store.erase(store.find(t)); break;
        case 6: store.erase(t, t + width(rng)); break;
        case 7: store.eraseNonGuard(t, t + width(rng)); break;
        case 8: {
            Store::iterator it = store.find(t);
            if (it != store.end()) it.setLevel(level(rng));
            break;
        }
        case 9: {
            Store::iterator it = store.find(t);
            if (it != store.end()) it.setTime(t + width(rng) - 1.0);
            break;
        }
        case 10: store.setRangeToBlackSection(t, t + width(rng)); break;
        case 11: store.setRangeToNonBlackSection(t, t + width(rng)); break;
        case 12: store.insertRange(clipboard.begin(), clipboard.end()); break;
        case 13: store.erase_noAdjust(t, t + width(rng)); break;
        case 14:
            if (pick(rng) == 0) store.clear();
            break;
        default: {
            Store::iterator it = store.find(t);
            if (it != store.end()) it.setInAudioBlackSection(pick(rng) < 8);
            break;
        }
        }
        if (store.size() > 3000) store.erase(0.0, kSpan / 2);
        ++edits;
    }
}

struct PlayResult {
    long blocks = 0;
    long nonFinite = 0;
    long stalls = 0;
};

void playContinuously(const Store& store, const std::atomic<bool>& stop, unsigned seed, PlayResult& result) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> when(0.0, kSpan);
    DynamicLevelApplyingIteratorState state;
    DynamicLevelApplyingIteratorBase walk(state);
    std::vector<float> out(kBlock);
    while (!stop.load(std::memory_order_relaxed)) {
        // A seek: a fresh direction and start, then a stretch of playback.
        const bool reverse = rng() & 1;
        const double t = when(rng);
        if (reverse) walk.configureReverse(&store, kRate, t);
        else walk.configureForwards(&store, kRate, t);
        audatoms::test::LevelRenderer renderer(state, reverse, kBlock);
        for (int b = 0; b < 200 && !stop.load(std::memory_order_relaxed); ++b) {
            if (!renderer.render(out.data(), kBlock)) ++result.stalls;
            for (float v : out)
                if (!std::isfinite(v)) ++result.nonFinite;
            ++result.blocks;
        }
        if (rng() % 4 == 0) state.invalidate();
    }
}

void readContinuously(const Store& store, const std::atomic<bool>& stop, unsigned seed, long& reads, long& bad) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> when(0.0, kSpan);
    while (!stop.load(std::memory_order_relaxed)) {
        const double t = when(rng);
        float level = 0.0f;
        if (!std::isfinite(store.getLevelAtTime(t))) ++bad;
        (void)store.isInAudioBlackAtTime(t);
        const Store::eRangeState r = store.getRangeState(t, t + 1.0, &level);
        if (r < Store::kRangeSilent || r > Store::kRangeVarying) ++bad;
        ++reads;
    }
}

}  // namespace

TEST(LevelAutomationConcurrency, EditingWhilePlayingForwardsAndInReverse) {
    Store store;
    for (int i = 0; i < 500; ++i) store.insert(Node(i * kSpan / 500.0, float(i % 7) / 4.0f));

    std::atomic<bool> stop{false};
    long edits = 0, reads = 0, badReads = 0;
    PlayResult a, b;
    std::thread editor(editContinuously, std::ref(store), std::cref(stop), 11u, std::ref(edits));
    std::thread player1(playContinuously, std::cref(store), std::cref(stop), 22u, std::ref(a));
    std::thread player2(playContinuously, std::cref(store), std::cref(stop), 33u, std::ref(b));
    std::thread reader(readContinuously, std::cref(store), std::cref(stop), 44u, std::ref(reads), std::ref(badReads));
    std::this_thread::sleep_for(std::chrono::seconds(4));
    stop = true;
    editor.join();
    player1.join();
    player2.join();
    reader.join();

    EXPECT_GT(edits, 100);
    EXPECT_GT(a.blocks, 100);
    EXPECT_GT(b.blocks, 100);
    EXPECT_GT(reads, 100);
    EXPECT_EQ(a.nonFinite + b.nonFinite, 0);
    EXPECT_EQ(a.stalls + b.stalls, 0);
    EXPECT_EQ(badReads, 0);
    std::printf("edits %ld, blocks rendered %ld + %ld, reads %ld\n", edits, a.blocks, b.blocks, reads);

    // The store is still a sound, ordered set afterwards.
    double previous = -1e300;
    std::size_t count = 0;
    for (Store::iterator it = store.begin(); it != store.end(); ++it, ++count) {
        EXPECT_LE(previous, it.getRawTime());
        previous = it.getRawTime();
    }
    EXPECT_EQ(count, store.size());
}
