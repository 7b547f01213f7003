// Internal: scalar helpers of the peak scans, shared by the reference table and the
// tails of the vectorised ones. Everything has internal linkage and no standard
// library templates are instantiated here, so the instruction-set files (compiled with
// their own flags) never share a definition with the baseline code.
#pragma once

#include "AudAtoms/internal/ByteAccess.h"

#include <cstdint>
#include <cstring>

namespace {

// Bits 12..27 of a subframe word as signed 16-bit; bits 4..27 as signed 24-bit.
inline std::int32_t aes16Of(std::uint32_t word) { return std::int16_t(word >> 12); }
inline std::int32_t aes24Of(std::uint32_t word) { return std::int32_t(word << 4) >> 8; }

// The value with its sign bit cleared (NaN stays NaN).
inline float clearSign(float v) {
    std::uint32_t b;
    std::memcpy(&b, &v, 4);
    b &= 0x7FFFFFFFu;
    std::memcpy(&v, &b, 4);
    return v;
}
inline double clearSign(double v) {
    std::uint64_t b;
    std::memcpy(&b, &v, 8);
    b &= 0x7FFFFFFFFFFFFFFFull;
    std::memcpy(&v, &b, 8);
    return v;
}

template <class T>
T largerOf(T a, T b) {
    return a < b ? b : a;
}
template <class T>
T smallerOf(T a, T b) {
    return b < a ? b : a;
}

}  // namespace
