// Test signals and measurements for sample-rate conversion: generated sines, noise and
// sweeps, a whole-signal conversion that removes the converter's delay, and the fits
// that turn an output into figures in dB (THD+N of a sine, gain at a frequency, level
// of what should be silent), and the conversions the tests measure. Header-only; used by
// the resampler's tests and the tool's resample tests.
#pragma once

#include "AudAtoms/kernels/Aud__Resampler.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace audatoms::test {

constexpr double kTwoPi = 6.283185307179586476925286766559;

// The conversions the resampler's quality and reference tests measure.
struct Conversion {
    const char* name;
    Aud::SampleRate from, to;
};
inline const Conversion kResamplerConversions[] = {
    {"44.1->48", Aud::SampleRate(Aud::keBaseSampleRate44100), Aud::SampleRate(Aud::keBaseSampleRate48000)},
    {"48->44.1", Aud::SampleRate(Aud::keBaseSampleRate48000), Aud::SampleRate(Aud::keBaseSampleRate44100)},
    {"48->96", Aud::SampleRate(Aud::keBaseSampleRate48000), Aud::SampleRate(Aud::keBaseSampleRate96000)},
    {"96->48", Aud::SampleRate(Aud::keBaseSampleRate96000), Aud::SampleRate(Aud::keBaseSampleRate48000)},
    {"32->48", Aud::SampleRate(Aud::keBaseSampleRate32000), Aud::SampleRate(Aud::keBaseSampleRate48000)},
    {"48->48/1.001", Aud::SampleRate(Aud::keBaseSampleRate48000),
     Aud::SampleRate(Aud::keBaseSampleRate48000, Aud::keFactor1000_1001)},
};

// amplitude * sin(2 pi f k / rate), k = 0..frames-1 (phase reduced exactly first).
inline std::vector<float> makeSine(double frequency, double rate, std::size_t frames, double amplitude) {
    std::vector<float> v(frames);
    for (std::size_t k = 0; k < frames; ++k) {
        const double cycles = std::fmod(frequency * double(k), rate) / rate;
        v[k] = float(amplitude * std::sin(kTwoPi * cycles));
    }
    return v;
}

// Uniform white noise in [-amplitude, amplitude) from a fixed 64-bit generator.
inline std::vector<float> makeNoise(std::size_t frames, double amplitude, std::uint64_t seed = 0x9E3779B97F4A7C15ull) {
    std::vector<float> v(frames);
    std::uint64_t s = seed;
    for (std::size_t k = 0; k < frames; ++k) {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        const double u = double(s >> 11) / 9007199254740992.0;  // [0, 1)
        v[k] = float(amplitude * (2.0 * u - 1.0));
    }
    return v;
}

// Phase of a linear sweep from f0 to f1 hertz over `seconds`, at time t seconds.
inline double sweepPhase(double f0, double f1, double seconds, double t) {
    return kTwoPi * (f0 * t + 0.5 * (f1 - f0) / seconds * t * t);
}

// The best least-squares fit a cos + b sin + c of y at `cyclesPerFrame`, and what is left.
struct SineFit {
    double amplitude = 0.0;    // sqrt(a^2 + b^2)
    double residualRms = 0.0;  // rms of y minus the fit
    // THD+N: residual power relative to the fitted sine's power, dB.
    double thdnDb() const { return 20.0 * std::log10(std::max(residualRms, 1e-300) / (amplitude / std::sqrt(2.0))); }
};

inline SineFit fitSine(const float* y, std::size_t n, double cyclesPerFrame) {
    double m[3][3] = {};
    double r[3] = {};
    std::vector<double> cs(n), sn(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double ph = kTwoPi * std::fmod(cyclesPerFrame * double(i), 1.0);
        cs[i] = std::cos(ph);
        sn[i] = std::sin(ph);
        const double b[3] = {cs[i], sn[i], 1.0};
        for (int p = 0; p < 3; ++p) {
            r[p] += b[p] * double(y[i]);
            for (int q = 0; q < 3; ++q) m[p][q] += b[p] * b[q];
        }
    }
    // Gaussian elimination (the system is well conditioned for a fit over many cycles).
    for (int p = 0; p < 3; ++p) {
        for (int q = p + 1; q < 3; ++q) {
            const double f = m[q][p] / m[p][p];
            for (int k = p; k < 3; ++k) m[q][k] -= f * m[p][k];
            r[q] -= f * r[p];
        }
    }
    double x[3];
    for (int p = 2; p >= 0; --p) {
        double s = r[p];
        for (int k = p + 1; k < 3; ++k) s -= m[p][k] * x[k];
        x[p] = s / m[p][p];
    }
    double e = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const double d = double(y[i]) - (x[0] * cs[i] + x[1] * sn[i] + x[2]);
        e += d * d;
    }
    SineFit f;
    f.amplitude = std::sqrt(x[0] * x[0] + x[1] * x[1]);
    f.residualRms = std::sqrt(e / double(n));
    return f;
}

// Converts a whole mono signal in blocks of `block` frames, then pushes it out with
// silence, and returns exactly floor(frames * L / M) frames with the delay removed:
// output frame n stands for input time n * M / L.
inline std::vector<float> resampleAll(Aud::Resampler& r, const std::vector<float>& in, std::size_t block = 4096) {
    const std::uint64_t want = std::uint64_t(in.size()) * r.upFactor() / r.downFactor();
    std::vector<float> padded(in);
    padded.resize(in.size() + std::size_t(r.latencyInputFrames()), 0.0f);
    std::vector<float> out(r.maxOutputFrames(padded.size()) + 8);
    std::size_t done = 0, made = 0;
    while (done < padded.size()) {
        const std::size_t n = std::min(block, padded.size() - done);
        const float* ip = padded.data() + done;
        float* op = out.data() + made;
        const Aud::Resampler::Result res = r.process(&ip, n, &op, out.size() - made);
        done += res.consumed;
        made += res.produced;
        if (res.consumed == 0) break;
    }
    out.resize(made);
    const std::size_t skip = std::size_t(r.latency());
    std::vector<float> aligned(std::size_t(want), 0.0f);
    for (std::size_t i = 0; i < aligned.size() && skip + i < out.size(); ++i) aligned[i] = out[skip + i];
    return aligned;
}

inline double rms(const float* y, std::size_t n) {
    double e = 0.0;
    for (std::size_t i = 0; i < n; ++i) e += double(y[i]) * double(y[i]);
    return std::sqrt(e / double(std::max<std::size_t>(n, 1)));
}

inline double toDb(double ratio) { return 20.0 * std::log10(std::max(ratio, 1e-300)); }

}  // namespace audatoms::test
