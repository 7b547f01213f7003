// Damaged copies of a persisted file, for reader tests: the file cut at every byte
// (lengths 0 to size-1), and every single bit of its first 512 bytes flipped. Each
// copy is handed to `read`, which checks what the reader made of it.
// Header-only, so that the command-line tool's suites use it too.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>

namespace audatoms::test {

struct DamageCounts {
    int truncations = 0;
    int flips = 0;
};

// `what` describes the damage ("cut to 17 bytes", "bit 3 of byte 40 flipped").
inline DamageCounts forEveryDamage(const std::string& good,
                                   const std::function<void(const std::string& bytes, const std::string& what)>& read) {
    DamageCounts n;
    for (std::size_t len = 0; len < good.size(); ++len) {
        read(good.substr(0, len), "cut to " + std::to_string(len) + " bytes");
        ++n.truncations;
    }
    const std::size_t flipBytes = std::min<std::size_t>(good.size(), 512);
    std::string copy = good;
    for (std::size_t i = 0; i < flipBytes; ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            copy[i] = char(static_cast<unsigned char>(good[i]) ^ (1u << bit));
            read(copy, "bit " + std::to_string(bit) + " of byte " + std::to_string(i) + " flipped");
            ++n.flips;
        }
        copy[i] = good[i];
    }
    return n;
}

}  // namespace audatoms::test
