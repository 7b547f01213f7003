// SearchableVector<T>: a growable list (a std::vector) with one lookup, find(value),
// the index of the first element equal to value (operator==), or size() when none is,
// the empty list included. Used for lists of Aud::SampleRate.
// Threads: as std::vector. find neither allocates nor throws.
#pragma once

#include <cstddef>
#include <vector>

template <class T>
class SearchableVector : public std::vector<T> {
public:
    using std::vector<T>::vector;
    SearchableVector() = default;
    SearchableVector(const std::vector<T>& v) : std::vector<T>(v) {}
    SearchableVector(std::vector<T>&& v) : std::vector<T>(std::move(v)) {}

    std::size_t find(const T& value) const {
        const std::size_t n = this->size();
        for (std::size_t i = 0; i < n; ++i)
            if ((*this)[i] == value) return i;
        return n;
    }
};
