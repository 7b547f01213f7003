// The inner loops behind Aud::MixRender, one table per instruction set. Internal to the
// library. n is a count of samples. The peak loops take the running peak and return it;
// the callers store it back. Every table computes exactly what the scalar table does.
// The vector tables name the next narrower one, so that a many-channel call can put
// the channels left over from the widest lane groups into narrower ones.
#pragma once

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#include <atomic>

namespace Aud::MixRender::Loops {

// The level of sample j of a ramp from a run's start: the nearest float to j, one
// product and one sum, each rounded on its own (the build never fuses them). Every
// table, and MixRender::RampLevelAt, computes its levels with this.
inline float rampLevelAt(float start, float delta, unsigned j) { return start + static_cast<float>(j) * delta; }

struct Table {
    float (*peak)(const float* src, unsigned n, float peak);
    void (*mul)(const float* src, float* dst, unsigned n, float gain);
    float (*mulPeak)(const float* src, float* dst, unsigned n, float gain, float peak);
    void (*ramp)(const float* src, float* dst, unsigned n, float level, float delta);
    void (*add)(const float* src, float* dst, unsigned n);
    void (*mulAdd)(const float* src, float* dst, unsigned n, float gain);
    float (*addPeak)(const float* src, float* dst, unsigned n, float peak);
    float (*mulAddPeak)(const float* src, float* dst, unsigned n, float gain, float peak);
    // dst1 then dst2, from one read of src; Same forms one product for both.
    void (*mulAdd2)(const float* src, float* dst1, float* dst2, unsigned n, float gain1, float gain2);
    void (*mulAdd2Same)(const float* src, float* dst1, float* dst2, unsigned n, float gain);
    void (*rampAdd)(const float* src, float* dst, unsigned n, float level, float delta);
    // Sample i at rampLevelAt(start, delta, first + i), first + i in 32-bit unsigned
    // arithmetic: each level computed on its own from the run's start.
    void (*rampFrom)(const float* src, float* dst, unsigned n, float start, float delta, unsigned first);
    void (*rampFromAdd)(const float* src, float* dst, unsigned n, float start, float delta, unsigned first);
    // channelLanes channels' ramps side by side, channel j's samples exactly as
    // ramp(src[j], dst[j], n, level[j], delta[j]) gives them; null in the scalar table
    // (channelLanes 1). narrower: the table with the next narrower vectors, or null.
    void (*rampLanes)(const float* const* src, float* const* dst, unsigned n, const float* level, const float* delta);
    unsigned channelLanes;
    const Table* narrower;
};

extern const Table kScalar;
#ifdef AUDATOMS_X86_64
extern const Table kSse2;
extern const Table kAvx2;
extern const Table kAvx512;
#endif

// The table the kernels use: one relaxed-enough load (a plain move on x86) inline in each
// kernel, and the choice made on the first call (Aud__MixRender_Dispatch.cpp).
extern std::atomic<const Table*> gActive;
const Table& chooseOnFirstUse();
inline const Table& active() {
    const Table* t = gActive.load(std::memory_order_acquire);
    return t != nullptr ? *t : chooseOnFirstUse();
}

}  // namespace Aud::MixRender::Loops
