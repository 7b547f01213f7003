// Aud::Monitor: meters the physical inputs of the audio hardware. It registers one
// monitoring point per input channel (named "[DSXAudio][PhysicalInput][<i>]") and, for
// every block of input audio, posts each channel's absolute peak (linear, 1.0 = full
// scale) to that channel's point, with a clip event when the peak exceeds 0.99.
//
// Threads: registerMonitoringPoints runs before the first update (it allocates and
// takes the registry lock). updateMonitoringPoints runs on the audio thread: it does
// not allocate, takes only the registry's lock through the writers, and logs only for
// a buffer of an unsupported sample type.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/metering/Aud__MonitoringPoint.h"
#include "AudAtoms/buffers/Aud__StreamBuffer.h"

#include "platform/IdStamp.h"

#include <vector>

namespace Aud {

class AUDATOMS_EXPORT Monitor {
public:
    Monitor() = default;
    virtual ~Monitor() = default;

    // Registers points for input channels 0 .. count-1 and appends their ids (so a
    // second call adds a second set). Count 0 does nothing.
    void registerMonitoringPoints(unsigned count);

    // The reader id of input i's point; out of range, a per-thread shared id that is
    // made invalid on every such call.
    const IdStamp& getInputMonitoringPointId(unsigned i) const;

    // Scans buffer k of the list (k below the number of writers and of buffers) for its
    // peak over list.numSamples samples of list.sampleType, and posts it to writer k.
    // A sample type outside 0..9 logs "Monitor: buffer sample format not supported!"
    // and posts 0. A buffer without memory, or with less memory than the list claims,
    // is scanned only as far as its memory goes.
    void updateMonitoringPoints(StreamBufferList& list);

    std::size_t numInputs() const { return writers.size(); }
    const MonitoringPointWriter& getWriter(unsigned i) const { return writers[i]; }

private:
    std::vector<IdStamp> inputIds;               // reader id per input channel
    std::vector<MonitoringPointWriter> writers;  // writer per input channel
};

}  // namespace Aud
