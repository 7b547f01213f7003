#include "AudAtoms/metering/Aud__TruePeak.h"

#include <algorithm>
#include <cmath>

namespace Aud {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kKaiserBeta = 4.0;

// Zeroth-order modified Bessel function of the first kind, by its power series.
double besselI0(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; k < 50; ++k) {
        const double t = x / (2.0 * k);
        term *= t * t;
        sum += term;
        if (term < sum * 1e-17) break;
    }
    return sum;
}

}  // namespace

unsigned TruePeakInterpolator::factorForRate(double hertz) {
    if (hertz < 88200.0) return 8;
    if (hertz < 176400.0) return 4;
    return 2;
}

TruePeakInterpolator::TruePeakInterpolator(double hertz) : factor_(factorForRate(hertz)) {
    const unsigned n = factor_ * kTapsPerPhase;
    std::vector<double> proto(n);
    const double centre = (n - 1) / 2.0;
    const double cutoff = 0.5 / factor_;  // input Nyquist, in cycles per oversampled sample
    for (unsigned i = 0; i < n; ++i) {
        const double t = i - centre;
        const double sinc = t == 0.0 ? 1.0 : std::sin(2.0 * kPi * cutoff * t) / (kPi * t * 2.0 * cutoff);
        const double r = t / (centre + 1.0);
        const double w = besselI0(kKaiserBeta * std::sqrt(std::max(0.0, 1.0 - r * r))) / besselI0(kKaiserBeta);
        proto[i] = sinc * w;
    }
    // Output phase p at input position m is sum_k proto[k * factor + p] x[m - k]; the
    // taps are stored reversed (oldest sample first) so the loop runs forwards.
    taps_.assign(n, 0.0f);
    for (unsigned p = 0; p < factor_; ++p) {
        double sum = 0.0;
        for (unsigned k = 0; k < kTapsPerPhase; ++k) sum += proto[k * factor_ + p];
        for (unsigned k = 0; k < kTapsPerPhase; ++k)
            taps_[p * kTapsPerPhase + (kTapsPerPhase - 1 - k)] = float(proto[k * factor_ + p] / sum);
    }
    for (unsigned p = 0; p < factor_; ++p) {
        double sumAbs = 0.0;
        for (unsigned k = 0; k < kTapsPerPhase; ++k) sumAbs += std::fabs(double(taps_[p * kTapsPerPhase + k]));
        // Rounded up a little so that float rounding in the filter cannot beat it.
        maxGain_ = std::max(maxGain_, float(sumAbs * 1.0001));
    }
    history_.assign(kTapsPerPhase - 1 + kChunk, 0.0f);
}

void TruePeakInterpolator::reset() { std::fill(history_.begin(), history_.end(), 0.0f); }

float TruePeakInterpolator::process(const float* x, unsigned n, float floor) {
    if (factor_ == 0) return 0.0f;
    constexpr unsigned kOld = kTapsPerPhase - 1;
    float peak = 0.0f;
    float* h = history_.data();
    while (n > 0) {
        const unsigned len = std::min(n, kChunk);
        float inputMax = 0.0f;
        for (unsigned i = 0; i < kOld; ++i) inputMax = std::max(inputMax, std::fabs(h[i]));
        for (unsigned i = 0; i < len; ++i) {
            h[kOld + i] = std::isfinite(x[i]) ? x[i] : 0.0f;
            inputMax = std::max(inputMax, std::fabs(h[kOld + i]));
        }
        if (inputMax * maxGain_ <= floor) {
            // No output of this pass can rise above the floor.
            std::copy(h + len, h + len + kOld, h);
            x += len;
            n -= len;
            continue;
        }
        // Tap-outer, sample-inner order: each pass is an independent multiply-add that
        // the compiler vectorises without reordering any sum (a full chunk has a fixed
        // trip count, which lets it do so at -O2).
        for (unsigned p = 0; p < factor_; ++p) {
            const float* t = &taps_[std::size_t(p) * kTapsPerPhase];
            float out[kChunk] = {};
            for (unsigned k = 0; k < kTapsPerPhase; ++k) {
                const float tk = t[k];
                const float* w = h + k;
                if (len == kChunk) {
                    for (unsigned i = 0; i < kChunk; ++i) out[i] += tk * w[i];
                } else {
                    for (unsigned i = 0; i < len; ++i) out[i] += tk * w[i];
                }
            }
            for (unsigned i = 0; i < len; ++i) peak = std::max(peak, std::fabs(out[i]));
        }
        std::copy(h + len, h + len + kOld, h);
        x += len;
        n -= len;
    }
    return peak;
}

}  // namespace Aud
