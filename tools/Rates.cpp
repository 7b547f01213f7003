#include "tools/Rates.h"

#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include <bit>
#include <cmath>
#include <cstdio>

namespace audtool {

namespace {

std::optional<double> parseQuotient(const std::string& text) {
    const auto slash = text.find('/');
    if (slash == std::string::npos) return parseNumber(text);
    const auto a = parseNumber(text.substr(0, slash));
    const auto b = parseNumber(text.substr(slash + 1));
    if (!a || !b || *b == 0) return std::nullopt;
    return *a / *b;
}

}  // namespace

std::optional<Aud::SampleRate> libraryRateForHertz(double hz) {
    if (!(hz > 0)) return std::nullopt;
    for (unsigned code = Aud::keBaseSampleRate11025; code <= Aud::keBaseSampleRate96000; ++code)
        if (double(Aud::SampleRate::calcBaseSampleRate(Aud::eBaseSampleRate(code))) == hz)
            return Aud::SampleRate(Aud::eBaseSampleRate(code));
    std::optional<Aud::SampleRate> best;
    int bestFlags = 99;
    for (unsigned code = Aud::keBaseSampleRate11025; code <= Aud::keBaseSampleRate96000; ++code) {
        const double base = Aud::SampleRate::calcBaseSampleRate(Aud::eBaseSampleRate(code));
        Aud::eFactor f = Aud::keFactorNone;
        if (Aud::SampleRate::determineFactorFromFloat(f, hz / base) != Aud::sSuccess || f == Aud::keFactorNone)
            continue;
        const int flags = std::popcount(unsigned(f));
        if (flags < bestFlags) {
            bestFlags = flags;
            best = Aud::SampleRate(Aud::eBaseSampleRate(code), f);
        }
    }
    return best;
}

Aud::SampleRate parseSampleRate(const std::string& text) {
    const std::string t = trim(text);
    if (!t.empty() && t[0] == '[') {
        Aud::SampleRate r(LightweightString<char>(t.c_str()));
        if (!r.valid() || r.calcCombinedSampleRate() <= 0)
            throw InputError("sample rate '" + text + "' is not a valid persisted rate");
        return r;
    }
    const auto hz = parseQuotient(t);
    if (!hz) throw InputError("sample rate '" + text + "' is not a number of hertz");
    const auto r = libraryRateForHertz(*hz);
    if (!r)
        throw InputError("sample rate '" + text +
                         "' is neither a library base rate (11025 to 96000 Hz) nor one times a speed factor");
    return *r;
}

Qm::FrameRate parseFrameRate(const std::string& text) {
    const auto fps = parseQuotient(trim(text));
    if (!fps || *fps <= 0) throw InputError("frame rate '" + text + "' is not a number of frames per second");
    for (int code = 1; code <= 47; ++code)
        if (std::fabs(Qm::getFramesPerSecond(Qm::FrameRate(code)) - *fps) < 0.0005) return Qm::FrameRate(code);
    throw InputError("frame rate '" + text + "' is not one of the host's frame rates");
}

std::string rateDisplayText(const Aud::SampleRate& rate) { return toUTF8(Aud::getDisplayString(rate)).toStd(); }

std::string frameRateText(Qm::FrameRate rate) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.3f", Qm::getFramesPerSecond(rate));
    std::string s = buf;
    while (!s.empty() && s.back() == '0') s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
    return s;
}

}  // namespace audtool
