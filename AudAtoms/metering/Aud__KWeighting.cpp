#include "AudAtoms/metering/Aud__KWeighting.h"

#include <cmath>

namespace Aud {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Analog prototypes of the weighting, fitted to the published 48 kHz table.
constexpr double kShelfHz = 1681.974450955533;
constexpr double kShelfGainDb = 3.999843853973347;
constexpr double kShelfQ = 0.7071752369554196;
// The shelf's gain at its centre frequency, as a power of its high-frequency gain.
constexpr double kShelfMidExponent = 0.4996667741545416;
constexpr double kHighPassHz = 38.13547087602444;
constexpr double kHighPassQ = 0.5003270373238773;

}  // namespace

KWeightingCoefficients KWeightingCoefficients::table48k() {
    KWeightingCoefficients c;
    c.shelf = {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585};
    c.highPass = {1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621};
    return c;
}

KWeightingCoefficients KWeightingCoefficients::derive(double hertz) {
    KWeightingCoefficients c;
    if (!(hertz > 0.0) || !std::isfinite(hertz)) return c;

    // High shelf: H(s) = (Vh s^2 + Vb (w/Q) s + w^2) / (s^2 + (w/Q) s + w^2), with
    // s -> (1/K)(z-1)/(z+1) after pre-warping K = tan(pi f0 / fs).
    double k = std::tan(kPi * kShelfHz / hertz);
    const double vh = std::pow(10.0, kShelfGainDb / 20.0);
    const double vb = std::pow(vh, kShelfMidExponent);
    double a0 = 1.0 + k / kShelfQ + k * k;
    c.shelf.b0 = (vh + vb * k / kShelfQ + k * k) / a0;
    c.shelf.b1 = 2.0 * (k * k - vh) / a0;
    c.shelf.b2 = (vh - vb * k / kShelfQ + k * k) / a0;
    c.shelf.a1 = 2.0 * (k * k - 1.0) / a0;
    c.shelf.a2 = (1.0 - k / kShelfQ + k * k) / a0;

    // Second-order high-pass. The numerator is kept at 1, -2, 1 (as in the table); its
    // small passband gain offset is part of the loudness formula's -0.691 constant.
    k = std::tan(kPi * kHighPassHz / hertz);
    a0 = 1.0 + k / kHighPassQ + k * k;
    c.highPass.b0 = 1.0;
    c.highPass.b1 = -2.0;
    c.highPass.b2 = 1.0;
    c.highPass.a1 = 2.0 * (k * k - 1.0) / a0;
    c.highPass.a2 = (1.0 - k / kHighPassQ + k * k) / a0;
    return c;
}

KWeightingCoefficients KWeightingCoefficients::forRate(double hertz) {
    if (hertz == 48000.0) return table48k();
    return derive(hertz);
}

void KWeightingFilter::accumulateSquares(const float* x, unsigned n, double& total) {
    double sum = total;
    for (unsigned i = 0; i < n; ++i) {
        const double v = std::isfinite(x[i]) ? double(x[i]) : 0.0;
        const double y = filter(v);
        sum += y * y;
    }
    total = sum;
}

}  // namespace Aud
