// Level store: nodes, lookups and the modification protocol.
#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include "platform/FrameRate.h"
#include "platform/ValCompare.h"

#include <cmath>
#include <cstdint>
#include <utility>

namespace Aud {
namespace DynamicLevelControl {

namespace {
constexpr double kSamePoint = 1e-6;          // times closer than this are one point
constexpr std::size_t kInitialReaders = 64;  // two entries per playing stream and edit

Store::eRangeState classify(float level) {
    if (level == 0.0f) return Store::kRangeSilent;
    if (level == 1.0f) return Store::kRangeUnity;
    return Store::kRangeConstant;
}
}  // namespace

double Store::Node::getTime() const {
    if (type == kEndGuard) return time + 0.25 * Qm::CurrentProject::getFrameDuration();
    return time;
}

bool Store::ModificationClientRec::operator<(const ModificationClientRec& o) const {
    const auto a = reinterpret_cast<std::uintptr_t>(client), b = reinterpret_cast<std::uintptr_t>(o.client);
    if (a != b) return a < b;
    return reinterpret_cast<std::uintptr_t>(cookie) < reinterpret_cast<std::uintptr_t>(o.cookie);
}

Store::Store() : clients_(kInitialReaders) {}

Store::~Store() = default;

Store::iterator Store::begin() const {
    CriticalSectionGuard lock(cs_);
    return makeIterator(nodeStore_.begin());
}

Store::iterator Store::end() const {
    CriticalSectionGuard lock(cs_);
    return makeIterator(nodeStore_.end());
}

std::size_t Store::size() const {
    CriticalSectionGuard lock(cs_);
    return nodeStore_.size();
}

bool Store::empty() const {
    CriticalSectionGuard lock(cs_);
    return nodeStore_.empty();
}

Store::iterator Store::find(double t) const {
    CriticalSectionGuard lock(cs_);
    return makeIterator(nodeStore_.lowerBound(t));
}

Store::iterator Store::iteratorAt(NodePos pos) const {
    CriticalSectionGuard lock(cs_);
    return makeIterator(pos);
}

float Store::getLevelAtTime(double t) const {
    CriticalSectionGuard lock(cs_);
    if (nodeStore_.empty()) return 1.0f;
    const NodePos n = nodeStore_.lowerBound(t - kSamePoint);
    if (n.isEnd()) return nodeStore_.at(nodeStore_.last()).level;
    const Node& next = nodeStore_.at(n);
    const double nextTime = next.getTime();
    if (std::abs(t - nextTime) < kSamePoint) return next.level;
    if (nodeStore_.isBegin(n)) return next.level;
    const Node& prev = nodeStore_.at(nodeStore_.prev(n));
    // Between an end guard and the next section's start guard the level holds.
    if (next.type == kStartGuard && prev.type == kEndGuard && valLessThanVal<double>(t, nextTime)) return prev.level;
    const double prevTime = prev.getTime();
    const float f = static_cast<float>((t - prevTime) / (nextTime - prevTime));
    return prev.level + (next.level - prev.level) * f;
}

bool Store::isInAudioBlackAtTime(double t) const {
    CriticalSectionGuard lock(cs_);
    if (nodeStore_.empty()) return false;
    const NodePos n = nodeStore_.lowerBound(t - kSamePoint);
    if (!n.isEnd() && std::abs(t - nodeStore_.at(n).getTime()) < kSamePoint) return nodeStore_.at(n).inAudioBlack;
    if (nodeStore_.isBegin(n)) return false;
    return nodeStore_.at(nodeStore_.prev(n)).inAudioBlack;
}

Store::eRangeState Store::getRangeState(double t1, double t2, float* level) const {
    CriticalSectionGuard lock(cs_);
    if (t1 > t2) std::swap(t1, t2);
    auto report = [level](float value) {
        if (level) *level = value;
        return classify(value);
    };
    if (nodeStore_.empty()) return report(1.0f);
    if (nodeStore_.size() == 1) return report(nodeStore_.at(nodeStore_.begin()).level);

    NodePos a = nodeStore_.lowerBound(t1);
    if (!nodeStore_.isBegin(a)) a = nodeStore_.prev(a);
    const NodePos b = nodeStore_.lowerBound(t2);
    const float reference = nodeStore_.at(a).level;
    if (a == b) return report(reference);
    if (std::isnan(reference)) return kRangeVarying;
    // Only the nodes strictly between a and b are compared; b's own level is not.
    for (NodePos p = nodeStore_.next(a); p != b; p = nodeStore_.next(p))
        if (nodeStore_.at(p).level != reference) return kRangeVarying;
    return report(reference);
}

void Store::setModified() const {
    CriticalSectionGuard lock(cs_);
    clients_.clear();
}

bool Store::queryModification(void* client, void* cookie) const {
    CriticalSectionGuard lock(cs_);
    return !clients_.contains(ModificationClientRec(client, cookie));
}

void Store::acknowledgeModification(void* client, void* cookie) const {
    CriticalSectionGuard lock(cs_);
    clients_.insert(ModificationClientRec(client, cookie));
}

}  // namespace DynamicLevelControl
}  // namespace Aud
