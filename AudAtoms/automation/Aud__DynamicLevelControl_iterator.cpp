// Level store: Store::iterator, and moving a node along the time line.
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

namespace Aud {
namespace DynamicLevelControl {

namespace {
constexpr double kSamePoint = 1e-6;
constexpr double kMoveMargin = 0.005;  // nodes this close to a moved node's old place stay

const Store::Node& noNode() {
    static const Store::Node none;
    return none;
}
}  // namespace

// ---- re-finding positions (lock held) -------------------------------------------

std::uint32_t Store::rankOf(NodePos p) const {
    std::uint32_t rank = 0;
    const double t = nodeStore_.at(p).time;
    for (NodePos q = p; !nodeStore_.isBegin(q);) {
        q = nodeStore_.prev(q);
        if (nodeStore_.at(q).time != t) break;
        ++rank;
    }
    return rank;
}

Store::NodePos Store::locate(double time, std::uint32_t rank) const {
    NodePos p = nodeStore_.lowerBound(time);
    for (std::uint32_t i = 0; i < rank && !p.isEnd(); ++i) {
        const NodePos q = nodeStore_.next(p);
        if (q.isEnd() || nodeStore_.at(q).time != time) break;
        p = q;
    }
    return p;
}

// ---- iterator -----------------------------------------------------------------------

Store::iterator::iterator(const Store* store, NodePos pos) : valid_(1), store_(const_cast<Store*>(store)) {
    remember(pos);
}

void Store::iterator::remember(NodePos pos) const {
    pos_ = pos;
    version_ = store_->nodeStore_.structureVersion();
    if (!pos.isEnd()) {
        time_ = store_->nodeStore_.at(pos).time;
        rank_ = store_->rankOf(pos);
    }
}

Store::NodePos Store::iterator::pos() const {
    if (!isValid()) return NodePos{};
    CriticalSectionGuard lock(store_->cs_);
    if (version_ != store_->nodeStore_.structureVersion()) {
        if (pos_.isEnd()) version_ = store_->nodeStore_.structureVersion();
        else remember(store_->locate(time_, rank_));
    }
    return pos_;
}

bool Store::iterator::isEnd() const { return pos().isEnd(); }

Store::iterator& Store::iterator::operator++() {
    if (!isValid()) return *this;
    CriticalSectionGuard lock(store_->cs_);
    remember(store_->nodeStore_.next(pos()));
    return *this;
}

Store::iterator& Store::iterator::operator--() {
    if (!isValid()) return *this;
    CriticalSectionGuard lock(store_->cs_);
    remember(store_->nodeStore_.prev(pos()));
    return *this;
}

Store::iterator Store::iterator::operator++(int) {
    iterator before = *this;
    ++*this;
    return before;
}

Store::iterator Store::iterator::operator--(int) {
    iterator before = *this;
    --*this;
    return before;
}

bool Store::iterator::operator==(const iterator& o) const {
    if (!isValid() || !o.isValid()) return isValid() == o.isValid();
    if (store_ != o.store_) return false;
    CriticalSectionGuard lock(store_->cs_);
    return pos() == o.pos();
}

const Store::Node& Store::iterator::getNode() const {
    if (!isValid()) return noNode();
    CriticalSectionGuard lock(store_->cs_);
    const NodePos p = pos();
    return p.isEnd() ? noNode() : store_->nodeStore_.at(p);
}

// The node to change (lock held), after the modification notice; null at the end.
Store::Node* Store::iterator::nodeForEdit(NodePos* where) const {
    const NodePos p = pos();
    if (p.isEnd()) return nullptr;
    store_->setModified();
    if (where) *where = p;
    return &store_->nodeStore_.at(p);
}

void Store::iterator::setLevel(float level) {
    if (!isValid()) return;
    CriticalSectionGuard lock(store_->cs_);
    NodePos p;
    Node* node = nodeForEdit(&p);
    if (!node) return;
    node->level = level;
    if (node->type == kEndGuard) return;
    NodeSet& nodes = store_->nodeStore_;
    const NodePos after = nodes.next(p);
    if (!after.isEnd() && nodes.at(after).type == kEndGuard) nodes.at(after).level = level;
    if (!nodes.isBegin(p) && nodes.at(nodes.prev(p)).type == kStartGuard) nodes.at(nodes.prev(p)).level = level;
}

void Store::iterator::setNodeType(eNodeType type) {
    if (!isValid()) return;
    CriticalSectionGuard lock(store_->cs_);
    if (Node* node = nodeForEdit(nullptr)) node->type = type;
}

void Store::iterator::setInAudioBlackSection(bool black) {
    if (!isValid()) return;
    CriticalSectionGuard lock(store_->cs_);
    if (Node* node = nodeForEdit(nullptr)) node->inAudioBlack = black;
}

void Store::iterator::setTime(double t) {
    if (!isValid()) return;
    store_->moveNode(*this, t);
}

// Moves the iterator's node to raw time t. Nodes the move passes over are erased
// (without adjustment), except those within 0.005 of the old place. Where such a kept
// node would end up on the wrong side of the moved one, the moved node is re-placed
// so that the store stays in time order.
void Store::moveNode(const iterator& it, double t) {
    CriticalSectionGuard lock(cs_);
    NodePos p = it.pos();
    if (p.isEnd()) return;
    const double old = nodeStore_.at(p).time;
    if (t == old) return;
    setModified();

    if (nodeStore_.size() > 1) {
        const NodePos after = nodeStore_.next(p);
        bool crosses;
        if (nodeStore_.isBegin(p)) crosses = !(t < nodeStore_.at(after).time);
        else if (after.isEnd()) crosses = !(t > nodeStore_.at(nodeStore_.prev(p)).time);
        else crosses = !(nodeStore_.at(nodeStore_.prev(p)).time < t && t < nodeStore_.at(after).time);
        if (crosses) {
            const std::uint32_t rank = rankOf(p);
            if (t > old) eraseTimes(old + kMoveMargin, t + kSamePoint);
            else eraseTimes(t - kSamePoint, old - kMoveMargin);
            p = locate(old, rank);  // neither range contains the old time
        }
    }

    const NodePos after = nodeStore_.next(p);
    const bool fitsBefore = nodeStore_.isBegin(p) || !(t < nodeStore_.at(nodeStore_.prev(p)).time);
    const bool fitsAfter = after.isEnd() || !(nodeStore_.at(after).time < t);
    if (fitsBefore && fitsAfter) {
        nodeStore_.retime(p, t);
        it.remember(p);
        return;
    }
    Node moved = nodeStore_.at(p);
    moved.time = t;
    nodeStore_.erase(p);
    it.remember(t > old ? nodeStore_.insert(moved) : nodeStore_.insertBefore(nodeStore_.lowerBound(t), moved));
}

}  // namespace DynamicLevelControl
}  // namespace Aud
