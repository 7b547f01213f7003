// The inner loops behind Aud::MixRender, one table per instruction set. Internal to the
// library. n is a count of samples. The peak loops take the running peak and return it;
// the callers store it back. Every table computes exactly what the scalar table does.
#pragma once

#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::MixRender::Loops {

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
};

extern const Table kScalar;
#ifdef AUDATOMS_X86_64
extern const Table kSse2;
extern const Table kAvx2;
extern const Table kAvx512;
#endif

} // namespace Aud::MixRender::Loops
