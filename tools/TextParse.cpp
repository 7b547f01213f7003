#include "tools/TextParse.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>

namespace audtool {

std::string trim(const std::string& s) {
    std::size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

std::string lower(std::string s) {
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::optional<double> parseNumber(const std::string& text) {
    std::string t = trim(text);
    if (!t.empty() && t[0] == '+') t.erase(0, 1);
    if (t.empty()) return std::nullopt;
    double v = 0;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    if (r.ec != std::errc() || r.ptr != t.data() + t.size() || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::optional<long long> parseInteger(const std::string& text) {
    const std::string t = trim(text);
    if (t.empty()) return std::nullopt;
    long long v = 0;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), v);
    if (r.ec != std::errc() || r.ptr != t.data() + t.size() || v < 0) return std::nullopt;
    return v;
}

std::optional<double> parseDecibels(const std::string& text) {
    std::string t = lower(trim(text));
    if (t.size() >= 2 && t.compare(t.size() - 2, 2, "db") == 0) t = trim(t.substr(0, t.size() - 2));
    if (t == "-inf") return -std::numeric_limits<double>::infinity();
    return parseNumber(t);
}

std::optional<double> parseFrequency(const std::string& text) {
    std::string t = lower(trim(text));
    double scale = 1;
    if (t.size() >= 2 && t.compare(t.size() - 2, 2, "hz") == 0) t = trim(t.substr(0, t.size() - 2));
    if (t.size() >= 1 && t.back() == 'k') {
        scale = 1000;
        t.pop_back();
    }
    const auto v = parseNumber(t);
    if (!v) return std::nullopt;
    return *v * scale;
}

}  // namespace audtool
