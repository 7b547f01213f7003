// Test-side consumer of the level applying iterator, following its consumer contract:
// take n = min(samplesToNextNode_, samples left) (all that is left at the end), apply
// level_ / levelDelta_ to n samples with the ramp kernel, advance level_ by
// n * levelDelta_, lower the count by n, and advance the walk when the count is 0.
//
// rampRun applies a run with the library ramp kernel Aud::MixRender::MultiplyWithDelta:
// dst[i] = src[i] * level, then level += delta,
// by repeated single-precision addition, over `blocks` four-sample blocks.
// LevelRenderer never allocates after construction (its scratch buffer and optional
// run log are sized up front), so allocation-counting tests may use it.
#pragma once

#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace audatoms::test {

void rampRun(const float* src, float* dst, unsigned blocks, float level, float delta);

// One run as the walk handed it out.
struct LevelRun {
    std::size_t start;    // index of its first sample in the rendered output
    std::uint32_t count;  // samplesToNextNode_ when the run began
    float level;
    float delta;
    bool atEnd;
    bool pendingValid;  // a post-edit segment was waiting (the run is a glide)
};

class LevelRenderer {
public:
    // maxBlock: the largest number of samples render() is asked for at once.
    // logCapacity: how many runs to record (0: none).
    LevelRenderer(Aud::DynamicLevelControl::DynamicLevelApplyingIteratorState& state, bool reverse,
                  std::size_t maxBlock, std::size_t logCapacity = 0);

    // Renders n gain values (the source is 1.0) into out. Returns false if the walk
    // stopped making progress (several advances in a row that produced no samples).
    bool render(float* out, std::size_t n);

    const std::vector<LevelRun>& runs() const { return runs_; }
    std::size_t rendered() const { return rendered_; }
    void clearLog() { runs_.clear(); }

private:
    void logRun();
    void advance();

    Aud::DynamicLevelControl::DynamicLevelApplyingIteratorState& state_;
    Aud::DynamicLevelControl::DynamicLevelApplyingIteratorBase walk_;
    bool reverse_;
    std::vector<float> ones_;
    std::vector<float> scratch_;
    std::vector<LevelRun> runs_;
    std::size_t logCapacity_;
    std::size_t rendered_ = 0;
    bool needLog_ = true;
};

}  // namespace audatoms::test
