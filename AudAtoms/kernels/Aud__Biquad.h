// Aud::Filter::Biquad: one second-order IIR section that designs its own coefficients
// from the audio-equaliser cookbook formulas and filters one float sample per call in
// direct form I. MultiBandBiquad<N> (N = 2 to 5 in use) groups N sections as the bands
// of one equaliser.
//
// Units: frequency and samplingRate in Hz; gain in dB (used by kPeaking and the
// shelves); shape value in octaves (kBandwidthOctaves), as Q (kQ) or as shelf slope S
// (kShelfSlope, 1.0 = steepest monotonic). getResponseMagnitudeAtFrequency takes a
// normalised frequency (1.0 = half the sampling rate) and answers a linear magnitude.
//
// Per sample (single precision, normalised by a0, summed in this order):
//   y = b0*x + b1*x1 + b2*x2 - a1*y1 - a2*y2;  x2 = x1, x1 = x, y2 = y1, y1 = y
// An inactive section returns x unchanged and sets y1 = x (nothing else).
//
// All-pass (kAllPass) accepts a Q or a slope shape; gain plays no part in it.
// alpha = sin(w0) / (2Q) for a Q shape; a slope S is read as the Q the shelf-slope
// relation 1/Q = sqrt((A + 1/A)(1/S - 1) + 2) gives at unity gain (A = 1), that is
// alpha = sin(w0) / sqrt(2S), so S = 1 is the all-pass of Q = 1/sqrt(2).
//
// Errors: Qm::Exception::RuntimeError with the message, "ole/AudAtoms/Aud__Biquad" and
// the line; the section is left as it was.
// Threads: a section belongs to one thread at a time (the audio thread filters, and
// whoever configures must not do so concurrently). processSample and processChannels
// (many channels' cascades side by side, see below) are real-time safe:
// no allocation, no locks, no exceptions. configure does double-precision design work
// and no allocation; it throws only on invalid parameters.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/Exception.h"

#include <cmath>
#include <cstdint>

namespace Aud::Filter {

class AUDATOMS_EXPORT Biquad {
public:
    enum eFilterType : std::int32_t {
        kNone = 0,
        kLowPass = 1,
        kHighPass = 2,
        kBandPassSkirt = 3,  // constant skirt gain, peak gain = Q
        kBandPassPeak = 4,   // constant 0 dB peak gain
        kNotch = 5,
        kAllPass = 6,
        kPeaking = 7,
        kLowShelf = 8,
        kHighShelf = 9,
    };

    struct ShapeDescriptor {
        enum eShapeKind : std::int32_t { kBandwidthOctaves = 1, kQ = 2, kShelfSlope = 3 };
        std::int32_t kind = 0;  // one of eShapeKind
        float value = 0.0f;
        bool operator==(const ShapeDescriptor&) const = default;
    };

    Biquad();
    Biquad(eFilterType type, float frequency, float samplingRate, const ShapeDescriptor& shape, double gainDb,
           bool active);

    void configure(eFilterType type, float frequency, float samplingRate, const ShapeDescriptor& shape, double gainDb);

    void setActive(bool active);
    bool getActive() const { return active_; }
    eFilterType getFilterType() const { return type_; }
    float getFrequency() const { return frequency_; }
    float getSamplingRate() const { return samplingRate_; }
    const ShapeDescriptor& getShapeDescriptor() const { return shape_; }
    double getGain() const { return gainDb_; }

    float processSample(float x) {
        if (!active_) {
            y1_ = x;
            return x;
        }
        const float y = nb0_ * x + nb1_ * x1_ + nb2_ * x2_ - na1_ * y1_ - na2_ * y2_;
        x2_ = x1_;
        x1_ = x;
        y2_ = y1_;
        y1_ = y;
        return y;
    }
    float getLastProcessSampleResult() const { return y1_; }
    void reset() { x1_ = x2_ = y1_ = y2_ = 0.0f; }

    // Filters `channels` channels of n samples in place: channel c (x[c]) through the
    // cascade sections[c * perChannel] .. sections[c * perChannel + perChannel - 1],
    // first section first. Results and every section's memory afterwards are
    // bit-identical to calling processSample section by section, sample by sample
    // (the same single-precision operations in the same order for each channel);
    // channels whose sections are all active run side by side in vector lanes, 16, 8 or
    // 4 at a time as the CPU's vectors allow, the others one by one. No two channels may
    // share a section or samples.
    // Real-time safe: no allocation, no locks, no exceptions.
    static void processChannels(Biquad* const* sections, unsigned perChannel, float* const* x, unsigned channels,
                                unsigned n);

    float getResponseMagnitudeAtFrequency(float normalisedFrequency) const;

    // The coefficients processSample uses, divided by a0:
    //   y = b0*x + b1*x1 + b2*x2 - a1*y1 - a2*y2
    struct NormalisedCoefficients {
        float b0, b1, b2, a1, a2;
    };
    NormalisedCoefficients getNormalisedCoefficients() const { return {nb0_, nb1_, nb2_, na1_, na2_}; }
    // True when every coefficient is finite and both poles lie strictly inside the unit
    // circle (|a2| < 1 and |a1| < 1 + a2): the section's response to any finite input
    // stays finite and decays. A design from extreme settings (a shelf slope too steep
    // for its gain, for instance) can fail this.
    bool hasUsableDesign() const {
        const NormalisedCoefficients c = getNormalisedCoefficients();
        for (float v : {c.b0, c.b1, c.b2, c.a1, c.a2})
            if (!std::isfinite(v)) return false;
        return std::fabs(c.a2) < 1.0f && std::fabs(c.a1) < 1.0f + c.a2;
    }

private:
    friend struct BiquadTestAccess;  // lets tests build states the public calls cannot

    bool active_ = false;
    float nb0_ = 0, nb1_ = 0, nb2_ = 0, na1_ = 0, na2_ = 0;  // b0/a0, b1/a0, b2/a0, a1/a0, a2/a0
    double a0_ = 0, a1_ = 0, a2_ = 0, b0_ = 0, b1_ = 0, b2_ = 0;
    float x1_ = 0, x2_ = 0, y1_ = 0, y2_ = 0;
    eFilterType type_ = kNone;
    float frequency_ = 0, samplingRate_ = 0;
    ShapeDescriptor shape_{};
    double gainDb_ = 0;
};

// N bands; the host cascades them in band order (each band's output feeding the next).
template <unsigned N>
class MultiBandBiquad {
public:
    Biquad& getBand(unsigned band) { return bands_[checked(band)]; }
    const Biquad& getBand(unsigned band) const { return bands_[checked(band)]; }

    void reset() {
        for (Biquad& b : bands_) b.reset();
    }
    float getLastProcessSampleResult() const { return bands_[N - 1].getLastProcessSampleResult(); }

    // Product of the bands' magnitudes, multiplied in band order in single precision.
    float getResponseMagnitudeAtFrequency(float normalisedFrequency) const {
        float m = bands_[0].getResponseMagnitudeAtFrequency(normalisedFrequency);
        for (unsigned i = 1; i < N; ++i) m *= bands_[i].getResponseMagnitudeAtFrequency(normalisedFrequency);
        return m;
    }

private:
    static unsigned checked(unsigned band) {
        if (band >= N) throw Qm::Exception::RuntimeError("BandNumber out of range!", "ole/AudAtoms/Aud__Biquad", 205);
        return band;
    }

    Biquad bands_[N];
};

}  // namespace Aud::Filter
