#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"
#include "AudAtoms/internal/Aud__Resampler_Position.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>

namespace Aud {

namespace ResamplerKernels {

namespace {

double referenceDot(const double* c, const double* x, unsigned n) {
    double s[8] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    for (unsigned i = 0; i < n; i += 8)
        for (unsigned l = 0; l < 8; ++l) {
            const double p = c[i + l] * x[i + l];
            s[l] = s[l] + p;
        }
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

void referenceDots(const double* const* c, const double* const* x, unsigned count, unsigned n, double* out) {
    for (unsigned k = 0; k < count; ++k) out[k] = referenceDot(c[k], x[k], n);
}

const Kernels kReference = {"scalar", referenceDot, referenceDots};

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
    // The widest set, except on CPUs that split 512-bit operations in two: there the AVX2
    // loops measure 4-6 % faster at every quality (the resampler benchmark's table).
    static const Kernels* const widest = [] {
        if (Cpu::splitsWideVectors())
            if (const Kernels* k = avx2Kernels()) return k;
        if (const Kernels* k = avx512Kernels()) return k;
        if (const Kernels* k = avx2Kernels()) return k;
        if (const Kernels* k = sse2Kernels()) return k;
        return &kReference;
    }();
    return *widest;
}

void forceKernels(const Kernels* table) { gForced.store(table, std::memory_order_release); }

}  // namespace ResamplerKernels

namespace {

// Input frames taken into the history per step; the history holds the filter plus this.
constexpr std::size_t kChunk = 4096;

struct Design {
    double passband;                   // passband edge, fraction of the lower Nyquist frequency
    double attenuationDb;              // Kaiser design attenuation
    std::uint32_t interpolatedPhases;  // table rows when L > kMaxExactPhases
};

Design designFor(Resampler::eQuality q) {
    switch (q) {
    case Resampler::keQualityQuick: return {0.80, 100.0, 512};
    case Resampler::keQualityHigh: return {0.91, 125.0, 2048};
    case Resampler::keQualityBest: break;
    }
    return {0.91, 160.0, 8192};
}

// Zeroth-order modified Bessel function of the first kind (power series).
double besselI0(double x) {
    const double q = x * x / 4.0;
    double term = 1.0;
    double sum = 1.0;
    for (int k = 1; k < 200; ++k) {
        term *= q / (double(k) * double(k));
        sum += term;
        if (term < sum * 1e-17) break;
    }
    return sum;
}

std::uint64_t gcd64(std::uint64_t a, std::uint64_t b) { return std::gcd(a, b); }

}  // namespace

struct Resampler::Rep {
    std::vector<double> table;  // rows of taps coefficients
    std::uint32_t rows = 0;
    bool interpolated = false;
    std::uint32_t interpPhases = 0;
    std::size_t capacity = 0;         // history frames per channel
    std::vector<double> history;      // channels x capacity
    std::uint64_t histBase = 0;       // virtual index of history[0]
    std::uint64_t histEnd = 0;        // virtual index one past the newest frame
    ResamplerPosition::Position pos;  // of the next output frame
    std::uint64_t lead = 0;           // frames of silence before the first real frame
    std::uint64_t startK0 = 0;
    std::uint64_t startPhase = 0;
};

eStatus Resampler::exactRate(const SampleRate& rate, std::uint64_t& numerator, std::uint64_t& denominator) {
    static const std::uint32_t kHz[10] = {0, 0, 11025, 16000, 22050, 24000, 32000, 44100, 48000, 96000};
    const unsigned code = rate.baseSampleRate();
    if (code < 2 || code > 9 || (rate.word() >> 13) != 0) return sInvalidSampleRate;
    struct F {
        unsigned flag;
        std::uint64_t num, den;
    };
    static const F kFactors[8] = {{keFactor24_25, 24, 25},
                                  {keFactor25_24, 25, 24},
                                  {keFactor1001_1000, 1001, 1000},
                                  {keFactor1000_1001, 1000, 1001},
                                  {keFactor30_24, 30, 24},
                                  {keFactor24_30, 24, 30},
                                  {keFactor2, 2, 1},
                                  {keFactor1_2, 1, 2}};
    std::uint64_t n = kHz[code];
    std::uint64_t d = 1;
    for (const F& f : kFactors) {
        if ((unsigned(rate.factor()) & f.flag) == 0) continue;
        n *= f.num;
        d *= f.den;
        const std::uint64_t g = gcd64(n, d);
        n /= g;
        d /= g;
    }
    numerator = n;
    denominator = d;
    return sSuccess;
}

Resampler::Resampler(const SampleRate& from, const SampleRate& to, unsigned channels, eQuality quality)
    : quality_(quality) {
    std::uint64_t inN = 0, inD = 1, outN = 0, outD = 1;
    if (exactRate(from, inN, inD) != sSuccess || exactRate(to, outN, outD) != sSuccess) {
        status_ = sInvalidSampleRate;
        return;
    }
    build(inN, inD, outN, outD, channels);
}

Resampler::Resampler(std::uint32_t fromHz, std::uint32_t toHz, unsigned channels, eQuality quality)
    : quality_(quality) {
    build(fromHz, 1, toHz, 1, channels);
}

Resampler::~Resampler() = default;

void Resampler::build(std::uint64_t inNum, std::uint64_t inDen, std::uint64_t outNum, std::uint64_t outDen,
                      unsigned channels) {
    if (inNum == 0 || outNum == 0 || inDen == 0 || outDen == 0) {
        status_ = sInvalidSampleRate;
        return;
    }
    if (channels < 1 || channels > kMaxChannels) {
        status_ = sChannelNumberOutOfRange;
        return;
    }
    if (quality_ != keQualityQuick && quality_ != keQualityHigh && quality_ != keQualityBest) quality_ = keQualityBest;
    // L / M = (outNum / outDen) / (inNum / inDen), reduced in steps to stay in range.
    std::uint64_t a = outNum, b = outDen, c = inNum, d = inDen;
    std::uint64_t g = gcd64(a, c);
    a /= g;
    c /= g;
    g = gcd64(b, d);
    b /= g;
    d /= g;
    if (a > (std::uint64_t(1) << 31) / std::max<std::uint64_t>(d, 1) ||
        c > (std::uint64_t(1) << 31) / std::max<std::uint64_t>(b, 1)) {
        status_ = sOutOfRange;
        return;
    }
    std::uint64_t up = a * d;
    std::uint64_t down = c * b;
    g = gcd64(up, down);
    up /= g;
    down /= g;
    if (up > down * kMaxRatio || down > up * kMaxRatio) {
        status_ = sOutOfRange;
        return;
    }
    up_ = std::uint32_t(up);
    down_ = std::uint32_t(down);
    (void)ResamplerKernels::activeKernels();  // chosen now, so that process() never waits on it
    channels_ = channels;

    const Design design = designFor(quality_);
    const double rho = std::min(1.0, double(up_) / double(down_));  // lower Nyquist / input Nyquist
    const double fc = 0.25 * rho * (1.0 + design.passband);         // cycles per input frame
    const double width = 0.5 * rho * (1.0 - design.passband);
    const double length = (design.attenuationDb - 7.95) / (14.36 * width) + 1.0;
    unsigned half = unsigned(std::ceil(length / 2.0));
    half = (half + 3u) / 4u * 4u;
    taps_ = 2 * half;
    const double beta = 0.1102 * (design.attenuationDb - 8.7);
    const double i0beta = besselI0(beta);

    rep_ = std::make_unique<Rep>();
    Rep& r = *rep_;
    r.interpolated = up_ > kMaxExactPhases;
    r.interpPhases = design.interpolatedPhases;
    r.rows = r.interpolated ? design.interpolatedPhases + 1 : up_;
    const double rowDen = r.interpolated ? double(design.interpolatedPhases) : double(up_);
    r.table.assign(std::size_t(r.rows) * taps_, 0.0);
    const double pi = 3.14159265358979323846;
    for (std::uint32_t p = 0; p < r.rows; ++p) {
        const double frac = double(p) / rowDen;
        double* row = r.table.data() + std::size_t(p) * taps_;
        for (unsigned i = 0; i < taps_; ++i) {
            const double t = frac + double(half) - 1.0 - double(i);
            const double u = t / double(half);
            if (u <= -1.0 || u >= 1.0) continue;
            const double x = 2.0 * fc * t;
            const double sinc = x == 0.0 ? 1.0 : std::sin(pi * x) / (pi * x);
            row[i] = 2.0 * fc * sinc * besselI0(beta * std::sqrt(1.0 - u * u)) / i0beta;
        }
    }

    latency_ = (std::uint64_t(half + 1) * up_ + down_ - 1) / down_;
    r.lead = half - 1 + (latency_ * down_ + up_ - 1) / up_;
    const std::uint64_t start = r.lead * up_ - latency_ * down_;
    r.startK0 = start / up_;
    r.startPhase = start % up_;
    r.capacity = taps_ + kChunk + 64;
    r.history.assign(std::size_t(channels_) * r.capacity, 0.0);
    reset();
}

void Resampler::reset() {
    consumed_ = 0;
    produced_ = 0;
    nonFinite_ = 0;
    if (!rep_) return;
    Rep& r = *rep_;
    std::fill(r.history.begin(), r.history.end(), 0.0);
    r.histBase = 0;
    r.histEnd = r.lead;
    r.pos.k0 = r.startK0;
    r.pos.phase = r.startPhase;
    r.pos.rem = 0;
}

std::uint64_t Resampler::latencyInputFrames() const {
    if (!ok()) return 0;
    return (latency_ * down_ + up_ - 1) / up_ + 1;
}

std::size_t Resampler::maxOutputFrames(std::size_t inputFrames) const {
    if (!ok()) return 0;
    return std::size_t((std::uint64_t(inputFrames) * up_ + down_ - 1) / down_ + 1);
}

Resampler::Result Resampler::process(const float* const* in, std::size_t inputFrames, float* const* out,
                                     std::size_t outCapacity) {
    Result res;
    if (!ok()) return res;
    Rep& r = *rep_;
    const ResamplerKernels::Kernels& kernels = ResamplerKernels::activeKernels();
    const std::uint64_t L = up_;
    const std::uint64_t M = down_;
    const unsigned half = taps_ / 2;
    while (res.consumed < inputFrames) {
        // Input frames whose outputs still fit: floor((rem + n L) / M) <= room.
        const std::uint64_t room = std::min<std::uint64_t>(outCapacity - res.produced, std::uint64_t(1) << 30);
        const std::uint64_t fit = ((room + 1) * M - 1 - r.pos.rem) / L;
        std::uint64_t n = std::min<std::uint64_t>(inputFrames - res.consumed, fit);
        if (n == 0) break;
        // Make room in the history: keep from the next output's first tap onward.
        std::uint64_t used = r.histEnd - r.histBase;
        if (r.capacity - used < std::min<std::uint64_t>(n, kChunk)) {
            const std::uint64_t keep = r.pos.k0 + 1 - half;
            const std::size_t drop = std::size_t(keep - r.histBase);
            const std::size_t kept = std::size_t(r.histEnd - keep);
            for (unsigned ch = 0; ch < channels_; ++ch) {
                double* h = r.history.data() + std::size_t(ch) * r.capacity;
                std::memmove(h, h + drop, kept * sizeof(double));
            }
            r.histBase = keep;
            used = kept;
        }
        n = std::min<std::uint64_t>(n, r.capacity - used);
        for (unsigned ch = 0; ch < channels_; ++ch) {
            double* h = r.history.data() + std::size_t(ch) * r.capacity + used;
            const float* src = in[ch] + res.consumed;
            for (std::size_t i = 0; i < n; ++i) {
                const float v = src[i];
                if (std::isfinite(v)) {
                    h[i] = double(v);
                } else {
                    h[i] = 0.0;
                    ++nonFinite_;
                }
            }
        }
        r.histEnd += n;
        consumed_ += n;
        res.consumed += std::size_t(n);
        std::uint64_t make = r.pos.consume(n, L, M);
        // Every output due so far: its taps are all in the history (the latency ensures it).
        // Up to kBatch outputs at a time, their dot products computed together.
        while (make > 0) {
            constexpr unsigned kBatch = 4;
            const unsigned batch = unsigned(std::min<std::uint64_t>(make, kBatch));
            const double* rows[2 * kBatch];
            std::size_t firsts[2 * kBatch];
            double weight[kBatch];
            bool two[kBatch];
            unsigned count = 0;
            for (unsigned j = 0; j < batch; ++j) {
                const std::size_t first = std::size_t(r.pos.k0 + 1 - half - r.histBase);
                if (!r.interpolated) {
                    rows[count] = r.table.data() + std::size_t(r.pos.phase) * taps_;
                    firsts[count++] = first;
                    two[j] = false;
                } else {
                    const std::uint64_t at = r.pos.phase * r.interpPhases;
                    const std::uint64_t part = at % L;
                    rows[count] = r.table.data() + std::size_t(at / L) * taps_;
                    firsts[count++] = first;
                    two[j] = part != 0;
                    weight[j] = double(part) / double(L);
                    if (two[j]) {
                        rows[count] = rows[count - 1] + taps_;
                        firsts[count++] = first;
                    }
                }
                r.pos.step(L, M);
            }
            for (unsigned ch = 0; ch < channels_; ++ch) {
                const double* h = r.history.data() + std::size_t(ch) * r.capacity;
                const double* xs[2 * kBatch];
                double sums[2 * kBatch];
                for (unsigned d = 0; d < count; ++d) xs[d] = h + firsts[d];
                kernels.dots(rows, xs, count, taps_, sums);
                unsigned d = 0;
                for (unsigned j = 0; j < batch; ++j) {
                    const double y0 = sums[d++];
                    const double y = two[j] ? y0 + weight[j] * (sums[d++] - y0) : y0;
                    out[ch][res.produced + j] = float(y);
                }
            }
            res.produced += batch;
            produced_ += batch;
            make -= batch;
        }
    }
    return res;
}

const char* resamplerQualityName(Resampler::eQuality quality) {
    switch (quality) {
    case Resampler::keQualityQuick: return "quick";
    case Resampler::keQualityHigh: return "high";
    case Resampler::keQualityBest: return "best";
    }
    return "?";
}

namespace ResamplerKernels {

void positionOf(const Resampler& r, std::uint64_t& k0, std::uint64_t& phase, std::uint64_t& rem) {
    k0 = phase = rem = 0;
    if (!r.rep_) return;
    k0 = r.rep_->pos.k0;
    phase = r.rep_->pos.phase;
    rem = r.rep_->pos.rem;
}

std::uint64_t leadFrames(const Resampler& r) { return r.rep_ ? r.rep_->lead : 0; }

bool interpolatedPhases(const Resampler& r) { return r.rep_ && r.rep_->interpolated; }

}  // namespace ResamplerKernels

bool resamplerQualityFromName(const char* name, Resampler::eQuality& out) {
    if (name == nullptr) return false;
    for (Resampler::eQuality q : {Resampler::keQualityQuick, Resampler::keQualityHigh, Resampler::keQualityBest})
        if (std::strcmp(name, resamplerQualityName(q)) == 0) {
            out = q;
            return true;
        }
    return false;
}

}  // namespace Aud
