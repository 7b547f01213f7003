// Aud::KWeighting: the loudness meter's frequency weighting, a high shelf (+4 dB above
// about 1.7 kHz, the acoustic effect of the head) followed by a high-pass (about 38 Hz),
// as two biquad sections per channel.
//
// Coefficients: at 48 kHz the published table, exactly; at any other rate derived from
// the analog prototypes (shelf 1681.97 Hz, +4.0 dB, Q 0.7072; high-pass 38.135 Hz,
// Q 0.5003) by the bilinear transform with the frequencies pre-warped. The derivation
// reproduces the 48 kHz table to within 1e-6 per coefficient. Rates in hertz.
//
// The state and arithmetic are double, not float like the library's Filter::Biquad:
// the high-pass pole lies within 0.01 of z = 1, where float state loses the low
// frequencies to rounding and the measured loudness of bass-heavy programmes drifts.
//
// Section formula (transposed direct form II, a0 = 1):
//   y = b0 x + s1;  s1 = b1 x - a1 y + s2;  s2 = b2 x - a2 y
// Threads: a plain value; filter() neither allocates, locks nor throws.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud {

struct AUDATOMS_EXPORT KWeightingSection {
    double b0 = 1.0, b1 = 0.0, b2 = 0.0, a1 = 0.0, a2 = 0.0;
};

struct AUDATOMS_EXPORT KWeightingCoefficients {
    KWeightingSection shelf;
    KWeightingSection highPass;

    // The coefficients for a rate in hertz: the published table at exactly 48000,
    // otherwise derived (see derive). A rate that is not finite and positive gives
    // pass-through sections.
    static KWeightingCoefficients forRate(double hertz);
    // Always the bilinear-transform derivation, 48 kHz included (for testing it
    // against the table).
    static KWeightingCoefficients derive(double hertz);
    // The published 48 kHz table.
    static KWeightingCoefficients table48k();
};

// One channel's two sections and their state.
class AUDATOMS_EXPORT KWeightingFilter {
public:
    KWeightingFilter() = default;
    explicit KWeightingFilter(const KWeightingCoefficients& c) : c_(c) {}

    void reset() { s1_ = s2_ = h1_ = h2_ = 0.0; }

    double filter(double x) {
        const KWeightingSection& s = c_.shelf;
        const double y = s.b0 * x + s1_;
        s1_ = s.b1 * x - s.a1 * y + s2_;
        s2_ = s.b2 * x - s.a2 * y;
        const KWeightingSection& h = c_.highPass;
        const double z = h.b0 * y + h1_;
        h1_ = h.b1 * y - h.a1 * z + h2_;
        h2_ = h.b2 * y - h.a2 * z;
        return z;
    }

    // Filters n samples and adds the squares of the output to sum, one by one in order
    // (so the total does not depend on how a programme is split into blocks).
    // Non-finite input samples enter as 0.0.
    void accumulateSquares(const float* x, unsigned n, double& sum);

private:
    KWeightingCoefficients c_;
    double s1_ = 0.0, s2_ = 0.0, h1_ = 0.0, h2_ = 0.0;
};

}  // namespace Aud
