// Test and benchmark controls of Aud::Filter::Biquad::processChannels: which vector
// widths it may use. By default the widest the CPU runs (AVX-512: groups of 16, then 8,
// then 4; AVX2: 8, then 4; SSE2: 4), chosen on first use; tests and benchmarks may force
// a narrower set. Not installed and not exported: reached through the static testing
// library (AudAtoms::Testing). Switching is atomic, but meant for set-up, not for the
// middle of a render.
#pragma once

#include "AudAtoms/kernels/Aud__Biquad.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::Filter::BiquadChannels {

using eInstructionSet = Cpu::eInstructionSet;  // kSSE2, kAVX2, kAVX512

bool isInstructionSetSupported(eInstructionSet set);  // built in and runnable on this CPU
eInstructionSet getInstructionSet();
bool setInstructionSet(eInstructionSet set);  // false, nothing changed, when unsupported
void selectBestInstructionSet();
// The widths processChannels tries, widest first (16, 8, 4 with AVX-512); on processors
// without vector files, none (every channel by processSample). Returns how many.
unsigned laneWidths(unsigned (&widths)[3]);

}  // namespace Aud::Filter::BiquadChannels
