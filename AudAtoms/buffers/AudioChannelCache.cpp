#include "AudAtoms/buffers/AudioChannelCache.h"

#include "AudAtoms/buffers/audiometadata.h"
#include "AudAtoms/internal/AssertionSource.h"

#include <algorithm>
#include <cstdint>

namespace {
constexpr Aud::detail::AssertionSource kSource{"ole/AudAtoms/AudioChannelCache"};
}

bool AudioChannelCache::contains(const AudioChannelCacheReq& req) const {
    const auto it = entries_.find(req.key);
    if (it == entries_.end()) return false;
    const CacheEntry& e = it->second;
    if (req.start < e.start) return false;
    return req.start + req.length <= e.start + e.length;
}

Aud::StreamBufferList& AudioChannelCache::getBuffers(const AudioChannelCacheReq& req) {
    CacheEntry& e = entries_[req.key];
    e.start = req.start;
    e.length = req.length;
    return e.buffers;
}

Aud::StreamBuffer AudioChannelCache::getResult(const AudioChannelCacheReq& req) {
    if (!contains(req)) kSource.report("contains( req )", 31);
    CacheEntry& e = entries_[req.key];
    if (req.channel >= e.buffers.streamBuffers.size()) return Aud::StreamBuffer();

    const Aud::StreamBuffer& cached = e.buffers.streamBuffers[req.channel];
    if (req.start == e.start) return cached;

    const int type = e.buffers.sampleType;
    unsigned bytesPerSample = 0;
    if (type < 0 || type > 9) kSource.report("false", 59);
    else bytesPerSample = Aud::sampleTypeStride(type);

    const unsigned sampleOffset = unsigned(req.start - e.start);
    Aud::StreamBuffer view = cached;
    view.numSamples = cached.numSamples > sampleOffset ? cached.numSamples - sampleOffset : 0u;
    if (cached.memory) {
        const unsigned used = cached.memory->getUsed();
        const unsigned byteOffset =
            unsigned(std::min<std::uint64_t>(std::uint64_t(bytesPerSample) * sampleOffset, used));
        view.memory = Qm::Ptr<iMemHolder>(new MemRef(cached.memory, byteOffset, used - byteOffset));
    }
    return view;
}
