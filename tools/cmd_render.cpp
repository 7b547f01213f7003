// audatoms render SESSION.ini [-o OUT.wav] [--sample-type 16|24|24-unpacked]
#include "tools/AudioFileWriter.h"
#include "tools/Commands.h"
#include "tools/ProgressBar.h"
#include "tools/RenderJob.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

namespace audtool {

namespace {

struct RenderOptions {
    std::filesystem::path session;
    std::filesystem::path output;
    std::string sampleType = "24";
};

// The session's file name with .wav for its extension, in the working folder.
std::filesystem::path defaultOutput(const std::filesystem::path& session) {
    return session.filename().replace_extension(".wav");
}

std::unique_ptr<Result> runRender(const GlobalOptions& g, const RenderOptions& o) {
    const int type = exportSampleType(o.sampleType);
    const Session session = loadSession(o.session);
    RenderJob job = buildRenderJob(session);
    Renderer& r = *job.renderer;
    const std::filesystem::path out = o.output.empty() ? defaultOutput(o.session) : o.output;
    AudioFileWriter writer(out, type, session.outputs, session.rate, r.maxBlock());
    ProgressBar bar("rendering", g.quiet);
    r.setSink([&](const float* const* outs, unsigned n) { writer.write(outs, n); });
    r.setProgress([&](double f) { bar.update(f); });
    const RenderStats stats = r.run();
    bar.finish();
    writer.commit();
    return makeReport(r, stats, out.string(), type);
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
    sub->callback([&action, &g, o] { action = [&g, o] { return runRender(g, *o); }; });
}

}  // namespace audtool
