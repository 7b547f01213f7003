// Internal: the vectorised peak scans behind Aud__PeakScan.h, written once over a
// vector-operations struct S (internal/PeakSimdSse2.h or internal/PeakSimdAvx2.h) and
// compiled in each instruction-set file. Include only from those files, after S.
//
// Integer sample types keep the running maximum and minimum of the raw samples and
// scale once at the end (every scaling here is exact, or monotonic and symmetric in
// sign, so the result equals the per-sample definition bit for bit). Float types keep
// max(|v|, acc), which ignores NaN exactly like the scalar `v > p` comparison.
// The samples after the last full vector go through the same scalar steps.
// Internal linkage only, and no standard library templates: see PeakScanScalar.h.
#pragma once

#include "AudAtoms/kernels/Aud__PeakScan_testing.h"
#include "AudAtoms/internal/PeakScanScalar.h"

#include <cstddef>
#include <cstdint>

namespace {

// float32 (type 0) or float64 (type 7).
template <class S, class T>
float peakFloat(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes / sizeof(T);
    auto load = [p](unsigned j) { return S::absFP(S::template loadFP<T>(p + sizeof(T) * j)); };
    auto acc = S::template zeroFP<T>(), acc1 = acc;
    unsigned i = 0;
    for (; i + 2 * k <= n; i += 2 * k) {  // two accumulators: independent chains
        acc = S::maxFP(load(i), acc);
        acc1 = S::maxFP(load(i + k), acc1);
    }
    if (i + k <= n) {
        acc = S::maxFP(load(i), acc);
        i += k;
    }
    acc = S::maxFP(acc1, acc);  // no lane is NaN
    T a[k];
    S::storeFP(a, acc);
    T m = 0;
    for (T v : a)
        if (v > m) m = v;
    for (; i < n; ++i) {
        const T v = clearSign(loadLE<T>(p + sizeof(T) * i));
        if (v > m) m = v;
    }
    return float(m);  // float() is monotonic: the largest double gives the largest float
}

// Folds the whole vectors of n samples (k to a vector; load(i) reads the vector that
// starts at sample i) into the running maximum mx and minimum mn, two independent
// chains at a time. Returns the first sample not folded.
template <class I, class Load, class Max, class Min>
unsigned foldMinMax(unsigned n, unsigned k, Load load, Max max, Min min, I& mx, I& mn) {
    I mx1 = mx, mn1 = mn;
    unsigned i = 0;
    for (; i + 2 * k <= n; i += 2 * k) {
        const I v = load(i), w = load(i + k);
        mx = max(mx, v);
        mn = min(mn, v);
        mx1 = max(mx1, w);
        mn1 = min(mn1, w);
    }
    if (i + k <= n) {
        const I v = load(i);
        mx = max(mx, v);
        mn = min(mn, v);
        i += k;
    }
    mx = max(mx, mx1);
    mn = min(mn, mn1);
    return i;
}

// int16 samples (type 1), or bits 12..27 of 32-bit words (type 8).
template <class S, bool Aes>
float peakInt16(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes / 2;  // int16 lanes per vector
    constexpr unsigned stride = Aes ? 4 : 2;
    auto load = [p](unsigned j) {
        if constexpr (Aes) {
            const unsigned char* q = p + 4 * std::size_t(j);
            return S::packs32(S::template srai32<16>(S::template slli32<4>(S::loadI(q))),
                              S::template srai32<16>(S::template slli32<4>(S::loadI(q + S::kBytes))));
        } else {
            return S::loadI(p + 2 * std::size_t(j));
        }
    };
    typename S::I mx = S::zeroI(), mn = mx;
    unsigned i = foldMinMax(
        n, k, load, [](auto a, auto b) { return S::max16(a, b); }, [](auto a, auto b) { return S::min16(a, b); }, mx,
        mn);
    int hi = S::hmax16(mx), lo = S::hmin16(mn);
    for (; i < n; ++i) {
        const unsigned char* q = p + stride * std::size_t(i);
        const int v = Aes ? aes16Of(loadLE<std::uint32_t>(q)) : loadLE<std::int16_t>(q);
        hi = largerOf(hi, v);
        lo = smallerOf(lo, v);
    }
    return float(largerOf(hi, -lo)) * 3.0517578e-5f;
}

// 8-bit samples: signed (type 3) or offset by 128 (type 4), compared as unsigned bytes
// offset by 128.
template <class S, bool Signed>
float peakInt8(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes;
    const typename S::I flip = S::set1_8(Signed ? char(0x80) : char(0));
    typename S::I mx = S::set1_8(char(0x80)), mn = mx;
    unsigned i = foldMinMax(
        n, k, [p, flip](unsigned j) { return S::xorI(S::loadI(p + j), flip); },
        [](auto a, auto b) { return S::max8u(a, b); }, [](auto a, auto b) { return S::min8u(a, b); }, mx, mn);
    int hi = S::hmax8u(mx), lo = S::hmin8u(mn);
    for (; i < n; ++i) {
        const int v = Signed ? (p[i] ^ 0x80) : p[i];
        hi = largerOf(hi, v);
        lo = smallerOf(lo, v);
    }
    return float(largerOf(hi - 128, 128 - lo)) * 0.0078125f;
}

// Signed 32-bit lanes: packed 24-bit (type 2), 24 bits in the low three bytes (type 5),
// bits 4..27 of a word (type 9), or plain int32 (type 6). Returns the largest and
// smallest sample; with no sample at all, 0 and 0.
template <class S, int Type>
void minMax32(const unsigned char* p, unsigned n, std::int64_t& hi, std::int64_t& lo) {
    constexpr unsigned k = S::kBytes / 4;
    constexpr unsigned stride = Type == 2 ? 3 : 4;
    // Start from a sample itself, so that starting values never count (int32 has no
    // neutral value that is not a sample).
    const std::int32_t first = n == 0                   ? 0
                               : Type == 2 || Type == 5 ? int24At(p)
                               : Type == 9              ? aes24Of(loadLE<std::uint32_t>(p))
                                                        : loadLE<std::int32_t>(p);
    auto load = [p](unsigned j) {
        const unsigned char* q = p + stride * std::size_t(j);
        if constexpr (Type == 2) return S::load24(q);
        if constexpr (Type == 5) return S::template srai32<8>(S::template slli32<8>(S::loadI(q)));
        if constexpr (Type == 9) return S::template srai32<8>(S::template slli32<4>(S::loadI(q)));
        if constexpr (Type == 6) return S::loadI(q);
    };
    typename S::I mx = S::set1_32(first), mn = mx;
    unsigned i = foldMinMax(
        n, k, load, [](auto a, auto b) { return S::max32(a, b); }, [](auto a, auto b) { return S::min32(a, b); }, mx,
        mn);
    hi = S::hmax32(mx);
    lo = S::hmin32(mn);
    for (; i < n; ++i) {
        const unsigned char* q = p + stride * std::size_t(i);
        const std::int64_t v = Type == 2 || Type == 5 ? int24At(q)
                               : Type == 9            ? aes24Of(loadLE<std::uint32_t>(q))
                                                      : loadLE<std::int32_t>(q);
        hi = largerOf(hi, v);
        lo = smallerOf(lo, v);
    }
}

template <class S, int Type>
float peakInt24(const unsigned char* p, unsigned n) {
    std::int64_t hi, lo;
    minMax32<S, Type>(p, n, hi, lo);
    return float(largerOf(largerOf(hi, -lo), std::int64_t(0))) * 1.1920929e-7f;
}

// int32: |x + 0.5| is largest where |2x + 1| is; the division and the narrowing to
// float are monotonic and symmetric in sign, so the largest |2x + 1| gives the peak.
template <class S>
float peakInt32(const unsigned char* p, unsigned n) {
    if (n == 0) return 0.0f;
    std::int64_t hi, lo;
    minMax32<S, 6>(p, n, hi, lo);
    const std::int64_t twice = largerOf(2 * hi + 1, -(2 * lo + 1));
    return float((double(twice) * 0.5) / 2147483647.5);
}

template <class S>
Aud::PeakScan::Kernels makeKernels(const char* name) {
    return {name,
            {peakFloat<S, float>, peakInt16<S, false>, peakInt24<S, 2>, peakInt8<S, true>, peakInt8<S, false>,
             peakInt24<S, 5>, peakInt32<S>, peakFloat<S, double>, peakInt16<S, true>, peakInt24<S, 9>}};
}

}  // namespace
