// The tables of sample kernels behind Aud__SampleManip.h, for the library's dispatch and
// for the tests and benchmarks that compare them bit for bit. Not installed and not
// exported: tests and benchmarks reach these through the static testing library
// (AudAtoms::Testing).
//
// Every table offers the same operations with bit-identical results:
// - reference: the plain scalar definitions (one sample at a time, formulas as written);
// - generic: scalar, with the export conversions replaced by their exact integer maps;
// - sse2 / avx2 / avx512 / avx512vbmi: vectorised; all four zip 1, 2, 4 and 8 channels of
//   1-, 2-, 4- and 8-byte samples; avx2, avx512 and avx512vbmi also run every other
//   shape of up to 8 channels (3, 5, 6 and 7 channels, packed 24-bit samples, 24-in-32
//   and big-endian splits) through the window kernels of internal/SampleKernelBody.h
//   (avx2: splits only while a frame fits in 32 bytes); generic for everything else and
//   for the frames after the last full vector or step. avx512vbmi is avx512 with byte
//   permutes (AVX-512 VBMI), which the byte-granular shapes use.
// The tests and benchmarks compare the tables directly; the library uses active().
// Threads: tables are immutable; active() is chosen once, thread-safely.
#pragma once

namespace Aud::SampleManip {

// out[(s * channels + c) * stride] = export(planes[c][s * stride]), s < frames.
using ExportFn = void (*)(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out);
// See splitInterleaved in Aud__SampleManip.h.
using SplitFn = void (*)(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes,
                         bool bigEndian, unsigned frames, unsigned char* const* outs);
// `count` groups from src to dst; dst == src allowed.
using GroupFn = void (*)(const unsigned char* src, unsigned char* dst, unsigned count);

struct Kernels {
    const char* name;
    ExportFn exportPlanar[10];  // by sample type number
    SplitFn split;
    GroupFn swapPairs;      // b0 b1 -> b1 b0
    GroupFn reverseQuads;   // b0 b1 b2 b3 -> b3 b2 b1 b0
    GroupFn mirrorLowHalf;  // b0 b1 b2 b3 -> b0 b1 b1 b0
};

const Kernels& referenceKernels();
const Kernels& genericKernels();
// Null when not built for this machine or not supported by the CPU.
const Kernels* sse2Kernels();
const Kernels* avx2Kernels();
const Kernels* avx512Kernels();
const Kernels* avx512VbmiKernels();
// On CPUs that split 512-bit operations in two (and run AVX-512 and AVX2): the widest
// table with the 2-channel split of 4-byte samples and the 2-channel 16-bit export taken
// from the AVX2 table, which runs those faster there. Null on other CPUs.
const Kernels* splitCpuKernels();
// The fastest supported table, chosen on first call: splitCpuKernels() where there is
// one, else the widest.
const Kernels& activeKernels();
// Name of the kernel set in use: "scalar", "sse2", "avx2", "avx512", "avx512vbmi",
// "avx512+avx2" or "avx512vbmi+avx2".
const char* activeKernelName();

// Defined in the instruction-set files; call only on a CPU that supports the set.
const Kernels& sse2KernelTable();
const Kernels& avx2KernelTable();
const Kernels& avx512KernelTable();
const Kernels& avx512VbmiKernelTable();

}  // namespace Aud::SampleManip
