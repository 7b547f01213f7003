// Internal: 512-bit vector operations (AVX-512 F/BW/DQ/VL) for SampleKernelBody.h.
// Include only from the AVX-512 kernel file. Internal linkage throughout.
//
// Elements of 2, 4 and 8 bytes are zipped and unzipped with one two-source permute per
// result; bytes (no byte permute in this instruction set) with unpack or pack within
// 128-bit lanes and one permute of the 64-bit pieces.
//
// The window kernels' two-source permutes (gather<G>) move elements of G = 2, 4 or 8
// bytes with one vpermt2w/d/q. Single bytes take one vpermt2b where the file is
// compiled for AVX-512 VBMI (__AVX512VBMI__: the avx512vbmi table); without it, two
// word permutes (one for the even, one for the odd output bytes) and two in-lane byte
// shuffles that pick the wanted byte of each word.
#pragma once

// This vector struct offers the window kernels' permutes (see SampleKernelBody.h).
#define AUDATOMS_SIMD_HAS_PERMUTES 1

// g++ 12 warns about the deliberately undefined pass-through operand inside several
// AVX-512 intrinsics (fixed in later releases); the warning points into the header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif

#include "AudAtoms/internal/SampleShufflePlan.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace {

struct V {
    using I = __m512i;
    static constexpr unsigned kBytes = 64;

    static I load(const unsigned char* p) { return _mm512_loadu_si512(p); }
    static void store(unsigned char* p, I v) { _mm512_storeu_si512(p, v); }

    // Index vectors of the two-source permutes, for elements of S bytes (S = 2, 4, 8):
    // zipLo picks a0 b0 a1 b1 ..., zipHi the second halves, even/odd the unzipped halves.
    // Constant tables (loaded, never built at run time, whatever the optimisation level).
    enum eIndex : int { kZipLo, kZipHi, kEven, kOdd };
    template <int S, int Kind>
    struct IndexTable {
        static constexpr int kN = 64 / S;
        alignas(64) std::uint8_t bytes[64] = {};
        static constexpr int element(int i) {
            switch (Kind) {
            case kZipLo: return (i % 2) * kN + i / 2;
            case kZipHi: return (i % 2) * kN + kN / 2 + i / 2;
            case kEven: return 2 * i;
            default: return 2 * i + 1;
            }
        }
        static constexpr IndexTable make() {
            IndexTable t;
            for (int i = 0; i < kN; ++i)
                for (int j = 0; j < S; ++j) t.bytes[i * S + j] = std::uint8_t(std::uint64_t(element(i)) >> (8 * j));
            return t;
        }
    };
    template <int S, int Kind>
    static constexpr IndexTable<S, Kind> kIndex = IndexTable<S, Kind>::make();
    template <int S>
    struct Index {
        static I zipLo() { return _mm512_load_si512(kIndex<S, kZipLo>.bytes); }
        static I zipHi() { return _mm512_load_si512(kIndex<S, kZipHi>.bytes); }
        static I even() { return _mm512_load_si512(kIndex<S, kEven>.bytes); }
        static I odd() { return _mm512_load_si512(kIndex<S, kOdd>.bytes); }
    };

    template <int S>
    static I permute2(I a, I idx, I b) {
        if constexpr (S == 2) return _mm512_permutex2var_epi16(a, idx, b);
        if constexpr (S == 4) return _mm512_permutex2var_epi32(a, idx, b);
        if constexpr (S == 8) return _mm512_permutex2var_epi64(a, idx, b);
    }

    template <int S>
    static void zip(I a, I b, I& lo, I& hi) {
        if constexpr (S == 1) {
            // Lane k of l holds the first half of lane k zipped, of h the second half.
            const I l = _mm512_unpacklo_epi8(a, b), h = _mm512_unpackhi_epi8(a, b);
            lo = _mm512_permutex2var_epi64(l, _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0), h);
            hi = _mm512_permutex2var_epi64(l, _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4), h);
        } else {
            lo = permute2<S>(a, Index<S>::zipLo(), b);
            hi = permute2<S>(a, Index<S>::zipHi(), b);
        }
    }

    template <int S>
    static void unzip(I x, I y, I& ev, I& od) {
        if constexpr (S == 1) {
            // Per 128-bit lane: x's bytes then y's; gather all of x's pieces first.
            const I m = _mm512_set1_epi16(0x00FF);
            const I e = _mm512_packus_epi16(_mm512_and_si512(x, m), _mm512_and_si512(y, m));
            const I o = _mm512_packus_epi16(_mm512_srli_epi16(x, 8), _mm512_srli_epi16(y, 8));
            const I order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
            ev = _mm512_permutexvar_epi64(order, e);
            od = _mm512_permutexvar_epi64(order, o);
        } else {
            ev = permute2<S>(x, Index<S>::even(), y);
            od = permute2<S>(x, Index<S>::odd(), y);
        }
    }

    template <int S>
    static I bswap(I v) {
        if constexpr (S == 1) return v;
        if constexpr (S == 2)
            return _mm512_shuffle_epi8(
                v, _mm512_broadcast_i32x4(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14)));
        if constexpr (S == 4)
            return _mm512_shuffle_epi8(
                v, _mm512_broadcast_i32x4(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12)));
        if constexpr (S == 8)
            return _mm512_shuffle_epi8(
                v, _mm512_broadcast_i32x4(_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)));
    }

    static I set32(int x) { return _mm512_set1_epi32(x); }
    static I and_(I a, I b) { return _mm512_and_si512(a, b); }
    static I or_(I a, I b) { return _mm512_or_si512(a, b); }
    static I sll32(I v, int n) { return _mm512_slli_epi32(v, unsigned(n)); }
    static I srl32(I v, int n) { return _mm512_srli_epi32(v, unsigned(n)); }
    static I sra32(I v, int n) { return _mm512_srai_epi32(v, unsigned(n)); }
    static I subsU8One(I v) { return _mm512_subs_epu8(v, _mm512_set1_epi8(1)); }

    static I clampF32(I v) {
        __m512 x = _mm512_castsi512_ps(v);
        x = _mm512_min_ps(_mm512_set1_ps(0.9999999f), x);
        x = _mm512_max_ps(_mm512_set1_ps(-1.0f), x);
        return _mm512_castps_si512(x);
    }

    static I narrowF64(I v) { return _mm512_castpd_si512(_mm512_cvtps_pd(_mm512_cvtpd_ps(_mm512_castsi512_pd(v)))); }

    // exportInt32 of 16 samples; see int32RoundTrip in SimdSse2.h for the derivation.
    static I int32RoundTrip(I s) {
        const __m512i n = _mm512_srai_epi32(s, 31);
        const __m512i low = _mm512_set1_epi32(0xFF);
        const __m512 hi = _mm512_cvtepi32_ps(_mm512_andnot_si512(low, s));
        const __m512i half = _mm512_add_epi32(_mm512_set1_epi32(0x3F004000),
                                              _mm512_and_si512(n, _mm512_set1_epi32(0x3EFF8000 - 0x3F004000)));
        const __m512 lo = _mm512_add_ps(_mm512_cvtepi32_ps(_mm512_and_si512(s, low)), _mm512_castsi512_ps(half));
        const __m512i t = _mm512_cvttps_epi32(_mm512_add_ps(hi, lo));
        const __m512i out =
            _mm512_mask_sub_epi32(t, _mm512_cmpgt_epi32_mask(s, _mm512_setzero_si512()), t, _mm512_set1_epi32(1));
        const __mmask16 carry = _mm512_cmpeq_epi32_mask(
            _mm512_or_si512(_mm512_xor_si512(s, n), _mm512_set1_epi32(0x100)), _mm512_set1_epi32(0x7FFFFFBF));
        const __m512i seven = _mm512_set1_epi32(0x7F);
        const __m512i outward = _mm512_xor_si512(_mm512_or_si512(s, seven), _mm512_and_si512(n, seven));
        return _mm512_mask_mov_epi32(out, carry, outward);
    }

    // ---- window kernels (SampleShufflePlan.h) ----
#ifdef __AVX512VBMI__
    static constexpr bool kVbmi = true;
#else
    static constexpr bool kVbmi = false;
#endif
    // With byte permutes, bytes of every channel count go to the window kernels.
    static constexpr bool kByteWindow = kVbmi;

    // Controls of one two-source permute of G-byte elements: element indices (a single
    // vpermt2), or, for bytes without VBMI, word indices for the even and the odd output
    // bytes (16 bits each) and the in-lane picks of the wanted byte (0x80: zero).
    struct CtlIndex {
        alignas(64) std::uint8_t idx[64] = {};
    };
    struct CtlWords {
        alignas(64) std::uint8_t even[64] = {};
        alignas(64) std::uint8_t odd[64] = {};
        alignas(64) std::uint8_t pickE[64] = {};
        alignas(64) std::uint8_t pickO[64] = {};
    };
    template <unsigned G>
    using Ctl = std::conditional_t<(G > 1 || kVbmi), CtlIndex, CtlWords>;

    template <unsigned G>
    static constexpr Ctl<G> encode(const plan::PairBytes& pb) {
        Ctl<G> c;
        if constexpr (G > 1 || kVbmi) {
            for (std::size_t e = 0; e < 64 / G; ++e) {
                const std::uint8_t b = pb.idx[e * G];
                const std::uint64_t v = b == plan::kNone ? 0 : b / G;
                for (std::size_t j = 0; j < G; ++j) c.idx[e * G + j] = std::uint8_t(v >> (8 * j));
            }
        } else {
            for (std::size_t w = 0; w < 32; ++w) {
                const std::uint8_t be = pb.idx[2 * w], bo = pb.idx[2 * w + 1];
                c.even[2 * w] = be == plan::kNone ? 0 : std::uint8_t(be / 2);
                c.odd[2 * w] = bo == plan::kNone ? 0 : std::uint8_t(bo / 2);
                const std::uint8_t lane = std::uint8_t((2 * w) % 16);
                c.pickE[2 * w] = be == plan::kNone ? 0x80 : std::uint8_t(lane + (be & 1));
                c.pickE[2 * w + 1] = 0x80;
                c.pickO[2 * w] = 0x80;
                c.pickO[2 * w + 1] = bo == plan::kNone ? 0x80 : std::uint8_t(lane + (bo & 1));
            }
        }
        return c;
    }

    template <unsigned G, const Ctl<G>& c>
    static I gather(I a, I b) {
        if constexpr (G == 8) return _mm512_permutex2var_epi64(a, _mm512_load_si512(c.idx), b);
        if constexpr (G == 4) return _mm512_permutex2var_epi32(a, _mm512_load_si512(c.idx), b);
        if constexpr (G == 2) return _mm512_permutex2var_epi16(a, _mm512_load_si512(c.idx), b);
        if constexpr (G == 1) {
#ifdef __AVX512VBMI__
            return _mm512_permutex2var_epi8(a, _mm512_load_si512(c.idx), b);
#else
            const I e = _mm512_permutex2var_epi16(a, _mm512_load_si512(c.even), b);
            const I o = _mm512_permutex2var_epi16(a, _mm512_load_si512(c.odd), b);
            return _mm512_or_si512(_mm512_shuffle_epi8(e, _mm512_load_si512(c.pickE)),
                                   _mm512_shuffle_epi8(o, _mm512_load_si512(c.pickO)));
#endif
        }
    }

    using Mask = std::uint64_t;
    static constexpr Mask encodeMask(const plan::PairBytes& pb) {
        Mask m = 0;
        for (unsigned i = 0; i < 64; ++i)
            if (pb.take[i]) m |= Mask(1) << i;
        return m;
    }
    // Bytes of x where the mask is set, of acc elsewhere.
    template <const Mask& m>
    static I blend(I acc, I x) {
        return _mm512_mask_blend_epi8(m, acc, x);
    }
};

}  // namespace
