// Internal: the vectorised peak scans behind Aud__PeakScan.h, written once over a
// vector-operations struct S (detail/PeakSimdSse2.h or detail/PeakSimdAvx2.h) and
// compiled in each instruction-set file. Include only from those files, after S.
//
// Integer sample types keep the running maximum and minimum of the raw samples and
// scale once at the end (every scaling here is exact, or monotonic and symmetric in
// sign, so the result equals the per-sample definition bit for bit). Float types keep
// max(|v|, acc), which ignores NaN exactly like the scalar `v > p` comparison.
// The samples after the last full vector go through the same scalar steps.
#pragma once

#include "AudAtoms/Aud__PeakScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

template <class T>
T loadScalar(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Horizontal maximum and minimum of integer lanes held in a store buffer.
template <class T, unsigned N>
T laneMax(const T (&a)[N]) { return *std::max_element(a, a + N); }
template <class T, unsigned N>
T laneMin(const T (&a)[N]) { return *std::min_element(a, a + N); }

template <class S>
float peakFloat32(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes / 4;
    typename S::F acc = S::zeroF();
    unsigned i = 0;
    for (; i + k <= n; i += k) acc = S::maxF(S::absF(S::loadF(p + 4 * std::size_t(i))), acc);
    float a[k];
    S::storeF(a, acc);
    float m = 0.0f;
    for (float v : a) if (v > m) m = v;
    for (; i < n; ++i) {
        const float v = std::fabs(loadScalar<float>(p + 4 * std::size_t(i)));
        if (v > m) m = v;
    }
    return m;
}

template <class S>
float peakFloat64(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes / 8;
    typename S::D acc = S::zeroD();
    unsigned i = 0;
    for (; i + k <= n; i += k) acc = S::maxD(S::absD(S::loadD(p + 8 * std::size_t(i))), acc);
    double a[k];
    S::storeD(a, acc);
    double m = 0.0;
    for (double v : a) if (v > m) m = v;
    for (; i < n; ++i) {
        const double v = std::fabs(loadScalar<double>(p + 8 * std::size_t(i)));
        if (v > m) m = v;
    }
    return float(m);  // float() is monotonic: the largest double gives the largest float
}

// int16 samples (type 1), or bits 12..27 of 32-bit words (type 8).
template <class S, bool Aes>
float peakInt16(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes / 2;  // int16 lanes per vector
    constexpr unsigned stride = Aes ? 4 : 2;
    typename S::I mx = S::zeroI(), mn = S::zeroI();
    unsigned i = 0;
    for (; i + k <= n; i += k) {
        typename S::I v;
        if constexpr (Aes) {
            const unsigned char* q = p + 4 * std::size_t(i);
            v = S::packs32(S::template srai32<16>(S::template slli32<4>(S::loadI(q))),
                           S::template srai32<16>(S::template slli32<4>(S::loadI(q + S::kBytes))));
        } else {
            v = S::loadI(p + 2 * std::size_t(i));
        }
        mx = S::max16(mx, v);
        mn = S::min16(mn, v);
    }
    std::int16_t a[k], b[k];
    S::storeI(a, mx);
    S::storeI(b, mn);
    int hi = laneMax(a), lo = laneMin(b);
    for (; i < n; ++i) {
        const unsigned char* q = p + stride * std::size_t(i);
        const int v = Aes ? std::int16_t(loadScalar<std::uint32_t>(q) >> 12) : loadScalar<std::int16_t>(q);
        hi = std::max(hi, v);
        lo = std::min(lo, v);
    }
    return float(std::max(hi, -lo)) * 3.0517578e-5f;
}

// 8-bit samples: signed (type 3) or offset by 128 (type 4), compared as unsigned bytes
// offset by 128.
template <class S, bool Signed>
float peakInt8(const unsigned char* p, unsigned n) {
    constexpr unsigned k = S::kBytes;
    const typename S::I flip = S::set1_8(Signed ? char(0x80) : char(0));
    typename S::I mx = S::set1_8(char(0x80)), mn = S::set1_8(char(0x80));
    unsigned i = 0;
    for (; i + k <= n; i += k) {
        const typename S::I v = S::xorI(S::loadI(p + i), flip);
        mx = S::max8u(mx, v);
        mn = S::min8u(mn, v);
    }
    std::uint8_t a[k], b[k];
    S::storeI(a, mx);
    S::storeI(b, mn);
    int hi = laneMax(a), lo = laneMin(b);
    for (; i < n; ++i) {
        const int v = Signed ? (p[i] ^ 0x80) : p[i];
        hi = std::max(hi, v);
        lo = std::min(lo, v);
    }
    return float(std::max(hi - 128, 128 - lo)) * 0.0078125f;
}

// 32-bit lanes of signed integers: packed 24-bit (type 2), 24 bits in the low three
// bytes (type 5), bits 4..27 (type 9), or plain int32 (type 6).
template <class S, int Type>
void minMax32(const unsigned char* p, unsigned n, std::int64_t& hi, std::int64_t& lo, unsigned& done) {
    constexpr unsigned k = S::kBytes / 4;
    constexpr unsigned stride = Type == 2 ? 3 : 4;
    typename S::I mx = S::set1_32(Type == 6 ? INT32_MIN : 0), mn = S::set1_32(Type == 6 ? INT32_MAX : 0);
    unsigned i = 0;
    for (; i + k <= n; i += k) {
        const unsigned char* q = p + stride * std::size_t(i);
        typename S::I v;
        if constexpr (Type == 2) v = S::load24(q);
        if constexpr (Type == 5) v = S::template srai32<8>(S::template slli32<8>(S::loadI(q)));
        if constexpr (Type == 9) v = S::template srai32<8>(S::template slli32<4>(S::loadI(q)));
        if constexpr (Type == 6) v = S::loadI(q);
        mx = S::max32(mx, v);
        mn = S::min32(mn, v);
    }
    std::int32_t a[k], b[k];
    S::storeI(a, mx);
    S::storeI(b, mn);
    hi = laneMax(a);
    lo = laneMin(b);
    done = i;
}

std::int32_t scalar24(const unsigned char* q) {
    return std::int32_t((std::uint32_t(q[0]) | std::uint32_t(q[1]) << 8 | std::uint32_t(q[2]) << 16) << 8) >> 8;
}

template <class S, int Type>
float peakInt24(const unsigned char* p, unsigned n) {
    std::int64_t hi, lo;
    unsigned i;
    minMax32<S, Type>(p, n, hi, lo, i);
    constexpr unsigned stride = Type == 2 ? 3 : 4;
    for (; i < n; ++i) {
        const unsigned char* q = p + stride * std::size_t(i);
        const std::int64_t v = Type == 9 ? std::int32_t(loadScalar<std::uint32_t>(q) << 4) >> 8 : scalar24(q);
        hi = std::max(hi, v);
        lo = std::min(lo, v);
    }
    return float(std::max(hi, -lo)) * 1.1920929e-7f;
}

// int32: |x + 0.5| is largest where |2x + 1| is; the division and the narrowing to
// float are monotonic and symmetric in sign, so the largest |2x + 1| gives the peak.
template <class S>
float peakInt32(const unsigned char* p, unsigned n) {
    if (n == 0) return 0.0f;
    std::int64_t hi, lo;
    unsigned i;
    minMax32<S, 6>(p, n, hi, lo, i);
    for (; i < n; ++i) {
        const std::int64_t v = loadScalar<std::int32_t>(p + 4 * std::size_t(i));
        hi = std::max(hi, v);
        lo = std::min(lo, v);
    }
    const std::int64_t twice = std::max(2 * hi + 1, -(2 * lo + 1));
    return float((double(twice) * 0.5) / 2147483647.5);
}

template <class S>
Aud::PeakScan::Kernels makeKernels(const char* name) {
    return {name,
            {peakFloat32<S>, peakInt16<S, false>, peakInt24<S, 2>, peakInt8<S, true>, peakInt8<S, false>,
             peakInt24<S, 5>, peakInt32<S>, peakFloat64<S>, peakInt16<S, true>, peakInt24<S, 9>}};
}

} // namespace
