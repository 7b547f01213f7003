// Writes float channels to an audio file through the library, as export does:
//   float channel -> Aud::SampleConvert::fromFloat (the export's clipping rule) -> one
//   plane per channel in the output sample type -> AudioInterleaver::writeSamplesPlanar
//   -> the interleaved bytes -> sf_write_raw.
// libsndfile writes only the container. The container follows the file name:
//   .wav (RIFF), .w64 (Sony Wave64), .aif/.aiff/.aifc (AIFF-C, little-endian samples),
//   .raw (no header). 24-bit samples in 4-byte words (sample type 5) have no common
//   container and are written to .raw files only.
// The file is written under a temporary name and renamed by commit() (SndfileOutput).
// Sample type 5: writeSamplesPlanar reports every such sample it writes with an
// assertion line on standard output; the tool discards those lines.
#pragma once

#include "tools/SndfileOutput.h"

#include "AudAtoms/buffers/AudioInterleaver.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

typedef struct sf_private_tag SNDFILE;

namespace audtool {

// The export sample type (from the library's export choices) for "16", "24" or
// "24-unpacked"; InputError otherwise.
int exportSampleType(const std::string& text);
// "16", "24" or "24-unpacked".
std::string exportSampleTypeText(int sampleType);

// Float channels to the interleaved bytes of an export sample type, through the
// library (fromFloat, then writeSamplesPlanar); no file.
class ExportConverter {
public:
    ExportConverter(int sampleType, unsigned channels, unsigned maxFrames);
    // Converts `frames` frames (at most maxFrames); the bytes stay valid until the next
    // call. OutputError if the interleaver refuses the block.
    const unsigned char* convert(const float* const* channels, unsigned frames, std::size_t& bytes);
    int sampleType() const { return sampleType_; }

private:
    int sampleType_;
    unsigned channels_;
    unsigned maxFrames_;
    AudioInterleaver interleaver_;
    std::vector<std::vector<unsigned char>> planes_;
    std::vector<const unsigned char*> planePtrs_;
};

class AudioFileWriter {
public:
    // InputError for an unknown extension or a sample type the container cannot hold;
    // OutputError for an output that cannot be created.
    AudioFileWriter(const std::filesystem::path& path, int sampleType, unsigned channels, unsigned rate,
                    unsigned maxFrames);
    ~AudioFileWriter();
    AudioFileWriter(const AudioFileWriter&) = delete;
    AudioFileWriter& operator=(const AudioFileWriter&) = delete;

    // Writes `frames` frames (at most maxFrames) of channels[0 .. channels-1].
    void write(const float* const* channels, unsigned frames);
    // Closes the file and renames it into place; OutputError naming the file and the
    // system's reason when any write of it failed.
    void commit();

private:
    std::unique_ptr<SndfileOutput> out_;
    ExportConverter converter_;
};

}  // namespace audtool
