// Internal: 512-bit vector operations (AVX-512 F/BW/DQ/VL) for SampleKernelBody.h.
// Include only from the AVX-512 kernel file. Internal linkage throughout.
//
// Elements of 2, 4 and 8 bytes are zipped and unzipped with one two-source permute per
// result; bytes (no byte permute in this instruction set) with unpack or pack within
// 128-bit lanes and one permute of the 64-bit pieces.
#pragma once

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

#include <cstdint>

namespace {

struct V {
    using I = __m512i;
    static constexpr unsigned kBytes = 64;

    static I load(const unsigned char* p) { return _mm512_loadu_si512(p); }
    static void store(unsigned char* p, I v) { _mm512_storeu_si512(p, v); }

    // Index vectors of the two-source permutes, for elements of S bytes (S = 2, 4, 8):
    // zipLo picks a0 b0 a1 b1 ..., zipHi the second halves, even/odd the unzipped halves.
    template <int S>
    struct Index {
        static constexpr int kN = 64 / S;
        static I zipLo() {
            return make([](int i) { return (i % 2) * kN + i / 2; });
        }
        static I zipHi() {
            return make([](int i) { return (i % 2) * kN + kN / 2 + i / 2; });
        }
        static I even() {
            return make([](int i) { return 2 * i; });
        }
        static I odd() {
            return make([](int i) { return 2 * i + 1; });
        }
        template <class F>
        static I make(F f) {
            alignas(64) std::int16_t w[32];
            alignas(64) std::int32_t d[16];
            alignas(64) std::int64_t q[8];
            for (int i = 0; i < kN; ++i) {
                if constexpr (S == 2) w[i] = std::int16_t(f(i));
                if constexpr (S == 4) d[i] = f(i);
                if constexpr (S == 8) q[i] = f(i);
            }
            if constexpr (S == 2) return _mm512_load_si512(w);
            if constexpr (S == 4) return _mm512_load_si512(d);
            if constexpr (S == 8) return _mm512_load_si512(q);
        }
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

    static __m256i int32RoundTrip8(__m256i v) {
        const __m512d half = _mm512_set1_pd(0.5), scale = _mm512_set1_pd(2147483647.5);
        const __m512d q = _mm512_div_pd(_mm512_add_pd(_mm512_cvtepi32_pd(v), half), scale);
        __m512d x = _mm512_cvtps_pd(_mm512_cvtpd_ps(q));
        x = _mm512_max_pd(_mm512_min_pd(x, _mm512_set1_pd(1.0)), _mm512_set1_pd(-1.0));
        return _mm512_cvttpd_epi32(_mm512_sub_pd(_mm512_mul_pd(x, scale), half));
    }
    static I int32RoundTrip(I v) {
        const __m256i lo = int32RoundTrip8(_mm512_castsi512_si256(v));
        const __m256i hi = int32RoundTrip8(_mm512_extracti64x4_epi64(v, 1));
        return _mm512_inserti64x4(_mm512_castsi256_si512(lo), hi, 1);
    }
};

}  // namespace
