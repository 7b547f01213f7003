// Aud::SimpleMixState: levels written by version 1.0 were linear magnitudes; they are
// read as fader positions through the mixer-style magnitude-to-fader curve:
//   1.0 stays 1.0; else uval = node[i].uval + (mag - node[i].mag) * node[i].slope,
//   i = trunc(mag / 0.005) read as unsigned and limited to 902 (the last node)
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "AudAtoms/kernels/Aud__GainCurve.h"

#include <type_traits>

namespace Aud {

static_assert(
    std::extent_v<std::remove_reference_t<decltype(GainCurve::MixerStyleLog1_Private::Mag2UVal_CurveNodes)>> == 903,
    "the fader conversion limits the node index to 902");

float SimpleMixState::levelFromMagnitude(float magnitude) { return GainCurve::MixerStyleLog1::Mag2UVal(magnitude); }

}  // namespace Aud
