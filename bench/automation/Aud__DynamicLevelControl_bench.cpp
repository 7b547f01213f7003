// Level automation costs against store size (10^3 .. 10^6 nodes): getLevelAtTime,
// find, insert, find + erase(iterator), and a forward walk in 512-sample blocks.
//
// Places are drawn two ways (second argument): 0 = uniformly over the whole store, so
// a large store's leaves come from main memory on almost every call; 1 = within 1000
// nodes of a point that moves slowly along the store (how an editor works near the
// play head), so the cost shows the tree's log n growth rather than the cache size.
// After Google Benchmark's report the program prints each operation's CPU time per
// call at every size and the 10^6 / 10^3 ratio.
#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace Aud::DynamicLevelControl;
using Node = Store::Node;

namespace {

constexpr double kSpacing = 0.05;  // time units between nodes: 2400 samples at 48000
constexpr std::size_t kPool = 1 << 20;

struct Fixture {
    Store store;
    std::vector<double> nodeTimes;  // the times of the nodes in the store
    double span;
};

// One store per size, built once: nodes at random times over n * kSpacing.
Fixture& storeOf(std::size_t n) {
    static std::map<std::size_t, std::unique_ptr<Fixture>> made;
    auto& f = made[n];
    if (!f) {
        f = std::make_unique<Fixture>();
        f->span = double(n) * kSpacing;
        std::mt19937_64 rng(n);
        std::uniform_real_distribution<double> when(0.0, f->span);
        std::uniform_real_distribution<float> level(0.0f, 2.0f);
        while (f->store.size() < n) f->store.insert_noAdjust(Node(when(rng), level(rng)));
        for (Store::iterator it = f->store.begin(); it != f->store.end(); ++it) f->nodeTimes.push_back(it.getRawTime());
    }
    return *f;
}

constexpr double kWindow = 1000 * kSpacing;  // the local pattern's spread

std::vector<double> randomTimes(double span, unsigned seed, bool local) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> when(0.0, span), near(-kWindow / 2, kWindow / 2);
    std::vector<double> v(kPool);
    for (std::size_t i = 0; i < kPool; ++i) {
        if (!local) {
            v[i] = when(rng);
        } else {
            const double centre = std::fmod(double(i) * 0.013, span);
            v[i] = std::clamp(centre + near(rng), 0.0, span);
        }
    }
    return v;
}

void BM_GetLevelAtTime(benchmark::State& state) {
    Fixture& f = storeOf(std::size_t(state.range(0)));
    const std::vector<double> times = randomTimes(f.span, 1, state.range(1) != 0);
    std::size_t i = 0;
    float sum = 0.0f;
    for (auto _ : state) {
        sum += f.store.getLevelAtTime(times[i]);
        i = (i + 1) & (kPool - 1);
    }
    benchmark::DoNotOptimize(sum);
}

void BM_Find(benchmark::State& state) {
    Fixture& f = storeOf(std::size_t(state.range(0)));
    const std::vector<double> times = randomTimes(f.span, 2, state.range(1) != 0);
    std::size_t i = 0;
    for (auto _ : state) {
        Store::iterator it = f.store.find(times[i]);
        benchmark::DoNotOptimize(it);
        i = (i + 1) & (kPool - 1);
    }
}

// Timed edits come in batches of a quarter of the store (at most 1024), after which the
// timer is paused and the store put back as it was, so it keeps its size.
std::size_t batchFor(std::size_t n) { return std::min<std::size_t>(1024, n / 4); }

// What pausing and resuming the timer once per batch adds to each call.
void BM_PauseOverhead(benchmark::State& state) {
    const std::size_t batch = batchFor(std::size_t(state.range(0)));
    std::size_t inBatch = 0;
    for (auto _ : state) {
        benchmark::ClobberMemory();
        if (++inBatch == batch) {
            state.PauseTiming();
            inBatch = 0;
            state.ResumeTiming();
        }
    }
}

// Inserted nodes carry a level no stored node has, so that taking them out again
// removes exactly them (an insert within 1e-6 of an earlier one in the same batch
// has replaced it).
constexpr float kMark = -0.5f;

void removeMarked(Store& store, double t) {
    Store::iterator it = store.find(t);
    if (it != store.end() && it.getRawTime() == t && it.getLevel() == kMark) store.erase_noAdjust(it);
}

// Adjusting insert of a normal node at a drawn time.
void BM_Insert(benchmark::State& state) {
    Fixture& f = storeOf(std::size_t(state.range(0)));
    // A time within 1e-6 of an existing node would replace it: draw such times again.
    std::vector<double> times = randomTimes(f.span, 3, state.range(1) != 0);
    std::mt19937_64 redraw(5);
    std::uniform_real_distribution<double> when(0.0, f.span);
    for (double& t : times) {
        for (;;) {
            auto it = std::lower_bound(f.nodeTimes.begin(), f.nodeTimes.end(), t - 2e-6);
            if (it == f.nodeTimes.end() || *it > t + 2e-6) break;
            t = when(redraw);
        }
    }
    const std::size_t kBatch = batchFor(f.nodeTimes.size());
    std::size_t next = 0, inBatch = 0;
    for (auto _ : state) {
        f.store.insert(Node(times[next + inBatch], kMark));
        if (++inBatch == kBatch) {
            state.PauseTiming();
            for (std::size_t k = 0; k < kBatch; ++k) removeMarked(f.store, times[next + k]);
            next = (next + kBatch) % (kPool - kBatch);
            inBatch = 0;
            state.ResumeTiming();
        }
    }
    for (std::size_t k = 0; k < inBatch; ++k) removeMarked(f.store, times[next + k]);
    if (f.store.size() != f.nodeTimes.size()) state.SkipWithError("the store did not keep its size");
}

// find + adjusting erase(iterator) of an existing node near a drawn time.
void BM_EraseIterator(benchmark::State& state) {
    Fixture& f = storeOf(std::size_t(state.range(0)));
    // Existing nodes: those at or after the drawn places.
    std::vector<double> victims = randomTimes(f.span, 4, state.range(1) != 0);
    for (double& t : victims) {
        auto it = std::lower_bound(f.nodeTimes.begin(), f.nodeTimes.end(), t);
        t = it == f.nodeTimes.end() ? f.nodeTimes.back() : *it;
    }
    const std::size_t kBatch = batchFor(f.nodeTimes.size());
    std::vector<Node> removed;
    removed.reserve(kBatch);
    std::size_t next = 0;
    auto restore = [&] {
        for (const Node& n : removed) f.store.insert_noAdjust(n);
        removed.clear();
    };
    for (auto _ : state) {
        Store::iterator it = f.store.find(victims[next]);
        if (it != f.store.end()) removed.push_back(it.getNode());
        f.store.erase(it);
        next = (next + 1) & (kPool - 1);
        if (removed.size() == kBatch) {
            state.PauseTiming();
            restore();
            state.ResumeTiming();
        }
    }
    restore();
    if (f.store.size() != f.nodeTimes.size()) state.SkipWithError("the store did not keep its size");
}

// The audio thread's walk through evenly spaced nodes, one 512-sample block per
// iteration (the consumer contract without the ramp kernel itself).
void BM_ForwardWalkBlock(benchmark::State& state) {
    const std::size_t n = std::size_t(state.range(0));
    static std::map<std::size_t, std::unique_ptr<Store>> stores;
    auto& store = stores[n];
    if (!store) {
        store = std::make_unique<Store>();
        for (std::size_t i = 0; i < n; ++i) store->insert_noAdjust(Node(double(i) * kSpacing, float(i % 5) * 0.25f));
    }
    DynamicLevelApplyingIteratorState s;
    DynamicLevelApplyingIteratorBase walk(s);
    walk.configureForwards(store.get(), 48000.0, 0.0);
    double sum = 0.0;
    for (auto _ : state) {
        std::uint32_t left = 512;
        while (left > 0) {
            const std::uint32_t take = s.atEnd_ ? left : std::min(s.samplesToNextNode_, left);
            sum += s.level_;
            s.level_ += float(take) * s.levelDelta_;
            left -= take;
            if (!s.atEnd_) {
                s.samplesToNextNode_ -= take;
                if (s.samplesToNextNode_ == 0) walk.moveToNextNodeForwards();
            } else {
                walk.configureForwards(store.get(), 48000.0, 0.0);  // start over at the end
            }
        }
    }
    benchmark::DoNotOptimize(sum);
}

void sizesAndPatterns(benchmark::internal::Benchmark* b) {
    for (long pattern : {0L, 1L})
        for (long n : {1000L, 10000L, 100000L, 1000000L}) b->Args({n, pattern});
    b->Unit(benchmark::kNanosecond);
}

void sizes(benchmark::internal::Benchmark* b) {
    for (long n : {1000L, 10000L, 100000L, 1000000L}) b->Args({n, 0});
    b->Unit(benchmark::kNanosecond);
}

BENCHMARK(BM_GetLevelAtTime)->Apply(sizesAndPatterns);
BENCHMARK(BM_Find)->Apply(sizesAndPatterns);
BENCHMARK(BM_Insert)->Apply(sizesAndPatterns);
BENCHMARK(BM_EraseIterator)->Apply(sizesAndPatterns);
BENCHMARK(BM_ForwardWalkBlock)->Apply(sizes);
BENCHMARK(BM_PauseOverhead)->Apply(sizes);

// Collects each run's CPU time per iteration (steadier than wall time on a shared
// machine) to print the size ratios afterwards.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs)
            if (r.run_type == Run::RT_Iteration) times_[r.benchmark_name()] = r.GetAdjustedCPUTime();
    }
    void printRatios() const {
        std::printf("\nCPU ns per call       pattern %9s %9s %9s %9s %12s\n", "10^3", "10^4", "10^5", "10^6",
                    "10^6 / 10^3");
        const char* ops[] = {"BM_GetLevelAtTime",   "BM_Find",         "BM_Insert", "BM_EraseIterator",
                             "BM_ForwardWalkBlock", "BM_PauseOverhead"};
        const char* sizes[] = {"1000", "10000", "100000", "1000000"};
        for (const char* op : ops) {
            for (const char* pattern : {"0", "1"}) {
                double t[4] = {0, 0, 0, 0};
                for (int i = 0; i < 4; ++i) {
                    auto it = times_.find(std::string(op) + "/" + sizes[i] + "/" + pattern);
                    if (it != times_.end()) t[i] = it->second;
                }
                if (t[0] == 0) continue;
                std::printf("%-20s %8s %9.1f %9.1f %9.1f %9.1f %12.2f\n", op + 3, pattern[0] == '0' ? "whole" : "local",
                            t[0], t[1], t[2], t[3], t[3] / t[0]);
            }
        }
    }

private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
