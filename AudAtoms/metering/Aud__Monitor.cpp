#include "AudAtoms/metering/Aud__Monitor.h"

#include "AudAtoms/kernels/Aud__PeakScan.h"
#include "AudAtoms/buffers/audiometadata.h"

#include "platform/Report.h"

#include <algorithm>
#include <cstdio>

namespace Aud {

void Monitor::registerMonitoringPoints(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        char name[128];
        std::snprintf(name, sizeof name, "[DSXAudio][PhysicalInput][%d]", int(i));
        MonitoringPointInfo info;
        info.kind = 0;
        info.name = Qm::WStringFromAscii(name);
        info.channelCount = 1;
        info.displayRangeDb = 60.0f;
        IdStamp readerId = IdStamp::invalidId(), writerId = IdStamp::invalidId();
        MonitoringPointManager::registerMP(info, readerId, writerId);
        inputIds.push_back(readerId);
        writers.emplace_back(writerId);
    }
}

const IdStamp& Monitor::getInputMonitoringPointId(unsigned i) const {
    if (i < inputIds.size()) return inputIds[i];
    thread_local IdStamp none = IdStamp::invalidId();
    none.invalidate();
    return none;
}

void Monitor::updateMonitoringPoints(StreamBufferList& list) {
    if (list.streamBuffers.empty() || writers.empty()) return;
    const int type = list.sampleType;
    const bool supported = type >= 0 && type <= 9;
    const unsigned stride = sampleTypeStride(type);
    const std::size_t channels = std::min(writers.size(), list.streamBuffers.size());
    for (std::size_t k = 0; k < channels; ++k) {
        float p = 0.0f;
        if (!supported) {
            LogBoth("Monitor: buffer sample format not supported!\n");
        } else if (const iMemHolder* mem = list.streamBuffers[k].memory.get()) {
            if (const void* data = mem->getBuffer()) {
                const unsigned count = std::min(list.numSamples, mem->getSize() / stride);
                p = PeakScan::peak(type, data, count);
            }
        }
        MonitoringPointWriter& w = writers[k];
        if (double(p) > 0.99) w.updateHasClipped();
        w.updatePeakSampleValue(p);
    }
}

}  // namespace Aud
