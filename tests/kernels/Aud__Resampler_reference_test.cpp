// Aud::Resampler beside two outside converters on the same generated signals, for
// 44.1 -> 48, 48 -> 44.1, 48 -> 96, 96 -> 48, 32 -> 48 and 48 -> 48 / 1.001 kHz:
// - the best quality's THD+N (997 Hz at -1 dBFS), its residual beside passband sines and
//   its aliases of tones above the lower Nyquist frequency are at least as good as
//   libsamplerate's SRC_SINC_BEST_QUALITY on the same signals;
// - its output differs from libsoxr's very-high-quality output on band-limited noise
//   by less than -110 dB (relative to the signal).
// The "1 kHz" tone is 997 Hz, so that its period is not a whole number of frames at any
// of the rates (a whole number would make the output's float rounding repeat and the
// THD+N figure depend on a few dozen rounding errors).
// libsoxr and libsamplerate are test and benchmark dependencies only.
#include "AudAtoms/kernels/Aud__Resampler.h"

#include "tests/support/ResamplerSignals.h"

#include <gtest/gtest.h>

#include <samplerate.h>
#include <soxr.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using Aud::Resampler;
using Aud::SampleRate;
using namespace audatoms::test;

namespace {

std::vector<float> viaSamplerate(const std::vector<float>& x, double fin, double fout) {
    std::vector<float> y(std::size_t(double(x.size()) * fout / fin) + 64);
    SRC_DATA d{};
    d.data_in = x.data();
    d.input_frames = long(x.size());
    d.data_out = y.data();
    d.output_frames = long(y.size());
    d.src_ratio = fout / fin;
    EXPECT_EQ(src_simple(&d, SRC_SINC_BEST_QUALITY, 1), 0);
    y.resize(std::size_t(d.output_frames_gen));
    return y;
}

// libsoxr at very high quality; `flat` asks for its flat passband (SOXR_ROLLOFF_NONE):
// its default keeps a small roll-off (up to 0.01 dB) at the top of the passband.
std::vector<float> viaSoxr(const std::vector<float>& x, double fin, double fout, bool flat) {
    std::vector<float> y(std::size_t(double(x.size()) * fout / fin) + 64);
    std::size_t done = 0;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t qs = soxr_quality_spec(SOXR_VHQ, flat ? SOXR_ROLLOFF_NONE : 0);
    const soxr_error_t e =
        soxr_oneshot(fin, fout, 1, x.data(), x.size(), nullptr, y.data(), y.size(), &done, &io, &qs, nullptr);
    EXPECT_EQ(e, nullptr);
    y.resize(done);
    return y;
}

std::vector<float> viaOurs(const std::vector<float>& x, const Conversion& cv) {
    Resampler r(cv.from, cv.to, 1, Resampler::keQualityBest);
    return resampleAll(r, x);
}

// The figures compared: THD+N of 1 kHz, worst residual beside passband sines, worst alias.
struct Figures {
    double thdn = 0.0, toneResidual = -400.0, alias = -400.0;
};

template <class Convert>
Figures measure(const Conversion& cv, Convert convert) {
    const double fin = cv.from.calcCombinedSampleRate(), fout = cv.to.calcCombinedSampleRate();
    const double lowerNyquist = std::min(fin, fout) / 2.0;
    const std::size_t frames = 32768, edge = 2048;  // generous: the references' filters are long
    Figures f;
    {
        const auto y = convert(makeSine(997.0, fin, std::size_t(fin), std::pow(10.0, -1.0 / 20.0)));
        f.thdn = fitSine(y.data() + edge, y.size() - 2 * edge, 997.0 / fout).thdnDb();
    }
    for (int i = 0; i < 8; ++i) {
        const double fr = 100.0 + (0.91 * lowerNyquist - 100.0) * double(i) / 7.0;
        const auto y = convert(makeSine(fr, fin, frames, 0.5));
        f.toneResidual = std::max(f.toneResidual, fitSine(y.data() + edge, y.size() - 2 * edge, fr / fout).thdnDb());
    }
    if (fout < fin) {
        for (int i = 0; i < 6; ++i) {
            const double fr = lowerNyquist + (fin / 2.0 - lowerNyquist) * (0.02 + 0.96 * double(i) / 5.0);
            const auto y = convert(makeSine(fr, fin, frames, 0.5));
            f.alias = std::max(f.alias, toDb(rms(y.data() + edge, y.size() - 2 * edge) / (0.5 / std::sqrt(2.0))));
        }
    }
    return f;
}

// Band-limited noise: 300 sines of random frequency below 0.85 of the lower Nyquist
// frequency and random phase (each made by a rotating phasor in double precision).
std::vector<float> bandLimitedNoise(double fin, double top, std::size_t frames) {
    std::vector<double> acc(frames, 0.0);
    std::uint64_t s = 0x2545F4914F6CDD1Dull;
    auto uniform = [&s] {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return double(s >> 11) / 9007199254740992.0;
    };
    for (int k = 0; k < 300; ++k) {
        const double f = 20.0 + (top - 20.0) * uniform();
        const double ph = kTwoPi * uniform();
        const double wr = std::cos(kTwoPi * f / fin), wi = std::sin(kTwoPi * f / fin);
        double re = std::cos(ph), im = std::sin(ph);
        for (std::size_t i = 0; i < frames; ++i) {
            acc[i] += im;
            const double nr = re * wr - im * wi;
            im = re * wi + im * wr;
            re = nr;
        }
    }
    std::vector<float> v(frames);
    for (std::size_t i = 0; i < frames; ++i) v[i] = float(acc[i] * 0.25 / std::sqrt(150.0));  // rms about 0.25
    return v;
}

class ResamplerReference : public ::testing::TestWithParam<int> {};

}  // namespace

TEST_P(ResamplerReference, BestIsAtLeastAsGoodAsLibsamplerateBest) {
    const Conversion& cv = kResamplerConversions[GetParam()];
    const double fin = cv.from.calcCombinedSampleRate(), fout = cv.to.calcCombinedSampleRate();
    const Figures ours = measure(cv, [&](const std::vector<float>& x) { return viaOurs(x, cv); });
    const Figures src = measure(cv, [&](const std::vector<float>& x) { return viaSamplerate(x, fin, fout); });
    std::printf("[reference] %-13s THD+N ours %.1f dB, libsamplerate best %.1f dB; tone residual %.1f / %.1f dB; "
                "aliases %.1f / %.1f dB\n",
                cv.name, ours.thdn, src.thdn, ours.toneResidual, src.toneResidual, ours.alias, src.alias);
    EXPECT_LE(ours.thdn, src.thdn);
    EXPECT_LE(ours.toneResidual, src.toneResidual);
    EXPECT_LE(ours.alias, src.alias);
}

namespace {

// Difference (dB relative to libsoxr's output) on noise band-limited to `top` times the
// lower Nyquist frequency.
double differenceToSoxr(const Conversion& cv, double top, bool flat) {
    const double fin = cv.from.calcCombinedSampleRate(), fout = cv.to.calcCombinedSampleRate();
    const auto x = bandLimitedNoise(fin, top * std::min(fin, fout) / 2.0, 48000);
    const auto ours = viaOurs(x, cv);
    const auto sox = viaSoxr(x, fin, fout, flat);
    // Both are aligned to input time zero; compare the middle (away from the ends).
    const std::size_t n = std::min(ours.size(), sox.size()), edge = 4096;
    EXPECT_GT(n, 2 * edge);
    double err = 0.0, sig = 0.0;
    for (std::size_t i = edge; i + edge < n; ++i) {
        const double d = double(ours[i]) - double(sox[i]);
        err += d * d;
        sig += double(sox[i]) * double(sox[i]);
    }
    return 10.0 * std::log10(err / sig);
}

}  // namespace

// Noise up to 0.85 of the lower Nyquist frequency against libsoxr's flat passband, and
// up to half of it against its default (whose roll-off starts above that).
TEST_P(ResamplerReference, BestMatchesLibsoxrVeryHighOnBandLimitedNoise) {
    const Conversion& cv = kResamplerConversions[GetParam()];
    const double flat = differenceToSoxr(cv, 0.85, true);
    const double rolled = differenceToSoxr(cv, 0.5, false);
    std::printf("[reference] %-13s difference to libsoxr very high quality on band-limited noise: %.1f dB "
                "(flat passband, noise to 0.85 of the lower Nyquist), %.1f dB (default, noise to 0.5)\n",
                cv.name, flat, rolled);
    EXPECT_LT(flat, -110.0);
    EXPECT_LT(rolled, -110.0);
}

INSTANTIATE_TEST_SUITE_P(All, ResamplerReference, ::testing::Range(0, 6), [](const ::testing::TestParamInfo<int>& p) {
    std::string n = kResamplerConversions[p.param].name;
    for (char& c : n)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return n;
});
