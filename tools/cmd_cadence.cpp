// audatoms cadence --rate RATE --fps FPS
#include "tools/Commands.h"
#include "tools/Rates.h"
#include "tools/ToolError.h"

#include "AudAtoms/core/Aud__Util_Timing.h"
#include "platform/Report.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <memory>
#include <numeric>

namespace audtool {

namespace {

struct CadenceOptions {
    std::string rate;
    std::string fps;
    bool all = false;
};

std::string sequenceText(const char* what, const std::vector<std::uint32_t>& seq, bool all) {
    const unsigned long long total = std::accumulate(seq.begin(), seq.end(), 0ull);
    std::string s = formatText("%s: %zu entries per cycle, %llu samples\n", what, seq.size(), total);
    const std::size_t shown = all ? seq.size() : std::min<std::size_t>(seq.size(), 200);
    for (std::size_t i = 0; i < shown; ++i) s += formatText("%s%u", i % 16 == 0 ? (i ? "\n  " : "  ") : " ", seq[i]);
    if (shown) s += "\n";
    if (shown < seq.size()) s += formatText("  ... %zu more (--all shows them)\n", seq.size() - shown);
    return s;
}

// Text: the rate and frame rate, then each sequence (long ones cut short unless --all).
// JSON: one object with both sequences whole.
struct CadenceResult final : Result {
    Aud::SampleRate rate;
    Qm::FrameRate fps = Qm::FrameRate25;
    std::vector<std::uint32_t> frames, fields;
    bool all = false;

    std::string text() const override {
        return formatText("rate %s (%.6f Hz), %s fps (host frame rate code %d)\n", rateDisplayText(rate).c_str(),
                          rate.calcCombinedSampleRate(), frameRateText(fps).c_str(), int(fps)) +
               sequenceText("samples per frame", frames, all) + sequenceText("samples per field", fields, all);
    }
    nlohmann::json json() const override {
        nlohmann::json j;
        j["rate"] = rateDisplayText(rate);
        j["rate_hz"] = rate.calcCombinedSampleRate();
        j["rate_persisted"] = rate.asString().toStd();
        j["fps"] = Qm::getFramesPerSecond(fps);
        j["frame_rate_code"] = int(fps);
        j["samples_per_frame"] = frames;
        j["samples_per_field"] = fields;
        return j;
    }
};

std::unique_ptr<Result> runCadence(const GlobalOptions& g, const CadenceOptions& o) {
    auto result = std::make_unique<CadenceResult>();
    result->rate = parseSampleRate(o.rate);
    result->fps = parseFrameRate(o.fps);
    result->all = o.all;
    if (g.json) {
        // Keeps the JSON clean of the library's assertion lines.
        const platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
        result->frames = Aud::Util::getSMPTE_FrameSequence(result->rate, result->fps);
        result->fields = Aud::Util::getSMPTE_FieldSequence(result->rate, result->fps);
    } else {
        result->frames = Aud::Util::getSMPTE_FrameSequence(result->rate, result->fps);
        result->fields = Aud::Util::getSMPTE_FieldSequence(result->rate, result->fps);
    }
    if (result->frames.empty())
        throw InputError("the library defines no cadence for " + rateDisplayText(result->rate) + " at " +
                         frameRateText(result->fps) + " fps");
    return result;
}

}  // namespace

void addCadenceCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<CadenceOptions>();
    CLI::App* sub = app.add_subcommand("cadence", "Samples per video frame and per field at a sample rate");
    sub->footer("RATE: hertz (48000, 47952.048), a quotient (48000/1.001) or the persisted form ([A][264]).\n"
                "FPS: frames per second (25, 29.97, 30000/1001). One cycle of the cadence is printed.");
    sub->add_option("--rate", o->rate, "Sample rate")->required();
    sub->add_option("--fps", o->fps, "Video frame rate")->required();
    sub->add_flag("--all", o->all, "Print every entry of long cadences");
    sub->callback([&action, &g, o] { action = [&g, o] { return runCadence(g, *o); }; });
}

}  // namespace audtool
