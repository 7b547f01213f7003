#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include "AudAtoms/internal/Aud__MixRender_Loops.h"
#include "platform/MemHolder.h"

#include <cstring>

namespace Aud::MixRender {

namespace {

// The short-cuts of each kernel, shared by the dispatched kernels and their scalar
// references so that the two differ only in their loops.
struct Kernels {
    const Loops::Table& k;

    static unsigned samples(unsigned count) { return count * 4u; }

    static void copy(const float* src, float* dst, unsigned count) {
        const unsigned bytes = count * 16u;
        if (bytes != 0 && src != dst) std::memmove(dst, src, bytes);
    }

    void peakScan(const float* src, unsigned count, float* peak) const { *peak = k.peak(src, samples(count), *peak); }

    void multiplyConstant(const float* src, float* dst, unsigned count, float gain) const {
        if (gain == 1.0f) return copy(src, dst, count);
        if (gain == 0.0f) return Qm::Memset(dst, 0, count * 16u);
        k.mul(src, dst, samples(count), gain);
    }

    void multiplyConstantWithPrePeakScan(const float* src, float* dst, unsigned count, float gain, float* peak) const {
        if (gain == 1.0f) {
            copy(src, dst, count);
            return peakScan(src, count, peak);
        }
        if (gain == 0.0f) return Qm::Memset(dst, 0, count * 16u);  // a muted channel leaves the meter alone
        *peak = k.mulPeak(src, dst, samples(count), gain, *peak);
    }

    void multiplyWithDelta(const float* src, float* dst, unsigned count, float level, float delta) const {
        // With no slope the constant pass runs first and the ramp still runs after it.
        if (delta == 0.0f) multiplyConstant(src, dst, count, level);
        k.ramp(src, dst, samples(count), level, delta);
    }

    void add(const float* src, float* dst, unsigned count) const { k.add(src, dst, samples(count)); }

    void multiplyConstantAndAdd(const float* src, float* dst, unsigned count, float gain) const {
        if (gain == 1.0f) return add(src, dst, count);
        if (gain == 0.0f) return;
        k.mulAdd(src, dst, samples(count), gain);
    }

    void multiplyConstantAndAdd2(const float* src, float* dst1, float* dst2, unsigned count, float gain1,
                                 float gain2) const {
        const unsigned n = samples(count);
        bool dst1Done = false;
        if (gain1 == 1.0f) {
            add(src, dst1, count);
            dst1Done = true;
        } else if (gain1 == 0.0f) {
            dst1Done = true;
        }
        if (gain2 == 1.0f) {
            add(src, dst2, count);
            if (!dst1Done) k.mulAdd(src, dst1, n, gain1);
            return;
        }
        if (gain2 == 0.0f) {
            if (!dst1Done) k.mulAdd(src, dst1, n, gain1);
            return;
        }
        if (dst1Done) return k.mulAdd(src, dst2, n, gain2);
        if (gain1 == gain2) return k.mulAdd2Same(src, dst1, dst2, n, gain1);
        k.mulAdd2(src, dst1, dst2, n, gain1, gain2);
    }

    void multiplyConstantAndAddWithPrePeakScan(const float* src, float* dst, unsigned count, float gain,
                                               float* peak) const {
        if (gain == 1.0f) {
            *peak = k.addPeak(src, dst, samples(count), *peak);
        } else {
            *peak = k.mulAddPeak(src, dst, samples(count), gain, *peak);
        }
    }

    void multiplyWithDeltaAndAdd(const float* src, float* dst, unsigned count, float level, float delta) const {
        // With no slope the constant accumulation runs first and the ramp adds it again.
        if (delta == 0.0f) multiplyConstantAndAdd(src, dst, count, level);
        k.rampAdd(src, dst, samples(count), level, delta);
    }

    void multiplyWithDeltaChannels(float* const* src, float* const* dst, unsigned count, const float* level,
                                   const float* delta, unsigned channels) const {
        if (channels == 0 || count == 0) return;
        // Each channel as multiplyWithDelta: with no slope the constant pass first (the
        // channels share no buffer, so doing all of these first changes nothing) ...
        for (unsigned c = 0; c < channels; ++c)
            if (delta[c] == 0.0f) multiplyConstant(src[c], dst[c], count, level[c]);
        // ... then every channel's ramp, in lane groups as wide as the tables allow.
        const unsigned n = samples(count);
        unsigned c = 0;
        for (const Loops::Table* t = &k; t != nullptr; t = t->narrower)
            if (t->rampLanes != nullptr)
                for (; channels - c >= t->channelLanes; c += t->channelLanes)
                    t->rampLanes(src + c, dst + c, n, level + c, delta + c);
        for (; c < channels; ++c) k.ramp(src[c], dst[c], n, level[c], delta[c]);
    }

    void multiplyWithRampFrom(const float* src, float* dst, unsigned count, float start, float delta,
                              unsigned first) const {
        k.rampFrom(src, dst, samples(count), start, delta, first);
    }

    void multiplyWithRampFromAndAdd(const float* src, float* dst, unsigned count, float start, float delta,
                                    unsigned first) const {
        k.rampFromAdd(src, dst, samples(count), start, delta, first);
    }
};

Kernels fast() { return Kernels{Loops::active()}; }
Kernels reference() { return Kernels{Loops::kScalar}; }

}  // namespace

void PeakScan(float* src, unsigned count, float* peak) { fast().peakScan(src, count, peak); }
void MultiplyConstant(float* src, float* dst, unsigned count, float gain) {
    fast().multiplyConstant(src, dst, count, gain);
}
void MultiplyConstantWithPrePeakScan(float* src, float* dst, unsigned count, float gain, float* peak) {
    fast().multiplyConstantWithPrePeakScan(src, dst, count, gain, peak);
}
void MultiplyWithDelta(float* src, float* dst, unsigned count, float level, float delta) {
    fast().multiplyWithDelta(src, dst, count, level, delta);
}
void Add(float* src, float* dst, unsigned count) { fast().add(src, dst, count); }
void MultiplyConstantAndAdd(float* src, float* dst, unsigned count, float gain) {
    fast().multiplyConstantAndAdd(src, dst, count, gain);
}
void MultiplyConstantAndAdd2(float* src, float* dst1, float* dst2, unsigned count, float gain1, float gain2) {
    fast().multiplyConstantAndAdd2(src, dst1, dst2, count, gain1, gain2);
}
void MultiplyConstantAndAddWithPrePeakScan(float* src, float* dst, unsigned count, float gain, float* peak) {
    fast().multiplyConstantAndAddWithPrePeakScan(src, dst, count, gain, peak);
}
void MultiplyWithDeltaAndAdd(float* src, float* dst, unsigned count, float level, float delta) {
    fast().multiplyWithDeltaAndAdd(src, dst, count, level, delta);
}
void MultiplyWithRampFrom(const float* src, float* dst, unsigned count, float start, float delta, unsigned first) {
    fast().multiplyWithRampFrom(src, dst, count, start, delta, first);
}
void MultiplyWithRampFromAndAdd(const float* src, float* dst, unsigned count, float start, float delta,
                                unsigned first) {
    fast().multiplyWithRampFromAndAdd(src, dst, count, start, delta, first);
}
void MultiplyWithDeltaChannels(float* const* src, float* const* dst, unsigned count, const float* level,
                               const float* delta, unsigned channels) {
    fast().multiplyWithDeltaChannels(src, dst, count, level, delta, channels);
}
float RampLevelAt(float start, float delta, unsigned index) { return Loops::rampLevelAt(start, delta, index); }

namespace Reference {
void PeakScan(float* src, unsigned count, float* peak) { reference().peakScan(src, count, peak); }
void MultiplyConstant(float* src, float* dst, unsigned count, float gain) {
    reference().multiplyConstant(src, dst, count, gain);
}
void MultiplyConstantWithPrePeakScan(float* src, float* dst, unsigned count, float gain, float* peak) {
    reference().multiplyConstantWithPrePeakScan(src, dst, count, gain, peak);
}
void MultiplyWithDelta(float* src, float* dst, unsigned count, float level, float delta) {
    reference().multiplyWithDelta(src, dst, count, level, delta);
}
void Add(float* src, float* dst, unsigned count) { reference().add(src, dst, count); }
void MultiplyConstantAndAdd(float* src, float* dst, unsigned count, float gain) {
    reference().multiplyConstantAndAdd(src, dst, count, gain);
}
void MultiplyConstantAndAdd2(float* src, float* dst1, float* dst2, unsigned count, float gain1, float gain2) {
    reference().multiplyConstantAndAdd2(src, dst1, dst2, count, gain1, gain2);
}
void MultiplyConstantAndAddWithPrePeakScan(float* src, float* dst, unsigned count, float gain, float* peak) {
    reference().multiplyConstantAndAddWithPrePeakScan(src, dst, count, gain, peak);
}
void MultiplyWithDeltaAndAdd(float* src, float* dst, unsigned count, float level, float delta) {
    reference().multiplyWithDeltaAndAdd(src, dst, count, level, delta);
}
void MultiplyWithRampFrom(const float* src, float* dst, unsigned count, float start, float delta, unsigned first) {
    reference().multiplyWithRampFrom(src, dst, count, start, delta, first);
}
void MultiplyWithRampFromAndAdd(const float* src, float* dst, unsigned count, float start, float delta,
                                unsigned first) {
    reference().multiplyWithRampFromAndAdd(src, dst, count, start, delta, first);
}
void MultiplyWithDeltaChannels(float* const* src, float* const* dst, unsigned count, const float* level,
                               const float* delta, unsigned channels) {
    reference().multiplyWithDeltaChannels(src, dst, count, level, delta, channels);
}
}  // namespace Reference

void fastSineCosine(float& sine, float& cosine, unsigned phase) {
    const float k = 0.82842708f;  // 2 * sqrt(2) - 2, bits 0x3F5413CC
    const float r = 0.70710677f;  // 1 / sqrt(2), bits 0x3F3504F3
    const float x = static_cast<float>(phase & 0x3FFFu) * (1.0f / 16384.0f);
    switch (phase & 0xC000u) {
    case 0x0000u: {
        const float t = x - 0.5f, h = r - k * t * t;
        sine = h + t;
        cosine = h - t;
        break;
    }
    case 0x4000u: {
        const float u = 0.5f - x, h = r - k * u * u;
        sine = u + h;
        cosine = u - h;
        break;
    }
    case 0x8000u: {
        const float t = x - 0.5f, g = k * t * t - r;
        sine = g - t;
        cosine = t + g;
        break;
    }
    default: {
        const float t = x - 0.5f, h = r - k * t * t;
        sine = t - h;
        cosine = t + h;
        break;
    }
    }
}

}  // namespace Aud::MixRender
