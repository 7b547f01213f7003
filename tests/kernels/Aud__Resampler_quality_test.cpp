// Aud::Resampler's measured quality against the figures its header documents, for
// 44.1 -> 48, 48 -> 44.1, 48 -> 96, 96 -> 48, 32 -> 48 and 48 -> 48 / 1.001 kHz at every
// quality: passband flatness and what is left beside passband sines (images and
// aliases of the tone), the level of aliases of tones above the lower Nyquist frequency,
// THD+N of a 1 kHz sine at -1 dBFS, the error of a sweep against the ideal converted
// sweep, white noise's level, and the spectrum of an impulse's response. Each
// measurement is printed (the figures quoted in the documentation come from here).
#include "AudAtoms/kernels/Aud__Resampler.h"

#include "tests/support/ResamplerSignals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

using Aud::Resampler;
using Aud::SampleRate;
using namespace audatoms::test;

namespace {

// The documented figures (Aud__Resampler.h), per quality.
struct Limits {
    double passbandEdge;  // fraction of the lower Nyquist frequency
    double rippleDb;      // +- over the passband
    double stopbandDb;    // images and aliases at least this far down
    double thdnDb;        // 1 kHz at -1 dBFS, at most
};
Limits limitsFor(Resampler::eQuality q) {
    switch (q) {
    case Resampler::keQualityQuick: return {0.80, 0.0002, 95.0, -110.0};
    case Resampler::keQualityHigh: return {0.91, 0.00001, 120.0, -140.0};
    case Resampler::keQualityBest: break;
    }
    return {0.91, 0.000001, 140.0, -145.0};
}

double hz(const SampleRate& r) { return r.calcCombinedSampleRate(); }

struct Measured {
    double ripple = 0.0, toneResidual = -400.0, alias = -400.0, thdn = 0.0, sweep = 0.0, noiseGain = 0.0;
    double impulseStop = -400.0;
};

class ResamplerQuality : public ::testing::TestWithParam<std::tuple<int, int>> {};

}  // namespace

TEST_P(ResamplerQuality, MeetsTheDocumentedFigures) {
    const Conversion& cv = kResamplerConversions[std::get<0>(GetParam())];
    const auto q = Resampler::eQuality(std::get<1>(GetParam()));
    const Limits lim = limitsFor(q);
    const double fin = hz(cv.from), fout = hz(cv.to);
    const double lowerNyquist = std::min(fin, fout) / 2.0;
    const std::size_t frames = 16384;
    Measured m;

    Resampler probe(cv.from, cv.to, 1, q);
    ASSERT_TRUE(probe.ok());
    // Output frames at each end where the abrupt start and end of a test signal ring.
    const std::size_t edge = std::size_t(double(probe.taps()) * fout / fin) + 16;

    // Passband sines: flatness, and what is left beside the tone.
    const int kTones = 16;
    for (int i = 0; i < kTones; ++i) {
        const double f = 20.0 + (lim.passbandEdge * lowerNyquist - 20.0) * double(i) / double(kTones - 1);
        Resampler r(cv.from, cv.to, 1, q);
        const auto y = resampleAll(r, makeSine(f, fin, frames, 0.5));
        const SineFit fit = fitSine(y.data() + edge, y.size() - 2 * edge, f / fout);
        m.ripple = std::max(m.ripple, std::fabs(toDb(fit.amplitude / 0.5)));
        m.toneResidual = std::max(m.toneResidual, fit.thdnDb());
    }
    // Tones above the lower Nyquist frequency (only a lowering of the rate has them):
    // their aliases must be gone.
    if (fout < fin) {
        for (int i = 0; i < 8; ++i) {
            const double f = lowerNyquist + (fin / 2.0 - lowerNyquist) * (0.001 + 0.99 * double(i) / 7.0);
            Resampler r(cv.from, cv.to, 1, q);
            const auto y = resampleAll(r, makeSine(f, fin, frames, 0.5));
            m.alias = std::max(m.alias, toDb(rms(y.data() + edge, y.size() - 2 * edge) / (0.5 / std::sqrt(2.0))));
        }
    }
    // THD+N of "1 kHz" at -1 dBFS over one second: 997 Hz, whose period is not a whole
    // number of frames at any rate here (so the output's rounding errors do not repeat).
    {
        Resampler r(cv.from, cv.to, 1, q);
        const auto y = resampleAll(r, makeSine(997.0, fin, std::size_t(fin), std::pow(10.0, -1.0 / 20.0)));
        m.thdn = fitSine(y.data() + edge, y.size() - 2 * edge, 997.0 / fout).thdnDb();
    }
    // A sweep from 20 Hz to 90 % of the passband edge against the ideal sweep at the output rate.
    {
        const double seconds = 0.5, f1 = 0.9 * lim.passbandEdge * lowerNyquist;
        const std::size_t n = std::size_t(fin * seconds);
        std::vector<float> x(n);
        for (std::size_t k = 0; k < n; ++k)
            x[k] = float(0.5 * std::sin(sweepPhase(20.0, f1, seconds, double(k) / fin)));
        Resampler r(cv.from, cv.to, 1, q);
        const auto y = resampleAll(r, x);
        double err = 0.0, sig = 0.0;
        for (std::size_t i = edge; i + edge < y.size(); ++i) {
            const double ideal = 0.5 * std::sin(sweepPhase(20.0, f1, seconds, double(i) / fout));
            err += (double(y[i]) - ideal) * (double(y[i]) - ideal);
            sig += ideal * ideal;
        }
        m.sweep = 10.0 * std::log10(err / sig);
    }
    // White noise keeps the power of the part of its band below the filter's cutoff,
    // halfway between the passband edge and the lower Nyquist frequency.
    {
        Resampler r(cv.from, cv.to, 1, q);
        const auto x = makeNoise(frames * 2, 0.5);
        const auto y = resampleAll(r, x);
        const double kept = std::min(1.0, fout / fin) * (1.0 + lim.passbandEdge) / 2.0;
        m.noiseGain = toDb(rms(y.data() + edge, y.size() - 2 * edge) / (rms(x.data(), x.size()) * std::sqrt(kept)));
    }
    // Raising the rate: the impulse response, sampled at the output rate, has nothing
    // between the lower Nyquist frequency and the output's (the images).
    if (fout > fin) {
        Resampler r(cv.from, cv.to, 1, q);
        const std::size_t k = (probe.taps() + r.downFactor() - 1) / r.downFactor() * r.downFactor();
        std::vector<float> x(k + 2 * probe.taps() + 16, 0.0f);
        x[k] = 1.0f;
        const auto y = resampleAll(r, x);
        const double gain0 = double(r.upFactor()) / double(r.downFactor());  // DC gain of the response
        for (int j = 0; j <= 400; ++j) {
            const double f = lowerNyquist + (fout / 2.0 - lowerNyquist) * double(j) / 400.0;
            double re = 0.0, im = 0.0;
            for (std::size_t i = 0; i < y.size(); ++i) {
                re += double(y[i]) * std::cos(kTwoPi * f * double(i) / fout);
                im += double(y[i]) * std::sin(kTwoPi * f * double(i) / fout);
            }
            m.impulseStop = std::max(m.impulseStop, toDb(std::sqrt(re * re + im * im) / gain0));
        }
    }

    std::printf(
        "[quality] %-13s %-5s %3u taps ripple +-%.7f dB  tone residual %.1f dB  aliases %.1f dB  THD+N %.1f dB  "
        "sweep error %.1f dB  noise gain %+.4f dB  impulse stopband %.1f dB\n",
        cv.name, Aud::resamplerQualityName(q), probe.taps(), m.ripple, m.toneResidual, m.alias, m.thdn, m.sweep,
        m.noiseGain, m.impulseStop);
    EXPECT_LE(m.ripple, lim.rippleDb);
    EXPECT_LE(m.toneResidual, -lim.stopbandDb);
    EXPECT_LE(m.alias, -lim.stopbandDb);
    EXPECT_LE(m.thdn, lim.thdnDb);
    EXPECT_LE(m.sweep, lim.thdnDb + 10.0);
    EXPECT_NEAR(m.noiseGain, 0.0, 0.15);
    EXPECT_LE(m.impulseStop, -lim.stopbandDb);
}

INSTANTIATE_TEST_SUITE_P(All, ResamplerQuality, ::testing::Combine(::testing::Range(0, 6), ::testing::Range(0, 3)),
                         [](const ::testing::TestParamInfo<std::tuple<int, int>>& p) {
                             std::string n = std::string(kResamplerConversions[std::get<0>(p.param)].name) + "_" +
                                             Aud::resamplerQualityName(Resampler::eQuality(std::get<1>(p.param)));
                             for (char& c : n)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return n;
                         });
