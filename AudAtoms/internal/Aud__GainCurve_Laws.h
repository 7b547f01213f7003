// The laws behind the gain-curve tables, evaluable by the compiler so that the tables
// are built from them rather than written out. Internal to the library.
//
// The transcendental functions are evaluated in long double and rounded once to double,
// which gives the double value of the law to within rounding (what the run-time library
// gives for sin, asin, pow and log10); every other step is plain double arithmetic in the
// order written here.
#pragma once

#include <numbers>

namespace Aud::GainCurve::Laws {

namespace cx {

inline constexpr long double kLn2 = 0.693147180559945309417232121458176568L;
inline constexpr long double kLn10 = 2.302585092994045684017991454684364208L;
inline constexpr long double kHalfPi = 1.570796326794896619231321691639751442L;

constexpr long double abs(long double x) { return x < 0 ? -x : x; }

constexpr long double sqrt(long double x) {
    if (x <= 0) return 0;
    long double r = x > 1 ? x : 1;  // Newton from above decreases monotonically
    for (int i = 0; i < 200; ++i) {
        const long double next = 0.5L * (r + x / r);
        if (next >= r) break;
        r = next;
    }
    return r;
}

// |x| <= pi/2
constexpr long double sin(long double x) {
    long double term = x, sum = x;
    const long double x2 = x * x;
    for (int k = 1; k < 40 && abs(term) > 1e-24L * abs(sum); ++k) {
        term *= -x2 / ((2 * k) * (2 * k + 1));
        sum += term;
    }
    return sum;
}

// 0 <= x <= 1
constexpr long double asin(long double x) {
    if (x > 0.5L) return kHalfPi - 2 * asin(sqrt((1 - x) / 2));
    long double term = x, sum = x;
    const long double x2 = x * x;
    for (int n = 0; n < 80 && abs(term) > 1e-24L * abs(sum); ++n) {
        term *= x2 * (2 * n + 1) * (2 * n + 1) / ((2 * n + 2) * (2 * n + 3));
        sum += term;
    }
    return sum;
}

constexpr long double exp(long double x) {
    long double k = x / kLn2;
    const long long n = static_cast<long long>(k < 0 ? k - 0.5L : k + 0.5L);
    const long double r = x - n * kLn2;
    long double term = 1, sum = 1;
    for (int i = 1; i < 40 && abs(term) > 1e-24L * sum; ++i) {
        term *= r / i;
        sum += term;
    }
    for (long long i = 0; i < n; ++i) sum *= 2;
    for (long long i = 0; i > n; --i) sum /= 2;
    return sum;
}

// x > 0
constexpr long double log(long double x) {
    int e = 0;
    while (x > 1.5L) {
        x /= 2;
        ++e;
    }
    while (x < 0.75L) {
        x *= 2;
        --e;
    }
    const long double z = (x - 1) / (x + 1), z2 = z * z;
    long double power = z, sum = 0;
    for (int k = 1; k < 120 && abs(power) > 1e-24L; k += 2) {
        sum += power / k;
        power *= z2;
    }
    return 2 * sum + e * kLn2;
}

}  // namespace cx

constexpr double sin(double x) { return static_cast<double>(cx::sin(x)); }
constexpr double asin(double x) { return static_cast<double>(cx::asin(x)); }
constexpr double pow10(double y) { return static_cast<double>(cx::exp(y * cx::kLn10)); }
constexpr double log10(double x) { return static_cast<double>(cx::log(x) / cx::kLn10); }

// Constant power: mag = sin(uval * pi/2), uval = asin(mag) * 2/pi.
constexpr double constantPowerMag(double uval) { return sin(uval * std::numbers::pi / 2); }
constexpr double constantPowerUVal(double mag) { return asin(mag) * 2 / std::numbers::pi; }

// Mixer style: level in dB piecewise linear in uval * 72 through these anchors.
inline constexpr int kMixerAnchors = 9;
inline constexpr double kMixerAnchorU72[kMixerAnchors] = {0, 3, 11, 20, 49, 60, 72, 87, 100};
inline constexpr double kMixerAnchorDb[kMixerAnchors] = {-145, -60, -40, -30, -10, -5, 0, 5, 10};

constexpr double mixerDb(double uval) {
    const double u72 = uval * 72;
    int j = 0;
    while (j < kMixerAnchors - 2 && kMixerAnchorU72[j + 1] <= u72) ++j;
    return kMixerAnchorDb[j] + (u72 - kMixerAnchorU72[j]) * (kMixerAnchorDb[j + 1] - kMixerAnchorDb[j]) /
                                   (kMixerAnchorU72[j + 1] - kMixerAnchorU72[j]);
}

constexpr double mixerMag(double uval) {
    if (uval <= 0) return 0;
    return pow10(mixerDb(uval) / 20);
}

constexpr double mixerUVal(double mag) {
    if (mag <= 0) return 0;
    const double db = 20 * log10(mag);
    int j = 0;
    while (j < kMixerAnchors - 2 && kMixerAnchorDb[j + 1] <= db) ++j;
    const double u72 = kMixerAnchorU72[j] + (db - kMixerAnchorDb[j]) * (kMixerAnchorU72[j + 1] - kMixerAnchorU72[j]) /
                                                (kMixerAnchorDb[j + 1] - kMixerAnchorDb[j]);
    return u72 / 72;
}

}  // namespace Aud::GainCurve::Laws
