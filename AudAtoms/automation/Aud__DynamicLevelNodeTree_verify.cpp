// NodeTree's structural self-check, used by the tests.
#include "AudAtoms/automation/Aud__DynamicLevelNodeTree.h"

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include <limits>

namespace Aud {
namespace DynamicLevelControl {

template <class T>
std::string NodeTree<T>::verify() const {
    if (!root_) {
        if (size_ != 0 || first_ || last_ || height_ != 0) return "empty tree with state";
        return std::string();
    }
    if (root_->parent) return "root has a parent";
    const Leaf* expectNext = first_;
    std::size_t values = 0;
    const double inf = std::numeric_limits<double>::infinity();
    std::string why = verifyNode(root_, height_, -inf, inf, expectNext, values);
    if (!why.empty()) return why;
    if (expectNext != nullptr) return "leaf chain longer than the tree";
    if (values != size_) return "size mismatch";
    if (last_->next != nullptr || first_->prev != nullptr) return "chain ends not null";
    return std::string();
}

template <class T>
std::string NodeTree<T>::verifyNode(const Base* node, unsigned level, double lo, double hi, const Leaf*& expectNext,
                                    std::size_t& values) const {
    const bool isRoot = node == root_;
    if (level == 0) {
        const Leaf* leaf = static_cast<const Leaf*>(node);
        if (leaf != expectNext) return "leaf chain out of order";
        if (leaf->count == 0 || leaf->count > kLeafCapacity) return "leaf count out of range";
        if (!isRoot && leaf->count < kLeafMinimum) return "leaf underfull";
        if (leaf->next && leaf->next->prev != leaf) return "leaf back link broken";
        if (leaf == last_ && leaf->next) return "last leaf has a successor";
        for (unsigned i = 0; i < leaf->count; ++i) {
            double t = leaf->items[i].time;
            if (t < lo || t > hi) return "value outside its separators";
            if (i > 0 && t < leaf->items[i - 1].time) return "leaf values out of order";
        }
        if (leaf->prev && leaf->items[0].time < leaf->prev->items[leaf->prev->count - 1].time)
            return "values out of order across leaves";
        values += leaf->count;
        expectNext = leaf->next;
        return std::string();
    }
    const Inner* in = static_cast<const Inner*>(node);
    if (in->count < (isRoot ? 2u : kInnerMinimum) || in->count > kInnerCapacity) return "inner count out of range";
    for (unsigned i = 0; i < in->count; ++i) {
        if (in->children[i]->parent != in) return "parent link broken";
        if (i >= 2 && in->keys[i] < in->keys[i - 1]) return "separators out of order";
        if (i >= 1 && (in->keys[i] < lo || in->keys[i] > hi)) return "separator outside its parent's range";
        double clo = i == 0 ? lo : in->keys[i];
        double chi = i + 1 < in->count ? in->keys[i + 1] : hi;
        std::string why = verifyNode(in->children[i], level - 1, clo, chi, expectNext, values);
        if (!why.empty()) return why;
    }
    return std::string();
}

template std::string NodeTree<Store::Node>::verify() const;

}  // namespace DynamicLevelControl
}  // namespace Aud
