#include "tools/AutomationApplier.h"

#include "tools/RealtimeProbe.h"

#include "AudAtoms/kernels/Aud__MixRender.h"

#include <algorithm>
#include <bit>

namespace audtool {

namespace MR = Aud::MixRender;
using Aud::DynamicLevelControl::DynamicLevelApplyingIteratorBase;

namespace {

// The fields by which the walk describes its run, bit for bit.
struct RunFields {
    std::uint32_t samplesToNextNode, level, levelDelta;
    std::uint64_t nextNodeTime;
    bool atEnd, pendingValid;
    bool operator==(const RunFields&) const = default;
};

RunFields runFields(const AutomationApplier::State& st) {
    return {st.samplesToNextNode_,
            std::bit_cast<std::uint32_t>(st.level_),
            std::bit_cast<std::uint32_t>(st.levelDelta_),
            std::bit_cast<std::uint64_t>(st.nextNodeTime_),
            st.atEnd_,
            st.pendingValid_};
}

}  // namespace

void AutomationApplier::configure(const Store* store, double rate, double t, Direction direction) {
    direction_ = direction;
    state_.invalidate();
    const rtprobe::AllowLocks storeLock;  // the walk takes the store's lock
    DynamicLevelApplyingIteratorBase walk(state_);
    if (direction == Direction::kForwards) walk.configureForwards(store, rate, t);
    else walk.configureReverse(store, rate, t);
    runsBegun_ = 0;
    beginRun();
}

void AutomationApplier::beginRun() {
    runStart_ = state_.level_;
    runDelta_ = state_.levelDelta_;
    runPosition_ = 0;
    ++runsBegun_;
}

void AutomationApplier::advance() {
    const rtprobe::AllowLocks storeLock;  // the walk takes the store's lock
    DynamicLevelApplyingIteratorBase walk(state_);
    if (direction_ == Direction::kForwards) walk.moveToNextNodeForwards();
    else walk.moveToNextNodeReverse();
    beginRun();
}

void AutomationApplier::noticeEdits(double t) {
    const RunFields before = runFields(state_);
    const rtprobe::AllowLocks storeLock;  // the walk takes the store's lock
    DynamicLevelApplyingIteratorBase walk(state_);
    if (direction_ == Direction::kForwards) walk.handleStoreModsForwards(t);
    else walk.handleStoreModsReverse(t);
    if (!(runFields(state_) == before)) beginRun();
}

const float* AutomationApplier::apply(const float* src, float* dst, unsigned frames) {
    State& st = state_;
    // A whole block at unity needs no pass at all.
    if (st.atEnd_ && st.level_ == 1.0f && st.levelDelta_ == 0.0f) return src;
    unsigned done = 0;
    int stalls = 0;
    while (done < frames) {
        unsigned n = frames - done;
        bool hold = false;
        if (!st.atEnd_) {
            if (st.samplesToNextNode_ == 0) {
                // A walk that cannot advance (a glide of 0 samples, possible only at a
                // rate below 100) holds its level for the rest of the block.
                if (stalls++ < 4) {
                    advance();
                    continue;
                }
                hold = true;
            } else {
                n = std::min(n, unsigned(st.samplesToNextNode_));
            }
        }
        const unsigned groups = (n + 3) / 4;
        // The constant kernel only reads its source (its signature predates const).
        if (runDelta_ == 0.0f || hold)
            MR::MultiplyConstant(const_cast<float*>(src + done), dst + done, groups, st.level_);
        else MR::MultiplyWithRampFrom(src + done, dst + done, groups, runStart_, runDelta_, runPosition_);
        if (hold) break;
        done += n;
        runPosition_ += n;
        // The level of the run's next sample, by the same rule as the samples.
        if (runDelta_ != 0.0f) st.level_ = MR::RampLevelAt(runStart_, runDelta_, runPosition_);
        if (!st.atEnd_) {
            st.samplesToNextNode_ -= n;
            if (st.samplesToNextNode_ == 0) advance();
        }
    }
    return dst;
}

}  // namespace audtool
