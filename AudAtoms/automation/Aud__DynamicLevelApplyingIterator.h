// The level applying iterator: walks a level Store at audio rate, forwards or in
// reverse, and turns its node line into runs of samples (start level, per-sample
// delta, length), which the host's renderer applies with the ramp kernels
// (MultiplyWithDelta / MultiplyWithDeltaAndAdd: dst[i] = src[i] * level, level += delta).
//
// Consumer contract: after configureForwards / configureReverse, repeatedly take
// n = min(samplesToNextNode_, samples still to render) while atEnd_ is false (all the
// remaining samples when it is true), apply level_ and levelDelta_ to those n samples,
// then set level_ += n * levelDelta_ and samplesToNextNode_ -= n, and call
// moveToNextNodeForwards() / moveToNextNodeReverse() when the count reaches 0.
//
// Units: sampleRate_ is samples per unit of node time; sample counts are
// (time difference * sampleRate_) truncated toward zero to 64 bits and kept in 32.
// Levels are linear gains.
//
// Edits: each advance first asks the store whether it changed since this state last
// acknowledged it; if so it re-finds its place on the edited line 0.01 time units
// ahead and glides there over 0.01 * sampleRate_ samples (a rate below 100 makes that
// glide 0 samples long and its delta a division by zero, not guarded against).
//
// Threads: the audio thread. Every configure, advance and edit reaction holds the
// store's lock for that one call only, never between calls. None of them allocates,
// blocks beyond that lock or throws.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include <cstdint>

namespace Aud {
namespace DynamicLevelControl {

// The whole position of a walk, owned by the caller (one per playing stream).
struct AUDATOMS_EXPORT DynamicLevelApplyingIteratorState {
    Store::NodePos nodeIter_{};     // the node being approached
    const Store* store_ = nullptr;  // null: no automation
    std::uint32_t samplesToNextNode_ = 0;
    float level_ = 1.0f;         // level of the next sample
    float levelDelta_ = 0.0f;    // added after each sample of the run
    double sampleRate_ = 0.0;    // samples per unit of node time
    bool atEnd_ = true;          // no node remains in the direction of travel
    double nextNodeTime_ = 0.0;  // effective time of the node approached
    bool pendingValid_ = false;  // a post-edit segment waits for the glide to end
    std::uint32_t pendingSamplesToNextNode_ = 0;
    float pendingLevel_ = 0.0f;
    float pendingLevelDelta_ = 0.0f;
    bool pendingAtEnd_ = false;
    double pendingNextNodeTime_ = 0.0;
    std::uint32_t clientId_ = 0;  // identity in the store's modification protocol

    // Level 1.0, at end, everything else zero; a fresh client id.
    DynamicLevelApplyingIteratorState();
    // Resets as the constructor does (keeping the node position) with a fresh client
    // id, so a re-used state counts as a new reader.
    void invalidate();
};

class AUDATOMS_EXPORT DynamicLevelApplyingIteratorBase {
public:
    explicit DynamicLevelApplyingIteratorBase(DynamicLevelApplyingIteratorState& state) : state_(state) {}

    const Store* getNodeStore() const { return state_.store_; }

    // Place the walk at time t (node time units), rate in samples per time unit.
    void configureForwards(const Store* store, double sampleRate, double t);
    void configureReverse(const Store* store, double sampleRate, double t);

    // Set up the next run once samplesToNextNode_ has reached 0 (and atEnd_ is false).
    void moveToNextNodeForwards();
    void moveToNextNodeReverse();

    // React to an edit of the store at time t: glide from the current level to the
    // edited line at t +/- 0.01, then continue on it. Nothing when the store has not
    // changed since this state acknowledged it.
    void handleStoreModsForwards(double t);
    void handleStoreModsReverse(double t);

protected:
    DynamicLevelApplyingIteratorState& state_;

private:
    bool beginConfigure(const Store* store, double sampleRate);
    void holdAtEnd(float level);
    bool runBetween(float from, float to, double target, double span);
    bool editOrGlideEnd(bool reverse);
    void reactToEdit(bool reverse, double t);
    void* clientKey() const;
};

}  // namespace DynamicLevelControl
}  // namespace Aud
