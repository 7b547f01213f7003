// The many-channel biquad pass with SSE2 (the x86-64 baseline): four channels per
// 128-bit vector.
#include "AudAtoms/internal/Aud__Biquad_Lanes.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdTranspose.h"

#include "AudAtoms/internal/Aud__Biquad_LaneBody.h"

namespace Aud::Filter::Lanes {

namespace {
struct Sse2Ops {
    using V = __m128;
    static constexpr unsigned W = 4;
    static V load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, V v) { _mm_storeu_ps(p, v); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
};
}  // namespace

const Table kSse2 = {Sse2Ops::W, pass<Sse2Ops>};

}  // namespace Aud::Filter::Lanes
#endif
