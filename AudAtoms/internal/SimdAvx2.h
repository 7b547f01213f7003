// Internal: 256-bit vector operations (AVX2) for SampleKernelBody.h. Include only from
// the AVX2 kernel file (compiled with -mavx2). Internal linkage throughout.
//
// The 256-bit unpack and pack instructions work within 128-bit lanes; zip and unzip
// put the lanes back in order with one cross-lane permute each.
#pragma once

// This vector struct offers the window kernels' permutes (see SampleKernelBody.h).
#define AUDATOMS_SIMD_HAS_PERMUTES 1

#include "AudAtoms/internal/SampleShufflePlan.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace {

struct V {
    using I = __m256i;
    static constexpr unsigned kBytes = 32;

    static I load(const unsigned char* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static void store(unsigned char* p, I v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

    template <int S>
    static void zip(I a, I b, I& lo, I& hi) {
        I l, h;
        if constexpr (S == 1) {
            l = _mm256_unpacklo_epi8(a, b);
            h = _mm256_unpackhi_epi8(a, b);
        }
        if constexpr (S == 2) {
            l = _mm256_unpacklo_epi16(a, b);
            h = _mm256_unpackhi_epi16(a, b);
        }
        if constexpr (S == 4) {
            l = _mm256_unpacklo_epi32(a, b);
            h = _mm256_unpackhi_epi32(a, b);
        }
        if constexpr (S == 8) {
            l = _mm256_unpacklo_epi64(a, b);
            h = _mm256_unpackhi_epi64(a, b);
        }
        lo = _mm256_permute2x128_si256(l, h, 0x20);
        hi = _mm256_permute2x128_si256(l, h, 0x31);
    }

    template <int S>
    static void unzip(I x, I y, I& ev, I& od) {
        I e, o;
        if constexpr (S == 1) {
            const I m = _mm256_set1_epi16(0x00FF);
            e = _mm256_packus_epi16(_mm256_and_si256(x, m), _mm256_and_si256(y, m));
            o = _mm256_packus_epi16(_mm256_srli_epi16(x, 8), _mm256_srli_epi16(y, 8));
        }
        if constexpr (S == 2) {
            e = _mm256_packs_epi32(_mm256_srai_epi32(_mm256_slli_epi32(x, 16), 16),
                                   _mm256_srai_epi32(_mm256_slli_epi32(y, 16), 16));
            o = _mm256_packs_epi32(_mm256_srai_epi32(x, 16), _mm256_srai_epi32(y, 16));
        }
        if constexpr (S == 4) {
            const __m256 xf = _mm256_castsi256_ps(x), yf = _mm256_castsi256_ps(y);
            e = _mm256_castps_si256(_mm256_shuffle_ps(xf, yf, _MM_SHUFFLE(2, 0, 2, 0)));
            o = _mm256_castps_si256(_mm256_shuffle_ps(xf, yf, _MM_SHUFFLE(3, 1, 3, 1)));
        }
        if constexpr (S == 8) {
            e = _mm256_unpacklo_epi64(x, y);
            o = _mm256_unpackhi_epi64(x, y);
        }
        ev = _mm256_permute4x64_epi64(e, _MM_SHUFFLE(3, 1, 2, 0));
        od = _mm256_permute4x64_epi64(o, _MM_SHUFFLE(3, 1, 2, 0));
    }

    template <int S>
    static I bswap(I v) {
        if constexpr (S == 1) return v;
        if constexpr (S == 2)
            return _mm256_shuffle_epi8(v, _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0,
                                                           3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
        if constexpr (S == 4)
            return _mm256_shuffle_epi8(v, _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2,
                                                           1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
        if constexpr (S == 8)
            return _mm256_shuffle_epi8(v, _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6,
                                                           5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
    }

    // Bytes are zipped, not permuted one by one (see SampleKernelBody.h).
    static constexpr bool kByteWindow = false;

    static I set32(int x) { return _mm256_set1_epi32(x); }
    static I and_(I a, I b) { return _mm256_and_si256(a, b); }
    static I or_(I a, I b) { return _mm256_or_si256(a, b); }
    static I sll32(I v, int n) { return _mm256_slli_epi32(v, n); }
    static I srl32(I v, int n) { return _mm256_srli_epi32(v, n); }
    static I sra32(I v, int n) { return _mm256_srai_epi32(v, n); }
    static I subsU8One(I v) { return _mm256_subs_epu8(v, _mm256_set1_epi8(1)); }

    static I clampF32(I v) {
        __m256 x = _mm256_castsi256_ps(v);
        x = _mm256_min_ps(_mm256_set1_ps(0.9999999f), x);
        x = _mm256_max_ps(_mm256_set1_ps(-1.0f), x);
        return _mm256_castps_si256(x);
    }

    static I narrowF64(I v) { return _mm256_castpd_si256(_mm256_cvtps_pd(_mm256_cvtpd_ps(_mm256_castsi256_pd(v)))); }

    // exportInt32 of 8 samples; see int32RoundTrip in SimdSse2.h for the derivation.
    static I int32RoundTrip(I s) {
        const __m256i n = _mm256_srai_epi32(s, 31);
        const __m256i low = _mm256_set1_epi32(0xFF);
        const __m256 hi = _mm256_cvtepi32_ps(_mm256_andnot_si256(low, s));
        const __m256i half = _mm256_add_epi32(_mm256_set1_epi32(0x3F004000),
                                              _mm256_and_si256(n, _mm256_set1_epi32(0x3EFF8000 - 0x3F004000)));
        const __m256 lo = _mm256_add_ps(_mm256_cvtepi32_ps(_mm256_and_si256(s, low)), _mm256_castsi256_ps(half));
        const __m256i out =
            _mm256_add_epi32(_mm256_cvttps_epi32(_mm256_add_ps(hi, lo)), _mm256_cmpgt_epi32(s, _mm256_setzero_si256()));
        const __m256i carry = _mm256_cmpeq_epi32(_mm256_or_si256(_mm256_xor_si256(s, n), _mm256_set1_epi32(0x100)),
                                                 _mm256_set1_epi32(0x7FFFFFBF));
        const __m256i seven = _mm256_set1_epi32(0x7F);
        const __m256i outward = _mm256_xor_si256(_mm256_or_si256(s, seven), _mm256_and_si256(n, seven));
        return _mm256_blendv_epi8(out, outward, carry);
    }

    // ---- window kernels (SampleShufflePlan.h) ----
    // No two-source permutes: a pair is permuted one source at a time. Elements of 4
    // and 8 bytes move with vpermd; bytes and 2-byte elements with two in-lane byte
    // shuffles per source, one of it as loaded and one with its 128-bit lanes swapped.

    struct CtlDwords {
        alignas(32) std::uint8_t a[32] = {};      // dword indices into the first source
        alignas(32) std::uint8_t b[32] = {};      // and into the second
        alignas(32) std::uint8_t fromB[32] = {};  // 0xFF where the second source's wins
        bool second = false;
    };
    struct CtlBytes {
        alignas(32) std::uint8_t aIn[32] = {};  // in-lane picks from the first source (0x80: zero)
        alignas(32) std::uint8_t aX[32] = {};   // picks from its other lane
        alignas(32) std::uint8_t bIn[32] = {};
        alignas(32) std::uint8_t bX[32] = {};
        bool useAIn = false, useAX = false, useBIn = false, useBX = false;
    };
    template <unsigned G>
    using Ctl = std::conditional_t<(G >= 4), CtlDwords, CtlBytes>;

    template <unsigned G>
    static constexpr Ctl<G> encode(const plan::PairBytes& pb) {
        Ctl<G> c;
        if constexpr (G >= 4) {
            for (std::size_t d = 0; d < 8; ++d) {
                const std::uint8_t t = pb.idx[4 * d];
                if (t == plan::kNone) continue;
                if (t < 32) {
                    c.a[4 * d] = std::uint8_t(t / 4);
                } else {
                    c.b[4 * d] = std::uint8_t((t - 32) / 4);
                    c.second = true;
                    for (unsigned j = 0; j < 4; ++j) c.fromB[4 * d + j] = 0xFF;
                }
            }
        } else {
            for (std::size_t i = 0; i < 32; ++i) {
                c.aIn[i] = c.aX[i] = c.bIn[i] = c.bX[i] = 0x80;
                const std::uint8_t t = pb.idx[i];
                if (t == plan::kNone) continue;
                const unsigned src = t % 32, pick = src % 16;
                const bool sameLane = src / 16 == i / 16;
                std::uint8_t* ctl = t < 32 ? (sameLane ? c.aIn : c.aX) : (sameLane ? c.bIn : c.bX);
                ctl[i] = std::uint8_t(pick);
                (t < 32 ? (sameLane ? c.useAIn : c.useAX) : (sameLane ? c.useBIn : c.useBX)) = true;
            }
        }
        return c;
    }

    static I loadCtl(const std::uint8_t* p) { return _mm256_load_si256(reinterpret_cast<const __m256i*>(p)); }

    template <unsigned G, const Ctl<G>& c>
    static I gather(I a, I b) {
        if constexpr (G >= 4) {
            const I ra = _mm256_permutevar8x32_epi32(a, loadCtl(c.a));
            if constexpr (!c.second) return ra;
            else return _mm256_blendv_epi8(ra, _mm256_permutevar8x32_epi32(b, loadCtl(c.b)), loadCtl(c.fromB));
        } else {
            I r = _mm256_setzero_si256();
            if constexpr (c.useAIn) r = _mm256_or_si256(r, _mm256_shuffle_epi8(a, loadCtl(c.aIn)));
            if constexpr (c.useAX)
                r = _mm256_or_si256(r, _mm256_shuffle_epi8(_mm256_permute4x64_epi64(a, 0x4E), loadCtl(c.aX)));
            if constexpr (c.useBIn) r = _mm256_or_si256(r, _mm256_shuffle_epi8(b, loadCtl(c.bIn)));
            if constexpr (c.useBX)
                r = _mm256_or_si256(r, _mm256_shuffle_epi8(_mm256_permute4x64_epi64(b, 0x4E), loadCtl(c.bX)));
            return r;
        }
    }

    struct Mask {
        alignas(32) std::uint8_t bytes[32] = {};
    };
    static constexpr Mask encodeMask(const plan::PairBytes& pb) {
        Mask m;
        for (unsigned i = 0; i < 32; ++i) m.bytes[i] = pb.take[i] ? 0xFF : 0;
        return m;
    }
    template <const Mask& m>
    static I blend(I acc, I x) {
        return _mm256_blendv_epi8(acc, x, loadCtl(m.bytes));
    }
};

}  // namespace
