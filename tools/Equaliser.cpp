#include "tools/Equaliser.h"

#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include "platform/Exception.h"

#include <cmath>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace audtool {

using Aud::Filter::Biquad;

namespace {

struct TypeName {
    const char* name;
    const char* alias1;
    const char* alias2;
    Biquad::eFilterType type;
};

const TypeName kTypes[] = {
    {"lowpass", "lp", nullptr, Biquad::kLowPass},       {"highpass", "hp", nullptr, Biquad::kHighPass},
    {"bandpass", "bp", nullptr, Biquad::kBandPassPeak}, {"bandpass-skirt", "bps", nullptr, Biquad::kBandPassSkirt},
    {"notch", nullptr, nullptr, Biquad::kNotch},        {"allpass", "ap", nullptr, Biquad::kAllPass},
    {"peaking", "peak", "bell", Biquad::kPeaking},      {"lowshelf", "ls", nullptr, Biquad::kLowShelf},
    {"highshelf", "hs", nullptr, Biquad::kHighShelf},
};

std::string knownTypes() {
    std::string s;
    for (const TypeName& t : kTypes) s += (s.empty() ? "" : ", ") + std::string(t.name);
    return s;
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> parts;
    std::string cur;
    std::istringstream in(s);
    while (std::getline(in, cur, sep)) parts.push_back(cur);
    if (!s.empty() && s.back() == sep) parts.emplace_back();
    return parts;
}

// Why a designed section is refused, for the message.
std::string unusableReason(const Biquad::NormalisedCoefficients& c) {
    for (float v : {c.b0, c.b1, c.b2, c.a1, c.a2})
        if (!std::isfinite(v)) return "(its coefficients are not finite numbers)";
    return "(a pole on or outside the unit circle: it would ring forever or blow up)";
}

bool isShelf(Biquad::eFilterType t) { return t == Biquad::kLowShelf || t == Biquad::kHighShelf; }

}  // namespace

std::string eqTypeName(Biquad::eFilterType type) {
    for (const TypeName& t : kTypes)
        if (t.type == type) return t.name;
    return "none";
}

EqBandSettings parseEqBand(const std::string& text) {
    EqBandSettings settings;
    settings.text = text;
    const auto bad = [&](const std::string& why) { return InputError("band '" + text + "': " + why); };
    const std::vector<std::string> parts = split(text, ':');
    if (parts.size() < 2) throw bad("expected TYPE:FREQ[:q=Q|bw=OCTAVES|s=SLOPE][:GAIN_DB]");
    const std::string typeText = lower(trim(parts[0]));
    for (const TypeName& t : kTypes)
        if (typeText == t.name || (t.alias1 && typeText == t.alias1) || (t.alias2 && typeText == t.alias2))
            settings.type = t.type;
    if (settings.type == Biquad::kNone) throw bad("unknown band type '" + parts[0] + "' (known: " + knownTypes() + ")");

    const auto freq = parseFrequency(parts[1]);
    if (!freq || *freq <= 0) throw bad("bad frequency '" + parts[1] + "' (hertz above 0)");
    settings.frequency = static_cast<float>(*freq);

    bool haveShape = false, haveGain = false;
    for (std::size_t i = 2; i < parts.size(); ++i) {
        const std::string p = lower(trim(parts[i]));
        const auto eq = p.find('=');
        if (eq != std::string::npos) {
            if (haveShape) throw bad("more than one shape");
            const std::string key = trim(p.substr(0, eq));
            const auto value = parseNumber(p.substr(eq + 1));
            if (!value || *value <= 0) throw bad("bad shape value '" + parts[i] + "' (a number above 0)");
            if (key == "q") settings.shape.kind = Biquad::ShapeDescriptor::kQ;
            else if (key == "bw") settings.shape.kind = Biquad::ShapeDescriptor::kBandwidthOctaves;
            else if (key == "s") settings.shape.kind = Biquad::ShapeDescriptor::kShelfSlope;
            else throw bad("unknown shape '" + key + "' (q=, bw= or s=)");
            settings.shape.value = static_cast<float>(*value);
            haveShape = true;
        } else {
            if (haveGain) throw bad("more than one gain");
            const auto gain = parseDecibels(p);
            if (!gain || !std::isfinite(*gain)) throw bad("bad gain '" + parts[i] + "' (decibels)");
            settings.gainDb = *gain;
            haveGain = true;
        }
    }
    if (!haveShape) {
        settings.shape.kind =
            isShelf(settings.type) ? Biquad::ShapeDescriptor::kShelfSlope : Biquad::ShapeDescriptor::kQ;
        settings.shape.value = isShelf(settings.type) ? 1.0f : 0.7071f;
    }
    return settings;
}

Equaliser::Equaliser(const std::vector<EqBandSettings>& bands, float samplingRate) : settings_(bands) {
    if (bands.size() > kMaxBands)
        throw InputError("at most " + std::to_string(kMaxBands) + " bands per equaliser, got " +
                         std::to_string(bands.size()));
    switch (bands.size()) {
    case 0: bands_.emplace<0>(); break;
    case 1: bands_.emplace<1>(); break;
    case 2: bands_.emplace<2>(); break;
    case 3: bands_.emplace<3>(); break;
    case 4: bands_.emplace<4>(); break;
    default: bands_.emplace<5>(); break;
    }
    for (unsigned i = 0; i < bands.size(); ++i) {
        const EqBandSettings& s = bands[i];
        if (!(s.frequency > 0 && s.frequency < samplingRate / 2))
            throw InputError("band '" + s.text + "': frequency " + std::to_string(s.frequency) +
                             " Hz is not below half the sampling rate (" + std::to_string(samplingRate / 2) + " Hz)");
        Biquad& b = const_cast<Biquad&>(band(i));
        try {
            b.configure(s.type, s.frequency, samplingRate, s.shape, s.gainDb);
            b.setActive(true);
        } catch (const Qm::Exception::RuntimeError& e) {
            throw InputError("band '" + s.text + "': " + e.what());
        }
        if (!b.hasUsableDesign())
            throw InputError("band '" + s.text + "': these settings give a filter that is not usable " +
                             unusableReason(b.getNormalisedCoefficients()) +
                             "; for a shelf, a slope (s=) of at most 1 always works");
    }
}

const Biquad& Equaliser::band(unsigned i) const {
    return std::visit(
        [i](const auto& b) -> const Biquad& {
            using T = std::decay_t<decltype(b)>;
            if constexpr (std::is_same_v<T, std::monostate>) {
                throw std::out_of_range("equaliser without bands");
            } else if constexpr (std::is_same_v<T, Biquad>) {
                if (i != 0) throw std::out_of_range("band number out of range");
                return b;
            } else {
                return b.getBand(i);
            }
        },
        bands_);
}

namespace {

// The bands are copied for the block and copied back after it: the copies cannot alias
// the samples, and with the band loop written out their state stays in registers.
template <unsigned N, std::size_t... I>
void cascade(Aud::Filter::MultiBandBiquad<N>& group, float* x, unsigned n, std::index_sequence<I...>) {
    Biquad b[N] = {group.getBand(I)...};
    for (unsigned i = 0; i < n; ++i) {
        float v = x[i];
        ((v = b[I].processSample(v)), ...);
        x[i] = v;
    }
    ((group.getBand(I) = b[I]), ...);
}

template <unsigned N>
void cascade(Aud::Filter::MultiBandBiquad<N>& group, float* x, unsigned n) {
    cascade(group, x, n, std::make_index_sequence<N>());
}

}  // namespace

void Equaliser::process(float* x, unsigned n) {
    switch (bands_.index()) {
    case 0: return;
    case 1: {
        Biquad b = std::get<1>(bands_);
        for (unsigned i = 0; i < n; ++i) x[i] = b.processSample(x[i]);
        std::get<1>(bands_) = b;
        return;
    }
    case 2: cascade(std::get<2>(bands_), x, n); return;
    case 3: cascade(std::get<3>(bands_), x, n); return;
    case 4: cascade(std::get<4>(bands_), x, n); return;
    default: cascade(std::get<5>(bands_), x, n); return;
    }
}

float Equaliser::responseMagnitude(float f) const {
    return std::visit(
        [f](const auto& b) -> float {
            using T = std::decay_t<decltype(b)>;
            if constexpr (std::is_same_v<T, std::monostate>) return 1.0f;
            else return b.getResponseMagnitudeAtFrequency(f);
        },
        bands_);
}

}  // namespace audtool
