#include "tools/ScriptedEdits.h"

#include "tools/Player.h"
#include "tools/TextParse.h"
#include "tools/ToolError.h"

#include <cmath>
#include <fstream>
#include <sstream>

namespace audtool {

namespace {

struct Parser {
    std::string name;
    int line = 0;

    [[noreturn]] void fail(const std::string& what) const {
        throw InputError(name + ":" + std::to_string(line) + ": " + what);
    }
    double number(const std::string& s, const char* what) const {
        const auto v = parseNumber(s);
        if (!v) fail(std::string(what) + " '" + s + "' is not a number");
        return *v;
    }
    double seconds(const std::string& s, const char* what) const {
        const double v = number(s, what);
        if (v < 0) fail(std::string(what) + " '" + s + "' is negative");
        return v;
    }
    double level(const std::string& s) const {
        if (lower(s).find("db") != std::string::npos) {
            const auto v = parseDecibels(s);
            if (!v) fail("level '" + s + "' is not a number of decibels");
            return std::isinf(*v) ? 0.0 : std::pow(10.0, *v / 20.0);
        }
        const double v = number(s, "level");
        if (v < 0) fail("level '" + s + "' is negative");
        return v;
    }
    bool onOff(const std::string& s) const {
        if (lower(s) == "on") return true;
        if (lower(s) == "off") return false;
        fail("'" + s + "' is neither on nor off");
    }
};

}  // namespace

const char* editKindName(ScriptedEdit::Kind kind) {
    switch (kind) {
    case ScriptedEdit::Kind::kFader: return "fader";
    case ScriptedEdit::Kind::kPan: return "pan";
    case ScriptedEdit::Kind::kMute: return "mute";
    case ScriptedEdit::Kind::kSolo: return "solo";
    case ScriptedEdit::Kind::kNode: return "node";
    case ScriptedEdit::Kind::kErase: return "erase";
    case ScriptedEdit::Kind::kMove: return "move";
    }
    return "?";
}

std::vector<ScriptedEdit> parseEdits(const std::string& text, const std::string& name) {
    std::vector<ScriptedEdit> edits;
    Parser p{name, 0};
    std::istringstream in(text);
    std::string raw;
    while (std::getline(in, raw)) {
        ++p.line;
        const std::string s = trim(raw.substr(0, raw.find('#')));
        if (s.empty()) continue;
        std::istringstream words(s);
        std::vector<std::string> w;
        for (std::string x; words >> x;) w.push_back(x);
        if (w.size() < 3) p.fail("an edit is TIME EDIT INPUT ...");
        ScriptedEdit e;
        e.line = p.line;
        e.text = s;
        e.time = p.seconds(w[0], "time");
        const auto input = parseInteger(w[2]);
        if (!input || *input > 1000) p.fail("input '" + w[2] + "' is not an input number");
        e.input = unsigned(*input);
        const std::string kind = lower(w[1]);
        auto need = [&](std::size_t n, const char* usage) {
            if (w.size() != n) p.fail(std::string("usage: ") + usage);
        };
        if (kind == "fader") {
            need(4, "TIME fader INPUT POSITION");
            e.kind = ScriptedEdit::Kind::kFader;
            e.value = p.number(w[3], "fader position");
            if (e.value < 0 || e.value > 1.5) p.fail("fader position '" + w[3] + "' is outside 0 .. 1.5");
        } else if (kind == "pan") {
            need(4, "TIME pan INPUT PAN");
            e.kind = ScriptedEdit::Kind::kPan;
            e.value = p.number(w[3], "pan");
            if (e.value < 0 || e.value > 1) p.fail("pan '" + w[3] + "' is outside 0 .. 1");
        } else if (kind == "mute" || kind == "solo") {
            need(4, kind == "mute" ? "TIME mute INPUT on|off" : "TIME solo INPUT on|off");
            e.kind = kind == "mute" ? ScriptedEdit::Kind::kMute : ScriptedEdit::Kind::kSolo;
            e.value = p.onOff(w[3]) ? 1 : 0;
        } else if (kind == "node") {
            need(5, "TIME node INPUT AT|now LEVEL");
            e.kind = ScriptedEdit::Kind::kNode;
            e.atNow = lower(w[3]) == "now";
            if (!e.atNow) e.at = p.seconds(w[3], "node time");
            e.value = p.level(w[4]);
        } else if (kind == "erase") {
            need(4, "TIME erase INPUT AT");
            e.kind = ScriptedEdit::Kind::kErase;
            e.at = p.seconds(w[3], "node time");
        } else if (kind == "move") {
            need(5, "TIME move INPUT FROM TO");
            e.kind = ScriptedEdit::Kind::kMove;
            e.at = p.seconds(w[3], "node time");
            e.to = p.seconds(w[4], "new node time");
        } else {
            p.fail("unknown edit '" + w[1] + "' (fader, pan, mute, solo, node, erase, move)");
        }
        edits.push_back(e);
    }
    return edits;
}

std::vector<ScriptedEdit> loadEdits(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw InputError(path.string() + ": cannot read the edits file");
    std::ostringstream s;
    s << in.rdbuf();
    return parseEdits(s.str(), path.string());
}

std::int64_t applyEdit(const ScriptedEdit& e, Player& player) {
    if (e.input >= player.numInputs())
        throw InputError("edit '" + e.text + "': the session has inputs 0 to " +
                         std::to_string(player.numInputs() - 1));
    const int in = int(e.input);
    Aud::SimpleMixState& mixer = player.mixer();
    using Node = Aud::DynamicLevelControl::Store::Node;
    constexpr double kSameTime = 1e-6;  // seconds: nodes this close count as the one named
    switch (e.kind) {
    case ScriptedEdit::Kind::kFader: mixer.setInputLevel(in, float(e.value)); break;
    case ScriptedEdit::Kind::kPan: mixer.setInputPan(in, float(e.value)); break;
    case ScriptedEdit::Kind::kMute: mixer.setInputMuteState(in, e.value != 0); break;
    case ScriptedEdit::Kind::kSolo: mixer.setInputSoloState(in, e.value != 0); break;
    case ScriptedEdit::Kind::kNode:
        player.store(e.input).insert(Node(e.atNow ? player.positionSeconds() : e.at, float(e.value)));
        break;
    case ScriptedEdit::Kind::kErase: player.store(e.input).erase(e.at - kSameTime, e.at + kSameTime); break;
    case ScriptedEdit::Kind::kMove: {
        auto it = player.store(e.input).find(e.at - kSameTime);
        if (it.isValid() && !it.isEnd() && std::fabs(it.getTime() - e.at) <= kSameTime) it.setTime(e.to);
        break;
    }
    }
    return player.positionFrames();
}

}  // namespace audtool
