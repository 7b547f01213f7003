#include "AudAtoms/buffers/AudioInterleaver.h"

#include "AudAtoms/buffers/Aud__SampleManip.h"
#include "AudAtoms/internal/AssertionSource.h"
#include "platform/Report.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace {

constexpr Aud::detail::AssertionSource kSource{"ole/AudAtoms/AudioInterleaver"};
constexpr std::uint64_t kMaxBytes = std::numeric_limits<unsigned>::max();

// Bytes one split sample takes, and the sample type its buffers carry: 24-bit samples
// in 4-byte containers are unpacked to packed 24-bit.
unsigned splitSampleBytes(const Aud::Metadata& fmt) {
    return fmt.getSampleTypeNumber() == 5 ? fmt.getBitsPerSample() / 8u : fmt.getStride();
}
int splitLabel(const Aud::Metadata& fmt) { return fmt.getSampleTypeNumber() == 5 ? 2 : fmt.getSampleTypeNumber(); }

bool isListShapeOk(const Aud::StreamBufferList& list, unsigned channels) {
    return list.streamBuffers.size() == channels || list.streamBuffers.empty();
}

}  // namespace

AudioInterleaver::AudioInterleaver() = default;

AudioInterleaver::AudioInterleaver(int sampleTypeNumber, unsigned numChannels, Aud::eDataType dataType)
    : format(1, numChannels, 48000, sampleTypeNumber, Aud::keLocationUnspecified) {
    format.setDataType(dataType);
}

AudioInterleaver::AudioInterleaver(int sampleTypeNumber, unsigned numChannels, int dataType)
    : AudioInterleaver(sampleTypeNumber, numChannels, Aud::eDataType(dataType)) {}

AudioInterleaver::~AudioInterleaver() = default;

AudioInterleaver::eStatus AudioInterleaver::setNumChannels(unsigned n) {
    if (n < 1 || n > 32) return sle(kBadChannelCount);
    format.setChannelsPerStream(n);
    format.setAudioStreams(1);
    return sle(kSuccess);
}

AudioInterleaver::eStatus AudioInterleaver::writeSamplesPlanar(const std::vector<const unsigned char*>& planes,
                                                               unsigned numSamples) {
    const std::uint64_t channels = std::uint64_t(format.getChannelsPerStream()) * format.getAudioStreams();
    if (planes.size() != channels) return sle(kPlaneCountMismatch);
    if (numSamples == 0) return sle(kNoSamples);
    for (const unsigned char* p : planes)
        if (!p) return sle(kNoSamples);

    // Sized for every channel written, and never below the type's own sample width.
    const int type = format.getSampleTypeNumber();
    const unsigned width = std::max(format.getStride(), Aud::sampleTypeStride(type));
    const std::uint64_t needed = std::uint64_t(numSamples) * width * channels;
    if (needed > kMaxBytes) return sle(kOutOfMemory);
    if (needed > scratchCapacity) {
        scratch.reset();
        scratchCapacity = 0;
        scratch.reset(new (std::nothrow) unsigned char[needed]());
        if (!scratch) return sle(kOutOfMemory);
        scratchCapacity = unsigned(needed);
    }

    if (!Aud::SampleManip::exportInterleaved(type, planes.data(), unsigned(channels), numSamples, scratch.get()))
        Log("WavExport: Mixer buffer sample format not supported!\n");
    return sle(kSuccess);
}

unsigned AudioInterleaver::copyBigEndianAudioToBuff(unsigned char* dst, unsigned char* src, unsigned count) const {
    const unsigned stride = format.getStride();
    switch (stride) {
    case 2: Aud::SampleManip::swapPairs(src, dst, count); break;
    case 3:
        kSource.report("false", 436);
        Aud::SampleManip::reverseTriples(src, dst, count / 3);
        break;
    case 4: Aud::SampleManip::reverseQuads(src, dst, count / 4); break;
    default: break;
    }
    return stride * count;
}

AudioInterleaver::eStatus AudioInterleaver::createOutputBuffers(unsigned numSamples, const Aud::Metadata& fmt,
                                                                Aud::StreamBufferList& list) {
    const unsigned channels = fmt.getChannelsPerStream();
    if (channels == 0 || channels > 32) return kBadChannelCount;
    if (channels == 1) return kSuccess;
    if (!isListShapeOk(list, channels))
        kSource.report("buffers.streamBuffers.size() == fmt.getChannelsPerStream() || buffers.streamBuffers.empty()",
                       177);

    const std::uint64_t bytes = std::uint64_t(numSamples) * splitSampleBytes(fmt);
    if (bytes > kMaxBytes) return kOutOfMemory;

    auto& buffers = list.streamBuffers;
    if (buffers.size() == channels && buffers[0].numSamples >= numSamples) {
        // Reuse, unless an entry's memory could not take the samples (a list built for
        // another, narrower sample type, or entries without memory).
        bool fits = true;
        for (const auto& b : buffers) fits = fits && b.memory && b.memory->getSize() >= bytes;
        if (fits) {
            for (auto& b : buffers) b.memory->setUsed(0);
            return kSuccess;
        }
    }

    buffers.clear();
    buffers.reserve(channels);
    const int label = splitLabel(fmt);
    for (unsigned c = 0; c < channels; ++c) {
        Aud::StreamBuffer b(0, numSamples, label);
        Qm::Ptr<ByteBufferImpl> memory(new ByteBufferImpl());
        if (!memory->alloc(unsigned(bytes))) {
            buffers.clear();
            return kOutOfMemory;
        }
        b.memory = memory;
        b.hasMemory = true;
        buffers.push_back(b);
    }
    list.numSamples = numSamples;
    list.sampleType = label;
    return kSuccess;
}

AudioInterleaver::eStatus AudioInterleaver::createOutputBuffers(unsigned numSamples, Aud::StreamBufferList& list) {
    return createOutputBuffers(numSamples, format, list);
}

AudioInterleaver::eStatus AudioInterleaver::deinterleaveAudio(unsigned numSamples, const Aud::Metadata& fmt,
                                                              const Qm::Ptr<iMemHolder>& source,
                                                              Aud::StreamBufferList& list) {
    if (!source) return kNoSamples;
    if (source->getUsed() == 0) {
        kSource.report("false", 245);
        return kSuccess;
    }
    const eStatus created = createOutputBuffers(numSamples, fmt, list);
    if (created != kSuccess) return created;

    const unsigned channels = fmt.getChannelsPerStream();
    if (channels == 1) return deinterleaveOneChannel(numSamples, fmt, source, list);

    const unsigned stride = fmt.getStride();
    const unsigned sampleBytes = splitSampleBytes(fmt);
    const bool bigEndian = fmt.isBigEndian();
    const std::uint64_t frameBytes = std::uint64_t(channels) * stride;
    // Farthest byte read in a frame (beyond the frame itself for odd formats).
    const std::uint64_t reach =
        bigEndian ? std::uint64_t(channels - 1) * stride + sampleBytes : std::uint64_t(channels) * sampleBytes;
    const std::uint64_t size = source->getSize();
    if (std::uint64_t(numSamples) * frameBytes > size ||
        (numSamples > 0 && std::uint64_t(numSamples - 1) * frameBytes + reach > size)) {
        kSource.report("false", 326);
        return kSourceTooSmall;
    }
    if (!isListShapeOk(list, channels))
        kSource.report("buffers.streamBuffers.size() == fmt.getChannelsPerStream() || buffers.streamBuffers.empty()",
                       331);

    const auto* src = static_cast<const unsigned char*>(source->getBuffer());
    if (!src && numSamples > 0 && sampleBytes > 0) return kNoSamples;
    unsigned char* outs[32];
    for (unsigned c = 0; c < channels; ++c) {
        iMemHolder& memory = *list.streamBuffers[c].memory;
        memory.setUsed(numSamples * sampleBytes);
        outs[c] = static_cast<unsigned char*>(memory.getBuffer());
    }
    Aud::SampleManip::splitInterleaved(src, channels, stride, sampleBytes, bigEndian, numSamples, outs);
    return created;
}

AudioInterleaver::eStatus AudioInterleaver::deinterleaveAudio(unsigned numSamples, const Qm::Ptr<iMemHolder>& source,
                                                              Aud::StreamBufferList& list) {
    return deinterleaveAudio(numSamples, format, source, list);
}

AudioInterleaver::eStatus AudioInterleaver::deinterleaveOneChannel(unsigned numSamples, const Aud::Metadata& fmt,
                                                                   const Qm::Ptr<iMemHolder>& source,
                                                                   Aud::StreamBufferList& list) {
    if (fmt.isBigEndian()) {
        const unsigned stride = fmt.getStride();
        if (stride < 2 || stride > 4) return kSourceTooSmall;
        if (std::uint64_t(numSamples) * stride > source->getSize()) return kSourceTooSmall;
        auto* data = static_cast<unsigned char*>(source->getBuffer());
        if (!data && numSamples > 0) return kNoSamples;
        if (stride == 2) Aud::SampleManip::swapPairs(data, data, numSamples);
        if (stride == 3) Aud::SampleManip::reverseTriples(data, data, numSamples);
        // Bytes 0 and 1 stay, byte 1 goes to 2 and byte 0 to 3 (this path's behaviour).
        if (stride == 4) Aud::SampleManip::mirrorLowHalf(data, data, numSamples);
    }
    list.streamBuffers.clear();
    Aud::StreamBuffer b(0, numSamples, fmt.getSampleTypeNumber());
    b.memory = source;
    b.hasMemory = true;
    list.streamBuffers.push_back(b);
    list.numSamples = numSamples;
    list.sampleType = fmt.getSampleTypeNumber();
    return kSuccess;
}
