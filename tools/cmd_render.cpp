// audatoms render SESSION.ini [-o OUT.wav] [--sample-type 16|24|24-unpacked] [--prefs FILE]
#include "tools/AudioFileWriter.h"
#include "tools/Commands.h"
#include "tools/Normalisation.h"
#include "tools/ProgressBar.h"
#include "tools/RenderJob.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>

namespace audtool {

namespace {

struct RenderOptions {
    std::filesystem::path session;
    std::filesystem::path output;
    std::string sampleType = "24";
    std::filesystem::path prefs;
};

// The session's file name with .wav for its extension, in the working folder.
std::filesystem::path defaultOutput(const std::filesystem::path& session) {
    return session.filename().replace_extension(".wav");
}

std::unique_ptr<Result> runRender(const GlobalOptions& g, const RenderOptions& o) {
    const int type = exportSampleType(o.sampleType);
    const Session session = loadSession(o.session);
    if (!o.prefs.empty()) loadPreferences(o.prefs);
    const std::vector<NormalisationLine> plan = planInputNormalisation(session);
    RenderJob job = buildRenderJob(session);
    applyInputNormalisation(plan, *job.renderer);

    NormalisationLine mixLine;
    if (session.loudness.mixLoudness) {
        // First pass: the mix as the inputs' gains leave it, measured and not written.
        ProgressBar measuring("measuring the mix", g.quiet);
        job.renderer->setProgress([&](double f) { measuring.update(f); });
        job.renderer->run();
        measuring.finish();
        const LoudnessSummary mix = summarise(job.renderer->mixLoudness());
        mixLine.file = "mix";
        mixLine.integrated = mix.integrated;
        mixLine.truePeak = mix.truePeak;
        mixLine.target = *session.loudness.mixLoudness;
        if (!std::isfinite(mix.integrated)) {
            mixLine.why = "no programme loudness (silent)";
            mixLine.target = std::numeric_limits<double>::quiet_NaN();
        } else {
            mixLine.gainDb = normalisationGainDb(mix.integrated, mix.truePeak, mixLine.target,
                                                 session.loudness.truePeakCeiling, mixLine.ceilingLimited);
        }
        job = buildRenderJob(session);
        applyInputNormalisation(plan, *job.renderer);
        if (std::isfinite(mixLine.target))
            job.renderer->setOutputGain(static_cast<float>(std::pow(10.0, mixLine.gainDb / 20.0)));
    }

    Renderer& r = *job.renderer;
    const std::filesystem::path out = o.output.empty() ? defaultOutput(o.session) : o.output;
    AudioFileWriter writer(out, type, session.outputs, session.rate, r.maxBlock());
    ProgressBar bar("rendering", g.quiet);
    r.setSink([&](const float* const* outs, unsigned n) { writer.write(outs, n); });
    r.setProgress([&](double f) { bar.update(f); });
    const RenderStats stats = r.run();
    bar.finish();
    writer.commit();
    auto report = makeReport(r, stats, out.string(), type);
    report->normalisation = plan;
    report->mixNormalised = session.loudness.mixLoudness.has_value();
    report->mixNormalisation = mixLine;
    return report;
}

}  // namespace

void addRenderCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<RenderOptions>();
    CLI::App* sub = app.add_subcommand("render", "Render a session file (INI) to a mix file");
    sub->footer("The session names the output rate and length, the input files, per-input level automation\n"
                "and equaliser bands, and the mixer state (see the README and examples/session.ini).\n"
                "Output types by extension: .wav, .w64, .aif/.aiff, .raw (24-unpacked: .raw only).\n"
                "The output is written under a temporary name and renamed when complete.");
    sub->add_option("SESSION", o->session, "Session file")->required();
    sub->add_option("-o,--output", o->output, "Mix file to write (default: the session's name with .wav)");
    sub->add_option("--sample-type", o->sampleType, "Output samples: 16, 24 or 24-unpacked")->capture_default_str();
    sub->add_option("--prefs", o->prefs,
                    "Editor preferences file to read the normalisation levels from (Normalise= in the session)");
    sub->callback([&action, &g, o] { action = [&g, o] { return runRender(g, *o); }; });
}

}  // namespace audtool
