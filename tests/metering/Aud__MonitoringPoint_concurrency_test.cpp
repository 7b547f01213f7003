// The registry under load: an audio-rate writer on fixed points, a thread registering
// and unregistering points, and eight display threads making, copying, assigning and
// reading readers, all at once for a few seconds. Run under ThreadSanitizer by
// `make test-tsan` and under AddressSanitizer/LeakSanitizer by `make test-sanitize`.
#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include "tests/support/MonitoringPoints.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using namespace Aud;
using namespace std::chrono_literals;

namespace {

constexpr int kFixedPoints = 4;
constexpr int kReaderThreads = 8;
constexpr auto kRunTime = 3s;

using audatoms::test::RegisteredPoint;
using audatoms::test::registerPoint;

// Reader ids that display threads may pick, including ones whose point is gone.
class IdPool {
public:
    void add(const IdStamp& id) {
        std::lock_guard<std::mutex> g(m_);
        ids_.push_back(id);
        if (ids_.size() > 64) ids_.erase(ids_.begin() + kFixedPoints);  // keep the fixed ones
    }
    IdStamp pick(std::mt19937& rng) {
        std::lock_guard<std::mutex> g(m_);
        return ids_[std::uniform_int_distribution<std::size_t>(0, ids_.size() - 1)(rng)];
    }

private:
    std::mutex m_;
    std::vector<IdStamp> ids_;
};

}  // namespace

TEST(MonitoringPointConcurrency, WritersReadersAndRegistrationTogether) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const std::size_t listedBefore = m.numListedReaders();
    const std::size_t orphansBefore = m.numOrphans();

    std::vector<RegisteredPoint> fixed;
    IdPool pool;
    for (int i = 0; i < kFixedPoints; ++i) {
        fixed.push_back(registerPoint(L"fixed"));
        pool.add(fixed.back().readerId);
    }

    std::atomic<bool> stop{false};
    std::atomic<long> blocks{0}, registrations{0}, reads{0}, badValues{0}, invalidFixed{0};

    // Audio thread: one block about every millisecond, peaks in [0, 0.98], a clip
    // now and then (peak 1.0), a reset rarely.
    std::thread audio([&] {
        std::vector<MonitoringPointWriter> writers;
        for (const auto& p : fixed) writers.emplace_back(p.writerId);
        std::mt19937 rng(1);
        std::uniform_real_distribution<float> level(0.0f, 0.98f);
        while (!stop.load()) {
            for (auto& w : writers) {
                w.updatePeakSampleValue(level(rng));
                if (rng() % 16 == 0) w.updateHasClipped();
                if (rng() % 512 == 0) w.reset();
            }
            ++blocks;
            std::this_thread::sleep_for(1ms);
        }
    });

    // Registration thread: points come and go, each written a little while alive.
    std::thread churn([&] {
        std::mt19937 rng(2);
        while (!stop.load()) {
            const RegisteredPoint p = registerPoint(L"transient");
            pool.add(p.readerId);
            MonitoringPointWriter w(p.writerId);
            for (int i = 0; i < 5; ++i) {
                w.updatePeakSampleValue(0.5f);
                if (rng() % 4 == 0) w.updateHasClipped();
                std::this_thread::sleep_for(200us);
            }
            EXPECT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sSuccess);
            EXPECT_EQ(MonitoringPointManager::getInfo(p.writerId).name, L"transient");
            ++registrations;
        }
    });

    std::vector<std::thread> displays;
    for (int t = 0; t < kReaderThreads; ++t) {
        displays.emplace_back([&, t] {
            std::mt19937 rng(100 + t);
            // A long-lived reader of a fixed point, and a few that come and go.
            MonitoringPointReader steady(fixed[t % kFixedPoints].readerId);
            std::vector<MonitoringPointReader> mine(4);
            while (!stop.load()) {
                MonitoringPointReader& r = mine[rng() % mine.size()];
                switch (rng() % 4) {
                case 0: r = MonitoringPointReader(pool.pick(rng)); break;
                case 1: r = MonitoringPointReader(r); break;
                case 2: r = mine[rng() % mine.size()]; break;
                default: break;
                }
                for (MonitoringPointReader* x : {&r, &steady}) {
                    const float v = x->peakValue(rng() % 2 == 0);
                    if (!(v >= 0.0f && v <= 1.0f)) ++badValues;
                    x->hasClipped(rng() % 2 == 0);
                    ++reads;
                }
                if (!steady.valid()) ++invalidFixed;
                (void)r.valid();
                (void)r.getId();
                std::this_thread::yield();
            }
        });
    }

    std::this_thread::sleep_for(kRunTime);
    stop.store(true);
    audio.join();
    churn.join();
    for (auto& d : displays) d.join();

    EXPECT_GT(blocks.load(), 100);
    EXPECT_GT(registrations.load(), 10);
    EXPECT_GT(reads.load(), 1000);
    EXPECT_EQ(badValues.load(), 0);
    EXPECT_EQ(invalidFixed.load(), 0);

    // Every reader state made by the display threads has been freed again.
    EXPECT_EQ(m.numListedReaders(), listedBefore);
    EXPECT_EQ(m.numOrphans(), orphansBefore);

    // The fixed points still work after the storm.
    MonitoringPointReader after(fixed[0].readerId);
    EXPECT_TRUE(after.valid());
    MonitoringPointWriter(fixed[0].writerId).updatePeakSampleValue(0.25f);
    EXPECT_EQ(after.peakValue(false), 0.25f);
    for (const auto& p : fixed) EXPECT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sSuccess);
    EXPECT_FALSE(after.valid());
}

TEST(MonitoringPointConcurrency, FirstUseFromManyThreadsMakesOneManager) {
    // CTest runs every test in a process of its own, so here the manager does not exist
    // yet and the threads race its creation; all must get the same object.
    std::vector<MonitoringPointManager*> seen(8, nullptr);
    std::vector<std::thread> ts;
    for (int i = 0; i < 8; ++i) ts.emplace_back([&, i] { seen[i] = &MonitoringPointManager::instance(); });
    for (auto& t : ts) t.join();
    for (auto* p : seen) EXPECT_EQ(p, seen[0]);
}
