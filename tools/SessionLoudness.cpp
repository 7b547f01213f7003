#include "tools/SessionLoudness.h"

#include "tools/ChannelRoles.h"
#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include "AudAtoms/prefs/AudioNormalisation.h"

namespace audtool {

namespace {

Normalise parseNormalise(const std::string& value) {
    const std::string v = lower(value);
    if (v == "off") return Normalise::kOff;
    if (v == "uniform") return Normalise::kUniform;
    if (v == "per-origin") return Normalise::kPerOrigin;
    throw InputError("Normalise '" + value + "' is not off, uniform or per-origin");
}

double parseCeiling(const std::string& value) {
    const auto v = parseNumber(value);
    if (!v || *v > 0.0 || *v < -60.0)
        throw InputError("TruePeakCeiling '" + value + "' is not a dBTP level from -60 to 0");
    return *v;
}

double parseMixLoudness(const std::string& value) {
    const auto v = parseNumber(value);
    if (!v || *v > 0.0 || *v < -70.0) throw InputError("MixLoudness '" + value + "' is not a LUFS level from -70 to 0");
    return *v;
}

int parseOrigin(const std::string& value) {
    const int origin = originFromName(value);
    if (origin == 0) {
        std::string names;
        for (int o = 1; o <= 8; ++o) names += (o > 1 ? ", " : "") + originName(o);
        throw InputError("Origin '" + value + "' is not a kind of source material (" + names + ")");
    }
    return origin;
}

}  // namespace

bool parseLoudnessSessionKey(LoudnessSettings& settings, const std::string& key, const std::string& value) {
    if (key == "normalise") settings.normalise = parseNormalise(value);
    else if (key == "truepeakceiling") settings.truePeakCeiling = parseCeiling(value);
    else if (key == "mixloudness") settings.mixLoudness = parseMixLoudness(value);
    else return false;
    return true;
}

bool parseFileKey(FileSettings& settings, const std::string& key, const std::string& value, int line) {
    if (key == "roles") {
        settings.roles = parseRoles(value);
        settings.rolesLine = line;
    } else if (key == "origin") {
        settings.origin = parseOrigin(value);
        settings.originLine = line;
    } else {
        return false;
    }
    return true;
}

int originFromName(const std::string& name) {
    for (int o = 1; o <= 8; ++o)
        if (lower(originName(o)) == lower(trim(name))) return o;
    return 0;
}

std::string originName(int origin) {
    if (origin < 1 || origin > 8) return "";
    return AudioNormalisation::originKeyName(static_cast<ShotOrigin::eShotOrigin>(origin));
}

std::string normaliseText(Normalise n) {
    switch (n) {
    case Normalise::kOff: return "off";
    case Normalise::kUniform: return "uniform";
    case Normalise::kPerOrigin: return "per-origin";
    }
    return "off";
}

}  // namespace audtool
