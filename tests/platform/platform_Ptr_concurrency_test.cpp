#include "platform/Ptr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {
std::atomic<int> destroyedCount{0};
struct Counted : iObject {
    ~Counted() override { destroyedCount.fetch_add(1); }
};
}  // namespace

TEST(PtrConcurrency, TwoThreadsCopyingAndReleasingKeepTheCountExact) {
    destroyedCount = 0;
    Qm::Ptr<Counted> shared(new Counted);
    constexpr int kRounds = 100000;
    std::atomic<bool> go{false};
    auto churn = [&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < kRounds; ++i) {
            Qm::Ptr<Counted> a = shared;
            Qm::Ptr<Counted> b = a;
            Qm::Ptr<iObject> c = b;
            b.reset();
        }
    };
    std::thread t1(churn), t2(churn);
    go = true;
    t1.join();
    t2.join();
    EXPECT_EQ(shared->refCount(), 1);
    EXPECT_EQ(destroyedCount.load(), 0);
    shared.reset();
    EXPECT_EQ(destroyedCount.load(), 1);
}

TEST(PtrConcurrency, TheLastOfTwoConcurrentReleasesDeletesExactlyOnce) {
    destroyedCount = 0;
    constexpr int kObjects = 2000;
    std::vector<Qm::Ptr<Counted>> left(kObjects), right(kObjects);
    for (int i = 0; i < kObjects; ++i) {
        left[i] = new Counted;
        right[i] = left[i];
    }
    std::atomic<int> ready{0};
    auto release = [&ready](std::vector<Qm::Ptr<Counted>>& mine) {
        ready.fetch_add(1);
        while (ready.load() < 2) std::this_thread::yield();
        for (auto& p : mine) p.reset();
    };
    std::thread t1(release, std::ref(left)), t2(release, std::ref(right));
    t1.join();
    t2.join();
    EXPECT_EQ(destroyedCount.load(), kObjects);
}
