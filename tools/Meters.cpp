#include "tools/Meters.h"

#include "AudAtoms/metering/Aud__MonitoringPoint.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace audtool {

double toDbfs(float peak) {
    if (!(peak > 0)) return -std::numeric_limits<double>::infinity();
    return 20.0 * std::log10(double(peak));
}

MeterSet::MeterSet() = default;
MeterSet::~MeterSet() = default;
MeterSet::MeterSet(MeterSet&&) noexcept = default;
MeterSet& MeterSet::operator=(MeterSet&&) noexcept = default;

void MeterSet::add(std::string label, const IdStamp& readerId) {
    labels_.push_back(std::move(label));
    ids_.push_back(readerId);
    readers_.push_back(std::make_unique<Aud::MonitoringPointReader>(readerId));
}

std::vector<MeterReading> MeterSet::read() const {
    std::vector<MeterReading> out;
    for (std::size_t i = 0; i < labels_.size(); ++i) {
        MeterReading r;
        r.label = labels_[i];
        r.peak = readers_[i]->peakValue(false);
        r.clipped = readers_[i]->hasClipped(false);
        out.push_back(r);
    }
    return out;
}

namespace {

void rows(std::string& out, const char* kind, const std::vector<MeterReading>& readings) {
    char line[512];
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const MeterReading& r = readings[i];
        const double db = toDbfs(r.peak);
        char level[32];
        if (std::isinf(db)) std::snprintf(level, sizeof level, "%8s", "-inf");
        else std::snprintf(level, sizeof level, "%8.2f", db);
        std::snprintf(line, sizeof line, "  %-3s %2zu  %s dBFS  %-4s  %s\n", kind, i, level, r.clipped ? "CLIP" : "",
                      r.label.c_str());
        out += line;
    }
}

}  // namespace

std::string formatMeterTable(const std::vector<MeterReading>& inputs, const std::vector<MeterReading>& outputs) {
    std::string out = "meter          peak        clip  channel\n";
    rows(out, "in", inputs);
    rows(out, "out", outputs);
    return out;
}

nlohmann::json meterJson(const std::vector<MeterReading>& readings) {
    nlohmann::json a = nlohmann::json::array();
    for (const MeterReading& r : readings) {
        const double db = toDbfs(r.peak);
        a.push_back({{"label", r.label},
                     {"peak", r.peak},
                     {"peak_dbfs", std::isinf(db) ? nlohmann::json(nullptr) : nlohmann::json(db)},
                     {"clipped", r.clipped}});
    }
    return a;
}

}  // namespace audtool
