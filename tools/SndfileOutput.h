// An audio file written by libsndfile under a temporary name and renamed into place by
// commit() (AtomicOutput), with every byte going through this object's own file I/O:
// libsndfile does not report every failed write (it ignores a failed rewrite of the
// header when it closes a file), so the first system error of any write, seek or read is
// kept here and fails commit(). A failed output never replaces the target and never
// leaves its temporary behind.
// Threads: the main thread of the tool.
#pragma once

#include "tools/AtomicOutput.h"

#include <cstdint>
#include <filesystem>
#include <string>

typedef struct sf_private_tag SNDFILE;
struct SF_INFO;

namespace audtool {

class SndfileOutput {
public:
    // Creates the temporary and opens it for libsndfile with `info` (format, rate,
    // channels). OutputError naming the target when either fails.
    SndfileOutput(const std::filesystem::path& target, SF_INFO& info);
    ~SndfileOutput();
    SndfileOutput(const SndfileOutput&) = delete;
    SndfileOutput& operator=(const SndfileOutput&) = delete;

    SNDFILE* handle() const { return file_; }
    const std::filesystem::path& target() const { return out_.target(); }
    // Why the last libsndfile call failed: the system's reason for the first failed
    // write, seek or read, else libsndfile's own text.
    std::string reason() const;

    // Closes the file (libsndfile writes its final header), checks that no write failed,
    // flushes and renames it over the target. OutputError naming the target and the
    // system's reason otherwise.
    void commit();

    // The libsndfile virtual I/O callbacks' state (public for the callbacks only).
    struct Io {
        int fd = -1;
        int firstError = 0;  // errno of the first failed call
    };

private:
    AtomicOutput out_;
    Io io_;
    SNDFILE* file_ = nullptr;
};

}  // namespace audtool
