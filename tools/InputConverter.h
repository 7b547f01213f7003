// Sample-rate conversion of one input file on its way into the mixer: the file's
// decoded float channels (BlockDecoder) at the file's rate, optionally sped up or slowed
// down by a speed-change factor (pull-up, pull-down), become blocks at the session's
// rate through Aud::Resampler.
//
// Timing: frame 0 of the converted stream is the file's frame 0 (the converter's delay
// is dropped), and frame n stands for file time n * M / L (the exact ratio of the
// resampler). The file's floor(fileFrames * L / M) converted frames come first; after the
// file ends the decoder's silence is fed in, which pushes the filter's tail out, and the
// stream goes on with (converted) silence like an unconverted file.
//
// Channels hold the block's frames and then silence up to BlockDecoder::kPadding
// samples past the longest block (the kernels' four-sample groups). The converter owns
// them; readers only read them, within the block.
// Allocation: at construction only. Threads: one converter belongs to one thread.
#pragma once

#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"

#include "AudAtoms/core/Aud__SampleRate.h"
#include "AudAtoms/kernels/Aud__Resampler.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace audtool {

class InputConverter {
public:
    // InputError naming the source when the resampler refuses the pair of rates.
    InputConverter(const AudioSource& source, const Aud::SampleRate& from, const Aud::SampleRate& to,
                   Aud::Resampler::eQuality quality, unsigned maxBlock);

    // Makes the next `frames` frames (at most maxBlock), reading and decoding the source
    // with `decoder` as needed; `decoded` is called after each decode that read frames
    // (the input meters). Returns `frames`.
    unsigned produce(AudioSource& source, BlockDecoder& decoder, unsigned frames, const std::function<void()>& decoded);

    const float* channel(unsigned c) const { return out_[c].data(); }
    const Aud::Resampler& resampler() const { return resampler_; }

private:
    void fill(AudioSource& source, BlockDecoder& decoder, std::size_t wanted, const std::function<void()>& decoded);

    Aud::Resampler resampler_;
    unsigned channels_;
    unsigned maxBlock_;
    std::uint64_t toDrop_;                  // output frames of delay still to drop
    std::vector<std::vector<float>> fifo_;  // converted frames not yet handed out
    std::size_t fifoStart_ = 0, fifoEnd_ = 0;
    std::vector<std::vector<float>> out_;  // the block handed out (maxBlock + padding)
    std::vector<float*> outPtrs_;
    std::vector<const float*> inPtrs_;
};

// The converter a source needs to reach `to` (a base rate): null when the source is at
// that rate and has no factor. InputError naming the source when its rate is not one
// the library expresses or the conversion is refused.
std::unique_ptr<InputConverter> makeInputConverter(const AudioSource& source, Aud::eFactor factor,
                                                   const Aud::SampleRate& to, Aud::Resampler::eQuality quality,
                                                   unsigned maxBlock);

}  // namespace audtool
