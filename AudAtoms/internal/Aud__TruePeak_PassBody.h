// Internal: the true-peak filter pass written once over a small vector interface V
// (lanes of float: 4, 8 or 16). Each output sample lives in one lane of one
// accumulator and takes its 32 products in the reference's order, so every width is
// bit-identical to it. Several phases are filtered together (V::kPhases) so that each
// loaded window of input feeds several multiply-adds. Include from one instruction-set
// file only (internal linkage).
#pragma once

#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr unsigned kTaps = Aud::TruePeakInterpolator::kTapsPerPhase;

// P phases (their taps from t, phase-major) over kBlock outputs; folds |y| into peak.
template <class V, unsigned P>
inline void phasesBody(const float* t, const float* h, typename V::F& peak) {
    constexpr unsigned kVecs = Aud::TruePeakKernels::kBlock / V::kLanes;
    typename V::F acc[P][kVecs];
#pragma GCC unroll 16
    for (unsigned q = 0; q < P; ++q)
#pragma GCC unroll 16
        for (unsigned b = 0; b < kVecs; ++b) acc[q][b] = V::zero();
    for (unsigned k = 0; k < kTaps; ++k) {
        typename V::F w[kVecs];
#pragma GCC unroll 16
        for (unsigned b = 0; b < kVecs; ++b) w[b] = V::load(h + k + b * V::kLanes);
#pragma GCC unroll 16
        for (unsigned q = 0; q < P; ++q) {
            const typename V::F tk = V::set1(t[q * kTaps + k]);
#pragma GCC unroll 16
            for (unsigned b = 0; b < kVecs; ++b) acc[q][b] = V::add(acc[q][b], V::mul(tk, w[b]));
        }
    }
#pragma GCC unroll 16
    for (unsigned q = 0; q < P; ++q)
#pragma GCC unroll 16
        for (unsigned b = 0; b < kVecs; ++b) peak = V::maxKeepSecond(V::abs(acc[q][b]), peak);
}

template <class V>
float passBody(const float* taps, unsigned factor, const float* h, float peak) {
    typename V::F p = V::set1(peak);
    unsigned phase = 0;
    for (; phase + V::kPhases <= factor; phase += V::kPhases)
        phasesBody<V, V::kPhases>(taps + std::size_t(phase) * kTaps, h, p);
    for (; phase < factor; ++phase) phasesBody<V, 1>(taps + std::size_t(phase) * kTaps, h, p);
    float lanes[V::kLanes];
    V::store(lanes, p);
    // No lane holds a NaN, so the order of the maxima does not matter.
    float m = lanes[0];
    for (unsigned l = 1; l < V::kLanes; ++l) m = std::max(m, lanes[l]);
    return m;
}

}  // namespace
