// Sample rates and video frame rates as the library knows them.
// - A sample rate in hertz is the library's base rate when it is one (11025, 16000,
//   22050, 24000, 32000, 44100, 48000, 96000), otherwise a base rate times the
//   speed-change factor that reaches it (Aud::SampleRate::determineFactorFromFloat),
//   the one with the fewest factor flags: 47952.048 is 48 kHz x 1/1.001, 8000 is
//   16 kHz x 1/2, 88200 is 44.1 kHz x 2.
// - Rate text: hertz ("48000", "47952.048"), a quotient ("48000/1.001") or the
//   persisted form ("[A][264] ...").
// - Frame rate text: frames per second ("25", "29.97", "30000/1001"), matched to the
//   host's Qm::FrameRate code whose rate is within 0.0005 fps (lowest code first).
#pragma once

#include "AudAtoms/core/Aud__SampleRate.h"
#include "platform/FrameRate.h"

#include <optional>
#include <string>

namespace audtool {

std::optional<Aud::SampleRate> libraryRateForHertz(double hz);
// InputError quoting the text when it is not a rate the library can express.
Aud::SampleRate parseSampleRate(const std::string& text);
// InputError quoting the text when no host frame rate matches.
Qm::FrameRate parseFrameRate(const std::string& text);
// The library's display text of a rate ("48 kHz x 1/1.001"), UTF-8.
std::string rateDisplayText(const Aud::SampleRate& rate);
// Frames per second of a host frame rate code, as text ("29.97").
std::string frameRateText(Qm::FrameRate rate);

}  // namespace audtool
