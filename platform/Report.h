// Reporting services of the host.
//
// - The assertion report prints exactly "assertion failed %s at %s\n" on standard
//   output, from the condition text and the source position ("<source> line <N>"),
//   flushes, and returns: the caller carries on with its fallback.
// - ole_splat(message): the fatal report; writes the message and a newline to standard
//   error and returns (the library carries on after it).
// - Log / LogBoth: printf-style host log. The log is the file named by the environment
//   variable AUDATOMS_LOG_FILE when set (appended to, opened for each call), standard
//   error otherwise or when that file cannot be opened. No newline is added: the
//   formats end in their own.
//   LogBoth also writes to standard error when the log is a file.
// - platform::LogCapture: while alive, records every formatted Log/LogBoth text, every
//   ole_splat message and every assertion report line (tests use it), besides the
//   normal output. assertions() holds the report lines in order, each exactly as
//   printed ("assertion failed <condition> at <position>\n", newline included);
//   assertionText() is those lines joined into one text. clear() empties all three
//   records.
//   A capture made with AssertionEcho::silenced also keeps assertion reports off
//   standard output while it lives (every live capture still records them); the other
//   outputs are unchanged. It is meant for the fuzz targets, whose inputs trip the
//   reports by the million; tests leave the printing on.
// Threads: all of these may be called from any thread; each call writes whole lines.
#pragma once

#include "platform/AudPlatformExport.h"

#include <string>
#include <vector>

// Prints "assertion failed <condition> at <source> line <line>\n" on standard output.
AUDPLATFORM_EXPORT void assertionReport(const char* condition, const char* source, int line);
// Prints "assertion failed <condition> at <position>\n" with a ready-made position.
AUDPLATFORM_EXPORT void assertionReportAt(const char* condition, const char* position);

AUDPLATFORM_EXPORT void ole_splat(const char* message);

AUDPLATFORM_EXPORT void Log(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
AUDPLATFORM_EXPORT void LogBoth(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

namespace platform {

class AUDPLATFORM_EXPORT LogCapture {
public:
    enum class AssertionEcho { printed, silenced };

    LogCapture();
    explicit LogCapture(AssertionEcho echo);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::string logText() const;
    std::vector<std::string> splats() const;
    std::vector<std::string> assertions() const;
    std::string assertionText() const;
    void clear();

    // Internal: called by the reporting functions.
    void appendLog(const std::string& text);
    void appendSplat(const std::string& message);
    void appendAssertion(const std::string& line);

private:
    struct Rep;
    Rep* rep_;
};

}  // namespace platform
