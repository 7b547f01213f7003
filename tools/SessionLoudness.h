// The session keys of loudness normalisation and channel roles:
//   [Session]
//   Normalise=off|uniform|per-origin   gain each input file to its target level (read
//                                      through AudioNormalisation from the preferences)
//   TruePeakCeiling=-1                 dBTP no normalised input (nor the mix) may pass
//   MixLoudness=-23                    LUFS the rendered mix is gained to (two passes)
//   [File.N]                           settings of the N-th File= line (0-based); its
//                                      FrameRate= is read by the session parser
//   Roles=L,R                          its channels' loudness roles (ChannelRoles.h)
//   Origin=StereoWavImports            its kind of source material (the preference
//                                      names: StereoWavImports, MultiTrackWavImports,
//                                      RecordingsWithVideo, AudioOnlyRecordings,
//                                      MP3Imports, CDImports, OtherStereoAudioImports,
//                                      OtherMultiTrackAudioImports)
// Each key's value is parsed by its own function here; errors are InputError with the
// bare reason (the session parser adds the file and line).
#pragma once

#include "AudAtoms/metering/Aud__Loudness.h"
#include "platform/FrameRate.h"

#include <optional>
#include <string>
#include <vector>

namespace audtool {

enum class Normalise { kOff, kUniform, kPerOrigin };

// Settings of one input file ([File.N]).
struct FileSettings {
    std::optional<Qm::FrameRate> frameRate;  // FrameRate=: the material's video frame rate
    std::vector<Aud::eChannelRole> roles;    // empty: from the file (ChannelRoles.h)
    int rolesLine = 0;
    int origin = 0;  // 1 to 8 (the preference names' order); 0: none named
    int originLine = 0;
    int line = 0;  // of the [File.N] header
};

struct LoudnessSettings {
    Normalise normalise = Normalise::kOff;
    double truePeakCeiling = -1.0;      // dBTP
    std::optional<double> mixLoudness;  // LUFS
};

// Applies one [Session] key (lower case) if it is one of the three above; false when the
// key is not one of them.
bool parseLoudnessSessionKey(LoudnessSettings& settings, const std::string& key, const std::string& value);
// Applies one [File.N] key (lower case); false when the key is unknown.
bool parseFileKey(FileSettings& settings, const std::string& key, const std::string& value, int line);

// 1 to 8 for an origin's preference name (case ignored), 0 for any other text.
int originFromName(const std::string& name);
std::string originName(int origin);  // "" outside 1 to 8
std::string normaliseText(Normalise n);

}  // namespace audtool
