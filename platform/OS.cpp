#include "platform/OS.h"

#include <atomic>
#include <chrono>
#include <cstdlib>

namespace {
std::atomic<std::uint32_t> nextUniqueId{1};
std::atomic<bool> clockOverridden{false};
std::atomic<double> overrideMsecs{0.0};
}  // namespace

void* OSServices::allocate(std::size_t bytes) { return std::malloc(bytes ? bytes : 1); }
void OSServices::deallocate(void* p) { std::free(p); }

std::uint32_t OSServices::uniqueId() {
    std::uint32_t id;
    do id = nextUniqueId.fetch_add(1, std::memory_order_relaxed);
    while (id == 0);
    return id;
}

OSServices* OS() {
    static OSServices services;
    return &services;
}

double service_get_msecs_precise() {
    if (clockOverridden.load(std::memory_order_acquire)) return overrideMsecs.load(std::memory_order_acquire);
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

namespace platform {
ClockOverride::ClockOverride(double startMsecs)
    : previousActive_(clockOverridden.load()), previousMsecs_(overrideMsecs.load()) {
    overrideMsecs.store(startMsecs);
    clockOverridden.store(true);
}
ClockOverride::~ClockOverride() {
    overrideMsecs.store(previousMsecs_);
    clockOverridden.store(previousActive_);
}
void ClockOverride::set(double msecs) { overrideMsecs.store(msecs); }
void ClockOverride::advance(double msecs) { overrideMsecs.fetch_add(msecs); }
double ClockOverride::now() const { return overrideMsecs.load(); }
}  // namespace platform
