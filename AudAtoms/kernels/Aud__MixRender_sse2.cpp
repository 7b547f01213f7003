// The SSE2 loops (the x86-64 baseline): four floats per vector.
#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#ifdef AUDATOMS_X86_64
#include <emmintrin.h>

#include "AudAtoms/internal/Aud__MixRender_SimdBody.h"
#include "AudAtoms/internal/SimdTranspose.h"

namespace Aud::MixRender::Loops {

namespace {
struct Sse2Ops {
    using V = __m128;
    static constexpr std::size_t W = 4, kAlign = 16;
    using M = unsigned;  // no mask registers: heads and tails go one sample at a time
    static constexpr bool kMasked = false;
    static V load(const float* p) { return _mm_loadu_ps(p); }
    static V loadOnce(const float* p) {
        V v = _mm_loadu_ps(p);
        __asm__("" : "+x"(v));  // keeps the loaded value in a register
        return v;
    }
    static void store(float* p, V v) { _mm_storeu_ps(p, v); }
    static void spill(float* p, V v) { _mm_store_ps(p, v); }
    // The lanes folded by the peak rule, in registers (the order cannot matter: see the
    // loop bodies' note on folding).
    static float hmax(V v) {
        v = _mm_max_ps(_mm_movehl_ps(v, v), v);
        v = _mm_max_ps(_mm_shuffle_ps(v, v, 0x55), v);
        return _mm_cvtss_f32(v);
    }
    static V set1(float x) { return _mm_set1_ps(x); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V abs(V a) { return _mm_and_ps(a, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF))); }
    static V peakMax(V x, V acc) { return _mm_max_ps(x, acc); }  // x > acc ? x : acc
    using VI = __m128i;
    static VI seti(unsigned x) { return _mm_set1_epi32(static_cast<int>(x)); }
    static VI iota() { return _mm_setr_epi32(0, 1, 2, 3); }
    static VI addi(VI a, VI b) { return _mm_add_epi32(a, b); }
    // The conversion is signed, so the halves go separately: both convert exactly, the
    // high half times 2^16 stays exact, and the one rounded sum is the nearest float.
    static V toFloat(VI u) {
        const V hi = _mm_cvtepi32_ps(_mm_srli_epi32(u, 16));
        const V lo = _mm_cvtepi32_ps(_mm_and_si128(u, _mm_set1_epi32(0xFFFF)));
        return _mm_add_ps(_mm_mul_ps(hi, _mm_set1_ps(65536.0f)), lo);
    }
};
}  // namespace

const Table kSse2 = Simd::Kernels<Sse2Ops>::table(nullptr);

}  // namespace Aud::MixRender::Loops
#endif
