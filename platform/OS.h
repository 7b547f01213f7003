// Operating-system services of the host: memory, a source of 32-bit ids unique among
// live users, and a monotonic millisecond clock.
// Threads: everything here may be called from any thread; uniqueId() and the clock
// never allocate or block, so the audio thread may use them.
#pragma once

#include "platform/AudPlatformExport.h"

#include <cstddef>
#include <cstdint>

class AUDPLATFORM_EXPORT OSServices {
public:
    void* allocate(std::size_t bytes);
    void deallocate(void* p);
    // A non-zero id not handed out before in this process (ids are not reused until
    // 2^32 - 1 have been issued).
    std::uint32_t uniqueId();
};

AUDPLATFORM_EXPORT OSServices* OS();

// Monotonic milliseconds since an arbitrary start, as a double.
AUDPLATFORM_EXPORT double service_get_msecs_precise();

namespace platform {
// While alive, service_get_msecs_precise() returns now() instead of the real clock
// (for deterministic tests of timed behaviour). Overrides nest: destroying one
// restores what was in force when it was made (the outer override's time, or the
// real clock). Create and destroy them on one thread, innermost first; the clock may
// be read from any thread meanwhile.
class AUDPLATFORM_EXPORT ClockOverride {
public:
    explicit ClockOverride(double startMsecs);
    ~ClockOverride();
    ClockOverride(const ClockOverride&) = delete;
    ClockOverride& operator=(const ClockOverride&) = delete;
    void set(double msecs);
    void advance(double msecs);
    double now() const;

private:
    bool previousActive_;
    double previousMsecs_;
};
}  // namespace platform
