// The speed change an input file gets when its material was made for another video
// frame rate than the session's (pull-up, pull-down), from the library's table of
// natural playback factors (Aud::Util::determineNaturalPlaybackResamplingFactor).
//
// The rule: the library is asked with the material's frame rate as the source, the
// session's as the target, the roll medium film (the material came through a film or
// telecine transfer), the transfer type 0 and the material's frame rate as the third
// rate. The factor it gives multiplies the file's own sample rate before conversion to
// the session rate, so a factor above 1 plays the material faster (23.976 fps material
// in a 24 fps session: 1.001, so 48 kHz material is played as 48.048 kHz and converted
// to 48 kHz, 1/1.001 shorter). When the factor would move the material away from the
// session's frame rate (faster material made faster, slower made slower) its inverse
// is used, so the material always plays nearer the session's speed. No factor when the
// frame rates are equal or the table has none for the pair.
#pragma once

#include "AudAtoms/core/Aud__SampleRate.h"
#include "platform/FrameRate.h"

#include <string>

namespace audtool {

// InputError "<session>:<line>: ..." when the library's table has no row for the pair.
Aud::eFactor playbackFactor(Qm::FrameRate material, Qm::FrameRate session, const std::string& sessionName, int line);

}  // namespace audtool
