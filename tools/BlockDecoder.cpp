#include "tools/BlockDecoder.h"

#include "tools/ToolError.h"

#include "AudAtoms/Aud__SampleConvert.h"
#include "platform/MemHolder.h"

#include <algorithm>

namespace audtool {

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
            throw InputError(source.name() +
                             ": unsupported format: one channel of big-endian 64-bit floats (the library "
                             "converts the byte order of 2, 3 and 4-byte samples only)");
        }
    }
    const unsigned bytes = maxFrames * format_.frameBytes();
    raw_ = new ByteBufferImpl(bytes);
    if (swapFirst_) swapped_ = new ByteBufferImpl(bytes);
    if (raw_->getSize() != bytes || (swapFirst_ && swapped_->getSize() != bytes))
        throw OutputError("out of memory for a block of " + source.name());
    floats_.assign(format_.channels, std::vector<float>(std::size_t(maxFrames) + kPadding, 0.0f));
}

unsigned BlockDecoder::decode(AudioSource& source, unsigned frames) {
    frames = std::min(frames, maxFrames_);
    const unsigned previous = framesRead_;
    const unsigned n = source.readFrames(static_cast<unsigned char*>(raw_->getBuffer()), frames);
    framesRead_ = n;
    if (n < previous)
        for (auto& ch : floats_) std::fill(ch.begin() + n, ch.begin() + previous, 0.0f);
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
    const AudioInterleaver::eStatus status = interleaver_.deinterleaveAudio(n, splitFormat_, src, list_);
    if (status != AudioInterleaver::kSuccess || list_.streamBuffers.size() != format_.channels)
        throw InputError(source.name() + ": the interleaver could not split a block (status " +
                         std::to_string(int(status)) + ")");
    // A reused list keeps its earlier count; this block holds n frames.
    list_.numSamples = n;
    for (unsigned c = 0; c < format_.channels; ++c)
        Aud::SampleConvert::toFloat(list_.sampleType, list_.streamBuffers[c].memory->getBuffer(), n,
                                    floats_[c].data());
    return n;
}

} // namespace audtool
