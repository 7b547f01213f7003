// AudioChannelCache: per source (key), the last block of audio read, with the range of
// samples it covers, so that a later request inside that range is answered from memory.
// The answer is an Aud::StreamBuffer that views the cached memory through a MemRef (no
// copy); the view keeps the memory alive after the cache has moved on or been destroyed.
//
// Calling order of a reader: contains(req); if false, getBuffers(req) and fill the
// returned list; then getResult(req).
// Units: start and length in samples of the source; byte offsets from the list's
// sample type (Aud::sampleTypeStride).
// One entry per key, no eviction: an entry lives until the cache is destroyed and is
// overwritten in place by the next getBuffers() for its key.
// Threads: none inside; a cache belongs to one reader thread. getBuffers() may allocate
// a map node; getResult() allocates one MemRef when it returns a view.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/buffers/Aud__StreamBuffer.h"

#include <cstdint>
#include <map>

struct AUDATOMS_EXPORT AudioChannelCacheReq {
    unsigned key;         // which source
    unsigned channel;     // index into the entry's buffer list
    std::uint64_t start;  // first sample wanted
    unsigned length;      // samples wanted
};

class AUDATOMS_EXPORT AudioChannelCache {
public:
    struct CacheEntry {
        Aud::StreamBufferList buffers;  // empty: 0 samples, sample type -1
        std::uint64_t start = 0;        // first sample held
        std::uint64_t length = 0;       // samples held
    };

    // True when `key` has an entry and [start, start + length) lies inside its range.
    bool contains(const AudioChannelCacheReq& req) const;

    // Records req.start / req.length as the entry's range (creating the entry if
    // needed) and returns its list for the caller to fill.
    Aud::StreamBufferList& getBuffers(const AudioChannelCacheReq& req);

    // The request's channel from req.start to the end of the cached data: the cached
    // buffer itself when req.start is the entry's start, otherwise a view starting
    // (req.start - start) samples in, with that many fewer samples. req.length does not
    // shorten the view. A channel past the list gives a default buffer (type -1).
    // A request that is not contained prints "assertion failed contains( req ) at
    // ole/AudAtoms/AudioChannelCache line 31" first; a view that would start past the
    // cached bytes is then empty (size 0, at the end of the data).
    Aud::StreamBuffer getResult(const AudioChannelCacheReq& req);

private:
    std::map<unsigned, CacheEntry> entries_;
};
