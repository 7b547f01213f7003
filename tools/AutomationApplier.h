// One playing stream's level automation: the host's consumer of the library's level
// applying iterator (Aud::DynamicLevelControl::DynamicLevelApplyingIteratorBase), walked
// forwards or in reverse and applied block by block, in play order.
//
// The rule: every sample's gain depends only on its position within its run, never on
// where blocks begin or end. A run is what the walk hands out between two of its own
// changes: configuring, each advance (a node reached, a glide ended, an edit found at a
// node) and each edit reaction between blocks (the start of a glide). The sample at
// index j of a run, j counted from the run's first sample across any number of blocks,
// gets the gain
//     Aud::MixRender::RampLevelAt(start, delta, j) = start + float(j) * delta
// where start and delta are the level_ and levelDelta_ the walk handed out when the run
// began (Aud::MixRender::MultiplyWithRampFrom; a run with no slope is
// MultiplyConstant(start)). The first sample of every run is therefore exactly its start
// level, and the walk starts each run on a node's own level, so a ramp ends exactly on
// the level of the node it reaches. The same automation gives the same gains whatever the
// block lengths (video-frame cadences, a server's period), and a session shifted in time
// with its automation gives the same gains shifted.
//
// The walk's state keeps the consumer contract: after n samples of a run,
// samplesToNextNode_ is n lower and level_ is the level of the next sample, start +
// float(samples of the run so far) * delta, formed from the run's start by the rule above
// rather than added to the level left by the last block. An edit's glide starts from
// that level, so it is the same at any block length too (for an edit made before the
// same sample).
//
// Run starts: after configuring and after every advance the applier starts a new run
// from the walk's level_ and levelDelta_; an edit reaction starts one when it changed the
// walk (a glide always sets a new count, target time and delta), which the applier sees
// by comparing the walk's run fields before and after. It never relies on level_ alone.
//
// A run with a slope is at most 2^32 - 1 samples long (the walk's 32-bit count), so its
// positions fit in 32 bits; a flat run may be longer and does not use them.
//
// Units: times in node time units (seconds in the tool), rates in samples per unit,
// gains linear. Buffers: the kernels work in whole groups of four samples, so apply()
// reads and writes up to three samples past `frames` (which the next block rewrites).
// Threads: one applier belongs to one thread (the audio thread); it holds the store's
// lock only inside the walk's calls. No allocation.
#pragma once

#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"

#include <cstdint>

namespace audtool {

class AutomationApplier {
public:
    enum class Direction { kForwards, kReverse };
    using State = Aud::DynamicLevelControl::DynamicLevelApplyingIteratorState;
    using Store = Aud::DynamicLevelControl::Store;

    // Places the walk at time t of `store` (null: no automation, unity gain) with `rate`
    // samples per time unit, playing in `direction`, as a new reader of the store.
    void configure(const Store* store, double rate, double t, Direction direction);

    // Call between blocks, with t the time of the next sample: reacts to edits made to the
    // store since the walk last looked (a glide to the edited line).
    void noticeEdits(double t);

    // Applies the automation to the next `frames` samples of src (in play order) into dst.
    // Returns src, having written nothing, when the whole block is at unity; else dst.
    const float* apply(const float* src, float* dst, unsigned frames);

    const State& state() const { return state_; }
    Direction direction() const { return direction_; }
    // The run in progress: its start level and delta, and how many of its samples have
    // been applied.
    float runStart() const { return runStart_; }
    float runDelta() const { return runDelta_; }
    std::uint32_t runPosition() const { return runPosition_; }
    // How many runs have begun since configure() (the first included).
    std::uint64_t runsBegun() const { return runsBegun_; }

private:
    void beginRun();
    void advance();

    State state_;
    Direction direction_ = Direction::kForwards;
    float runStart_ = 1.0f;
    float runDelta_ = 0.0f;
    std::uint32_t runPosition_ = 0;
    std::uint64_t runsBegun_ = 0;
};

}  // namespace audtool
