// Monitoring points: the process-wide registry through which the audio side passes
// peak levels and clip events to any number of meter displays.
//
// - The audio side registers a point (MonitoringPointManager::registerMP) and gets a
//   reader id, handed to displays, and a writer id, which it wraps in a
//   MonitoringPointWriter and writes peaks and clips through.
// - Each display makes its own MonitoringPointReader from the reader id. Every reader
//   has its own state (held peak, clip latch), so one display taking a value never
//   disturbs another.
// - Levels are linear, 1.0 = full scale. Times are milliseconds from
//   service_get_msecs_precise().
//
// Peak hold of a reader: writes accumulate the maximum; peakValue(true) "takes" the
// peak, after which the next write replaces it instead of raising it. If no write
// arrives for more than 40 ms after a take, the reader's peak falls to 0.
//
// Threads and locks:
// - The manager is created on first use (double-checked under a global lock) and never
//   destroyed. One CriticalSection guards every map, every reader list and every
//   writer update (the writer calls run on the audio thread and take that lock; they
//   never allocate).
// - peakValue() and hasClipped() read and write their own reader's state without the
//   lock; a reading that interleaves with a write is accepted (the fields are atomic,
//   so there is no data race, only a possibly one-write-old value).
// - A MonitoringPointReader object itself is used by one thread at a time.
// - Registering, unregistering and making or destroying readers allocate.
//
// Unregistering a point orphans its readers: they stay valid objects, valid() turns
// false, and they read nothing new. The point's description stays findable.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/io/Aud__IO_Direction.h"
#include "AudAtoms/core/Aud__Status.h"

#include "platform/CriticalSection.h"
#include "platform/IdStamp.h"
#include "platform/LightweightString.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <unordered_set>

namespace Aud {

// Description of a monitoring point, copied into the registry at registration.
struct AUDATOMS_EXPORT MonitoringPointInfo {
    std::int32_t kind = 0;                   // what is metered; 0 = sample peak level
    LightweightString<wchar_t> name;         // display name of the point
    LightweightString<wchar_t> group;        // display group (e.g. a device), may be empty
    LightweightString<wchar_t> description;  // longer text for tool tips, may be empty
    std::int32_t channelCount = 0;           // channels metered by the point
    float displayRangeDb = 0.0f;             // meter scale: decibels shown below full scale
};

// The state of one reader, owned by the manager. Ids are changed under the manager's
// lock only; the level fields are also touched lock-free by the owning reader.
struct AUDATOMS_EXPORT MonitoringPointReaderListEntry {
    IdStamp pointId = IdStamp::invalidId();    // writer id of the point; invalid when orphaned
    IdStamp readerKey = IdStamp::invalidId();  // the reader id the reader was made with
    std::atomic<float> peak{0.0f};             // held peak, linear
    std::atomic<bool> clipped{false};          // clip latch
    std::atomic<bool> peakTaken{false};        // the reader took the peak and wants a new one
    std::atomic<double> peakTakenTime{0.0};    // when it did so, milliseconds
};

class AUDATOMS_EXPORT MonitoringPointManager {
public:
    using Entry = MonitoringPointReaderListEntry;

    static MonitoringPointManager& instance();

    // Registers a point described by info; writes fresh reader and writer ids.
    static eStatus registerMP(const MonitoringPointInfo& info, IdStamp& readerId, IdStamp& writerId);
    // Unregisters the point with this writer id, orphaning its readers. 7 if unknown.
    static eStatus unregisterMP(const IdStamp& writerId);
    // The description registered under a writer id (see mpGetInfo).
    static MonitoringPointInfo getInfo(const IdStamp& id);
    // Not provided by this registry: reports and returns an invalid id.
    static IdStamp getInternalReaderId(unsigned channel, eIO_Direction direction);

    // Locked inner operations (the public wrappers above and the reader/writer
    // classes call these).
    eStatus mpRegister(const MonitoringPointInfo& info, IdStamp& readerId, IdStamp& writerId);
    eStatus mpUnregister(const IdStamp& writerId);
    // The description under id; failing that, under the id writerToReader maps it
    // to; failing that, an empty description.
    MonitoringPointInfo mpGetInfo(const IdStamp& id);
    // A new reader state for a reader id: listed under its point, or orphaned when
    // the reader id is not (or no longer) registered. Never null.
    Entry* mpAddReader(const IdStamp& readerId);
    // Unlinks and frees a reader state. 7 for null (with a fatal report) and for a
    // state that is not live (already removed); the pointer is never dereferenced
    // before it is found among the live states.
    eStatus mpRemoveReader(Entry* entry);
    void mpUpdatePeakSampleValue(const IdStamp& writerId, float value);
    void mpUpdateHasClipped(const IdStamp& writerId);
    void mpReset(const IdStamp& writerId);
    // Reads a live entry's ids under the lock (both invalid for a state not live).
    void mpGetEntryIds(const Entry* entry, IdStamp& readerKey, IdStamp& pointId);

    // Number of points registered and not unregistered, of live reader states listed
    // under points, and of orphaned reader states (for diagnostics and tests).
    std::size_t numPoints();
    std::size_t numListedReaders();
    std::size_t numOrphans();

private:
    friend void forgetReaderMappingForTesting(MonitoringPointManager&, const IdStamp&);
    MonitoringPointManager() = default;
    MonitoringPointManager(const MonitoringPointManager&) = delete;
    MonitoringPointManager& operator=(const MonitoringPointManager&) = delete;

    std::map<IdStamp, MonitoringPointInfo> infos;
    std::map<IdStamp, IdStamp> readerToWriter;
    std::map<IdStamp, IdStamp> writerToReader;
    CriticalSection lock;
    std::list<Entry*> orphans;
    std::multimap<IdStamp, Entry*> readers;
    std::unordered_set<const Entry*> live_;  // every entry handed out and not yet freed
};

// The audio side's handle on a point: the writer id. Copied freely.
class AUDATOMS_EXPORT MonitoringPointWriter {
public:
    MonitoringPointWriter() : id_(IdStamp::invalidId()) {}
    explicit MonitoringPointWriter(const IdStamp& writerId) : id_(writerId) {}

    const IdStamp& getId() const { return id_; }
    bool valid() const { return id_.valid(); }

    // Audio thread; take the registry lock briefly, never allocate.
    void updatePeakSampleValue(float value) const;  // linear, 1.0 = full scale
    void updateHasClipped() const;                  // every reader's peak becomes at least 1.0
    void reset() const;                             // every reader back to 0, no clip

private:
    IdStamp id_;
};

// A display's handle on a point, with its own peak hold and clip latch.
class AUDATOMS_EXPORT MonitoringPointReader {
public:
    MonitoringPointReader() = default;
    explicit MonitoringPointReader(const IdStamp& readerId);
    MonitoringPointReader(const MonitoringPointReader& other);
    MonitoringPointReader& operator=(const MonitoringPointReader& other);
    ~MonitoringPointReader();

    // The reader id this reader was made with; invalid without a state or once orphaned.
    IdStamp getId() const;
    // True while the reader has a state and its point is registered.
    bool valid() const;
    // The held peak (linear); take = start a new hold period. Lock-free.
    float peakValue(bool take);
    // The clip latch; clear = reset it. Lock-free.
    bool hasClipped(bool clear);

    // The reader's state in the registry, or null (for diagnostics and tests).
    MonitoringPointReaderListEntry* getEntry() const { return entry(); }

private:
    MonitoringPointReaderListEntry* entry() const { return slot_ ? *slot_ : nullptr; }
    void releaseEntry();

    MonitoringPointReaderListEntry** slot_ = nullptr;
};

}  // namespace Aud
