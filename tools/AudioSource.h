// Sources of interleaved raw sample frames in a file's own layout (sample type and
// byte order as stored), read block by block by the renderer and the other commands.
// - SndfileSource: an audio file opened with libsndfile and read with sf_read_raw, so
//   no sample passes through libsndfile's own conversions.
// - MemorySource: frames held in memory (the demo's and the benchmark's synthesised
//   inputs).
// Threads: one source belongs to one thread.
#pragma once

#include "tools/FileFormat.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

typedef struct sf_private_tag SNDFILE;

namespace audtool {

class AudioSource {
public:
    virtual ~AudioSource() = default;
    virtual const FileFormat& format() const = 0;
    // Reads up to `frames` frames into dst (frames * format().frameBytes() bytes);
    // returns the frames read, fewer only at the end of the source.
    virtual unsigned readFrames(unsigned char* dst, unsigned frames) = 0;
    // A name for messages and meter labels (the path of a file).
    virtual const std::string& name() const = 0;
    // Places the next read at `frame` (past the end: the source reads nothing more);
    // false when the source cannot seek.
    virtual bool seek(std::int64_t frame) {
        (void)frame;
        return false;
    }
};

class SndfileSource : public AudioSource {
public:
    // Opens the file; InputError naming the path when it is missing, unreadable, not
    // an audio file, or of an encoding the library cannot read.
    explicit SndfileSource(const std::filesystem::path& path);
    ~SndfileSource() override;
    SndfileSource(const SndfileSource&) = delete;
    SndfileSource& operator=(const SndfileSource&) = delete;

    const FileFormat& format() const override { return format_; }
    unsigned readFrames(unsigned char* dst, unsigned frames) override;
    const std::string& name() const override { return path_; }
    bool seek(std::int64_t frame) override;
    // The file's channel map (libsndfile's SF_CHANNEL_MAP_* values, one per channel),
    // empty when the file declares none (a WAV file without a channel mask).
    std::vector<int> channelMap() const;

private:
    struct Closer {
        void operator()(SNDFILE* f) const;
    };
    std::string path_;
    std::unique_ptr<SNDFILE, Closer> file_;
    FileFormat format_;
};

class MemorySource : public AudioSource {
public:
    // The frames of `bytes`; with loopFrames above their count, the frames repeat from
    // the start until loopFrames frames have been read.
    MemorySource(std::string name, const FileFormat& format, std::vector<unsigned char> bytes,
                 std::int64_t loopFrames = 0);

    const FileFormat& format() const override { return format_; }
    unsigned readFrames(unsigned char* dst, unsigned frames) override;
    const std::string& name() const override { return name_; }
    bool seek(std::int64_t frame) override;
    // The raw frames held (one pass, without the repeats).
    const std::vector<unsigned char>& bytes() const { return bytes_; }

private:
    std::string name_;
    FileFormat format_;
    std::vector<unsigned char> bytes_;
    std::size_t position_ = 0;  // bytes into bytes_
    std::int64_t left_ = 0;     // frames still to deliver
};

}  // namespace audtool
