// The loudness command, the mix loudness lines of the render report, and loudness
// normalisation of a render from the editor preferences: each checked on files written
// here and on what the tool writes, measured again with the tool's loudness command.
#include "tools/ToolError.h"

#include "tests/support/ToolTestSupport.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <string>
#include <vector>

using namespace audatoms::test;

namespace {

// Interleaved frames of a 1 kHz sine of the given peak (dBFS) on every channel; a click
// of `click` (linear) at 5 s on channel 0 when it is above 0.
std::vector<double> sineFrames(int channels, double peakDb, double seconds, int rate = 48000, double click = 0.0) {
    const double a = std::pow(10.0, peakDb / 20.0);
    const auto n = std::size_t(seconds * rate);
    std::vector<double> v(n * std::size_t(channels));
    for (std::size_t i = 0; i < n; ++i)
        for (int c = 0; c < channels; ++c)
            v[i * std::size_t(channels) + std::size_t(c)] = a * std::sin(6.283185307179586 * 1000.0 * double(i) / rate);
    if (click > 0.0) v[std::size_t(5 * rate) * std::size_t(channels)] = click;
    return v;
}

// The number after `label` in a text report (NaN when the label is missing).
double numberAfter(const std::string& text, const std::string& label) {
    const std::size_t at = text.find(label);
    if (at == std::string::npos) return std::nan("");
    return std::stod(text.substr(at + label.size()));
}

nlohmann::json loudnessOf(const std::string& path) {
    const RunResult r = runTool({"--json", "--quiet", "loudness", path});
    EXPECT_EQ(r.status, 0) << r.err;
    return nlohmann::json::parse(r.out).at(0);
}

const char* kPrefs = "# editor preferences\n"
                     "AudioNormalisationLevelFor_CDImports=d:-14\n"
                     "AudioNormalisationLevelFor_MP3Imports=d:999\n"
                     "AudioNormalisationLevelFor_RecordingsWithVideo=d:-30\n"
                     "AudioNormalisationLevelFor_StereoWavImports=d:-20\n"
                     "AudioNormalisationUniformLevel=d:-26\n";

// A session of stereo files, each file's left channel panned left and its right
// channel right, with the files' Origin= lines and extra [Session] keys; `solo` names
// the one file (index) heard, or -1 for all.
std::string session(const std::vector<std::string>& files, const std::vector<std::string>& origins,
                    const std::string& extra, int solo, double length = 10.0) {
    std::string s = "[Session]\nSampleRate=48000\nLength=" + std::to_string(length) + "\n" + extra + "[Inputs]\n";
    for (const std::string& f : files) s += "File=" + f + "\n";
    for (std::size_t i = 0; i < origins.size(); ++i)
        if (!origins[i].empty()) s += "[File." + std::to_string(i) + "]\nOrigin=" + origins[i] + "\n";
    s += "[SimpleMixState.InputChannels.Pan]\n";
    for (std::size_t i = 0; i < files.size(); ++i) {
        char line[64];
        std::snprintf(line, sizeof line, "%03zu=0\n%03zu=1\n", 2 * i, 2 * i + 1);
        s += line;
    }
    if (solo >= 0) {
        char line[64];
        std::snprintf(line, sizeof line, "[SimpleMixState.InputChannels.Solo]\n%03d=1\n%03d=1\n", 2 * solo,
                      2 * solo + 1);
        s += line;
    }
    return s;
}

}  // namespace

TEST(ToolLoudness, MeasuresAStereoSineAtMinus23) {
    ScratchDir dir;
    writeDoubles(dir.file("s.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -23.0, 20.0));
    const nlohmann::json j = loudnessOf(dir.file("s.wav"));
    EXPECT_NEAR(j["integrated_lufs"].get<double>(), -23.0, 0.1);
    EXPECT_NEAR(j["max_momentary_lufs"].get<double>(), -23.0, 0.1);
    EXPECT_NEAR(j["max_short_term_lufs"].get<double>(), -23.0, 0.1);
    EXPECT_NEAR(j["loudness_range_lu"].get<double>(), 0.0, 0.1);
    EXPECT_NEAR(j["true_peak_dbtp"].get<double>(), -23.0, 0.1);
    EXPECT_NEAR(j["sample_peak_dbfs"].get<double>(), -23.0, 0.01);
    EXPECT_EQ(j["roles"], "L,R");
    ASSERT_EQ(j["channels"].size(), 2u);
    EXPECT_EQ(j["channels"][1]["role"], "R");
    EXPECT_NEAR(j["channels"][1]["true_peak_dbtp"].get<double>(), -23.0, 0.1);

    const RunResult text = runTool({"--quiet", "loudness", dir.file("s.wav")});
    EXPECT_EQ(text.status, 0);
    EXPECT_NEAR(numberAfter(text.out, "integrated loudness"), -23.0, 0.1) << text.out;
    EXPECT_NEAR(numberAfter(text.out, "true peak"), -23.0, 0.1) << text.out;
    EXPECT_NEAR(numberAfter(text.out, "loudness range"), 0.0, 0.1) << text.out;
}

TEST(ToolLoudness, EveryReadableFormatMeasuresTheSame) {
    ScratchDir dir;
    const std::vector<double> frames = sineFrames(2, -20.0, 5.0);
    const std::vector<std::pair<std::string, int>> formats = {
        {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},   {"b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24},
        {"c.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16}, {"d.w64", SF_FORMAT_W64 | SF_FORMAT_DOUBLE},
        {"e.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32},   {"f.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_S8},
        {"g.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8},   {"h.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT}};
    std::vector<std::string> args = {"--json", "--quiet", "loudness"};
    for (const auto& [name, format] : formats) {
        writeDoubles(dir.file(name), format, 2, 48000, frames);
        args.push_back(dir.file(name));
    }
    const RunResult r = runTool(args);
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    ASSERT_EQ(j.size(), formats.size());
    for (const nlohmann::json& f : j) {
        // 8-bit files carry quantisation noise 28 dB below this sine: a few hundredths of
        // loudness, but a peak within half a step (1/256) of 0.1, up to 0.35 dB off.
        const bool eightBit = f["file"].get<std::string>().find("f.aiff") != std::string::npos ||
                              f["file"].get<std::string>().find("g.wav") != std::string::npos;
        EXPECT_NEAR(f["integrated_lufs"].get<double>(), -20.0, 0.1) << f["file"];
        EXPECT_NEAR(f["true_peak_dbtp"].get<double>(), -20.0, eightBit ? 0.35 : 0.1) << f["file"];
    }
}

TEST(ToolLoudness, RolesComeFromTheChannelMaskOrTheChannelCount) {
    ScratchDir dir;
    writeDoubles(dir.file("mono.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 1, 48000, sineFrames(1, -20.0, 1.0));
    writeDoubles(dir.file("six.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 6, 48000, sineFrames(6, -20.0, 1.0));
    writeDoubles(dir.file("five.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 5, 48000, sineFrames(5, -20.0, 1.0));
    writeDoubles(dir.file("three.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 3, 48000, sineFrames(3, -20.0, 1.0));
    {
        // A WAVE_FORMAT_EXTENSIBLE file whose channel mask says centre and LFE.
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = 2;
        info.format = SF_FORMAT_WAVEX | SF_FORMAT_FLOAT;
        SNDFILE* f = sf_open(dir.file("masked.wav").c_str(), SFM_WRITE, &info);
        ASSERT_NE(f, nullptr);
        int map[2] = {SF_CHANNEL_MAP_CENTER, SF_CHANNEL_MAP_LFE};
        ASSERT_EQ(sf_command(f, SFC_SET_CHANNEL_MAP_INFO, map, sizeof map), SF_TRUE);
        const std::vector<double> frames = sineFrames(2, -20.0, 5.0);
        sf_writef_double(f, frames.data(), sf_count_t(frames.size() / 2));
        sf_close(f);
    }
    EXPECT_EQ(loudnessOf(dir.file("mono.wav"))["roles"], "C");
    EXPECT_EQ(loudnessOf(dir.file("six.wav"))["roles"], "L,R,C,LFE,Ls,Rs");
    EXPECT_EQ(loudnessOf(dir.file("five.wav"))["roles"], "L,R,C,Ls,Rs");
    EXPECT_EQ(loudnessOf(dir.file("three.wav"))["roles"], "other,other,other");
    const nlohmann::json masked = loudnessOf(dir.file("masked.wav"));
    EXPECT_EQ(masked["roles"], "C,LFE");
    // The LFE channel does not count: one channel of the sine, 3 dB below two.
    EXPECT_NEAR(masked["integrated_lufs"].get<double>(), -23.0, 0.1);
}

TEST(ToolLoudness, AMissingFileIsBadInput) {
    ScratchDir dir;
    const RunResult r = runTool({"loudness", dir.file("none.wav")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("none.wav"), std::string::npos) << r.err;
}

TEST(ToolLoudness, TheRenderReportGivesTheMixLoudness) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -23.0, 10.0));
    writeText(dir.file("s.ini"), session({"a.wav"}, {}, "", -1));
    const RunResult r = runTool({"--json", "--quiet", "render", dir.file("s.ini"), "-o", dir.file("m.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_NEAR(j["mix_loudness"]["integrated_lufs"].get<double>(), -23.0, 0.1);
    EXPECT_NEAR(j["mix_loudness"]["loudness_range_lu"].get<double>(), 0.0, 0.1);
    EXPECT_NEAR(j["mix_loudness"]["true_peak_dbtp"].get<double>(), -23.0, 0.1);
    EXPECT_FALSE(j.contains("normalisation"));
    const RunResult text = runTool({"--quiet", "render", dir.file("s.ini"), "-o", dir.file("m.wav")});
    EXPECT_NEAR(numberAfter(text.out, "mix integrated loudness"), -23.0, 0.1) << text.out;
    EXPECT_NEAR(numberAfter(text.out, "mix loudness range"), 0.0, 0.1) << text.out;
    EXPECT_NEAR(numberAfter(text.out, "mix true peak"), -23.0, 0.1) << text.out;
}

TEST(ToolLoudness, InputsOfThreeOriginsRenderToTheirTargets) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, sineFrames(2, -30.0, 10.0));
    writeDoubles(dir.file("b.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, sineFrames(2, -25.0, 10.0));
    writeDoubles(dir.file("c.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, sineFrames(2, -12.0, 10.0));
    writeText(dir.file("prefs.txt"), kPrefs);
    const std::vector<std::string> files = {"a.wav", "b.wav", "c.wav"};
    const std::vector<std::string> origins = {"StereoWavImports", "CDImports", "RecordingsWithVideo"};
    const double targets[] = {-20.0, -14.0, -30.0};
    for (int solo = 0; solo < 3; ++solo) {
        const std::string ini = dir.file("s" + std::to_string(solo) + ".ini");
        writeText(ini, session(files, origins, "Normalise=per-origin\n", solo));
        const std::string out = dir.file("m" + std::to_string(solo) + ".wav");
        const RunResult r = runTool({"--json", "--quiet", "render", ini, "--prefs", dir.file("prefs.txt"), "-o", out});
        ASSERT_EQ(r.status, 0) << r.err;
        const nlohmann::json plan = nlohmann::json::parse(r.out)["normalisation"];
        ASSERT_EQ(plan.size(), 3u);
        EXPECT_EQ(plan[std::size_t(solo)]["target_lufs"].get<double>(), targets[solo]);
        EXPECT_FALSE(plan[std::size_t(solo)]["ceiling_limited"].get<bool>());
        EXPECT_NEAR(loudnessOf(out)["integrated_lufs"].get<double>(), targets[solo], 0.1) << origins[std::size_t(solo)];
    }
}

TEST(ToolLoudness, UniformNormalisationUsesTheUniformLevel) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -35.0, 10.0));
    writeText(dir.file("prefs.txt"), kPrefs);
    writeText(dir.file("s.ini"), session({"a.wav"}, {}, "Normalise=uniform\n", -1));
    const RunResult r =
        runTool({"--quiet", "render", dir.file("s.ini"), "--prefs", dir.file("prefs.txt"), "-o", dir.file("m.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NEAR(loudnessOf(dir.file("m.wav"))["integrated_lufs"].get<double>(), -26.0, 0.1);
}

TEST(ToolLoudness, ALoudTransientIsHeldAtTheTruePeakCeiling) {
    ScratchDir dir;
    // A quiet sine (-40 LUFS) with one click at -3 dBFS: the -20 LUFS target would need
    // +20 dB; the ceiling of -2 dBTP allows about +1.
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000,
                 sineFrames(2, -40.0, 10.0, 48000, std::pow(10.0, -3.0 / 20.0)));
    writeText(dir.file("prefs.txt"), kPrefs);
    writeText(dir.file("s.ini"),
              session({"a.wav"}, {"StereoWavImports"}, "Normalise=per-origin\nTruePeakCeiling=-2\n", -1));
    const RunResult r = runTool(
        {"--json", "--quiet", "render", dir.file("s.ini"), "--prefs", dir.file("prefs.txt"), "-o", dir.file("m.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json line = nlohmann::json::parse(r.out)["normalisation"][0];
    EXPECT_TRUE(line["ceiling_limited"].get<bool>());
    const nlohmann::json m = loudnessOf(dir.file("m.wav"));
    EXPECT_NEAR(m["true_peak_dbtp"].get<double>(), -2.0, 0.1);
    EXPECT_LE(m["true_peak_dbtp"].get<double>(), -2.0 + 0.05);
    EXPECT_LT(m["integrated_lufs"].get<double>(), -30.0);
}

TEST(ToolLoudness, AnUnsetOriginAndAFileWithoutOriginAreUntouched) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -31.0, 10.0));
    writeDoubles(dir.file("b.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -17.0, 10.0));
    writeText(dir.file("prefs.txt"), kPrefs);
    const std::vector<std::string> files = {"a.wav", "b.wav"};
    for (int solo = 0; solo < 2; ++solo) {
        const std::string ini = dir.file("s" + std::to_string(solo) + ".ini");
        writeText(ini, session(files, {"MP3Imports", ""}, "Normalise=per-origin\n", solo));
        const std::string out = dir.file("m" + std::to_string(solo) + ".wav");
        const RunResult r = runTool({"--json", "--quiet", "render", ini, "--prefs", dir.file("prefs.txt"), "-o", out});
        ASSERT_EQ(r.status, 0) << r.err;
        const nlohmann::json plan = nlohmann::json::parse(r.out)["normalisation"];
        EXPECT_EQ(plan[0]["left_alone"], "no level set for MP3Imports");
        EXPECT_EQ(plan[1]["left_alone"], "no Origin= named");
        const double original = solo == 0 ? -31.0 : -17.0;
        EXPECT_NEAR(loudnessOf(out)["integrated_lufs"].get<double>(), original, 0.05);
    }
}

TEST(ToolLoudness, MixLoudnessGainsTheRenderedMixInTwoPasses) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -30.0, 10.0));
    writeDoubles(dir.file("b.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -36.0, 10.0));
    writeText(dir.file("s.ini"), session({"a.wav", "b.wav"}, {}, "MixLoudness=-23\n", -1));
    const RunResult r = runTool({"--json", "--quiet", "render", dir.file("s.ini"), "-o", dir.file("m.wav")});
    ASSERT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out);
    EXPECT_NEAR(j["mix_loudness"]["integrated_lufs"].get<double>(), -23.0, 0.1);
    EXPECT_FALSE(j["mix_normalisation"]["ceiling_limited"].get<bool>());
    EXPECT_NEAR(loudnessOf(dir.file("m.wav"))["integrated_lufs"].get<double>(), -23.0, 0.1);
}

TEST(ToolLoudness, AMalformedPreferencesFileIsAClearError) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -30.0, 1.0));
    writeText(dir.file("prefs.txt"), "# prefs\nAudioNormalisationUniformLevel=x:-12\n");
    writeText(dir.file("s.ini"), session({"a.wav"}, {}, "Normalise=uniform\n", -1, 1.0));
    const RunResult r =
        runTool({"render", dir.file("s.ini"), "--prefs", dir.file("prefs.txt"), "-o", dir.file("m.wav")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("prefs.txt"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("2"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("m.wav")));
    const RunResult missing = runTool({"render", dir.file("s.ini"), "--prefs", dir.file("none.txt")});
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("none.txt"), std::string::npos) << missing.err;
}

TEST(ToolLoudness, MalformedLoudnessSessionEntriesNameTheirLine) {
    const auto message = [](const std::string& text) {
        try {
            audtool::parseSession(text, "t.ini", "/base");
        } catch (const audtool::InputError& e) {
            return std::string(e.what());
        }
        return std::string("(no error)");
    };
    const std::string head = "[Session]\nSampleRate=48000\nLength=2\n";
    EXPECT_EQ(message(head + "Normalise=sometimes\n[Inputs]\nFile=a.wav\n"),
              "t.ini:4: Normalise 'sometimes' is not off, uniform or per-origin");
    EXPECT_EQ(message(head + "TruePeakCeiling=3\n[Inputs]\nFile=a.wav\n"),
              "t.ini:4: TruePeakCeiling '3' is not a dBTP level from -60 to 0");
    EXPECT_EQ(message(head + "MixLoudness=loud\n[Inputs]\nFile=a.wav\n"),
              "t.ini:4: MixLoudness 'loud' is not a LUFS level from -70 to 0");
    EXPECT_EQ(message(head + "[Inputs]\nFile=a.wav\n[File.0]\nOrigin=Tape\n").rfind("t.ini:7: Origin 'Tape' is not", 0),
              0u);
    EXPECT_EQ(message(head + "[Inputs]\nFile=a.wav\n[File.0]\nRoles=L,X\n"),
              "t.ini:7: 'X' is not a channel role (L, R, C, LFE, Ls, Rs, other)");
    EXPECT_EQ(message(head + "[Inputs]\nFile=a.wav\n[File.0]\nColour=red\n"),
              "t.ini:7: unknown key 'Colour' in a [File.N] section (FrameRate, Roles, Origin)");
    EXPECT_EQ(message(head + "[Inputs]\nFile=a.wav\n[File.1]\nOrigin=CDImports\n"),
              "t.ini:6: [File.1] names File= line 1 (from 0), but [Inputs] has 1 (0 to 0)");
    EXPECT_EQ(message(head + "[Inputs]\nFile=a.wav\n[File.0]\n[File.0]\n"), "t.ini:7: a second [File.0] section");

    const audtool::Session s = audtool::parseSession(
        head + "Normalise=Per-Origin\nTruePeakCeiling=-2\nMixLoudness=-24\n[Inputs]\nFile=a.wav\n[file.0]\n"
               "roles=C\norigin=mp3imports\n",
        "t.ini", "/base");
    EXPECT_EQ(s.loudness.normalise, audtool::Normalise::kPerOrigin);
    EXPECT_EQ(s.loudness.truePeakCeiling, -2.0);
    EXPECT_EQ(*s.loudness.mixLoudness, -24.0);
    EXPECT_EQ(s.fileSettings.at(0).origin, 5);
    ASSERT_EQ(s.fileSettings.at(0).roles.size(), 1u);
    EXPECT_EQ(s.fileSettings.at(0).roles[0], Aud::keRoleCentre);
}

TEST(ToolLoudness, RolesThatDoNotMatchTheFileAreBadInput) {
    ScratchDir dir;
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 48000, sineFrames(2, -30.0, 1.0));
    writeText(dir.file("s.ini"), "[Session]\nSampleRate=48000\nLength=1\nNormalise=uniform\n[Inputs]\nFile=a.wav\n"
                                 "[File.0]\nRoles=L,R,C\n");
    const RunResult r = runTool({"render", dir.file("s.ini"), "-o", dir.file("m.wav")});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("s.ini:8: Roles= names 3 channels"), std::string::npos) << r.err;
}
