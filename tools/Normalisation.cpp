#include "tools/Normalisation.h"

#include "tools/AudioSource.h"
#include "tools/ChannelRoles.h"
#include "tools/FileCheck.h"
#include "tools/LoudnessReport.h"
#include "tools/ToolError.h"

#include "AudAtoms/prefs/AudioNormalisation.h"
#include "platform/EditorPreferences.h"

#include <cmath>
#include <limits>

namespace audtool {

void loadPreferences(const std::filesystem::path& path) {
    requireReadableFile(path, "an editor preferences file");
    std::string error;
    if (!prefs().load(path.string(), &error)) throw InputError("cannot read the preferences: " + error);
}

double normalisationGainDb(double integrated, double truePeak, double target, double ceiling, bool& limited) {
    double gain = target - integrated;
    limited = false;
    if (std::isfinite(truePeak) && truePeak + gain > ceiling) {
        gain = ceiling - truePeak;
        limited = true;
    }
    return gain;
}

std::vector<NormalisationLine> planInputNormalisation(const Session& session) {
    std::vector<NormalisationLine> plan;
    const LoudnessSettings& settings = session.loudness;
    if (settings.normalise == Normalise::kOff) return plan;
    unsigned firstInput = 0;
    for (std::size_t i = 0; i < session.files.size(); ++i) {
        const SessionFile& f = session.files[i];
        const auto found = session.fileSettings.find(unsigned(i));
        const FileSettings fs = found == session.fileSettings.end() ? FileSettings() : found->second;
        std::unique_ptr<SndfileSource> source;
        try {
            source = std::make_unique<SndfileSource>(f.path);
        } catch (const InputError& e) {
            throw InputError(session.name + ":" + std::to_string(f.line) + ": " + e.what());
        }
        const unsigned channels = source->format().channels;
        std::vector<Aud::eChannelRole> roles =
            fs.roles.empty() ? fileRoles(source->channelMap(), source->format().channels) : fs.roles;
        if (roles.size() != channels)
            throw InputError(session.name + ":" + std::to_string(fs.rolesLine) + ": Roles= names " +
                             std::to_string(roles.size()) + " channels, but " + f.path.string() + " has " +
                             std::to_string(channels));

        NormalisationLine line;
        line.file = f.path.string();
        line.origin = originName(fs.origin);
        line.firstInput = firstInput;
        line.channels = channels;
        line.target = std::numeric_limits<double>::quiet_NaN();
        firstInput += channels;

        double target = 0;
        if (settings.normalise == Normalise::kUniform) {
            target = AudioNormalisation::getUniformLevel();
        } else if (fs.origin == 0) {
            line.why = "no Origin= named";
        } else {
            target = AudioNormalisation::getLevelFor(static_cast<ShotOrigin::eShotOrigin>(fs.origin));
            if (target == double(AudioNormalisation::invalidAudioNormalLevel()))
                line.why = "no level set for " + line.origin;
        }
        if (!line.why.empty()) {
            line.integrated = std::numeric_limits<double>::quiet_NaN();
            line.truePeak = std::numeric_limits<double>::quiet_NaN();
            plan.push_back(line);
            continue;
        }
        const LoudnessSummary measured = measureSource(*source, roles);
        line.integrated = measured.integrated;
        line.truePeak = measured.truePeak;
        if (!std::isfinite(measured.integrated)) {
            line.why = "no programme loudness (silent)";
        } else {
            line.target = target;
            line.gainDb = normalisationGainDb(measured.integrated, measured.truePeak, target, settings.truePeakCeiling,
                                              line.ceilingLimited);
        }
        plan.push_back(line);
    }
    return plan;
}

void applyInputNormalisation(const std::vector<NormalisationLine>& plan, Renderer& renderer) {
    for (const NormalisationLine& line : plan) {
        if (!std::isfinite(line.target)) continue;
        const auto gain = static_cast<float>(std::pow(10.0, line.gainDb / 20.0));
        for (unsigned c = 0; c < line.channels && line.firstInput + c < renderer.numInputs(); ++c)
            renderer.setInputGain(line.firstInput + c, gain);
    }
}

}  // namespace audtool
