#include "AudAtoms/metering/Aud__MonitoringPoint_testing.h"

#include "AudAtoms/internal/AssertionSource.h"
#include "platform/Report.h"

#include <algorithm>

namespace Aud {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__MonitoringPoint"};
std::atomic<MonitoringPointManager*> theManager{nullptr};

CriticalSection& creationLock() {
    static CriticalSection* cs = new CriticalSection;  // lives until exit
    return *cs;
}
}  // namespace

MonitoringPointManager& MonitoringPointManager::instance() {
    MonitoringPointManager* m = theManager.load(std::memory_order_acquire);
    if (m) return *m;
    CriticalSectionGuard g(creationLock());
    m = theManager.load(std::memory_order_relaxed);
    if (!m) {
        m = new MonitoringPointManager;  // never destroyed
        theManager.store(m, std::memory_order_release);
    }
    return *m;
}

eStatus MonitoringPointManager::registerMP(const MonitoringPointInfo& info, IdStamp& readerId, IdStamp& writerId) {
    return instance().mpRegister(info, readerId, writerId);
}

eStatus MonitoringPointManager::unregisterMP(const IdStamp& writerId) { return instance().mpUnregister(writerId); }

MonitoringPointInfo MonitoringPointManager::getInfo(const IdStamp& id) { return instance().mpGetInfo(id); }

IdStamp MonitoringPointManager::getInternalReaderId(unsigned, eIO_Direction) {
    kSource.report("false", 240);
    return IdStamp::invalidId();
}

eStatus MonitoringPointManager::mpRegister(const MonitoringPointInfo& info, IdStamp& readerId, IdStamp& writerId) {
    const IdStamp r;
    const IdStamp w;
    {
        CriticalSectionGuard g(lock);
        readerToWriter[r] = w;
        writerToReader[w] = r;
        infos[w] = info;
    }
    readerId = r;
    writerId = w;
    return sSuccess;
}

eStatus MonitoringPointManager::mpUnregister(const IdStamp& writerId) {
    CriticalSectionGuard g(lock);
    const auto w2r = writerToReader.find(writerId);
    if (w2r == writerToReader.end()) return sInvalid;
    const IdStamp readerId = w2r->second;
    writerToReader.erase(w2r);
    const auto r2w = readerToWriter.find(readerId);
    if (r2w == readerToWriter.end()) ole_splat("Unexpected state in Aud::MonitoringPointManager (1)");
    else readerToWriter.erase(r2w);

    const auto range = readers.equal_range(writerId);
    for (auto it = range.first; it != range.second; ++it) {
        Entry* e = it->second;
        e->pointId.invalidate();
        e->readerKey.invalidate();
        orphans.push_back(e);
    }
    readers.erase(range.first, range.second);
    // The description stays in infos so that late getInfo calls still find it.
    return sSuccess;
}

MonitoringPointInfo MonitoringPointManager::mpGetInfo(const IdStamp& id) {
    static const MonitoringPointInfo* const empty = new MonitoringPointInfo;  // made once
    CriticalSectionGuard g(lock);
    if (const auto it = infos.find(id); it != infos.end()) return it->second;
    if (const auto w2r = writerToReader.find(id); w2r != writerToReader.end())
        if (const auto it = infos.find(w2r->second); it != infos.end()) return it->second;
    return *empty;
}

MonitoringPointManager::Entry* MonitoringPointManager::mpAddReader(const IdStamp& readerId) {
    Entry* e = new Entry;
    CriticalSectionGuard g(lock);
    e->readerKey = readerId;
    const auto r2w = readerToWriter.find(readerId);
    if (r2w != readerToWriter.end()) e->pointId = r2w->second;
    if (e->pointId.valid()) readers.emplace(e->pointId, e);
    else orphans.push_back(e);
    live_.insert(e);
    return e;
}

eStatus MonitoringPointManager::mpRemoveReader(Entry* entry) {
    if (!entry) {
        ole_splat("Illegal client ptr in Aud::MonitoringPointManager::mpRemoveReader");
        return sInvalid;
    }
    CriticalSectionGuard g(lock);
    // Only a live entry may be read: a second removal must not touch freed memory.
    const auto live = live_.find(entry);
    if (live == live_.end()) return sInvalid;
    const auto range = readers.equal_range(entry->pointId);
    for (auto it = range.first; it != range.second; ++it) {
        if (it->second != entry) continue;
        readers.erase(it);
        live_.erase(live);
        delete entry;
        return sSuccess;
    }
    if (const auto it = std::find(orphans.begin(), orphans.end(), entry); it != orphans.end()) {
        orphans.erase(it);
        live_.erase(live);
        delete entry;
        return sSuccess;
    }
    return sInvalid;
}

void MonitoringPointManager::mpUpdatePeakSampleValue(const IdStamp& writerId, float value) {
    CriticalSectionGuard g(lock);
    const auto range = readers.equal_range(writerId);
    for (auto it = range.first; it != range.second; ++it) {
        Entry& e = *it->second;
        if (e.peakTaken.load(std::memory_order_acquire) || value > e.peak.load(std::memory_order_relaxed)) {
            e.peakTaken.store(false, std::memory_order_relaxed);
            e.peak.store(value, std::memory_order_release);
        }
    }
}

void MonitoringPointManager::mpUpdateHasClipped(const IdStamp& writerId) {
    CriticalSectionGuard g(lock);
    const auto range = readers.equal_range(writerId);
    for (auto it = range.first; it != range.second; ++it) {
        Entry& e = *it->second;
        e.clipped.store(true, std::memory_order_release);
        if (e.peakTaken.load(std::memory_order_acquire) || e.peak.load(std::memory_order_relaxed) < 1.0f) {
            e.peakTaken.store(false, std::memory_order_relaxed);
            e.peak.store(1.0f, std::memory_order_release);
        }
    }
}

void MonitoringPointManager::mpReset(const IdStamp& writerId) {
    CriticalSectionGuard g(lock);
    const auto range = readers.equal_range(writerId);
    for (auto it = range.first; it != range.second; ++it) {
        Entry& e = *it->second;
        e.peak.store(0.0f, std::memory_order_relaxed);
        e.clipped.store(false, std::memory_order_relaxed);
        e.peakTaken.store(false, std::memory_order_release);
    }
}

void MonitoringPointManager::mpGetEntryIds(const Entry* entry, IdStamp& readerKey, IdStamp& pointId) {
    CriticalSectionGuard g(lock);
    if (entry && live_.count(entry)) {
        readerKey = entry->readerKey;
        pointId = entry->pointId;
    } else {
        readerKey.invalidate();
        pointId.invalidate();
    }
}

std::size_t MonitoringPointManager::numPoints() {
    CriticalSectionGuard g(lock);
    return writerToReader.size();
}

std::size_t MonitoringPointManager::numListedReaders() {
    CriticalSectionGuard g(lock);
    return readers.size();
}

std::size_t MonitoringPointManager::numOrphans() {
    CriticalSectionGuard g(lock);
    return orphans.size();
}

void forgetReaderMappingForTesting(MonitoringPointManager& manager, const IdStamp& readerId) {
    CriticalSectionGuard g(manager.lock);
    manager.readerToWriter.erase(readerId);
}

}  // namespace Aud
