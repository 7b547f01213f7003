// Test and benchmark access to the peak-scan tables behind Aud::PeakScan::peak(): the
// scalar reference and each instruction set's table, to compare them bit for bit. Not
// installed and not exported: tests and benchmarks reach these through the static
// testing library (AudAtoms::Testing). Tables are immutable; any thread.
#pragma once

#include "AudAtoms/kernels/Aud__PeakScan.h"

namespace Aud::PeakScan {

// Peak of `count` samples starting at `data`.
using PeakFn = float (*)(const unsigned char* data, unsigned count);

struct Kernels {
    const char* name;
    PeakFn peak[10];  // by sample type number
};

const Kernels& referenceKernels();
// Null when not built for this machine or not supported by the CPU.
const Kernels* sse2Kernels();
const Kernels* avx2Kernels();
// The fastest supported table, chosen on first call; peak() uses it.
const Kernels& activeKernels();

// Defined in the instruction-set files; call only on a CPU that supports the set.
const Kernels& sse2KernelTable();
const Kernels& avx2KernelTable();

}  // namespace Aud::PeakScan
