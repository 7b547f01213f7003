// Internal: the vector sample kernels, written once over a traits class V (SimdSse2.h,
// SimdAvx2.h, SimdAvx512.h) and included by one file per instruction set. Internal
// linkage throughout, so each instruction set keeps its own copy.
//
// Export of C = 1, 2, 4 or 8 planes of S-byte samples (S = 1, 2, 4, 8): one vector per
// plane is loaded, converted by the type's exact map, and the C vectors are interleaved
// by log2(C) rounds of zip: round: (r[2i], r[2i+1]) = zip(r[i], r[i + C/2]) for i < C/2.
// Split of C such channels is the inverse: (r[i], r[i + C/2]) = unzip(r[2i], r[2i+1]).
//
// Every other shape of up to 8 channels (3, 5, 6 or 7 channels; packed 24-bit samples;
// 24-in-32 splits; big-endian splits that are not whole-element shuffles; and, where V
// has byte permutes (V::kByteWindow), bytes of every channel count) goes, where V
// has variable permutes (AVX2, AVX-512: its header defines AUDATOMS_SIMD_HAS_PERMUTES),
// to the window kernels: a step of a fixed number of frames loads its source vectors at
// whole-sample (export) or whole-frame (split) offsets and builds every output vector
// with two-source permutes whose controls SampleShufflePlan.h and V work out at compile
// time. A step writes whole vectors, the bytes beyond its own being overwritten by the
// next step, so steps run only while their reads and writes stay inside the caller's
// blocks.
//
// Frames after the last full vector or step, other channel counts and other sample
// widths go to the generic scalar table, whose results are identical.
#pragma once

#include "AudAtoms/buffers/Aud__SampleManip_testing.h"
#include "AudAtoms/internal/SampleShufflePlan.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// The fixed-count loops over channels, rounds and sources are unrolled at every
// optimisation level, so that their vector arrays stay in registers (at -O2 GCC would
// otherwise keep them on the stack and copy them round by round).
#define AUDATOMS_UNROLL _Pragma("GCC unroll 16")
// The window kernels' per-output code is inlined into the step loop whatever its size
// (a call would pass the source vectors through memory).
#define AUDATOMS_ALWAYS_INLINE inline __attribute__((always_inline))

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

// Bytes of one sample of each type.
constexpr unsigned kWidth[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};

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
    static constexpr int S = 0;  // packed 3-byte samples: not zipped (window kernels)
    using Op = OpIdentity;
};
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
    AUDATOMS_UNROLL
    for (int round = 1; round < C; round *= 2) {
        V::I t[C];
        AUDATOMS_UNROLL
        for (int i = 0; i < C / 2; ++i) V::zip<S>(r[i], r[i + C / 2], t[2 * i], t[2 * i + 1]);
        AUDATOMS_UNROLL
        for (int i = 0; i < C; ++i) r[i] = t[i];
    }
}

template <int C, int S>
inline void unzipRounds(V::I (&r)[C]) {
    AUDATOMS_UNROLL
    for (int round = 1; round < C; round *= 2) {
        V::I t[C];
        AUDATOMS_UNROLL
        for (int i = 0; i < C / 2; ++i) V::unzip<S>(r[2 * i], r[2 * i + 1], t[i], t[i + C / 2]);
        AUDATOMS_UNROLL
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
    AUDATOMS_UNROLL
    for (int c = 0; c < C; ++c) src[c] = planes[c];
    for (unsigned b = 0; b < blocks; ++b) {
        const std::size_t in = std::size_t(b) * V::kBytes;
        V::I r[C];
        AUDATOMS_UNROLL
        for (int c = 0; c < C; ++c) r[c] = Op::apply(V::load(src[c] + in));
        if constexpr (C > 1) zipRounds<C, S>(r);
        unsigned char* o = out + in * C;
        AUDATOMS_UNROLL
        for (int c = 0; c < C; ++c) V::store(o + std::size_t(c) * V::kBytes, r[c]);
    }
    const unsigned done = blocks * kFrames;
    if (done < frames) {
        const unsigned char* tail[C];
        for (int c = 0; c < C; ++c) tail[c] = planes[c] + std::size_t(done) * S;
        genericKernels().exportPlanar[Type](tail, C, frames - done, out + std::size_t(done) * S * C);
    }
}

// ---- window kernels (see SampleShufflePlan.h) ----
// Built where V has variable permutes (its header defines AUDATOMS_SIMD_HAS_PERMUTES);
// elsewhere the ...If functions decline and the generic table runs.
#ifdef AUDATOMS_SIMD_HAS_PERMUTES

template <unsigned VB, unsigned C, unsigned S>
struct ExportPlanOf {
    static constexpr plan::Plan value = plan::exportPlan(VB, C, S);
};
template <unsigned VB, unsigned C, unsigned Stride, unsigned SB, bool BE, bool SwapLater>
struct SplitPlanOf {
    static constexpr plan::Plan value = plan::splitPlan(VB, C, Stride, SB, BE, SwapLater);
};

// The permute controls of pair K of output O of plan P.
template <const plan::Plan& P, unsigned O, unsigned K>
struct PairOf {
    static constexpr plan::PairBytes bytes = plan::pairBytes(P, P.outputs[O], K);
    static constexpr V::Ctl<P.granularity> ctl = V::template encode<P.granularity>(bytes);
    static constexpr V::Mask mask = V::encodeMask(bytes);
    static constexpr unsigned a = plan::pairFirst(P.outputs[O], K);
    static constexpr unsigned b = plan::pairSecond(P.outputs[O], K);
};

// Output O of plan P from the step's source vectors: pair 0's permute, then each further
// pair's permute merged over it where that pair supplies the bytes.
template <const plan::Plan& P, unsigned O, unsigned K = 0>
AUDATOMS_ALWAYS_INLINE V::I buildOutput(const V::I* src, V::I acc) {
    if constexpr (K == plan::numPairs(P.outputs[O])) {
        static_assert(K > 0, "an output vector without sources");
        return acc;
    } else {
        using Pr = PairOf<P, O, K>;
        const V::I x = V::template gather<P.granularity, Pr::ctl>(src[Pr::a], src[Pr::b]);
        if constexpr (K == 0) return buildOutput<P, O, 1>(src, x);
        else return buildOutput<P, O, K + 1>(src, V::template blend<Pr::mask>(acc, x));
    }
}

template <const plan::Plan& P, unsigned O = 0>
AUDATOMS_ALWAYS_INLINE void storeExport(const V::I* src, unsigned char* out) {
    if constexpr (O < P.numOutputs) {
        V::store(out + P.outputs[O].offset, buildOutput<P, O>(src, src[0]));
        storeExport<P, O + 1>(src, out);
    }
}

template <const plan::Plan& P, int S, bool Swap, unsigned O = 0>
AUDATOMS_ALWAYS_INLINE void storeSplit(const V::I* src, unsigned char* const* dst, std::size_t at) {
    if constexpr (O < P.numOutputs) {
        V::I v = buildOutput<P, O>(src, src[0]);
        if constexpr (Swap) v = V::template bswap<S>(v);
        V::store(dst[P.outputs[O].plane] + at + P.outputs[O].offset, v);
        storeSplit<P, S, Swap, O + 1>(src, dst, at);
    }
}

template <int Type, unsigned C>
void exportWindow(const unsigned char* const* planes, unsigned frames, unsigned char* out) {
    constexpr unsigned S = kWidth[Type];
    static constexpr const plan::Plan& P = ExportPlanOf<V::kBytes, C, S>::value;
    static_assert(P.ok, "no export plan");
    using Op = typename TypeTraits<Type>::Op;
    const unsigned char* src[C];  // local copies: the stores cannot alias them
    AUDATOMS_UNROLL
    for (unsigned c = 0; c < C; ++c) src[c] = planes[c];
    const std::size_t planeBytes = std::size_t(frames) * S, outBytes = planeBytes * C;
    std::size_t f = 0;
    if (planeBytes >= P.readSpan && outBytes >= P.writeSpan) {
        // The last step start whose reads and writes stay inside the blocks.
        const std::size_t last =
            std::min((planeBytes - P.readSpan) / S, (outBytes - P.writeSpan) / (std::size_t(C) * S));
        for (; f <= last; f += P.frames) {
            V::I w[C];
            AUDATOMS_UNROLL
            for (unsigned c = 0; c < C; ++c) w[c] = Op::apply(V::load(src[c] + f * S));
            storeExport<P>(w, out + f * C * S);
        }
    }
    if (f < frames) {
        const unsigned char* tail[C];
        for (unsigned c = 0; c < C; ++c) tail[c] = planes[c] + f * S;
        genericKernels().exportPlanar[Type](tail, C, unsigned(frames - f), out + f * C * S);
    }
}

template <int Type, unsigned C>
bool exportWindowIf(const unsigned char* const* planes, unsigned frames, unsigned char* out) {
    exportWindow<Type, C>(planes, frames, out);
    return true;
}

template <unsigned C, unsigned Stride, unsigned SB, bool BE>
void splitWindow(const unsigned char* src, unsigned frames, unsigned char* const* outs) {
    constexpr bool swapLater = BE && SB == Stride && (SB == 2 || SB == 4 || SB == 8);
    static constexpr const plan::Plan& P = SplitPlanOf<V::kBytes, C, Stride, SB, BE, swapLater>::value;
    constexpr std::size_t frameBytes = std::size_t(C) * Stride;
    constexpr unsigned kSources = SplitPlanOf<V::kBytes, C, Stride, SB, BE, swapLater>::value.numSources;
    unsigned char* dst[C];  // local copies: the stores cannot alias them
    AUDATOMS_UNROLL
    for (unsigned c = 0; c < C; ++c) dst[c] = outs[c];
    const std::size_t inBytes = std::size_t(frames) * frameBytes, planeBytes = std::size_t(frames) * SB;
    std::size_t f = 0;
    if (inBytes >= P.readSpan && planeBytes >= P.writeSpan) {
        const std::size_t last = std::min((inBytes - P.readSpan) / frameBytes, (planeBytes - P.writeSpan) / SB);
        for (; f <= last; f += P.frames) {
            const unsigned char* in = src + f * frameBytes;
            V::I s[kSources];
            AUDATOMS_UNROLL
            for (unsigned m = 0; m < kSources; ++m) s[m] = V::load(in + P.sourceOffset[m]);
            storeSplit<P, int(SB), swapLater>(s, dst, f * SB);
        }
    }
    if (f < frames) {
        unsigned char* tail[C];
        for (unsigned c = 0; c < C; ++c) tail[c] = outs[c] + f * SB;
        genericKernels().split(src + f * frameBytes, C, Stride, SB, BE, unsigned(frames - f), tail);
    }
}

template <unsigned C, unsigned Stride, unsigned SB, bool BE>
bool splitWindowIf(const unsigned char* src, unsigned frames, unsigned char* const* outs) {
    constexpr bool swapLater = BE && SB == Stride && (SB == 2 || SB == 4 || SB == 8);
    if constexpr (SplitPlanOf<V::kBytes, C, Stride, SB, BE, swapLater>::value.ok) {
        splitWindow<C, Stride, SB, BE>(src, frames, outs);
        return true;
    } else {
        (void)src, (void)frames, (void)outs;
        return false;
    }
}

#else

template <int Type, unsigned C>
bool exportWindowIf(const unsigned char* const*, unsigned, unsigned char*) {
    return false;
}
template <unsigned C, unsigned Stride, unsigned SB, bool BE>
bool splitWindowIf(const unsigned char*, unsigned, unsigned char* const*) {
    return false;
}

#endif

// One shape of export: packed 24-bit mono is a copy of the samples (see exportOne<2>);
// 1, 2, 4 and 8 channels of whole-width samples are zipped, except bytes where V has
// byte permutes (V::kByteWindow: one permute beats the byte zips' unpacks and packs);
// the rest go to the window kernels where V has them. False: use the generic table.
template <int Type, unsigned C>
bool exportShape(const unsigned char* const* planes, unsigned frames, unsigned char* out) {
    constexpr int S = TypeTraits<Type>::S;  // 0: packed 24-bit
    constexpr bool zipped = S != 0 && (C == 1 || ((C == 2 || C == 4 || C == 8) && !(S == 1 && V::kByteWindow)));
    if constexpr (S == 0 && C == 1) {
        if (frames > 0) std::memcpy(out, planes[0], std::size_t(frames) * 3);
        return true;
    } else if constexpr (zipped) {
        exportVec<Type, int(C)>(planes, frames, out);
        return true;
    } else {
        return exportWindowIf<Type, C>(planes, frames, out);
    }
}

template <int Type>
void exportKernel(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    bool done = false;
    switch (channels) {
    case 1: done = exportShape<Type, 1>(planes, frames, out); break;
    case 2: done = exportShape<Type, 2>(planes, frames, out); break;
    case 3: done = exportShape<Type, 3>(planes, frames, out); break;
    case 4: done = exportShape<Type, 4>(planes, frames, out); break;
    case 5: done = exportShape<Type, 5>(planes, frames, out); break;
    case 6: done = exportShape<Type, 6>(planes, frames, out); break;
    case 7: done = exportShape<Type, 7>(planes, frames, out); break;
    case 8: done = exportShape<Type, 8>(planes, frames, out); break;
    default: break;
    }
    if (!done) genericKernels().exportPlanar[Type](planes, channels, frames, out);
}

template <int C, int S, bool BigEndian>
void splitVec(const unsigned char* src, unsigned frames, unsigned char* const* outs) {
    constexpr unsigned kFrames = V::kBytes / S;
    const unsigned blocks = frames / kFrames;
    unsigned char* dst[C];  // local copies: the stores cannot alias them
    AUDATOMS_UNROLL
    for (int c = 0; c < C; ++c) dst[c] = outs[c];
    for (unsigned b = 0; b < blocks; ++b) {
        const unsigned char* in = src + std::size_t(b) * V::kBytes * C;
        V::I r[C];
        AUDATOMS_UNROLL
        for (int c = 0; c < C; ++c) {
            r[c] = V::load(in + std::size_t(c) * V::kBytes);
            if constexpr (BigEndian) r[c] = V::bswap<S>(r[c]);
        }
        unzipRounds<C, S>(r);
        AUDATOMS_UNROLL
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

template <unsigned Stride, unsigned SB, bool BE>
bool splitWindowChannels(const unsigned char* src, unsigned channels, unsigned frames, unsigned char* const* outs) {
    // Whole containers of 1 (without byte permutes), 2, 4 or 8 bytes in 2, 4 or 8
    // channels are zipped instead.
    constexpr bool zipped = SB == Stride && ((SB == 1 && !V::kByteWindow) || SB == 2 || SB == 4 || SB == 8);
    switch (channels) {
    case 2:
        if constexpr (!zipped) return splitWindowIf<2, Stride, SB, BE>(src, frames, outs);
        break;
    case 3: return splitWindowIf<3, Stride, SB, BE>(src, frames, outs);
    case 4:
        if constexpr (!zipped) return splitWindowIf<4, Stride, SB, BE>(src, frames, outs);
        break;
    case 5: return splitWindowIf<5, Stride, SB, BE>(src, frames, outs);
    case 6: return splitWindowIf<6, Stride, SB, BE>(src, frames, outs);
    case 7: return splitWindowIf<7, Stride, SB, BE>(src, frames, outs);
    case 8:
        if constexpr (!zipped) return splitWindowIf<8, Stride, SB, BE>(src, frames, outs);
        break;
    default: break;
    }
    return false;
}

template <bool BE>
bool splitWindowLayout(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes,
                       unsigned frames, unsigned char* const* outs) {
    if (sampleBytes == stride) switch (stride) {
        case 1: return splitWindowChannels<1, 1, BE>(src, channels, frames, outs);
        case 2: return splitWindowChannels<2, 2, BE>(src, channels, frames, outs);
        case 3: return splitWindowChannels<3, 3, BE>(src, channels, frames, outs);
        case 4: return splitWindowChannels<4, 4, BE>(src, channels, frames, outs);
        case 8: return splitWindowChannels<8, 8, BE>(src, channels, frames, outs);
        default: return false;
        }
    if (stride == 4 && sampleBytes == 3) return splitWindowChannels<4, 3, BE>(src, channels, frames, outs);
    return false;
}

void splitKernel(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                 unsigned frames, unsigned char* const* outs) {
    // Only whole containers (sampleBytes == stride) are plain element shuffles; bytes go
    // to the window kernels where V has byte permutes.
    if (sampleBytes == stride && !(stride == 1 && V::kByteWindow)) {
        const bool done = bigEndian ? splitOrder<true>(src, channels, stride, frames, outs)
                                    : splitOrder<false>(src, channels, stride, frames, outs);
        if (done) return;
    }
    const bool done = bigEndian ? splitWindowLayout<true>(src, channels, stride, sampleBytes, frames, outs)
                                : splitWindowLayout<false>(src, channels, stride, sampleBytes, frames, outs);
    if (done) return;
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
