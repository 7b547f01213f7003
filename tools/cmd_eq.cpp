// audatoms eq --band TYPE:FREQ[:q=Q|bw=OCTAVES|s=SLOPE][:GAIN_DB]... [--rate HZ]
//             [--svg FILE] [--csv FILE] [--apply IN -o OUT [--sample-type T]]
#include "tools/AudioFileWriter.h"
#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/Commands.h"
#include "tools/EqPlot.h"
#include "tools/ProgressBar.h"
#include "tools/Rates.h"
#include "tools/ToolError.h"

#include "platform/AtomicFile.h"
#include "platform/FloatingPointMode.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace audtool {

namespace {

struct EqOptions {
    std::vector<std::string> bands;
    std::string rate;
    std::filesystem::path svg;
    std::filesystem::path csv;
    std::filesystem::path apply;
    std::filesystem::path output;
    std::string sampleType;
};

void writeWhole(const std::filesystem::path& path, const std::string& text) {
    std::string error;
    if (!platform::writeFileAtomically(path.string(), text, &error))
        throw OutputError(path.string() + ": cannot write: " + error);
}

struct Applied {
    std::string input;
    std::string output;
    unsigned channels = 0;
    int sampleType = 2;
};

Applied applyToFile(const GlobalOptions& g, const EqOptions& o, const std::vector<EqBandSettings>& bands) {
    SndfileSource source(o.apply);
    const FileFormat& f = source.format();
    int type = f.sampleType == 1 ? 1 : 2;
    if (!o.sampleType.empty()) type = exportSampleType(o.sampleType);
    constexpr unsigned kBlock = 4096;
    BlockDecoder decoder(source, kBlock);
    std::vector<Equaliser> eqs;
    for (unsigned c = 0; c < f.channels; ++c) eqs.emplace_back(bands, float(f.rate));
    AudioFileWriter writer(o.output, type, f.channels, f.rate, kBlock);
    ProgressBar bar("equalising", g.quiet);
    std::vector<std::vector<float>> filtered(f.channels, std::vector<float>(kBlock));  // the decoder's are read only
    std::vector<const float*> chans(f.channels);
    for (unsigned c = 0; c < f.channels; ++c) chans[c] = filtered[c].data();
    {
        platform::ScopedFlushDenormals flushDenormals;
        std::int64_t done = 0;
        while (const unsigned n = decoder.decode(source, kBlock)) {
            for (unsigned c = 0; c < f.channels; ++c) {
                std::copy_n(decoder.channel(c), n, filtered[c].data());
                eqs[c].process(filtered[c].data(), n);
            }
            writer.write(chans.data(), n);
            done += n;
            if (f.frames > 0) bar.update(double(done) / double(f.frames));
        }
    }
    bar.finish();
    writer.commit();
    return {o.apply.string(), o.output.string(), f.channels, type};
}

struct ResponsePoint {
    double frequency = 0;
    float magnitude = 0;
};

// Text: the bands, then the response at the octave centres in dB. JSON: the same, with
// the files written.
struct EqResult final : Result {
    double rate = 48000;
    std::vector<std::string> bands;
    std::vector<ResponsePoint> response;
    std::string svg, csv;
    std::optional<Applied> applied;

    std::string text() const override {
        std::string s;
        for (std::size_t b = 0; b < bands.size(); ++b) s += formatText("band %zu  %s\n", b + 1, bands[b].c_str());
        s += "frequency   response\n";
        for (const ResponsePoint& p : response)
            s += formatText("%8g Hz  %+7.2f dB\n", p.frequency, 20 * std::log10(double(p.magnitude)));
        return s;
    }
    nlohmann::json json() const override {
        nlohmann::json j;
        j["rate"] = rate;
        j["bands"] = bands;
        j["response"] = nlohmann::json::array();
        for (const ResponsePoint& p : response)
            j["response"].push_back({{"frequency_hz", p.frequency},
                                     {"magnitude", p.magnitude},
                                     {"db", 20 * std::log10(double(p.magnitude))}});
        if (!svg.empty()) j["svg"] = svg;
        if (!csv.empty()) j["csv"] = csv;
        if (applied)
            j["applied"] = {{"input", applied->input},
                            {"output", applied->output},
                            {"channels", applied->channels},
                            {"sample_type", exportSampleTypeText(applied->sampleType)}};
        return j;
    }
};

std::unique_ptr<Result> runEq(const GlobalOptions& g, const EqOptions& o) {
    std::vector<EqBandSettings> bands;
    for (const std::string& b : o.bands) bands.push_back(parseEqBand(b));
    if (!o.apply.empty() && o.output.empty()) throw InputError("--apply needs -o OUT");
    if (o.apply.empty() && !o.output.empty()) throw InputError("-o is the output of --apply IN");
    double rate = 48000;
    if (!o.rate.empty()) rate = parseSampleRate(o.rate).calcCombinedSampleRate();
    if (!o.apply.empty()) {
        SndfileSource probe(o.apply);
        if (!o.rate.empty() && double(probe.format().rate) != rate)
            throw InputError(o.apply.string() + ": sample rate " + std::to_string(probe.format().rate) +
                             " Hz differs from --rate " + o.rate);
        rate = probe.format().rate;
    }
    const Equaliser eq(bands, float(rate));
    const std::vector<double> freqs = plotFrequencies(rate);
    const EqResponse response = eqResponse(eq, rate, freqs, "equaliser");
    auto result = std::make_unique<EqResult>();
    result->rate = rate;
    if (!o.svg.empty()) {
        writeWhole(o.svg, eqSvg({response}, freqs, "Equaliser magnitude response"));
        result->svg = o.svg.string();
    }
    if (!o.csv.empty()) {
        writeWhole(o.csv, eqCsv(response, freqs));
        result->csv = o.csv.string();
    }
    if (!o.apply.empty()) {
        const Applied& a = result->applied.emplace(applyToFile(g, o, bands));
        result->note = formatText("wrote %s (%u channels, %s bit)\n", a.output.c_str(), a.channels,
                                  exportSampleTypeText(a.sampleType).c_str());
    }

    // The response at the octave centres.
    for (unsigned b = 0; b < eq.numBands(); ++b) result->bands.push_back(bandLabel(eq.settings(b)));
    for (double f : {31.25, 62.5, 125.0, 250.0, 500.0, 1000.0, 2000.0, 4000.0, 8000.0, 16000.0})
        if (f < rate / 2) result->response.push_back({f, eq.responseMagnitude(float(f / (rate / 2)))});
    return result;
}

}  // namespace

void addEqCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<EqOptions>();
    CLI::App* sub = app.add_subcommand("eq", "Show, plot or apply a multi-band equaliser (1 to 5 bands)");
    sub->footer("Band: TYPE:FREQ[:q=Q|bw=OCTAVES|s=SLOPE][:GAIN_DB]\n"
                "  TYPE lowpass|lp, highpass|hp, bandpass|bp (0 dB peak), bandpass-skirt|bps, notch,\n"
                "       allpass|ap, peaking|peak|bell, lowshelf|ls, highshelf|hs\n"
                "  FREQ in Hz (2k = 2000); default shape q=0.7071 (shelves s=1); GAIN in dB (+6, -3dB)\n"
                "Example: audatoms eq --band highpass:80 --band peaking:2.5k:q=1.2:+4 --band hs:8k:-2 --svg eq.svg");
    sub->add_option("--band", o->bands, "A band (repeat for more bands, in order)")->required();
    sub->add_option("--rate", o->rate, "Sampling rate in Hz (default 48000, or that of --apply IN)");
    sub->add_option("--svg", o->svg, "Write the magnitude responses (each band and the total) as SVG");
    sub->add_option("--csv", o->csv, "Write the magnitude responses as CSV");
    sub->add_option("--apply", o->apply, "Filter this audio file ...");
    sub->add_option("-o,--output", o->output, "... into this file (.wav, .w64, .aif, .raw)");
    sub->add_option("--sample-type", o->sampleType,
                    "Output samples of --apply: 16, 24 or 24-unpacked (default: 16 for 16-bit input, else 24)");
    sub->callback([&action, &g, o] { action = [&g, o] { return runEq(g, *o); }; });
}

}  // namespace audtool
