#include "tools/InputConverter.h"

#include "tools/Rates.h"
#include "tools/ToolError.h"

#include <algorithm>
#include <cstring>

namespace audtool {

InputConverter::InputConverter(const AudioSource& source, const Aud::SampleRate& from, const Aud::SampleRate& to,
                               Aud::Resampler::eQuality quality, unsigned maxBlock)
    : resampler_(from, to, source.format().channels, quality), channels_(source.format().channels), maxBlock_(maxBlock),
      toDrop_(0) {
    if (!resampler_.ok())
        throw InputError(source.name() + ": cannot convert " + rateDisplayText(from) + " to " + rateDisplayText(to) +
                         (resampler_.status() == Aud::sOutOfRange ? " (the ratio is beyond 8:1)" : ""));
    toDrop_ = resampler_.latency();
    // Room for what one decoded block makes on top of a block still to hand out.
    const std::size_t room = std::size_t(maxBlock) * 2 + resampler_.maxOutputFrames(maxBlock) + 64;
    fifo_.assign(channels_, std::vector<float>(room, 0.0f));
    out_.assign(channels_, std::vector<float>(std::size_t(maxBlock) + BlockDecoder::kPadding, 0.0f));
    outPtrs_.assign(channels_, nullptr);
    inPtrs_.assign(channels_, nullptr);
}

void InputConverter::fill(AudioSource& source, BlockDecoder& decoder, std::size_t wanted,
                          const std::function<void()>& decoded) {
    const std::size_t room = fifo_[0].size();
    while (fifoEnd_ - fifoStart_ < wanted) {
        if (fifoStart_ > 0) {  // keep what is left at the front
            for (auto& f : fifo_)
                std::copy(f.begin() + std::ptrdiff_t(fifoStart_), f.begin() + std::ptrdiff_t(fifoEnd_), f.begin());
            fifoEnd_ -= fifoStart_;
            fifoStart_ = 0;
        }
        // Input frames for what is missing (plus the delay still to drop), one block at most.
        const std::uint64_t missing = wanted - fifoEnd_ + toDrop_;
        const std::uint64_t need = missing * resampler_.downFactor() / resampler_.upFactor() + 1;
        const unsigned n = unsigned(std::min<std::uint64_t>(need, maxBlock_));
        // Past the end of the file the decoder reads nothing and its channels hold silence.
        if (decoder.decode(source, n) && decoded) decoded();
        for (unsigned c = 0; c < channels_; ++c) inPtrs_[c] = decoder.channel(c);
        std::size_t consumed = 0;
        while (consumed < n) {
            for (unsigned c = 0; c < channels_; ++c) {
                inPtrs_[c] = decoder.channel(c) + consumed;
                outPtrs_[c] = fifo_[c].data() + fifoEnd_;
            }
            const Aud::Resampler::Result r =
                resampler_.process(inPtrs_.data(), n - consumed, outPtrs_.data(), room - fifoEnd_);
            consumed += r.consumed;
            std::size_t made = r.produced;
            // Drop the converter's delay from the front of the stream.
            const std::size_t drop = std::size_t(std::min<std::uint64_t>(toDrop_, made));
            if (drop > 0) {
                for (auto& f : fifo_)
                    std::copy(f.begin() + std::ptrdiff_t(fifoEnd_ + drop), f.begin() + std::ptrdiff_t(fifoEnd_ + made),
                              f.begin() + std::ptrdiff_t(fifoEnd_));
                toDrop_ -= drop;
                made -= drop;
            }
            fifoEnd_ += made;
            if (r.consumed == 0) throw OutputError("the sample-rate converter's buffer is full (an internal error)");
        }
    }
}

unsigned InputConverter::produce(AudioSource& source, BlockDecoder& decoder, unsigned frames,
                                 const std::function<void()>& decoded) {
    frames = std::min(frames, maxBlock_);
    fill(source, decoder, frames, decoded);
    for (unsigned c = 0; c < channels_; ++c) {
        float* o = out_[c].data();
        std::memcpy(o, fifo_[c].data() + fifoStart_, std::size_t(frames) * sizeof(float));
        std::fill(o + frames, o + out_[c].size(), 0.0f);
    }
    fifoStart_ += frames;
    return frames;
}

std::unique_ptr<InputConverter> makeInputConverter(const AudioSource& source, Aud::eFactor factor,
                                                   const Aud::SampleRate& to, Aud::Resampler::eQuality quality,
                                                   unsigned maxBlock) {
    const auto rate = libraryRateForHertz(double(source.format().rate));
    if (!rate)
        throw InputError(source.name() + ": sample rate " + std::to_string(source.format().rate) +
                         " Hz is not one the library can express, so it cannot be converted");
    Aud::SampleRate from = *rate;
    from.addFactor(factor);
    if (from == to) return nullptr;
    return std::make_unique<InputConverter>(source, from, to, quality, maxBlock);
}

}  // namespace audtool
