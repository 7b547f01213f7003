// Internal: reading and writing samples of any alignment in the host's (little-endian)
// byte order, shared by the scalar conversions, the scalar kernel tables and the peak
// scans. Everything has internal linkage and no standard library templates are
// instantiated here, so the instruction-set files (compiled with their own flags) never
// share a definition with the baseline code.
// Threads: pure functions; real-time safe.
#pragma once

#include <cstdint>
#include <cstring>

namespace {

// A little-endian T at p (any alignment).
template <class T>
T loadLE(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Writes v at p (any alignment), little-endian.
template <class T>
void storeLE(unsigned char* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

// The low 24 bits of v as a signed value.
inline std::int32_t signExtend24(std::uint32_t v) { return std::int32_t(v << 8) >> 8; }

// Three little-endian bytes, the top one carrying the sign.
inline std::int32_t int24At(const unsigned char* p) {
    return signExtend24(std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16);
}

}  // namespace
