// Aud::SampleConvert: one channel of samples between a sample type number (0..9, see
// audiometadata.h) and 32-bit float, for a host renderer that mixes in float. The
// interleaver splits file audio into per-channel buffers of the file's own sample type
// (AudioInterleaver::deinterleaveAudio) and interleaves per-channel buffers of the file's
// type back (writeSamplesPlanar); these two calls are the step in between.
//
// toFloat uses the same value of a sample as the monitor's peak scan (Aud__PeakScan.h),
// with its sign kept (samples little-endian, as the interleaver leaves them):
//   0 float32 as is          3 int8 / 128              6 float((int32 + 0.5) / 2147483647.5)
//   1 int16 / 32768          4 (uint8 - 128) / 128     7 float(float64)
//   2 int24 / 2^23           5 low 3 bytes as type 2   8 int16(bits 12..27) / 32768
//                                                      9 int24(bits 4..27) / 2^23
// fromFloat is the float stage of the export conversion of writeSamplesPlanar
// (Aud__SampleManip.h), applied to the float sample x itself:
//   0 x > 0.9999999 -> 0.9999999, x < -1 -> -1, else x
//   1 x > 0.9999695 -> 32767, x < -1 -> -32768, else trunc(x * 32768)
//   2 x > 0.9999999 -> 0x7FFFFF, x < -1 -> -0x800000, else max(trunc(x * 8388608), -8388608),
//     3 little-endian bytes
//   3 x > 0.9921875 -> 127, x < -1 -> -128, else trunc(x * 128)
//   4 y = x + 1: y > 2 -> 255, y < 0 -> 0, else trunc(y * 127.5) (the export's own scale)
//   5 as type 2, sign-extended into 4 little-endian bytes
//   6 x > 1 -> 0x7FFFFFFF, x < -1 -> 0x80000000, else trunc(double(x) * 2147483647.5 - 0.5)
//   7 double(x)
// A NaN sample becomes 0 (silence) for the integer types and stays NaN for 0 and 7.
// AES subframe words (8, 9) are read but not produced: fromFloat refuses them.
// So every 8, 16 and 24-bit integer sample survives toFloat then fromFloat unchanged.
//
// Units: count in samples; src and dst hold count samples of their types (no alignment
// needed). src and dst must not overlap.
// Packed 24-bit (type 2) runs eight samples at a time on CPUs with AVX2, with results
// identical to the one-by-one rule above.
// Threads: pure functions on caller memory; real-time safe (no allocation, no locks,
// no exceptions).
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud::SampleConvert {

// Converts count samples of sampleType at src into floats at dst. False, writing
// nothing, for a sample type outside 0..9.
AUDATOMS_EXPORT bool toFloat(int sampleType, const void* src, unsigned count, float* dst);

// Converts count floats at src into samples of sampleType at dst. False, writing
// nothing, for a sample type outside 0..7.
AUDATOMS_EXPORT bool fromFloat(int sampleType, const float* src, unsigned count, void* dst);

}  // namespace Aud::SampleConvert
