// The scalar loops: one sample at a time, in index order. These are the definition
// that the vectorised loops are tested against, and they are kept scalar on purpose.
#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#include <cmath>

#if defined(__clang__)
#define AUD_SCALAR_LOOP _Pragma("clang loop vectorize(disable) interleave(disable)")
#else
#pragma GCC optimize("no-tree-vectorize")
#define AUD_SCALAR_LOOP
#endif

namespace Aud::MixRender::Loops {

namespace {

// The running peak is replaced only by a strictly greater |sample|: NaN never enters.
inline float peakStep(float peak, float sample) {
    const float a = std::fabs(sample);
    return a > peak ? a : peak;
}

float peak(const float* src, unsigned n, float p) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) p = peakStep(p, src[i]);
    return p;
}

void mul(const float* src, float* dst, unsigned n, float gain) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) dst[i] = src[i] * gain;
}

float mulPeak(const float* src, float* dst, unsigned n, float gain, float p) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        const float s = src[i];
        p = peakStep(p, s);
        dst[i] = s * gain;
    }
    return p;
}

void ramp(const float* src, float* dst, unsigned n, float level, float delta) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        dst[i] = src[i] * level;
        level += delta;
    }
}

void add(const float* src, float* dst, unsigned n) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) dst[i] = dst[i] + src[i];
}

void mulAdd(const float* src, float* dst, unsigned n, float gain) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) dst[i] = dst[i] + src[i] * gain;
}

float addPeak(const float* src, float* dst, unsigned n, float p) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        const float s = src[i];
        p = peakStep(p, s);
        dst[i] = dst[i] + s;
    }
    return p;
}

float mulAddPeak(const float* src, float* dst, unsigned n, float gain, float p) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        const float s = src[i];
        p = peakStep(p, s);
        dst[i] = dst[i] + s * gain;
    }
    return p;
}

void mulAdd2(const float* src, float* dst1, float* dst2, unsigned n, float gain1, float gain2) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        const float s = src[i];
        const float p1 = s * gain1, p2 = s * gain2;
        dst1[i] = dst1[i] + p1;
        dst2[i] = dst2[i] + p2;
    }
}

void mulAdd2Same(const float* src, float* dst1, float* dst2, unsigned n, float gain) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        const float p = src[i] * gain;
        dst1[i] = dst1[i] + p;
        dst2[i] = dst2[i] + p;
    }
}

void rampAdd(const float* src, float* dst, unsigned n, float level, float delta) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) {
        dst[i] = dst[i] + src[i] * level;
        level += delta;
    }
}

void rampFrom(const float* src, float* dst, unsigned n, float start, float delta, unsigned first) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) dst[i] = src[i] * rampLevelAt(start, delta, first + i);
}

void rampFromAdd(const float* src, float* dst, unsigned n, float start, float delta, unsigned first) {
    AUD_SCALAR_LOOP
    for (unsigned i = 0; i < n; ++i) dst[i] = dst[i] + src[i] * rampLevelAt(start, delta, first + i);
}

}  // namespace

const Table kScalar = {peak,    mul,         mulPeak, ramp,     add,         mulAdd,  addPeak, mulAddPeak,
                       mulAdd2, mulAdd2Same, rampAdd, rampFrom, rampFromAdd, nullptr, 1,       nullptr};

}  // namespace Aud::MixRender::Loops
