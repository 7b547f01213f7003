#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace Aud {

namespace TruePeakKernels {

float referencePartialPass(const float* taps, unsigned factor, const float* h, unsigned count, float peak) {
    constexpr unsigned kTaps = TruePeakInterpolator::kTapsPerPhase;
    for (unsigned p = 0; p < factor; ++p) {
        const float* t = taps + std::size_t(p) * kTaps;
        for (unsigned i = 0; i < count; ++i) {
            float y = 0.0f;
            for (unsigned k = 0; k < kTaps; ++k) y = y + t[k] * h[i + k];
            peak = std::max(peak, std::fabs(y));
        }
    }
    return peak;
}

namespace {

float referencePass(const float* taps, unsigned factor, const float* h, float peak) {
    return referencePartialPass(taps, factor, h, kBlock, peak);
}

const Kernels kReference = {"scalar", referencePass};

std::atomic<const Kernels*> gForced{nullptr};

}  // namespace

const Kernels& referenceKernels() { return kReference; }

const Kernels* sse2Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kSSE2) ? &sse2KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels* avx2Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kAVX2) ? &avx2KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels* avx512Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kAVX512) ? &avx512KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels& activeKernels() {
    if (const Kernels* f = gForced.load(std::memory_order_acquire)) return *f;
    static const Kernels* const widest = [] {
        if (const Kernels* k = avx512Kernels()) return k;
        if (const Kernels* k = avx2Kernels()) return k;
        if (const Kernels* k = sse2Kernels()) return k;
        return &kReference;
    }();
    return *widest;
}

void forceKernels(const Kernels* table) { gForced.store(table, std::memory_order_release); }

}  // namespace TruePeakKernels

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
    // Runs of kBlock history samples: the outputs of pass j read runs j and j + 1.
    constexpr unsigned kRuns = (kOld + kChunk + kBlock - 1) / kBlock;
    static_assert(kOld < kBlock && kChunk % kBlock == 0, "a pass's window spans two runs");
    const TruePeakKernels::PassFn pass = TruePeakKernels::activeKernels().pass;
    float peak = 0.0f;
    float* h = history_.data();
    while (n > 0) {
        const unsigned len = std::min(n, kChunk);
        for (unsigned i = 0; i < len; ++i) h[kOld + i] = std::isfinite(x[i]) ? x[i] : 0.0f;
        float runMax[kRuns] = {};
        for (unsigned i = 0; i < kOld + len; ++i) {
            float& m = runMax[i / kBlock];
            m = std::max(m, std::fabs(h[i]));
        }
        for (unsigned i0 = 0; i0 < len; i0 += kBlock) {
            const unsigned count = std::min(kBlock, len - i0);
            const unsigned run = i0 / kBlock;
            const float inputMax = std::max(runMax[run], run + 1 < kRuns ? runMax[run + 1] : 0.0f);
            // No output of this pass can rise above the floor or the peak found so far.
            if (inputMax * maxGain_ <= std::max(floor, peak)) continue;
            const float* t = taps_.data();
            peak = count == kBlock ? pass(t, factor_, h + i0, peak)
                                   : TruePeakKernels::referencePartialPass(t, factor_, h + i0, count, peak);
        }
        std::copy(h + len, h + len + kOld, h);
        x += len;
        n -= len;
    }
    return peak;
}

}  // namespace Aud
