// Readers of the loudness meter on other threads while the audio thread processes:
// every reading is one the meter could give (finite once defined, within the
// programme's range), and the audio thread never waits for them.
#include "AudAtoms/AudAtoms.h"

#include "../support/LoudnessSignals.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

using namespace Aud;

TEST(LoudnessConcurrency, ReadersSeeSaneValuesWhileTheAudioThreadProcesses) {
    Loudness meter({keRoleLeft, keRoleRight}, 48000.0);
    std::atomic<bool> done{false};
    std::atomic<long> readings{0}, insane{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r) {
        readers.emplace_back([&] {
            while (!done.load()) {
                const double values[] = {meter.momentary(), meter.shortTerm(), meter.integrated(),
                                         meter.maxMomentary()};
                for (double v : values)
                    if (!(v == -INFINITY || (v > -40.0 && v < -10.0))) insane.fetch_add(1);
                const double range = meter.loudnessRange();
                if (!(range >= 0.0 && range < 20.0)) insane.fetch_add(1);
                if (meter.truePeak() > 0.5f) insane.fetch_add(1);
                readings.fetch_add(1);
            }
        });
    }
    audatoms::test::feedSines(
        2, 48000.0, {{-20.0, 8.0}, {-30.0, 8.0}}, [&](const float* const* ch, std::size_t n) { meter.process(ch, n); },
        {}, 480);
    done = true;
    for (std::thread& t : readers) t.join();
    EXPECT_EQ(insane.load(), 0);
    EXPECT_GT(readings.load(), 0);
    EXPECT_NEAR(meter.loudnessRange(), 10.0, 1.0);
}
