// The many-channel biquad pass with AVX2: eight channels per 256-bit vector. Compiled
// with -mavx2 and run only when the CPU has it.
#include "AudAtoms/internal/Aud__Biquad_Lanes.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdTranspose.h"

#include "AudAtoms/internal/Aud__Biquad_LaneBody.h"

namespace Aud::Filter::Lanes {

namespace {
struct Avx2Ops {
    using V = __m256;
    static constexpr unsigned W = 8;
    static V load(const float* p) { return _mm256_loadu_ps(p); }
    static void store(float* p, V v) { _mm256_storeu_ps(p, v); }
    static V mul(V a, V b) { return _mm256_mul_ps(a, b); }
    static V add(V a, V b) { return _mm256_add_ps(a, b); }
    static V sub(V a, V b) { return _mm256_sub_ps(a, b); }
    [[gnu::always_inline]] static void transpose(V (&r)[W]) { transposeTile(r); }
};
}  // namespace

const Table kAvx2 = {Avx2Ops::W, pass<Avx2Ops>};

}  // namespace Aud::Filter::Lanes
#endif
