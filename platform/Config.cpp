#include "platform/Config.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

namespace {
std::mutex& configMutex() {
    static std::mutex m;
    return m;
}
std::map<std::string, int>& setValues() {
    static std::map<std::string, int> v;
    return v;
}

std::string trim(const std::string& s) {
    const auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    const auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

bool fileValue(const std::string& name, int& out) {
    const char* path = std::getenv("AUDATOMS_CONFIG");
    if (!path || !*path) return false;
    std::ifstream in(path);
    std::string line;
    bool found = false;
    while (std::getline(in, line)) {
        if (auto hash = line.find('#'); hash != std::string::npos) line.erase(hash);
        const auto eq = line.find('=');
        if (eq == std::string::npos || trim(line.substr(0, eq)) != name) continue;
        const std::string v = trim(line.substr(eq + 1));
        char* end = nullptr;
        errno = 0;
        const long long n = std::strtoll(v.c_str(), &end, 10);
        if (v.empty() || *end != '\0' || errno == ERANGE || n < INT_MIN || n > INT_MAX) continue;
        out = int(n);
        found = true;
    }
    return found;
}
}  // namespace

int config_int(const char* name, int defaultValue) {
    if (!name) return defaultValue;
    {
        std::lock_guard<std::mutex> g(configMutex());
        auto it = setValues().find(name);
        if (it != setValues().end()) return it->second;
    }
    int v;
    return fileValue(name, v) ? v : defaultValue;
}

void config_set_int(const char* name, int value) {
    if (!name) return;
    std::lock_guard<std::mutex> g(configMutex());
    setValues()[name] = value;
}

void config_reset() {
    std::lock_guard<std::mutex> g(configMutex());
    setValues().clear();
}
