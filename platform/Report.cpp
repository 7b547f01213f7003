#include "platform/Report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {
std::mutex& captureMutex() {
    static std::mutex m;
    return m;
}
std::vector<platform::LogCapture*>& captures() {
    static std::vector<platform::LogCapture*> v;
    return v;
}
// Live captures made with AssertionEcho::silenced; guarded by captureMutex().
int silencingCaptures = 0;
std::mutex& outputMutex() {
    static std::mutex m;
    return m;
}

std::string vformat(const char* fmt, va_list args) {
    if (!fmt) return {};
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, fmt, copy);
    va_end(copy);
    if (n <= 0) return {};
    std::string s(std::size_t(n), '\0');
    std::vsnprintf(s.data(), s.size() + 1, fmt, args);
    return s;
}

void recordLog(const std::string& text) {
    std::lock_guard<std::mutex> g(captureMutex());
    for (auto* c : captures()) c->appendLog(text);
}

// Writes to the host log; returns true when that log is a file.
bool writeLog(const std::string& text) {
    std::lock_guard<std::mutex> g(outputMutex());
    const char* path = std::getenv("AUDATOMS_LOG_FILE");
    if (path && *path) {
        if (FILE* f = std::fopen(path, "a")) {
            std::fwrite(text.data(), 1, text.size(), f);
            std::fclose(f);
            return true;
        }
    }
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
    return false;
}
}  // namespace

void assertionReportAt(const char* condition, const char* position) {
    {
        std::lock_guard<std::mutex> g(captureMutex());
        if (!captures().empty()) {
            const std::string line = std::string("assertion failed ") + (condition ? condition : "") + " at " +
                                     (position ? position : "") + "\n";
            for (auto* c : captures()) c->appendAssertion(line);
        }
        if (silencingCaptures > 0) return;
    }
    std::lock_guard<std::mutex> g(outputMutex());
    std::printf("assertion failed %s at %s\n", condition ? condition : "", position ? position : "");
    std::fflush(stdout);
}

void assertionReport(const char* condition, const char* source, int line) {
    const std::string position = std::string(source ? source : "") + " line " + std::to_string(line);
    assertionReportAt(condition, position.c_str());
}

void ole_splat(const char* message) {
    const std::string m = message ? message : "";
    {
        std::lock_guard<std::mutex> g(captureMutex());
        for (auto* c : captures()) c->appendSplat(m);
    }
    std::lock_guard<std::mutex> g(outputMutex());
    std::fprintf(stderr, "%s\n", m.c_str());
    std::fflush(stderr);
}

void Log(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string text = vformat(fmt, args);
    va_end(args);
    recordLog(text);
    writeLog(text);
}

void LogBoth(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const std::string text = vformat(fmt, args);
    va_end(args);
    recordLog(text);
    if (writeLog(text)) {
        std::lock_guard<std::mutex> g(outputMutex());
        std::fwrite(text.data(), 1, text.size(), stderr);
        std::fflush(stderr);
    }
}

namespace platform {

struct LogCapture::Rep {
    mutable std::mutex m;
    std::string log;
    std::vector<std::string> splats;
    std::vector<std::string> assertions;
    bool silencing = false;
};

LogCapture::LogCapture() : LogCapture(AssertionEcho::printed) {}

LogCapture::LogCapture(AssertionEcho echo) : rep_(new Rep) {
    rep_->silencing = echo == AssertionEcho::silenced;
    std::lock_guard<std::mutex> g(captureMutex());
    captures().push_back(this);
    if (rep_->silencing) ++silencingCaptures;
}

LogCapture::~LogCapture() {
    {
        std::lock_guard<std::mutex> g(captureMutex());
        auto& v = captures();
        v.erase(std::remove(v.begin(), v.end(), this), v.end());
        if (rep_->silencing) --silencingCaptures;
    }
    delete rep_;
}

std::string LogCapture::logText() const {
    std::lock_guard<std::mutex> g(rep_->m);
    return rep_->log;
}
std::vector<std::string> LogCapture::splats() const {
    std::lock_guard<std::mutex> g(rep_->m);
    return rep_->splats;
}
std::vector<std::string> LogCapture::assertions() const {
    std::lock_guard<std::mutex> g(rep_->m);
    return rep_->assertions;
}
std::string LogCapture::assertionText() const {
    std::lock_guard<std::mutex> g(rep_->m);
    std::string text;
    for (const std::string& line : rep_->assertions) text += line;
    return text;
}
void LogCapture::clear() {
    std::lock_guard<std::mutex> g(rep_->m);
    rep_->log.clear();
    rep_->splats.clear();
    rep_->assertions.clear();
}
void LogCapture::appendLog(const std::string& t) {
    std::lock_guard<std::mutex> g(rep_->m);
    rep_->log += t;
}
void LogCapture::appendSplat(const std::string& s) {
    std::lock_guard<std::mutex> g(rep_->m);
    rep_->splats.push_back(s);
}
void LogCapture::appendAssertion(const std::string& line) {
    std::lock_guard<std::mutex> g(rep_->m);
    rep_->assertions.push_back(line);
}

}  // namespace platform
