// Level store: insertions, erasures, guard adjustment and audio-black sections.
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include <vector>

namespace Aud {
namespace DynamicLevelControl {

namespace {
constexpr double kSamePoint = 1e-6;

bool isGuard(const Store::Node& n) { return n.type == Store::kStartGuard || n.type == Store::kEndGuard; }
}  // namespace

// ---- helpers (lock held) ---------------------------------------------------------

// Removes [lower bound t1, lower bound t2) and returns the lower bound of t2.
Store::NodePos Store::eraseTimes(double t1, double t2) {
    if (!(t1 < t2)) return nodeStore_.lowerBound(t2);
    NodePos p = nodeStore_.lowerBound(t1);
    while (!p.isEnd() && nodeStore_.at(p).time < t2) p = nodeStore_.erase(p);
    return p;
}

// Places a node near a hint the way an ordered multiset does: just before the hint
// when it fits there, just after it when it fits there, else by a full search.
Store::NodePos Store::hintedInsert(NodePos hint, const Node& node) {
    const double t = node.time;
    if (hint.isEnd()) {
        if (!nodeStore_.empty() && !(t < nodeStore_.at(nodeStore_.last()).time))
            return nodeStore_.insertBefore(hint, node);
        return nodeStore_.insert(node);
    }
    if (!(nodeStore_.at(hint).time < t)) {
        if (nodeStore_.isBegin(hint) || !(t < nodeStore_.at(nodeStore_.prev(hint)).time))
            return nodeStore_.insertBefore(hint, node);
        return nodeStore_.insert(node);
    }
    const NodePos after = nodeStore_.next(hint);
    if (after.isEnd() || !(nodeStore_.at(after).time < t)) return nodeStore_.insertBefore(after, node);
    return nodeStore_.insertBefore(nodeStore_.lowerBound(t), node);
}

// The adjusting erase of one node: returns the node that followed it.
Store::NodePos Store::eraseAdjusted(NodePos p) {
    if (p.isEnd()) return p;
    const NodePos r = nodeStore_.erase(p);
    if (r.isEnd() || nodeStore_.isBegin(r)) return r;
    Node& result = nodeStore_.at(r);
    Node& before = nodeStore_.at(nodeStore_.prev(r));
    if (!isGuard(result)) {
        if (before.type == kStartGuard) before.level = result.level;
    } else if (before.type != kStartGuard) {
        result.level = before.level;
    }
    return r;
}

// Guard adjustment around the result of a range erase.
void Store::adjustAfterRangeErase(NodePos r) {
    if (r.isEnd() || nodeStore_.isBegin(r)) return;
    Node& result = nodeStore_.at(r);
    const NodePos b = nodeStore_.prev(r);
    Node& before = nodeStore_.at(b);
    if (!isGuard(result)) {
        if (before.type == kStartGuard && !nodeStore_.isBegin(b)) before.level = result.level;
    } else if (result.type == kEndGuard) {
        if (before.type != kStartGuard && !nodeStore_.isBegin(b)) result.level = before.level;
    }
}

void Store::adjustInserted(NodePos p) {
    Node& node = nodeStore_.at(p);
    const NodePos after = nodeStore_.next(p);
    const bool first = nodeStore_.isBegin(p);
    if (node.type == kStartGuard) {
        if (!after.isEnd()) node.level = nodeStore_.at(after).level;
    } else if (node.type == kEndGuard) {
        if (!first) node.level = nodeStore_.at(nodeStore_.prev(p)).level;
    } else if (node.type == kNormal) {
        if (!after.isEnd() && nodeStore_.at(after).type == kEndGuard) nodeStore_.at(after).level = node.level;
        if (!first && nodeStore_.at(nodeStore_.prev(p)).type == kStartGuard)
            nodeStore_.at(nodeStore_.prev(p)).level = node.level;
    }
}

void Store::adjustAroundCopy(NodePos p) {
    const float level = nodeStore_.at(p).level;
    const NodePos after = nodeStore_.next(p);
    if (!after.isEnd() && nodeStore_.at(after).type == kEndGuard) nodeStore_.at(after).level = level;
    if (!nodeStore_.isBegin(p) && nodeStore_.at(nodeStore_.prev(p)).type == kStartGuard)
        nodeStore_.at(nodeStore_.prev(p)).level = level;
}

// One pass over the store after guards may have lost their neighbours.
void Store::sweepGuards() {
    NodePos prevPos = nodeStore_.begin();
    if (prevPos.isEnd()) return;
    for (NodePos cur = nodeStore_.next(prevPos); !cur.isEnd(); prevPos = cur, cur = nodeStore_.next(cur)) {
        Node& previous = nodeStore_.at(prevPos);
        Node& current = nodeStore_.at(cur);
        if (current.type == kEndGuard && previous.type == kNormal) {
            current.level = previous.level;
        } else if (current.type == kEndGuard && previous.type == kStartGuard) {
            previous.level = 1.0f;  // an emptied section
            current.level = 1.0f;
        } else if (previous.type == kStartGuard && current.type == kNormal) {
            previous.level = current.level;
        }
    }
}

// Steps from first towards last; *reached tells whether last was met (the end
// always is). A last that lies before first is never met.
std::size_t Store::distance(NodePos first, NodePos last, bool* reached) const {
    std::size_t count = 0;
    NodePos p = first;
    while (p != last && !p.isEnd()) {
        p = nodeStore_.next(p);
        ++count;
    }
    *reached = p == last;
    return count;
}

// ---- change with guard adjustment ---------------------------------------------------

Store::iterator Store::insert(const Node& node) {
    CriticalSectionGuard lock(cs_);
    setModified();
    erase(node.time - kSamePoint, node.time + kSamePoint);
    const NodePos p = nodeStore_.insert(node);
    adjustInserted(p);
    return makeIterator(p);
}

Store::iterator Store::insert(iterator hint, const Node& node) {
    CriticalSectionGuard lock(cs_);
    if (!owns(hint)) return insert(node);
    setModified();
    erase(node.time - kSamePoint, node.time + kSamePoint);
    const NodePos p = hintedInsert(hint.pos(), node);  // the hint re-finds its node after the erase
    adjustInserted(p);
    return makeIterator(p);
}

Store::iterator Store::erase(iterator it) {
    CriticalSectionGuard lock(cs_);
    if (!owns(it)) return makeIterator(nodeStore_.end());
    setModified();
    return makeIterator(eraseAdjusted(it.pos()));
}

Store::iterator Store::erase(double t1, double t2) {
    CriticalSectionGuard lock(cs_);
    setModified();
    NodePos r = eraseTimes(t1, t2);
    // The result skips the first surviving node at or after t2 (kept on purpose).
    if (!r.isEnd()) r = nodeStore_.next(r);
    adjustAfterRangeErase(r);
    return makeIterator(r);
}

Store::iterator Store::erase(iterator first, iterator last) {
    CriticalSectionGuard lock(cs_);
    if (!owns(first) || !owns(last)) return makeIterator(nodeStore_.end());
    setModified();
    NodePos p = first.pos();
    const NodePos stop = last.pos();
    bool reached = false;
    std::size_t count = distance(p, stop, &reached);
    if (!reached) p = stop;  // last lies before first: nothing to remove
    else
        while (count-- > 0) p = nodeStore_.erase(p);
    // p is now last's node (or the end); the result is the node after it.
    const NodePos r = p.isEnd() ? p : nodeStore_.next(p);
    adjustAfterRangeErase(r);
    return makeIterator(r);
}

void Store::eraseNonGuard(double t1, double t2) {
    CriticalSectionGuard lock(cs_);
    setModified();
    const double bound = t2 - kSamePoint;
    NodePos p = nodeStore_.lowerBound(t1 - kSamePoint);
    while (!p.isEnd() && nodeStore_.at(p).time < bound)
        p = isGuard(nodeStore_.at(p)) ? nodeStore_.next(p) : eraseAdjusted(p);
}

void Store::eraseNonGuard(iterator first, iterator last) {
    CriticalSectionGuard lock(cs_);
    if (!owns(first) || !owns(last)) return;
    setModified();
    NodePos p = first.pos();
    bool reached = false;
    std::size_t count = distance(p, last.pos(), &reached);
    if (!reached) count = 0;
    while (count-- > 0) p = isGuard(nodeStore_.at(p)) ? nodeStore_.next(p) : nodeStore_.erase(p);
    sweepGuards();
}

void Store::insertRange(iterator first, iterator last) {
    if (!first.isValid() || first.store_ != last.store_) return;
    // Copy the source range under its own store's lock first, so that no operation
    // ever holds two stores' locks.
    std::vector<Node> copies;
    bool validRange = false;
    {
        Store& source = *first.store_;
        CriticalSectionGuard sourceLock(source.cs_);
        const NodePos stop = last.pos();
        NodePos p = first.pos();
        while (p != stop && !p.isEnd()) {
            copies.push_back(source.nodeStore_.at(p));
            p = source.nodeStore_.next(p);
        }
        validRange = p == stop;  // false when last lies before first
        if (!validRange) copies.clear();
    }
    CriticalSectionGuard lock(cs_);
    setModified();
    // Positions of another store mean nothing here: only a range of this store is
    // erased before its copies go back in.
    if (first.store_ == this && validRange) erase(first, last);
    NodePos hint = nodeStore_.begin();
    for (const Node& copy : copies) {
        hint = hintedInsert(hint, copy);
        adjustAroundCopy(hint);
    }
}

// ---- change without adjustment ------------------------------------------------------

Store::iterator Store::insert_noAdjust(const Node& node) {
    CriticalSectionGuard lock(cs_);
    setModified();
    return makeIterator(nodeStore_.insert(node));
}

Store::iterator Store::insert_noAdjust(iterator hint, const Node& node) {
    CriticalSectionGuard lock(cs_);
    if (!owns(hint)) return insert_noAdjust(node);
    setModified();
    return makeIterator(hintedInsert(hint.pos(), node));
}

Store::iterator Store::erase_noAdjust(iterator it) {
    CriticalSectionGuard lock(cs_);
    if (!owns(it)) return makeIterator(nodeStore_.end());
    setModified();
    const NodePos p = it.pos();
    return makeIterator(p.isEnd() ? p : nodeStore_.erase(p));
}

Store::iterator Store::erase_noAdjust(double t1, double t2) {
    CriticalSectionGuard lock(cs_);
    setModified();
    return makeIterator(eraseTimes(t1, t2));
}

void Store::clear() {
    CriticalSectionGuard lock(cs_);
    setModified();
    nodeStore_.clear();
}

void Store::setLevel(const_iterator it, float level) {
    if (!owns(it)) return;
    const NodePos p = it.pos();
    if (!p.isEnd()) nodeStore_.at(p).level = level;
}

// ---- audio-black sections -------------------------------------------------------

void Store::setRangeToBlackSection(double t1, double t2) {
    const double lo = t1 < t2 ? t1 : t2;
    const double hi = t1 < t2 ? t2 : t1;
    const iterator e = find(hi - kSamePoint);
    if (e == end()) return;
    iterator it = find(lo - kSamePoint);
    while (it != e && !it.isEnd()) {
        if (it.isGuardNode()) {
            it.setInAudioBlackSection(true);
            ++it;
        } else {
            it = erase(it);
        }
    }
}

void Store::setRangeToNonBlackSection(double t1, double t2) {
    if (!(t2 >= t1)) return;  // the bounds are not swapped here
    const iterator e = find(t2 - kSamePoint);
    if (e == end()) return;
    for (iterator it = find(t1 - kSamePoint); it != e && !it.isEnd(); ++it) it.setInAudioBlackSection(false);
}

}  // namespace DynamicLevelControl
}  // namespace Aud
