// Per-channel sample memory of one block of audio.
//
// - Aud::StreamBuffer: one channel. `memory` holds the channel's sample bytes through
//   the host's reference-counted pointer; copying a buffer shares the memory (one more
//   reference), destroying it releases that reference. `numSamples` is a capacity in
//   samples, not bytes; the bytes are numSamples * Aud::sampleTypeStride(sampleType)
//   (audiometadata.h). `sampleType` is a sample type number 0..9, or -1 when unknown.
//   Producers in this library set `userTag` 0; it is copied and never interpreted.
// - Aud::StreamBufferList: one block, one entry per channel in channel order. Readers
//   take `numSamples` (samples per buffer) and `sampleType` from the list, not from the
//   entries: a reused list keeps its earlier values (see AudioInterleaver).
// - MemRef: an iMemHolder that is a window of `size` bytes at byte `offset` into
//   another holder (`target`). It keeps the target alive; the last reference to a
//   MemRef releases the target. A view is always fully used: getUsed() == getSize(),
//   and setUsed() changes nothing and returns 0.
//
// Memory lives as long as any StreamBuffer, MemRef or other Qm::Ptr refers to it.
// Threads: no locks. A list and its buffers belong to one thread at a time; only the
// reference counts are shared (they are atomic). Constructing buffers and lists does
// not allocate sample memory; MemRef construction allocates nothing but itself.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/MemHolder.h"
#include "platform/Ptr.h"

#include <vector>

namespace Aud {

struct AUDATOMS_EXPORT StreamBuffer {
    // userTag 0, no memory, 0 samples, sample type -1.
    StreamBuffer() = default;
    // The three fields given; no memory yet (hasMemory false).
    StreamBuffer(unsigned userTag_, unsigned numSamples_, int sampleType_)
        : userTag(userTag_), numSamples(numSamples_), sampleType(sampleType_) {}

    unsigned userTag = 0;
    Qm::Ptr<iMemHolder> memory;  // null when the buffer has no memory
    bool hasMemory = false;      // set by producers when they attach memory
    unsigned numSamples = 0;     // capacity in samples
    int sampleType = -1;         // sample type number, -1 = unknown
};

struct AUDATOMS_EXPORT StreamBufferList {
    std::vector<StreamBuffer> streamBuffers;  // one per channel, channel order
    unsigned numSamples = 0;                  // samples per buffer
    int sampleType = -1;                      // shared by all entries
};

}  // namespace Aud

class AUDATOMS_EXPORT MemRef : public iMemHolder {
public:
    // A view of `size` bytes starting `offset` bytes into `target`.
    MemRef(Qm::Ptr<iMemHolder> target, unsigned offset, unsigned size);
    // Releases the target (destroying it if this was its last reference).
    ~MemRef() override;
    MemRef(const MemRef&) = delete;
    MemRef& operator=(const MemRef&) = delete;

    // target->getBuffer() + offset; null when there is no target.
    void* getBuffer() const override;
    unsigned getSize() const override { return size_; }
    unsigned getUsed() const override { return size_; }
    // The used length of a view cannot change: does nothing, returns 0.
    int setUsed(unsigned) override { return 0; }

    const Qm::Ptr<iMemHolder>& getTarget() const { return target_; }
    unsigned getOffset() const { return offset_; }

private:
    Qm::Ptr<iMemHolder> target_;
    unsigned offset_;
    unsigned size_;
};
