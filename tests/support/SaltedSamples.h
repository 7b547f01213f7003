// What the kernel comparison tests feed their kernels: a small reproducible generator of
// samples salted with the values that break careless vector code, the canary words they
// surround buffers with, and a readable name for an instruction-set test parameter.
#pragma once

#include "AudAtoms/internal/Aud__CpuFeatures.h"
#include "tests/support/BitCompare.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>

namespace Aud::Cpu {
// GoogleTest's name for an instruction-set parameter: "SSE2", "AVX2", "AVX-512".
inline void PrintTo(eInstructionSet set, std::ostream* os) { *os << name(set); }
}  // namespace Aud::Cpu

namespace audatoms::test {

constexpr std::size_t kGuardFloats = 16;            // floats of canary on each side
constexpr std::uint32_t kCanaryBits = 0x7FBADBADu;  // a signalling NaN no kernel writes

// xorshift64; sample() draws NaNs (one with a sign and payload), infinities, signed
// zeros, subnormals, huge values whose products overflow, full scale, and ordinary
// values in [-2, 2].
struct SaltedRng {
    std::uint64_t s;
    std::uint32_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return static_cast<std::uint32_t>(s >> 11);
    }
    float uniform(float lo, float hi) { return lo + (hi - lo) * static_cast<float>(next() % 1000001u) / 1e6f; }
    float sample() {
        switch (next() % 16) {
        case 0: return std::numeric_limits<float>::quiet_NaN();
        case 1: return floatFromBits(0xFFC00001u);  // negative NaN with a payload
        case 2: return std::numeric_limits<float>::infinity();
        case 3: return -std::numeric_limits<float>::infinity();
        case 4: return 0.0f;
        case 5: return -0.0f;
        case 6: return floatFromBits(next() % 0x007FFFFFu + 1);  // positive subnormal
        case 7: return -floatFromBits(next() % 0x007FFFFFu + 1);
        case 8: return uniform(-3e38f, 3e38f);     // products and sums overflow
        case 9: return next() % 2 ? 1.0f : -1.0f;  // full scale
        default: return uniform(-2.0f, 2.0f);
        }
    }
};

}  // namespace audatoms::test
