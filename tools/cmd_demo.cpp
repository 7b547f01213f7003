// audatoms demo [--out DIR]: the built-in session, needing no input files.
#include "tools/AtomicOutput.h"
#include "tools/SndfileOutput.h"
#include "tools/AudioFileWriter.h"
#include "tools/Commands.h"
#include "tools/EqPlot.h"
#include "tools/ProgressBar.h"
#include "tools/RenderJob.h"
#include "tools/Synth.h"
#include "tools/ToolError.h"

#include "platform/AtomicFile.h"

#include <CLI/CLI.hpp>
#include <sndfile.h>

#include <filesystem>
#include <memory>
#include <system_error>

namespace audtool {

namespace {

constexpr unsigned kRate = 48000;
constexpr double kSeconds = 10.0;

// The demo session. The demo renders it from inputs synthesised in memory, makes one
// edit to the automation of input 0 while it renders, and writes this text beside the
// inputs as files, so that `audatoms render DIR/session.ini` renders the same session
// again from the files (without the edit). examples/session.ini is this session with
// its files in ../demo-out/.
const char* const kDemoSession = R"(; The audatoms demo session (see README: "The session file").
[Session]
SampleRate=48000
Length=10
FrameRate=25
Outputs=4                   ; outputs 1-2: the main mix; 3-4: mix bus 0

[Inputs]
File=tones.wav              ; input 0: tones at 220 and 660 Hz, 24-bit
File=sweep.aiff             ; inputs 1-2: a stereo sweep, 16-bit big-endian
File=noise.wav              ; input 3: noise bursts, 32-bit float
File=clip.wav               ; input 4: a sine driven past full scale, 16-bit

[Automation.0]              ; fade in, a dip, fade out: TIME=LEVEL
0=0
1=1
4=1
4.5=-12dB
5.5=-12dB
6=1
9=1
10=0

[Automation.1]              ; the sweep fades in
0=0
2=1

[Automation.2]
0=0
2=1

[EQ.0]
Band=highpass:80
Band=peaking:2.5k:q=1.2:+4
Band=highshelf:8k:-3

[EQ.1]
Band=lowshelf:200:+3
Band=peaking:1k:q=0.7:-4

[EQ.2]
Band=lowshelf:200:+3
Band=peaking:1k:q=0.7:-4

[EQ.3]
Band=lowpass:5k

; The mixer state, in the library's configuration text. Inputs 000..031, mix slots 00
; (the main mix) to 03, output slots 02 upward (00 and 01 are the special slots).
[SimpleMixState.InputChannels.Fader]
000=0.9
001=0.85
002=0.85
003=0.8
004=0.5

[SimpleMixState.InputChannels.Pan]
001=0.2
002=0.8
003=0.6
004=0.4

[SimpleMixState.InputChannels.RouteToMix]
001->01=1
002->01=1
003->01=1

[SimpleMixState.MixChannels.RouteToOutput]
01L->04=1
01R->05=1
)";

struct DemoInput {
    std::unique_ptr<MemorySource> source;
    int container;  // libsndfile container of its file
};

std::vector<DemoInput> synthesise() {
    std::vector<DemoInput> in;
    std::vector<float> tones = sine(kRate, kSeconds, 220, 0.45);
    const std::vector<float> fifth = sine(kRate, kSeconds, 660, 0.15);
    for (std::size_t i = 0; i < tones.size(); ++i) tones[i] += fifth[i];
    in.push_back({makeMemorySource("tones.wav", 2, false, kRate, {tones}), SF_FORMAT_WAV});
    const std::vector<float> sweep = logSweep(kRate, kSeconds, 40, 16000, 0.35);
    std::vector<float> sweepR(sweep.size());
    for (std::size_t i = 0; i < sweep.size(); ++i) sweepR[i] = -0.8f * sweep[i];
    in.push_back({makeMemorySource("sweep.aiff", 1, true, kRate, {sweep, sweepR}), SF_FORMAT_AIFF});
    in.push_back({makeMemorySource("noise.wav", 0, false, kRate, {noiseBursts(kRate, kSeconds, 1.25, 0.4, 0.5, 2024)}),
                  SF_FORMAT_WAV});
    in.push_back({makeMemorySource("clip.wav", 1, false, kRate, {sine(kRate, kSeconds, 110, 1.4)}), SF_FORMAT_WAV});
    return in;
}

// The folder and its missing parents.
void makeFolder(const std::filesystem::path& dir) {
    std::error_code ec;
    if (std::filesystem::is_directory(dir, ec)) return;
    if (std::filesystem::exists(dir, ec)) throw OutputError(dir.string() + ": is not a folder");
    std::filesystem::create_directories(dir, ec);
    if (ec) throw OutputError(dir.string() + ": cannot create the output folder: " + ec.message());
}

// The raw frames of an input, as they are, in a file of its container.
void writeInputFile(const MemorySource& s, int container, const std::filesystem::path& path) {
    SF_INFO info{};
    info.samplerate = int(s.format().rate);
    info.channels = int(s.format().channels);
    info.format = container | encodingForSampleType(s.format().sampleType);
    SndfileOutput out(path, info);
    SNDFILE* f = out.handle();
    const bool swaps = s.format().stride() > 1 && sf_command(f, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
    if (swaps != s.format().bigEndian)
        throw OutputError(path.string() + ": the container's byte order differs from the input's");
    if (sf_write_raw(f, s.bytes().data(), sf_count_t(s.bytes().size())) != sf_count_t(s.bytes().size()))
        throw OutputError(path.string() + ": cannot write the input's frames: " + out.reason());
    out.commit();
}

struct DemoOptions {
    std::filesystem::path out = "demo-out";
};

std::unique_ptr<Result> runDemo(const GlobalOptions& g, const DemoOptions& o) {
    makeFolder(o.out);
    const Session session = parseSession(kDemoSession, "demo session", o.out);
    std::vector<DemoInput> inputs = synthesise();
    for (const DemoInput& in : inputs) writeInputFile(*in.source, in.container, o.out / in.source->name());
    const std::filesystem::path sessionFile = o.out / "session.ini";
    std::string error;
    if (!platform::writeFileAtomically(sessionFile.string(), kDemoSession, &error))
        throw OutputError(sessionFile.string() + ": cannot write: " + error);

    std::vector<std::unique_ptr<AudioSource>> sources;
    for (DemoInput& in : inputs) sources.push_back(std::move(in.source));
    RenderJob job = buildRenderJob(session, std::move(sources));
    Renderer& r = *job.renderer;
    // An edit made between two blocks while input 0 plays: the walk glides to it.
    Aud::DynamicLevelControl::Store* tones = job.stores.front().get();
    r.setBlockHook([tones, done = false](std::int64_t frame) mutable {
        if (!done && frame >= std::int64_t(7.0 * kRate)) {
            tones->insert(Aud::DynamicLevelControl::Store::Node(7.3, 0.4f));
            done = true;
        }
    });

    const std::filesystem::path wav = o.out / "demo.wav";
    const std::filesystem::path svg = o.out / "demo-eq.svg";
    AudioFileWriter writer(wav, 2, session.outputs, kRate, r.maxBlock());
    ProgressBar bar("demo", g.quiet);
    r.setSink([&](const float* const* outs, unsigned n) { writer.write(outs, n); });
    r.setProgress([&](double f) { bar.update(f); });
    const RenderStats stats = r.run();
    bar.finish();
    writer.commit();

    const std::vector<double> freqs = plotFrequencies(kRate);
    std::vector<EqResponse> responses;
    for (const auto& [label, input] :
         std::vector<std::pair<std::string, unsigned>>{{"tones", 0}, {"sweep", 1}, {"noise", 3}})
        responses.push_back(eqResponse(r.equaliser(input), kRate, freqs, label));
    if (!platform::writeFileAtomically(svg.string(), eqSvg(responses, freqs, "audatoms demo: equaliser responses"),
                                       &error))
        throw OutputError(svg.string() + ": cannot write: " + error);

    auto report = makeReport(r, stats, wav.string(), 2);
    report->note = "wrote " + svg.string() + ", the inputs and " + sessionFile.string() + " (audatoms render " +
                   sessionFile.string() + " renders it again)\n";
    return report;
}

}  // namespace

void addDemoCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<DemoOptions>();
    CLI::App* sub = app.add_subcommand("demo", "Render the built-in demo session (no input files needed)");
    sub->footer("Ten seconds at 48 kHz: tones, a stereo sweep, noise bursts and a sine that clips; level\n"
                "automation with fades, a dip and an edit made during the render (the walk glides to it);\n"
                "equalisers on four inputs; a mixer routing them to the main mix and to mix bus 0.\n"
                "Writes DIR/demo.wav (24-bit; channels 1-2 the main mix, 3-4 mix bus 0), DIR/demo-eq.svg,\n"
                "and the session with its input files (DIR/session.ini, tones.wav, sweep.aiff, noise.wav,\n"
                "clip.wav); prints the meter table and the render speed.");
    sub->add_option("--out", o->out, "Output folder (created if missing)")->capture_default_str();
    sub->callback([&action, &g, o] { action = [&g, o] { return runDemo(g, *o); }; });
}

}  // namespace audtool
