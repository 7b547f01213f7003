// The true-peak interpolator at 48 kHz (8 phases of 32 taps) on one channel of noise:
// every filter pass on every instruction set this machine runs (floor 0, so nothing is
// skipped), in nanoseconds per input sample, beside the plain scalar reference; then a
// programme whose level moves below its peak, fed with the running peak as the floor,
// to show what the skipping saves. Best of several runs of processor time (the machine
// the figures come from is shared).
#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

namespace {

namespace TK = Aud::TruePeakKernels;

constexpr unsigned kBlock = 1920;  // one 25 fps frame at 48 kHz
constexpr unsigned kSamples = 48000 * 10;

double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Nanoseconds per input sample, best of 5 runs over x.
double nsPerSample(const std::vector<float>& x, bool floorIsPeak, float& peakOut) {
    double best = 1e30;
    for (int run = 0; run < 5; ++run) {
        Aud::TruePeakInterpolator tp(48000.0);
        float peak = 0.0f;
        const double t0 = cpuSeconds();
        for (std::size_t i = 0; i < x.size(); i += kBlock)
            peak = std::max(peak, tp.process(x.data() + i, kBlock, floorIsPeak ? peak : 0.0f));
        best = std::min(best, (cpuSeconds() - t0) * 1e9 / double(x.size()));
        peakOut = peak;
    }
    return best;
}

}  // namespace

int main() {
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> noise(kSamples), programme(kSamples);
    for (float& v : noise) v = 0.5f * u(rng);
    // Level moving between -30 and -3 dB every 100 ms, with a peak early on.
    for (std::size_t i = 0; i < kSamples; ++i) {
        const float level = std::pow(10.0f, (-16.5f + 13.5f * std::sin(float(i / 4800) * 0.7f)) / 20.0f);
        programme[i] = level * u(rng);
    }

    std::vector<const TK::Kernels*> sets = {&TK::referenceKernels()};
    for (const TK::Kernels* k : {TK::sse2Kernels(), TK::avx2Kernels(), TK::avx512Kernels()})
        if (k) sets.push_back(k);
    std::vector<double> ns;
    float peak = 0.0f, firstPeak = 0.0f;
    for (const TK::Kernels* k : sets) {
        TK::forceKernels(k);
        ns.push_back(nsPerSample(noise, false, peak));
        if (k == sets.front()) firstPeak = peak;
        if (peak != firstPeak) std::printf("error: %s finds a different peak\n", k->name);
    }
    TK::forceKernels(nullptr);
    const double fastest = *std::min_element(ns.begin() + 1, ns.end());
    std::printf("true-peak filter, 48 kHz, every pass filtered: ns per input sample (* the fastest; selected: %s)\n",
                TK::activeKernels().name);
    for (std::size_t i = 0; i < sets.size(); ++i)
        std::printf("  %-8s %8.2f ns%s  %5.1f x scalar\n", sets[i]->name, ns[i], ns[i] == fastest ? "*" : " ",
                    ns[0] / ns[i]);
    const double all = nsPerSample(programme, false, peak);
    const double skipping = nsPerSample(programme, true, firstPeak);
    std::printf("programme moving -30..-3 dB: %.2f ns filtering everything, %.2f ns with the running peak as the "
                "floor (%.1f x), same peak: %s\n",
                all, skipping, all / skipping, peak == firstPeak ? "yes" : "NO");
    return peak == firstPeak ? 0 : 1;
}
