// The many-channel biquad pass, written once over a small vector interface (Ops) and
// included by each instruction-set file (Aud__Biquad_sse2.cpp, _avx2.cpp, _avx512.cpp);
// everything here has internal linkage, so each file keeps its own copy compiled with
// its own target flags. Internal to the library.
//
// Ops provides V, W (lanes), load and store (unaligned), mul, add, sub, and
// transpose(V (&)[W]) (SimdTranspose.h).
//
// Each lane performs exactly the operations of Biquad::processSample, in its order:
//   y = (((b0*x + b1*x1) + b2*x2) - a1*y1) - a2*y2
// each product and sum rounded on its own (the build never contracts them). W samples of
// W channels are loaded as rows (one channel each), transposed into columns (one
// sample of every channel each), filtered column after column, transposed back and
// stored. A tail shorter than W samples goes through a zero-padded tile the same way,
// filtering only its real columns.
#pragma once

#include "AudAtoms/internal/Aud__Biquad_Lanes.h"

#include <cstddef>

namespace Aud::Filter::Lanes {
namespace {

template <class Ops>
struct LaneSection {
    using V = typename Ops::V;
    V b0, b1, b2, a1, a2;
    V x1, x2, y1, y2;
};

template <class Ops, unsigned K>
inline typename Ops::V cascade(LaneSection<Ops>* s, typename Ops::V v) {
#pragma GCC unroll 16
    for (unsigned k = 0; k < K; ++k) {
        LaneSection<Ops>& q = s[k];
        const typename Ops::V y =
            Ops::sub(Ops::sub(Ops::add(Ops::add(Ops::mul(q.b0, v), Ops::mul(q.b1, q.x1)), Ops::mul(q.b2, q.x2)),
                              Ops::mul(q.a1, q.y1)),
                     Ops::mul(q.a2, q.y2));
        q.x2 = q.x1;
        q.x1 = v;
        q.y2 = q.y1;
        q.y1 = y;
        v = y;
    }
    return v;
}

template <class Ops, unsigned K>
void passOf(float* state, float* const* ch, unsigned n) {
    using V = typename Ops::V;
    constexpr std::size_t W = Ops::W;
    LaneSection<Ops> s[K];  // local, so that the sections can live in registers
#pragma GCC unroll 16
    for (unsigned k = 0; k < K; ++k) {
        const float* w = state + std::size_t(k) * kWords * W;
        s[k] = {Ops::load(w),         Ops::load(w + W),     Ops::load(w + 2 * W),
                Ops::load(w + 3 * W), Ops::load(w + 4 * W), Ops::load(w + 5 * W),
                Ops::load(w + 6 * W), Ops::load(w + 7 * W), Ops::load(w + 8 * W)};
    }
    V r[W];
    unsigned i = 0;
    for (; i + W <= n; i += W) {
#pragma GCC unroll 16
        for (unsigned j = 0; j < W; ++j) r[j] = Ops::load(ch[j] + i);
        Ops::transpose(r);
#pragma GCC unroll 16
        for (unsigned j = 0; j < W; ++j) r[j] = cascade<Ops, K>(s, r[j]);
        Ops::transpose(r);
#pragma GCC unroll 16
        for (unsigned j = 0; j < W; ++j) Ops::store(ch[j] + i, r[j]);
    }
    if (i < n) {
        // Its own vectors: indexed by a run-time count, they live in memory, and r must not.
        const unsigned rest = n - i;
        alignas(64) float tile[W][W] = {};
        V t[W];
        for (unsigned j = 0; j < W; ++j)
            for (unsigned m = 0; m < rest; ++m) tile[j][m] = ch[j][i + m];
        for (unsigned j = 0; j < W; ++j) t[j] = Ops::load(tile[j]);
        Ops::transpose(t);
        for (unsigned m = 0; m < rest; ++m) t[m] = cascade<Ops, K>(s, t[m]);
        Ops::transpose(t);
        for (unsigned j = 0; j < W; ++j) Ops::store(tile[j], t[j]);
        for (unsigned j = 0; j < W; ++j)
            for (unsigned m = 0; m < rest; ++m) ch[j][i + m] = tile[j][m];
    }
#pragma GCC unroll 16
    for (unsigned k = 0; k < K; ++k) {
        float* w = state + std::size_t(k) * kWords * W;
        Ops::store(w + 5 * W, s[k].x1);
        Ops::store(w + 6 * W, s[k].x2);
        Ops::store(w + 7 * W, s[k].y1);
        Ops::store(w + 8 * W, s[k].y2);
    }
}

template <class Ops>
void pass(float* state, unsigned sections, float* const* ch, unsigned n) {
    static_assert(kChunk == 4, "one case per cascade length up to kChunk");
    switch (sections) {
    case 1: passOf<Ops, 1>(state, ch, n); break;
    case 2: passOf<Ops, 2>(state, ch, n); break;
    case 3: passOf<Ops, 3>(state, ch, n); break;
    default: passOf<Ops, 4>(state, ch, n); break;
    }
}

}  // namespace
}  // namespace Aud::Filter::Lanes
