#include "AudAtoms/prefs/AudioNormalisation.h"

#include "platform/EditorPreferences.h"

namespace {

constexpr float kNoLevel = 999.0f;
constexpr double kDefaultLevel = -18.0;

const char* const kMethodKey = "AudioNormalisationApplicationMethod";
const char* const kUniformKey = "AudioNormalisationUniformLevel";
const char* const kLevelPrefix = "AudioNormalisationLevelFor_";

float clampLevel(float dB) {
    if (dB > 0.0f) return 0.0f;
    if (dB < -36.0f) return -36.0f;
    return dB;
}

}  // namespace

float AudioNormalisation::invalidAudioNormalLevel() { return kNoLevel; }

const char* AudioNormalisation::originKeyName(ShotOrigin::eShotOrigin origin) {
    switch (origin) {
    case ShotOrigin::StereoWavImports: return "StereoWavImports";
    case ShotOrigin::MultiTrackWavImports: return "MultiTrackWavImports";
    case ShotOrigin::RecordingsWithVideo: return "RecordingsWithVideo";
    case ShotOrigin::AudioOnlyRecordings: return "AudioOnlyRecordings";
    case ShotOrigin::MP3Imports: return "MP3Imports";
    case ShotOrigin::CDImports: return "CDImports";
    case ShotOrigin::OtherStereoAudioImports: return "OtherStereoAudioImports";
    case ShotOrigin::OtherMultiTrackAudioImports: return "OtherMultiTrackAudioImports";
    }
    return "";
}

LightweightString<char> AudioNormalisation::levelKey(ShotOrigin::eShotOrigin origin) {
    return LightweightString<char>(kLevelPrefix) + originKeyName(origin);
}

void AudioNormalisation::setApplicationMethod(Application method) {
    prefs().setPreference(LightweightString<char>(kMethodKey), int(method));
}

AudioNormalisation::Application AudioNormalisation::getApplicationMethod() {
    const int v = prefs().getPreference(LightweightString<char>(kMethodKey), int(kApplyAutomatically));
    return v >= 1 && v <= 3 ? Application(v) : kApplyAutomatically;
}

void AudioNormalisation::setUniformLevel(float dB) {
    prefs().setPreference(LightweightString<char>(kUniformKey), double(clampLevel(dB)));
}

float AudioNormalisation::getUniformLevel() {
    return clampLevel(float(prefs().getPreference(LightweightString<char>(kUniformKey), kDefaultLevel)));
}

void AudioNormalisation::setLevelFor(float dB, ShotOrigin::eShotOrigin origin) {
    prefs().setPreference(levelKey(origin), double(dB == kNoLevel ? dB : clampLevel(dB)));
}

float AudioNormalisation::getLevelFor(ShotOrigin::eShotOrigin origin) {
    const float dB = float(prefs().getPreference(levelKey(origin), kDefaultLevel));
    return dB == kNoLevel ? dB : clampLevel(dB);
}
