// Turns blocks of raw interleaved frames from a source into what a render block needs,
// entirely through the library, as the typical block of playback runs:
//   raw bytes -> AudioInterleaver::deinterleaveAudio (by the file's Aud::Metadata,
//   big-endian included) -> an Aud::StreamBufferList in the file's sample type (what
//   the monitor scans) -> Aud::SampleConvert::toFloat -> one float channel per file
//   channel.
// One-channel big-endian files of 4-byte samples are first put into little-endian order
// with AudioInterleaver::copyBigEndianAudioToBuff (the one-channel split keeps only the
// low half of such words). The library's one-channel split does not reorder 8-byte
// samples, but its multi-channel split reorders samples of any width: one-channel
// big-endian 64-bit floats are split as two channels (even and odd frames) and the two
// halves, already in host order, are joined back into one buffer of the file's type.
//
// Float channels hold the block's frames followed by silence up to kPadding samples past
// the longest block, so that the four-sample kernels may run up to three samples past a
// run (see Renderer.h). Silence is the float of a silent sample of the file's own type
// (digital zero; 0x80 for unsigned 8-bit), so a file that has ended reads exactly as if
// it went on with digital silence: 0.0 for every type but 32-bit integers, whose
// symmetric conversion gives zero the value 0.5 / 2147483647.5.
// Allocation: at construction only (the interleaver's output buffers are made there for
// the longest block); decode() does not allocate.
#pragma once

#include "tools/AudioSource.h"

#include "AudAtoms/buffers/AudioInterleaver.h"
#include "AudAtoms/buffers/Aud__StreamBuffer.h"

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
    // Channel c's floats: maxFrames + kPadding samples, read only. The decoder writes
    // them only in decode(), and only as far as needed to hold the frames read and
    // silence after them, so whatever it does not rewrite must stay as it left it.
    const float* channel(unsigned c) const { return floats_[c].data(); }
    unsigned channels() const { return static_cast<unsigned>(floats_.size()); }

private:
    unsigned decodeInPairs(const AudioSource& source, unsigned n);

    FileFormat format_;
    Aud::Metadata splitFormat_;  // the format given to deinterleaveAudio
    bool swapFirst_ = false;     // one-channel big-endian 4-byte samples
    bool splitInPairs_ = false;  // one-channel big-endian 8-byte samples
    unsigned maxFrames_;
    AudioInterleaver interleaver_;
    Qm::Ptr<iMemHolder> raw_;
    Qm::Ptr<iMemHolder> swapped_;
    Qm::Ptr<iMemHolder> joined_;   // split in pairs: the frames joined, host order
    Aud::StreamBufferList pairs_;  // split in pairs: even and odd frames
    Aud::StreamBufferList list_;
    std::vector<std::vector<float>> floats_;
    float silence_ = 0.0f;  // the float of a silent sample of the file's type
    unsigned framesRead_ = 0;
};

}  // namespace audtool
