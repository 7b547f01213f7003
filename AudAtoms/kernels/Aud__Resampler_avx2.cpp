// The resampler's dot product over 256-bit AVX2 vectors of doubles; compiled with
// this set's flags, used only on CPUs that report it.
#include "AudAtoms/kernels/Aud__Resampler_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

#include "AudAtoms/internal/Aud__Resampler_DotBody.h"

namespace {

struct V {
    using D = __m256d;
    static constexpr unsigned kLanes = 4;
    static D zero() { return _mm256_setzero_pd(); }
    static D load(const double* p) { return _mm256_loadu_pd(p); }
    static void store(double* p, D v) { _mm256_storeu_pd(p, v); }
    static D mul(D a, D b) { return _mm256_mul_pd(a, b); }
    static D add(D a, D b) { return _mm256_add_pd(a, b); }
};

double dotavx2(const double* c, const double* x, unsigned n) { return dotBody<V>(c, x, n); }

void dotsavx2(const double* const* c, const double* const* x, unsigned count, unsigned n, double* out) {
    dotsBody<V>(c, x, count, n, out);
}

}  // namespace

const Aud::ResamplerKernels::Kernels& Aud::ResamplerKernels::avx2KernelTable() {
    static const Kernels table = {"avx2", dotavx2, dotsavx2};
    return table;
}
#endif
