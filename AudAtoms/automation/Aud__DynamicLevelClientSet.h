// FlatSet<T>: a small ordered set kept in one sorted array, for the acknowledged
// readers of a level store (a handful of entries).
//
// contains / insert / clear by operator< and operator== of T; insert is O(size).
// Memory: clear() keeps the array's capacity, and insert allocates only when the set
// outgrows it, so a set that was reserved ahead (see reserveAhead) takes new entries
// without allocating. That is what lets the audio thread acknowledge a store.
// Not thread-safe: the owning Store serialises access with its lock.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Aud {
namespace DynamicLevelControl {

template <class T>
class FlatSet {
public:
    explicit FlatSet(std::size_t initialCapacity) { items_.reserve(initialCapacity); }

    bool contains(const T& v) const {
        auto it = std::lower_bound(items_.begin(), items_.end(), v);
        return it != items_.end() && *it == v;
    }
    void insert(const T& v) {
        auto it = std::lower_bound(items_.begin(), items_.end(), v);
        if (it == items_.end() || !(*it == v)) items_.insert(it, v);
    }
    // Empties the set; when it was more than half full, first doubles the capacity so
    // that the next round of inserts (often on another thread) does not allocate.
    void clear() {
        if (items_.size() * 2 > items_.capacity()) items_.reserve(items_.capacity() * 2);
        items_.clear();
    }
    std::size_t size() const { return items_.size(); }
    std::size_t capacity() const { return items_.capacity(); }

private:
    std::vector<T> items_;
};

}  // namespace DynamicLevelControl
}  // namespace Aud
