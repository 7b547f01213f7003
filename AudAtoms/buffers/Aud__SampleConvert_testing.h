// Test and benchmark access to the packed 24-bit conversions behind
// Aud::SampleConvert::toFloat / fromFloat (sample type 2): the scalar reference and the
// AVX2 version, to compare them bit for bit, and a switch that makes toFloat and
// fromFloat use one of them. Not installed and not exported: reached through the static
// testing library. The conversions are pure functions; the switch is process-wide
// (atomic) and meant for single-threaded tests and benchmarks.
#pragma once

namespace Aud::SampleConvert::Packed24 {

// count packed little-endian 24-bit samples at src to floats: int24 / 2^23.
using ToFloatFn = void (*)(const unsigned char* src, unsigned count, float* dst);
// count floats to packed little-endian 24-bit samples: the type-2 rule of fromFloat.
// Writes exactly 3 * count bytes.
using FromFloatFn = void (*)(const float* src, unsigned count, unsigned char* dst);

struct Kernels {
    const char* name;
    ToFloatFn toFloat;
    FromFloatFn fromFloat;
};

const Kernels& referenceKernels();
// Null when not built for this machine or not supported by the CPU.
const Kernels* avx2Kernels();
// What toFloat and fromFloat use, unless forced: AVX2 where the CPU has it (eight
// samples per 256-bit vector; 512-bit vectors would need byte permutes across lanes for
// no gain, as these loops are bound by loads and stores), else the reference.
const Kernels& activeKernels();
// Forces a table (null: back to the default).
void forceKernels(const Kernels* table);

// Defined in the AVX2 file; call only on a CPU that supports it.
const Kernels& avx2KernelTable();

}  // namespace Aud::SampleConvert::Packed24
