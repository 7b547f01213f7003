#include "platform/IniFile.h"

#include "platform/AtomicFile.h"

#include <sstream>

namespace Qm {
AttribValuePair::AttribValuePair(const LightweightString<char>& line, char separator) {
    const std::string s = line.toStd();
    const auto pos = s.find(separator);
    if (pos == std::string::npos) return;
    attrib_ = LightweightString<char>(s.substr(0, pos));
    value_ = LightweightString<char>(s.substr(pos + 1));
    valid_ = true;
}
}  // namespace Qm

QmIniFile::Section& QmIniFile::section(const LightweightString<char>& name) {
    for (auto& s : sections_)
        if (s.first == name) return s.second;
    sections_.emplace_back(name, Section{});
    return sections_.back().second;
}

const QmIniFile::Section& QmIniFile::section(const LightweightString<char>& name) const {
    static const Section empty;
    for (const auto& s : sections_)
        if (s.first == name) return s.second;
    return empty;
}

bool QmIniFile::hasSection(const LightweightString<char>& name) const {
    for (const auto& s : sections_)
        if (s.first == name) return true;
    return false;
}

std::vector<LightweightString<char>> QmIniFile::sectionNames() const {
    std::vector<LightweightString<char>> names;
    for (const auto& s : sections_) names.push_back(s.first);
    return names;
}

std::string QmIniFile::toText() const {
    std::string out;
    bool first = true;
    for (const auto& s : sections_) {
        if (!first) out += '\n';
        first = false;
        out += '[';
        out += s.first.c_str();
        out += "]\n";
        for (const auto& p : s.second) {
            if (!p.valid()) continue;
            out += p.attrib().c_str();
            out += '=';
            out += p.value().c_str();
            out += '\n';
        }
    }
    return out;
}

int QmIniFile::fromText(const std::string& text) {
    sections_.clear();
    std::istringstream in(text);
    std::string line;
    Section* current = nullptr;
    int skipped = 0;
    while (std::getline(in, line)) {
        while (!line.empty() && line.back() == '\r') line.pop_back();
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string::npos) continue;
        if (line[first] == ';' || line[first] == '#') continue;
        // A NUL byte makes a line unreadable (names and values are C strings); a
        // section header with one also drops the entries under it.
        if (line.find('\0') != std::string::npos) {
            ++skipped;
            if (line[first] == '[') current = nullptr;
            continue;
        }
        if (line[first] == '[') {
            const auto close = line.find(']', first);
            if (close == std::string::npos) {
                ++skipped;
                current = nullptr;
                continue;
            }
            current = &section(LightweightString<char>(line.substr(first + 1, close - first - 1)));
            continue;
        }
        Qm::AttribValuePair pair(LightweightString<char>(line), '=');
        if (!current || !pair.valid()) {
            ++skipped;
            continue;
        }
        current->push_back(pair);
    }
    return skipped;
}

bool QmIniFile::load(const std::string& path, std::string* error) {
    std::string bytes;
    if (!platform::readWholeFile(path, bytes, error)) return false;
    fromText(bytes);
    return true;
}

bool QmIniFile::save(const std::string& path, std::string* error) const {
    return platform::writeFileAtomically(path, toText(), error);
}
