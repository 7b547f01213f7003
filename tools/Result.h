// The result of a command: what it found or did, as text and as JSON. Every command
// returns one; main.cpp prints it on standard output (the JSON form with --json), then
// its note on standard error unless --quiet.
// Text form: lines ending in a newline, or nothing for a command whose only result is
// the file it wrote (its note says so). JSON form: one value (an object, or an array for
// info), printed with two-space indentation.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace audtool {

class Result {
public:
    virtual ~Result() = default;

    virtual std::string text() const = 0;
    virtual nlohmann::json json() const = 0;

    // Status lines for standard error (the files written), shown unless --quiet.
    std::string note;
    // Set when the command ran to its end but a check it makes failed (bench's denormal
    // limit): what failed, for the message on standard error.
    std::string failure;
};

// Writes the text or the JSON form of `result` on standard output and flushes it;
// OutputError when standard output cannot be written.
void printResult(const Result& result, bool json);

// printf-style formatting into a string (for the text forms).
std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace audtool
