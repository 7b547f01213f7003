// audatoms bench [--inputs N] [--seconds S] [--skip-render] [--ffmpeg]
// 1. Render speed: N inputs of S seconds at 48 kHz (24-bit, read from memory), level
//    automation and a three-band equaliser on every input, four mix buses (the main
//    mix and mixes 0..2, each to its own pair of outputs), output exported to 24-bit in
//    memory; one core; reported as a multiple of real time.
//    With --ffmpeg, FFmpeg mixing the same inputs (tools/FfmpegMix.h) is timed in the
//    same run, and the render's speed is given as a multiple of FFmpeg's (aim: 10).
// 2. Denormal guard: the cost of one block of a decaying filter tail (filter memory in
//    the subnormal range) against one block of signal through a three-band equaliser,
//    without and with platform::ScopedFlushDenormals. With the guard the tail must cost
//    no more than 1.5 times the signal; the command fails (status 1) otherwise.
#include "tools/AudioFileWriter.h"
#include "tools/BenchSession.h"
#include "tools/Commands.h"
#include "tools/FfmpegMix.h"
#include "tools/RenderJob.h"
#include "tools/Synth.h"
#include "tools/ToolError.h"

#include "platform/FloatingPointMode.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <random>

#include <unistd.h>

namespace audtool {

namespace {

constexpr unsigned kRate = 48000;

struct BenchOptions {
    unsigned inputs = 32;
    double seconds = 60;
    bool skipRender = false;
    bool ffmpeg = false;       // also time FFmpeg mixing the same inputs
    std::string writeSession;  // write the benchmark session's files here instead
};

struct RenderBench {
    RenderStats stats;
    unsigned outputs = 0;
};

RenderBench benchRender(unsigned inputs, double seconds) {
    const std::int64_t frames = static_cast<std::int64_t>(seconds * kRate);
    std::vector<std::unique_ptr<AudioSource>> sources;
    for (unsigned i = 0; i < inputs; ++i) {
        // Ten seconds of material per input, repeated to the length asked for.
        std::vector<float> x = sine(kRate, 10.0, 110.0 * (1 + i % 7), 0.2);
        const std::vector<float> n = noiseBursts(kRate, 10.0, 0.5 + 0.05 * i, 0.2, 0.2, 100 + i);
        for (std::size_t k = 0; k < x.size(); ++k) x[k] += n[k];
        sources.push_back(makeMemorySource("input " + std::to_string(i), 2, false, kRate, {x}, frames));
    }
    RenderConfig config;
    config.rate = kRate;
    config.totalFrames = frames;
    config.frameRate = Qm::FrameRate25;
    config.outputs = 2 * Renderer::kMixBuses;
    Renderer r(config, std::move(sources));

    std::vector<std::unique_ptr<Aud::DynamicLevelControl::Store>> stores;
    for (unsigned i = 0; i < inputs; ++i) {
        std::vector<AutomationPoint> points;
        for (double t = 0; t <= seconds + 1; t += 0.5 + 0.01 * i)
            points.push_back({t, float(0.5 + 0.5 * std::sin(t + i)), 0});
        stores.push_back(makeStore(points));
        r.setAutomation(i, stores.back().get());
        r.setEqualiser(i, Equaliser({parseEqBand("lowshelf:" + std::to_string(80 + 5 * i) + ":+2"),
                                     parseEqBand("peaking:" + std::to_string(800 + 50 * i) + ":q=1.1:-3"),
                                     parseEqBand("highshelf:" + std::to_string(6000 + 100 * i) + ":+1.5")},
                                    kRate));
        r.mixer().setInputPan(int(i), float(i % 5) / 4.0f);
        r.mixer().setInputRoutedToMix(int(i), int(i % 3), true);
    }
    for (int m = 0; m < Renderer::kMixBuses - 1; ++m) {
        r.mixer().setMixRoutedToOutput(m, 2 + 2 * m, true, true);
        r.mixer().setMixRoutedToOutput(m, 3 + 2 * m, false, true);
    }
    ExportConverter exporter(2, config.outputs, r.maxBlock());
    std::size_t exported = 0;
    r.setSink([&](const float* const* outs, unsigned n) {
        std::size_t bytes = 0;
        exporter.convert(outs, n, bytes);
        exported += bytes;
    });
    RenderBench b;
    b.stats = r.run();
    b.outputs = config.outputs;
    if (exported != std::size_t(frames) * config.outputs * 3) throw std::logic_error("benchmark export incomplete");
    return b;
}

struct GuardBench {
    double signalUs[2] = {0, 0};  // without, with the guard
    double tailUs[2] = {0, 0};
    bool tailWasSubnormal = false;
    unsigned tailSubnormalSamples = 0;  // of the tail block, without the guard
};

double bestBlockMicroseconds(const Equaliser& start, const std::vector<float>& input, bool guard) {
    double best = std::numeric_limits<double>::infinity();
    std::vector<float> x(input.size());
    for (int rep = 0; rep < 60; ++rep) {
        Equaliser eq = start;
        x = input;
        const auto t0 = std::chrono::steady_clock::now();
        if (guard) {
            platform::ScopedFlushDenormals flushDenormals;
            eq.process(x.data(), unsigned(x.size()));
        } else {
            eq.process(x.data(), unsigned(x.size()));
        }
        const double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count();
        best = std::min(best, us);
        volatile float sink = x.back();
        (void)sink;
    }
    return best;
}

GuardBench benchGuard() {
    constexpr unsigned kBlock = 1920;  // one 25 fps frame at 48 kHz
    // Low, narrow bands ring for long: their tails stay in the subnormal range for
    // many blocks.
    const Equaliser fresh({parseEqBand("highpass:20"), parseEqBand("peaking:40:q=6:+9"), parseEqBand("lowshelf:60:+3")},
                          kRate);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<float> noise(kBlock), silence(kBlock, 0.0f);
    for (float& v : noise) v = u(rng);

    // Signal state: the equaliser after a block of noise.
    Equaliser signal = fresh;
    std::vector<float> x = noise;
    signal.process(x.data(), kBlock);
    // Tail state: an impulse, then silence until the output has decayed into the
    // subnormal range (without the guard, so the state really holds subnormals).
    Equaliser tail = fresh;
    float one = 1.0f;
    tail.process(&one, 1);
    GuardBench b;
    for (unsigned i = 0; i < 48000 * 120; ++i) {
        float z = 0.0f;
        tail.process(&z, 1);
        if (z != 0.0f && std::fabs(z) < std::numeric_limits<float>::min()) {
            b.tailWasSubnormal = true;
            break;
        }
    }
    {
        Equaliser probe = tail;
        std::vector<float> z = silence;
        probe.process(z.data(), kBlock);
        for (float v : z) b.tailSubnormalSamples += v != 0.0f && std::fabs(v) < std::numeric_limits<float>::min();
    }
    for (int guard = 0; guard < 2; ++guard) {
        b.signalUs[guard] = bestBlockMicroseconds(signal, noise, guard != 0);
        b.tailUs[guard] = bestBlockMicroseconds(tail, silence, guard != 0);
    }
    return b;
}

constexpr double kGuardLimit = 1.5;
constexpr double kFfmpegAim = 10;     // the render at least this many times FFmpeg's speed
constexpr double kRealTimeAim = 500;  // and this many times real time on one core

// Text: a paragraph per measurement. JSON: "render" (unless --skip-render) and
// "denormal" objects. The result is a failure when the guarded tail costs more than
// kGuardLimit times the signal.
struct BenchResult final : Result {
    BenchOptions options;
    std::optional<RenderBench> render;
    std::optional<FfmpegMixRun> ffmpeg;
    GuardBench guard;

    // FFmpeg's processor time over the render's: how many times faster the render is.
    double timesFfmpeg() const { return ffmpeg->cpuSeconds / render->stats.cpuSeconds; }

    double ratio(int withGuard) const { return guard.tailUs[withGuard] / guard.signalUs[withGuard]; }
    bool passed() const { return ratio(1) <= kGuardLimit; }

    std::string text() const override {
        std::string s;
        if (render)
            s += formatText(
                "render: %u inputs x %g s at 48 kHz (24-bit), level automation and a 3-band equaliser on every\n"
                "        input, %d mix buses to %u outputs, 24-bit export in memory; one core\n"
                "        %.3f s of processor time (%.3f s wall) for %g s of audio: %.1f x real time\n",
                options.inputs, options.seconds, Renderer::kMixBuses, render->outputs, render->stats.cpuSeconds,
                render->stats.seconds, options.seconds, render->stats.timesRealTime());
        if (render && ffmpeg) {
            if (ffmpeg->ran)
                s += formatText("ffmpeg: the same inputs, volume automation, 3 filters and a pan each, amix to one\n"
                                "        stereo mix, 24-bit PCM; one thread\n"
                                "        %.3f s of processor time (%.3f s wall): %.1f x real time\n",
                                ffmpeg->cpuSeconds, ffmpeg->wallSeconds, options.seconds / ffmpeg->cpuSeconds);
            else s += "ffmpeg: not measured: " + ffmpeg->why + "\n";
        }
        if (render)
            s += formatText("aim: render %u inputs: %.1f x real time (aim %g) %s\n", options.inputs,
                            render->stats.timesRealTime(), kRealTimeAim,
                            render->stats.timesRealTime() >= kRealTimeAim ? "met" : "MISSED");
        if (render && ffmpeg && ffmpeg->ran)
            s += formatText("aim: render %u inputs: %.1f x FFmpeg's speed (aim %g) %s\n", options.inputs, timesFfmpeg(),
                            kFfmpegAim, timesFfmpeg() >= kFfmpegAim ? "met" : "MISSED");
        s += formatText("denormal guard: one 1920-sample block of a 3-band equaliser, decaying tail vs signal\n"
                        "        without guard: signal %.1f us, tail %.1f us: %.2f x\n"
                        "        with guard:    signal %.1f us, tail %.1f us: %.2f x (limit %g)%s\n",
                        guard.signalUs[0], guard.tailUs[0], ratio(0), guard.signalUs[1], guard.tailUs[1], ratio(1),
                        kGuardLimit, passed() ? "" : "  FAILED");
        return s;
    }
    nlohmann::json json() const override {
        nlohmann::json j;
        if (render)
            j["render"] = {{"inputs", options.inputs},
                           {"seconds", options.seconds},
                           {"mix_buses", Renderer::kMixBuses},
                           {"outputs", render->outputs},
                           {"render_seconds", render->stats.seconds},
                           {"render_cpu_seconds", render->stats.cpuSeconds},
                           {"times_real_time", render->stats.timesRealTime()},
                           {"times_real_time_wall", render->stats.timesRealTimeWall()}};
        if (render && ffmpeg) {
            if (ffmpeg->ran)
                j["ffmpeg"] = {{"cpu_seconds", ffmpeg->cpuSeconds},
                               {"wall_seconds", ffmpeg->wallSeconds},
                               {"times_real_time", options.seconds / ffmpeg->cpuSeconds},
                               {"render_times_faster", timesFfmpeg()},
                               {"aim", kFfmpegAim}};
            else j["ffmpeg"] = {{"not_measured", ffmpeg->why}};
        }
        j["denormal"] = {
            {"block", 1920},
            {"tail_was_subnormal", guard.tailWasSubnormal},
            {"tail_subnormal_samples", guard.tailSubnormalSamples},
            {"without_guard", {{"signal_us", guard.signalUs[0]}, {"tail_us", guard.tailUs[0]}, {"ratio", ratio(0)}}},
            {"with_guard", {{"signal_us", guard.signalUs[1]}, {"tail_us", guard.tailUs[1]}, {"ratio", ratio(1)}}},
            {"limit", kGuardLimit},
            {"passed", passed()}};
        return j;
    }
};

struct SessionWritten final : Result {
    std::string path;
    std::string text() const override { return "wrote " + path + "\n"; }
    nlohmann::json json() const override { return {{"session", path}}; }
};

std::unique_ptr<Result> runBench(const GlobalOptions& g, const BenchOptions& o) {
    if (o.inputs < 1 || o.inputs > 32) throw InputError("--inputs must be from 1 to 32");
    if (!(o.seconds > 0) || o.seconds > 3600) throw InputError("--seconds must be above 0 and at most 3600");
    if (!o.writeSession.empty()) {
        auto written = std::make_unique<SessionWritten>();
        written->path = writeBenchSession(o.writeSession, o.inputs, o.seconds).string();
        return written;
    }
    auto result = std::make_unique<BenchResult>();
    result->options = o;
    if (!o.skipRender) {
        if (!g.quiet) std::fprintf(stderr, "rendering %u inputs x %g s ...\n", o.inputs, o.seconds);
        result->render = benchRender(o.inputs, o.seconds);
        if (o.ffmpeg) {
            if (!g.quiet) std::fprintf(stderr, "ffmpeg mixing the same inputs ...\n");
            const std::filesystem::path dir =
                std::filesystem::temp_directory_path() / formatText("audatoms-bench-%ld", long(getpid()));
            result->ffmpeg = runFfmpegMix(dir, o.inputs, o.seconds);
            std::error_code ignored;
            std::filesystem::remove_all(dir, ignored);
        }
    }
    result->guard = benchGuard();
    if (!result->passed())
        result->failure = formatText("the denormal guard check failed: with the guard, the tail costs %.2f times the "
                                     "signal (limit %g)",
                                     result->ratio(1), kGuardLimit);
    return result;
}

}  // namespace

void addBenchCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<BenchOptions>();
    CLI::App* sub =
        app.add_subcommand("bench", "Measure the render speed and the cost of filter tails under the denormal guard");
    sub->footer("Render: N inputs of S seconds at 48 kHz, level automation and a 3-band equaliser on every\n"
                "input, 4 mix buses; reported as a multiple of real time on one core.\n"
                "Denormal guard: a block of decaying filter tail against a block of signal, without and with\n"
                "flush-to-zero; fails (status 1) when the guarded tail costs more than 1.5 times the signal.");
    sub->add_option("--inputs", o->inputs, "Inputs (1 to 32)")->capture_default_str();
    sub->add_option("--seconds", o->seconds, "Seconds of audio per input")->capture_default_str();
    sub->add_flag("--skip-render", o->skipRender, "Only the denormal measurement");
    sub->add_flag("--ffmpeg", o->ffmpeg,
                  "Also time FFmpeg (ffmpeg on PATH) mixing the same inputs, and give the ratio of the speeds");
    sub->add_option("--write-session", o->writeSession,
                    "Write the render benchmark's session (session.ini and its inputs) to this folder, for "
                    "audatoms play, and measure nothing");
    sub->callback([&action, &g, o] { action = [&g, o] { return runBench(g, *o); }; });
}

}  // namespace audtool
