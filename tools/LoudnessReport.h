// Loudness readings of a programme (a file or a rendered mix) as the tool reports them:
// taken from an Aud::Loudness meter once the programme has been fed, and formatted as
// text lines or JSON. Also the measurement of a whole audio source through the library
// (raw frames -> BlockDecoder -> Aud::Loudness).
// Units: LUFS (loudness), LU (range), dBTP (true peak), dBFS (sample peak); a reading
// with no value (silence, a programme shorter than the window) is -inf in text and null
// in JSON.
#pragma once

#include "AudAtoms/metering/Aud__Loudness.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace audtool {

class AudioSource;

struct LoudnessSummary {
    std::vector<Aud::eChannelRole> roles;
    double integrated = 0;                  // LUFS
    double range = 0;                       // LU
    double maxMomentary = 0;                // LUFS
    double maxShortTerm = 0;                // LUFS
    double truePeak = 0;                    // dBTP, all channels
    double samplePeak = 0;                  // dBFS, all channels
    std::vector<double> channelTruePeak;    // dBTP
    std::vector<double> channelSamplePeak;  // dBFS
    unsigned long long nonFinite = 0;       // NaN and infinite samples skipped
};

LoudnessSummary summarise(const Aud::Loudness& meter);

// Feeds the whole source to a meter with the given roles (one per channel);
// InputError naming the source when the meter cannot take its rate or channels.
LoudnessSummary measureSource(AudioSource& source, const std::vector<Aud::eChannelRole>& roles,
                              const std::function<void(double)>& progress = {});

// "-23.00" or "-inf".
std::string levelText(double value);
// Lines "  integrated loudness   -23.00 LUFS" ... with the per-channel peaks when
// perChannel is set, each line starting with `indent`.
std::string loudnessText(const LoudnessSummary& s, const std::string& indent, bool perChannel);
nlohmann::json loudnessJson(const LoudnessSummary& s, bool perChannel);

}  // namespace audtool
