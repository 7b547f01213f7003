// The AVX2 loops: eight floats per vector. Compiled with -mavx2 and run only when the
// CPU has it.
#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__MixRender_SimdBody.h"
#include "AudAtoms/internal/SimdTranspose.h"

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
    // The lanes folded by the peak rule, in registers (the order cannot matter: see the
    // loop bodies' note on folding).
    static float hmax(V v) {
        __m128 h = _mm_max_ps(_mm256_extractf128_ps(v, 1), _mm256_castps256_ps128(v));
        h = _mm_max_ps(_mm_movehl_ps(h, h), h);
        h = _mm_max_ps(_mm_shuffle_ps(h, h, 0x55), h);
        return _mm_cvtss_f32(h);
    }
    static V set1(float x) { return _mm256_set1_ps(x); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
    static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V abs(V a) { return _mm256_and_ps(a, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF))); }
    static V peakMax(V x, V acc) { return _mm256_max_ps(x, acc); }  // x > acc ? x : acc
    using VI = __m256i;
    static VI seti(unsigned x) { return _mm256_set1_epi32(static_cast<int>(x)); }
    static VI iota() { return _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7); }
    static VI addi(VI a, VI b) { return _mm256_add_epi32(a, b); }
    // The conversion is signed, so the halves go separately: both convert exactly, the
    // high half times 2^16 stays exact, and the one rounded sum is the nearest float.
    static V toFloat(VI u) {
        const V hi = _mm256_cvtepi32_ps(_mm256_srli_epi32(u, 16));
        const V lo = _mm256_cvtepi32_ps(_mm256_and_si256(u, _mm256_set1_epi32(0xFFFF)));
        return _mm256_add_ps(_mm256_mul_ps(hi, _mm256_set1_ps(65536.0f)), lo);
    }
};
}  // namespace

const Table kAvx2 = Simd::Kernels<Avx2Ops>::table(&kSse2);

}  // namespace Aud::MixRender::Loops
#endif
