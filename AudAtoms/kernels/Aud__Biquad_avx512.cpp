// The many-channel biquad pass with AVX-512: sixteen channels per 512-bit vector.
// Compiled with -mavx512f/bw/dq/vl and run only when the CPU has all four.
#include "AudAtoms/internal/Aud__Biquad_Lanes.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdTranspose.h"

#include "AudAtoms/internal/Aud__Biquad_LaneBody.h"

namespace Aud::Filter::Lanes {

namespace {
struct Avx512Ops {
    using V = __m512;
    static constexpr unsigned W = 16;
    static V load(const float* p) { return _mm512_loadu_ps(p); }
    static void store(float* p, V v) { _mm512_storeu_ps(p, v); }
    static V mul(V a, V b) { return _mm512_mul_ps(a, b); }
    static V add(V a, V b) { return _mm512_add_ps(a, b); }
    static V sub(V a, V b) { return _mm512_sub_ps(a, b); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
};
}  // namespace

const Table kAvx512 = {Avx512Ops::W, pass<Avx512Ops>};

}  // namespace Aud::Filter::Lanes
#endif
