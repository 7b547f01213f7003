#include "AudAtoms/core/Aud__SampleRate.h"

#include "AudAtoms/internal/AssertionSource.h"
#include "platform/Exception.h"
#include "platform/NamedObjects.h"

#include <cmath>

namespace Aud {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__SampleRate"};
constexpr double kFactorTolerance = 0.000001;

bool has(unsigned bits, eFactor flag) { return (bits & unsigned(flag)) != 0; }
// Exactly one of the pair's flags: the pair contributes this flag's multiplier.
bool only(unsigned bits, eFactor flag, eFactor inverse) { return has(bits, flag) && !has(bits, inverse); }
}  // namespace

SampleRate::SampleRate(eBaseSampleRate base, eFactor f) {
    baseSampleRate(base);
    factor(f);
}

SampleRate::SampleRate(const LightweightString<char>& persisted) { setFromString(persisted); }

SampleRate SampleRate::fromWord(std::uint32_t word) {
    SampleRate r;
    r.word_ = word;
    return r;
}

eBaseSampleRate SampleRate::calcSampleRate(unsigned hertz) {
    switch (hertz) {
    case 11025: return keBaseSampleRate11025;
    case 16000: return keBaseSampleRate16000;
    case 22050: return keBaseSampleRate22050;
    case 24000: return keBaseSampleRate24000;
    case 32000: return keBaseSampleRate32000;
    case 44100: return keBaseSampleRate44100;
    case 48000: return keBaseSampleRate48000;
    case 96000: return keBaseSampleRate96000;
    default: kSource.report("false", 174); return keBaseSampleRateInvalid;
    }
}

double SampleRate::calcFactor(eFactor f) {
    const unsigned b = unsigned(f);
    // The order of these steps fixes the last bits of the result; keep it.
    double m = only(b, keFactor24_25, keFactor25_24) ? 0.96 : 1.0;
    if (only(b, keFactor25_24, keFactor24_25)) m *= 1.0416666666666667;
    if (only(b, keFactor1001_1000, keFactor1000_1001)) m *= 1.001;
    if (only(b, keFactor1000_1001, keFactor1001_1000)) m /= 1.001;
    if (only(b, keFactor30_24, keFactor24_30)) m *= 1.25;
    if (only(b, keFactor24_30, keFactor30_24)) m *= 0.8;
    if (only(b, keFactor1_2, keFactor2)) m *= 0.5;
    if (only(b, keFactor2, keFactor1_2)) m = m + m;
    return m;
}

eStatus SampleRate::determineFactorFromFloat(eFactor& out, double ratio) {
    if (std::fabs(1.0 - ratio) < kFactorTolerance) {
        out = keFactorNone;
        return sSuccess;
    }
    // Walk the flag sets in increasing order, skipping those with both flags of a pair
    // (the odd bit of a pair shifted onto the even one meets it), so the result is canonical.
    for (std::uint32_t i = 1; i <= 254; ++i) {
        if (((i & 0xAAAAAAAAu) >> 1) & i) continue;
        const eFactor candidate = eFactor(i << 5);
        if (std::fabs(calcFactor(candidate) - ratio) < kFactorTolerance) {
            out = candidate;
            return sSuccess;
        }
    }
    out = keFactorNone;
    return sInvalid;
}

eFactor SampleRate::invert(eFactor f) {
    const unsigned i = unsigned(f) >> 5;
    const unsigned swapped = ((i & 0x55u) << 1) | ((i & 0xAAu) >> 1);
    return eFactor(swapped << 5);
}

std::uint32_t SampleRate::calcBaseSampleRate(eBaseSampleRate code) {
    switch (code) {
    case keBaseSampleRateProject: {
        const eBaseSampleRate projectBase = getProjectHardwareSampleRate().baseSampleRate();
        // A project rate that is itself project-relative has no concrete base.
        if (projectBase == keBaseSampleRateProject) return 0;
        return calcBaseSampleRate(projectBase);
    }
    case keBaseSampleRate11025: return 11025;
    case keBaseSampleRate16000: return 16000;
    case keBaseSampleRate22050: return 22050;
    case keBaseSampleRate24000: return 24000;
    case keBaseSampleRate32000: return 32000;
    case keBaseSampleRate44100: return 44100;
    case keBaseSampleRate48000: return 48000;
    case keBaseSampleRate96000: return 96000;
    default: return 0;
    }
}

double SampleRate::calcCombinedSampleRate() const { return double(calcBaseSampleRate()) * calcFactor(); }

SampleRate SampleRate::specialized() const {
    SampleRate r = *this;
    if (baseSampleRate() == keBaseSampleRateProject) r.baseSampleRate(getProjectHardwareSampleRate().baseSampleRate());
    return r;
}

SampleRate getProjectHardwareSampleRate() {
    SampleRate rate;
    const SampleRate* shared = Private::getProjectHardwareSampleRateNamedObject();
    if (!shared)
        throw Qm::Exception::RuntimeError("Failed to find project sample rate named object!", "Aud__SampleRate", 38);
    rate = *shared;
    return rate;
}

namespace Private {
SampleRate* getProjectHardwareSampleRateNamedObject() {
    return Qm::NamedObjectsNamespace::global().findOrCreate<Aud::SampleRate>(
        "Aud__CurrentProjectHardwareSampleRate", &Qm::TypeManip::TemplatedNew<Aud::SampleRate>::new_);
}
}  // namespace Private

}  // namespace Aud
