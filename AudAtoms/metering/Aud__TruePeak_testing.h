// Test and benchmark access to the filter pass behind Aud::TruePeakInterpolator: the
// scalar reference and each instruction set's version, to compare them bit for bit,
// and a switch that makes every interpolator use one of them. Not installed and not
// exported: reached through the static testing library. Passes are pure functions; the
// switch is process-wide (atomic) and meant for single-threaded tests and benchmarks.
#pragma once

#include "AudAtoms/metering/Aud__TruePeak.h"

namespace Aud::TruePeakKernels {

// Output samples filtered per pass.
constexpr unsigned kBlock = TruePeakInterpolator::kBlock;

// One pass: for every phase p < factor and output i < kBlock,
//   y = 0.0f; for k in 0 .. kTapsPerPhase - 1: y = y + taps[p * kTapsPerPhase + k] * h[i + k]
// (each product rounded, then added; no fused multiply-add), and returns the largest of
// `peak` and every |y| (a NaN y is passed over). h holds kBlock + kTapsPerPhase - 1
// samples. Every version gives the reference's result bit for bit.
using PassFn = float (*)(const float* taps, unsigned factor, const float* h, float peak);

struct Kernels {
    const char* name;
    PassFn pass;
};

const Kernels& referenceKernels();
// The reference's arithmetic for the first `count` outputs only (a short last pass).
float referencePartialPass(const float* taps, unsigned factor, const float* h, unsigned count, float peak);
// Null when not built for this machine or not supported by the CPU.
const Kernels* sse2Kernels();
const Kernels* avx2Kernels();
const Kernels* avx512Kernels();
// The table process() uses, unless forced: the widest supported.
const Kernels& activeKernels();
// Forces a table (null: back to the default).
void forceKernels(const Kernels* table);

// Defined in the instruction-set files; call only on a CPU that supports the set.
const Kernels& sse2KernelTable();
const Kernels& avx2KernelTable();
const Kernels& avx512KernelTable();

}  // namespace Aud::TruePeakKernels
