// Internal helpers of the library: conversions and sums into int64 that saturate at
// the int64 limits instead of overflowing (NaN converts to 0). Pure, any thread.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace Aud::detail {

// v truncated toward zero, clamped to the int64 range.
inline std::int64_t saturatingTrunc(double v) {
    if (std::isnan(v)) return 0;
    if (v >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
    if (v <= -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
    return std::int64_t(v);
}

// a + b, clamped to the int64 range.
inline std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) {
    std::int64_t r;
    if (!__builtin_add_overflow(a, b, &r)) return r;
    return b > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
}

}  // namespace Aud::detail
