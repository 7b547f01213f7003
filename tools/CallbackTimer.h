// Process-callback timing of the player: each callback's wall and thread processor
// time as a fraction of the period, kept in fixed histograms (no allocation), read as
// percentiles.
// Bins are 0.05 % of the period wide up to 200 % of it; longer callbacks count in the
// last bin, and the maximum is kept exactly.
// Threads: record() on the audio thread; summary() on any thread (relaxed atomics: a
// summary taken while the audio thread runs may miss the last callbacks).
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace audtool {

struct CallbackFigures {
    std::uint64_t callbacks = 0;
    double p50 = 0, p99 = 0, p999 = 0, max = 0;  // fractions of the period
};

class CallbackTimer {
public:
    static constexpr unsigned kBins = 4000;
    static constexpr double kBinWidth = 0.0005;  // of the period

    void setPeriod(double seconds) { period_ = seconds; }
    double period() const { return period_; }
    // Seconds of wall time and of the thread's processor time of one callback.
    void record(double wallSeconds, double cpuSeconds);

    CallbackFigures wall() const { return figures(wall_); }
    CallbackFigures cpu() const { return figures(cpu_); }

private:
    struct Histogram {
        std::array<std::atomic<std::uint32_t>, kBins> bins{};
        std::atomic<std::uint64_t> count{0};
        std::atomic<double> max{0};
    };
    void add(Histogram& h, double seconds);
    CallbackFigures figures(const Histogram& h) const;

    double period_ = 1;
    Histogram wall_;
    Histogram cpu_;
};

// Seconds of a monotonic clock and of the calling thread's processor time.
double monotonicSeconds();
double threadCpuSeconds();

}  // namespace audtool
