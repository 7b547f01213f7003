// The audio-thread side of level automation allocates nothing: this program replaces
// the global operator new / delete with counting versions and counts every allocation
// made during configure, advance and edit reaction. It also makes chosen allocations
// fail, to show that an edit that throws leaves the store intact and its lock free.
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"
#include "tests/support/LevelRender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <new>
#include <random>
#include <vector>

namespace {
std::atomic<bool> counting{false};
std::atomic<long> allocations{0};
std::atomic<int> failCountdown{0};  // > 0: the allocation that brings it to 0 fails

void* allocate(std::size_t n, std::size_t align = 0) {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
    if (failCountdown.load(std::memory_order_relaxed) > 0 && failCountdown.fetch_sub(1) == 1) throw std::bad_alloc();
    void* p = align ? std::aligned_alloc(align, (n + align - 1) / align * align) : std::malloc(n ? n : 1);
    if (!p) throw std::bad_alloc();
    return p;
}
}  // namespace

void* operator new(std::size_t n) { return allocate(n); }
void* operator new[](std::size_t n) { return allocate(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocate(n, std::size_t(a)); }
void* operator new[](std::size_t n, std::align_val_t a) { return allocate(n, std::size_t(a)); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return allocate(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return allocate(n);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }

using namespace Aud::DynamicLevelControl;
using Node = Store::Node;

namespace {

class Counting {
public:
    Counting() {
        allocations = 0;
        counting = true;
    }
    ~Counting() { counting = false; }
    long count() const { return allocations.load(); }
};

struct Player {
    DynamicLevelApplyingIteratorState state;
    DynamicLevelApplyingIteratorBase walk{state};
    bool reverse;
    audatoms::test::LevelRenderer renderer;
    explicit Player(bool rev) : reverse(rev), renderer(state, rev, 512) {}
};

void fillRandom(Store& store, std::mt19937& rng, int n) {
    std::uniform_real_distribution<double> when(0.0, 100.0);
    std::uniform_real_distribution<float> level(0.0f, 2.0f);
    for (int i = 0; i < n; ++i) store.insert(Node(when(rng), level(rng)));
}

}  // namespace

TEST(LevelAutomationAllocations, CountingHookSeesAllocations) {
    // The hook itself works: a vector allocation inside the window is counted.
    long seen;
    {
        Counting c;
        std::vector<int> v(10);
        seen = c.count();
    }
    EXPECT_GE(seen, 1);
}

TEST(LevelAutomationAllocations, ConfigureAdvanceAndEditReactionAllocateNothing) {
    std::mt19937 rng(7);
    Store store;
    fillRandom(store, rng, 10000);
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < 8; ++i) players.push_back(std::make_unique<Player>(i % 2 == 1));
    std::vector<float> out(512);
    std::uniform_real_distribution<double> when(0.0, 100.0);
    std::uniform_real_distribution<float> level(0.0f, 2.0f);

    long total = 0, blocks = 0, glides = 0;
    bool progressed = true;
    for (int round = 0; round < 300; ++round) {
        // The editing side (not counted): a different kind of edit each round.
        switch (round % 5) {
        case 0: store.insert(Node(when(rng), level(rng))); break;
        case 1: store.erase(store.find(when(rng))); break;
        case 2: {
            Store::iterator it = store.find(when(rng));
            if (it != store.end()) it.setLevel(level(rng));
            break;
        }
        case 3: {
            Store::iterator it = store.find(when(rng));
            if (it != store.end()) it.setTime(it.getRawTime() + 0.001);
            break;
        }
        default: {
            const double t = when(rng);
            store.setRangeToBlackSection(t, t + 0.5);
            break;
        }
        }
        // The audio side (counted).
        Counting c;
        for (auto& p : players) {
            if (round % 50 == 0) {
                const double t = when(rng);
                if (p->reverse) p->walk.configureReverse(&store, 48000.0, t);
                else p->walk.configureForwards(&store, 48000.0, t);
            }
            for (int b = 0; b < 4; ++b) {
                progressed = p->renderer.render(out.data(), out.size()) && progressed;
                ++blocks;
                if (p->state.pendingValid_) ++glides;
            }
            p->walk.handleStoreModsForwards(50.0);
            p->walk.handleStoreModsReverse(50.0);
        }
        total += c.count();
    }
    EXPECT_EQ(total, 0);
    EXPECT_TRUE(progressed);
    EXPECT_GT(glides, 0);  // edits were noticed, so the edit reaction ran under the count
    EXPECT_EQ(blocks, 300 * 8 * 4);
}

TEST(LevelAutomationAllocations, ManyReadersStopAllocatingOnceTheStoreHasRoom) {
    std::mt19937 rng(9);
    Store store;
    fillRandom(store, rng, 1000);
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < 100; ++i) players.push_back(std::make_unique<Player>(false));
    for (auto& p : players) p->walk.configureForwards(&store, 48000.0, 1.0);
    long later = 0;
    for (int round = 0; round < 4; ++round) {
        store.insert(Node(50.0 + round, 0.5f));
        Counting c;
        for (auto& p : players) p->walk.handleStoreModsForwards(2.0);
        if (round >= 2) later += c.count();  // the first rounds may grow the reader set
    }
    EXPECT_EQ(later, 0);
}

TEST(LevelAutomationAllocations, AFailedEditLeavesTheStoreIntactAndUnlocked) {
    Store store;
    // Into an empty store: the first allocation (the first leaf) fails.
    failCountdown = 1;
    EXPECT_THROW(store.insert(Node(1.0, 0.5f)), std::bad_alloc);
    failCountdown = 0;
    auto probe = [&store] {
        auto f = std::async(std::launch::async, [&store] { return store.size(); });
        return f.wait_for(std::chrono::seconds(10)) == std::future_status::ready ? long(f.get()) : -1L;
    };
    EXPECT_EQ(probe(), 0);

    // A full leaf of 32 nodes: the next insert splits it and needs a leaf and a root.
    for (int i = 0; i < 32; ++i) store.insert(Node(double(i), float(i)));
    for (int failAt : {1, 2}) {
        failCountdown = failAt;
        EXPECT_THROW(store.insert(Node(40.0, 0.5f)), std::bad_alloc) << failAt;
        failCountdown = 0;
        EXPECT_EQ(probe(), 32);
        int i = 0;
        for (Store::iterator it = store.begin(); it != store.end(); ++it, ++i) {
            EXPECT_EQ(it.getRawTime(), double(i));
            EXPECT_EQ(it.getLevel(), float(i));
        }
        EXPECT_EQ(i, 32);
        EXPECT_TRUE(store.find(40.0) == store.end());
    }
    // And it still works.
    store.insert(Node(40.0, 0.5f));
    EXPECT_EQ(store.size(), 33u);
    EXPECT_EQ(store.getLevelAtTime(40.0), 0.5f);
}
