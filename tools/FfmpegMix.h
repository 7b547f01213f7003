// The job a user would otherwise run to mix the render benchmark's inputs: FFmpeg (when
// the ffmpeg program is on PATH) given the same input files, per input a volume
// automation (evaluated per audio frame), a low shelf, a peaking and a high shelf filter
// and a pan to stereo, all inputs mixed by amix, the mix encoded to 24-bit PCM and
// discarded. One thread. It renders one stereo mix where the benchmark renders four mix
// buses to eight outputs, so the comparison favours FFmpeg.
// Threads: runs the child and waits for it; call from one thread.
#pragma once

#include <filesystem>
#include <string>

namespace audtool {

struct FfmpegMixRun {
    bool ran = false;       // false: ffmpeg was not found or failed; why says which
    std::string why;        // "", or the reason it did not run
    double cpuSeconds = 0;  // the child's user + system processor time
    double wallSeconds = 0;
};

// Writes the benchmark's inputs into dir (audatoms bench --write-session's files) and
// times FFmpeg mixing them.
FfmpegMixRun runFfmpegMix(const std::filesystem::path& dir, unsigned inputs, double seconds);

}  // namespace audtool
