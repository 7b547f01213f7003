// The format of an audio file as the library sees it: a libsndfile container and
// encoding mapped onto an Aud::Metadata (sample type number, byte order, channels,
// rate). libsndfile only parses containers here; the samples are read raw, in the
// file's own layout, and converted by the library.
//
// Sample type numbers of the encodings the tool reads:
//   PCM_S8 -> 3, PCM_U8 -> 4, PCM_16 -> 1, PCM_24 -> 2, PCM_32 -> 6, FLOAT -> 0, DOUBLE -> 7
// Any other encoding (compressed, a-law, ...) is unsupported.
#pragma once

#include "AudAtoms/buffers/audiometadata.h"

#include <cstdint>
#include <string>

namespace audtool {

struct FileFormat {
    int sampleType = -1;     // library sample type number
    bool bigEndian = false;  // byte order of the raw samples in the file
    unsigned channels = 0;
    unsigned rate = 0;        // Hz
    std::int64_t frames = 0;  // sample frames in the file
    int sfFormat = 0;         // libsndfile format word (container | encoding | byte order)

    unsigned stride() const { return Aud::sampleTypeStride(sampleType); }
    unsigned frameBytes() const { return stride() * channels; }

    // The library's description of the interleaved raw data: read from the
    // WAVEFORMATEX-shaped header the library understands, then the byte order.
    Aud::Metadata metadata() const;

    // libsndfile's names of the container and the encoding ("WAV (Microsoft)",
    // "Signed 24 bit PCM").
    std::string containerName() const;
    std::string encodingName() const;
};

// The sample type number of a libsndfile encoding (SF_FORMAT_SUBMASK part), or -1.
int sampleTypeForEncoding(int sfEncoding);
// The libsndfile encoding that stores a sample type number raw, or 0.
int encodingForSampleType(int sampleType);

}  // namespace audtool
