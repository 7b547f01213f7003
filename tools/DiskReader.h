// The player's disk side: a thread that reads every input file ahead of the audio
// thread into a RawRing of raw frames per file (aheadSeconds of frames, in chunks),
// refills a ring when it is half empty, and after a locate reads from the new place.
// The audio thread reads the rings through RingSource objects (one per file, in the
// session's order), which the renderer decodes exactly as it decodes the files offline.
//
// Locating: the audio thread calls locate(frame); that starts a new generation. Chunks
// of an older generation are dropped by the audio thread, and the disk thread, when it
// sees the new generation, seeks every file and reads from there. primed() tells the
// audio thread when every ring holds the new place (or the file's end).
// Underruns: a RingSource asked for more frames than its ring holds (and not at the
// file's end) reads nothing (the renderer plays silence for that input), counts an
// underrun and drops those frames when they arrive, so the input stays in time.
// Threads: construction, start, stop and the destructor on the main thread; locate,
// primed and the sources' reads on the audio thread (no allocation, no lock, no
// exception); the counters from any thread.
#pragma once

#include "tools/AudioSource.h"
#include "tools/RawRing.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace audtool {

struct DiskReaderOptions {
    double aheadSeconds = 4.0;  // frames held ahead per file
    unsigned chunkFrames = 2048;
    unsigned delayMsPerChunk = 0;  // a throttled reader (tests): sleep after each chunk
};

class RingSource;

class DiskReader {
public:
    DiskReader(std::vector<std::unique_ptr<AudioSource>> files, unsigned rate, const DiskReaderOptions& options);
    ~DiskReader();
    DiskReader(const DiskReader&) = delete;
    DiskReader& operator=(const DiskReader&) = delete;

    // The audio thread's sources, one per file in order; may be taken once.
    std::vector<std::unique_ptr<AudioSource>> takeSources();

    // Starts the disk thread reading from `frame`.
    void start(std::int64_t frame);
    void stop();

    // Audio thread.
    void locate(std::int64_t frame);
    bool primed();

    std::uint64_t underruns() const { return shared_.underruns.load(std::memory_order_relaxed); }
    // A read error of the disk thread ("" when none); the file then ends where it failed.
    std::string error() const;

    struct Shared {
        std::atomic<std::uint64_t> generation{0};
        std::atomic<std::int64_t> frame{0};
        std::atomic<std::uint64_t> underruns{0};
        std::atomic<bool> stop{false};
    };

private:
    struct Input;
    void threadMain();

    Shared shared_;
    DiskReaderOptions options_;
    std::vector<std::unique_ptr<Input>> inputs_;
    std::vector<RingSource*> sources_;
    std::vector<std::unique_ptr<AudioSource>> toTake_;
    std::thread thread_;
    mutable std::mutex errorLock_;  // the disk thread's error message (not the audio thread's)
    std::string error_;
};

}  // namespace audtool
