#include "AudAtoms/kernels/Aud__Biquad.h"

#include <cmath>
#include <numbers>

namespace Aud::Filter {

namespace {

constexpr const char* kSource = "ole/AudAtoms/Aud__Biquad";
constexpr double kHalfLn2 = 0.34657359027997264;  // ln 2 / 2

[[noreturn]] void fail(const char* message, int line) { throw Qm::Exception::RuntimeError(message, kSource, line); }

using Shape = Biquad::ShapeDescriptor;

bool usesAlpha(Biquad::eFilterType t) {
    return (t >= Biquad::kLowPass && t <= Biquad::kNotch) || t == Biquad::kPeaking;
}

struct Coefficients {
    double b0, b1, b2, a0, a1, a2;
};

}  // namespace

Biquad::Biquad() = default;

Biquad::Biquad(eFilterType type, float frequency, float samplingRate, const ShapeDescriptor& shape, double gainDb,
               bool active) {
    reset();
    configure(type, frequency, samplingRate, shape, gainDb);
    setActive(active);
}

void Biquad::configure(eFilterType type, float frequency, float samplingRate, const ShapeDescriptor& shape,
                       double gainDb) {
    const bool alphaPath = usesAlpha(type);
    if (alphaPath && shape.kind != Shape::kBandwidthOctaves && shape.kind != Shape::kQ)
        fail("ShapeDescriptor/FilterType mismatch", 116);
    if ((type == kLowShelf || type == kHighShelf) && shape.kind != Shape::kQ && shape.kind != Shape::kShelfSlope)
        fail("ShapeDescriptor/FilterType mismatch", 133);

    const bool gainTypes = type == kPeaking || type == kLowShelf || type == kHighShelf;
    const double A = gainTypes ? std::pow(10.0, gainDb / 40.0) : std::sqrt(std::pow(10.0, gainDb / 20.0));
    const double w0 = 2.0 * std::numbers::pi * static_cast<double>(frequency) / static_cast<double>(samplingRate);
    const double sw = std::sin(w0), c = std::cos(w0);
    const double value = shape.value;

    double alpha = 0, s = 0;
    if (alphaPath) {
        if (shape.kind == Shape::kBandwidthOctaves) {
            alpha = sw * std::sinh(kHalfLn2 * value * w0 / sw);
        } else if (shape.kind == Shape::kQ) {
            alpha = sw / (2.0 * value);
        } else {
            fail("ShapeDescriptor/FilterType mismatch", 173);  // kept for kinds outside the cases above
        }
    } else {
        // The shelf term s = 2 sqrt(A) alpha, prepared as s / sin(w0).
        if (shape.kind == Shape::kQ) {
            s = sw * (std::sqrt(A) / value);
            if (type == kAllPass) alpha = sw / (2.0 * value);
        } else if (shape.kind == Shape::kShelfSlope) {
            s = sw * std::sqrt((A * A + 1.0) / value - (A - 1.0) * (A - 1.0));
            if (type == kAllPass) alpha = sw / std::sqrt(2.0 * value);
        } else {
            fail("ShapeDescriptor/FilterType mismatch", 188);
        }
    }

    Coefficients k{};
    switch (type) {
    case kLowPass: k = {(1 - c) / 2, 1 - c, (1 - c) / 2, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kHighPass: k = {(1 + c) / 2, -(1 + c), (1 + c) / 2, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kBandPassSkirt: k = {sw / 2, 0, -sw / 2, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kBandPassPeak: k = {alpha, 0, -alpha, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kNotch: k = {1, -2 * c, 1, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kAllPass: k = {1 - alpha, -2 * c, 1 + alpha, 1 + alpha, -2 * c, 1 - alpha}; break;
    case kPeaking: k = {1 + alpha * A, -2 * c, 1 - alpha * A, 1 + alpha / A, -2 * c, 1 - alpha / A}; break;
    case kLowShelf:
        k = {A * ((A + 1) - (A - 1) * c + s), 2 * A * ((A - 1) - (A + 1) * c), A * ((A + 1) - (A - 1) * c - s),
             (A + 1) + (A - 1) * c + s,       -2 * ((A - 1) + (A + 1) * c),    (A + 1) + (A - 1) * c - s};
        break;
    case kHighShelf:
        k = {A * ((A + 1) + (A - 1) * c + s), -2 * A * ((A - 1) + (A + 1) * c), A * ((A + 1) + (A - 1) * c - s),
             (A + 1) - (A - 1) * c + s,       2 * ((A - 1) - (A + 1) * c),      (A + 1) - (A - 1) * c - s};
        break;
    default: fail("Unknown filter type", 267);
    }

    type_ = type;
    frequency_ = frequency;
    samplingRate_ = samplingRate;
    shape_ = shape;
    gainDb_ = gainDb;
    a0_ = k.a0;
    a1_ = k.a1;
    a2_ = k.a2;
    b0_ = k.b0;
    b1_ = k.b1;
    b2_ = k.b2;
    nb0_ = static_cast<float>(k.b0 / k.a0);
    nb1_ = static_cast<float>(k.b1 / k.a0);
    nb2_ = static_cast<float>(k.b2 / k.a0);
    na1_ = static_cast<float>(k.a1 / k.a0);
    na2_ = static_cast<float>(k.a2 / k.a0);
}

void Biquad::setActive(bool active) {
    if (active && type_ == kNone) fail("Filter is not configured!", 315);
    active_ = active;
}

float Biquad::getResponseMagnitudeAtFrequency(float normalisedFrequency) const {
    if (!active_) return 1.0f;
    if (type_ == kNone) fail("Biquad is not configured!", 385);
    const double w = std::numbers::pi * static_cast<double>(normalisedFrequency);
    const double cw = std::cos(w), c2w = std::cos(2 * w), sw = std::sin(w), s2w = std::sin(2 * w);
    const double nRe = b0_ + b1_ * cw + b2_ * c2w, nIm = b1_ * sw + b2_ * s2w;
    const double dRe = a0_ + a1_ * cw + a2_ * c2w, dIm = a1_ * sw + a2_ * s2w;
    return static_cast<float>(std::sqrt(nRe * nRe + nIm * nIm) / std::sqrt(dRe * dRe + dIm * dIm));
}

}  // namespace Aud::Filter
