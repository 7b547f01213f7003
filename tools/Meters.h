// Level meters read through the library's monitoring points: each metered channel is a
// point registered by an Aud::Monitor, and the tool holds one
// Aud::MonitoringPointReader per point. A reader that never takes its peak holds the
// largest peak posted since it was made; a clip event (a block peak above 0.99) sets
// its clip latch and raises its peak to at least 1.0 (0 dBFS).
// The meter table: one row per input and output channel with the peak in dBFS and a
// clip mark; as text or as JSON.
// Threads: the main thread of the tool (the registry itself is thread-safe).
#pragma once

#include "platform/IdStamp.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace Aud {
class MonitoringPointReader;
}

namespace audtool {

struct MeterReading {
    std::string label;
    float peak = 0;  // linear, 1.0 = full scale
    bool clipped = false;
};

// 20 log10(peak); -infinity for 0.
double toDbfs(float peak);

class MeterSet {
public:
    MeterSet();
    ~MeterSet();
    MeterSet(MeterSet&&) noexcept;
    MeterSet& operator=(MeterSet&&) noexcept;

    void add(std::string label, const IdStamp& readerId);
    std::size_t size() const { return labels_.size(); }
    std::vector<MeterReading> read() const;
    // The reader id of meter i (a display makes its own reader from it).
    const IdStamp& readerId(std::size_t i) const { return ids_.at(i); }
    const std::string& label(std::size_t i) const { return labels_.at(i); }

private:
    std::vector<std::string> labels_;
    std::vector<IdStamp> ids_;
    std::vector<std::unique_ptr<Aud::MonitoringPointReader>> readers_;
};

// "  in  0  peak  -6.02 dBFS  CLIP  label" rows under an "inputs" and an "outputs" head.
std::string formatMeterTable(const std::vector<MeterReading>& inputs, const std::vector<MeterReading>& outputs);
// [{"label":..., "peak":linear, "peak_dbfs":number or null, "clipped":bool}, ...]
nlohmann::json meterJson(const std::vector<MeterReading>& readings);

}  // namespace audtool
