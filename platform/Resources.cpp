#include "platform/Resources.h"

#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace {
const std::map<int, const wchar_t*>& builtIn() {
    static const std::map<int, const wchar_t*> table = {
        {10055, L"None"},
        {10204, L"Always"},
        {10205, L"When timecodes match"},
        {10206, L"Never"},
        {10342, L"Project rate"},
        {11643, L"Embedded (SDI)"},
        {11644, L"ADAT"},
        {11645, L"AES/EBU"},
        {11646, L"Analogue"},
        {11647, L"S/PDIF"},
    };
    return table;
}

std::mutex& tableMutex() { static std::mutex m; return m; }
bool loaded = false;
std::map<int, std::wstring>& translated() { static std::map<int, std::wstring> t; return t; }

void loadTranslations() {
    loaded = true;
    translated().clear();
    const char* path = std::getenv("AUDATOMS_RESOURCES");
    if (!path || !*path) return;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const auto first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#') continue;
        const auto eq = line.find('=');
        if (eq == std::string::npos) continue;
        char* end = nullptr;
        const std::string num = line.substr(first, eq - first);
        const long id = std::strtol(num.c_str(), &end, 10);
        if (end == num.c_str()) continue;
        std::string text = line.substr(eq + 1);
        if (!text.empty() && text.front() == ' ') text.erase(0, 1);
        translated()[int(id)] = fromUTF8(LightweightString<char>(text)).toStd();
    }
}
} // namespace

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
} // namespace platform
