// NodeTree<T>: the ordered multiset behind a level store (Store::nodeStore_).
//
// Values are ordered by their `time` member (double, time-line units, raw time);
// values of equal time keep their insertion order. They live in a B+tree whose leaves
// hold up to kLeafCapacity values in one contiguous array and are linked in order, so
// a search touches a handful of cache lines even at millions of values.
//
// Costs (n values): lowerBound / upperBound O(log n); insert / erase O(log n) plus
// moving at most one leaf's worth of values; next / prev / begin / end / size O(1).
//
// Positions: a Pos is (leaf, slot). It stays valid until the next insert, erase or
// clear (any of them may move values between leaves); structureVersion() changes
// whenever that happens, so holders of a Pos can tell. Changing a value's time in
// place (retime) or any other field does not move it.
//
// Memory: reading never allocates; insert may allocate a leaf or an inner node, erase
// may free them. Not thread-safe: the owning Store serialises all access with its lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Aud {
namespace DynamicLevelControl {

template <class T>
class NodeTree {
public:
    static constexpr unsigned kLeafCapacity = 32;
    static constexpr unsigned kInnerCapacity = 32;
    // A node below the root keeps at least this many entries (values or children).
    static constexpr unsigned kLeafMinimum = kLeafCapacity / 4;
    static constexpr unsigned kInnerMinimum = kInnerCapacity / 4;

    struct Inner;
    struct Base {
        Inner* parent = nullptr;
        unsigned count = 0;
    };
    struct Leaf : Base {
        Leaf* prev = nullptr;
        Leaf* next = nullptr;
        T items[kLeafCapacity];
    };
    // keys[i] (i >= 1) separates children[i - 1] and children[i]: every value below
    // children[i - 1] is <= keys[i] <= every value below children[i]. keys[0] is unused.
    struct Inner : Base {
        double keys[kInnerCapacity];
        Base* children[kInnerCapacity];
    };

    struct Pos {
        Leaf* leaf = nullptr;  // null: the end position
        unsigned slot = 0;
        bool isEnd() const { return leaf == nullptr; }
        friend bool operator==(const Pos&, const Pos&) = default;
    };

    NodeTree() = default;
    ~NodeTree();
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    std::uint64_t structureVersion() const { return version_; }

    Pos begin() const { return size_ ? Pos{first_, 0} : Pos{}; }
    Pos end() const { return Pos{}; }
    Pos last() const { return size_ ? Pos{last_, last_->count - 1} : Pos{}; }
    bool isBegin(Pos p) const { return p.leaf != nullptr && p.leaf == first_ && p.slot == 0; }

    // The value at a position that is not the end.
    T& at(Pos p) const { return p.leaf->items[p.slot]; }

    // One step forwards (end stays end) or backwards (end goes to the last value;
    // the first value stays where it is).
    Pos next(Pos p) const {
        if (p.leaf == nullptr) return p;
        if (p.slot + 1 < p.leaf->count) return Pos{p.leaf, p.slot + 1};
        return p.leaf->next ? Pos{p.leaf->next, 0} : Pos{};
    }
    Pos prev(Pos p) const {
        if (p.leaf == nullptr) return last();
        if (p.slot > 0) return Pos{p.leaf, p.slot - 1};
        return p.leaf->prev ? Pos{p.leaf->prev, p.leaf->prev->count - 1} : p;
    }

    // First value whose time is not less than t / greater than t (end when none).
    Pos lowerBound(double t) const { return bound(t, false); }
    Pos upperBound(double t) const { return bound(t, true); }

    // Inserts after every value of equal time; returns the new value's position.
    Pos insert(const T& value);
    // Inserts immediately before `before` (the end: after the last value). The caller
    // guarantees order: prev(before).time <= value.time <= at(before).time.
    Pos insertBefore(Pos before, const T& value);
    // Removes the value at p (not the end); returns the position of the value that
    // followed it, or the end.
    Pos erase(Pos p);
    void clear();

    // Sets the time of the value at p in place. The caller guarantees order:
    // prev(p).time <= t <= next(p).time.
    void retime(Pos p, double t);

    // Structural self-check for tests: order, separators, links, counts, occupancy.
    // Returns an empty string when sound, else what is wrong.
    std::string verify() const;
    unsigned height() const { return height_; }

private:
    Leaf* descend(double t, bool upper) const;
    Pos bound(double t, bool upper) const;
    static unsigned slotIn(const Leaf* leaf, double t, bool upper);
    // Inner nodes allocated ahead of a split, so that a failed allocation leaves the
    // tree untouched; whatever is not used is freed.
    struct Spares {
        Inner* inners[32];
        unsigned count = 0;
        Inner* take() { return inners[--count]; }
        ~Spares() {
            while (count) delete inners[--count];
        }
    };

    Pos insertAt(Leaf* leaf, unsigned slot, const T& value);
    void insertChild(Inner* parent, Base* left, double key, Base* right, Spares& spares);
    void removeChildAt(Inner* parent, unsigned index);
    void rebalanceLeaf(Leaf* leaf, Pos& track);
    void rebalanceInner(Inner* node);
    void unlinkLeaf(Leaf* leaf);
    double* separatorOf(Base* node) const;
    static unsigned indexOf(const Inner* parent, const Base* child);
    void destroy(Base* node, unsigned level);
    std::string verifyNode(const Base* node, unsigned level, double lo, double hi, const Leaf*& expectNext,
                           std::size_t& values) const;

    Base* root_ = nullptr;
    Leaf* first_ = nullptr;
    Leaf* last_ = nullptr;
    std::size_t size_ = 0;
    unsigned height_ = 0;  // number of inner levels above the leaves
    std::uint64_t version_ = 0;
};

}  // namespace DynamicLevelControl
}  // namespace Aud
