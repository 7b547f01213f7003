// Internal: 128-bit vector operations (SSE2) for SampleKernelBody.h. Include only from
// the SSE2 kernel file. Everything has internal linkage, so the differently compiled
// instruction-set files never share a definition.
//
// zip<S>(a, b): the S-byte elements of a and b interleaved, in order (lo, then hi).
// unzip<S>(x, y): the inverse: the even and the odd S-byte elements of x then y.
// No variable byte permutes (those begin with SSSE3): the window kernels of
// SampleKernelBody.h are not built for this table.
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

    // Bytes are zipped, not permuted one by one (see SampleKernelBody.h).
    static constexpr bool kByteWindow = false;

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

    // exportInt32 of 4 samples without division or double precision. With m = 2s + 1,
    // the definition's quotient (s + 0.5) / 2147483647.5 is m / (2^32 - 1) =
    // m 2^-32 (1 + 2^-32 + ...); rounded to double and then to float it is X 2^-32, X
    // being m rounded to 24 significant bits with ties away from zero (ties occur only
    // for 2^24 <= |m| < 2^25, where the quotient lies just beyond one), except for
    // |m| = 0xFFFFFD7F and 0xFFFFFF7F, whose double carries into the 32nd bit and whose
    // float then rounds to even, one float step (256) further out. The rest,
    // trunc(x * 2147483647.5 - 0.5) = trunc((X - 1) / 2 - X 2^-33), is trunc(X / 2),
    // less one for s > 0.
    // X / 2 is s + 0.5 rounded to 24 bits, ties away from zero: y = hi + lo with
    // hi = float(s with its low 8 bits cleared) and lo = float(those 8 bits) + 0.5 +-
    // 2^-10 (the sign of s), both exact, is s + 0.5 +- 2^-10 rounded once; the 2^-10
    // breaks the ties outward and is too small to move any other rounding or truncation.
    // The carry values (s = 0x7FFFFEBF, 0x7FFFFFBF and, mirrored, 0x80000140, 0x80000040)
    // come out 64 further out: s | 0x7F, or s & ~0x7F when negative. The truncation of
    // 2^31 gives 0x80000000, which less one is the right 0x7FFFFFFF. The tests compare
    // this with exportInt32 for every 32-bit input.
    static I int32RoundTrip(I s) {
        const __m128i n = _mm_srai_epi32(s, 31);
        const __m128i low = _mm_set1_epi32(0xFF);
        const __m128 hi = _mm_cvtepi32_ps(_mm_andnot_si128(low, s));
        const __m128i half = _mm_add_epi32(_mm_set1_epi32(0x3F004000),  // 0.5 + 2^-10, or 0.5 - 2^-10
                                           _mm_and_si128(n, _mm_set1_epi32(0x3EFF8000 - 0x3F004000)));
        const __m128 lo = _mm_add_ps(_mm_cvtepi32_ps(_mm_and_si128(s, low)), _mm_castsi128_ps(half));
        const __m128i out =
            _mm_add_epi32(_mm_cvttps_epi32(_mm_add_ps(hi, lo)), _mm_cmpgt_epi32(s, _mm_setzero_si128()));
        const __m128i carry =
            _mm_cmpeq_epi32(_mm_or_si128(_mm_xor_si128(s, n), _mm_set1_epi32(0x100)), _mm_set1_epi32(0x7FFFFFBF));
        const __m128i seven = _mm_set1_epi32(0x7F);
        const __m128i outward = _mm_xor_si128(_mm_or_si128(s, seven), _mm_and_si128(n, seven));
        return _mm_or_si128(_mm_andnot_si128(carry, out), _mm_and_si128(carry, outward));
    }
};

}  // namespace
