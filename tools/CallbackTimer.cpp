#include "tools/CallbackTimer.h"

#include <algorithm>
#include <ctime>

namespace audtool {

double monotonicSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

double threadCpuSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

void CallbackTimer::record(double wallSeconds, double cpuSeconds) {
    add(wall_, wallSeconds);
    add(cpu_, cpuSeconds);
}

void CallbackTimer::add(Histogram& h, double seconds) {
    const double fraction = seconds / period_;
    const auto bin = static_cast<unsigned>(std::clamp(fraction / kBinWidth, 0.0, double(kBins - 1)));
    h.bins[bin].fetch_add(1, std::memory_order_relaxed);
    h.count.fetch_add(1, std::memory_order_relaxed);
    if (fraction > h.max.load(std::memory_order_relaxed)) h.max.store(fraction, std::memory_order_relaxed);
}

CallbackFigures CallbackTimer::figures(const Histogram& h) const {
    CallbackFigures f;
    std::uint64_t total = 0;
    for (const auto& b : h.bins) total += b.load(std::memory_order_relaxed);
    f.callbacks = total;
    f.max = h.max.load(std::memory_order_relaxed);
    if (total == 0) return f;
    // A percentile is the upper edge of the bin that holds it (never above the maximum).
    auto at = [&](double q) {
        const auto rank = static_cast<std::uint64_t>(q * double(total - 1)) + 1;
        std::uint64_t seen = 0;
        for (unsigned i = 0; i < kBins; ++i) {
            seen += h.bins[i].load(std::memory_order_relaxed);
            if (seen >= rank) return std::min(f.max, double(i + 1) * kBinWidth);
        }
        return f.max;
    };
    f.p50 = at(0.5);
    f.p99 = at(0.99);
    f.p999 = at(0.999);
    return f;
}

}  // namespace audtool
