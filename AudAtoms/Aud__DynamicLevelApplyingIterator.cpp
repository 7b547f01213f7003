#include "AudAtoms/Aud__DynamicLevelApplyingIterator.h"

#include "platform/OS.h"
#include "platform/Report.h"

#include <cstdint>
#include <limits>

namespace Aud {
namespace DynamicLevelControl {

namespace {
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
} // namespace

// ---- state ----------------------------------------------------------------------------

DynamicLevelApplyingIteratorState::DynamicLevelApplyingIteratorState() : clientId_(OS()->uniqueId()) {}

void DynamicLevelApplyingIteratorState::invalidate() {
    const Store::NodePos keep = nodeIter_;
    *this = DynamicLevelApplyingIteratorState();
    nodeIter_ = keep;
}

// ---- walk ---------------------------------------------------------------------------

void* DynamicLevelApplyingIteratorBase::clientKey() const {
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
} // namespace

void DynamicLevelApplyingIteratorBase::configureForwards(const Store* store, double sampleRate, double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    resetRun(s, store, sampleRate);
    if (!store || !(sampleRate > 0.0)) {
        s.level_ = 1.0f;
        s.atEnd_ = true;
        return;
    }
    CriticalSectionGuard lock(store->cs_);
    store->acknowledgeModification(clientKey(), nullptr);
    const Store::NodeSet& nodes = store->nodeStore_;
    const Store::NodePos n = nodes.lowerBound(t);
    if (n.isEnd()) {
        s.nodeIter_ = n;
        s.level_ = nodes.empty() ? 1.0f : nodes.at(nodes.last()).level;
        s.levelDelta_ = 0.0f;
        s.atEnd_ = true;
        s.nextNodeTime_ = kNoNodeForwards;
    } else {
        const Store::Node& next = nodes.at(n);
        s.atEnd_ = false;
        s.nodeIter_ = n;
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
    resetRun(s, store, sampleRate);
    if (!store || !(sampleRate > 0.0)) {
        s.level_ = 1.0f;
        s.atEnd_ = true;
        return;
    }
    CriticalSectionGuard lock(store->cs_);
    store->acknowledgeModification(clientKey(), nullptr);
    const Store::NodeSet& nodes = store->nodeStore_;
    const Store::NodePos n = nodes.lowerBound(t);
    if (nodes.empty() || nodes.isBegin(n)) {
        s.nodeIter_ = n;
        s.level_ = nodes.empty() ? 1.0f : nodes.at(n).level;
        s.levelDelta_ = 0.0f;
        s.atEnd_ = true;
        s.nextNodeTime_ = kNoNodeReverse;
    } else if (n.isEnd()) {
        const Store::NodePos p = nodes.last();
        const Store::Node& prev = nodes.at(p);
        s.nodeIter_ = p;
        s.samplesToNextNode_ = sampleCount((t - prev.time) * sampleRate);
        s.level_ = prev.level;
        s.levelDelta_ = 0.0f;
        s.nextNodeTime_ = prev.time;
        s.atEnd_ = false;
    } else {
        const Store::NodePos p = nodes.prev(n);
        const Store::Node& prev = nodes.at(p);
        const Store::Node& next = nodes.at(n);
        s.nodeIter_ = p;
        s.samplesToNextNode_ = sampleCount(sampleRate * (t - prev.time));
        // Raw times on both sides here (forwards uses the next node's effective time).
        const float f = static_cast<float>((t - prev.time) / (next.time - prev.time));
        s.level_ = prev.level + (next.level - prev.level) * f;
        s.levelDelta_ = s.samplesToNextNode_ != 0 ? (prev.level - s.level_) / s.samplesToNextNode_ : 0.0f;
        s.nextNodeTime_ = prev.time;
        s.atEnd_ = false;
    }
    if (s.samplesToNextNode_ == 0 && !s.atEnd_) moveToNextNodeReverse();
}

void DynamicLevelApplyingIteratorBase::moveToNextNodeForwards() {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (s.store_->queryModification(clientKey(), nullptr)) {
        handleStoreModsForwards(s.nextNodeTime_);
        return;
    }
    if (s.pendingValid_) {
        s.samplesToNextNode_ = s.pendingSamplesToNextNode_;
        s.level_ = s.pendingLevel_;
        s.levelDelta_ = s.pendingLevelDelta_;
        s.atEnd_ = s.pendingAtEnd_;
        s.nextNodeTime_ = s.pendingNextNodeTime_;
        s.pendingValid_ = false;
        return;
    }
    const Store::NodeSet& nodes = s.store_->nodeStore_;
    while (s.samplesToNextNode_ == 0 && !s.atEnd_) {
        const Store::NodePos cur = s.nodeIter_;
        if (cur.isEnd())
            assertionReport("iter != state_.store_->nodeStore_.end()", "ole/AudAtoms/Aud__DynamicLevelControl", 1276);
        const Store::NodePos next = nodes.next(cur);
        if (next == cur) {  // stepping from the end does not move
            handleStoreModsForwards(s.nextNodeTime_);
            return;
        }
        s.nodeIter_ = next;
        const Store::Node& c = nodes.at(cur);
        if (next.isEnd()) {
            s.level_ = c.level;
            s.atEnd_ = true;
            s.levelDelta_ = 0.0f;
            s.samplesToNextNode_ = 0;
            return;
        }
        const Store::Node& n = nodes.at(next);
        s.nextNodeTime_ = n.getTime();
        s.level_ = c.level;  // the level snaps to each node's own value
        s.samplesToNextNode_ = sampleCount((s.nextNodeTime_ - c.time) * s.sampleRate_);
        if (s.samplesToNextNode_ != 0) {
            s.levelDelta_ = (n.level - c.level) / s.samplesToNextNode_;
            return;
        }
        s.levelDelta_ = 0.0f;  // nodes closer than one sample: on to the following one
    }
}

void DynamicLevelApplyingIteratorBase::moveToNextNodeReverse() {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (s.store_->queryModification(clientKey(), nullptr)) {
        handleStoreModsReverse(s.nextNodeTime_);
        return;
    }
    if (s.pendingValid_) {
        s.samplesToNextNode_ = s.pendingSamplesToNextNode_;
        s.level_ = s.pendingLevel_;
        s.levelDelta_ = s.pendingLevelDelta_;
        s.atEnd_ = s.pendingAtEnd_;
        s.nextNodeTime_ = s.pendingNextNodeTime_;
        s.pendingValid_ = false;
        return;
    }
    const Store::NodeSet& nodes = s.store_->nodeStore_;
    while (s.samplesToNextNode_ == 0 && !s.atEnd_) {
        const Store::NodePos cur = s.nodeIter_;
        if (cur.isEnd() || nodes.isBegin(cur)) {
            // At the first node (or, defensively, with no node to step back from) the
            // walk is over: the level holds from here on.
            if (!cur.isEnd()) s.level_ = nodes.at(cur).level;
            s.atEnd_ = true;
            s.levelDelta_ = 0.0f;
            s.samplesToNextNode_ = 0;
            return;
        }
        const Store::NodePos prev = nodes.prev(cur);
        s.nodeIter_ = prev;
        const Store::Node& c = nodes.at(cur);
        const Store::Node& p = nodes.at(prev);
        s.nextNodeTime_ = p.getTime();
        s.level_ = c.level;
        s.samplesToNextNode_ = sampleCount((c.time - s.nextNodeTime_) * s.sampleRate_);
        if (s.samplesToNextNode_ != 0) {
            s.levelDelta_ = (p.level - c.level) / s.samplesToNextNode_;
            return;
        }
        s.levelDelta_ = 0.0f;
    }
}

void DynamicLevelApplyingIteratorBase::takeOverGlide(const DynamicLevelApplyingIteratorState& edited,
                                                      double glideEnd) {
    DynamicLevelApplyingIteratorState& s = state_;
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

void DynamicLevelApplyingIteratorBase::handleStoreModsForwards(double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (!s.store_->queryModification(clientKey(), nullptr)) return;
    s.store_->acknowledgeModification(clientKey(), nullptr);
    DynamicLevelApplyingIteratorState edited;  // a reader of its own
    DynamicLevelApplyingIteratorBase(edited).configureForwards(s.store_, s.sampleRate_, t + kGlideTime);
    takeOverGlide(edited, t + kGlideTime);
}

void DynamicLevelApplyingIteratorBase::handleStoreModsReverse(double t) {
    DynamicLevelApplyingIteratorState& s = state_;
    if (!s.store_) return;
    CriticalSectionGuard lock(s.store_->cs_);
    if (!s.store_->queryModification(clientKey(), nullptr)) return;
    s.store_->acknowledgeModification(clientKey(), nullptr);
    DynamicLevelApplyingIteratorState edited;
    DynamicLevelApplyingIteratorBase(edited).configureReverse(s.store_, s.sampleRate_, t - kGlideTime);
    takeOverGlide(edited, t - kGlideTime);
}

} // namespace DynamicLevelControl
} // namespace Aud
