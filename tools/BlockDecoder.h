// Turns blocks of raw interleaved frames from a source into what a render block needs,
// entirely through the library, as the typical block of playback runs:
//   raw bytes -> AudioInterleaver::deinterleaveAudio (by the file's Aud::Metadata,
//   big-endian included) -> an Aud::StreamBufferList in the file's sample type (what
//   the monitor scans) -> Aud::SampleConvert::toFloat -> one float channel per file
//   channel.
// One-channel big-endian files of 4-byte samples are first put into little-endian order
// with AudioInterleaver::copyBigEndianAudioToBuff (the one-channel split keeps only the
// low half of such words); one-channel big-endian 64-bit floats have no byte-order
// conversion in the library and are refused when the decoder is made.
//
// Float channels hold the block's frames followed by kPadding zero samples, so that the
// four-sample kernels may run up to three samples past a run (see Renderer.h).
// Allocation: at construction; decode() allocates only where the library's one-channel
// split rebuilds its list.
#pragma once

#include "tools/AudioSource.h"

#include "AudAtoms/AudioInterleaver.h"
#include "AudAtoms/Aud__StreamBuffer.h"

#include <vector>

namespace audtool {

class BlockDecoder {
public:
    static constexpr unsigned kPadding = 4;

    // InputError (naming the source) for a format the library's conversions cannot take.
    BlockDecoder(const AudioSource& source, unsigned maxFrames);

    // Reads up to `frames` frames (at most maxFrames) and decodes them. Float channels
    // are silent past the frames read. Returns the frames read.
    unsigned decode(AudioSource& source, unsigned frames);

    // The block just decoded in the file's sample type, numSamples = frames read
    // (empty list channels when nothing was read).
    Aud::StreamBufferList& buffers() { return list_; }
    unsigned framesRead() const { return framesRead_; }
    float* channel(unsigned c) { return floats_[c].data(); }
    unsigned channels() const { return static_cast<unsigned>(floats_.size()); }

private:
    FileFormat format_;
    Aud::Metadata splitFormat_;   // the format given to deinterleaveAudio
    bool swapFirst_ = false;      // one-channel big-endian 4-byte samples
    unsigned maxFrames_;
    AudioInterleaver interleaver_;
    Qm::Ptr<iMemHolder> raw_;
    Qm::Ptr<iMemHolder> swapped_;
    Aud::StreamBufferList list_;
    std::vector<std::vector<float>> floats_;
    unsigned framesRead_ = 0;
};

} // namespace audtool
