// Internal: 256-bit vector operations (AVX2) for PeakScanBody.h. Include only from
// Aud__PeakScan_avx2.cpp (compiled with -mavx2). Internal linkage throughout.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace {

struct S {
    using I = __m256i;
    using F = __m256;
    using D = __m256d;
    static constexpr unsigned kBytes = 32;

    static I loadI(const unsigned char* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    template <class T>
    static void storeI(T* out, I v) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), v);
    }
    static I zeroI() { return _mm256_setzero_si256(); }
    static I set1_8(char c) { return _mm256_set1_epi8(c); }
    static I set1_32(std::int32_t v) { return _mm256_set1_epi32(v); }

    // Floating-point lanes of float (F) or double (D), chosen by T or by the vector type.
    template <class T>
    static auto loadFP(const unsigned char* p) {
        if constexpr (sizeof(T) == 4) return _mm256_loadu_ps(reinterpret_cast<const float*>(p));
        else return _mm256_loadu_pd(reinterpret_cast<const double*>(p));
    }
    template <class T>
    static auto zeroFP() {
        if constexpr (sizeof(T) == 4) return _mm256_setzero_ps();
        else return _mm256_setzero_pd();
    }
    static void storeFP(float* out, F v) { _mm256_storeu_ps(out, v); }
    static void storeFP(double* out, D v) { _mm256_storeu_pd(out, v); }
    static F absFP(F v) { return _mm256_and_ps(v, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF))); }
    static D absFP(D v) { return _mm256_and_pd(v, _mm256_castsi256_pd(_mm256_set1_epi64x(0x7FFFFFFFFFFFFFFFll))); }
    // max(v, acc) returns its second operand when either is NaN: a NaN v keeps acc.
    static F maxFP(F v, F acc) { return _mm256_max_ps(v, acc); }
    static D maxFP(D v, D acc) { return _mm256_max_pd(v, acc); }

    static I xorI(I a, I b) { return _mm256_xor_si256(a, b); }
    static I max8u(I a, I b) { return _mm256_max_epu8(a, b); }
    static I min8u(I a, I b) { return _mm256_min_epu8(a, b); }
    static I max16(I a, I b) { return _mm256_max_epi16(a, b); }
    static I min16(I a, I b) { return _mm256_min_epi16(a, b); }
    static I max32(I a, I b) { return _mm256_max_epi32(a, b); }
    static I min32(I a, I b) { return _mm256_min_epi32(a, b); }
    template <int N>
    static I slli32(I v) {
        return _mm256_slli_epi32(v, N);
    }
    template <int N>
    static I srai32(I v) {
        return _mm256_srai_epi32(v, N);
    }
    static I packs32(I a, I b) { return _mm256_packs_epi32(a, b); }

    // Horizontal maximum / minimum of the lanes: fold the high half onto the low, then
    // halve within 128 bits (Steps halvings: 2 for 32-bit lanes, 3 for 16, 4 for 8).
    template <int Steps, class Op>
    static int fold(I v, Op op) {
        __m128i x = op(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        x = op(x, _mm_srli_si128(x, 8));
        x = op(x, _mm_srli_si128(x, 4));
        if constexpr (Steps >= 3) x = op(x, _mm_srli_si128(x, 2));
        if constexpr (Steps >= 4) x = op(x, _mm_srli_si128(x, 1));
        return _mm_cvtsi128_si32(x);
    }
    static int hmax16(I v) {
        return std::int16_t(fold<3>(v, [](__m128i a, __m128i b) { return _mm_max_epi16(a, b); }));
    }
    static int hmin16(I v) {
        return std::int16_t(fold<3>(v, [](__m128i a, __m128i b) { return _mm_min_epi16(a, b); }));
    }
    static int hmax8u(I v) {
        return std::uint8_t(fold<4>(v, [](__m128i a, __m128i b) { return _mm_max_epu8(a, b); }));
    }
    static int hmin8u(I v) {
        return std::uint8_t(fold<4>(v, [](__m128i a, __m128i b) { return _mm_min_epu8(a, b); }));
    }
    static std::int32_t hmax32(I v) {
        return fold<2>(v, [](__m128i a, __m128i b) { return _mm_max_epi32(a, b); });
    }
    static std::int32_t hmin32(I v) {
        return fold<2>(v, [](__m128i a, __m128i b) { return _mm_min_epi32(a, b); });
    }

    // Eight packed little-endian 24-bit samples (exactly 24 bytes) as sign-extended int32.
    static I load24(const unsigned char* p) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));       // bytes 0..15
        const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16));  // bytes 16..23
        // Dwords 0..2 (samples 0..3) to the low lane, dwords 3..5 (samples 4..7) to the high.
        const I v = _mm256_permutevar8x32_epi32(_mm256_set_m128i(hi, lo), _mm256_setr_epi32(0, 1, 2, 3, 3, 4, 5, 6));
        // In each lane, sample j's bytes 3j..3j+2 go to the top of dword j.
        const I spread = _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1, 0, 1, 2, -1, 3, 4,
                                          5, -1, 6, 7, 8, -1, 9, 10, 11);
        return _mm256_srai_epi32(_mm256_shuffle_epi8(v, spread), 8);
    }
};

}  // namespace
