// audatoms info FILE... [--fps FPS]
#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/Commands.h"
#include "tools/Meters.h"
#include "tools/ProgressBar.h"
#include "tools/Rates.h"

#include "AudAtoms/metering/Aud__Monitor.h"
#include "AudAtoms/core/Aud__Util_AudAtoms.h"
#include "AudAtoms/core/Aud__Util_Timing.h"
#include "platform/Report.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>

namespace audtool {

namespace {

struct InfoOptions {
    std::vector<std::filesystem::path> files;
    std::string fps = "25";
};

struct FileInfo {
    std::string path;
    FileFormat format;
    int libraryType = -1;
    std::string typeName;
    std::optional<Aud::SampleRate> rate;
    std::vector<std::uint32_t> cadence;
    std::vector<MeterReading> peaks;
};

std::string sampleTypeName(int type) {
    // The library names sample types 0 to 6; asking for others prints an assertion.
    if (type >= 0 && type <= 6) return toUTF8(Aud::getAsString(type)).toStd();
    return "";
}

FileInfo inspect(const std::filesystem::path& path, Qm::FrameRate fps, const GlobalOptions& g) {
    FileInfo info;
    info.path = path.string();
    SndfileSource source(path);
    info.format = source.format();
    info.libraryType = info.format.metadata().getSampleTypeNumber();
    info.typeName = sampleTypeName(info.libraryType);
    info.rate = libraryRateForHertz(info.format.rate);
    if (info.rate) {
        if (g.json) {
            // Keeps the JSON clean of the library's assertion lines.
            const platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
            info.cadence = Aud::Util::getSMPTE_FrameSequence(*info.rate, fps);
        } else {
            info.cadence = Aud::Util::getSMPTE_FrameSequence(*info.rate, fps);
        }
    }

    constexpr unsigned kBlock = 4096;
    BlockDecoder decoder(source, kBlock);
    Aud::Monitor monitor;
    monitor.registerMonitoringPoints(info.format.channels);
    MeterSet meters;
    for (unsigned c = 0; c < info.format.channels; ++c)
        meters.add("ch " + std::to_string(c + 1), monitor.getInputMonitoringPointId(c));
    ProgressBar bar("reading " + info.path, g.quiet);
    std::int64_t done = 0;
    while (decoder.decode(source, kBlock) > 0) {
        monitor.updateMonitoringPoints(decoder.buffers());
        done += decoder.framesRead();
        if (info.format.frames > 0) bar.update(double(done) / double(info.format.frames));
    }
    bar.finish();
    info.peaks = meters.read();
    return info;
}

std::string cadenceText(const std::vector<std::uint32_t>& c) {
    if (c.empty()) return "none defined";
    std::string s;
    const std::size_t shown = std::min<std::size_t>(c.size(), 12);
    for (std::size_t i = 0; i < shown; ++i) s += (i ? " " : "") + std::to_string(c[i]);
    if (shown < c.size()) s += " ... (" + std::to_string(c.size()) + " frames per cycle)";
    return s;
}

std::string fileText(const FileInfo& f, Qm::FrameRate fps) {
    const FileFormat& fm = f.format;
    std::string s = f.path + "\n";
    s += formatText("  format       %s, %s, %s-endian samples\n", fm.containerName().c_str(), fm.encodingName().c_str(),
                    fm.bigEndian ? "big" : "little");
    if (f.typeName.empty()) s += formatText("  sample type  %d\n", f.libraryType);
    else s += formatText("  sample type  %d \"%s\"\n", f.libraryType, f.typeName.c_str());
    s += formatText("  channels     %u\n", fm.channels);
    if (f.rate) s += formatText("  rate         %s (%u Hz)\n", rateDisplayText(*f.rate).c_str(), fm.rate);
    else s += formatText("  rate         %u Hz (not a library rate)\n", fm.rate);
    s += formatText("  duration     %.3f s (%lld frames)\n", double(fm.frames) / fm.rate,
                    static_cast<long long>(fm.frames));
    s += formatText("  per frame    %s samples at %s fps\n", f.rate ? cadenceText(f.cadence).c_str() : "n/a",
                    frameRateText(fps).c_str());
    for (const MeterReading& p : f.peaks) {
        const double db = toDbfs(p.peak);
        if (std::isinf(db))
            s += formatText("  peak %-7s     -inf dBFS%s\n", p.label.c_str(), p.clipped ? "  CLIP" : "");
        else s += formatText("  peak %-7s %8.2f dBFS%s\n", p.label.c_str(), db, p.clipped ? "  CLIP" : "");
    }
    return s;
}

nlohmann::json fileJson(const FileInfo& f, Qm::FrameRate fps) {
    const FileFormat& fm = f.format;
    nlohmann::json j;
    j["file"] = f.path;
    j["container"] = fm.containerName();
    j["encoding"] = fm.encodingName();
    j["big_endian"] = fm.bigEndian;
    j["sample_type"] = f.libraryType;
    j["sample_type_name"] = f.typeName.empty() ? nlohmann::json(nullptr) : nlohmann::json(f.typeName);
    j["channels"] = fm.channels;
    j["rate_hz"] = fm.rate;
    j["rate"] = f.rate ? nlohmann::json(rateDisplayText(*f.rate)) : nlohmann::json(nullptr);
    j["frames"] = fm.frames;
    j["duration_seconds"] = double(fm.frames) / fm.rate;
    j["fps"] = Qm::getFramesPerSecond(fps);
    j["samples_per_frame"] = f.cadence;
    j["peaks"] = meterJson(f.peaks);
    return j;
}

// Text: one block per file. JSON: an array, one object per file.
struct InfoResult final : Result {
    Qm::FrameRate fps = Qm::FrameRate25;
    std::vector<FileInfo> files;

    std::string text() const override {
        std::string s;
        for (const FileInfo& f : files) s += fileText(f, fps);
        return s;
    }
    nlohmann::json json() const override {
        nlohmann::json a = nlohmann::json::array();
        for (const FileInfo& f : files) a.push_back(fileJson(f, fps));
        return a;
    }
};

std::unique_ptr<Result> runInfo(const GlobalOptions& g, const InfoOptions& o) {
    auto result = std::make_unique<InfoResult>();
    result->fps = parseFrameRate(o.fps);
    for (const std::filesystem::path& f : o.files) result->files.push_back(inspect(f, result->fps, g));
    return result;
}

}  // namespace

void addInfoCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<InfoOptions>();
    CLI::App* sub = app.add_subcommand("info", "Show audio files as the library sees them, with channel peaks");
    sub->footer("For each file: the sample type number and name, channels, the rate as the library shows it,\n"
                "the duration, the samples of each video frame at --fps, and each channel's peak measured\n"
                "by the library's monitor (CLIP: a block peak above 0.99).");
    sub->add_option("FILE", o->files, "Audio files")->required();
    sub->add_option("--fps", o->fps, "Video frame rate for the samples-per-frame cadence")->capture_default_str();
    sub->callback([&action, &g, o] { action = [&g, o] { return runInfo(g, *o); }; });
}

}  // namespace audtool
