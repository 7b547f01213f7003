#include "AudAtoms/automation/Aud__DynamicLevelApplyingIterator.h"

#include "AudAtoms/internal/AssertionSource.h"
#include "platform/OS.h"

#include <cstdint>
#include <limits>

namespace Aud {
namespace DynamicLevelControl {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__DynamicLevelControl"};
constexpr double kGlideTime = 0.01;  // time units over which an edit is faded in
constexpr double kNoNodeForwards = std::numeric_limits<double>::max();
constexpr double kNoNodeReverse = std::numeric_limits<double>::min();  // 2.2250738585072014e-308

// (time difference * rate) truncated toward zero to 64 bits, low 32 bits kept. Values
// outside the 64-bit range, and NaN, give the x86 conversion's result
// 0x8000000000000000, whose low 32 bits are 0.
std::uint32_t sampleCount(double samples) {
    if (!(samples > -9223372036854775808.0 && samples < 9223372036854775808.0)) return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(samples));
}
}  // namespace

// ---- state ----------------------------------------------------------------------------

DynamicLevelApplyingIteratorState::DynamicLevelApplyingIteratorState() : clientId_(OS()->uniqueId()) {}

void DynamicLevelApplyingIteratorState::invalidate() {
    const Store::NodePos keep = nodeIter_;
    *this = DynamicLevelApplyingIteratorState();
    nodeIter_ = keep;
}

// ---- walk ---------------------------------------------------------------------------

void* DynamicLevelApplyingIteratorBase::clientKey() const {
    // The id only labels this walk in the store's protocol; it is never dereferenced.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(state_.clientId_));
}

namespace {
void resetRun(DynamicLevelApplyingIteratorState& s, const Store* store, double rate) {
    s.store_ = store;
    s.sampleRate_ = rate;
    s.samplesToNextNode_ = 0;
    s.pendingSamplesToNextNode_ = 0;
    s.atEnd_ = false;
    s.pendingValid_ = false;
    s.pendingAtEnd_ = false;
    s.nextNodeTime_ = 0.0;
    s.pendingNextNodeTime_ = 0.0;
    s.pendingLevel_ = 0.0f;
    s.pendingLevelDelta_ = 0.0f;
    s.level_ = 0.0f;
    s.levelDelta_ = 0.0f;
}
}  // namespace

// The common start of a configure: a clean run; false (level 1.0 at end) without a
// store or a positive rate.
bool DynamicLevelApplyingIteratorBase::beginConfigure(const Store* store, double sampleRate) {
    resetRun(state_, store, sampleRate);
    if (store && sampleRate > 0.0) return true;
    state_.level_ = 1.0f;
    state_.atEnd_ = true;
    return false;
}

void DynamicLevelApplyingIteratorBase::holdAtEnd(float level) {
    state_.level_ = level;
    state_.atEnd_ = true;
    state_.levelDelta_ = 0.0f;
    state_.samplesToNextNode_ = 0;
}

// The run from a node (level `from`) to the next one in the direction of travel
// (level `to`, at `target`), `span` time units apart. False when it is shorter than a
// sample: its delta is 0 and the walk moves on at once.
bool DynamicLevelApplyingIteratorBase::runBetween(float from, float to, double target, double span) {
    DynamicLevelApplyingIteratorState& s = state_;
    s.nextNodeTime_ = target;
    s.level_ = from;  // the level snaps to each node's own value
    s.samplesToNextNode_ = sampleCount(span * s.sampleRate_);
    if (s.samplesToNextNode_ == 0) {
        s.levelDelta_ = 0.0f;
        return false;
    }
    s.levelDelta_ = (to - from) / s.samplesToNextNode_;
    return true;
}

// What every advance does first, under the store's lock: an edit since the last look
// takes the advance (the edit reaction), else the end of a glide hands over to the
// waiting segment. True when one of them did.
bool DynamicLevelApplyingIteratorBase::editOrGlideEnd(bool reverse) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (s.store_->queryModification(clientKey(), nullptr)) {
        reactToEdit(reverse, s.nextNodeTime_);
        return true;
    }
    if (!s.pendingValid_) return false;
    s.samplesToNextNode_ = s.pendingSamplesToNextNode_;
    s.level_ = s.pendingLevel_;
    s.levelDelta_ = s.pendingLevelDelta_;
    s.atEnd_ = s.pendingAtEnd_;
    s.nextNodeTime_ = s.pendingNextNodeTime_;
    s.pendingValid_ = false;
    return true;
}

void DynamicLevelApplyingIteratorBase::configureForwards(const Store* store, double sampleRate, double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!beginConfigure(store, sampleRate)) return;
    CriticalSectionGuard lock(store->cs_);
    store->acknowledgeModification(clientKey(), nullptr);
    const Store::NodeSet& nodes = store->nodeStore_;
    const Store::NodePos n = nodes.lowerBound(t);
    s.nodeIter_ = n;
    if (n.isEnd()) {
        holdAtEnd(nodes.empty() ? 1.0f : nodes.at(nodes.last()).level);
        s.nextNodeTime_ = kNoNodeForwards;
    } else {
        const Store::Node& next = nodes.at(n);
        s.nextNodeTime_ = next.getTime();
        s.samplesToNextNode_ = sampleCount((s.nextNodeTime_ - t) * sampleRate);
        if (nodes.isBegin(n)) {
            s.level_ = next.level;
            s.levelDelta_ = 0.0f;
        } else {
            const Store::Node& prev = nodes.at(nodes.prev(n));
            const float f = static_cast<float>((t - prev.time) / (s.nextNodeTime_ - prev.time));
            s.level_ = prev.level + (next.level - prev.level) * f;
            s.levelDelta_ = s.samplesToNextNode_ != 0 ? (next.level - s.level_) / s.samplesToNextNode_ : 0.0f;
        }
    }
    if (s.samplesToNextNode_ == 0 && !s.atEnd_) moveToNextNodeForwards();
}

void DynamicLevelApplyingIteratorBase::configureReverse(const Store* store, double sampleRate, double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!beginConfigure(store, sampleRate)) return;
    CriticalSectionGuard lock(store->cs_);
    store->acknowledgeModification(clientKey(), nullptr);
    const Store::NodeSet& nodes = store->nodeStore_;
    const Store::NodePos n = nodes.lowerBound(t);
    if (nodes.empty() || nodes.isBegin(n)) {
        s.nodeIter_ = n;
        holdAtEnd(nodes.empty() ? 1.0f : nodes.at(n).level);
        s.nextNodeTime_ = kNoNodeReverse;
    } else {
        const Store::NodePos p = n.isEnd() ? nodes.last() : nodes.prev(n);
        const Store::Node& prev = nodes.at(p);
        s.nodeIter_ = p;
        s.nextNodeTime_ = prev.time;
        if (n.isEnd()) {
            s.samplesToNextNode_ = sampleCount((t - prev.time) * sampleRate);
            s.level_ = prev.level;
            s.levelDelta_ = 0.0f;
        } else {
            const Store::Node& next = nodes.at(n);
            s.samplesToNextNode_ = sampleCount(sampleRate * (t - prev.time));
            // Raw times on both sides here (forwards uses the next node's effective time).
            const float f = static_cast<float>((t - prev.time) / (next.time - prev.time));
            s.level_ = prev.level + (next.level - prev.level) * f;
            s.levelDelta_ = s.samplesToNextNode_ != 0 ? (prev.level - s.level_) / s.samplesToNextNode_ : 0.0f;
        }
    }
    if (s.samplesToNextNode_ == 0 && !s.atEnd_) moveToNextNodeReverse();
}

void DynamicLevelApplyingIteratorBase::moveToNextNodeForwards() {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (editOrGlideEnd(false)) return;
    const Store::NodeSet& nodes = s.store_->nodeStore_;
    while (s.samplesToNextNode_ == 0 && !s.atEnd_) {
        const Store::NodePos cur = s.nodeIter_;
        if (cur.isEnd()) kSource.report("iter != state_.store_->nodeStore_.end()", 1276);
        const Store::NodePos next = nodes.next(cur);
        if (next == cur) {  // stepping from the end does not move
            handleStoreModsForwards(s.nextNodeTime_);
            return;
        }
        s.nodeIter_ = next;
        const Store::Node& c = nodes.at(cur);
        if (next.isEnd()) {
            holdAtEnd(c.level);
            return;
        }
        const Store::Node& n = nodes.at(next);
        if (runBetween(c.level, n.level, n.getTime(), n.getTime() - c.time)) return;
    }
}

void DynamicLevelApplyingIteratorBase::moveToNextNodeReverse() {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (editOrGlideEnd(true)) return;
    const Store::NodeSet& nodes = s.store_->nodeStore_;
    while (s.samplesToNextNode_ == 0 && !s.atEnd_) {
        const Store::NodePos cur = s.nodeIter_;
        if (cur.isEnd() || nodes.isBegin(cur)) {
            // At the first node (or, defensively, with no node to step back from) the
            // walk is over: the level holds from here on.
            holdAtEnd(cur.isEnd() ? s.level_ : nodes.at(cur).level);
            return;
        }
        const Store::NodePos prev = nodes.prev(cur);
        s.nodeIter_ = prev;
        const Store::Node& c = nodes.at(cur);
        const Store::Node& p = nodes.at(prev);
        if (runBetween(c.level, p.level, p.getTime(), c.time - p.getTime())) return;
    }
}

// The edit reaction: under the lock, and only when the store changed since this state
// last looked. The edited line is read by a walk of its own 0.01 ahead (behind, in
// reverse); the current run becomes the glide there and that walk's run waits.
void DynamicLevelApplyingIteratorBase::reactToEdit(bool reverse, double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (!s.store_->queryModification(clientKey(), nullptr)) return;
    s.store_->acknowledgeModification(clientKey(), nullptr);
    const double glideEnd = reverse ? t - kGlideTime : t + kGlideTime;
    DynamicLevelApplyingIteratorState edited;  // a reader of its own
    DynamicLevelApplyingIteratorBase editedWalk(edited);
    if (reverse) editedWalk.configureReverse(s.store_, s.sampleRate_, glideEnd);
    else editedWalk.configureForwards(s.store_, s.sampleRate_, glideEnd);

    s.pendingSamplesToNextNode_ = edited.samplesToNextNode_;
    s.pendingLevel_ = edited.level_;
    s.pendingLevelDelta_ = edited.levelDelta_;
    s.pendingAtEnd_ = edited.atEnd_;
    s.pendingNextNodeTime_ = edited.nextNodeTime_;
    s.pendingValid_ = true;
    s.nodeIter_ = edited.nodeIter_;
    // The current level is kept: the glide runs from what is playing now to where
    // the edited line stands at the glide's end.
    const std::uint32_t glide = sampleCount(kGlideTime * s.sampleRate_);
    s.samplesToNextNode_ = glide;
    s.atEnd_ = false;
    s.nextNodeTime_ = glideEnd;
    s.levelDelta_ = (edited.level_ - s.level_) / glide;
}

void DynamicLevelApplyingIteratorBase::handleStoreModsForwards(double t) { reactToEdit(false, t); }

void DynamicLevelApplyingIteratorBase::handleStoreModsReverse(double t) { reactToEdit(true, t); }

}  // namespace DynamicLevelControl
}  // namespace Aud
