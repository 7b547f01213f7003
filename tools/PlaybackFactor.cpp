#include "tools/PlaybackFactor.h"

#include "tools/Rates.h"
#include "tools/ToolError.h"

#include "AudAtoms/core/Aud__Util_Timing.h"

namespace audtool {

Aud::eFactor playbackFactor(Qm::FrameRate material, Qm::FrameRate session, const std::string& sessionName, int line) {
    if (material == session) return Aud::keFactorNone;
    Aud::eFactor factor = Aud::keFactorNone;
    const Aud::eStatus st = Aud::Util::determineNaturalPlaybackResamplingFactor(
        factor, material, session, MediumRollMediumFilm, transfer_normal, material);
    if (st != Aud::sSuccess)
        throw InputError(sessionName + ":" + std::to_string(line) + ": the library has no playback factor for " +
                         frameRateText(material) + " fps material in a " + frameRateText(session) + " fps session");
    if (factor == Aud::keFactorNone) return factor;
    const bool speedsUp = Aud::SampleRate::calcFactor(factor) > 1.0;
    const bool materialSlower = Qm::getFramesPerSecond(material) < Qm::getFramesPerSecond(session);
    return speedsUp == materialSlower ? factor : Aud::SampleRate::invert(factor);
}

}  // namespace audtool
