// Internal: 128-bit vector operations (SSE2) for SampleKernelBody.h. Include only from
// the SSE2 kernel file. Everything has internal linkage, so the differently compiled
// instruction-set files never share a definition.
//
// zip<S>(a, b): the S-byte elements of a and b interleaved, in order (lo, then hi).
// unzip<S>(x, y): the inverse: the even and the odd S-byte elements of x then y.
#pragma once

#include <emmintrin.h>

namespace {

struct V {
    using I = __m128i;
    static constexpr unsigned kBytes = 16;

    static I load(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store(unsigned char* p, I v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

    template <int S>
    static void zip(I a, I b, I& lo, I& hi) {
        if constexpr (S == 1) {
            lo = _mm_unpacklo_epi8(a, b);
            hi = _mm_unpackhi_epi8(a, b);
        }
        if constexpr (S == 2) {
            lo = _mm_unpacklo_epi16(a, b);
            hi = _mm_unpackhi_epi16(a, b);
        }
        if constexpr (S == 4) {
            lo = _mm_unpacklo_epi32(a, b);
            hi = _mm_unpackhi_epi32(a, b);
        }
        if constexpr (S == 8) {
            lo = _mm_unpacklo_epi64(a, b);
            hi = _mm_unpackhi_epi64(a, b);
        }
    }

    template <int S>
    static void unzip(I x, I y, I& ev, I& od) {
        if constexpr (S == 1) {
            const I m = _mm_set1_epi16(0x00FF);
            ev = _mm_packus_epi16(_mm_and_si128(x, m), _mm_and_si128(y, m));
            od = _mm_packus_epi16(_mm_srli_epi16(x, 8), _mm_srli_epi16(y, 8));
        }
        if constexpr (S == 2) {
            // Sign-extended halves pack without saturation, so the bits are kept.
            ev = _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(x, 16), 16), _mm_srai_epi32(_mm_slli_epi32(y, 16), 16));
            od = _mm_packs_epi32(_mm_srai_epi32(x, 16), _mm_srai_epi32(y, 16));
        }
        if constexpr (S == 4) {
            const __m128 xf = _mm_castsi128_ps(x), yf = _mm_castsi128_ps(y);
            ev = _mm_castps_si128(_mm_shuffle_ps(xf, yf, _MM_SHUFFLE(2, 0, 2, 0)));
            od = _mm_castps_si128(_mm_shuffle_ps(xf, yf, _MM_SHUFFLE(3, 1, 3, 1)));
        }
        if constexpr (S == 8) {
            ev = _mm_unpacklo_epi64(x, y);
            od = _mm_unpackhi_epi64(x, y);
        }
    }

    // Reverses the bytes of every S-byte element.
    template <int S>
    static I bswap(I v) {
        if constexpr (S == 1) return v;
        if constexpr (S == 4) {
            v = _mm_shufflelo_epi16(v, _MM_SHUFFLE(2, 3, 0, 1));
            v = _mm_shufflehi_epi16(v, _MM_SHUFFLE(2, 3, 0, 1));
        }
        if constexpr (S == 8) {
            v = _mm_shufflelo_epi16(v, _MM_SHUFFLE(0, 1, 2, 3));
            v = _mm_shufflehi_epi16(v, _MM_SHUFFLE(0, 1, 2, 3));
        }
        return _mm_or_si128(_mm_slli_epi16(v, 8), _mm_srli_epi16(v, 8));
    }

    static I set32(int x) { return _mm_set1_epi32(x); }
    static I and_(I a, I b) { return _mm_and_si128(a, b); }
    static I or_(I a, I b) { return _mm_or_si128(a, b); }
    static I sll32(I v, int n) { return _mm_slli_epi32(v, n); }
    static I srl32(I v, int n) { return _mm_srli_epi32(v, n); }
    static I sra32(I v, int n) { return _mm_srai_epi32(v, n); }
    static I subsU8One(I v) { return _mm_subs_epu8(v, _mm_set1_epi8(1)); }

    // min(hi, x) then max(lo, x), operands ordered so that NaN passes through.
    static I clampF32(I v) {
        __m128 x = _mm_castsi128_ps(v);
        x = _mm_min_ps(_mm_set1_ps(0.9999999f), x);
        x = _mm_max_ps(_mm_set1_ps(-1.0f), x);
        return _mm_castps_si128(x);
    }

    static I narrowF64(I v) { return _mm_castpd_si128(_mm_cvtps_pd(_mm_cvtpd_ps(_mm_castsi128_pd(v)))); }

    static __m128i int32RoundTrip2(__m128d d) {
        const __m128d half = _mm_set1_pd(0.5), scale = _mm_set1_pd(2147483647.5);
        const __m128d q = _mm_div_pd(_mm_add_pd(d, half), scale);
        __m128d x = _mm_cvtps_pd(_mm_cvtpd_ps(q));
        x = _mm_max_pd(_mm_min_pd(x, _mm_set1_pd(1.0)), _mm_set1_pd(-1.0));
        return _mm_cvttpd_epi32(_mm_sub_pd(_mm_mul_pd(x, scale), half));
    }
    static I int32RoundTrip(I v) {
        const __m128i lo = int32RoundTrip2(_mm_cvtepi32_pd(v));
        const __m128i hi = int32RoundTrip2(_mm_cvtepi32_pd(_mm_shuffle_epi32(v, _MM_SHUFFLE(3, 2, 3, 2))));
        return _mm_unpacklo_epi64(lo, hi);
    }
};

}  // namespace
