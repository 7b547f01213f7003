// AudioInterleaver: converts between interleaved audio (all channels of a sample frame
// side by side, as in a file) and planar audio (one buffer per channel) in one of the
// sample types of Aud::Metadata.
//
// - writeSamplesPlanar(planes, n): interleaves n samples of each plane (plane c is
//   channel c, in the format's sample type) into the object's scratch buffer, taking
//   every sample through float with clipping (see Aud__SampleManip.h for the exact
//   formulas). The result stays readable through getScratch() until the next call.
//   Planes: channelsPerStream * audioStreams of them, each n * stride bytes.
//   The scratch grows to n * width * (all channels of all streams) bytes, width being the
//   stride (or the sample type's own width if the stride is smaller), and never shrinks;
//   getScratchCapacity() reports its size in bytes (the largest request so far).
//   Sample type 5 prints "assertion failed false at ole/AudAtoms/Aud__SampleManip
//   line 514" once per sample written.
// - deinterleaveAudio(n, fmt, source, list): splits n frames of `source` into one
//   Aud::StreamBuffer per channel (created or reused by createOutputBuffers). 24-bit
//   samples in 4-byte containers (type 5) are unpacked to packed 24-bit (type 2).
//   Big-endian data is byte-reversed per sample. One channel is not copied: the list
//   shares the source's memory, and big-endian samples are swapped in place in the
//   source (4-byte samples become b0 b1 b1 b0: only the low half is kept, reversed).
// - copyBigEndianAudioToBuff(dst, src, count): byte-reverses samples by the format's
//   stride: stride 2 takes `count` samples; strides 3 and 4 take `count` bytes (whole
//   samples only); returns stride * count.
//
// Status numbers (AudioInterleaver::eStatus, not Aud::eStatus): 0 success, 3 channel
// count outside 1..32, 11 source too small or unsupported stride, 12 plane count differs
// from the channel count, 13 no samples or no source, 14 the buffers could not be
// allocated. writeSamplesPlanar and setNumChannels keep theirs in lastError;
// createOutputBuffers and deinterleaveAudio only return theirs.
//
// Threads: one object belongs to one thread at a time; no locks. Allocation happens
// only when the scratch must grow and when createOutputBuffers builds new buffers;
// the conversions themselves never allocate, lock or throw.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/buffers/Aud__StreamBuffer.h"
#include "AudAtoms/buffers/audiometadata.h"

#include <memory>
#include <vector>

class AUDATOMS_EXPORT AudioInterleaver {
public:
    enum eStatus : int {
        kSuccess = 0,
        kBadChannelCount = 3,
        kSourceTooSmall = 11,
        kPlaneCountMismatch = 12,
        kNoSamples = 13,
        kOutOfMemory = 14,
    };

    // Every field zero, the format too (data type 0) until one is set.
    AudioInterleaver();
    // Format: 1 stream of numChannels at 48000 Hz of the sample type, then the data type.
    AudioInterleaver(int sampleTypeNumber, unsigned numChannels, Aud::eDataType dataType);
    AudioInterleaver(int sampleTypeNumber, unsigned numChannels, int dataType);
    AudioInterleaver(const AudioInterleaver&) = delete;
    AudioInterleaver& operator=(const AudioInterleaver&) = delete;
    ~AudioInterleaver();

    void setAudioFormat(const Aud::Metadata& fmt) { format = fmt; }
    const Aud::Metadata& getAudioFormat() const { return format; }

    // 1..32: one stream of n channels, lastError 0. Otherwise only lastError = 3.
    eStatus setNumChannels(unsigned n);

    eStatus getLastError() const { return lastError; }
    eStatus sle(eStatus s) { return lastError = s; }

    // See above. lastError: 12 wrong plane count, 13 no samples, 14 scratch not
    // allocatable, else 0 (a sample type outside 0..9 logs
    // "WavExport: Mixer buffer sample format not supported!" and writes nothing).
    eStatus writeSamplesPlanar(const std::vector<const unsigned char*>& planes, unsigned numSamples);
    const unsigned char* getScratch() const { return scratch.get(); }
    unsigned getScratchCapacity() const { return scratchCapacity; }

    unsigned copyBigEndianAudioToBuff(unsigned char* dst, unsigned char* src, unsigned count) const;

    // Makes `list` hold one buffer per channel of numSamples samples: reuses it when it
    // already has one entry per channel, the first holding at least numSamples samples
    // and every entry memory of at least that many samples' bytes (used lengths reset
    // to 0; the list's numSamples and sampleType are left as they were); otherwise
    // rebuilds it. One channel: returns 0 and leaves the list alone.
    eStatus createOutputBuffers(unsigned numSamples, const Aud::Metadata& fmt, Aud::StreamBufferList& list);
    eStatus createOutputBuffers(unsigned numSamples, Aud::StreamBufferList& list);

    eStatus deinterleaveAudio(unsigned numSamples, const Aud::Metadata& fmt, const Qm::Ptr<iMemHolder>& source,
                              Aud::StreamBufferList& list);
    eStatus deinterleaveAudio(unsigned numSamples, const Qm::Ptr<iMemHolder>& source, Aud::StreamBufferList& list);

private:
    eStatus deinterleaveOneChannel(unsigned numSamples, const Aud::Metadata& fmt, const Qm::Ptr<iMemHolder>& source,
                                   Aud::StreamBufferList& list);

    Aud::Metadata format;
    std::unique_ptr<unsigned char[]> scratch;
    unsigned scratchCapacity = 0;
    eStatus lastError = kSuccess;
};
