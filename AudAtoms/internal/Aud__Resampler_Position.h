// Internal: the resampler's read position, kept in whole numbers so that it never
// drifts. The position of the next output frame is k0 + phase / L input frames (in the
// history's own numbering, which includes the silence in front of the stream); every
// output frame moves it on by exactly M / L. `rem` is (input frames consumed * L) mod M,
// the part of the next output not yet due. Shared by the resampler and its tests, so the
// long no-drift check runs this very code. Plain value; no allocation.
#pragma once

#include <cstdint>

namespace Aud::ResamplerPosition {

struct Position {
    std::uint64_t k0 = 0;
    std::uint64_t phase = 0;  // 0 .. L-1
    std::uint64_t rem = 0;    // 0 .. M-1

    // Takes n more input frames (n * L below 2^63); returns the output frames now due.
    std::uint64_t consume(std::uint64_t n, std::uint64_t L, std::uint64_t M) {
        const std::uint64_t total = rem + n * L;
        rem = total % M;
        return total / M;
    }
    // Moves on by one output frame (M / L input frames; M <= 8 L).
    void step(std::uint64_t L, std::uint64_t M) {
        phase += M;
        while (phase >= L) {
            phase -= L;
            ++k0;
        }
    }
};

}  // namespace Aud::ResamplerPosition
