// The true-peak filter pass over 512-bit AVX-512 vectors of sixteen floats, four phases at a time;
// compiled with this set's flags, used only on CPUs that report it.
#include "AudAtoms/metering/Aud__TruePeak_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__TruePeak_PassBody.h"

namespace {

struct V {
    using F = __m512;
    static constexpr unsigned kLanes = 16;
    static constexpr unsigned kPhases = 4;
    static F zero() { return _mm512_setzero_ps(); }
    static F set1(float v) { return _mm512_set1_ps(v); }
    static F load(const float* p) { return _mm512_loadu_ps(p); }
    static void store(float* p, F v) { _mm512_storeu_ps(p, v); }
    static F mul(F a, F b) { return _mm512_mul_ps(a, b); }
    static F add(F a, F b) { return _mm512_add_ps(a, b); }
    static F abs(F a) {
        return _mm512_castsi512_ps(_mm512_and_si512(_mm512_castps_si512(a), _mm512_set1_epi32(0x7FFFFFFF)));
    }
    // a > b ? a : b, so a NaN in a leaves b. (The masked form with every lane selected:
    // g++ 12 warns about the undefined pass-through operand of the plain one.)
    static F maxKeepSecond(F a, F b) { return _mm512_mask_max_ps(b, 0xFFFF, a, b); }
};

float passavx512(const float* taps, unsigned factor, const float* h, float peak) {
    return passBody<V>(taps, factor, h, peak);
}

}  // namespace

const Aud::TruePeakKernels::Kernels& Aud::TruePeakKernels::avx512KernelTable() {
    static const Kernels table = {"avx512", passavx512};
    return table;
}
#endif
