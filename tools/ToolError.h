// Errors of the audatoms tool and the exit statuses of the tool. main.cpp turns each
// error into its status; nothing else decides an exit status.
//
//   status  meaning
//   0       done
//   1       failure: a result could not be written (folder missing or not a folder,
//           permission denied, disk full, standard output closed), a system failure
//           (out of memory, an internal error), or a check the command makes failed
//           (bench's denormal limit)
//   2       bad input: the command line (unknown command or option, a bad option value),
//           an input file (missing, unreadable, unsupported format) or a session entry
//   130     interrupted (SIGINT); SIGTERM and SIGHUP give 128 + the signal number
//
// InputError: the user's input is at fault; its message names the file, line, entry or
// option. OutputError: writing a result failed; its message names the file or folder.
#pragma once

#include <csignal>
#include <stdexcept>
#include <string>

namespace audtool {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitBadInput = 2;

// The status of a run stopped by a signal, as shells report a process killed by it.
constexpr int exitStatusForSignal(int signal) { return 128 + signal; }
constexpr int kExitInterrupted = exitStatusForSignal(SIGINT);
static_assert(kExitInterrupted == 130);

struct InputError : std::runtime_error {
    explicit InputError(const std::string& message) : std::runtime_error(message) {}
};

struct OutputError : std::runtime_error {
    explicit OutputError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace audtool
