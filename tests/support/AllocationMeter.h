// Measures the heap memory a piece of code holds at its peak: replaces the program's
// global operator new and delete (all forms) with versions that count live bytes, so
// that the library's allocations are counted too. Include this header in exactly one
// source file of a test program.
//   audatoms::test::AllocationMeter meter;   // starts measuring
//   parse(...);
//   meter.peakBytes()   // the most bytes live at once above the level at the start
//   meter.allocations() // how many blocks were allocated since the start
//   meter.allocatedBytes() // the bytes they asked for
// Only allocations through operator new are counted (the C++ library and this library
// allocate only through it). Threads: counters are atomic; a meter measures every
// thread's allocations.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace audatoms::test {
namespace allocation_meter_detail {
inline std::atomic<long long> g_live{0};
inline std::atomic<long long> g_peak{0};
inline std::atomic<long long> g_count{0};
inline std::atomic<long long> g_asked{0};

// Counts a fresh block of n asked bytes as live and raises the peak when it is a new
// high.
inline void* record(void* p, std::size_t n) {
    if (!p) throw std::bad_alloc();
    g_count.fetch_add(1);
    g_asked.fetch_add(static_cast<long long>(n));
    const long long size = static_cast<long long>(::malloc_usable_size(p));
    const long long live = g_live.fetch_add(size) + size;
    long long peak = g_peak.load();
    while (live > peak && !g_peak.compare_exchange_weak(peak, live)) {}
    return p;
}
inline void* take(std::size_t n) { return record(std::malloc(n == 0 ? 1 : n), n); }
inline void* takeAligned(std::size_t n, std::align_val_t a) {
    const std::size_t align = static_cast<std::size_t>(a);
    return record(std::aligned_alloc(align, (n + align - 1) / align * align), n);
}
inline void give(void* p) noexcept {
    if (!p) return;
    g_live.fetch_sub(static_cast<long long>(::malloc_usable_size(p)));
    std::free(p);
}
}  // namespace allocation_meter_detail

class AllocationMeter {
public:
    AllocationMeter() { reset(); }
    void reset() {
        start_ = allocation_meter_detail::g_live.load();
        allocation_meter_detail::g_peak.store(start_);
        countStart_ = allocation_meter_detail::g_count.load();
        askedStart_ = allocation_meter_detail::g_asked.load();
    }
    // Bytes live now above the start.
    long long liveBytes() const { return allocation_meter_detail::g_live.load() - start_; }
    // The most bytes live at once since the start, above the start.
    long long peakBytes() const { return allocation_meter_detail::g_peak.load() - start_; }
    // Blocks allocated since the start, and the bytes they asked for.
    long long allocations() const { return allocation_meter_detail::g_count.load() - countStart_; }
    long long allocatedBytes() const { return allocation_meter_detail::g_asked.load() - askedStart_; }

private:
    long long start_ = 0;
    long long countStart_ = 0;
    long long askedStart_ = 0;
};

}  // namespace audatoms::test

// The replacements: defined here, once per program.
void* operator new(std::size_t n) { return audatoms::test::allocation_meter_detail::take(n); }
void* operator new[](std::size_t n) { return audatoms::test::allocation_meter_detail::take(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return audatoms::test::allocation_meter_detail::take(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    try {
        return audatoms::test::allocation_meter_detail::take(n);
    } catch (...) {
        return nullptr;
    }
}
void* operator new(std::size_t n, std::align_val_t a) {
    return audatoms::test::allocation_meter_detail::takeAligned(n, a);
}
void* operator new[](std::size_t n, std::align_val_t a) {
    return audatoms::test::allocation_meter_detail::takeAligned(n, a);
}
void operator delete(void* p) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete[](void* p) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete(void* p, std::size_t) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete[](void* p, std::size_t) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete(void* p, std::align_val_t) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete[](void* p, std::align_val_t) noexcept { audatoms::test::allocation_meter_detail::give(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    audatoms::test::allocation_meter_detail::give(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    audatoms::test::allocation_meter_detail::give(p);
}
