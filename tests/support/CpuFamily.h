// The CPU facts the instruction-set choices depend on, read from the CPU here on their
// own (cpuid), so that tests check the library's choice against an independent answer.
#pragma once

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace audatoms::test {

// AMD family 19h: the processors whose AVX-512 runs 512-bit operations as two halves.
inline bool isAmdFamily19h() {
#if defined(__x86_64__)
    unsigned a = 0, b = 0, c = 0, d = 0;
    __cpuid(0, a, b, c, d);
    const bool amd = b == 0x68747541u && d == 0x69746e65u && c == 0x444d4163u;  // "AuthenticAMD"
    __cpuid(1, a, b, c, d);
    const unsigned base = (a >> 8) & 0xFu;
    return amd && (base == 0xFu ? base + ((a >> 20) & 0xFFu) : base) == 0x19u;
#else
    return false;
#endif
}

}  // namespace audatoms::test
