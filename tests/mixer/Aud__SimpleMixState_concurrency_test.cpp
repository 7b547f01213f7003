// Aud::SimpleMixState across threads: setters against copies (both lock the source, so a
// copy sees whole setter calls), lock-free getters against setters, and files replaced
// atomically while another thread reads them. Run under ThreadSanitizer by make test-tsan.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/ScratchDir.h"
#include "tests/support/SimpleMixStateTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

using Aud::SimpleMixState;

namespace {

constexpr int kSteps = 1500;
constexpr float kStep = 1.0f / 1024.0f;  // kSteps * kStep stays below the 1.5 clamp

TEST(SimpleMixStateConcurrency, CopiesSeeWholeSetterCalls) {
    SimpleMixState source(32, 4, 4);
    // Step 0: every input at level 0 (a fresh state's inputs stand at 1.0, which is not on
    // the step line).
    for (int i = 0; i < 32; ++i) source.setInputLevel(i, 0.0f);
    std::atomic<bool> done{false};
    std::atomic<int> copiesSoFar{0};
    std::thread writer([&] {
        // Step k writes level k * kStep to every input, input 0 first. The writer waits for
        // the copier now and then, so that copies fall all over the run.
        for (int k = 1; k <= kSteps; ++k) {
            for (int i = 0; i < 32; ++i) source.setInputLevel(i, float(k) * kStep);
            while (copiesSoFar.load() * 4 < k) std::this_thread::yield();
        }
        done = true;
    });
    int copies = 0, bad = 0;
    SimpleMixState copy(32, 4, 4);
    while (!done || copies == 0) {
        copy.copyFrom(source, false);
        copiesSoFar = ++copies;
        // A copy taken between two setter calls: inputs before the one being written hold
        // step k, the rest step k - 1 (or all hold the same step).
        const float first = copy.getInputLevel(0), last = copy.getInputLevel(31);
        if (!(first == last || first - last == kStep)) ++bad;
        for (int i = 1; i < 32; ++i) {
            const float v = copy.getInputLevel(i);
            if (!(v == first || v == last) || v > copy.getInputLevel(i - 1)) ++bad;
        }
        if (!copy.getDirty()) ++bad;
    }
    writer.join();
    EXPECT_EQ(bad, 0) << "of " << copies << " copies";
    EXPECT_GE(copies, kSteps / 4);
    copy.copyFrom(source, false);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(copy.getInputLevel(i), float(kSteps) * kStep);
}

TEST(SimpleMixStateConcurrency, CopiesNeverSeeAnOutputRoutedTwice) {
    SimpleMixState source(32, 4, 6);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        std::mt19937 rng(5);
        for (int k = 0; k < kSteps; ++k) {
            const int mix = int(rng() % 4) - 1;
            source.setMixRoutedToOutput(mix, int(rng() % 4), rng() % 2, true);  // exclusive
            source.setInputMuteState(int(rng() % 32), rng() % 2);
        }
        done = true;
    });
    int copies = 0, bad = 0;
    SimpleMixState copy(32, 4, 6);
    while (!done || copies == 0) {
        copy.copyFrom(source, true);
        ++copies;
        for (int out = 0; out < 4; ++out) {
            int routed = 0;
            for (int mix = -1; mix <= 2; ++mix)
                for (bool left : {true, false}) routed += copy.getMixRoutedToOutput(mix, out, left) ? 1 : 0;
            // Each output 0..3 starts routed once at most (outputs 2 and 3 not at all) and
            // every exclusive route keeps it at one.
            if (routed > 1) ++bad;
        }
    }
    writer.join();
    EXPECT_EQ(bad, 0) << "of " << copies << " copies";
}

TEST(SimpleMixStateConcurrency, GettersReadBesideSetters) {
    SimpleMixState state(8, 4, 4);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int k = 1; k <= kSteps; ++k) {
            state.setInputLevel(k % 8, float(k) * kStep);
            state.setInputPan(k % 8, -float(k));
            state.setMixSoloState(k % 3, k % 2);
            state.setInputRoutedToMix(k % 8, k % 3, k % 2);
        }
        done = true;
    });
    int reads = 0, bad = 0;
    while (!done || reads == 0) {
        for (int i = 0; i < 8; ++i) {
            const float level = state.getInputLevel(i);
            const float steps = level / kStep;
            if (level != 1.0f && (steps != float(int(steps)) || steps > float(kSteps))) ++bad;
            const float pan = state.getInputPan(i);
            if (pan != 0.5f && (pan > -1.0f || pan != float(int(pan)))) ++bad;
            (void)state.getInputRoutedToMix(i, 0);
        }
        (void)state.anyMixSolo();
        (void)state.getDirty();
        ++reads;
    }
    writer.join();
    EXPECT_EQ(bad, 0) << "of " << reads << " reads";
    EXPECT_EQ(state.getInputLevel(kSteps % 8), float(kSteps) * kStep);
}

TEST(SimpleMixStateConcurrency, TwoCopiersAndAWriter) {
    SimpleMixState source(32, 4, 4);
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int k = 0; k < kSteps; ++k) {
            source.setMixLevel(k % 4 - 1, float(k % 7) * 0.125f);
            source.setInputSoloState(k % 32, k % 2);
        }
        done = true;
    });
    auto copier = [&] {
        SimpleMixState copy;
        int n = 0;
        while (!done || n == 0) {
            copy = source;
            ++n;
        }
        return n;
    };
    int a = 0, b = 0;
    std::thread t1([&] { a = copier(); });
    std::thread t2([&] { b = copier(); });
    writer.join();
    t1.join();
    t2.join();
    EXPECT_GT(a, 0);
    EXPECT_GT(b, 0);
    SimpleMixState last;
    last = source;
    std::string why;
    EXPECT_TRUE(audatoms::test::sameState(last, source, &why)) << why;
}

TEST(SimpleMixStateConcurrency, ReadersOfASavedFileSeeOneWholeVersion) {
    audatoms::test::ScratchDir dir;
    const std::string path = dir.file("mix_atomic.strm");
    SimpleMixState a(1024, 16, 18), b(512, 4, 8);
    a.setInputLevel(1000, 0.25f);
    b.setInputLevel(100, 0.75f);
    ASSERT_TRUE(a.saveToStreamFile(path));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int k = 0; k < 60; ++k) (k % 2 ? a : b).saveToStreamFile(path);
        done = true;
    });
    int loads = 0, bad = 0;
    while (!done || loads == 0) {
        SimpleMixState back;
        std::string error;
        if (!back.loadFromStreamFile(path, &error)) {
            ++bad;
            ADD_FAILURE() << error;
        } else if (!(audatoms::test::sameState(back, a, nullptr) || audatoms::test::sameState(back, b, nullptr))) {
            ++bad;
        }
        ++loads;
    }
    writer.join();
    EXPECT_EQ(bad, 0) << "of " << loads << " loads";
}

}  // namespace
