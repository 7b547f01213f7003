// Speed of Aud::Resampler beside libsoxr and libsamplerate in the same run: stereo
// 44.1 -> 48 kHz and 48 kHz -> 48 kHz / 1.001, every quality of each, streaming blocks of
// 4096 input frames. Each figure is times real time on one core (output audio seconds per
// second of the thread's processor time), the best of kPasses passes over kSeconds of
// stereo noise (the machine may be shared). The table pairs each quality with the
// outside settings nearest to it: quick ~ soxr LQ / libsamplerate SRC_SINC_FASTEST,
// high ~ soxr HQ / SRC_SINC_MEDIUM_QUALITY, best ~ soxr VHQ / SRC_SINC_BEST_QUALITY;
// the aims (best at least 2x libsamplerate's best, within 1.5x of soxr's very high
// quality) are checked and printed. Then every instruction set's dot-product loops,
// forced one at a time, on the first conversion, beside the one selected.
#include "AudAtoms/kernels/Aud__Resampler.h"
#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include <benchmark/benchmark.h>
#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr double kSeconds = 10.0;
constexpr int kPasses = 3;
constexpr std::size_t kBlock = 4096;

double threadCpu() {
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

std::vector<float> noise(std::size_t samples) {
    std::vector<float> v(samples);
    std::uint64_t s = 88172645463325252ull;
    for (float& x : v) {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        x = float(double(s >> 11) / 9007199254740992.0 - 0.5);
    }
    return v;
}

struct Case {
    const char* name;
    Aud::SampleRate from, to;
};

// Runs `pass` (one whole conversion) kPasses times; the best times real time.
double best(double outSeconds, const std::function<void()>& pass) {
    double bestCpu = 1e30;
    for (int p = 0; p < kPasses; ++p) {
        const double t0 = threadCpu();
        pass();
        bestCpu = std::min(bestCpu, threadCpu() - t0);
    }
    return outSeconds / bestCpu;
}

double viaOurs(const Case& c, Aud::Resampler::eQuality q, const std::vector<float>& left,
               const std::vector<float>& right) {
    const double fout = c.to.calcCombinedSampleRate();
    const std::size_t frames = left.size();
    return best(double(frames) * fout / c.from.calcCombinedSampleRate() / fout, [&] {
        Aud::Resampler r(c.from, c.to, 2, q);
        std::vector<float> o0(r.maxOutputFrames(kBlock)), o1(o0.size());
        float* outs[2] = {o0.data(), o1.data()};
        for (std::size_t i = 0; i < frames; i += kBlock) {
            const std::size_t n = std::min(kBlock, frames - i);
            const float* ins[2] = {left.data() + i, right.data() + i};
            benchmark::DoNotOptimize(r.process(ins, n, outs, o0.size()));
        }
    });
}

double viaSoxr(const Case& c, unsigned long recipe, const std::vector<float>& interleaved) {
    const double fin = c.from.calcCombinedSampleRate(), fout = c.to.calcCombinedSampleRate();
    const std::size_t frames = interleaved.size() / 2;
    return best(double(frames) / fin, [&] {
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t qs = soxr_quality_spec(recipe, 0);
        const soxr_runtime_spec_t rt = soxr_runtime_spec(1);  // one thread
        soxr_error_t err = nullptr;
        soxr_t s = soxr_create(fin, fout, 2, &err, &io, &qs, &rt);
        std::vector<float> out((kBlock * 2 + 64) * 2);
        for (std::size_t i = 0; i < frames; i += kBlock) {
            const std::size_t n = std::min(kBlock, frames - i);
            std::size_t done = 0, made = 0;
            soxr_process(s, interleaved.data() + i * 2, n, &done, out.data(), out.size() / 2, &made);
            benchmark::DoNotOptimize(made);
        }
        soxr_delete(s);
    });
}

double viaSamplerate(const Case& c, int converter, const std::vector<float>& interleaved) {
    const double fin = c.from.calcCombinedSampleRate(), fout = c.to.calcCombinedSampleRate();
    const std::size_t frames = interleaved.size() / 2;
    return best(double(frames) / fin, [&] {
        int err = 0;
        SRC_STATE* s = src_new(converter, 2, &err);
        std::vector<float> out((kBlock * 2 + 64) * 2);
        for (std::size_t i = 0; i < frames;) {
            SRC_DATA d{};
            d.data_in = interleaved.data() + i * 2;
            d.input_frames = long(std::min(kBlock, frames - i));
            d.data_out = out.data();
            d.output_frames = long(out.size() / 2);
            d.src_ratio = fout / fin;
            src_process(s, &d);
            i += std::size_t(d.input_frames_used);
            benchmark::DoNotOptimize(d.output_frames_gen);
        }
        src_delete(s);
    });
}

}  // namespace

int main() {
    const Case cases[] = {
        {"44.1 -> 48 kHz", Aud::SampleRate(Aud::keBaseSampleRate44100), Aud::SampleRate(Aud::keBaseSampleRate48000)},
        {"48 -> 48/1.001 kHz", Aud::SampleRate(Aud::keBaseSampleRate48000),
         Aud::SampleRate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001)},
    };
    struct Level {
        Aud::Resampler::eQuality q;
        unsigned long soxrRecipe;
        const char* soxrName;
        int src;
        const char* srcName;
    };
    const Level levels[] = {
        {Aud::Resampler::keQualityQuick, SOXR_LQ, "LQ", SRC_SINC_FASTEST, "SINC_FASTEST"},
        {Aud::Resampler::keQualityHigh, SOXR_HQ, "HQ", SRC_SINC_MEDIUM_QUALITY, "SINC_MEDIUM"},
        {Aud::Resampler::keQualityBest, SOXR_VHQ, "VHQ", SRC_SINC_BEST_QUALITY, "SINC_BEST"},
    };
    bool aimsMet = true;
    std::printf("stereo, blocks of %zu input frames, %.0f s of noise, best of %d passes; times real time on one core\n",
                kBlock, kSeconds, kPasses);
    std::printf("%-20s %-6s %10s %14s %10s %22s %10s\n", "conversion", "ours", "x rt", "libsoxr", "x rt",
                "libsamplerate", "x rt");
    for (const Case& c : cases) {
        const std::size_t frames = std::size_t(kSeconds * c.from.calcCombinedSampleRate());
        const std::vector<float> left = noise(frames), right = noise(frames + 7);
        std::vector<float> inter(frames * 2);
        for (std::size_t i = 0; i < frames; ++i) {
            inter[2 * i] = left[i];
            inter[2 * i + 1] = right[i + 7];
        }
        for (const Level& l : levels) {
            const double a = viaOurs(c, l.q, left, right);
            const double b = viaSoxr(c, l.soxrRecipe, inter);
            const double d = viaSamplerate(c, l.src, inter);
            std::printf("%-20s %-6s %10.1f %14s %10.1f %22s %10.1f\n", c.name, Aud::resamplerQualityName(l.q), a,
                        l.soxrName, b, l.srcName, d);
            if (l.q == Aud::Resampler::keQualityBest) {
                const bool vsSrc = a >= 2.0 * d, vsSoxr = a * 1.5 >= b;
                std::printf("aim: Resampler best %s: %.2f x libsamplerate best's speed (aim 2) %s\n", c.name, a / d,
                            vsSrc ? "met" : "MISSED");
                std::printf("aim: Resampler best %s: %.2f x libsoxr VHQ's speed (aim 0.67) %s\n", c.name, a / b,
                            vsSoxr ? "met" : "MISSED");
                aimsMet = aimsMet && vsSrc && vsSoxr;
            }
        }
    }
    std::printf("%s\n", aimsMet ? "all speed aims met" : "some speed aims not met");

    namespace RK = Aud::ResamplerKernels;
    const RK::Kernels* sets[] = {RK::sse2Kernels(), RK::avx2Kernels(), RK::avx512Kernels()};
    const Case& c = cases[0];
    const std::size_t frames = std::size_t(kSeconds * c.from.calcCombinedSampleRate());
    const std::vector<float> left = noise(frames), right = noise(frames + 7);
    std::printf("\n%s, every instruction set, times real time (* the fastest; selected: %s)\n", c.name,
                RK::activeKernels().name);
    std::printf("%-8s", "quality");
    for (const RK::Kernels* k : sets)
        if (k) std::printf(" %10s", k->name);
    std::printf("\n");
    for (const Level& l : levels) {
        double x[3] = {0, 0, 0}, fastest = 0;
        for (int i = 0; i < 3; ++i) {
            if (!sets[i]) continue;
            RK::forceKernels(sets[i]);
            x[i] = viaOurs(c, l.q, left, right);
            fastest = std::max(fastest, x[i]);
        }
        RK::forceKernels(nullptr);
        std::printf("%-8s", Aud::resamplerQualityName(l.q));
        for (int i = 0; i < 3; ++i)
            if (sets[i]) std::printf(" %9.1f%s", x[i], x[i] == fastest ? "*" : " ");
        std::printf("\n");
    }
    return 0;
}
