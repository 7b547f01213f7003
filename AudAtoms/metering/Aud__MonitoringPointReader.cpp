#include "AudAtoms/metering/Aud__MonitoringPoint.h"

#include "platform/OS.h"
#include "platform/Report.h"

namespace Aud {

namespace {
constexpr double kPeakHoldMsecs = 40.0;  // a taken peak with no write for longer falls to 0
}

void MonitoringPointWriter::updatePeakSampleValue(float value) const {
    MonitoringPointManager::instance().mpUpdatePeakSampleValue(id_, value);
}

void MonitoringPointWriter::updateHasClipped() const { MonitoringPointManager::instance().mpUpdateHasClipped(id_); }

void MonitoringPointWriter::reset() const { MonitoringPointManager::instance().mpReset(id_); }

MonitoringPointReader::MonitoringPointReader(const IdStamp& readerId)
    : slot_(new MonitoringPointReaderListEntry*(MonitoringPointManager::instance().mpAddReader(readerId))) {}

MonitoringPointReader::MonitoringPointReader(const MonitoringPointReader& other) {
    if (MonitoringPointReaderListEntry* src = other.entry()) {
        IdStamp key = IdStamp::invalidId(), point = IdStamp::invalidId();
        MonitoringPointManager& m = MonitoringPointManager::instance();
        m.mpGetEntryIds(src, key, point);
        slot_ = new MonitoringPointReaderListEntry*(m.mpAddReader(key));
    }
}

// Self-assignment (or assigning a reader of the same point) returns before releasing.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
MonitoringPointReader& MonitoringPointReader::operator=(const MonitoringPointReader& other) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    MonitoringPointReaderListEntry* own = entry();
    MonitoringPointReaderListEntry* src = other.entry();
    IdStamp srcKey = IdStamp::invalidId(), srcPoint = IdStamp::invalidId();
    if (src) m.mpGetEntryIds(src, srcKey, srcPoint);
    if (own && src) {
        IdStamp ownKey = IdStamp::invalidId(), ownPoint = IdStamp::invalidId();
        m.mpGetEntryIds(own, ownKey, ownPoint);
        if (ownKey == srcKey && ownPoint == srcPoint) return *this;
    }
    releaseEntry();
    if (src) {
        if (!slot_) slot_ = new MonitoringPointReaderListEntry*(nullptr);
        *slot_ = m.mpAddReader(srcKey);
    }
    return *this;
}

MonitoringPointReader::~MonitoringPointReader() {
    releaseEntry();
    delete slot_;
}

void MonitoringPointReader::releaseEntry() {
    if (MonitoringPointReaderListEntry* own = entry()) {
        if (!isOk(MonitoringPointManager::instance().mpRemoveReader(own)))
            ole_splat("Unexpected state in MonitoringPointReader::operator=");
        *slot_ = nullptr;
    }
}

IdStamp MonitoringPointReader::getId() const {
    IdStamp key = IdStamp::invalidId(), point = IdStamp::invalidId();
    if (const MonitoringPointReaderListEntry* e = entry())
        MonitoringPointManager::instance().mpGetEntryIds(e, key, point);
    return key;
}

bool MonitoringPointReader::valid() const {
    IdStamp key = IdStamp::invalidId(), point = IdStamp::invalidId();
    const MonitoringPointReaderListEntry* e = entry();
    if (!e) return false;
    MonitoringPointManager::instance().mpGetEntryIds(e, key, point);
    return point.valid();
}

float MonitoringPointReader::peakValue(bool take) {
    MonitoringPointReaderListEntry* e = entry();
    if (!e) return 0.0f;
    const double now = service_get_msecs_precise();
    if (e->peakTaken.load(std::memory_order_acquire) &&
        now - e->peakTakenTime.load(std::memory_order_relaxed) > kPeakHoldMsecs) {
        e->peak.store(0.0f, std::memory_order_relaxed);
        e->peakTaken.store(false, std::memory_order_release);
    }
    const float result = e->peak.load(std::memory_order_acquire);
    if (take) {
        e->peakTakenTime.store(now, std::memory_order_relaxed);
        e->peakTaken.store(true, std::memory_order_release);
    }
    return result;
}

bool MonitoringPointReader::hasClipped(bool clear) {
    MonitoringPointReaderListEntry* e = entry();
    if (!e) return false;
    return clear ? e->clipped.exchange(false, std::memory_order_acq_rel) : e->clipped.load(std::memory_order_acquire);
}

}  // namespace Aud
