#include "tools/RenderJob.h"

#include "tools/AudioFileWriter.h"
#include "tools/PlaybackFactor.h"
#include "tools/ToolError.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace audtool {

std::unique_ptr<Aud::DynamicLevelControl::Store> makeStore(const std::vector<AutomationPoint>& points) {
    auto store = std::make_unique<Aud::DynamicLevelControl::Store>();
    for (const AutomationPoint& p : points) store->insert(Aud::DynamicLevelControl::Store::Node(p.time, p.level));
    return store;
}

RenderJob buildRenderJob(const Session& session, std::vector<std::unique_ptr<AudioSource>> sources,
                         unsigned blockFrames) {
    RenderJob job;
    if (!sources.empty() && sources.size() != session.files.size())
        throw std::logic_error("one source per session file is needed");
    for (std::size_t i = sources.size(); i < session.files.size(); ++i) {
        const SessionFile& f = session.files[i];
        try {
            sources.push_back(std::make_unique<SndfileSource>(f.path));
        } catch (const InputError& e) {
            throw InputError(session.name + ":" + std::to_string(f.line) + ": " + e.what());
        }
    }
    RenderConfig config;
    config.rate = session.rate;
    config.totalFrames = static_cast<std::int64_t>(std::llround(session.lengthSeconds * session.rate));
    config.frameRate = session.frameRate;
    config.outputs = session.outputs;
    config.blockFrames = blockFrames;
    config.resampling = session.resampling;
    for (std::size_t i = 0; i < session.files.size(); ++i) {
        const auto it = session.fileSettings.find(unsigned(i));
        const bool named = it != session.fileSettings.end() && it->second.frameRate;
        config.sourceFactors.push_back(
            named ? playbackFactor(*it->second.frameRate, session.frameRate, session.name, it->second.line)
                  : Aud::keFactorNone);
    }
    job.renderer = std::make_unique<Renderer>(config, std::move(sources));
    Renderer& r = *job.renderer;

    for (const auto& [input, setup] : session.inputs) {
        if (input >= r.numInputs()) {
            const int line = setup.automationLine ? setup.automationLine : setup.eqLine;
            throw InputError(session.name + ":" + std::to_string(line) + ": a section names mixer input " +
                             std::to_string(input) + ", but the input files give " + std::to_string(r.numInputs()) +
                             " channels (inputs 0 to " + std::to_string(r.numInputs() - 1) + ")");
        }
        if (!setup.automation.empty()) {
            job.stores.push_back(makeStore(setup.automation));
            r.setAutomation(input, job.stores.back().get());
        }
        if (!setup.eq.empty()) {
            try {
                r.setEqualiser(input, Equaliser(setup.eq, float(session.rate)));
            } catch (const InputError& e) {
                int line = setup.eqLine;
                for (const EqBandSettings& b : setup.eq)
                    if (std::string(e.what()).find("'" + b.text + "'") != std::string::npos) line = b.line;
                throw InputError(session.name + ":" + std::to_string(line) + ": " + e.what());
            }
        }
    }
    if (session.hasMixer) r.mixer().retrieveCompatibleConfigurationInformation(session.mixer);
    return job;
}

namespace {

nlohmann::json finiteOrNull(double v) { return std::isfinite(v) ? nlohmann::json(v) : nlohmann::json(nullptr); }

std::string normalisationText(const NormalisationLine& n) {
    std::string s = "normalise " + n.file;
    if (!n.origin.empty()) s += " (" + n.origin + ")";
    if (std::isnan(n.integrated)) return s + ": left alone: " + n.why + "\n";
    s += formatText(": measured %s LUFS, %s dBTP", levelText(n.integrated).c_str(), levelText(n.truePeak).c_str());
    if (!std::isfinite(n.target)) return s + ", left alone: " + n.why + "\n";
    return s + formatText(", target %.2f LUFS, gain %+.2f dB%s\n", n.target, n.gainDb,
                          n.ceilingLimited ? " (held at the true-peak ceiling)" : "");
}

nlohmann::json normalisationJson(const NormalisationLine& n) {
    return {{"file", n.file},
            {"origin", n.origin.empty() ? nlohmann::json(nullptr) : nlohmann::json(n.origin)},
            {"target_lufs", finiteOrNull(n.target)},
            {"measured_lufs", finiteOrNull(n.integrated)},
            {"measured_true_peak_dbtp", finiteOrNull(n.truePeak)},
            {"gain_db", n.gainDb},
            {"ceiling_limited", n.ceilingLimited},
            {"left_alone", n.why.empty() ? nlohmann::json(nullptr) : nlohmann::json(n.why)}};
}

}  // namespace

std::unique_ptr<RenderReport> makeReport(const Renderer& renderer, const RenderStats& stats, std::string outputPath,
                                         int sampleType) {
    auto rep = std::make_unique<RenderReport>();
    rep->outputPath = std::move(outputPath);
    rep->sampleType = sampleType;
    rep->stats = stats;
    rep->inputs = renderer.inputMeters().read();
    rep->outputs = renderer.outputMeters().read();
    rep->mix = summarise(renderer.mixLoudness());
    return rep;
}

std::string RenderReport::text() const {
    std::string s =
        formatText("rendered %.3f s of audio (%lld frames, %lld blocks) in %.3f s of processor time (%.3f s "
                   "wall): %.1f x real time on one core\n",
                   stats.audioSeconds(), static_cast<long long>(stats.frames), static_cast<long long>(stats.blocks),
                   stats.cpuSeconds, stats.seconds, stats.timesRealTime());
    if (!outputPath.empty())
        s += "wrote " + outputPath + " (" + std::to_string(outputs.size()) + " channels, " +
             exportSampleTypeText(sampleType) + " bit)\n";
    s += formatMeterTable(inputs, outputs);
    s += formatText("  mix integrated loudness %8s LUFS\n", levelText(mix.integrated).c_str());
    s += formatText("  mix loudness range      %8s LU\n", levelText(mix.range).c_str());
    s += formatText("  mix true peak           %8s dBTP\n", levelText(mix.truePeak).c_str());
    for (const NormalisationLine& n : normalisation) s += normalisationText(n);
    if (mixNormalised) s += normalisationText(mixNormalisation);
    return s;
}

nlohmann::json RenderReport::json() const {
    nlohmann::json j;
    j["output"] = outputPath;
    j["sample_type"] = exportSampleTypeText(sampleType);
    j["rate"] = stats.rate;
    j["frames"] = stats.frames;
    j["blocks"] = stats.blocks;
    j["audio_seconds"] = stats.audioSeconds();
    j["render_seconds"] = stats.seconds;
    j["render_cpu_seconds"] = stats.cpuSeconds;
    j["times_real_time"] = stats.timesRealTime();
    j["times_real_time_wall"] = stats.timesRealTimeWall();
    j["inputs"] = meterJson(inputs);
    j["outputs"] = meterJson(outputs);
    j["mix_loudness"] = loudnessJson(mix, false);
    if (!normalisation.empty()) {
        nlohmann::json a = nlohmann::json::array();
        for (const NormalisationLine& n : normalisation) a.push_back(normalisationJson(n));
        j["normalisation"] = a;
    }
    if (mixNormalised) j["mix_normalisation"] = normalisationJson(mixNormalisation);
    return j;
}

}  // namespace audtool
