#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace Aud::Filter {
// Reaches the state of a section that no public call can produce, and its coefficients.
struct BiquadTestAccess {
    static void forceActive(Biquad& b) { b.active_ = true; }
    static std::vector<float> normalised(const Biquad& b) { return {b.nb0_, b.nb1_, b.nb2_, b.na1_, b.na2_}; }
};
}  // namespace Aud::Filter

using Aud::Filter::Biquad;
using Aud::Filter::BiquadTestAccess;
using Aud::Filter::MultiBandBiquad;
using Shape = Biquad::ShapeDescriptor;

namespace {

constexpr float kFs = 48000.0f;

// ---- an independent long-double design from the cookbook formulas --------------------

struct Design {
    long double b0, b1, b2, a0, a1, a2;
};

Design cookbook(Biquad::eFilterType type, float f, float fs, Shape shape, double gainDb) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const long double A = std::pow(10.0L, static_cast<long double>(gainDb) / 40.0L);
    const long double w0 = 2 * pi * f / fs, sn = std::sin(w0), cs = std::cos(w0);
    const long double v = shape.value;
    long double alpha = 0;
    if (type == Biquad::kAllPass) {
        // Q shape as given; a slope S stands for Q = sqrt(S / 2) (the slope relation at A = 1)
        const long double q = shape.kind == Shape::kQ ? v : std::sqrt(v / 2);
        alpha = sn / (2 * q);
    } else if (shape.kind == Shape::kBandwidthOctaves) {
        alpha = sn * std::sinh(std::log(2.0L) / 2 * v * w0 / sn);
    } else if (shape.kind == Shape::kQ) {
        alpha = sn / (2 * v);
    } else {  // shelf slope
        alpha = sn / 2 * std::sqrt((A + 1 / A) * (1 / v - 1) + 2);
    }
    const long double t = 2 * std::sqrt(A) * alpha;
    switch (type) {
    case Biquad::kLowPass: return {(1 - cs) / 2, 1 - cs, (1 - cs) / 2, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kHighPass: return {(1 + cs) / 2, -(1 + cs), (1 + cs) / 2, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kBandPassSkirt: return {sn / 2, 0, -sn / 2, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kBandPassPeak: return {alpha, 0, -alpha, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kNotch: return {1, -2 * cs, 1, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kAllPass: return {1 - alpha, -2 * cs, 1 + alpha, 1 + alpha, -2 * cs, 1 - alpha};
    case Biquad::kPeaking: return {1 + alpha * A, -2 * cs, 1 - alpha * A, 1 + alpha / A, -2 * cs, 1 - alpha / A};
    case Biquad::kLowShelf:
        return {A * ((A + 1) - (A - 1) * cs + t), 2 * A * ((A - 1) - (A + 1) * cs), A * ((A + 1) - (A - 1) * cs - t),
                (A + 1) + (A - 1) * cs + t,       -2 * ((A - 1) + (A + 1) * cs),    (A + 1) + (A - 1) * cs - t};
    case Biquad::kHighShelf:
        return {A * ((A + 1) + (A - 1) * cs + t), -2 * A * ((A - 1) + (A + 1) * cs), A * ((A + 1) + (A - 1) * cs - t),
                (A + 1) - (A - 1) * cs + t,       2 * ((A - 1) - (A + 1) * cs),      (A + 1) - (A - 1) * cs - t};
    default: return {};
    }
}

long double magnitude(const Design& d, float normalised) {
    const long double pi = 3.141592653589793238462643383279502884L;
    const long double w = pi * normalised;
    const long double nr = d.b0 + d.b1 * std::cos(w) + d.b2 * std::cos(2 * w);
    const long double ni = -(d.b1 * std::sin(w) + d.b2 * std::sin(2 * w));
    const long double dr = d.a0 + d.a1 * std::cos(w) + d.a2 * std::cos(2 * w);
    const long double di = -(d.a1 * std::sin(w) + d.a2 * std::sin(2 * w));
    return std::sqrt((nr * nr + ni * ni) / (dr * dr + di * di));
}

struct Config {
    Biquad::eFilterType type;
    float freq;
    Shape shape;
    double gain;
};

std::string describe(const Config& c) {
    return "type " + std::to_string(c.type) + " f " + std::to_string(c.freq) + " kind " + std::to_string(c.shape.kind) +
           " value " + std::to_string(c.shape.value) + " gain " + std::to_string(c.gain);
}

// Every type with every shape kind it accepts, at a few corners, widths and gains.
std::vector<Config> everyTypeAndShape() {
    std::vector<Config> out;
    const Biquad::eFilterType alphaTypes[] = {Biquad::kLowPass,      Biquad::kHighPass, Biquad::kBandPassSkirt,
                                              Biquad::kBandPassPeak, Biquad::kNotch,    Biquad::kPeaking};
    for (float f : {60.0f, 1000.0f, 12000.0f}) {
        for (Biquad::eFilterType t : alphaTypes) {
            for (double g : {-12.0, 6.0}) {
                out.push_back({t, f, Shape{Shape::kBandwidthOctaves, 1.0f}, g});
                out.push_back({t, f, Shape{Shape::kBandwidthOctaves, 0.25f}, g});
                out.push_back({t, f, Shape{Shape::kQ, 0.7071f}, g});
                out.push_back({t, f, Shape{Shape::kQ, 4.0f}, g});
            }
        }
        for (double g : {-12.0, 6.0}) {
            for (Biquad::eFilterType t : {Biquad::kAllPass, Biquad::kLowShelf, Biquad::kHighShelf}) {
                out.push_back({t, f, Shape{Shape::kQ, 0.7071f}, g});
                out.push_back({t, f, Shape{Shape::kQ, 2.0f}, g});
                out.push_back({t, f, Shape{Shape::kShelfSlope, 1.0f}, g});
                out.push_back({t, f, Shape{Shape::kShelfSlope, 0.5f}, g});
            }
        }
    }
    return out;
}

std::vector<float> logSweep() {
    std::vector<float> f;
    for (int i = 0; i <= 240; ++i) f.push_back(static_cast<float>(std::pow(10.0, -4.0 + 4.0 * i / 240.0) * 0.9999));
    return f;
}

void expectThrows(const std::function<void()>& call, const std::string& message, int line) {
    try {
        call();
        ADD_FAILURE() << "no exception; expected \"" << message << "\" at line " << line;
    } catch (const Qm::Exception::RuntimeError& e) {
        EXPECT_EQ(std::string(e.what()), message);
        EXPECT_EQ(e.line(), line);
        EXPECT_EQ(e.file(), "ole/AudAtoms/Aud__Biquad");
    }
}

// A test signal: pseudo-random noise in [-1, 1] over a slow sine, 4096 samples.
std::vector<float> testSignal() {
    std::vector<float> x(4096);
    unsigned s = 12345;
    for (std::size_t i = 0; i < x.size(); ++i) {
        s = s * 1103515245u + 12345u;
        const float noise = static_cast<float>((s >> 8) & 0xFFFF) / 32768.0f - 1.0f;
        x[i] = 0.5f * noise + 0.5f * static_cast<float>(std::sin(0.01 * static_cast<double>(i)));
    }
    return x;
}

// Runs x through the section and through a double-precision direct-form-I filter with
// the double coefficients b/a0, a/a0 of the same design, and checks the float path stays
// within a bound derived from its rounding:
//   Each float step differs from the exact step with double coefficients by the rounding
//   of the five coefficients to float (u = 2^-24 relative each) and of the five products
//   and four sums (at most 5u of the sum of the terms' magnitudes, standard bound for a
//   chain of 5 terms). So the local error is at most 6u * S per sample, with
//   S = (|b0|+|b1|+|b2|) max|x| + (|a1|+|a2|) max|y|. Errors then circulate through the
//   recursion 1 / (1 + a1 z^-1 + a2 z^-2); its impulse response g bounds the total by
//   sum|g| * 6u * S. We allow 8u for the second-order terms and the double filter's own error.
void expectCloseToDoubleFilter(Biquad& b, const Design& d, const std::string& what) {
    const double b0 = static_cast<double>(d.b0 / d.a0), b1 = static_cast<double>(d.b1 / d.a0),
                 b2 = static_cast<double>(d.b2 / d.a0), a1 = static_cast<double>(d.a1 / d.a0),
                 a2 = static_cast<double>(d.a2 / d.a0);
    const std::vector<float> x = testSignal();
    std::vector<double> ref(x.size());
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0, maxX = 0, maxY = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double y = b0 * x[i] + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1, x1 = x[i], y2 = y1, y1 = y;
        ref[i] = y;
        maxX = std::max(maxX, std::fabs(static_cast<double>(x[i])));
        maxY = std::max(maxY, std::fabs(y));
    }
    double gSum = 0, g1 = 0, g2 = 0;
    for (int n = 0; n < 2000000; ++n) {
        const double g = (n == 0 ? 1.0 : 0.0) - a1 * g1 - a2 * g2;
        g2 = g1, g1 = g;
        gSum += std::fabs(g);
        if (n > 64 && std::fabs(g) + std::fabs(g2) < 1e-15 * gSum) break;
    }
    const double u = std::ldexp(1.0, -24);
    const double S = (std::fabs(b0) + std::fabs(b1) + std::fabs(b2)) * maxX + (std::fabs(a1) + std::fabs(a2)) * maxY;
    const double bound = gSum * 8 * u * S;
    double worst = 0;
    for (std::size_t i = 0; i < x.size(); ++i) worst = std::max(worst, std::fabs(b.processSample(x[i]) - ref[i]));
    EXPECT_LE(worst, bound) << what << " (noise gain " << gSum << ")";
    EXPECT_GT(maxY, 0.0) << what;
}

}  // namespace

TEST(Biquad, DefaultSectionIsInactiveAndUnconfigured) {
    Biquad b;
    EXPECT_FALSE(b.getActive());
    EXPECT_EQ(b.getFilterType(), Biquad::kNone);
    EXPECT_EQ(b.getShapeDescriptor().kind, 0);
    EXPECT_EQ(b.getShapeDescriptor().value, 0.0f);
    EXPECT_EQ(b.getLastProcessSampleResult(), 0.0f);
    EXPECT_EQ(b.getResponseMagnitudeAtFrequency(0.3f), 1.0f);
    EXPECT_EQ(b.processSample(0.25f), 0.25f);
}

TEST(Biquad, ShapeDescriptorLayout) {
    const Shape q{Shape::kQ, 0.7071f};
    EXPECT_EQ(q.kind, 2);
    EXPECT_EQ(q.value, 0.7071f);
    EXPECT_EQ(Shape::kBandwidthOctaves, 1);
    EXPECT_EQ(Shape::kShelfSlope, 3);
    EXPECT_EQ(sizeof(Shape), 8u);
    EXPECT_EQ(sizeof(Biquad::eFilterType), 4u);
}

TEST(Biquad, ConfigureRecordsItsParameters) {
    Biquad b(Biquad::kPeaking, 1234.5f, 44100.0f, Shape{Shape::kBandwidthOctaves, 1.5f}, -3.25, true);
    EXPECT_TRUE(b.getActive());
    EXPECT_EQ(b.getFilterType(), Biquad::kPeaking);
    EXPECT_EQ(b.getFrequency(), 1234.5f);
    EXPECT_EQ(b.getSamplingRate(), 44100.0f);
    EXPECT_EQ(b.getShapeDescriptor(), (Shape{Shape::kBandwidthOctaves, 1.5f}));
    EXPECT_EQ(b.getGain(), -3.25);
    Biquad off(Biquad::kLowPass, 100.0f, kFs, Shape{Shape::kQ, 1.0f}, 0.0, false);
    EXPECT_FALSE(off.getActive());
}

TEST(Biquad, MagnitudeOfEveryTypeAndShapeMatchesTheCookbook) {
    int checked = 0;
    for (const Config& c : everyTypeAndShape()) {
        const Biquad b(c.type, c.freq, kFs, c.shape, c.gain, true);
        const Design d = cookbook(c.type, c.freq, kFs, c.shape, c.gain);
        for (float f : logSweep()) {
            const long double want = magnitude(d, f);
            const float got = b.getResponseMagnitudeAtFrequency(f);
            ASSERT_LE(std::fabs(got - want), 1e-5L * want) << describe(c) << " at " << f;
            ++checked;
        }
    }
    EXPECT_GT(checked, 40000);
}

TEST(Biquad, SamplesOfEveryTypeFollowADoublePrecisionFilter) {
    for (const Config& c : everyTypeAndShape()) {
        Biquad b(c.type, c.freq, kFs, c.shape, c.gain, true);
        expectCloseToDoubleFilter(b, cookbook(c.type, c.freq, kFs, c.shape, c.gain), describe(c));
    }
}

TEST(Biquad, SampleSumIsFormedInTheStatedOrder) {
    Biquad b(Biquad::kPeaking, 3000.0f, kFs, Shape{Shape::kQ, 1.3f}, 4.5, true);
    const std::vector<float> k = BiquadTestAccess::normalised(b);
    float x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (float x : testSignal()) {
        const float want = k[0] * x + k[1] * x1 + k[2] * x2 - k[3] * y1 - k[4] * y2;
        ASSERT_EQ(b.processSample(x), want);
        x2 = x1, x1 = x, y2 = y1, y1 = want;
        ASSERT_EQ(b.getLastProcessSampleResult(), want);
    }
    // and the coefficients are the double design divided by a0, rounded to float
    const Design d = cookbook(Biquad::kPeaking, 3000.0f, kFs, Shape{Shape::kQ, 1.3f}, 4.5);
    EXPECT_NEAR(k[0], static_cast<double>(d.b0 / d.a0), 1e-7);
    EXPECT_NEAR(k[3], static_cast<double>(d.a1 / d.a0), 1e-7);
}

TEST(Biquad, ZeroDecibelPeakingAndShelvesPassUnchanged) {
    for (Biquad::eFilterType t : {Biquad::kPeaking, Biquad::kLowShelf, Biquad::kHighShelf}) {
        for (Shape shape : {Shape{Shape::kQ, 0.7071f}, Shape{Shape::kQ, 3.0f}, Shape{Shape::kShelfSlope, 1.0f},
                            Shape{Shape::kBandwidthOctaves, 2.0f}}) {
            if (t == Biquad::kPeaking && shape.kind == Shape::kShelfSlope) continue;
            if (t != Biquad::kPeaking && shape.kind == Shape::kBandwidthOctaves) continue;
            Biquad b(t, 2000.0f, kFs, shape, 0.0, true);
            for (float f : logSweep()) ASSERT_EQ(b.getResponseMagnitudeAtFrequency(f), 1.0f) << t << " " << f;
            const std::vector<float> k = BiquadTestAccess::normalised(b);
            EXPECT_EQ(k[0], 1.0f);
            EXPECT_EQ(k[1], k[3]);
            EXPECT_EQ(k[2], k[4]);
            // y equals x up to the rounding of the running sum; bounded as for any filter
            Design unity{1, 0, 0, 1, 0, 0};
            unity.b1 = unity.a1 = k[1];
            unity.b2 = unity.a2 = k[2];
            expectCloseToDoubleFilter(b, unity, "0 dB type " + std::to_string(t));
        }
    }
}

TEST(Biquad, InactiveSectionPassesThroughAndFollowsInput) {
    Biquad b(Biquad::kLowPass, 500.0f, kFs, Shape{Shape::kQ, 0.7071f}, 0.0, true);
    const std::vector<float> k = BiquadTestAccess::normalised(b);
    const float y1 = b.processSample(1.0f);
    const float y2 = b.processSample(0.5f);
    b.setActive(false);
    EXPECT_EQ(b.processSample(0.75f), 0.75f);
    EXPECT_EQ(b.getLastProcessSampleResult(), 0.75f);
    EXPECT_EQ(b.processSample(-0.125f), -0.125f);
    EXPECT_EQ(b.getLastProcessSampleResult(), -0.125f);
    EXPECT_EQ(b.getResponseMagnitudeAtFrequency(0.5f), 1.0f);
    // back on: x1, x2 and y2 are as the active samples left them, y1 is the last input
    b.setActive(true);
    const float want = k[0] * 2.0f + k[1] * 0.5f + k[2] * 1.0f - k[3] * -0.125f - k[4] * y1;
    EXPECT_EQ(b.processSample(2.0f), want);
    (void)y2;
}

TEST(Biquad, LowPassAtAQuarterOfTheRate) {
    Biquad b(Biquad::kLowPass, kFs / 4, kFs, Shape{Shape::kQ, 0.7071f}, 0.0, true);
    EXPECT_NEAR(b.getResponseMagnitudeAtFrequency(0.0f), 1.0f, 1e-6);
    EXPECT_NEAR(b.getResponseMagnitudeAtFrequency(0.5f), 0.7071f, 1e-4);
    EXPECT_LT(b.getResponseMagnitudeAtFrequency(0.99f), 1e-3f);
}

TEST(Biquad, ConfigureKeepsTheActiveFlagAndTheMemory) {
    Biquad b(Biquad::kLowPass, 500.0f, kFs, Shape{Shape::kQ, 0.7071f}, 0.0, true);
    const float y1 = b.processSample(1.0f);
    const float y2 = b.processSample(-0.5f);
    b.configure(Biquad::kHighShelf, 4000.0f, kFs, Shape{Shape::kShelfSlope, 1.0f}, 6.0);
    EXPECT_TRUE(b.getActive());
    const std::vector<float> k = BiquadTestAccess::normalised(b);
    const float want = k[0] * 0.25f + k[1] * -0.5f + k[2] * 1.0f - k[3] * y2 - k[4] * y1;
    EXPECT_EQ(b.processSample(0.25f), want);
    Biquad idle;
    idle.configure(Biquad::kNotch, 50.0f, kFs, Shape{Shape::kQ, 10.0f}, 0.0);
    EXPECT_FALSE(idle.getActive());
    idle.reset();
    EXPECT_EQ(idle.getLastProcessSampleResult(), 0.0f);
}

TEST(Biquad, ResetClearsTheMemory) {
    Biquad a(Biquad::kBandPassPeak, 800.0f, kFs, Shape{Shape::kQ, 2.0f}, 0.0, true);
    Biquad fresh = a;
    for (float x : {1.0f, -1.0f, 0.5f}) a.processSample(x);
    a.reset();
    EXPECT_EQ(a.getLastProcessSampleResult(), 0.0f);
    for (float x : testSignal()) ASSERT_EQ(a.processSample(x), fresh.processSample(x));
}

TEST(Biquad, AllPassKeepsUnitMagnitudeForBothShapes) {
    for (Shape shape : {Shape{Shape::kQ, 0.7071f}, Shape{Shape::kQ, 5.0f}, Shape{Shape::kShelfSlope, 1.0f},
                        Shape{Shape::kShelfSlope, 0.3f}}) {
        for (double gain : {0.0, 12.0}) {  // gain plays no part
            Biquad b(Biquad::kAllPass, 1500.0f, kFs, shape, gain, true);
            for (float f : logSweep()) ASSERT_NEAR(b.getResponseMagnitudeAtFrequency(f), 1.0f, 1e-6) << f;
        }
    }
    // a slope of 1 is the all-pass of Q = 1/sqrt(2)
    const Biquad bySlope(Biquad::kAllPass, 1500.0f, kFs, Shape{Shape::kShelfSlope, 1.0f}, 0.0, true);
    const Biquad byQ(Biquad::kAllPass, 1500.0f, kFs, Shape{Shape::kQ, static_cast<float>(std::sqrt(0.5))}, 0.0, true);
    const auto ks = BiquadTestAccess::normalised(bySlope), kq = BiquadTestAccess::normalised(byQ);
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(ks[i], kq[i], 1e-6) << i;
    const Biquad withGain(Biquad::kAllPass, 1500.0f, kFs, Shape{Shape::kShelfSlope, 1.0f}, 12.0, true);
    EXPECT_EQ(BiquadTestAccess::normalised(withGain), ks);
}

TEST(Biquad, DesignsStayFiniteAcrossTheRange) {
    for (int t = 1; t <= 9; ++t) {
        const auto type = static_cast<Biquad::eFilterType>(t);
        const bool shelf = type == Biquad::kLowShelf || type == Biquad::kHighShelf || type == Biquad::kAllPass;
        for (float f : {1.0f, 20.0f, 1000.0f, 20000.0f, 23900.0f}) {
            for (double gain : {-40.0, -0.5, 0.0, 24.0}) {
                for (Shape shape : {Shape{Shape::kQ, 0.1f}, Shape{Shape::kQ, 20.0f},
                                    Shape{shelf ? Shape::kShelfSlope : Shape::kBandwidthOctaves, 1.0f},
                                    Shape{shelf ? Shape::kShelfSlope : Shape::kBandwidthOctaves, 0.2f}}) {
                    // A band of octaves reaching past half the rate has no meaning: at
                    // 23.9 kHz, sinh(ln2/2 * BW * w0 / sin w0) is ~1e35 and 1 +- alpha
                    // lose the 1, so the formulas give an infinite response there.
                    if (f > 20000.0f && shape.kind == Shape::kBandwidthOctaves) continue;
                    Biquad b(type, f, kFs, shape, gain, true);
                    for (float nf : {0.0f, 0.001f, 0.25f, 0.5f, 1.0f})
                        ASSERT_TRUE(std::isfinite(b.getResponseMagnitudeAtFrequency(nf))) << t << " " << f;
                    for (float x : {1.0f, 0.0f, 0.0f, -1.0f, 0.5f})
                        ASSERT_TRUE(std::isfinite(b.processSample(x))) << t << " " << f << " " << gain;
                }
            }
        }
    }
}

TEST(Biquad, EveryExceptionWithItsMessageAndLine) {
    Biquad b;
    expectThrows([&] { b.setActive(true); }, "Filter is not configured!", 315);
    EXPECT_FALSE(b.getActive());
    b.setActive(false);  // always allowed
    const auto configure = [&](int type, int kind) {
        return [&b, type, kind] {
            b.configure(static_cast<Biquad::eFilterType>(type), 1000.0f, kFs, Shape{kind, 1.0f}, 0.0);
        };
    };
    for (int type : {1, 2, 3, 4, 5, 7}) {
        for (int kind : {0, 3, 4, -1}) expectThrows(configure(type, kind), "ShapeDescriptor/FilterType mismatch", 116);
    }
    for (int type : {8, 9}) {
        for (int kind : {0, 1, 4}) expectThrows(configure(type, kind), "ShapeDescriptor/FilterType mismatch", 133);
    }
    // the shelf-term path catches the all-pass and unknown types with other kinds
    for (int type : {6, 0, 10, -3}) {
        for (int kind : {1, 0, 7}) expectThrows(configure(type, kind), "ShapeDescriptor/FilterType mismatch", 188);
    }
    for (int type : {0, 10, 255}) {
        for (int kind : {2, 3}) expectThrows(configure(type, kind), "Unknown filter type", 267);
    }
    EXPECT_EQ(b.getFilterType(), Biquad::kNone);  // nothing changed by any of them
    EXPECT_EQ(b.getShapeDescriptor().kind, 0);
    // an active section of type 0 cannot be made through the public calls; forced here
    BiquadTestAccess::forceActive(b);
    expectThrows([&] { (void)b.getResponseMagnitudeAtFrequency(0.5f); }, "Biquad is not configured!", 385);
    // the constructor throws from configure
    expectThrows(
        [] {
            Biquad bad(Biquad::kNone, 1000.0f, kFs, Shape{Shape::kQ, 1.0f}, 0.0, true);
        },
        "Unknown filter type", 267);
}

TEST(Biquad, AFailedConfigureLeavesTheSectionAsItWas) {
    Biquad b(Biquad::kHighPass, 300.0f, kFs, Shape{Shape::kQ, 0.9f}, 0.0, true);
    const Biquad twin = b;
    b.processSample(0.5f);
    Biquad twinRun = twin;
    twinRun.processSample(0.5f);
    expectThrows(
        [&] {
            b.configure(Biquad::kLowShelf, 80.0f, kFs, Shape{Shape::kBandwidthOctaves, 1.0f}, 3.0);
        },
        "ShapeDescriptor/FilterType mismatch", 133);
    EXPECT_EQ(b.getFilterType(), Biquad::kHighPass);
    EXPECT_EQ(b.getFrequency(), 300.0f);
    EXPECT_EQ(b.getShapeDescriptor(), (Shape{Shape::kQ, 0.9f}));
    EXPECT_EQ(BiquadTestAccess::normalised(b), BiquadTestAccess::normalised(twin));
    for (float x : testSignal()) ASSERT_EQ(b.processSample(x), twinRun.processSample(x));
}

TEST(MultiBandBiquad, GetBandChecksTheBandNumber) {
    MultiBandBiquad<3> eq;
    const MultiBandBiquad<3>& ceq = eq;
    EXPECT_EQ(&eq.getBand(2), &ceq.getBand(2));
    expectThrows([&] { (void)eq.getBand(3); }, "BandNumber out of range!", 205);
    expectThrows([&] { (void)ceq.getBand(3); }, "BandNumber out of range!", 205);
    expectThrows([&] { (void)eq.getBand(0xFFFFFFFFu); }, "BandNumber out of range!", 205);
    for (unsigned i = 0; i < 3; ++i) EXPECT_FALSE(eq.getBand(i).getActive());
    MultiBandBiquad<5> five;
    EXPECT_NO_THROW((void)five.getBand(4));
    expectThrows([&] { (void)five.getBand(5); }, "BandNumber out of range!", 205);
    MultiBandBiquad<2> two;
    expectThrows([&] { (void)two.getBand(2); }, "BandNumber out of range!", 205);
}

TEST(MultiBandBiquad, ResponseIsTheProductOfTheBandsAndTheLastBandLeads) {
    MultiBandBiquad<3> eq;
    eq.getBand(0).configure(Biquad::kLowShelf, 100.0f, kFs, Shape{Shape::kShelfSlope, 1.0f}, 4.0);
    eq.getBand(1).configure(Biquad::kPeaking, 1000.0f, kFs, Shape{Shape::kQ, 1.0f}, -6.0);
    eq.getBand(2).configure(Biquad::kHighShelf, 8000.0f, kFs, Shape{Shape::kQ, 0.7071f}, 3.0);
    for (unsigned i = 0; i < 3; ++i) eq.getBand(i).setActive(true);
    for (float f : logSweep()) {
        float want = eq.getBand(0).getResponseMagnitudeAtFrequency(f);
        want *= eq.getBand(1).getResponseMagnitudeAtFrequency(f);
        want *= eq.getBand(2).getResponseMagnitudeAtFrequency(f);
        ASSERT_EQ(eq.getResponseMagnitudeAtFrequency(f), want) << f;
    }
    // cascade the bands by hand; the group reports the last band's result
    float out = 0;
    for (float x : {1.0f, 0.5f, -0.25f}) {
        out = x;
        for (unsigned i = 0; i < 3; ++i) out = eq.getBand(i).processSample(out);
    }
    EXPECT_EQ(eq.getLastProcessSampleResult(), out);
    EXPECT_NE(out, 0.0f);
    eq.reset();
    for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(eq.getBand(i).getLastProcessSampleResult(), 0.0f);
    EXPECT_EQ(eq.getLastProcessSampleResult(), 0.0f);
    // unconfigured bands are inactive and answer 1
    MultiBandBiquad<4> flat;
    EXPECT_EQ(flat.getResponseMagnitudeAtFrequency(0.3f), 1.0f);
}
