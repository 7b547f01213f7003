#include "platform/EditorPreferences.h"

#include "platform/AtomicFile.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <type_traits>

namespace {
// Keys are written with '\\', '\n', '=' and '#' escaped so any key survives a round trip
// (and no entry line can look like a comment).
std::string escapeKey(const std::string& k) {
    std::string out;
    for (char c : k) {
        if (c == '\\') out += "\\\\";
        else if (c == '\n') out += "\\n";
        else if (c == '=') out += "\\e";
        else if (c == '#') out += "\\h";
        else out += c;
    }
    return out;
}

bool unescapeKey(const std::string& k, std::string& out) {
    out.clear();
    for (std::size_t i = 0; i < k.size(); ++i) {
        if (k[i] != '\\') {
            out += k[i];
            continue;
        }
        if (++i >= k.size()) return false;
        if (k[i] == '\\') out += '\\';
        else if (k[i] == 'n') out += '\n';
        else if (k[i] == 'e') out += '=';
        else if (k[i] == 'h') out += '#';
        else return false;
    }
    return true;
}
}  // namespace

namespace {
template <class T, class S>
T convert(S v, T defaultValue) {
    if constexpr (std::is_same_v<S, double> && !std::is_same_v<T, double>) {
        if (std::isnan(v)) return defaultValue;
        if constexpr (std::is_same_v<T, int>) {
            if (v <= double(INT_MIN)) return INT_MIN;
            if (v >= double(INT_MAX)) return INT_MAX;
        }
    }
    if constexpr (std::is_same_v<T, bool>) return v != S(0);
    else return static_cast<T>(v);
}
}  // namespace

template <class T>
T EditorPreferences::get(const LightweightString<char>& key, T defaultValue) const {
    std::lock_guard<std::mutex> g(m_);
    auto it = values_.find(key.toStd());
    if (it == values_.end()) return defaultValue;
    return std::visit([defaultValue](auto v) { return convert<T>(v, defaultValue); }, it->second);
}

void EditorPreferences::set(const LightweightString<char>& key, Value v) {
    std::lock_guard<std::mutex> g(m_);
    values_[key.toStd()] = v;
}

int EditorPreferences::getPreference(const LightweightString<char>& key, int d) const { return get<int>(key, d); }
double EditorPreferences::getPreference(const LightweightString<char>& key, double d) const {
    return get<double>(key, d);
}
bool EditorPreferences::getPreference(const LightweightString<char>& key, bool d) const { return get<bool>(key, d); }
void EditorPreferences::setPreference(const LightweightString<char>& key, int v) { set(key, v); }
void EditorPreferences::setPreference(const LightweightString<char>& key, double v) { set(key, v); }
void EditorPreferences::setPreference(const LightweightString<char>& key, bool v) { set(key, v); }

bool EditorPreferences::contains(const LightweightString<char>& key) const {
    std::lock_guard<std::mutex> g(m_);
    return values_.count(key.toStd()) != 0;
}

void EditorPreferences::remove(const LightweightString<char>& key) {
    std::lock_guard<std::mutex> g(m_);
    values_.erase(key.toStd());
}

void EditorPreferences::clear() {
    std::lock_guard<std::mutex> g(m_);
    values_.clear();
}

// One line per value: "<escaped key>=<type letter>:<value>", i int, d double
// (17 significant digits, exact round trip), b bool (0 or 1).
std::string EditorPreferences::toText() const {
    std::lock_guard<std::mutex> g(m_);
    std::string out = "# AudAtoms editor preferences\n";
    for (const auto& [k, v] : values_) {
        char buf[64];
        if (std::holds_alternative<int>(v)) std::snprintf(buf, sizeof buf, "i:%d", std::get<int>(v));
        else if (std::holds_alternative<double>(v)) std::snprintf(buf, sizeof buf, "d:%.17g", std::get<double>(v));
        else std::snprintf(buf, sizeof buf, "b:%d", std::get<bool>(v) ? 1 : 0);
        out += escapeKey(k) + "=" + buf + "\n";
    }
    return out;
}

bool EditorPreferences::fromText(const std::string& text, std::string* error) {
    std::map<std::string, Value> parsed;
    std::istringstream in(text);
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        const auto eq = line.rfind('=');
        std::string key;
        if (eq == std::string::npos || eq + 2 >= line.size() || line[eq + 2] != ':' ||
            !unescapeKey(line.substr(0, eq), key)) {
            if (error) *error = "line " + std::to_string(lineNo) + ": unreadable preference entry";
            return false;
        }
        const char type = line[eq + 1];
        const std::string v = line.substr(eq + 3);
        char* end = nullptr;
        if (type == 'i') {
            errno = 0;
            const long long n = std::strtoll(v.c_str(), &end, 10);
            if (v.empty() || *end || errno == ERANGE || n < INT_MIN || n > INT_MAX) {
                if (error) *error = "line " + std::to_string(lineNo) + ": bad integer";
                return false;
            }
            parsed[key] = int(n);
        } else if (type == 'd') {
            const double d = std::strtod(v.c_str(), &end);
            if (v.empty() || *end) {
                if (error) *error = "line " + std::to_string(lineNo) + ": bad number";
                return false;
            }
            parsed[key] = d;
        } else if (type == 'b' && (v == "0" || v == "1")) {
            parsed[key] = v == "1";
        } else {
            if (error) *error = "line " + std::to_string(lineNo) + ": unknown value type";
            return false;
        }
    }
    std::lock_guard<std::mutex> g(m_);
    values_ = std::move(parsed);
    return true;
}

bool EditorPreferences::load(const std::string& path, std::string* error) {
    std::string bytes;
    if (!platform::readWholeFile(path, bytes, error)) return false;
    std::string why;
    if (fromText(bytes, &why)) return true;
    if (error) *error = path + ": " + why;
    return false;
}

bool EditorPreferences::save(const std::string& path, std::string* error) const {
    return platform::writeFileAtomically(path, toText(), error);
}

EditorPreferences& prefs() {
    static EditorPreferences* p = new EditorPreferences;  // lives until exit
    return *p;
}
