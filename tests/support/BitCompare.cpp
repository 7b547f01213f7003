#include "BitCompare.h"

#include <bit>
#include <cmath>
#include <cstdio>
#include <string>

namespace audatoms::test {

std::uint32_t bitsOf(float f) { return std::bit_cast<std::uint32_t>(f); }
std::uint64_t bitsOf(double d) { return std::bit_cast<std::uint64_t>(d); }
float floatFromBits(std::uint32_t bits) { return std::bit_cast<float>(bits); }

namespace {
bool same(float a, float b) { return (std::isnan(a) && std::isnan(b)) || bitsOf(a) == bitsOf(b); }

std::string describe(float v) {
    char text[64];
    std::snprintf(text, sizeof text, "%.9g (0x%08X)", double(v), unsigned(bitsOf(v)));
    return text;
}
}  // namespace

testing::AssertionResult sameBits(std::span<const float> got, std::span<const float> want) {
    if (got.size() != want.size())
        return testing::AssertionFailure() << "lengths differ: " << got.size() << " vs " << want.size();
    for (std::size_t i = 0; i < got.size(); ++i)
        if (!same(got[i], want[i]))
            return testing::AssertionFailure()
                   << "first difference at index " << i << ": " << describe(got[i]) << " vs " << describe(want[i]);
    return testing::AssertionSuccess();
}

testing::AssertionResult sameBits(float got, float want) {
    if (same(got, want)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << describe(got) << " vs " << describe(want);
}

}  // namespace audatoms::test
