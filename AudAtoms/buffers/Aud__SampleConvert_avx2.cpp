// Packed 24-bit samples to and from float, eight at a time in 256-bit AVX2 vectors;
// compiled with this set's flags, used only on CPUs that report it. Each 128-bit half
// holds four samples (12 bytes), moved between 3-byte and 4-byte spacing with one byte
// shuffle; the arithmetic is the scalar rule's, so the results are identical to it.
#include "AudAtoms/buffers/Aud__SampleConvert_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <immintrin.h>

namespace {

constexpr float k2Pow23 = 1.1920929e-7f;  // 1 / 8388608

void toFloatAvx2(const unsigned char* src, unsigned count, float* dst) {
    // Low half: samples 0..3 from bytes 0..11 of a load at src. High half: samples 4..7
    // from bytes 4..15 of a load at src + 8 (so no load reads past the 24 bytes). Each
    // sample lands in the top three bytes of its word; the shift right brings the sign.
    const __m256i spread = _mm256_setr_epi8(-128, 0, 1, 2, -128, 3, 4, 5, -128, 6, 7, 8, -128, 9, 10, 11,  //
                                            -128, 4, 5, 6, -128, 7, 8, 9, -128, 10, 11, 12, -128, 13, 14, 15);
    const __m256 scale = _mm256_set1_ps(k2Pow23);
    unsigned i = 0;
    for (; i + 8 <= count; i += 8) {
        const unsigned char* p = src + std::size_t(i) * 3;
        const __m256i bytes = _mm256_setr_m128i(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                                                _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8)));
        const __m256i words = _mm256_srai_epi32(_mm256_shuffle_epi8(bytes, spread), 8);
        _mm256_storeu_ps(dst + i, _mm256_mul_ps(_mm256_cvtepi32_ps(words), scale));
    }
    Aud::SampleConvert::Packed24::referenceKernels().toFloat(src + std::size_t(i) * 3, count - i, dst + i);
}

void fromFloatAvx2(const float* src, unsigned count, unsigned char* dst) {
    const __m256 top = _mm256_set1_ps(0.9999999f);
    const __m256 bottom = _mm256_set1_ps(-1.0f);
    const __m256 scale = _mm256_set1_ps(8388608.0f);
    // The low three bytes of each word, packed into the first 12 bytes of each half;
    // then the halves' 12 bytes side by side in the first 24 bytes.
    const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128, -128, -128, -128,  //
                                          0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128, -128, -128, -128);
    const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    unsigned i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256 x = _mm256_loadu_ps(src + i);
        __m256 c = _mm256_min_ps(top, x);                       // top < x ? top : x (a NaN stays)
        c = _mm256_max_ps(bottom, c);                           // bottom > c ? bottom : c (a NaN stays)
        c = _mm256_and_ps(c, _mm256_cmp_ps(c, c, _CMP_ORD_Q));  // NaN: 0
        const __m256i n = _mm256_cvttps_epi32(_mm256_mul_ps(c, scale));
        const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(n, pack), join);
        unsigned char* q = dst + std::size_t(i) * 3;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q), _mm256_castsi256_si128(packed));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(q + 16), _mm256_extracti128_si256(packed, 1));
    }
    Aud::SampleConvert::Packed24::referenceKernels().fromFloat(src + i, count - i, dst + std::size_t(i) * 3);
}

}  // namespace

const Aud::SampleConvert::Packed24::Kernels& Aud::SampleConvert::Packed24::avx2KernelTable() {
    static const Kernels table = {"avx2", toFloatAvx2, fromFloatAvx2};
    return table;
}
#endif
