// Aud::TruePeakInterpolator: one channel's true-peak (inter-sample peak) detector, a
// polyphase FIR interpolator that oversamples the signal and keeps the largest
// absolute value of the oversampled signal, linear (1.0 = full scale).
//
// Design: a Kaiser-windowed sinc low-pass (beta 4.0, cut-off at the input's Nyquist
// frequency) of factor x 32 taps, split into `factor` phases of 32 taps, each phase
// normalised to unity gain at 0 Hz. Factor (oversampling) by input rate: 8 below
// 88.2 kHz, 4 below 176.4 kHz, 2 above; so the oversampled rate is at least 88.2 kHz
// and a tone at up to half the input rate is sampled at least 16 times per cycle
// (under-reading at most 0.17 dB from sampling alone). The response is flat within
// about 0.1 dB to 0.454 of the input rate (20 kHz at 44.1 kHz) and the images of
// such tones are suppressed by about 40 dB. The filter's delay (16 input samples) does
// not matter for a peak.
//
// Threads: construction allocates (the taps and the history); process() neither
// allocates, locks nor throws; one interpolator belongs to one thread at a time.
// Non-finite samples enter as 0.0.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include <vector>

namespace Aud {

class AUDATOMS_EXPORT TruePeakInterpolator {
public:
    static constexpr unsigned kTapsPerPhase = 32;
    // Input samples taken into the history at a time (its working length).
    static constexpr unsigned kChunk = 256;
    // Output samples per filter pass; a pass is filtered only when it can raise the peak.
    static constexpr unsigned kBlock = 32;

    // Oversampling factor for a rate in hertz (8, 4 or 2).
    static unsigned factorForRate(double hertz);

    TruePeakInterpolator() = default;
    explicit TruePeakInterpolator(double hertz);

    // Feeds n samples; returns the largest absolute oversampled value among them, or
    // any value not above `floor` when none is above it. A pass of kBlock output samples
    // whose inputs (with the history) are all within max(floor, peak so far) / maxGain()
    // of zero cannot raise the result and is not filtered: with floor = the peak found
    // so far the result is exactly that of filtering everything, at a fraction of the
    // cost for programmes whose level stays below their peak. The filter runs in the
    // widest vectors the CPU has, bit-identical to the scalar reference.
    float process(const float* x, unsigned n, float floor = 0.0f);
    // The largest sum of absolute taps of a phase: no output exceeds this times the
    // largest absolute input in its window.
    float maxGain() const { return maxGain_; }
    void reset();

    unsigned factor() const { return factor_; }
    // Phase p's taps, oldest input sample first (for tests).
    const float* phaseTaps(unsigned p) const { return &taps_[std::size_t(p) * kTapsPerPhase]; }

private:
    unsigned factor_ = 0;
    float maxGain_ = 0.0f;
    std::vector<float> taps_;     // factor_ x kTapsPerPhase, phase-major
    std::vector<float> history_;  // kTapsPerPhase - 1 old samples, then up to kChunk new
};

}  // namespace Aud
