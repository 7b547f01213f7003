// The true-peak filter pass over 128-bit SSE2 vectors of four floats, one phase at a time;
// compiled with this set's flags, used only on CPUs that report it.
#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__TruePeak_PassBody.h"

namespace {

struct V {
    using F = __m128;
    static constexpr unsigned kLanes = 4;
    static constexpr unsigned kPhases = 1;
    static F zero() { return _mm_setzero_ps(); }
    static F set1(float v) { return _mm_set1_ps(v); }
    static F load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, F v) { _mm_storeu_ps(p, v); }
    static F mul(F a, F b) { return _mm_mul_ps(a, b); }
    static F add(F a, F b) { return _mm_add_ps(a, b); }
    static F abs(F a) { return _mm_and_ps(a, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF))); }
    // a > b ? a : b, so a NaN in a leaves b.
    static F maxKeepSecond(F a, F b) { return _mm_max_ps(a, b); }
};

float passsse2(const float* taps, unsigned factor, const float* h, float peak) {
    return passBody<V>(taps, factor, h, peak);
}

}  // namespace

const Aud::TruePeakKernels::Kernels& Aud::TruePeakKernels::sse2KernelTable() {
    static const Kernels table = {"sse2", passsse2};
    return table;
}
#endif
