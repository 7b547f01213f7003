// Many channels' biquad cascades side by side, one channel per vector lane, so that the
// per-sample recursion of 16 (AVX-512), 8 (AVX2) or 4 (SSE2) channels costs about what
// one costs. Channels whose sections are all active are grouped in channel order into
// groups as wide as the widest vector the CPU runs; the ones left over go in narrower
// groups, and the last few (fewer than four) one by one by processSample, as do channels
// with an inactive section. The lanes perform exactly processSample's operations
// (Aud__Biquad_LaneBody.h), so the grouping cannot change a result.
//
// Cascades longer than Lanes::kChunk sections run in passes of kChunk sections over the
// block: a section's output depends only on its own input sequence, so the passes give
// the same samples as the sample-by-sample cascade. Without the vector files (not an
// x86-64 build) every channel runs by processSample.
#include "AudAtoms/kernels/Aud__Biquad_testing.h"

#include "AudAtoms/internal/Aud__Biquad_Lanes.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace Aud::Filter {

namespace BiquadChannels {

namespace {

std::atomic<int> gSet{-1};  // the eInstructionSet in use; -1 until first asked

}  // namespace

bool isInstructionSetSupported(eInstructionSet set) {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(set);
#else
    return set == eInstructionSet::kSSE2;  // other processors filter channel by channel
#endif
}

eInstructionSet getInstructionSet() {
    int s = gSet.load(std::memory_order_acquire);
    if (s < 0) {
        s = static_cast<int>(Cpu::widest());
        gSet.store(s, std::memory_order_release);
    }
    return static_cast<eInstructionSet>(s);
}

bool setInstructionSet(eInstructionSet set) {
    if (!isInstructionSetSupported(set)) return false;
    gSet.store(static_cast<int>(set), std::memory_order_release);
    return true;
}

void selectBestInstructionSet() { gSet.store(static_cast<int>(Cpu::widest()), std::memory_order_release); }

namespace {

// The pass tables processChannels uses, widest first.
unsigned laneTables(const Lanes::Table* (&tables)[3]) {
#ifdef AUDATOMS_X86_64
    unsigned count = 0;
    switch (getInstructionSet()) {
    case eInstructionSet::kAVX512: tables[count++] = &Lanes::kAvx512; [[fallthrough]];
    case eInstructionSet::kAVX2: tables[count++] = &Lanes::kAvx2; [[fallthrough]];
    case eInstructionSet::kSSE2: tables[count++] = &Lanes::kSse2; break;
    }
    return count;
#else
    (void)tables;
    return 0;
#endif
}

}  // namespace

unsigned laneWidths(unsigned (&widths)[3]) {
    const Lanes::Table* tables[3];
    const unsigned count = laneTables(tables);
    for (unsigned i = 0; i < count; ++i) widths[i] = tables[i]->lanes;
    return count;
}

}  // namespace BiquadChannels

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

    const Lanes::Table* tables[3];
    const unsigned widths = BiquadChannels::laneTables(tables);
    if (widths == 0) {
        for (unsigned c = 0; c < channels; ++c) runOne(c);
        return;
    }

    constexpr unsigned kMaxLanes = 16;
    // `table.lanes` channels whose sections are all active, filtered in lanes: each pass
    // copies up to kChunk sections in, lane by lane, and their memory back out.
    const auto runGroup = [&](const Lanes::Table& table, const unsigned* group) {
        const unsigned lanes = table.lanes;
        float* ch[kMaxLanes];
        for (unsigned j = 0; j < lanes; ++j) ch[j] = x[group[j]];
        for (unsigned first = 0; first < perChannel; first += Lanes::kChunk) {
            const unsigned count = std::min(Lanes::kChunk, perChannel - first);
            alignas(64) float state[Lanes::kChunk * Lanes::kWords * kMaxLanes];
            for (unsigned k = 0; k < count; ++k) {
                float* w = state + std::size_t(k) * Lanes::kWords * lanes;
                for (unsigned j = 0; j < lanes; ++j) {
                    const Biquad& b = *sections[std::size_t(group[j]) * perChannel + first + k];
                    const float words[Lanes::kWords] = {b.nb0_, b.nb1_, b.nb2_, b.na1_, b.na2_,
                                                        b.x1_,  b.x2_,  b.y1_,  b.y2_};
                    for (unsigned m = 0; m < Lanes::kWords; ++m) w[m * lanes + j] = words[m];
                }
            }
            table.pass(state, count, ch, n);
            for (unsigned k = 0; k < count; ++k) {
                const float* w = state + std::size_t(k) * Lanes::kWords * lanes;
                for (unsigned j = 0; j < lanes; ++j) {
                    Biquad& b = *sections[std::size_t(group[j]) * perChannel + first + k];
                    b.x1_ = w[5 * lanes + j];
                    b.x2_ = w[6 * lanes + j];
                    b.y1_ = w[7 * lanes + j];
                    b.y2_ = w[8 * lanes + j];
                }
            }
        }
    };

    const unsigned widest = tables[0]->lanes;
    unsigned group[kMaxLanes];
    unsigned grouped = 0;
    for (unsigned c = 0; c < channels; ++c) {
        Biquad* const* own = sections + std::size_t(c) * perChannel;
        if (!std::all_of(own, own + perChannel, [](const Biquad* b) { return b->active_; })) {
            runOne(c);
            continue;
        }
        group[grouped++] = c;
        if (grouped == widest) {
            runGroup(*tables[0], group);
            grouped = 0;
        }
    }
    // Fewer than `widest` left: in narrower groups, then one by one.
    unsigned done = 0;
    for (unsigned t = 1; t < widths; ++t)
        for (; grouped - done >= tables[t]->lanes; done += tables[t]->lanes) runGroup(*tables[t], group + done);
    for (; done < grouped; ++done) runOne(group[done]);
}

}  // namespace Aud::Filter
