#include "tools/RenderJob.h"

#include "tools/AudioFileWriter.h"
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

RenderJob buildRenderJob(const Session& session, std::vector<std::unique_ptr<AudioSource>> sources) {
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

RenderReport makeReport(const Renderer& renderer, const RenderStats& stats, std::string outputPath, int sampleType) {
    RenderReport rep;
    rep.outputPath = std::move(outputPath);
    rep.sampleType = sampleType;
    rep.stats = stats;
    rep.inputs = renderer.inputMeters().read();
    rep.outputs = renderer.outputMeters().read();
    return rep;
}

std::string reportText(const RenderReport& r) {
    char line[512];
    std::snprintf(line, sizeof line,
                  "rendered %.3f s of audio (%lld frames, %lld blocks) in %.3f s of processor time (%.3f s wall): "
                  "%.1f x real time on one core\n",
                  r.stats.audioSeconds(), static_cast<long long>(r.stats.frames), static_cast<long long>(r.stats.blocks),
                  r.stats.cpuSeconds, r.stats.seconds, r.stats.timesRealTime());
    std::string s = line;
    if (!r.outputPath.empty())
        s += "wrote " + r.outputPath + " (" + std::to_string(r.outputs.size()) + " channels, " +
             exportSampleTypeText(r.sampleType) + " bit)\n";
    s += formatMeterTable(r.inputs, r.outputs);
    return s;
}

std::string reportJson(const RenderReport& r) {
    nlohmann::json j;
    j["output"] = r.outputPath;
    j["sample_type"] = exportSampleTypeText(r.sampleType);
    j["rate"] = r.stats.rate;
    j["frames"] = r.stats.frames;
    j["blocks"] = r.stats.blocks;
    j["audio_seconds"] = r.stats.audioSeconds();
    j["render_seconds"] = r.stats.seconds;
    j["render_cpu_seconds"] = r.stats.cpuSeconds;
    j["times_real_time"] = r.stats.timesRealTime();
    j["times_real_time_wall"] = r.stats.timesRealTimeWall();
    j["inputs"] = meterJson(r.inputs);
    j["outputs"] = meterJson(r.outputs);
    return j.dump(2) + "\n";
}

} // namespace audtool
