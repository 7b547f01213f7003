// Test and benchmark controls of Aud::MixRender: the scalar reference loops and the
// choice of instruction set. Not installed and not exported: tests and benchmarks reach
// these through the static testing library (AudAtoms::Testing).
#pragma once

#include "AudAtoms/kernels/Aud__MixRender.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::MixRender {

// The scalar definitions: same contract, same short-cuts, plain one-sample loops.
namespace Reference {
void PeakScan(float* src, unsigned int count, float* peak);
void MultiplyConstant(float* src, float* dst, unsigned int count, float gain);
void MultiplyConstantWithPrePeakScan(float* src, float* dst, unsigned int count, float gain, float* peak);
void MultiplyWithDelta(float* src, float* dst, unsigned int count, float level, float delta);
void Add(float* src, float* dst, unsigned int count);
void MultiplyConstantAndAdd(float* src, float* dst, unsigned int count, float gain);
void MultiplyConstantAndAdd2(float* src, float* dst1, float* dst2, unsigned int count, float gain1, float gain2);
void MultiplyConstantAndAddWithPrePeakScan(float* src, float* dst, unsigned int count, float gain, float* peak);
void MultiplyWithDeltaAndAdd(float* src, float* dst, unsigned int count, float level, float delta);
void MultiplyWithRampFrom(const float* src, float* dst, unsigned int count, float start, float delta,
                          unsigned int first);
void MultiplyWithRampFromAndAdd(const float* src, float* dst, unsigned int count, float start, float delta,
                                unsigned int first);
void MultiplyWithDeltaChannels(float* const* src, float* const* dst, unsigned int count, const float* level,
                               const float* delta, unsigned int channels);
}  // namespace Reference

// Which vectorised loops the kernels above use. The fastest this CPU runs are chosen on
// first use (the widest set; the plain peak scan and the adds without a peak in AVX2 on
// CPUs that split 512-bit operations); tests and benchmarks may force one set for every kernel, and
// selectBestInstructionSet returns to the first choice. Switching is atomic, but meant
// for set-up, not for the middle of a render. Results are identical whichever runs.
using eInstructionSet = Cpu::eInstructionSet;  // kSSE2, kAVX2, kAVX512

bool isInstructionSetSupported(eInstructionSet set);  // built in and runnable on this CPU
eInstructionSet getInstructionSet();                  // the mix loops' set
eInstructionSet getPeakScanInstructionSet();          // PeakScan's (AVX2 where 512-bit operations split)
// Add's, MultiplyConstantAndAdd's and MultiplyConstantAndAdd2's (AVX2 there too).
eInstructionSet getAddInstructionSet();
bool setInstructionSet(eInstructionSet set);  // false, nothing changed, when unsupported
void selectBestInstructionSet();
const char* getInstructionSetName(eInstructionSet set);  // "SSE2", "AVX2", "AVX-512"

}  // namespace Aud::MixRender
