// The AVX-512 loops: sixteen floats per vector, with masked loads and stores for the
// unaligned head and the tail. Compiled with -mavx512f/bw/dq/vl and run only when the
// CPU has all four.
#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__MixRender_SimdBody.h"
#include "AudAtoms/internal/SimdTranspose.h"

namespace Aud::MixRender::Loops {

namespace {
struct Avx512Ops {
    using V = __m512;
    using M = __mmask16;
    static constexpr std::size_t W = 16, kAlign = 64;
    static constexpr bool kMasked = true;
    static V load(const float* p) { return _mm512_loadu_ps(p); }
    static V loadOnce(const float* p) {
        V v = _mm512_loadu_ps(p);
        __asm__("" : "+v"(v));  // keeps the loaded value in a register
        return v;
    }
    static void store(float* p, V v) { _mm512_storeu_ps(p, v); }
    static void spill(float* p, V v) { _mm512_store_ps(p, v); }
    // The lanes folded by the peak rule, in registers (the order cannot matter: see the
    // loop bodies' note on folding).
    static float hmax(V v) {
        const __m256 q =
            _mm256_max_ps(_mm512_maskz_extractf32x8_ps(0xFF, v, 1), _mm512_maskz_extractf32x8_ps(0xFF, v, 0));
        __m128 h = _mm_max_ps(_mm256_extractf128_ps(q, 1), _mm256_castps256_ps128(q));
        h = _mm_max_ps(_mm_movehl_ps(h, h), h);
        h = _mm_max_ps(_mm_shuffle_ps(h, h, 0x55), h);
        return _mm_cvtss_f32(h);
    }
    static V set1(float x) { return _mm512_set1_ps(x); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
    static V mul(V a, V b) { return _mm512_mul_ps(a, b); }
    static V add(V a, V b) { return _mm512_add_ps(a, b); }
    static V abs(V a) { return _mm512_and_ps(a, _mm512_castsi512_ps(_mm512_set1_epi32(0x7FFFFFFF))); }
    // x > acc ? x : acc (the all-lanes mask form: the plain intrinsic trips a false
    // uninitialised-value warning in g++ 12)
    static V peakMax(V x, V acc) { return _mm512_mask_max_ps(acc, 0xFFFF, x, acc); }
    static M firstLanes(unsigned k) { return static_cast<M>((1u << k) - 1u); }
    static V loadMasked(M m, const float* p) { return _mm512_maskz_loadu_ps(m, p); }
    static void storeMasked(float* p, M m, V v) { _mm512_mask_storeu_ps(p, m, v); }
    static V peakMaxMasked(M m, V x, V acc) { return _mm512_mask_max_ps(acc, m, x, acc); }
    using VI = __m512i;
    static VI seti(unsigned x) { return _mm512_set1_epi32(static_cast<int>(x)); }
    static VI iota() { return _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15); }
    static VI addi(VI a, VI b) { return _mm512_add_epi32(a, b); }
    // Rounds to nearest, as a scalar conversion does (the all-lanes mask form: the plain
    // intrinsic trips the same false uninitialised-value warning in g++ 12)
    static V toFloat(VI u) { return _mm512_maskz_cvtepu32_ps(0xFFFF, u); }
};
}  // namespace

const Table kAvx512 = Simd::Kernels<Avx512Ops>::table(&kAvx2);

}  // namespace Aud::MixRender::Loops
#endif
