// audatoms cadence --rate RATE --fps FPS
#include "tools/Commands.h"
#include "tools/Rates.h"
#include "tools/StdoutSilencer.h"
#include "tools/ToolError.h"

#include "AudAtoms/core/Aud__Util_Timing.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <memory>
#include <numeric>

namespace audtool {

namespace {

struct CadenceOptions {
    std::string rate;
    std::string fps;
    bool all = false;
};

void printSequence(const char* what, const std::vector<std::uint32_t>& seq, bool all) {
    const unsigned long long total = std::accumulate(seq.begin(), seq.end(), 0ull);
    std::printf("%s: %zu entries per cycle, %llu samples\n", what, seq.size(), total);
    const std::size_t shown = all ? seq.size() : std::min<std::size_t>(seq.size(), 200);
    for (std::size_t i = 0; i < shown; ++i) std::printf("%s%u", i % 16 == 0 ? (i ? "\n  " : "  ") : " ", seq[i]);
    if (shown) std::printf("\n");
    if (shown < seq.size()) std::printf("  ... %zu more (--all shows them)\n", seq.size() - shown);
}

int runCadence(const GlobalOptions& g, const CadenceOptions& o) {
    const Aud::SampleRate rate = parseSampleRate(o.rate);
    const Qm::FrameRate fps = parseFrameRate(o.fps);
    std::vector<std::uint32_t> frames, fields;
    if (g.json) {
        StdoutSilencer quiet;  // keep the JSON clean of the library's assertion lines
        frames = Aud::Util::getSMPTE_FrameSequence(rate, fps);
        fields = Aud::Util::getSMPTE_FieldSequence(rate, fps);
    } else {
        frames = Aud::Util::getSMPTE_FrameSequence(rate, fps);
        fields = Aud::Util::getSMPTE_FieldSequence(rate, fps);
    }
    if (g.json) {
        nlohmann::json j;
        j["rate"] = rateDisplayText(rate);
        j["rate_hz"] = rate.calcCombinedSampleRate();
        j["rate_persisted"] = rate.asString().toStd();
        j["fps"] = Qm::getFramesPerSecond(fps);
        j["frame_rate_code"] = int(fps);
        j["samples_per_frame"] = frames;
        j["samples_per_field"] = fields;
        std::cout << j.dump(2) << "\n";
    } else {
        std::printf("rate %s (%.6f Hz), %s fps (host frame rate code %d)\n", rateDisplayText(rate).c_str(),
                    rate.calcCombinedSampleRate(), frameRateText(fps).c_str(), int(fps));
        printSequence("samples per frame", frames, o.all);
        printSequence("samples per field", fields, o.all);
    }
    std::fflush(stdout);
    if (frames.empty()) throw InputError("the library defines no cadence for " + rateDisplayText(rate) + " at " + frameRateText(fps) + " fps");
    return 0;
}

} // namespace

void addCadenceCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<CadenceOptions>();
    CLI::App* sub = app.add_subcommand("cadence", "Samples per video frame and per field at a sample rate");
    sub->footer(
        "RATE: hertz (48000, 47952.048), a quotient (48000/1.001) or the persisted form ([A][264]).\n"
        "FPS: frames per second (25, 29.97, 30000/1001). One cycle of the cadence is printed.");
    sub->add_option("--rate", o->rate, "Sample rate")->required();
    sub->add_option("--fps", o->fps, "Video frame rate")->required();
    sub->add_flag("--all", o->all, "Print every entry of long cadences");
    sub->callback([&action, &g, o] { action = [&g, o] { return runCadence(g, *o); }; });
}

} // namespace audtool
