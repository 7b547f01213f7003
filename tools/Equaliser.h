// Equaliser bands and the multi-band equaliser stage of one channel.
//
// Band text: TYPE:FREQ[:q=Q|bw=OCTAVES|s=SLOPE][:GAIN_DB]
//   TYPE  lowpass (lp), highpass (hp), bandpass (bp, 0 dB peak), bandpass-skirt (bps,
//         peak gain Q), notch, allpass (ap), peaking (peak, bell), lowshelf (ls),
//         highshelf (hs)
//   FREQ  corner or centre frequency in Hz ("2k" = 2000), above 0 and below half the
//         sampling rate
//   shape q=Q, bw=OCTAVES or s=SLOPE (shelves); default Q 0.7071, shelves slope 1
//   GAIN  decibels ("+6", "-3dB"), used by peaking and the shelves; default 0
// The library designs each band (Aud::Filter::Biquad::configure); a shape the type does
// not take is refused with the library's message.
//
// Equaliser: 1 to 5 bands, held as one Biquad or as the library's MultiBandBiquad<N>,
// cascaded in band order sample by sample. Its magnitude response is the library's
// (MultiBandBiquad::getResponseMagnitudeAtFrequency, the product of the bands').
// Threads: an equaliser belongs to one thread; process() is real-time safe.
#pragma once

#include "AudAtoms/kernels/Aud__Biquad.h"

#include <string>
#include <variant>
#include <vector>

namespace audtool {

struct EqBandSettings {
    Aud::Filter::Biquad::eFilterType type = Aud::Filter::Biquad::kNone;
    float frequency = 0;  // Hz
    Aud::Filter::Biquad::ShapeDescriptor shape{};
    double gainDb = 0;
    std::string text;  // as written, for messages
    int line = 0;      // session file line, 0 when not from a file
};

// Parses a band text; InputError quoting the text for an unknown type (listing the
// known ones), a bad number or a repeated part.
EqBandSettings parseEqBand(const std::string& text);
// Short name of a filter type ("peaking").
std::string eqTypeName(Aud::Filter::Biquad::eFilterType type);

class Equaliser {
public:
    static constexpr unsigned kMaxBands = 5;

    Equaliser() = default;
    // Designs the bands at the sampling rate; InputError (quoting the band) for a
    // frequency outside (0, rate/2), more than kMaxBands bands, or a design the library
    // refuses.
    Equaliser(const std::vector<EqBandSettings>& bands, float samplingRate);

    unsigned numBands() const { return static_cast<unsigned>(settings_.size()); }
    bool empty() const { return settings_.empty(); }
    const Aud::Filter::Biquad& band(unsigned i) const;
    // Band i as a section to filter with (see EqualiserBank); it lives as long as the
    // equaliser and moves with it.
    Aud::Filter::Biquad& section(unsigned i) { return const_cast<Aud::Filter::Biquad&>(band(i)); }
    const EqBandSettings& settings(unsigned i) const { return settings_[i]; }

    // Filters x[0 .. n-1] in place through every band in order.
    void process(float* x, unsigned n);
    // Magnitude of the whole equaliser at a normalised frequency (1.0 = half the rate).
    float responseMagnitude(float normalisedFrequency) const;

private:
    using Bands =
        std::variant<std::monostate, Aud::Filter::Biquad, Aud::Filter::MultiBandBiquad<2>,
                     Aud::Filter::MultiBandBiquad<3>, Aud::Filter::MultiBandBiquad<4>, Aud::Filter::MultiBandBiquad<5>>;
    std::vector<EqBandSettings> settings_;
    Bands bands_;
};

}  // namespace audtool
