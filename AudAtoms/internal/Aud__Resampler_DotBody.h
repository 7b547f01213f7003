// Internal: the resampler's dot product written once over a small vector interface V
// (SSE2: two doubles per vector, four vectors; AVX2: four doubles, two vectors;
// AVX-512: eight doubles, one vector). Every width keeps the same eight running sums
// and reduces them in the same order as the scalar reference, so all are bit-identical:
// ((s0 + s4) + (s2 + s6)) + ((s1 + s5) + (s3 + s7)). Include from one instruction-set
// file only (internal linkage).
#pragma once

namespace {

template <class V>
double dotBody(const double* c, const double* x, unsigned n) {
    constexpr unsigned kVecs = 8 / V::kLanes;
    typename V::D acc[kVecs];
    for (unsigned v = 0; v < kVecs; ++v) acc[v] = V::zero();
    for (unsigned i = 0; i < n; i += 8)
        for (unsigned v = 0; v < kVecs; ++v)
            acc[v] = V::add(acc[v], V::mul(V::load(c + i + v * V::kLanes), V::load(x + i + v * V::kLanes)));
    double s[8];
    for (unsigned v = 0; v < kVecs; ++v) V::store(s + v * V::kLanes, acc[v]);
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
}

// Several independent dot products of length n, four at a time with their sums
// interleaved (independent chains keep the vector units busy); each one's sums and
// order are exactly dotBody's, so the results equal it bit for bit.
template <class V>
void dotsBody(const double* const* c, const double* const* x, unsigned count, unsigned n, double* out) {
    constexpr unsigned kVecs = 8 / V::kLanes;
    constexpr unsigned kL = V::kLanes;
    unsigned k = 0;
    for (; k + 4 <= count; k += 4) {
        const double* const c0 = c[k];
        const double* const c1 = c[k + 1];
        const double* const c2 = c[k + 2];
        const double* const c3 = c[k + 3];
        const double* const x0 = x[k];
        const double* const x1 = x[k + 1];
        const double* const x2 = x[k + 2];
        const double* const x3 = x[k + 3];
        typename V::D a0[kVecs], a1[kVecs], a2[kVecs], a3[kVecs];
#pragma GCC unroll 8
        for (unsigned v = 0; v < kVecs; ++v) a0[v] = a1[v] = a2[v] = a3[v] = V::zero();
        for (unsigned i = 0; i < n; i += 8) {
#pragma GCC unroll 8
            for (unsigned v = 0; v < kVecs; ++v) {
                const unsigned o = i + v * kL;
                a0[v] = V::add(a0[v], V::mul(V::load(c0 + o), V::load(x0 + o)));
                a1[v] = V::add(a1[v], V::mul(V::load(c1 + o), V::load(x1 + o)));
                a2[v] = V::add(a2[v], V::mul(V::load(c2 + o), V::load(x2 + o)));
                a3[v] = V::add(a3[v], V::mul(V::load(c3 + o), V::load(x3 + o)));
            }
        }
        const typename V::D* const accs[4] = {a0, a1, a2, a3};
        for (unsigned j = 0; j < 4; ++j) {
            double s[8];
            for (std::size_t v = 0; v < kVecs; ++v) V::store(s + v * kL, accs[j][v]);
            out[k + j] = ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
        }
    }
    for (; k < count; ++k) out[k] = dotBody<V>(c[k], x[k], n);
}

}  // namespace
