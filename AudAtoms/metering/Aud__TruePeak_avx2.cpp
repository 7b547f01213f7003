// The true-peak filter pass over 256-bit AVX2 vectors of eight floats, two phases at a time;
// compiled with this set's flags, used only on CPUs that report it.
#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__TruePeak_PassBody.h"

namespace {

struct V {
    using F = __m256;
    static constexpr unsigned kLanes = 8;
    static constexpr unsigned kPhases = 2;
    static F zero() { return _mm256_setzero_ps(); }
    static F set1(float v) { return _mm256_set1_ps(v); }
    static F load(const float* p) { return _mm256_loadu_ps(p); }
    static void store(float* p, F v) { _mm256_storeu_ps(p, v); }
    static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
    static F add(F a, F b) { return _mm256_add_ps(a, b); }
    static F abs(F a) { return _mm256_and_ps(a, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF))); }
    // a > b ? a : b, so a NaN in a leaves b.
    static F maxKeepSecond(F a, F b) { return _mm256_max_ps(a, b); }
};

float passavx2(const float* taps, unsigned factor, const float* h, float peak) {
    return passBody<V>(taps, factor, h, peak);
}

}  // namespace

const Aud::TruePeakKernels::Kernels& Aud::TruePeakKernels::avx2KernelTable() {
    static const Kernels table = {"avx2", passavx2};
    return table;
}
#endif
