// Many channels' biquad cascades side by side: four channels per 128-bit vector, one
// lane each, so that the per-sample recursion of four channels costs what one costs.
// Each lane performs exactly the operations of Biquad::processSample, in its order:
//   y = (((b0*x + b1*x1) + b2*x2) - a1*y1) - a2*y2
// with single-precision multiplies and additions that round like the scalar ones (SSE2
// is the baseline of the 64-bit target, and the library is built without contraction).
// Cascades longer than kChunk sections run in passes of kChunk sections over the block:
// a section's output depends only on its own input sequence, so the passes give the
// same samples as the sample-by-sample cascade. Without SSE2 (not an x86-64 build) every
// channel runs by processSample.
#include "AudAtoms/kernels/Aud__Biquad.h"

#include <algorithm>
#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#include <xmmintrin.h>
#define AUD_BIQUAD_LANES 1
#endif

namespace Aud::Filter {

#ifdef AUD_BIQUAD_LANES
namespace {

constexpr unsigned kLanes = 4;
constexpr unsigned kChunk = 4;  // sections in one pass

// One section for four channels: coefficients and memory, lane j = channel j.
struct LaneSection {
    __m128 b0, b1, b2, a1, a2;
    __m128 x1, x2, y1, y2;
};

template <unsigned K>
inline __m128 cascade(LaneSection* s, __m128 v) {
    for (unsigned k = 0; k < K; ++k) {
        LaneSection& q = s[k];
        const __m128 y = _mm_sub_ps(
            _mm_sub_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(q.b0, v), _mm_mul_ps(q.b1, q.x1)), _mm_mul_ps(q.b2, q.x2)),
                       _mm_mul_ps(q.a1, q.y1)),
            _mm_mul_ps(q.a2, q.y2));
        q.x2 = q.x1;
        q.x1 = v;
        q.y2 = q.y1;
        q.y1 = y;
        v = y;
    }
    return v;
}

// Runs the K sections at `sections` over n samples of four channels.
template <unsigned K>
void runLanes(LaneSection* sections, float* const (&ch)[kLanes], unsigned n) {
    LaneSection s[K];  // local, so that the sections can live in registers
    std::copy(sections, sections + K, s);
    float* const c0 = ch[0];
    float* const c1 = ch[1];
    float* const c2 = ch[2];
    float* const c3 = ch[3];
    unsigned i = 0;
    // Four samples of four channels at a time: transpose rows (channels) into columns
    // (samples), filter the four columns in order, transpose back.
    for (; i + 4 <= n; i += 4) {
        __m128 r0 = _mm_loadu_ps(c0 + i), r1 = _mm_loadu_ps(c1 + i), r2 = _mm_loadu_ps(c2 + i),
               r3 = _mm_loadu_ps(c3 + i);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        r0 = cascade<K>(s, r0);
        r1 = cascade<K>(s, r1);
        r2 = cascade<K>(s, r2);
        r3 = cascade<K>(s, r3);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        _mm_storeu_ps(c0 + i, r0);
        _mm_storeu_ps(c1 + i, r1);
        _mm_storeu_ps(c2 + i, r2);
        _mm_storeu_ps(c3 + i, r3);
    }
    for (; i < n; ++i) {
        alignas(16) float lanes[kLanes];
        _mm_store_ps(lanes, cascade<K>(s, _mm_setr_ps(c0[i], c1[i], c2[i], c3[i])));
        c0[i] = lanes[0];
        c1[i] = lanes[1];
        c2[i] = lanes[2];
        c3[i] = lanes[3];
    }
    std::copy(s, s + K, sections);
}

}  // namespace
#endif

void Biquad::processChannels(Biquad* const* sections, unsigned perChannel, float* const* x, unsigned channels,
                             unsigned n) {
    if (!sections || !x || perChannel == 0 || n == 0) return;

    // One channel by processSample.
    const auto runOne = [&](unsigned c) {
        Biquad* const* own = sections + std::size_t(c) * perChannel;
        float* const samples = x[c];
        for (unsigned i = 0; i < n; ++i) {
            float v = samples[i];
            for (unsigned k = 0; k < perChannel; ++k) v = own[k]->processSample(v);
            samples[i] = v;
        }
    };

#ifdef AUD_BIQUAD_LANES
    const auto laneLoad = [](const float* v) { return _mm_setr_ps(v[0], v[1], v[2], v[3]); };

    // Four channels whose sections are all active, filtered in lanes.
    const auto runGroup = [&](const unsigned(&group)[kLanes]) {
        float* const ch[kLanes] = {x[group[0]], x[group[1]], x[group[2]], x[group[3]]};
        for (unsigned first = 0; first < perChannel; first += kChunk) {
            const unsigned count = std::min(kChunk, perChannel - first);
            LaneSection s[kChunk];
            for (unsigned k = 0; k < count; ++k) {
                float f[9][kLanes];
                for (unsigned j = 0; j < kLanes; ++j) {
                    const Biquad& b = *sections[std::size_t(group[j]) * perChannel + first + k];
                    const float values[9] = {b.nb0_, b.nb1_, b.nb2_, b.na1_, b.na2_, b.x1_, b.x2_, b.y1_, b.y2_};
                    for (unsigned m = 0; m < 9; ++m) f[m][j] = values[m];
                }
                s[k] = LaneSection{laneLoad(f[0]), laneLoad(f[1]), laneLoad(f[2]), laneLoad(f[3]), laneLoad(f[4]),
                                   laneLoad(f[5]), laneLoad(f[6]), laneLoad(f[7]), laneLoad(f[8])};
            }
            switch (count) {
            case 1: runLanes<1>(s, ch, n); break;
            case 2: runLanes<2>(s, ch, n); break;
            case 3: runLanes<3>(s, ch, n); break;
            default: runLanes<4>(s, ch, n); break;
            }
            for (unsigned k = 0; k < count; ++k) {
                alignas(16) float memory[4][kLanes];
                _mm_store_ps(memory[0], s[k].x1);
                _mm_store_ps(memory[1], s[k].x2);
                _mm_store_ps(memory[2], s[k].y1);
                _mm_store_ps(memory[3], s[k].y2);
                for (unsigned j = 0; j < kLanes; ++j) {
                    Biquad& b = *sections[std::size_t(group[j]) * perChannel + first + k];
                    b.x1_ = memory[0][j];
                    b.x2_ = memory[1][j];
                    b.y1_ = memory[2][j];
                    b.y2_ = memory[3][j];
                }
            }
        }
    };

    unsigned group[kLanes];
    unsigned grouped = 0;
    for (unsigned c = 0; c < channels; ++c) {
        Biquad* const* own = sections + std::size_t(c) * perChannel;
        if (!std::all_of(own, own + perChannel, [](const Biquad* b) { return b->active_; })) {
            runOne(c);
            continue;
        }
        group[grouped++] = c;
        if (grouped == kLanes) {
            runGroup(group);
            grouped = 0;
        }
    }
    // Fewer than four left: one by one.
    for (unsigned g = 0; g < grouped; ++g) runOne(group[g]);
#else
    for (unsigned c = 0; c < channels; ++c) runOne(c);
#endif
}

}  // namespace Aud::Filter
