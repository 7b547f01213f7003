#include "AudAtoms/automation/Aud__DynamicLevelNodeTree.h"

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>

namespace Aud {
namespace DynamicLevelControl {

template <class T>
NodeTree<T>::~NodeTree() {
    clear();
}

template <class T>
void NodeTree<T>::destroy(Base* node, unsigned level) {
    if (level == 0) {
        delete static_cast<Leaf*>(node);
        return;
    }
    Inner* in = static_cast<Inner*>(node);
    for (unsigned i = 0; i < in->count; ++i) destroy(in->children[i], level - 1);
    delete in;
}

template <class T>
void NodeTree<T>::clear() {
    if (root_) destroy(root_, height_);
    root_ = nullptr;
    first_ = last_ = nullptr;
    size_ = 0;
    height_ = 0;
    ++version_;
}

template <class T>
unsigned NodeTree<T>::indexOf(const Inner* parent, const Base* child) {
    unsigned i = 0;
    while (i < parent->count && parent->children[i] != child) ++i;
    return i;
}

namespace {
// Starts loading [p, p + bytes) into the cache. A search touches several lines of a
// node one after another; asking for all of them at once lets their misses overlap
// instead of queueing, which is most of a lookup's cost in a store larger than the
// cache.
inline void prefetchBytes(const void* p, std::size_t bytes) {
    const char* c = static_cast<const char*>(p);
    for (std::size_t off = 0; off < bytes; off += 64) __builtin_prefetch(c + off);
}
}  // namespace

// Child to follow for time t: the last child whose separator is below t (lower
// bound) or not above t (upper bound); child 0 when there is none.
template <class T>
typename NodeTree<T>::Leaf* NodeTree<T>::descend(double t, bool upper) const {
    Base* node = root_;
    prefetchBytes(node, height_ > 0 ? sizeof(Inner) : sizeof(Leaf));
    for (unsigned level = height_; level > 0; --level) {
        const Inner* in = static_cast<const Inner*>(node);
        unsigned lo = 1, hi = in->count;  // first separator not below (not above) t
        while (lo < hi) {
            unsigned mid = (lo + hi) / 2;
            bool goRight = upper ? !(t < in->keys[mid]) : in->keys[mid] < t;
            if (goRight) lo = mid + 1;
            else hi = mid;
        }
        node = in->children[lo - 1];
        prefetchBytes(node, level == 1 ? sizeof(Leaf) : sizeof(Inner));
    }
    return static_cast<Leaf*>(node);
}

// First slot of a leaf whose time is not below t (lower) / above t (upper).
template <class T>
unsigned NodeTree<T>::slotIn(const Leaf* leaf, double t, bool upper) {
    unsigned lo = 0, hi = leaf->count;
    while (lo < hi) {
        const unsigned mid = (lo + hi) / 2;
        const bool goRight = upper ? !(t < leaf->items[mid].time) : leaf->items[mid].time < t;
        if (goRight) lo = mid + 1;
        else hi = mid;
    }
    return lo;
}

template <class T>
typename NodeTree<T>::Pos NodeTree<T>::bound(double t, bool upper) const {
    if (!root_) return Pos{};
    Leaf* leaf = descend(t, upper);
    const unsigned slot = slotIn(leaf, t, upper);
    if (slot < leaf->count) return Pos{leaf, slot};
    return leaf->next ? Pos{leaf->next, 0} : Pos{};
}

template <class T>
typename NodeTree<T>::Pos NodeTree<T>::insert(const T& value) {
    if (!root_) {
        Leaf* leaf = new Leaf;
        root_ = first_ = last_ = leaf;
        return insertAt(leaf, 0, value);
    }
    Leaf* leaf = descend(value.time, true);
    return insertAt(leaf, slotIn(leaf, value.time, true), value);
}

template <class T>
typename NodeTree<T>::Pos NodeTree<T>::insertBefore(Pos before, const T& value) {
    if (!root_) return insert(value);
    Leaf* leaf = before.leaf ? before.leaf : last_;
    unsigned slot = before.leaf ? before.slot : last_->count;
    Pos p = insertAt(leaf, slot, value);
    // A new first value of a leaf may lie below the leaf's separator; lowering the
    // separator keeps it valid because the value is not below its predecessor.
    if (p.slot == 0)
        if (double* sep = separatorOf(p.leaf)) *sep = std::min(*sep, value.time);
    return p;
}

template <class T>
typename NodeTree<T>::Pos NodeTree<T>::insertAt(Leaf* leaf, unsigned slot, const T& value) {
    if (leaf->count < kLeafCapacity) {
        ++version_;
        ++size_;
        std::move_backward(leaf->items + slot, leaf->items + leaf->count, leaf->items + leaf->count + 1);
        leaf->items[slot] = value;
        ++leaf->count;
        return Pos{leaf, slot};
    }
    // Split: the upper half moves to a new leaf after this one. Every node the split
    // can need (the leaf, one inner node per full ancestor, perhaps a new root) is
    // allocated before anything changes.
    Spares spares;
    unsigned need = 0;
    Inner* ancestor = leaf->parent;
    while (ancestor && ancestor->count == kInnerCapacity) {
        ++need;
        ancestor = ancestor->parent;
    }
    if (!ancestor) ++need;
    std::unique_ptr<Leaf> newLeaf(new Leaf);
    while (spares.count < need) spares.inners[spares.count++] = new Inner;
    Leaf* right = newLeaf.release();
    ++version_;
    ++size_;
    const unsigned keep = kLeafCapacity / 2;
    std::copy(leaf->items + keep, leaf->items + kLeafCapacity, right->items);
    right->count = kLeafCapacity - keep;
    leaf->count = keep;
    right->next = leaf->next;
    right->prev = leaf;
    if (leaf->next) leaf->next->prev = right;
    else last_ = right;
    leaf->next = right;

    Leaf* target = leaf;
    if (slot > keep) {
        target = right;
        slot -= keep;
    }
    std::move_backward(target->items + slot, target->items + target->count, target->items + target->count + 1);
    target->items[slot] = value;
    ++target->count;
    insertChild(leaf->parent, leaf, right->items[0].time, right, spares);
    return Pos{target, slot};
}

template <class T>
void NodeTree<T>::insertChild(Inner* parent, Base* left, double key, Base* right, Spares& spares) {
    if (!parent) {
        Inner* root = spares.take();
        root->count = 2;
        root->children[0] = left;
        root->children[1] = right;
        root->keys[0] = -std::numeric_limits<double>::infinity();
        root->keys[1] = key;
        left->parent = right->parent = root;
        root_ = root;
        ++height_;
        return;
    }
    unsigned at = indexOf(parent, left) + 1;
    if (parent->count < kInnerCapacity) {
        for (unsigned i = parent->count; i > at; --i) {
            parent->children[i] = parent->children[i - 1];
            parent->keys[i] = parent->keys[i - 1];
        }
        parent->children[at] = right;
        parent->keys[at] = key;
        ++parent->count;
        right->parent = parent;
        return;
    }
    // Split a full inner node: lay the kInnerCapacity + 1 entries out in order, keep
    // the first half, move the rest to a new node; the separator in front of the new
    // node's first child goes up to the grandparent.
    double keys[kInnerCapacity + 1];
    Base* children[kInnerCapacity + 1];
    for (unsigned i = 0, j = 0; i <= kInnerCapacity; ++i) {
        if (i == at) {
            keys[i] = key;
            children[i] = right;
        } else {
            keys[i] = parent->keys[j];
            children[i] = parent->children[j];
            ++j;
        }
    }
    const unsigned keep = (kInnerCapacity + 1) / 2;
    Inner* sibling = spares.take();
    for (unsigned i = 0; i < keep; ++i) {
        parent->keys[i] = keys[i];
        parent->children[i] = children[i];
        children[i]->parent = parent;
    }
    parent->count = keep;
    for (unsigned i = keep; i <= kInnerCapacity; ++i) {
        sibling->keys[i - keep] = keys[i];
        sibling->children[i - keep] = children[i];
        children[i]->parent = sibling;
    }
    sibling->count = kInnerCapacity + 1 - keep;
    const double up = sibling->keys[0];
    sibling->keys[0] = -std::numeric_limits<double>::infinity();
    insertChild(parent->parent, parent, up, sibling, spares);
}

template <class T>
typename NodeTree<T>::Pos NodeTree<T>::erase(Pos p) {
    Leaf* leaf = p.leaf;
    ++version_;
    --size_;
    std::move(leaf->items + p.slot + 1, leaf->items + leaf->count, leaf->items + p.slot);
    --leaf->count;
    Pos following = p.slot < leaf->count ? p : (leaf->next ? Pos{leaf->next, 0} : Pos{});

    if (leaf == root_) {
        if (leaf->count == 0) {
            delete leaf;
            root_ = nullptr;
            first_ = last_ = nullptr;
            return Pos{};
        }
        return following;
    }
    if (leaf->count == 0) {
        Inner* parent = leaf->parent;
        unsigned index = indexOf(parent, leaf);
        unlinkLeaf(leaf);
        delete leaf;
        removeChildAt(parent, index);
        return following;
    }
    if (leaf->count < kLeafMinimum) rebalanceLeaf(leaf, following);
    return following;
}

template <class T>
void NodeTree<T>::unlinkLeaf(Leaf* leaf) {
    if (leaf->prev) leaf->prev->next = leaf->next;
    else first_ = leaf->next;
    if (leaf->next) leaf->next->prev = leaf->prev;
    else last_ = leaf->prev;
}

// An underfull leaf merges with a sibling of the same parent when both fit in one
// leaf, otherwise borrows from it. `track` (a position that may lie in either leaf)
// is moved along with its value.
template <class T>
void NodeTree<T>::rebalanceLeaf(Leaf* leaf, Pos& track) {
    Inner* parent = leaf->parent;
    unsigned index = indexOf(parent, leaf);
    if (index + 1 < parent->count) {
        Leaf* right = static_cast<Leaf*>(parent->children[index + 1]);
        const unsigned oldCount = leaf->count;
        if (leaf->count + right->count <= kLeafCapacity) {
            std::copy(right->items, right->items + right->count, leaf->items + leaf->count);
            leaf->count += right->count;
            if (track.leaf == right) track = Pos{leaf, oldCount + track.slot};
            unlinkLeaf(right);
            delete right;
            removeChildAt(parent, index + 1);
        } else {
            const unsigned k = (right->count - leaf->count) / 2;
            std::copy(right->items, right->items + k, leaf->items + leaf->count);
            leaf->count += k;
            std::move(right->items + k, right->items + right->count, right->items);
            right->count -= k;
            parent->keys[index + 1] = right->items[0].time;
            if (track.leaf == right)
                track = track.slot < k ? Pos{leaf, oldCount + track.slot} : Pos{right, track.slot - k};
        }
    } else if (index > 0) {
        Leaf* left = static_cast<Leaf*>(parent->children[index - 1]);
        const unsigned leftCount = left->count;
        if (left->count + leaf->count <= kLeafCapacity) {
            std::copy(leaf->items, leaf->items + leaf->count, left->items + left->count);
            left->count += leaf->count;
            if (track.leaf == leaf) track = Pos{left, leftCount + track.slot};
            unlinkLeaf(leaf);
            delete leaf;
            removeChildAt(parent, index);
        } else {
            const unsigned k = (left->count - leaf->count) / 2;
            std::move_backward(leaf->items, leaf->items + leaf->count, leaf->items + leaf->count + k);
            std::copy(left->items + left->count - k, left->items + left->count, leaf->items);
            left->count -= k;
            leaf->count += k;
            parent->keys[index] = leaf->items[0].time;
            if (track.leaf == leaf) track.slot += k;
        }
    }
}

template <class T>
void NodeTree<T>::removeChildAt(Inner* parent, unsigned index) {
    for (unsigned i = index; i + 1 < parent->count; ++i) {
        parent->children[i] = parent->children[i + 1];
        parent->keys[i] = parent->keys[i + 1];
    }
    --parent->count;
    parent->keys[0] = -std::numeric_limits<double>::infinity();
    if (parent == root_) {
        if (parent->count == 1) {
            root_ = parent->children[0];
            root_->parent = nullptr;
            --height_;
            delete parent;
        }
        return;
    }
    if (parent->count < kInnerMinimum) rebalanceInner(parent);
}

template <class T>
void NodeTree<T>::rebalanceInner(Inner* node) {
    Inner* parent = node->parent;
    unsigned index = indexOf(parent, node);
    if (index + 1 < parent->count) {
        Inner* right = static_cast<Inner*>(parent->children[index + 1]);
        if (node->count + right->count <= kInnerCapacity) {
            for (unsigned i = 0; i < right->count; ++i) {
                node->keys[node->count + i] = i == 0 ? parent->keys[index + 1] : right->keys[i];
                node->children[node->count + i] = right->children[i];
                right->children[i]->parent = node;
            }
            node->count += right->count;
            delete right;
            removeChildAt(parent, index + 1);
        } else {
            const unsigned k = (right->count - node->count) / 2;
            for (unsigned i = 0; i < k; ++i) {
                node->keys[node->count + i] = i == 0 ? parent->keys[index + 1] : right->keys[i];
                node->children[node->count + i] = right->children[i];
                right->children[i]->parent = node;
            }
            node->count += k;
            parent->keys[index + 1] = right->keys[k];
            for (unsigned i = k; i < right->count; ++i) {
                right->keys[i - k] = right->keys[i];
                right->children[i - k] = right->children[i];
            }
            right->count -= k;
            right->keys[0] = -std::numeric_limits<double>::infinity();
        }
    } else if (index > 0) {
        Inner* left = static_cast<Inner*>(parent->children[index - 1]);
        if (left->count + node->count <= kInnerCapacity) {
            for (unsigned i = 0; i < node->count; ++i) {
                left->keys[left->count + i] = i == 0 ? parent->keys[index] : node->keys[i];
                left->children[left->count + i] = node->children[i];
                node->children[i]->parent = left;
            }
            left->count += node->count;
            delete node;
            removeChildAt(parent, index);
        } else {
            const unsigned k = (left->count - node->count) / 2;
            for (unsigned i = node->count; i-- > 0;) {
                node->keys[i + k] = node->keys[i];
                node->children[i + k] = node->children[i];
            }
            node->keys[k] = parent->keys[index];
            for (unsigned i = 0; i < k; ++i) {
                node->children[i] = left->children[left->count - k + i];
                node->keys[i] = left->keys[left->count - k + i];
                node->children[i]->parent = node;
            }
            parent->keys[index] = node->keys[0];
            node->keys[0] = -std::numeric_limits<double>::infinity();
            node->count += k;
            left->count -= k;
        }
    }
}

// The separator in front of a node: the key, in the nearest ancestor, of the first
// branch that is not its parent's first child. Null for the leftmost path.
template <class T>
double* NodeTree<T>::separatorOf(Base* node) const {
    Base* child = node;
    for (Inner* parent = child->parent; parent; parent = child->parent) {
        unsigned i = indexOf(parent, child);
        if (i > 0) return &parent->keys[i];
        child = parent;
    }
    return nullptr;
}

template <class T>
void NodeTree<T>::retime(Pos p, double t) {
    p.leaf->items[p.slot].time = t;
    if (p.slot == 0)
        if (double* sep = separatorOf(p.leaf)) *sep = std::min(*sep, t);
    if (p.slot + 1 == p.leaf->count && p.leaf->next)
        if (double* sep = separatorOf(p.leaf->next)) *sep = std::max(*sep, t);
}

template class NodeTree<Store::Node>;

}  // namespace DynamicLevelControl
}  // namespace Aud
