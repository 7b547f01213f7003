// Internal: 128-bit vector operations (SSE2) for PeakScanBody.h. Include only from
// Aud__PeakScan_sse2.cpp. Internal linkage throughout.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace {

struct S {
    using I = __m128i;
    using F = __m128;
    using D = __m128d;
    static constexpr unsigned kBytes = 16;

    static I loadI(const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    template <class T>
    static void storeI(T* out, I v) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), v);
    }
    static I zeroI() { return _mm_setzero_si128(); }
    static I set1_8(char c) { return _mm_set1_epi8(c); }
    static I set1_32(std::int32_t v) { return _mm_set1_epi32(v); }

    // Floating-point lanes of float (F) or double (D), chosen by T or by the vector type.
    template <class T>
    static auto loadFP(const unsigned char* p) {
        if constexpr (sizeof(T) == 4) return _mm_loadu_ps(reinterpret_cast<const float*>(p));
        else return _mm_loadu_pd(reinterpret_cast<const double*>(p));
    }
    template <class T>
    static auto zeroFP() {
        if constexpr (sizeof(T) == 4) return _mm_setzero_ps();
        else return _mm_setzero_pd();
    }
    static void storeFP(float* out, F v) { _mm_storeu_ps(out, v); }
    static void storeFP(double* out, D v) { _mm_storeu_pd(out, v); }
    static F absFP(F v) { return _mm_and_ps(v, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF))); }
    static D absFP(D v) { return _mm_and_pd(v, _mm_castsi128_pd(_mm_set1_epi64x(0x7FFFFFFFFFFFFFFFll))); }
    // max(v, acc) returns its second operand when either is NaN: a NaN v keeps acc.
    static F maxFP(F v, F acc) { return _mm_max_ps(v, acc); }
    static D maxFP(D v, D acc) { return _mm_max_pd(v, acc); }

    static I xorI(I a, I b) { return _mm_xor_si128(a, b); }
    static I max8u(I a, I b) { return _mm_max_epu8(a, b); }
    static I min8u(I a, I b) { return _mm_min_epu8(a, b); }
    static I max16(I a, I b) { return _mm_max_epi16(a, b); }
    static I min16(I a, I b) { return _mm_min_epi16(a, b); }
    static I select(I mask, I a, I b) { return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b)); }
    static I max32(I a, I b) { return select(_mm_cmpgt_epi32(a, b), a, b); }
    static I min32(I a, I b) { return select(_mm_cmplt_epi32(a, b), a, b); }
    template <int N>
    static I slli32(I v) {
        return _mm_slli_epi32(v, N);
    }
    template <int N>
    static I srai32(I v) {
        return _mm_srai_epi32(v, N);
    }
    static I packs32(I a, I b) { return _mm_packs_epi32(a, b); }

    // Horizontal maximum / minimum of the lanes, by halving (Steps halvings: 2 for
    // 32-bit lanes, 3 for 16, 4 for 8).
    template <int Steps>
    static int fold(I v, I (*op)(I, I)) {
        v = op(v, _mm_srli_si128(v, 8));
        v = op(v, _mm_srli_si128(v, 4));
        if constexpr (Steps >= 3) v = op(v, _mm_srli_si128(v, 2));
        if constexpr (Steps >= 4) v = op(v, _mm_srli_si128(v, 1));
        return _mm_cvtsi128_si32(v);
    }
    static int hmax16(I v) { return std::int16_t(fold<3>(v, max16)); }
    static int hmin16(I v) { return std::int16_t(fold<3>(v, min16)); }
    static int hmax8u(I v) { return std::uint8_t(fold<4>(v, max8u)); }
    static int hmin8u(I v) { return std::uint8_t(fold<4>(v, min8u)); }
    static std::int32_t hmax32(I v) { return fold<2>(v, max32); }
    static std::int32_t hmin32(I v) { return fold<2>(v, min32); }

    // Four packed little-endian 24-bit samples (exactly 12 bytes) as sign-extended int32.
    static I load24(const unsigned char* p) {
        std::int32_t tail;
        std::memcpy(&tail, p + 8, 4);
        const I v = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), _mm_cvtsi32_si128(tail));
        // Sample j starts at byte 3j: bring each to the low dword and gather the four.
        const I s01 = _mm_unpacklo_epi32(v, _mm_srli_si128(v, 3));
        const I s23 = _mm_unpacklo_epi32(_mm_srli_si128(v, 6), _mm_srli_si128(v, 9));
        return _mm_srai_epi32(_mm_slli_epi32(_mm_unpacklo_epi64(s01, s23), 8), 8);
    }
};

}  // namespace
