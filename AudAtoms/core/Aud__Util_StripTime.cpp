#include "AudAtoms/core/Aud__Util_Timing.h"

#include "AudAtoms/internal/Aud__SaturatingInt.h"

#include <cmath>

namespace Aud {

namespace {
constexpr double kTwoPow62 = 4611686018427387904.0;
constexpr std::int64_t kFractionUnits = 1073741823;  // one sample
using detail::saturatingTrunc;
}  // namespace

std::int64_t stripTimeToSamplePos(SampleRate rate, eFactor factor1, eFactor factor2, double time,
                                  const Qm::OutputGearing& gearing) {
    const double seconds = mPosn_Xlate_CelToClock(time, gearing);
    return saturatingTrunc(seconds * rate.calcCombinedSampleRate() *
                           (SampleRate::calcFactor(factor1) * SampleRate::calcFactor(factor2)));
}

SubSamplePos stripTimeToSubSamplePos(SampleRate rate, eFactor factor1, eFactor factor2, double time,
                                     const Qm::OutputGearing& gearing) {
    const double seconds = mPosn_Xlate_CelToClock(time, gearing);
    const double x =
        SampleRate::calcFactor(factor1) * SampleRate::calcFactor(factor2) * seconds * rate.calcCombinedSampleRate();

    SubSamplePos pos;
    if (std::isnan(x)) return pos;
    // Beyond +-2^62 samples a double has no fraction left: saturate the whole part.
    if (std::fabs(x) >= kTwoPow62) {
        pos.whole = saturatingTrunc(x);
        return pos;
    }
    std::int64_t whole, u;
    if (x >= 0.0) {
        const double w = std::floor(x);
        whole = std::int64_t(w);
        u = (std::int64_t((x - w) * 2147483646.0) + 1) >> 1;
    } else {
        // Kept as it has always been: the fraction is taken from x + floor(-x), and
        // the normalisation below moves the whole part one further down.
        const double w = std::floor(-x);
        whole = -std::int64_t(w);
        u = (std::int64_t((x + w) * 2147483646.0) - 1) >> 1;
    }
    const std::int64_t q = u / kFractionUnits;
    std::int64_t r = u - q * kFractionUnits;
    whole += q;
    if (r < 0) {
        r = -r;
        whole -= 1;
    }
    pos.whole = whole;
    pos.fraction = std::uint32_t(r);
    return pos;
}

}  // namespace Aud
