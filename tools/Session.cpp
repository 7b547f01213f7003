#include "tools/Session.h"

#include "tools/FileCheck.h"
#include "tools/MixerTextCheck.h"
#include "tools/Rates.h"
#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "platform/AtomicFile.h"
#include "platform/HostTypes.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

namespace audtool {

const std::vector<std::string>& mixerSectionNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all{Aud::SimpleMixState::kConfigMainSection};
        for (const char* name : Aud::SimpleMixState::kConfigChannelSections) all.emplace_back(name);
        return all;
    }();
    return names;
}

namespace {

enum class Kind { kNone, kSession, kInputs, kAutomation, kEq, kMixer, kFile };

struct Parser {
    Session s;
    std::filesystem::path baseDir;
    Kind kind = Kind::kNone;
    unsigned input = 0;  // for Automation.N / EQ.N
    unsigned file = 0;   // for File.N
    std::set<std::string> fileKeys;
    std::string mixerSection;
    std::set<std::string> sessionKeys;
    std::set<std::string> seenSections;
    std::map<unsigned, std::set<double>> nodeTimes;
    struct MixerEntry {
        std::string section, key, value;
        int line;
    };
    std::vector<MixerEntry> mixerEntries;  // checked when the whole file is read

    // Every mixer entry against the mixer the renderer builds for this session.
    void checkMixerEntries() const {
        const MixerDimensions dims{static_cast<int>(EditChanMaxAudio), kSessionMixSlots,
                                   static_cast<int>(s.outputs) + 2};
        for (const MixerEntry& e : mixerEntries) {
            try {
                checkMixerEntry(e.section, e.key, e.value, dims);
            } catch (const InputError& err) {
                fail(e.line, err.what());
            }
        }
    }

    [[noreturn]] void fail(int line, const std::string& what) const {
        throw InputError(s.name + ":" + std::to_string(line) + ": " + what);
    }

    static std::string stripComment(const std::string& raw) {
        const std::string t = trim(raw);
        if (t.empty() || t[0] == ';' || t[0] == '#') return "";
        for (std::size_t i = 1; i < t.size(); ++i)
            if ((t[i] == ';' || t[i] == '#') && std::isspace(static_cast<unsigned char>(t[i - 1])))
                return trim(t.substr(0, i));
        return t;
    }

    unsigned inputNumber(int line, const std::string& section, const std::string& digits) const {
        const auto n = parseInteger(digits);
        if (!n)
            fail(line, "section [" + section + "] needs an input number, as in [" +
                           section.substr(0, section.find('.')) + ".0]");
        if (*n >= EditChanMaxAudio)
            fail(line, "input " + std::to_string(*n) + " of [" + section + "] is beyond the mixer's " +
                           std::to_string(EditChanMaxAudio) + " inputs (0 to " + std::to_string(EditChanMaxAudio - 1) +
                           ")");
        return static_cast<unsigned>(*n);
    }

    void section(int line, const std::string& name) {
        const std::string low = lower(name);
        if (low == "session") {
            kind = Kind::kSession;
            s.sessionLine = line;
        } else if (low == "inputs") {
            kind = Kind::kInputs;
        } else if (low.rfind("automation.", 0) == 0) {
            kind = Kind::kAutomation;
            input = inputNumber(line, name, name.substr(11));
            if (s.inputs[input].automationLine) fail(line, "a second [" + name + "] section");
            s.inputs[input].automationLine = line;
        } else if (low.rfind("eq.", 0) == 0) {
            kind = Kind::kEq;
            input = inputNumber(line, name, name.substr(3));
            if (s.inputs[input].eqLine) fail(line, "a second [" + name + "] section");
            s.inputs[input].eqLine = line;
        } else if (low.rfind("file.", 0) == 0) {
            kind = Kind::kFile;
            const auto n = parseInteger(name.substr(5));
            if (!n) fail(line, "section [" + name + "] needs the number of a File= line (from 0), as in [File.0]");
            file = static_cast<unsigned>(*n);
            if (s.fileSettings.count(file)) fail(line, "a second [" + name + "] section");
            s.fileSettings[file].line = line;
            fileKeys.clear();
        } else if (low.rfind("simplemixstate", 0) == 0) {
            bool known = false;
            for (const std::string& m : mixerSectionNames()) known = known || m == name;
            if (!known) {
                std::string list;
                for (const std::string& m : mixerSectionNames()) list += "\n  [" + m + "]";
                fail(line, "unknown mixer section [" + name + "]; the mixer state's sections are:" + list);
            }
            kind = Kind::kMixer;
            mixerSection = name;
            s.mixer.section(LightweightString<char>(name.c_str()));
            s.hasMixer = true;
        } else {
            fail(line, "unknown section [" + name +
                           "] (expected [Session], [Inputs], [File.N], [Automation.N], [EQ.N] or a [SimpleMixState...] "
                           "section)");
        }
        const std::string key = kind == Kind::kMixer ? name : low;
        if ((kind == Kind::kSession || kind == Kind::kInputs || kind == Kind::kMixer) &&
            !seenSections.insert(key).second)
            fail(line, "a second [" + name + "] section");
    }

    void sessionEntry(int line, const std::string& key, const std::string& value) {
        const std::string k = lower(key);
        if (!sessionKeys.insert(k).second) fail(line, "'" + key + "' is given twice in [Session]");
        try {
            if (k == "samplerate") {
                const auto hz = parseInteger(value);
                if (!hz || *hz == 0 || !libraryRateForHertz(double(*hz)) ||
                    libraryRateForHertz(double(*hz))->factor() != Aud::keFactorNone)
                    fail(line, "SampleRate '" + value +
                                   "' is not one of the library's rates (11025, 16000, 22050, 24000, 32000, 44100, "
                                   "48000, 96000)");
                s.rate = static_cast<unsigned>(*hz);
            } else if (k == "length") {
                const auto v = parseNumber(value);
                if (!v || *v <= 0 || *v > kMaxSessionSeconds)
                    fail(line, "Length '" + value + "' is not a number of seconds above 0 and at most " +
                                   std::to_string(static_cast<int>(kMaxSessionSeconds)) + " (24 hours)");
                s.lengthSeconds = *v;
            } else if (k == "framerate") {
                s.frameRate = parseFrameRate(value);
            } else if (k == "outputs") {
                const auto n = parseInteger(value);
                if (!n || *n < 2 || *n > 16) fail(line, "Outputs '" + value + "' is not a number from 2 to 16");
                s.outputs = static_cast<unsigned>(*n);
            } else if (k == "resampling") {
                s.resampling = parseResampling(line, value);
            } else if (!parseLoudnessSessionKey(s.loudness, k, value)) {
                fail(line, "unknown key '" + key +
                               "' in [Session] (SampleRate, Length, FrameRate, Outputs, Resampling, Normalise, "
                               "TruePeakCeiling, MixLoudness)");
            }
        } catch (const InputError& e) {
            const std::string what = e.what();
            if (what.rfind(s.name + ":", 0) == 0) throw;
            fail(line, what);
        }
    }

    Aud::Resampler::eQuality parseResampling(int line, const std::string& value) const {
        Aud::Resampler::eQuality q = Aud::Resampler::keQualityBest;
        if (!Aud::resamplerQualityFromName(lower(value).c_str(), q))
            fail(line, "Resampling '" + value + "' is not quick, high or best");
        return q;
    }

    void fileFrameRateEntry(int line, const std::string& value) {
        try {
            s.fileSettings[file].frameRate = parseFrameRate(value);
        } catch (const InputError& e) {
            fail(line, e.what());
        }
    }

    void fileEntry(int line, const std::string& key, const std::string& value) {
        const std::string k = lower(key);
        if (!fileKeys.insert(k).second)
            fail(line, "'" + key + "' is given twice in [File." + std::to_string(file) + "]");
        if (k == "framerate") {
            fileFrameRateEntry(line, value);
            return;
        }
        try {
            if (!parseFileKey(s.fileSettings[file], k, value, line))
                fail(line, "unknown key '" + key + "' in a [File.N] section (FrameRate, Roles, Origin)");
        } catch (const InputError& e) {
            const std::string what = e.what();
            if (what.rfind(s.name + ":", 0) == 0) throw;
            fail(line, what);
        }
    }

    void inputsEntry(int line, const std::string& key, const std::string& value) {
        if (lower(key) != "file") fail(line, "unknown key '" + key + "' in [Inputs] (File=PATH)");
        if (value.empty()) fail(line, "File= needs a path");
        // Relative paths are relative to the session's folder; an absolute one stands.
        s.files.push_back({baseDir / value, line});
    }

    void automationEntry(int line, const std::string& key, const std::string& value) {
        const auto t = parseNumber(key);
        if (!t || *t < 0) fail(line, "automation time '" + key + "' is not a number of seconds (0 or more)");
        const auto db = lower(value).find("db") != std::string::npos;
        double level = 0;
        if (db) {
            const auto v = parseDecibels(value);
            if (!v) fail(line, "automation level '" + value + "' is not a number of decibels");
            level = std::isinf(*v) ? 0.0 : std::pow(10.0, *v / 20.0);
        } else {
            const auto v = parseNumber(value);
            if (!v || *v < 0)
                fail(line, "automation level '" + value + "' is not a linear gain (0 or more) or decibels");
            level = *v;
        }
        if (level > 1000) fail(line, "automation level '" + value + "' is above +60 dB");
        for (double other : nodeTimes[input])
            if (std::fabs(other - *t) < 1e-6) fail(line, "a second automation node at time " + key);
        nodeTimes[input].insert(*t);
        s.inputs[input].automation.push_back({*t, static_cast<float>(level), line});
    }

    void eqEntry(int line, const std::string& key, const std::string& value) {
        if (lower(key) != "band") fail(line, "unknown key '" + key + "' in an [EQ.N] section (Band=TYPE:FREQ...)");
        auto& bands = s.inputs[input].eq;
        if (bands.size() >= Equaliser::kMaxBands)
            fail(line,
                 "more than " + std::to_string(Equaliser::kMaxBands) + " bands for input " + std::to_string(input));
        try {
            bands.push_back(parseEqBand(value));
            bands.back().line = line;
        } catch (const InputError& e) {
            fail(line, e.what());
        }
    }

    void entry(int line, const std::string& text) {
        const auto eq = text.find('=');
        if (eq == std::string::npos) fail(line, "expected KEY=VALUE, got '" + text + "'");
        const std::string key = trim(text.substr(0, eq));
        const std::string value = trim(text.substr(eq + 1));
        if (key.empty()) fail(line, "an entry without a key: '" + text + "'");
        switch (kind) {
        case Kind::kNone: fail(line, "an entry before the first [section]: '" + text + "'");
        case Kind::kSession: sessionEntry(line, key, value); break;
        case Kind::kInputs: inputsEntry(line, key, value); break;
        case Kind::kAutomation: automationEntry(line, key, value); break;
        case Kind::kEq: eqEntry(line, key, value); break;
        case Kind::kFile: fileEntry(line, key, value); break;
        case Kind::kMixer:
            mixerEntries.push_back({mixerSection, key, value, line});
            s.mixer.section(LightweightString<char>(mixerSection.c_str()))
                .emplace_back(LightweightString<char>(key.c_str()), LightweightString<char>(value.c_str()));
            break;
        }
    }
};

}  // namespace

Session parseSession(const std::string& text, const std::string& name, const std::filesystem::path& baseDir) {
    Parser p;
    p.s.name = name;
    p.baseDir = baseDir;
    std::istringstream in(text);
    std::string raw;
    int line = 0;
    while (std::getline(in, raw)) {
        ++line;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        const std::string t = Parser::stripComment(raw);
        if (t.empty()) continue;
        if (t[0] == '[') {
            if (t.back() != ']') p.fail(line, "a section header without its closing ']': '" + t + "'");
            const std::string sec = trim(t.substr(1, t.size() - 2));
            if (sec.empty()) p.fail(line, "an empty section name");
            p.section(line, sec);
        } else {
            p.entry(line, t);
        }
    }
    Session& s = p.s;
    if (!s.sessionLine) throw InputError(name + ": no [Session] section (SampleRate=, Length=)");
    if (!s.rate) throw InputError(name + ":" + std::to_string(s.sessionLine) + ": [Session] has no SampleRate=");
    if (s.lengthSeconds <= 0)
        throw InputError(name + ":" + std::to_string(s.sessionLine) + ": [Session] has no Length=");
    if (s.files.empty()) throw InputError(name + ": no input files (an [Inputs] section with File= lines)");
    p.checkMixerEntries();
    for (const auto& [index, settings] : s.fileSettings)
        if (index >= s.files.size())
            throw InputError(name + ":" + std::to_string(settings.line) + ": [File." + std::to_string(index) +
                             "] names File= line " + std::to_string(index) + " (from 0), but [Inputs] has " +
                             std::to_string(s.files.size()) + " (0 to " + std::to_string(s.files.size() - 1) + ")");
    for (auto& [input, setup] : s.inputs)
        std::stable_sort(setup.automation.begin(), setup.automation.end(),
                         [](const AutomationPoint& a, const AutomationPoint& b) { return a.time < b.time; });
    return s;
}

Session loadSession(const std::filesystem::path& path) {
    requireReadableFile(path, "a session file");
    std::string text, error;
    if (!platform::readWholeFile(path.string(), text, &error))
        throw InputError(path.string() + ": cannot read the session file: " + error);
    return parseSession(text, path.string(), path.parent_path());
}

}  // namespace audtool
