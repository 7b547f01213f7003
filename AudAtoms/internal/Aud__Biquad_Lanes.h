// The vector passes behind Aud::Filter::Biquad::processChannels, one table per
// instruction set: `lanes` channels side by side, one per vector lane, through a
// cascade of up to kChunk sections. Internal to the library.
//
// A pass works on a copy of its sections laid out lane by lane: word m (kWords words,
// in the order b0 b1 b2 a1 a2 x1 x2 y1 y2) of section k for lane j is
//   state[(k * kWords + m) * lanes + j]
// It filters channels[0 .. lanes-1][0 .. n-1] in place and writes each section's
// memory (x1 x2 y1 y2) back into state. Every lane performs exactly the operations of
// Biquad::processSample in its order, so results are bit-identical to it.
#pragma once

#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::Filter::Lanes {

constexpr unsigned kChunk = 4;  // sections in one pass
constexpr unsigned kWords = 9;  // per section: five coefficients, four memory words

using PassFn = void (*)(float* state, unsigned sections, float* const* channels, unsigned n);

struct Table {
    unsigned lanes;
    PassFn pass;
};

#ifdef AUDATOMS_X86_64
extern const Table kSse2;    // 4 lanes
extern const Table kAvx2;    // 8 lanes
extern const Table kAvx512;  // 16 lanes
#endif

}  // namespace Aud::Filter::Lanes
