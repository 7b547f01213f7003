#include "platform/Resources.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace {
const std::map<int, const wchar_t*>& builtIn() {
    static const std::map<int, const wchar_t*> table = {
        {10055, L"None"},
        // Track grouping conditions 3 (the default), 2 and 1, loosest to strictest.
        {10204, L"Always"},
        {10205, L"When timecodes match"},
        {10206, L"When names and timecodes match"},
        {10342, L"Project rate"},
        {11643, L"Embedded (SDI)"},
        {11644, L"ADAT"},
        {11645, L"AES/EBU"},
        {11646, L"Analogue"},
        {11647, L"S/PDIF"},
    };
    return table;
}

std::mutex& tableMutex() {
    static std::mutex m;
    return m;
}
bool loaded = false;
std::map<int, std::wstring>& translated() {
    static std::map<int, std::wstring> t;
    return t;
}

void loadTranslations() {
    loaded = true;
    translated().clear();
    const char* path = std::getenv("AUDATOMS_RESOURCES");
    if (!path || !*path) return;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    bool firstLine = true;
    while (std::getline(in, line)) {
        if (firstLine && line.compare(0, 3, "\xEF\xBB\xBF") == 0) line.erase(0, 3);
        firstLine = false;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#') continue;
        const auto eq = line.find('=');
        if (eq == std::string::npos) continue;
        const std::string num = line.substr(first, eq - first);
        char* end = nullptr;
        errno = 0;
        const long id = std::strtol(num.c_str(), &end, 10);
        if (end == num.c_str() || errno == ERANGE || id < INT_MIN || id > INT_MAX ||
            num.find_first_not_of(" \t", std::size_t(end - num.c_str())) != std::string::npos)
            continue;
        std::string text = line.substr(eq + 1);
        if (!text.empty() && text.front() == ' ') text.erase(0, 1);
        if (text.empty()) continue;
        translated()[int(id)] = fromUTF8(LightweightString<char>(text)).toStd();
    }
}
}  // namespace

LightweightString<wchar_t> resourceStrW(int id) {
    std::lock_guard<std::mutex> g(tableMutex());
    if (!loaded) loadTranslations();
    if (auto it = translated().find(id); it != translated().end()) return LightweightString<wchar_t>(it->second);
    if (auto it = builtIn().find(id); it != builtIn().end()) return LightweightString<wchar_t>(it->second);
    return LightweightString<wchar_t>(L"");
}

LightweightString<wchar_t> paddedResourceStrW(int id, const LightweightString<wchar_t>& prefix,
                                              const LightweightString<wchar_t>& suffix, int format) {
    LightweightString<wchar_t> text = resourceStrW(id);
    if (format == 1) text = LightweightString<wchar_t>(L" ") + text + L" ";
    return LightweightString<wchar_t>(L"") + prefix + text + suffix;
}

namespace platform {
void reloadResources() {
    std::lock_guard<std::mutex> g(tableMutex());
    loaded = false;
}
}  // namespace platform
