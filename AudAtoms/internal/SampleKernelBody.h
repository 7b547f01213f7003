// Internal: the vector sample kernels, written once over a traits class V (SimdSse2.h,
// SimdAvx2.h, SimdAvx512.h) and included by one file per instruction set. Internal
// linkage throughout, so each instruction set keeps its own copy.
//
// Export of C = 1, 2, 4 or 8 planes of S-byte samples: one vector per plane is loaded,
// converted by the type's exact map, and the C vectors are interleaved by log2(C)
// rounds of zip: round: (r[2i], r[2i+1]) = zip(r[i], r[i + C/2]) for i < C/2.
// Split of C such channels is the inverse: (r[i], r[i + C/2]) = unzip(r[2i], r[2i+1]).
// Frames after the last full vector, other channel counts and other sample widths go
// to the generic scalar table, whose results are identical.
#pragma once

#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <cstddef>

namespace {

using Aud::SampleManip::genericKernels;
using Aud::SampleManip::Kernels;

// ---- per-type conversions of one vector (exact maps of the export definitions) ----
struct OpIdentity {
    static V::I apply(V::I v) { return v; }
};
struct OpFloat32 {
    static V::I apply(V::I v) { return V::clampF32(v); }
};
struct OpUint8 {
    static V::I apply(V::I v) { return V::subsU8One(v); }
};
struct OpPadded24 {
    static V::I apply(V::I v) { return V::sra32(V::sll32(v, 8), 8); }
};
struct OpInt32 {
    static V::I apply(V::I v) { return V::int32RoundTrip(v); }
};
struct OpFloat64 {
    static V::I apply(V::I v) { return V::narrowF64(v); }
};
struct OpAes16 {
    static V::I apply(V::I v) { return V::and_(V::srl32(v, 12), V::set32(0xFFFF)); }
};
struct OpAes24 {
    static V::I apply(V::I v) { return V::sra32(V::sll32(v, 4), 8); }
};

template <int Type>
struct TypeTraits;
template <>
struct TypeTraits<0> {
    static constexpr int S = 4;
    using Op = OpFloat32;
};
template <>
struct TypeTraits<1> {
    static constexpr int S = 2;
    using Op = OpIdentity;
};
template <>
struct TypeTraits<2> {
    static constexpr int S = 0;
    using Op = OpIdentity;
};  // 3-byte: scalar
template <>
struct TypeTraits<3> {
    static constexpr int S = 1;
    using Op = OpIdentity;
};
template <>
struct TypeTraits<4> {
    static constexpr int S = 1;
    using Op = OpUint8;
};
template <>
struct TypeTraits<5> {
    static constexpr int S = 4;
    using Op = OpPadded24;
};
template <>
struct TypeTraits<6> {
    static constexpr int S = 4;
    using Op = OpInt32;
};
template <>
struct TypeTraits<7> {
    static constexpr int S = 8;
    using Op = OpFloat64;
};
template <>
struct TypeTraits<8> {
    static constexpr int S = 4;
    using Op = OpAes16;
};
template <>
struct TypeTraits<9> {
    static constexpr int S = 4;
    using Op = OpAes24;
};

template <int C, int S>
inline void zipRounds(V::I (&r)[C]) {
    for (int round = 1; round < C; round *= 2) {
        V::I t[C];
        for (int i = 0; i < C / 2; ++i) V::zip<S>(r[i], r[i + C / 2], t[2 * i], t[2 * i + 1]);
        for (int i = 0; i < C; ++i) r[i] = t[i];
    }
}

template <int C, int S>
inline void unzipRounds(V::I (&r)[C]) {
    for (int round = 1; round < C; round *= 2) {
        V::I t[C];
        for (int i = 0; i < C / 2; ++i) V::unzip<S>(r[2 * i], r[2 * i + 1], t[i], t[i + C / 2]);
        for (int i = 0; i < C; ++i) r[i] = t[i];
    }
}

template <int Type, int C>
void exportVec(const unsigned char* const* planes, unsigned frames, unsigned char* out) {
    constexpr int S = TypeTraits<Type>::S;
    using Op = typename TypeTraits<Type>::Op;
    constexpr unsigned kFrames = V::kBytes / S;
    const unsigned blocks = frames / kFrames;
    const unsigned char* src[C];  // local copies: the stores cannot alias them
    for (int c = 0; c < C; ++c) src[c] = planes[c];
    for (unsigned b = 0; b < blocks; ++b) {
        const std::size_t in = std::size_t(b) * V::kBytes;
        V::I r[C];
        for (int c = 0; c < C; ++c) r[c] = Op::apply(V::load(src[c] + in));
        if constexpr (C > 1) zipRounds<C, S>(r);
        unsigned char* o = out + in * C;
        for (int c = 0; c < C; ++c) V::store(o + std::size_t(c) * V::kBytes, r[c]);
    }
    const unsigned done = blocks * kFrames;
    if (done < frames) {
        const unsigned char* tail[C];
        for (int c = 0; c < C; ++c) tail[c] = planes[c] + std::size_t(done) * S;
        genericKernels().exportPlanar[Type](tail, C, frames - done, out + std::size_t(done) * S * C);
    }
}

template <int Type>
void exportKernel(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    if constexpr (TypeTraits<Type>::S != 0) {
        switch (channels) {
        case 1: exportVec<Type, 1>(planes, frames, out); return;
        case 2: exportVec<Type, 2>(planes, frames, out); return;
        case 4: exportVec<Type, 4>(planes, frames, out); return;
        case 8: exportVec<Type, 8>(planes, frames, out); return;
        default: break;
        }
    }
    genericKernels().exportPlanar[Type](planes, channels, frames, out);
}

template <int C, int S, bool BigEndian>
void splitVec(const unsigned char* src, unsigned frames, unsigned char* const* outs) {
    constexpr unsigned kFrames = V::kBytes / S;
    const unsigned blocks = frames / kFrames;
    unsigned char* dst[C];  // local copies: the stores cannot alias them
    for (int c = 0; c < C; ++c) dst[c] = outs[c];
    for (unsigned b = 0; b < blocks; ++b) {
        const unsigned char* in = src + std::size_t(b) * V::kBytes * C;
        V::I r[C];
        for (int c = 0; c < C; ++c) {
            r[c] = V::load(in + std::size_t(c) * V::kBytes);
            if constexpr (BigEndian) r[c] = V::bswap<S>(r[c]);
        }
        unzipRounds<C, S>(r);
        for (int c = 0; c < C; ++c) V::store(dst[c] + std::size_t(b) * V::kBytes, r[c]);
    }
    const unsigned done = blocks * kFrames;
    if (done < frames) {
        unsigned char* tail[C];
        for (int c = 0; c < C; ++c) tail[c] = outs[c] + std::size_t(done) * S;
        genericKernels().split(src + std::size_t(done) * S * C, C, S, S, BigEndian, frames - done, tail);
    }
}

template <int S, bool BigEndian>
bool splitWidth(const unsigned char* src, unsigned channels, unsigned frames, unsigned char* const* outs) {
    switch (channels) {
    case 2: splitVec<2, S, BigEndian>(src, frames, outs); return true;
    case 4: splitVec<4, S, BigEndian>(src, frames, outs); return true;
    case 8: splitVec<8, S, BigEndian>(src, frames, outs); return true;
    default: return false;
    }
}

template <bool BigEndian>
bool splitOrder(const unsigned char* src, unsigned channels, unsigned width, unsigned frames,
                unsigned char* const* outs) {
    switch (width) {
    case 1: return splitWidth<1, BigEndian>(src, channels, frames, outs);
    case 2: return splitWidth<2, BigEndian>(src, channels, frames, outs);
    case 4: return splitWidth<4, BigEndian>(src, channels, frames, outs);
    case 8: return splitWidth<8, BigEndian>(src, channels, frames, outs);
    default: return false;
    }
}

void splitKernel(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                 unsigned frames, unsigned char* const* outs) {
    // Only whole containers (sampleBytes == stride) are plain element shuffles.
    if (sampleBytes == stride) {
        const bool done = bigEndian ? splitOrder<true>(src, channels, stride, frames, outs)
                                    : splitOrder<false>(src, channels, stride, frames, outs);
        if (done) return;
    }
    genericKernels().split(src, channels, stride, sampleBytes, bigEndian, frames, outs);
}

// Group kernels: `count` groups of G bytes, converted vector by vector; in place allowed.
template <unsigned G, V::I (*op)(V::I), Aud::SampleManip::GroupFn Kernels::*tailFn>
void groupVec(const unsigned char* src, unsigned char* dst, unsigned count) {
    constexpr unsigned kGroups = V::kBytes / G;
    const unsigned blocks = count / kGroups;
    for (unsigned b = 0; b < blocks; ++b) {
        const std::size_t at = std::size_t(b) * V::kBytes;
        V::store(dst + at, op(V::load(src + at)));
    }
    const unsigned done = blocks * kGroups;
    if (done < count)
        (genericKernels().*tailFn)(src + std::size_t(done) * G, dst + std::size_t(done) * G, count - done);
}

V::I swapPairsOp(V::I v) { return V::bswap<2>(v); }
V::I reverseQuadsOp(V::I v) { return V::bswap<4>(v); }
V::I mirrorLowHalfOp(V::I v) {
    // b0 b1 b2 b3 -> b0 b1 b1 b0: the low half, and its byte swap above it.
    const V::I low = V::and_(v, V::set32(0xFFFF));
    const V::I swapped = V::or_(V::sll32(V::and_(v, V::set32(0xFF)), 8), V::srl32(low, 8));
    return V::or_(low, V::sll32(swapped, 16));
}

Kernels makeKernels(const char* name) {
    return Kernels{
        name,
        {exportKernel<0>, exportKernel<1>, exportKernel<2>, exportKernel<3>, exportKernel<4>, exportKernel<5>,
         exportKernel<6>, exportKernel<7>, exportKernel<8>, exportKernel<9>},
        splitKernel,
        groupVec<2, swapPairsOp, &Kernels::swapPairs>,
        groupVec<4, reverseQuadsOp, &Kernels::reverseQuads>,
        groupVec<4, mirrorLowHalfOp, &Kernels::mirrorLowHalf>,
    };
}

}  // namespace
