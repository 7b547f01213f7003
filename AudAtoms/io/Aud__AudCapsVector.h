// Aud::AudCapsVector<Info, Enum>: a list of capability handles (connection types, sync
// source types) with a look-up by type. Info must offer type() returning Enum (and
// answering for an invalid handle without a report).
//
// find(type) is the index of the first handle of that type, or size() when none is;
// operator[](type) is a copy of that handle, or a default (invalid) handle. Indexing by
// position (operator[](size_t)) stays available. Threads: as std::vector; look-ups
// do not allocate.
#pragma once

#include <cstddef>
#include <vector>

namespace Aud {

template <class Info, class Enum>
class AudCapsVector : public std::vector<Info> {
public:
    using std::vector<Info>::vector;
    using std::vector<Info>::operator[];

    AudCapsVector() = default;
    AudCapsVector(const std::vector<Info>& v) : std::vector<Info>(v) {}

    std::size_t find(Enum type) const {
        std::size_t i = 0;
        for (; i < this->size(); ++i)
            if ((*this)[i].type() == type) break;
        return i;
    }

    Info operator[](Enum type) const {
        const std::size_t i = find(type);
        return i < this->size() ? (*this)[i] : Info();
    }
    // Also for non-const lists, so that a type never competes with a position.
    Info operator[](Enum type) { return static_cast<const AudCapsVector&>(*this)[type]; }
};

}  // namespace Aud
