// The monitor's peak computation for sample types 0 (float32), 1 (int16) and 2 (packed
// int24) over 8 channels of 1024 frames: the plain scalar loop (the reference table),
// each vectorised table the CPU runs, and a whole Monitor::updateMonitoringPoints call
// (active table plus the registry writes). Prints a table of CPU-time ratios at the
// end (CPU time, because the machine the figures come from is shared).
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__PeakScan_testing.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned kChannels = 8;
constexpr unsigned kFrames = 1024;
const unsigned kStride[3] = {4, 2, 3};

// 8 channels of noise in the given sample type.
std::vector<std::vector<unsigned char>> makeChannels(int type) {
    std::mt19937 rng(7 + type);
    std::vector<std::vector<unsigned char>> ch(kChannels, std::vector<unsigned char>(kFrames * kStride[type]));
    for (auto& c : ch) {
        for (unsigned i = 0; i < kFrames; ++i) {
            if (type == 0) {
                const float v = std::uniform_real_distribution<float>(-0.9f, 0.9f)(rng);
                std::memcpy(&c[4 * i], &v, 4);
            } else {
                for (unsigned b = 0; b < kStride[type]; ++b)
                    c[kStride[type] * i + b] = static_cast<unsigned char>(rng());
            }
        }
    }
    return ch;
}

void runTable(benchmark::State& state, const Aud::PeakScan::Kernels* table, int type) {
    if (!table) {
        state.SkipWithError("not supported on this CPU");
        return;
    }
    const auto ch = makeChannels(type);
    for (auto _ : state) {
        for (const auto& c : ch) benchmark::DoNotOptimize(table->peak[type](c.data(), kFrames));
    }
    state.SetItemsProcessed(state.iterations() * kChannels * kFrames);
}

void runMonitor(benchmark::State& state, int type) {
    Aud::Monitor monitor;
    monitor.registerMonitoringPoints(kChannels);
    std::vector<Aud::MonitoringPointReader> readers;
    readers.reserve(kChannels);
    for (unsigned i = 0; i < kChannels; ++i) readers.emplace_back(monitor.getInputMonitoringPointId(i));
    Aud::StreamBufferList list;
    list.numSamples = kFrames;
    list.sampleType = type;
    for (const auto& c : makeChannels(type)) {
        Aud::StreamBuffer b(0, kFrames, type);
        auto* mem = new ByteBufferImpl(unsigned(c.size()));
        std::memcpy(mem->getBuffer(), c.data(), c.size());
        b.memory = Qm::Ptr<iMemHolder>(mem);
        b.hasMemory = true;
        list.streamBuffers.push_back(b);
    }
    for (auto _ : state) monitor.updateMonitoringPoints(list);
    state.SetItemsProcessed(state.iterations() * kChannels * kFrames);
}

void registerAll() {
    const char* typeName[3] = {"float32", "int16", "int24"};
    for (int type = 0; type < 3; ++type) {
        const std::string t = typeName[type];
        benchmark::RegisterBenchmark(("Peak/scalar/" + t).c_str(), [type](benchmark::State& s) {
            runTable(s, &Aud::PeakScan::referenceKernels(), type);
        });
        benchmark::RegisterBenchmark(("Peak/sse2/" + t).c_str(),
                                     [type](benchmark::State& s) { runTable(s, Aud::PeakScan::sse2Kernels(), type); });
        benchmark::RegisterBenchmark(("Peak/avx2/" + t).c_str(),
                                     [type](benchmark::State& s) { runTable(s, Aud::PeakScan::avx2Kernels(), type); });
        benchmark::RegisterBenchmark(("Monitor/update/" + t).c_str(),
                                     [type](benchmark::State& s) { runMonitor(s, type); });
    }
}

// Keeps the console output and remembers each benchmark's time per iteration.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred) times[r.benchmark_name()] = r.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\nPeak scan, 8 channels x 1024 frames: CPU time of the scalar loop / CPU time of the variant\n");
    std::printf("%-8s %12s %12s %12s %16s\n", "type", "scalar (ns)", "sse2 ratio", "avx2 ratio", "monitor update");
    for (const char* t : {"float32", "int16", "int24"}) {
        const std::string s = t;
        const auto scalar = reporter.times.find("Peak/scalar/" + s);
        if (scalar == reporter.times.end()) continue;
        auto ratio = [&](const std::string& name) {
            const auto it = reporter.times.find(name);
            return it == reporter.times.end() ? 0.0 : scalar->second / it->second;
        };
        std::printf("%-8s %12.0f %11.2fx %11.2fx %15.2fx\n", t, scalar->second, ratio("Peak/sse2/" + s),
                    ratio("Peak/avx2/" + s), ratio("Monitor/update/" + s));
    }
    benchmark::Shutdown();
    return 0;
}
