// Internal: 256-bit vector operations (AVX2) for SampleKernelBody.h. Include only from
// the AVX2 kernel file (compiled with -mavx2). Internal linkage throughout.
//
// The 256-bit unpack and pack instructions work within 128-bit lanes; zip and unzip
// put the lanes back in order with one cross-lane permute each.
#pragma once

#include <immintrin.h>

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

    static __m128i int32RoundTrip4(__m128i v) {
        const __m256d half = _mm256_set1_pd(0.5), scale = _mm256_set1_pd(2147483647.5);
        const __m256d q = _mm256_div_pd(_mm256_add_pd(_mm256_cvtepi32_pd(v), half), scale);
        __m256d x = _mm256_cvtps_pd(_mm256_cvtpd_ps(q));
        x = _mm256_max_pd(_mm256_min_pd(x, _mm256_set1_pd(1.0)), _mm256_set1_pd(-1.0));
        return _mm256_cvttpd_epi32(_mm256_sub_pd(_mm256_mul_pd(x, scale), half));
    }
    static I int32RoundTrip(I v) {
        const __m128i lo = int32RoundTrip4(_mm256_castsi256_si128(v));
        const __m128i hi = int32RoundTrip4(_mm256_extracti128_si256(v, 1));
        return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
    }
};

}  // namespace
