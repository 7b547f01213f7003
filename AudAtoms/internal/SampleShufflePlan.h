// Internal: compile-time plans for the "window" sample kernels of SampleKernelBody.h,
// which interleave or split any channel count (1..8) and any sample width (1, 2, 3, 4
// or 8 bytes, big-endian splits and 24-in-32 splits included) with byte permutes.
// Nothing here depends on an instruction set: a plan says, for every byte of every
// output vector, which loaded source vector and which byte of it the byte comes from;
// each instruction set's vector struct (SimdAvx2.h, SimdAvx512.h) turns that into its
// own permute controls, also at compile time. Internal linkage throughout.
//
// A step handles a fixed number of frames:
// - export (planar -> interleaved): every plane gives one source vector, loaded at the
//   step's first sample; the step's interleaved bytes are written as `outputs` whole
//   vectors one after another (the bytes after the step's own are scratch, which the
//   next step overwrites);
// - split (interleaved -> planar): `sources` vectors are loaded from the interleaved
//   block at whole-frame offsets; every plane's bytes of the step are written as whole
//   vectors (again with scratch after them).
// Each output vector is built from its sources two at a time (a two-source permute per
// pair), the pairs' results merged by byte masks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace {
namespace plan {

constexpr unsigned kMaxBytes = 64;    // widest vector
constexpr unsigned kMaxSources = 16;  // source vectors of one step
constexpr unsigned kMaxOutputs = 16;  // output vectors of one step
constexpr std::uint8_t kNone = 0xFF;  // "no source": the byte is scratch

struct Output {
    unsigned plane = 0;                   // split: the plane written; export: 0
    unsigned offset = 0;                  // bytes from the step's first output byte (of that plane)
    std::uint8_t source[kMaxBytes] = {};  // per byte: source vector, or kNone
    std::uint8_t at[kMaxBytes] = {};      // per byte: byte within that source
    unsigned used[kMaxSources] = {};      // the sources this output reads, ascending
    unsigned numUsed = 0;
};

struct Plan {
    bool ok = false;                          // false: no plan for this shape (use the scalar kernels)
    unsigned bytes = 0;                       // vector width
    unsigned granularity = 1;                 // every permute moves whole elements of this many bytes
    unsigned frames = 0;                      // frames per step
    unsigned numSources = 0;                  // source vectors per step
    unsigned sourceOffset[kMaxSources] = {};  // split: bytes from the step's first frame
    unsigned numOutputs = 0;
    Output outputs[kMaxOutputs] = {};
    unsigned outBytesPerStep = 0;  // export: interleaved bytes; split: bytes per plane
    unsigned writeSpan = 0;        // bytes a step writes from its start (per plane for split)
    unsigned readSpan = 0;         // bytes a step reads from its start (per plane for export)
};

constexpr void finishOutput(Output& o) {
    o.numUsed = 0;
    for (unsigned s = 0; s < kMaxSources; ++s) {
        bool uses = false;
        for (unsigned i = 0; i < kMaxBytes; ++i) uses = uses || o.source[i] == s;
        if (uses) o.used[o.numUsed++] = s;
    }
}

// True when every element of g bytes comes whole, in order and aligned, from one source.
constexpr bool movesWholeElements(const Plan& p, unsigned g) {
    for (unsigned k = 0; k < p.numOutputs; ++k) {
        const Output& o = p.outputs[k];
        for (unsigned e = 0; e < p.bytes; e += g) {
            if (o.source[e] == kNone) {
                for (unsigned j = 1; j < g; ++j)
                    if (o.source[e + j] != kNone) return false;
                continue;
            }
            if (o.at[e] % g != 0) return false;
            for (unsigned j = 1; j < g; ++j)
                if (o.source[e + j] != o.source[e] || o.at[e + j] != o.at[e] + j) return false;
        }
    }
    return true;
}

constexpr unsigned numPairs(const Output& o) { return (o.numUsed + 1) / 2; }

// Estimated cost of one step per output byte, in 1/1000ths: loads (most of them cross
// cache lines) and permutes weigh 2, blends 1, and stores 6 (measured on AVX-512: whole
// vectors that overlap the next step's are far dearer than their count suggests, so
// fuller output vectors win).
constexpr unsigned costPerByte(const Plan& p, unsigned loads, unsigned outBytes) {
    unsigned pairs = 0;
    for (unsigned k = 0; k < p.numOutputs; ++k) pairs += numPairs(p.outputs[k]);
    const unsigned blends = pairs - p.numOutputs;
    return (2 * loads + 2 * pairs + blends + 6 * p.numOutputs) * 1000 / outBytes;
}

// Export of `channels` planes of `width`-byte samples in steps of `t` output vectors of
// `vb` bytes holding `frames` frames.
constexpr Plan exportPlanOf(unsigned vb, unsigned channels, unsigned width, unsigned t, unsigned frames) {
    Plan p;
    const unsigned frameBytes = channels * width;
    p.bytes = vb;
    p.frames = frames;
    p.numSources = channels;
    p.numOutputs = t;
    p.outBytesPerStep = frames * frameBytes;
    p.writeSpan = t * vb;
    p.readSpan = vb;
    for (unsigned k = 0; k < t; ++k) {
        Output& o = p.outputs[k];
        o.offset = k * vb;
        for (unsigned i = 0; i < vb; ++i) {
            const unsigned g = k * vb + i;
            if (g >= p.outBytesPerStep) {
                o.source[i] = kNone;
                continue;
            }
            const unsigned frame = g / frameBytes, c = (g % frameBytes) / width, b = g % width;
            o.source[i] = std::uint8_t(c);
            o.at[i] = std::uint8_t(frame * width + b);
        }
        for (unsigned i = vb; i < kMaxBytes; ++i) o.source[i] = kNone;
        finishOutput(o);
    }
    p.granularity = width == 3 ? 1 : width;
    p.ok = movesWholeElements(p, p.granularity);
    return p;
}

// The cheapest export plan: a step of t = 1..8 output vectors holds as many whole
// frames as fit (while one plane's samples of a step fit in one vector).
constexpr Plan exportPlan(unsigned vb, unsigned channels, unsigned width) {
    Plan best;
    if (channels == 0 || channels > kMaxSources || vb > kMaxBytes || width == 0 || width > vb) return best;
    unsigned bestCost = 0;
    for (unsigned t = 1; t <= 8 && t <= kMaxOutputs; ++t) {
        unsigned f = t * vb / (channels * width);
        if (f * width > vb) f = vb / width;
        if (f == 0 || f * channels * width <= (t - 1) * vb) continue;  // fits in fewer vectors
        const Plan p = exportPlanOf(vb, channels, width, t, f);
        const unsigned cost = costPerByte(p, channels, p.outBytesPerStep);
        if (p.ok && (!best.ok || cost < bestCost)) {
            best = p;
            bestCost = cost;
        }
    }
    return best;
}

// Split of `channels` channels of `stride` bytes a frame into `sampleBytes` bytes a
// sample, read as splitInterleaved defines (little-endian: from byte c * sampleBytes of
// the frame; big-endian: backwards from byte c * stride + sampleBytes - 1), in steps of
// `sources` vectors of whole frames and `perPlane` output vectors per plane. When
// `swapLater` is set, big-endian samples are planned as little-endian ones and the
// kernel byte-reverses the output elements afterwards.
constexpr Plan splitPlanOf(unsigned vb, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                           bool swapLater, unsigned sources, unsigned perPlane) {
    Plan p;
    const unsigned frameBytes = channels * stride;
    const unsigned perSource = vb / frameBytes;  // frames in one source vector
    p.bytes = vb;
    p.frames = sources * perSource;
    p.numSources = sources;
    for (unsigned m = 0; m < sources; ++m) p.sourceOffset[m] = m * perSource * frameBytes;
    p.numOutputs = channels * perPlane;
    p.outBytesPerStep = p.frames * sampleBytes;
    p.writeSpan = perPlane * vb;
    p.readSpan = (sources - 1) * perSource * frameBytes + vb;
    const bool reversed = bigEndian && !swapLater;
    for (unsigned c = 0; c < channels; ++c)
        for (unsigned u = 0; u < perPlane; ++u) {
            Output& o = p.outputs[c * perPlane + u];
            o.plane = c;
            o.offset = u * vb;
            for (unsigned i = 0; i < vb; ++i) {
                const unsigned g = u * vb + i;
                if (g >= p.outBytesPerStep) {
                    o.source[i] = kNone;
                    continue;
                }
                const unsigned k = g / sampleBytes, b = g % sampleBytes;
                const unsigned within =
                    bigEndian ? c * stride + (reversed ? sampleBytes - 1 - b : b) : c * sampleBytes + b;
                o.source[i] = std::uint8_t(k / perSource);
                o.at[i] = std::uint8_t((k % perSource) * frameBytes + within);
            }
            for (unsigned i = vb; i < kMaxBytes; ++i) o.source[i] = kNone;
            finishOutput(o);
        }
    p.granularity = 1;
    if (sampleBytes == stride && (!bigEndian || swapLater))
        for (unsigned g = 8; g >= 2; g /= 2)
            if (sampleBytes % g == 0 && movesWholeElements(p, g)) {
                p.granularity = g;
                break;
            }
    p.ok = true;
    return p;
}

// The cheapest split plan: a step of 1..16 source vectors (whole frames each) and at
// most two output vectors per plane. Needs a frame to fit in one vector.
constexpr Plan splitPlan(unsigned vb, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                         bool swapLater) {
    Plan best;
    const unsigned frameBytes = channels * stride;
    if (frameBytes == 0 || frameBytes > vb || vb > kMaxBytes || sampleBytes == 0 || sampleBytes > stride ||
        channels > kMaxSources)
        return best;
    unsigned bestCost = 0;
    for (unsigned m = 1; m <= kMaxSources; ++m) {
        const unsigned bytes = m * (vb / frameBytes) * sampleBytes;
        const unsigned u = (bytes + vb - 1) / vb;
        if (u > 2 || channels * u > kMaxOutputs) break;
        const Plan p = splitPlanOf(vb, channels, stride, sampleBytes, bigEndian, swapLater, m, u);
        const unsigned cost = costPerByte(p, m, channels * p.outBytesPerStep);
        if (!best.ok || cost < bestCost) {
            best = p;
            bestCost = cost;
        }
    }
    return best;
}

// The two sources of pair `k` of an output (the second equals the first when the output
// reads an odd number of sources and this is the last pair).
constexpr unsigned pairFirst(const Output& o, std::size_t k) { return o.used[2 * k]; }
constexpr unsigned pairSecond(const Output& o, std::size_t k) {
    return 2 * k + 1 < o.numUsed ? o.used[2 * k + 1] : o.used[2 * k];
}

// Byte controls of pair `k` of output `o`: idx[i] < vb takes byte idx[i] of the first
// source, vb + j byte j of the second, kNone leaves the byte to another pair (take[i]
// false there).
struct PairBytes {
    std::uint8_t idx[kMaxBytes] = {};
    bool take[kMaxBytes] = {};
    bool second = false;  // the second source is read at all
};

constexpr PairBytes pairBytes(const Plan& p, const Output& o, unsigned k) {
    PairBytes r;
    const unsigned a = pairFirst(o, k), b = pairSecond(o, k);
    for (unsigned i = 0; i < kMaxBytes; ++i) {
        r.idx[i] = kNone;
        if (i >= p.bytes || o.source[i] == kNone) continue;
        if (o.source[i] == a) {
            r.idx[i] = o.at[i];
            r.take[i] = true;
        } else if (o.source[i] == b) {
            r.idx[i] = std::uint8_t(p.bytes + o.at[i]);
            r.take[i] = true;
            r.second = true;
        }
    }
    return r;
}

}  // namespace plan
}  // namespace
