// Peak scan of one channel of samples: the largest absolute sample value, in linear
// full-scale units (1.0 = full scale), for every sample type number 0..9. This is the
// monitor's hot path.
//
// Value of one sample (then its sign is cleared; p = max over the block, starting at 0):
//   0 float32                       5 low 3 bytes of a 4-byte word as type 2
//   1 int16 x 1/32768               6 float((int32 + 0.5) / 2147483647.5) in double
//   2 packed LE int24 x 2^-23       7 float(float64)
//   3 int8 x 1/128                  8 int16(bits 12..27 of the word) x 1/32768
//   4 (uint8 - 128) x 1/128         9 int24(bits 4..27 of the word) x 2^-23
// A NaN sample never raises the peak (it is not greater than anything). Multi-byte
// samples are little-endian. `data` needs no alignment.
//
// The scalar definition above is the reference; the SSE2 and AVX2 scans reduce in the
// integer domain (max and min of the raw samples, scaled once at the end: the scalings
// are exact or monotonic, so the result is bit-identical to the reference) and are
// tested against it (Aud__PeakScan_testing.h). peak() uses the widest the CPU runs,
// chosen once.
// Threads: pure functions on caller memory; no allocation, locks or exceptions.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud::PeakScan {

// Peak of `count` samples of sample type `sampleType` starting at `data`; 0 for a sample
// type outside 0..9.
AUDATOMS_EXPORT float peak(int sampleType, const void* data, unsigned count);

}  // namespace Aud::PeakScan
