// IdStamp: the host's process-unique identifier. Default construction makes a fresh
// id (thread-safe, never repeated in the process; a later id orders after an earlier
// one made on the same thread); invalidate() turns it into the
// invalid id, which compares equal to every other invalid id and below all valid ones.
#pragma once

#include "platform/AudPlatformExport.h"

#include <cstdint>
#include <functional>

class AUDPLATFORM_EXPORT IdStamp {
public:
    IdStamp();
    static IdStamp invalidId() {
        IdStamp s(0);
        return s;
    }

    bool valid() const { return value_ != 0; }
    void invalidate() { value_ = 0; }
    // Negative, 0 or positive as this id orders before, equal to or after the other.
    int compare(const IdStamp& o) const { return value_ < o.value_ ? -1 : value_ > o.value_ ? 1 : 0; }
    std::uint64_t value() const { return value_; }

    bool operator==(const IdStamp& o) const { return value_ == o.value_; }
    bool operator!=(const IdStamp& o) const { return value_ != o.value_; }
    bool operator<(const IdStamp& o) const { return value_ < o.value_; }

private:
    explicit IdStamp(std::uint64_t v) : value_(v) {}
    std::uint64_t value_;
};

template <>
struct std::hash<IdStamp> {
    std::size_t operator()(const IdStamp& s) const noexcept { return std::hash<std::uint64_t>()(s.value()); }
};
