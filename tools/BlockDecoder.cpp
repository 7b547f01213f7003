#include "tools/BlockDecoder.h"

#include "tools/ToolError.h"

#include "AudAtoms/buffers/Aud__SampleConvert.h"
#include "platform/MemHolder.h"

#include <algorithm>
#include <cstring>

namespace audtool {

namespace {
InputError splitFailed(const AudioSource& source, AudioInterleaver::eStatus status) {
    return InputError(source.name() + ": the interleaver could not split a block (status " +
                      std::to_string(int(status)) + ")");
}
}  // namespace

BlockDecoder::BlockDecoder(const AudioSource& source, unsigned maxFrames)
    : format_(source.format()), splitFormat_(format_.metadata()), maxFrames_(maxFrames) {
    if (splitFormat_.getSampleTypeNumber() != format_.sampleType)
        throw InputError(source.name() + ": the library reads this format as sample type " +
                         std::to_string(splitFormat_.getSampleTypeNumber()) + ", not " +
                         std::to_string(format_.sampleType));
    if (format_.channels == 1 && format_.bigEndian) {
        if (format_.stride() == 4) {
            swapFirst_ = true;
            interleaver_.setAudioFormat(splitFormat_);
            splitFormat_.setEndianType(Aud::keLittleEndian);
        } else if (format_.stride() == 8) {
            splitInPairs_ = true;
            FileFormat pairs = format_;
            pairs.channels = 2;
            splitFormat_ = pairs.metadata();
        }
    }
    // A split in pairs reads whole pairs: room for one frame more, zeroed when the block
    // has an odd number of frames.
    const unsigned bytes = (maxFrames + (splitInPairs_ ? 1 : 0)) * format_.frameBytes();
    raw_ = new ByteBufferImpl(bytes);
    if (swapFirst_) swapped_ = new ByteBufferImpl(bytes);
    if (splitInPairs_) joined_ = new ByteBufferImpl(maxFrames * format_.frameBytes());
    if (raw_->getSize() != bytes || (swapFirst_ && swapped_->getSize() != bytes) ||
        (splitInPairs_ && joined_->getSize() != maxFrames * format_.frameBytes()))
        throw OutputError("out of memory for a block of " + source.name());
    if (splitInPairs_ &&
        interleaver_.createOutputBuffers((maxFrames + 1) / 2, splitFormat_, pairs_) != AudioInterleaver::kSuccess)
        throw OutputError("out of memory for a block of " + source.name());
    // The split's buffers for the longest block now, so that decode() finds them made
    // (a real-time caller must not allocate): the multi-channel split reuses a list whose
    // buffers are long enough, and the one-channel split refills a one-entry list.
    list_.streamBuffers.reserve(1);
    if (format_.channels > 1 && !splitInPairs_ &&
        interleaver_.createOutputBuffers(maxFrames, splitFormat_, list_) != AudioInterleaver::kSuccess)
        throw OutputError("out of memory for a block of " + source.name());
    // Silence as the file would hold it: digital zero, offset binary for unsigned 8-bit.
    const unsigned char silent[8] = {format_.sampleType == 4 ? static_cast<unsigned char>(0x80)
                                                             : static_cast<unsigned char>(0)};
    if (format_.stride() > sizeof silent || !Aud::SampleConvert::toFloat(format_.sampleType, silent, 1, &silence_))
        throw InputError(source.name() + ": no float conversion for sample type " + std::to_string(format_.sampleType));
    floats_.assign(format_.channels, std::vector<float>(std::size_t(maxFrames) + kPadding, silence_));
}

unsigned BlockDecoder::decode(AudioSource& source, unsigned frames) {
    frames = std::min(frames, maxFrames_);
    const unsigned previous = framesRead_;
    const unsigned n = source.readFrames(static_cast<unsigned char*>(raw_->getBuffer()), frames);
    framesRead_ = n;
    if (n < previous)
        for (auto& ch : floats_) std::fill(ch.begin() + n, ch.begin() + previous, silence_);
    list_.numSamples = n;
    if (n == 0) return 0;

    const unsigned bytes = n * format_.frameBytes();
    Qm::Ptr<iMemHolder> src = raw_;
    raw_->setUsed(bytes);
    if (swapFirst_) {
        interleaver_.copyBigEndianAudioToBuff(static_cast<unsigned char*>(swapped_->getBuffer()),
                                              static_cast<unsigned char*>(raw_->getBuffer()), bytes);
        swapped_->setUsed(bytes);
        src = swapped_;
    }
    if (splitInPairs_) return decodeInPairs(source, n);
    const AudioInterleaver::eStatus status = interleaver_.deinterleaveAudio(n, splitFormat_, src, list_);
    if (status != AudioInterleaver::kSuccess || list_.streamBuffers.size() != format_.channels)
        throw splitFailed(source, status);
    // A reused list keeps its earlier count; this block holds n frames.
    list_.numSamples = n;
    for (unsigned c = 0; c < format_.channels; ++c)
        Aud::SampleConvert::toFloat(list_.sampleType, list_.streamBuffers[c].memory->getBuffer(), n, floats_[c].data());
    return n;
}

unsigned BlockDecoder::decodeInPairs(const AudioSource& source, unsigned n) {
    auto* raw = static_cast<unsigned char*>(raw_->getBuffer());
    const unsigned stride = format_.stride();
    const unsigned pairs = (n + 1) / 2;
    if (n % 2) std::memset(raw + std::size_t(n) * stride, 0, stride);
    raw_->setUsed(pairs * 2 * stride);
    const AudioInterleaver::eStatus status = interleaver_.deinterleaveAudio(pairs, splitFormat_, raw_, pairs_);
    if (status != AudioInterleaver::kSuccess || pairs_.streamBuffers.size() != 2) throw splitFailed(source, status);
    // Even frames are in the first buffer, odd frames in the second, both in host order.
    const auto* even = static_cast<const unsigned char*>(pairs_.streamBuffers[0].memory->getBuffer());
    const auto* odd = static_cast<const unsigned char*>(pairs_.streamBuffers[1].memory->getBuffer());
    auto* joined = static_cast<unsigned char*>(joined_->getBuffer());
    for (unsigned i = 0; i < n; ++i)
        std::memcpy(joined + std::size_t(i) * stride, (i % 2 ? odd : even) + std::size_t(i / 2) * stride, stride);
    joined_->setUsed(n * stride);

    list_.streamBuffers.resize(1);
    Aud::StreamBuffer& b = list_.streamBuffers[0];
    b = Aud::StreamBuffer(0, n, format_.sampleType);
    b.memory = joined_;
    b.hasMemory = true;
    list_.numSamples = n;
    list_.sampleType = format_.sampleType;
    Aud::SampleConvert::toFloat(format_.sampleType, joined, n, floats_[0].data());
    return n;
}

}  // namespace audtool
