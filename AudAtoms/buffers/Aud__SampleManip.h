// Sample conversions and byte shuffles behind AudioInterleaver.
//
// Export (planar -> interleaved, used when writing files): each sample is read in its
// own sample type, taken to float, clipped and written back in the same type. The
// per-sample functions below are the definitions; x is the float value:
//   0 float32 : x > 0.9999999 -> 0.9999999, x < -1 -> -1, else x (NaN passes)
//   1 int16   : x = s / 32768;  x > 0.9999695 -> 32767, x < -1 -> -32768, else trunc(x * 32768)
//   2 int24   : x = s / 2^23;   x > 0.9999999 -> 0x7FFFFF, x < -1 -> -0x800000,
//               else max(trunc(x * 8388608), -8388608); written as 3 LE bytes
//   3 int8    : x = s / 128;    x > 0.9921875 -> 127, x < -1 -> -128, else trunc(x * 128)
//   4 uint8   : x = (s - 128) / 128 + 1; x > 2 -> 255, x < 0 -> 0, else trunc(x * 127.5)
//   5 24-in-32: low 3 bytes as type 2, written sign-extended into 4 bytes
//   6 int32   : x = float((s + 0.5) / 2147483647.5) in double; x > 1 -> 0x7FFFFFFF,
//               x < -1 -> 0x80000000, else trunc(double(x) * 2147483647.5 - 0.5)
//   7 float64 : double(float(d)), no clipping
//   8 AES16   : s = int16(bits 12..27), as type 1; the 16-bit result in the low two bytes
//               of the 4-byte slot, the upper two bytes zero
//   9 AES24   : s = int24(bits 4..27), as type 2; written sign-extended into 4 bytes
// Because the input has the same type as the output, most of these are exact identities
// or simple integer maps (for example type 4 is s - (s != 0)); the fast kernels use
// those maps and the tests prove them equal to the definitions above.
//
// Split (interleaved -> planar): channel c of each frame (frame = channels * stride
// bytes) is copied as sampleBytes bytes starting at byte c * sampleBytes, or, for
// big-endian data, as sampleBytes bytes read backwards from byte
// c * stride + sampleBytes - 1.
//
// Byte orders: swapPairs reverses 2-byte groups, reverseTriples and reverseQuads 3- and
// 4-byte groups, mirrorLowHalf turns each 4-byte group b0 b1 b2 b3 into b0 b1 b1 b0.
// All of these may run in place (dst == src).
//
// Multi-byte samples are read and written little-endian (the host's order).
// Threads: pure functions on caller memory; no allocation, no locks, no exceptions.
// The implementations are chosen once, on first use, from the CPU's features.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include <cstdint>

namespace Aud::SampleManip {

// ---- per-sample definitions of the export conversion ----
AUDATOMS_EXPORT float exportFloat32(float x);
AUDATOMS_EXPORT std::int16_t exportInt16(std::int16_t s);
AUDATOMS_EXPORT std::int32_t exportInt24(std::int32_t s);  // s in [-2^23, 2^23)
AUDATOMS_EXPORT std::int8_t exportInt8(std::int8_t s);
AUDATOMS_EXPORT std::uint8_t exportUint8(std::uint8_t s);
AUDATOMS_EXPORT std::int32_t exportInt32(std::int32_t s);
AUDATOMS_EXPORT double exportFloat64(double d);
AUDATOMS_EXPORT std::uint32_t exportPadded24(std::uint32_t word);  // type 5
AUDATOMS_EXPORT std::uint32_t exportAes16(std::uint32_t word);     // type 8
AUDATOMS_EXPORT std::uint32_t exportAes24(std::uint32_t word);     // type 9

// ---- block operations (dispatched to the fastest kernels the CPU runs) ----

// Interleaves `channels` planes of `frames` samples of `sampleType` into `out`
// (frames * channels * sampleTypeStride(sampleType) bytes), converting each sample as
// above. Type 5 prints "assertion failed false at ole/AudAtoms/Aud__SampleManip line 514"
// once per sample written. Returns false (writing nothing) for a type outside 0..9.
AUDATOMS_EXPORT bool exportInterleaved(int sampleType, const unsigned char* const* planes, unsigned channels,
                                       unsigned frames, unsigned char* out);

// Splits `frames` frames of `channels` * `stride` bytes from `src` into outs[c]
// (frames * sampleBytes bytes each). The caller guarantees every read stays inside src.
AUDATOMS_EXPORT void splitInterleaved(const unsigned char* src, unsigned channels, unsigned stride,
                                      unsigned sampleBytes, bool bigEndian, unsigned frames,
                                      unsigned char* const* outs);

AUDATOMS_EXPORT void swapPairs(const unsigned char* src, unsigned char* dst, unsigned pairs);
AUDATOMS_EXPORT void reverseTriples(const unsigned char* src, unsigned char* dst, unsigned triples);
AUDATOMS_EXPORT void reverseQuads(const unsigned char* src, unsigned char* dst, unsigned quads);
AUDATOMS_EXPORT void mirrorLowHalf(const unsigned char* src, unsigned char* dst, unsigned quads);

}  // namespace Aud::SampleManip
