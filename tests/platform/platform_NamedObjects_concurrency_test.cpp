#include "platform/NamedObjects.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {
struct Shared {
    int value = 0;
};
std::atomic<int> made{0};
Shared* countingFactory() {
    made.fetch_add(1);
    return new Shared;
}
}  // namespace

TEST(NamedObjectsConcurrency, ConcurrentFindOrCreateMakesOneObjectPerName) {
    auto& ns = Qm::NamedObjectsNamespace::global();
    constexpr int kThreads = 6;
    constexpr int kNames = 50;
    made = 0;
    std::vector<std::vector<Shared*>> seen(kThreads, std::vector<Shared*>(kNames));
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) std::this_thread::yield();
            for (int n = 0; n < kNames; ++n) {
                const int name = (n + t * 7) % kNames;  // threads meet on names in different orders
                const std::string text = "concurrent-" + std::to_string(name);
                seen[t][name] = ns.findOrCreate<Shared>(LightweightString<char>(text.c_str()), &countingFactory);
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(made.load(), kNames) << "the factory ran once per name";
    std::set<Shared*> distinct;
    for (int n = 0; n < kNames; ++n) {
        ASSERT_NE(seen[0][n], nullptr);
        distinct.insert(seen[0][n]);
        for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[t][n], seen[0][n]) << "name " << n;
    }
    EXPECT_EQ(distinct.size(), std::size_t(kNames));
}
