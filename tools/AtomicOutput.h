// An output file written under a temporary name beside its target
// ("<target>.tmp.XXXXXX") and renamed over the target only when complete, so a failed
// or interrupted run never leaves a partial file. The temporary is removed when the
// object is destroyed without commit(), and also when the process is stopped by
// SIGINT, SIGTERM or SIGHUP while it exists: the tool's signal handler (main.cpp) calls
// removeLiveTemporaries() before it exits.
// Whole-text outputs (SVG, CSV) use platform::writeFileAtomically instead.
// Threads: the main thread of the tool.
#pragma once

#include <filesystem>
#include <string>

namespace audtool {

class AtomicOutput {
public:
    // Creates the temporary. InputError for an empty name; OutputError naming the target
    // when it is a directory or its folder is missing, not a folder or not writable.
    explicit AtomicOutput(std::filesystem::path target);
    ~AtomicOutput();
    AtomicOutput(const AtomicOutput&) = delete;
    AtomicOutput& operator=(const AtomicOutput&) = delete;

    const std::filesystem::path& target() const { return target_; }
    const std::filesystem::path& tempPath() const { return temp_; }

    // Flushes the temporary to disk and renames it over the target; OutputError on
    // failure (the temporary is then removed).
    void commit();

private:
    std::filesystem::path target_;
    std::filesystem::path temp_;
    int slot_ = -1;
    bool committed_ = false;
};

// Removes the temporaries of every AtomicOutput alive. Only unlinks files: safe to call
// from a signal handler.
void removeLiveTemporaries() noexcept;

}  // namespace audtool
