// The vectorised loops of Aud::MixRender, written once over a small vector interface
// (Ops) and included by each instruction-set file; everything here has internal linkage,
// so each file keeps its own copy compiled with its own target flags. Internal to the
// library.
//
// Ops provides: V, W (floats per vector), kAlign (bytes), kMasked; load, loadOnce (a
// load the compiler may not repeat as a memory operand of each use: a misaligned load
// costs two cache-line accesses, and the peak kernels use each sample twice), store, set1,
// mul, add, abs, peakMax(x, acc) = x > acc ? x : acc per lane (the scalar peak rule),
// spill (store to an aligned array), hmax (the lanes folded by peakMax into one float); the unsigned 32-bit lanes VI with seti (all lanes
// one value), iota (lane k holds k), addi (wrapping) and toFloat (each lane to the
// nearest float, as static_cast<float> of an unsigned does); with kMasked also M,
// firstLanes(k), loadMasked, storeMasked, peakMaxMasked; transpose(V (&)[W]) (a W x W
// tile of floats, SimdTranspose.h).
//
// Every loop performs, per sample, the same rounded operations in the same order as the
// scalar loops: the vectors only process several samples at once. The head is processed
// up to the destination's vector alignment (a masked vector or scalar samples), then
// whole vectors, then the tail. The peak keeps several running maxima that are folded
// with the same rule at the end; the rule keeps the larger value and never lets a NaN in,
// so the folding order cannot change the result. The ramps compute their levels as one
// serial chain of float additions and vectorise only the multiply around it (the
// many-channel ramp runs W channels' chains side by side instead, one per lane); the
// ramps from a run's start compute every level from its own index, so they vectorise
// whole.
#pragma once

#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Aud::MixRender::Simd {
namespace {

inline float peakStep(float peak, float sample) {
    const float a = std::fabs(sample);
    return a > peak ? a : peak;
}

template <class Ops>
std::size_t headFor(const void* alignTo, std::size_t n) {
    const std::size_t misalign = reinterpret_cast<std::uintptr_t>(alignTo) & (Ops::kAlign - 1);
    std::size_t head = misalign == 0 ? 0 : (Ops::kAlign - misalign) / sizeof(float);
    return head < n ? head : n;
}

// Runs kernel k over samples 0 .. n-1 with stores aligned to alignTo; vec(i, u) is told
// which of the U interleaved vectors it is, so that peak kernels keep U running maxima.
template <class Ops, unsigned U, class K>
inline void drive(K& k, const void* alignTo, std::size_t n) {
    constexpr std::size_t W = Ops::W;
    const std::size_t head = headFor<Ops>(alignTo, n);
    std::size_t i = 0;
    if constexpr (Ops::kMasked) {
        if (head != 0) k.masked(0, Ops::firstLanes(static_cast<unsigned>(head)));
        i = head;
    } else {
        for (; i < head; ++i) k.scalar(i);
    }
    for (; i + U * W <= n; i += U * W) {
        for (unsigned u = 0; u < U; ++u) k.vec(i + u * W, u);
    }
    for (; i + W <= n; i += W) k.vec(i, 0);
    if constexpr (Ops::kMasked) {
        if (i < n) k.masked(i, Ops::firstLanes(static_cast<unsigned>(n - i)));
    } else {
        for (; i < n; ++i) k.scalar(i);
    }
}

inline constexpr unsigned kUnroll = 4;  // vectors in flight per loop turn
// Running maxima of the plain peak scan: eight keep a CPU whose maximum has a long
// latency busy on long buffers; below kPeakLongScan samples four do, since folding eight
// at the end (a chain of seven maxima) costs more than it saves there.
inline constexpr unsigned kPeakUnroll = 8;
inline constexpr unsigned kPeakUnrollShort = 4;
inline constexpr unsigned kPeakLongScan = 2048;

// Running maxima of |src|: a scalar one for samples taken one at a time and U vectors.
template <class Ops, unsigned U>
struct PeakAcc {
    using V = typename Ops::V;
    float p;
    V acc[U];

    explicit PeakAcc(float peak) : p(peak) {
        for (unsigned u = 0; u < U; ++u) acc[u] = Ops::set1(peak);
    }
    void scalar(float s) { p = peakStep(p, s); }
    void vec(V x, unsigned u) { acc[u] = Ops::peakMax(Ops::abs(x), acc[u]); }
    template <class M>
    void masked(V x, M m) {
        acc[0] = Ops::peakMaxMasked(m, Ops::abs(x), acc[0]);
    }
    float result() const {
        V all = acc[0];
        for (unsigned u = 1; u < U; ++u) all = Ops::peakMax(acc[u], all);
        const float lanes = Ops::hmax(all);
        return lanes > p ? lanes : p;
    }
};

template <class Ops, unsigned U>
struct PeakK {
    using V = typename Ops::V;
    const float* s;
    PeakAcc<Ops, U> acc;
    void scalar(std::size_t i) { acc.scalar(s[i]); }
    void vec(std::size_t i, unsigned u) { acc.vec(Ops::load(s + i), u); }
    void masked(std::size_t i, typename Ops::M m) { acc.masked(Ops::loadMasked(m, s + i), m); }
};

// The per-sample operations of the one-destination kernels, in scalar and vector form:
// out = x * g, out = d + x, out = d + x * g (x the source sample, d the destination's).
template <class Ops>
struct MulOp {
    static constexpr bool kReadsDst = false;
    float g;
    typename Ops::V gv;
    float scalar(float x, float) const { return x * g; }
    typename Ops::V vec(typename Ops::V x, typename Ops::V) const { return Ops::mul(x, gv); }
};

template <class Ops>
struct AddOp {
    static constexpr bool kReadsDst = true;
    float scalar(float x, float d) const { return d + x; }
    typename Ops::V vec(typename Ops::V x, typename Ops::V d) const { return Ops::add(d, x); }
};

template <class Ops>
struct MulAddOp {
    static constexpr bool kReadsDst = true;
    float g;
    typename Ops::V gv;
    float scalar(float x, float d) const { return d + x * g; }
    typename Ops::V vec(typename Ops::V x, typename Ops::V d) const { return Ops::add(d, Ops::mul(x, gv)); }
};

// dst[i] = op(src[i], dst[i]), optionally keeping the running peak of src.
template <class Ops, class Op, bool kPeak>
struct OneDstK {
    using V = typename Ops::V;
    const float* s;
    float* d;
    Op op;
    PeakAcc<Ops, kUnroll> acc;

    void scalar(std::size_t i) {
        const float x = s[i];
        if constexpr (kPeak) acc.scalar(x);
        d[i] = op.scalar(x, Op::kReadsDst ? d[i] : 0.0f);
    }
    void vec(std::size_t i, unsigned u) {
        V x;
        if constexpr (kPeak) {
            x = Ops::loadOnce(s + i);
            acc.vec(x, u);
        } else {
            x = Ops::load(s + i);
        }
        Ops::store(d + i, op.vec(x, Op::kReadsDst ? Ops::load(d + i) : x));
    }
    void masked(std::size_t i, typename Ops::M m) {
        const V x = Ops::loadMasked(m, s + i);
        if constexpr (kPeak) acc.masked(x, m);
        Ops::storeMasked(d + i, m, op.vec(x, Op::kReadsDst ? Ops::loadMasked(m, d + i) : x));
    }
};

template <class Ops>
struct MulAdd2K {
    using V = typename Ops::V;
    const float* s;
    float* d1;
    float* d2;
    float g1, g2;
    V gv1, gv2;
    void scalar(std::size_t i) {
        const float x = s[i];
        const float p1 = x * g1, p2 = x * g2;
        d1[i] = d1[i] + p1;
        d2[i] = d2[i] + p2;
    }
    void vec(std::size_t i, unsigned) {
        const V x = Ops::load(s + i);
        const V p1 = Ops::mul(x, gv1), p2 = Ops::mul(x, gv2);
        Ops::store(d1 + i, Ops::add(Ops::load(d1 + i), p1));
        Ops::store(d2 + i, Ops::add(Ops::load(d2 + i), p2));
    }
    void masked(std::size_t i, typename Ops::M m) {
        const V x = Ops::loadMasked(m, s + i);
        const V p1 = Ops::mul(x, gv1), p2 = Ops::mul(x, gv2);
        Ops::storeMasked(d1 + i, m, Ops::add(Ops::loadMasked(m, d1 + i), p1));
        Ops::storeMasked(d2 + i, m, Ops::add(Ops::loadMasked(m, d2 + i), p2));
    }
};

template <class Ops>
struct MulAdd2SameK {
    using V = typename Ops::V;
    const float* s;
    float* d1;
    float* d2;
    float g;
    V gv;
    void scalar(std::size_t i) {
        const float p = s[i] * g;
        d1[i] = d1[i] + p;
        d2[i] = d2[i] + p;
    }
    void vec(std::size_t i, unsigned) {
        const V p = Ops::mul(Ops::load(s + i), gv);
        Ops::store(d1 + i, Ops::add(Ops::load(d1 + i), p));
        Ops::store(d2 + i, Ops::add(Ops::load(d2 + i), p));
    }
    void masked(std::size_t i, typename Ops::M m) {
        const V p = Ops::mul(Ops::loadMasked(m, s + i), gv);
        Ops::storeMasked(d1 + i, m, Ops::add(Ops::loadMasked(m, d1 + i), p));
        Ops::storeMasked(d2 + i, m, Ops::add(Ops::loadMasked(m, d2 + i), p));
    }
};

// dst[i] = src[i] * level(first + i), or dst[i] + that, with
// level(j) = start + float(j) * delta: the index in 32-bit unsigned arithmetic, then one
// conversion, one product and one sum, as the scalar loop does them.
template <class Ops, bool Accumulate>
struct RampFromK {
    using V = typename Ops::V;
    using VI = typename Ops::VI;
    const float* s;
    float* d;
    float start, delta;
    unsigned first;
    V startV, deltaV;
    VI indexLanes;  // first + k in lane k

    float levelAt(std::size_t i) const { return Loops::rampLevelAt(start, delta, first + static_cast<unsigned>(i)); }
    V levelsAt(std::size_t i) const {
        const VI j = Ops::addi(indexLanes, Ops::seti(static_cast<unsigned>(i)));
        return Ops::add(startV, Ops::mul(Ops::toFloat(j), deltaV));
    }
    void scalar(std::size_t i) {
        const float p = s[i] * levelAt(i);
        d[i] = Accumulate ? d[i] + p : p;
    }
    void vec(std::size_t i, unsigned) {
        const V p = Ops::mul(Ops::load(s + i), levelsAt(i));
        Ops::store(d + i, Accumulate ? Ops::add(Ops::load(d + i), p) : p);
    }
    void masked(std::size_t i, typename Ops::M m) {
        const V p = Ops::mul(Ops::loadMasked(m, s + i), levelsAt(i));
        Ops::storeMasked(d + i, m, Accumulate ? Ops::add(Ops::loadMasked(m, d + i), p) : p);
    }
};

template <class Ops>
struct Kernels {
    using V = typename Ops::V;

    template <unsigned U>
    static float peakWith(const float* src, unsigned n, float peakIn) {
        PeakK<Ops, U> k{src, PeakAcc<Ops, U>(peakIn)};
        drive<Ops, U>(k, src, n);
        return k.acc.result();
    }

    static float peak(const float* src, unsigned n, float peakIn) {
        return n < kPeakLongScan ? peakWith<kPeakUnrollShort>(src, n, peakIn) : peakWith<kPeakUnroll>(src, n, peakIn);
    }

    template <class Op, bool kPeak>
    static float oneDst(const float* src, float* dst, unsigned n, Op op, float peakIn) {
        OneDstK<Ops, Op, kPeak> k{src, dst, op, PeakAcc<Ops, kUnroll>(peakIn)};
        drive<Ops, kUnroll>(k, dst, n);
        return kPeak ? k.acc.result() : peakIn;
    }

    static void mul(const float* src, float* dst, unsigned n, float gain) {
        oneDst<MulOp<Ops>, false>(src, dst, n, {gain, Ops::set1(gain)}, 0.0f);
    }
    static float mulPeak(const float* src, float* dst, unsigned n, float gain, float peakIn) {
        return oneDst<MulOp<Ops>, true>(src, dst, n, {gain, Ops::set1(gain)}, peakIn);
    }
    static void add(const float* src, float* dst, unsigned n) { oneDst<AddOp<Ops>, false>(src, dst, n, {}, 0.0f); }
    static float addPeak(const float* src, float* dst, unsigned n, float peakIn) {
        return oneDst<AddOp<Ops>, true>(src, dst, n, {}, peakIn);
    }
    static void mulAdd(const float* src, float* dst, unsigned n, float gain) {
        oneDst<MulAddOp<Ops>, false>(src, dst, n, {gain, Ops::set1(gain)}, 0.0f);
    }
    static float mulAddPeak(const float* src, float* dst, unsigned n, float gain, float peakIn) {
        return oneDst<MulAddOp<Ops>, true>(src, dst, n, {gain, Ops::set1(gain)}, peakIn);
    }

    // dst1 is stored before dst2 is read, so dst1 may equal dst2.
    static void mulAdd2(const float* src, float* dst1, float* dst2, unsigned n, float gain1, float gain2) {
        MulAdd2K<Ops> k{src, dst1, dst2, gain1, gain2, Ops::set1(gain1), Ops::set1(gain2)};
        drive<Ops, kUnroll>(k, dst1, n);
    }

    static void mulAdd2Same(const float* src, float* dst1, float* dst2, unsigned n, float gain) {
        MulAdd2SameK<Ops> k{src, dst1, dst2, gain, Ops::set1(gain)};
        drive<Ops, kUnroll>(k, dst1, n);
    }

    template <bool Accumulate>
    static void rampLoop(const float* src, float* dst, unsigned n, float level, float delta) {
        if (n == 0) return;
        if (delta == 0.0f) {
            // The chain is level, then level + delta for good: x + 0 == x for every x but
            // -0.0 (which becomes +0.0 once), and x + -0 == x for every x.
            dst[0] = Accumulate ? dst[0] + src[0] * level : src[0] * level;
            const float steady = level + delta;
            if (Accumulate) {
                mulAdd(src + 1, dst + 1, n - 1, steady);
            } else {
                mul(src + 1, dst + 1, n - 1, steady);
            }
            return;
        }
        constexpr std::size_t W = Ops::W;
        alignas(64) float levels[W];
        std::size_t i = 0;
        for (; i + W <= n; i += W) {
            for (std::size_t j = 0; j < W; ++j) {
                levels[j] = level;
                level += delta;
            }
            const V p = Ops::mul(Ops::load(src + i), Ops::load(levels));
            Ops::store(dst + i, Accumulate ? Ops::add(Ops::load(dst + i), p) : p);
        }
        for (; i < n; ++i) {
            dst[i] = Accumulate ? dst[i] + src[i] * level : src[i] * level;
            level += delta;
        }
    }

    static void ramp(const float* src, float* dst, unsigned n, float level, float delta) {
        rampLoop<false>(src, dst, n, level, delta);
    }
    static void rampAdd(const float* src, float* dst, unsigned n, float level, float delta) {
        rampLoop<true>(src, dst, n, level, delta);
    }

    template <bool Accumulate>
    static void rampFromLoop(const float* src, float* dst, unsigned n, float start, float delta, unsigned first) {
        const typename Ops::VI indexLanes = Ops::addi(Ops::seti(first), Ops::iota());
        RampFromK<Ops, Accumulate> k{src, dst, start, delta, first, Ops::set1(start), Ops::set1(delta), indexLanes};
        drive<Ops, kUnroll>(k, dst, n);
    }
    static void rampFrom(const float* src, float* dst, unsigned n, float start, float delta, unsigned first) {
        rampFromLoop<false>(src, dst, n, start, delta, first);
    }
    static void rampFromAdd(const float* src, float* dst, unsigned n, float start, float delta, unsigned first) {
        rampFromLoop<true>(src, dst, n, start, delta, first);
    }

    // W channels' ramps side by side, channel j in lane j: the lanes' levels take one
    // vector addition per sample, so each lane follows the same serial chain of float
    // additions as the one-channel loop; W steps of the chain (one vector per sample) are
    // transposed into W vectors of one channel's W levels, each multiplying W of that
    // channel's samples. A tail shorter than W samples takes its levels from the same
    // transposed tile, one sample at a time.
    static void rampLanes(const float* const* src, float* const* dst, unsigned n, const float* level,
                          const float* delta) {
        constexpr std::size_t W = Ops::W;
        V lv = Ops::load(level);
        const V dv = Ops::load(delta);
        V t[W];
        std::size_t i = 0;
        for (; i + W <= n; i += W) {
#pragma GCC unroll 16
            for (std::size_t j = 0; j < W; ++j) {
                t[j] = lv;
                lv = Ops::add(lv, dv);
            }
            Ops::transpose(t);
#pragma GCC unroll 16
            for (std::size_t c = 0; c < W; ++c) Ops::store(dst[c] + i, Ops::mul(Ops::load(src[c] + i), t[c]));
        }
        if (i == n) return;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < W; ++j) {
            t[j] = lv;
            lv = Ops::add(lv, dv);
        }
        Ops::transpose(t);
        alignas(64) float levels[W];
        for (std::size_t c = 0; c < W; ++c) {
            Ops::spill(levels, t[c]);
            for (std::size_t m = 0; i + m < n; ++m) dst[c][i + m] = src[c][i + m] * levels[m];
        }
    }

    static constexpr Aud::MixRender::Loops::Table table(const Aud::MixRender::Loops::Table* narrower) {
        return {peak,    mul,         mulPeak, ramp,     add,         mulAdd,    addPeak,          mulAddPeak,
                mulAdd2, mulAdd2Same, rampAdd, rampFrom, rampFromAdd, rampLanes, unsigned(Ops::W), narrower};
    }
};

}  // namespace
}  // namespace Aud::MixRender::Simd
