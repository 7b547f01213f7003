// The one place that knows which vector instruction sets this build carries and the
// running CPU supports, for every dispatching kernel family (mix render, peak scans,
// sample conversions). Internal to the library.
//
// The vector files exist for x86-64 only (AUDATOMS_X86_64): SSE2 is its baseline and
// always runs; AVX2 and AVX-512 (F, BW, DQ and VL together) are asked of the CPU once,
// after __builtin_cpu_init, so the answer is right even when asked from another
// library's static constructors. Other processors run the scalar tables.
// Threads: any; the answers are computed once, thread-safely, and never change.
#pragma once

#if defined(__x86_64__)
#define AUDATOMS_X86_64 1
#endif

namespace Aud::Cpu {

enum class eInstructionSet : int { kSSE2 = 0, kAVX2 = 1, kAVX512 = 2 };

// Built into this library and runnable on this CPU (and its operating system).
bool supports(eInstructionSet set);

// AVX-512 (as kAVX512) together with its byte permutes (VBMI): the sample conversions
// have a table for it. Not a rung of eInstructionSet, so the other kernel families
// and their settings are unchanged.
bool supportsAVX512VBMI();

// The widest instruction set that supports() allows.
eInstructionSet widest();

// Whether the CPU runs AVX-512 but executes each 512-bit operation as two 256-bit halves
// (AMD family 19h). A family whose AVX2 loops measure faster there picks them instead.
bool splitsWideVectors();

// "SSE2", "AVX2", "AVX-512"; "?" for a value outside the enumeration.
const char* name(eInstructionSet set);

}  // namespace Aud::Cpu
