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

}  // namespace
