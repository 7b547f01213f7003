// Strict text helpers for the tool's options and session files: a number must be the
// whole text (surrounding blanks aside), nothing is guessed.
#pragma once

#include <optional>
#include <string>

namespace audtool {

std::string trim(const std::string& s);
std::string lower(std::string s);
// A finite decimal number ("1.5", "-3", "2e3"); nullopt otherwise.
std::optional<double> parseNumber(const std::string& text);
// A non-negative integer; nullopt otherwise.
std::optional<long long> parseInteger(const std::string& text);
// A decibel value: a number with an optional "dB" suffix (any case); "-inf" is
// accepted with or without the suffix.
std::optional<double> parseDecibels(const std::string& text);
// A frequency in hertz: a number with an optional "k" (thousands) or "Hz" suffix.
std::optional<double> parseFrequency(const std::string& text);

}  // namespace audtool
