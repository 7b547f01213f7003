// audatoms demo [--out DIR]: the built-in session, needing no input files.
#include "tools/AudioFileWriter.h"
#include "tools/Commands.h"
#include "tools/EqPlot.h"
#include "tools/ProgressBar.h"
#include "tools/RenderJob.h"
#include "tools/Synth.h"
#include "tools/ToolError.h"

#include "platform/AtomicFile.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <sys/stat.h>

namespace audtool {

namespace {

constexpr unsigned kRate = 48000;
constexpr double kSeconds = 10.0;

struct DemoOptions {
    std::string out = "demo-out";
};

void makeFolder(const std::string& dir) {
    std::string path;
    std::size_t pos = 0;
    while (pos != std::string::npos) {
        pos = dir.find('/', pos + 1);
        path = dir.substr(0, pos);
        if (path.empty()) continue;
        if (::mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
            throw InputError(dir + ": cannot create the output folder: " + std::strerror(errno));
    }
    struct stat st{};
    if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) throw InputError(dir + ": is not a folder");
}

EqBandSpec band(const char* text) { return parseEqBand(text); }

struct Demo {
    std::unique_ptr<Renderer> renderer;
    std::vector<std::unique_ptr<Aud::DynamicLevelControl::Store>> stores;
    std::vector<std::pair<std::string, unsigned>> eqInputs;  // label, mixer input
};

// Inputs (mixer input numbers): 0 tones (24-bit), 1-2 a stereo sweep (16-bit
// big-endian), 3 noise bursts (32-bit float), 4 a sine driven past full scale (16-bit,
// clipped on the way in). Outputs: 1-2 the main mix, 3-4 mix bus 0 (sweep and noise).
Demo buildDemo() {
    Demo d;
    std::vector<std::unique_ptr<AudioSource>> sources;
    std::vector<float> tones = sine(kRate, kSeconds, 220, 0.45);
    const std::vector<float> fifth = sine(kRate, kSeconds, 660, 0.15);
    for (std::size_t i = 0; i < tones.size(); ++i) tones[i] += fifth[i];
    sources.push_back(makeMemorySource("tones (24-bit)", 2, false, kRate, {tones}));
    const std::vector<float> sweep = logSweep(kRate, kSeconds, 40, 16000, 0.35);
    std::vector<float> sweepR(sweep.size());
    for (std::size_t i = 0; i < sweep.size(); ++i) sweepR[i] = -0.8f * sweep[i];
    sources.push_back(makeMemorySource("sweep (16-bit big-endian)", 1, true, kRate, {sweep, sweepR}));
    sources.push_back(makeMemorySource("noise bursts (float)", 0, false, kRate,
                                       {noiseBursts(kRate, kSeconds, 1.25, 0.4, 0.5, 2024)}));
    sources.push_back(makeMemorySource("clipping sine (16-bit)", 1, false, kRate, {sine(kRate, kSeconds, 110, 1.4)}));

    RenderConfig config;
    config.rate = kRate;
    config.totalFrames = static_cast<std::int64_t>(kSeconds * kRate);
    config.frameRate = Qm::FrameRate25;
    config.outputs = 4;
    d.renderer = std::make_unique<Renderer>(config, std::move(sources));
    Renderer& r = *d.renderer;

    // Level automation: a fade in, a dip and a fade out on the tones; fades in on the sweep.
    d.stores.push_back(makeStore({{0.0, 0.0f}, {1.0, 1.0f}, {4.0, 1.0f}, {4.5, 0.25f}, {5.5, 0.25f}, {6.0, 1.0f},
                                  {9.0, 1.0f}, {10.0, 0.0f}}));
    r.setAutomation(0, d.stores.back().get());
    d.stores.push_back(makeStore({{0.0, 0.0f}, {2.0, 1.0f}}));
    r.setAutomation(1, d.stores.back().get());
    r.setAutomation(2, d.stores.back().get());
    // An edit made between two blocks while the tones play: the walk glides to it.
    Aud::DynamicLevelControl::Store* tonesStore = d.stores.front().get();
    r.setBlockHook([tonesStore, done = false](std::int64_t frame) mutable {
        if (!done && frame >= std::int64_t(7.0 * kRate)) {
            tonesStore->insert(Aud::DynamicLevelControl::Store::Node(7.3, 0.4f));
            done = true;
        }
    });

    r.setEqualiser(0, Equaliser({band("highpass:80"), band("peaking:2.5k:q=1.2:+4"), band("highshelf:8k:-3")}, kRate));
    r.setEqualiser(1, Equaliser({band("lowshelf:200:+3"), band("peaking:1k:q=0.7:-4")}, kRate));
    r.setEqualiser(2, Equaliser({band("lowshelf:200:+3"), band("peaking:1k:q=0.7:-4")}, kRate));
    r.setEqualiser(3, Equaliser({band("lowpass:5k")}, kRate));
    d.eqInputs = {{"tones", 0}, {"sweep", 1}, {"noise bursts", 3}};

    Aud::SimpleMixState& m = r.mixer();
    m.setInputLevel(0, 0.9f);
    m.setInputLevel(1, 0.85f);
    m.setInputPan(1, 0.2f);
    m.setInputLevel(2, 0.85f);
    m.setInputPan(2, 0.8f);
    m.setInputLevel(3, 0.8f);
    m.setInputPan(3, 0.6f);
    m.setInputLevel(4, 0.5f);
    m.setInputPan(4, 0.4f);
    for (int in : {1, 2, 3}) m.setInputRoutedToMix(in, 0, true);
    m.setMixRoutedToOutput(0, 2, true, true);
    m.setMixRoutedToOutput(0, 3, false, true);
    return d;
}

int runDemo(const GlobalOptions& g, const DemoOptions& o) {
    makeFolder(o.out);
    Demo d = buildDemo();
    Renderer& r = *d.renderer;
    const std::string wav = o.out + "/demo.wav";
    const std::string svg = o.out + "/demo-eq.svg";
    AudioFileWriter writer(wav, 2, r.config().outputs, kRate, r.maxBlock());
    ProgressBar bar("demo", g.quiet);
    r.setSink([&](const float* const* outs, unsigned n) { writer.write(outs, n); });
    r.setProgress([&](double f) { bar.update(f); });
    const RenderStats stats = r.run();
    bar.finish();
    writer.commit();

    const std::vector<double> freqs = plotFrequencies(kRate);
    std::vector<EqResponse> responses;
    for (const auto& [label, input] : d.eqInputs) responses.push_back(eqResponse(r.equaliser(input), kRate, freqs, label));
    std::string error;
    if (!platform::writeFileAtomically(svg, eqSvg(responses, freqs, "audatoms demo: equaliser responses"), &error))
        throw InputError(svg + ": cannot write: " + error);

    const RenderReport report = makeReport(r, stats, wav, 2);
    std::cout << (g.json ? reportJson(report) : reportText(report)) << std::flush;
    if (!g.quiet) std::fprintf(stderr, "wrote %s\n", svg.c_str());
    return 0;
}

} // namespace

void addDemoCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<DemoOptions>();
    CLI::App* sub = app.add_subcommand("demo", "Render the built-in demo session (no input files needed)");
    sub->footer(
        "Ten seconds at 48 kHz: tones, a stereo sweep, noise bursts and a sine that clips; level\n"
        "automation with fades, a dip and an edit made during the render (the walk glides to it);\n"
        "equalisers on three inputs; a mixer routing them to the main mix and to mix bus 0.\n"
        "Writes DIR/demo.wav (24-bit; channels 1-2 the main mix, 3-4 mix bus 0) and\n"
        "DIR/demo-eq.svg, and prints the meter table and the render speed.");
    sub->add_option("--out", o->out, "Output folder (created if missing)")->capture_default_str();
    sub->callback([&action, &g, o] { action = [&g, o] { return runDemo(g, *o); }; });
}

} // namespace audtool
