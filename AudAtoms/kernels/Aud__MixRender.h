// Aud::MixRender: the inner loops of the mixer's render path, over single-channel
// buffers of 32-bit float samples (nominal full scale 1.0).
//
// Units: count is a number of four-sample blocks; every kernel touches exactly
// 4 * count floats of each buffer (count * 16 bytes), formed in 32-bit unsigned
// arithmetic, so count must stay below 2^28. Gains and levels are linear magnitudes
// (1.0 = unity); delta is added to the level after each sample of a ramp. A peak is a
// running maximum owned by the caller, read on entry and written back on return (never
// reset here). Buffers need only float alignment; a count of 0 touches no sample, so
// buffer pointers may then be null (peak pointers may not).
//
// For each sample i in 0 .. 4*count-1:
//   PeakScan                         peak = max(peak, |src[i]|)
//   MultiplyConstant                 dst[i] = src[i] * gain
//   MultiplyConstantWithPrePeakScan  dst[i] = src[i] * gain;  peak = max(peak, |src[i]|)
//   MultiplyWithDelta                dst[i] = src[i] * level;  level += delta
//   Add                              dst[i] = dst[i] + src[i]
//   MultiplyConstantAndAdd           dst[i] = dst[i] + src[i] * gain
//   MultiplyConstantAndAdd2          dst1[i] += src[i] * gain1;  dst2[i] += src[i] * gain2
//   MultiplyConstantAndAddWithPrePeakScan  dst[i] += src[i] * gain;  peak = max(peak, |src[i]|)
//   MultiplyWithDeltaAndAdd          dst[i] += src[i] * level;  level += delta
//   MultiplyWithRampFrom             dst[i] = src[i] * RampLevelAt(start, delta, first + i)
//   MultiplyWithRampFromAndAdd       dst[i] += src[i] * RampLevelAt(start, delta, first + i)
//   MultiplyWithDeltaChannels        for each channel c < channels:
//                                      MultiplyWithDelta(src[c], dst[c], count, level[c], delta[c])
// Each product and sum is rounded to float on its own (never a fused multiply-add).
// max keeps the running value unless |src[i]| is greater, so NaN samples never enter the
// peak and a NaN peak stays; the level of MultiplyWithDelta(AndAdd) is a serial chain of
// float additions, never level + k * delta.
//
// Ramps from a run's start. A host that cuts one run of the level iterator into several
// blocks gets, from the serial chain, levels that depend on where the cuts fall (each
// block restarts the chain from a re-anchored level). MultiplyWithRampFrom(AndAdd)
// instead give the sample at index j of a run (j counted from the run's first sample)
// the level
//   RampLevelAt(start, delta, j) = start + float(j) * delta
// (float(j) the nearest float to j; one product, one sum, each rounded on its own), so a
// run applied in pieces, each with its own `first`, gives exactly what one call over the
// whole run gives. first + i is formed in 32-bit unsigned arithmetic (it wraps past
// 2^32 - 1). No short-cuts: a zero delta still multiplies (src * start, +0.0 for a -0.0
// start), and an infinite or NaN delta makes every level NaN or infinite, the first
// included (0 * infinity is NaN). The levels are monotone in j for any finite delta.
//
// Short-cuts, taken once per call (gains compared with ==, so -0.0 counts as 0.0 and a
// NaN gain takes the general loop); they differ from kernel to kernel on purpose:
//   MultiplyConstant: 1.0 copies the bytes, 0.0 zero-fills (exact +0.0 whatever src holds).
//   MultiplyConstantWithPrePeakScan: 1.0 copies then scans src; 0.0 zero-fills and leaves
//     the peak as it came in.
//   MultiplyConstantAndAdd: 1.0 is Add; 0.0 returns with dst untouched.
//   MultiplyConstantAndAddWithPrePeakScan: 1.0 adds src plainly; no zero short-cut.
//   MultiplyConstantAndAdd2: a gain of 1.0 is Add into that destination, 0.0 skips it;
//     equal gains form one product per sample.
//   Ramps with delta == 0.0: MultiplyWithDelta first applies MultiplyConstant(level) and
//     then still runs its ramp (in place that leaves src * level^2);
//     MultiplyWithDeltaAndAdd first applies MultiplyConstantAndAdd(level) and then still
//     runs its ramp, adding src * level twice.
//
// Many channels' ramps at once. MultiplyWithDeltaChannels gives every channel exactly
// what MultiplyWithDelta gives it, its delta == 0.0 short-cut included; the vectorised
// versions run several channels' serial level chains side by side, one channel per
// vector lane (16, 8 or 4 at a time, the channels left over one by one), so that many
// channels' chains cost about what one costs. All channels have the same count. src[c]
// may equal dst[c]; otherwise none of the channels' buffers may overlap. A channels or
// count of 0 touches nothing and reads none of the arrays (which may then be null).
//
// In-place use: src may equal dst (or dst1 / dst2, and dst1 may equal dst2); buffers must
// otherwise not overlap. Threads: stateless; any thread, concurrently on distinct
// buffers. Real-time safe: no allocation, no locks, no exceptions.
//
// Speed: each kernel has a plain scalar version in MixRender::Reference, the definition
// the vectorised versions (SSE2, AVX2, AVX-512, chosen once from the CPU's features) are
// proven bit-identical to (NaN payloads aside, which the language leaves open).
#pragma once

#include "AudAtoms/AudAtomsExport.h"

namespace Aud::MixRender {

AUDATOMS_EXPORT void PeakScan(float* src, unsigned int count, float* peak);
AUDATOMS_EXPORT void MultiplyConstant(float* src, float* dst, unsigned int count, float gain);
AUDATOMS_EXPORT void MultiplyConstantWithPrePeakScan(float* src, float* dst, unsigned int count, float gain,
                                                     float* peak);
AUDATOMS_EXPORT void MultiplyWithDelta(float* src, float* dst, unsigned int count, float level, float delta);
AUDATOMS_EXPORT void Add(float* src, float* dst, unsigned int count);
AUDATOMS_EXPORT void MultiplyConstantAndAdd(float* src, float* dst, unsigned int count, float gain);
AUDATOMS_EXPORT void MultiplyConstantAndAdd2(float* src, float* dst1, float* dst2, unsigned int count, float gain1,
                                             float gain2);
AUDATOMS_EXPORT void MultiplyConstantAndAddWithPrePeakScan(float* src, float* dst, unsigned int count, float gain,
                                                           float* peak);
AUDATOMS_EXPORT void MultiplyWithDeltaAndAdd(float* src, float* dst, unsigned int count, float level, float delta);
AUDATOMS_EXPORT void MultiplyWithRampFrom(const float* src, float* dst, unsigned int count, float start, float delta,
                                          unsigned int first);
AUDATOMS_EXPORT void MultiplyWithRampFromAndAdd(const float* src, float* dst, unsigned int count, float start,
                                                float delta, unsigned int first);
AUDATOMS_EXPORT void MultiplyWithDeltaChannels(float* const* src, float* const* dst, unsigned int count,
                                               const float* level, const float* delta, unsigned int channels);
// The level the ramps from a run's start give the sample at index `index` of a run.
AUDATOMS_EXPORT float RampLevelAt(float start, float delta, unsigned int index);

// Approximations of sin and cos of phase * 2pi / 65536 (only the low 16 bits of phase
// count): piecewise parabolic, exact at every multiple of 45 degrees, within 0.024 of the
// true values, sine^2 + cosine^2 within [0.978, 1]. One short single-precision chain.
AUDATOMS_EXPORT void fastSineCosine(float& sine, float& cosine, unsigned int phase);

}  // namespace Aud::MixRender
