// The AVX2 loops: eight floats per vector. Compiled with -mavx2 and run only when the
// CPU has it.
#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__MixRender_SimdBody.h"

namespace Aud::MixRender::Loops {

namespace {
struct Avx2Ops {
    using V = __m256;
    static constexpr std::size_t W = 8, kAlign = 32;
    using M = unsigned;  // no mask registers: heads and tails go one sample at a time
    static constexpr bool kMasked = false;
    static V load(const float* p) { return _mm256_loadu_ps(p); }
    static V loadOnce(const float* p) {
        V v = _mm256_loadu_ps(p);
        __asm__("" : "+x"(v));  // keeps the loaded value in a register
        return v;
    }
    static void store(float* p, V v) { _mm256_storeu_ps(p, v); }
    static void spill(float* p, V v) { _mm256_store_ps(p, v); }
    static V set1(float x) { return _mm256_set1_ps(x); }
    static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V abs(V a) { return _mm256_and_ps(a, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF))); }
    static V peakMax(V x, V acc) { return _mm256_max_ps(x, acc); }  // x > acc ? x : acc
};
} // namespace

const Table kAvx2 = Simd::Kernels<Avx2Ops>::table();

} // namespace Aud::MixRender::Loops
#endif
