// audatoms resample IN -o OUT --rate HZ [--factor F] [--quality Q] [--sample-type T]
//
// Converts an audio file to another sample rate through Aud::Resampler. --factor is a
// speed change of the material (pull-up, pull-down): the input is read as if its rate
// were its own rate times F, then converted to --rate, so F above 1 makes the result
// play faster and shorter (1001/1000: 1/1.001 as long). The output holds exactly
// floor(inputFrames * L / M) frames, L:M the exact ratio, aligned with the input (the
// converter's delay removed).
#include "tools/AudioFileWriter.h"
#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/Commands.h"
#include "tools/InputConverter.h"
#include "tools/ProgressBar.h"
#include "tools/Rates.h"
#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include "AudAtoms/kernels/Aud__Resampler.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <memory>

namespace audtool {

namespace {

struct ResampleOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::string rate;
    std::string factor = "1";
    std::string quality = "best";
    std::string sampleType = "24";
};

// "1", "1001/1000", "24/25", "1.25", ...: the library's factor of that multiplier.
Aud::eFactor parseFactor(const std::string& text) {
    const auto slash = text.find('/');
    std::optional<double> num = parseNumber(slash == std::string::npos ? text : text.substr(0, slash));
    std::optional<double> den =
        slash == std::string::npos ? std::optional<double>(1.0) : parseNumber(text.substr(slash + 1));
    Aud::eFactor f = Aud::keFactorNone;
    if (!num || !den || *den == 0.0 || *num <= 0.0 ||
        Aud::SampleRate::determineFactorFromFloat(f, *num / *den) != Aud::sSuccess)
        throw InputError("--factor '" + text +
                         "' is not a speed change the library knows (1, 1001/1000, 1000/1001, 25/24, 24/25, 30/24, "
                         "24/30, 2, 1/2 or a product of them)");
    return f;
}

double threadCpuSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

struct ResampleReport final : Result {
    std::string input, output, from, to, quality;
    unsigned inputRate = 0, outputRate = 0, channels = 0;
    std::uint32_t up = 0, down = 0;
    std::int64_t inputFrames = 0, outputFrames = 0;
    std::uint64_t latency = 0;
    unsigned taps = 0;
    int sampleType = 2;
    double seconds = 0, cpuSeconds = 0;

    double timesRealTime() const {
        return cpuSeconds > 0 && outputRate ? double(outputFrames) / double(outputRate) / cpuSeconds : 0.0;
    }
    std::string text() const override {
        return formatText("resampled %s (%s) to %s (%s), ratio %u:%u, quality %s (%u taps, %llu frames of delay "
                          "removed)\n%lld frames in, %lld frames out, %u channels, %s bit, in %.3f s of processor "
                          "time: %.1f x real time on one core\n",
                          input.c_str(), from.c_str(), output.c_str(), to.c_str(), up, down, quality.c_str(), taps,
                          static_cast<unsigned long long>(latency), static_cast<long long>(inputFrames),
                          static_cast<long long>(outputFrames), channels, exportSampleTypeText(sampleType).c_str(),
                          cpuSeconds, timesRealTime());
    }
    nlohmann::json json() const override {
        nlohmann::json j;
        j["input"] = input;
        j["output"] = output;
        j["input_rate"] = inputRate;
        j["output_rate"] = outputRate;
        j["input_rate_text"] = from;
        j["output_rate_text"] = to;
        j["ratio"] = {up, down};
        j["quality"] = quality;
        j["taps"] = taps;
        j["latency_frames"] = latency;
        j["channels"] = channels;
        j["input_frames"] = inputFrames;
        j["output_frames"] = outputFrames;
        j["sample_type"] = exportSampleTypeText(sampleType);
        j["seconds"] = seconds;
        j["cpu_seconds"] = cpuSeconds;
        j["times_real_time"] = timesRealTime();
        return j;
    }
};

std::unique_ptr<Result> runResample(const GlobalOptions& g, const ResampleOptions& o) {
    const int type = exportSampleType(o.sampleType);
    Aud::Resampler::eQuality quality = Aud::Resampler::keQualityBest;
    if (!Aud::resamplerQualityFromName(o.quality.c_str(), quality))
        throw InputError("--quality '" + o.quality + "' is not quick, high or best");
    const Aud::SampleRate to = parseSampleRate(o.rate);
    const double toHz = to.calcCombinedSampleRate();
    if (toHz != std::floor(toHz) || toHz < 1.0)
        throw InputError("--rate '" + o.rate + "' is not a whole number of hertz, which a file must hold");
    const Aud::eFactor factor = parseFactor(o.factor);

    auto source = std::make_unique<SndfileSource>(o.input);
    const FileFormat format = source->format();
    constexpr unsigned kBlock = 16384;
    BlockDecoder decoder(*source, kBlock);
    auto converter = makeInputConverter(*source, factor, to, quality, kBlock);
    const auto fromRate = libraryRateForHertz(double(format.rate));
    Aud::SampleRate from = *fromRate;  // makeInputConverter has checked it
    from.addFactor(factor);

    auto rep = std::make_unique<ResampleReport>();
    rep->input = o.input.string();
    rep->output = o.output.string();
    rep->from = rateDisplayText(from);
    rep->to = rateDisplayText(to);
    rep->inputRate = format.rate;
    rep->outputRate = unsigned(toHz);
    rep->channels = format.channels;
    rep->quality = Aud::resamplerQualityName(quality);
    rep->sampleType = type;
    rep->inputFrames = format.frames;
    rep->up = converter ? converter->resampler().upFactor() : 1;
    rep->down = converter ? converter->resampler().downFactor() : 1;
    rep->taps = converter ? converter->resampler().taps() : 0;
    rep->latency = converter ? converter->resampler().latency() : 0;
    rep->outputFrames = std::int64_t(std::uint64_t(format.frames) * rep->up / rep->down);

    AudioFileWriter writer(o.output, type, format.channels, rep->outputRate, kBlock);
    ProgressBar bar("resampling", g.quiet);
    std::vector<const float*> chans(format.channels);
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = threadCpuSeconds();
    for (std::int64_t done = 0; done < rep->outputFrames;) {
        const unsigned n = unsigned(std::min<std::int64_t>(kBlock, rep->outputFrames - done));
        if (converter) {
            converter->produce(*source, decoder, n, nullptr);
            for (unsigned c = 0; c < format.channels; ++c) chans[c] = converter->channel(c);
        } else {
            decoder.decode(*source, n);
            for (unsigned c = 0; c < format.channels; ++c) chans[c] = decoder.channel(c);
        }
        writer.write(chans.data(), n);
        done += n;
        bar.update(double(done) / double(rep->outputFrames));
    }
    rep->cpuSeconds = threadCpuSeconds() - cpuStart;
    rep->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    bar.finish();
    writer.commit();
    rep->note = "wrote " + rep->output + "\n";
    return rep;
}

}  // namespace

void addResampleCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<ResampleOptions>();
    CLI::App* sub = app.add_subcommand("resample", "Convert an audio file to another sample rate");
    sub->footer("--rate takes hertz (48000, 47952.048), a quotient (48000/1.001) or the persisted form.\n"
                "--factor F is a speed change of the material: the input is read as if its rate were its own\n"
                "times F (1001/1000 plays 1.001 faster, as 23.976 fps material in a 24 fps project).\n"
                "Qualities: quick, high, best (see docs/kernels.md for what each measures).\n"
                "The output is written under a temporary name and renamed when complete.");
    sub->add_option("IN", o->input, "Audio file to convert")->required();
    sub->add_option("-o,--output", o->output, "File to write (.wav, .w64, .aif/.aiff, .raw)")->required();
    sub->add_option("--rate", o->rate, "Output sample rate")->required();
    sub->add_option("--factor", o->factor, "Speed change of the material (e.g. 1001/1000)")->capture_default_str();
    sub->add_option("--quality", o->quality, "quick, high or best")->capture_default_str();
    sub->add_option("--sample-type", o->sampleType, "Output samples: 16, 24 or 24-unpacked")->capture_default_str();
    sub->callback([&action, &g, o] { action = [&g, o] { return runResample(g, *o); }; });
}

}  // namespace audtool
