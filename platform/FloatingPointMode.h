// Floating-point mode of the calling thread for a host render loop.
// platform::ScopedFlushDenormals sets flush-to-zero and denormals-are-zero for its
// lifetime and restores the previous mode on destruction (also when an exception
// passes). The library's own functions never change the mode; a host sets it around
// a render loop so that decaying filter tails do not fall into slow subnormal
// arithmetic. x86-64 (MXCSR); elsewhere it does nothing.
// Threads: the mode is per thread; create and destroy the guard on the same thread.
#pragma once

#include "platform/AudPlatformExport.h"

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

namespace platform {

class AUDPLATFORM_EXPORT ScopedFlushDenormals {
public:
#if defined(__x86_64__) || defined(__i386__)
    static constexpr unsigned kFlushToZero = 0x8000;       // MXCSR bit 15
    static constexpr unsigned kDenormalsAreZero = 0x0040;  // MXCSR bit 6
    ScopedFlushDenormals() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ | kFlushToZero | kDenormalsAreZero); }
    ~ScopedFlushDenormals() { _mm_setcsr(saved_); }
    static bool active() {
        return (_mm_getcsr() & (kFlushToZero | kDenormalsAreZero)) == (kFlushToZero | kDenormalsAreZero);
    }
#else
    ScopedFlushDenormals() = default;
    static bool active() { return false; }
#endif
    ScopedFlushDenormals(const ScopedFlushDenormals&) = delete;
    ScopedFlushDenormals& operator=(const ScopedFlushDenormals&) = delete;

private:
#if defined(__x86_64__) || defined(__i386__)
    unsigned saved_;
#endif
};

}  // namespace platform
