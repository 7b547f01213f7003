// The loudness meter against libebur128 with the same measurements (momentary,
// short-term, integrated, loudness range, sample and true peak), stereo and 5.1 at
// 48 kHz, on one core: 10 s of a music-like programme fed in blocks of 1024 frames.
// Prints, for each layout, the times real time of each (audio seconds per second of CPU
// time, because the machine the figures come from is shared) and their ratio, and the
// aim (twice libebur128's speed) as "aim: ..." lines.
#include "AudAtoms/AudAtoms.h"

#include <benchmark/benchmark.h>
#ifdef AUDATOMS_HAVE_EBUR128
#include <ebur128.h>
#endif

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double kRate = 48000.0;
constexpr std::size_t kBlock = 1024;
constexpr double kSeconds = 10.0;

struct Programme {
    std::vector<std::vector<float>> planar;
    std::vector<float> interleaved;
    std::vector<Aud::eChannelRole> roles;
};

// Channels of tones whose level changes every 0.3 s, with a little noise.
Programme makeProgramme(const std::vector<Aud::eChannelRole>& roles) {
    Programme p;
    p.roles = roles;
    const auto n = std::size_t(kSeconds * kRate);
    const std::size_t channels = roles.size();
    p.planar.assign(channels, std::vector<float>(n));
    p.interleaved.resize(n * channels);
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> noise(-0.01f, 0.01f);
    for (std::size_t c = 0; c < channels; ++c) {
        for (std::size_t i = 0; i < n; ++i) {
            const double t = double(i) / kRate;
            const double level = 0.05 + 0.2 * (0.5 + 0.5 * std::sin(double(std::size_t(t / 0.3)) * 1.7 + double(c)));
            const float v = float(level * std::sin(6.283185307179586 * (220.0 * double(c + 1)) * t)) + noise(rng);
            p.planar[c][i] = v;
            p.interleaved[i * channels + c] = v;
        }
    }
    return p;
}

const std::vector<Aud::eChannelRole> kStereo = {Aud::keRoleLeft, Aud::keRoleRight};
const std::vector<Aud::eChannelRole> kFiveOne = {Aud::keRoleLeft, Aud::keRoleRight,        Aud::keRoleCentre,
                                                 Aud::keRoleLFE,  Aud::keRoleLeftSurround, Aud::keRoleRightSurround};

const Programme& programme(bool fiveOne) {
    static const Programme stereo = makeProgramme(kStereo);
    static const Programme surround = makeProgramme(kFiveOne);
    return fiveOne ? surround : stereo;
}

void BM_AudLoudness(benchmark::State& state) {
    const Programme& p = programme(state.range(0) != 0);
    const std::size_t n = p.planar[0].size();
    std::vector<const float*> ptrs(p.planar.size());
    for (auto _ : state) {
        Aud::Loudness meter(p.roles, kRate);
        for (std::size_t at = 0; at < n; at += kBlock) {
            for (std::size_t c = 0; c < ptrs.size(); ++c) ptrs[c] = p.planar[c].data() + at;
            meter.process(ptrs.data(), std::min(kBlock, n - at));
        }
        benchmark::DoNotOptimize(meter.integrated());
        benchmark::DoNotOptimize(meter.loudnessRange());
        benchmark::DoNotOptimize(meter.truePeak());
    }
    state.counters["x_real_time"] =
        benchmark::Counter(kSeconds * double(state.iterations()), benchmark::Counter::kIsRate);
}

#ifdef AUDATOMS_HAVE_EBUR128
void BM_Libebur128(benchmark::State& state) {
    const Programme& p = programme(state.range(0) != 0);
    const std::size_t channels = p.roles.size();
    const std::size_t n = p.planar[0].size();
    for (auto _ : state) {
        ebur128_state* st = ebur128_init(unsigned(channels), static_cast<unsigned long>(kRate),
                                         EBUR128_MODE_M | EBUR128_MODE_S | EBUR128_MODE_I | EBUR128_MODE_LRA |
                                             EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_TRUE_PEAK);
        if (channels == 6) {
            const int map[6] = {EBUR128_LEFT,   EBUR128_RIGHT,         EBUR128_CENTER,
                                EBUR128_UNUSED, EBUR128_LEFT_SURROUND, EBUR128_RIGHT_SURROUND};
            for (unsigned c = 0; c < 6; ++c) ebur128_set_channel(st, c, map[c]);
        }
        for (std::size_t at = 0; at < n; at += kBlock)
            ebur128_add_frames_float(st, p.interleaved.data() + at * channels, std::min(kBlock, n - at));
        double v = 0;
        ebur128_loudness_global(st, &v);
        benchmark::DoNotOptimize(v);
        ebur128_loudness_range(st, &v);
        benchmark::DoNotOptimize(v);
        for (unsigned c = 0; c < channels; ++c) ebur128_true_peak(st, c, &v);
        benchmark::DoNotOptimize(v);
        ebur128_destroy(&st);
    }
    state.counters["x_real_time"] =
        benchmark::Counter(kSeconds * double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Libebur128)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(BM_AudLoudness)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred) times[r.benchmark_name()] = r.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nLoudness with true peak, 48 kHz, %.0f s programme, one core (CPU time)\n", kSeconds);
    std::printf("%-8s %18s %18s %22s\n", "layout", "Aud::Loudness xRT", "libebur128 xRT", "speed ratio (ours/it)");
    for (const char* layout : {"0", "1"}) {
        const auto ours = reporter.times.find(std::string("BM_AudLoudness/") + layout);
        const auto theirs = reporter.times.find(std::string("BM_Libebur128/") + layout);
        if (ours == reporter.times.end()) continue;
        // Adjusted CPU times are in the benchmark's unit (milliseconds) per iteration.
        const double oursXrt = kSeconds * 1000.0 / ours->second;
        const double theirsXrt = theirs == reporter.times.end() ? 0.0 : kSeconds * 1000.0 / theirs->second;
        std::printf("%-8s %17.0fx %17.0fx %21.2fx\n", layout[0] == '0' ? "stereo" : "5.1", oursXrt, theirsXrt,
                    theirsXrt > 0 ? oursXrt / theirsXrt : 0.0);
        if (theirsXrt > 0)
            std::printf("aim: Loudness with true peak, %s: %.2f x libebur128's speed (aim 2) %s\n",
                        layout[0] == '0' ? "stereo" : "5.1", oursXrt / theirsXrt,
                        oursXrt >= 2.0 * theirsXrt ? "met" : "MISSED");
    }
    benchmark::Shutdown();
    return 0;
}
