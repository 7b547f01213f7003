// Errors of the audatoms tool and the exit status each one gives.
// InputError: the user's input is at fault (a missing or unreadable file, an
// unsupported format, a malformed session entry or option); exit status 2. Its
// message names the file, line or entry.
// OutputError: writing a result failed (disk full, permission denied on rename);
// exit status 1.
#pragma once

#include <stdexcept>
#include <string>

namespace audtool {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitBadInput = 2;

struct InputError : std::runtime_error {
    explicit InputError(const std::string& message) : std::runtime_error(message) {}
};

struct OutputError : std::runtime_error {
    explicit OutputError(const std::string& message) : std::runtime_error(message) {}
};

} // namespace audtool
