// Internal: in-register transposition of a square tile of floats, W vectors of W lanes
// (4 x 4 with SSE2, 8 x 8 with AVX2, 16 x 16 with AVX-512): row r, lane c moves to row
// c, lane r. The kernels that run many channels side by side (one channel per lane)
// use it to turn W samples of W channels into W vectors of one sample each, and back.
// Pure data movement: no value is changed, NaN payloads and signed zeros included.
//
// Include from the instruction-set files; each overload exists only where the file's
// target flags provide its instructions. Internal linkage throughout; always inlined
// (and so must be the callers' wrappers), since a call would pass the tile through
// memory.
#pragma once

#include <cstddef>
#include <emmintrin.h>
#include <xmmintrin.h>
#if defined(__AVX2__) || defined(__AVX512F__)
#include <immintrin.h>
#endif

namespace {

[[gnu::always_inline]] inline void transposeTile(__m128 (&r)[4]) { _MM_TRANSPOSE4_PS(r[0], r[1], r[2], r[3]); }

#if defined(__AVX2__)
[[gnu::always_inline]] inline void transposeTile(__m256 (&r)[8]) {
    __m256 t[8], s[8];
    // Pairs of rows interleaved within each 128-bit half ...
#pragma GCC unroll 16
    for (std::size_t i = 0; i < 4; ++i) {
        t[2 * i] = _mm256_unpacklo_ps(r[2 * i], r[2 * i + 1]);
        t[2 * i + 1] = _mm256_unpackhi_ps(r[2 * i], r[2 * i + 1]);
    }
    // ... then four rows' elements of one column together in each half ...
#pragma GCC unroll 16
    for (std::size_t g = 0; g < 2; ++g) {
        __m256* u = t + 4 * g;
        __m256* v = s + 4 * g;
        v[0] = _mm256_shuffle_ps(u[0], u[2], _MM_SHUFFLE(1, 0, 1, 0));
        v[1] = _mm256_shuffle_ps(u[0], u[2], _MM_SHUFFLE(3, 2, 3, 2));
        v[2] = _mm256_shuffle_ps(u[1], u[3], _MM_SHUFFLE(1, 0, 1, 0));
        v[3] = _mm256_shuffle_ps(u[1], u[3], _MM_SHUFFLE(3, 2, 3, 2));
    }
    // ... and the halves of rows 0-3 and 4-7 joined.
#pragma GCC unroll 16
    for (std::size_t c = 0; c < 4; ++c) {
        r[c] = _mm256_permute2f128_ps(s[c], s[c + 4], 0x20);
        r[c + 4] = _mm256_permute2f128_ps(s[c], s[c + 4], 0x31);
    }
}
#endif

#if defined(__AVX512F__)
// The all-lanes mask forms: the plain intrinsics pass an undefined vector through,
// which g++ 12 reports as an uninitialised use.
[[gnu::always_inline]] inline __m512 tileUnpackLo(__m512 a, __m512 b) {
    return _mm512_mask_unpacklo_ps(a, 0xFFFF, a, b);
}
[[gnu::always_inline]] inline __m512 tileUnpackHi(__m512 a, __m512 b) {
    return _mm512_mask_unpackhi_ps(a, 0xFFFF, a, b);
}
template <int kImm>
[[gnu::always_inline]] inline __m512 tileShuffle(__m512 a, __m512 b) {
    return _mm512_mask_shuffle_ps(a, 0xFFFF, a, b, kImm);
}
template <int kImm>
[[gnu::always_inline]] inline __m512 tileShuffleBlocks(__m512 a, __m512 b) {
    return _mm512_mask_shuffle_f32x4(a, 0xFFFF, a, b, kImm);
}

[[gnu::always_inline]] inline void transposeTile(__m512 (&r)[16]) {
    __m512 t[16], u[16];
    // Pairs of rows interleaved within each 128-bit block ...
#pragma GCC unroll 16
    for (std::size_t i = 0; i < 8; ++i) {
        t[2 * i] = tileUnpackLo(r[2 * i], r[2 * i + 1]);
        t[2 * i + 1] = tileUnpackHi(r[2 * i], r[2 * i + 1]);
    }
    // ... four rows' elements of one column together in each block (u[4g + k] holds rows
    // 4g .. 4g+3 of columns k, k+4, k+8, k+12) ...
#pragma GCC unroll 16
    for (std::size_t g = 0; g < 4; ++g) {
        const __m512* a = t + 4 * g;
        __m512* v = u + 4 * g;
        v[0] = tileShuffle<_MM_SHUFFLE(1, 0, 1, 0)>(a[0], a[2]);
        v[1] = tileShuffle<_MM_SHUFFLE(3, 2, 3, 2)>(a[0], a[2]);
        v[2] = tileShuffle<_MM_SHUFFLE(1, 0, 1, 0)>(a[1], a[3]);
        v[3] = tileShuffle<_MM_SHUFFLE(3, 2, 3, 2)>(a[1], a[3]);
    }
    // ... blocks of rows 0-3 with 4-7 and 8-11 with 12-15 (even and odd blocks apart) ...
#pragma GCC unroll 16
    for (std::size_t k = 0; k < 4; ++k) {
        t[k] = tileShuffleBlocks<0x88>(u[k], u[k + 4]);      // columns k, k+8 of rows 0-7
        t[k + 4] = tileShuffleBlocks<0xDD>(u[k], u[k + 4]);  // columns k+4, k+12 of rows 0-7
        t[k + 8] = tileShuffleBlocks<0x88>(u[k + 8], u[k + 12]);
        t[k + 12] = tileShuffleBlocks<0xDD>(u[k + 8], u[k + 12]);
    }
    // ... and the two halves of every column joined.
#pragma GCC unroll 16
    for (std::size_t k = 0; k < 8; ++k) {
        r[k] = tileShuffleBlocks<0x88>(t[k], t[k + 8]);
        r[k + 8] = tileShuffleBlocks<0xDD>(t[k], t[k + 8]);
    }
}
#endif

}  // namespace
