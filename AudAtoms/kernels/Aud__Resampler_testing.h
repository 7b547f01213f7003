// Test and benchmark access to the dot-product kernels behind Aud::Resampler: the
// scalar reference and each instruction set's version, to compare them bit for bit,
// and a switch that makes new and existing resamplers use one of them. Not installed
// and not exported: reached through the static testing library. Kernels are pure
// functions; the switch is process-wide (atomic) and meant for single-threaded tests.
#pragma once

#include "AudAtoms/kernels/Aud__Resampler.h"

namespace Aud::ResamplerKernels {

// Sum of c[i] * x[i] for i < n (n a multiple of 8), in one fixed order: eight running
// sums, sum l taking the products of i = l, l + 8, l + 16, ... (each product rounded,
// then added; no fused multiply-add), then ((s0 + s4) + (s2 + s6)) + ((s1 + s5) + (s3 + s7)).
using DotFn = double (*)(const double* c, const double* x, unsigned n);

// count dot products of length n: out[k] = dot(c[k], x[k], n), each exactly as DotFn.
using DotsFn = void (*)(const double* const* c, const double* const* x, unsigned count, unsigned n, double* out);

struct Kernels {
    const char* name;
    DotFn dot;
    DotsFn dots;
};

const Kernels& referenceKernels();
// Null when not built for this machine or not supported by the CPU.
const Kernels* sse2Kernels();
const Kernels* avx2Kernels();
const Kernels* avx512Kernels();
// The table process() uses, unless forced: the widest supported, except AVX2 on CPUs
// that split 512-bit operations in two (Cpu::splitsWideVectors), where it is faster.
const Kernels& activeKernels();
// Forces a table (null: back to the widest supported).
void forceKernels(const Kernels* table);

// Defined in the instruction-set files; call only on a CPU that supports the set.
const Kernels& sse2KernelTable();
const Kernels& avx2KernelTable();
const Kernels& avx512KernelTable();

// The position of the next output frame (see AudAtoms/internal/Aud__Resampler_Position.h):
// k0 + phase / L in the history's numbering, where the first real input frame is
// leadFrames(); rem = (input frames consumed * L) mod M.
void positionOf(const Resampler& r, std::uint64_t& k0, std::uint64_t& phase, std::uint64_t& rem);
std::uint64_t leadFrames(const Resampler& r);
// True when L is above kMaxExactPhases and the coefficient rows are interpolated.
bool interpolatedPhases(const Resampler& r);

}  // namespace Aud::ResamplerKernels
