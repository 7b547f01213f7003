// audatoms loudness FILE... [--json]
#include "tools/AudioSource.h"
#include "tools/ChannelRoles.h"
#include "tools/Commands.h"
#include "tools/LoudnessReport.h"
#include "tools/ProgressBar.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>

namespace audtool {

namespace {

struct LoudnessOptions {
    std::vector<std::filesystem::path> files;
};

struct FileLoudness {
    std::string path;
    unsigned rate = 0;
    LoudnessSummary summary;
};

// Text: one block per file. JSON: an array, one object per file.
struct LoudnessResult final : Result {
    std::vector<FileLoudness> files;

    std::string text() const override {
        std::string s;
        for (const FileLoudness& f : files) {
            s += f.path + formatText(" (%zu channels: %s, %u Hz)\n", f.summary.roles.size(),
                                     rolesText(f.summary.roles).c_str(), f.rate);
            s += loudnessText(f.summary, "  ", true);
        }
        return s;
    }
    nlohmann::json json() const override {
        nlohmann::json a = nlohmann::json::array();
        for (const FileLoudness& f : files) {
            nlohmann::json j = loudnessJson(f.summary, true);
            j["file"] = f.path;
            j["rate_hz"] = f.rate;
            j["roles"] = rolesText(f.summary.roles);
            a.push_back(j);
        }
        return a;
    }
};

std::unique_ptr<Result> runLoudness(const GlobalOptions& g, const LoudnessOptions& o) {
    auto result = std::make_unique<LoudnessResult>();
    for (const std::filesystem::path& path : o.files) {
        SndfileSource source(path);
        ProgressBar bar("measuring " + path.string(), g.quiet);
        FileLoudness f;
        f.path = path.string();
        f.rate = source.format().rate;
        f.summary = measureSource(source, fileRoles(source.channelMap(), source.format().channels),
                                  [&](double x) { bar.update(x); });
        bar.finish();
        result->files.push_back(std::move(f));
    }
    return result;
}

}  // namespace

void addLoudnessCommand(CLI::App& app, const GlobalOptions& g, Action& action) {
    auto o = std::make_shared<LoudnessOptions>();
    CLI::App* sub = app.add_subcommand("loudness", "Measure programme loudness and true peak of audio files");
    sub->footer("For each file: integrated loudness (LUFS, gated), loudness range (LU), the maximum momentary\n"
                "(400 ms) and short-term (3 s) loudness, and the true peak (dBTP) and sample peak (dBFS) of\n"
                "every channel and of the file. Channel roles come from the WAV channel mask, or else from\n"
                "the channel count (1 = C; 2 = L R; 5 = L R C Ls Rs; 6 = L R C LFE Ls Rs; others = other).");
    sub->add_option("FILE", o->files, "Audio files")->required();
    sub->callback([&action, &g, o] { action = [&g, o] { return runLoudness(g, *o); }; });
}

}  // namespace audtool
