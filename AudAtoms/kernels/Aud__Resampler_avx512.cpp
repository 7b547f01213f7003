// The resampler's dot product over 512-bit AVX-512 vectors of doubles; compiled with
// this set's flags, used only on CPUs that report it.
#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__Resampler_DotBody.h"

namespace {

struct V {
    using D = __m512d;
    static constexpr unsigned kLanes = 8;
    static D zero() { return _mm512_setzero_pd(); }
    static D load(const double* p) { return _mm512_loadu_pd(p); }
    static void store(double* p, D v) { _mm512_storeu_pd(p, v); }
    static D mul(D a, D b) { return _mm512_mul_pd(a, b); }
    static D add(D a, D b) { return _mm512_add_pd(a, b); }
};

double dotavx512(const double* c, const double* x, unsigned n) { return dotBody<V>(c, x, n); }

void dotsavx512(const double* const* c, const double* const* x, unsigned count, unsigned n, double* out) {
    dotsBody<V>(c, x, count, n, out);
}

}  // namespace

const Aud::ResamplerKernels::Kernels& Aud::ResamplerKernels::avx512KernelTable() {
    static const Kernels table = {"avx512", dotavx512, dotsavx512};
    return table;
}
#endif
