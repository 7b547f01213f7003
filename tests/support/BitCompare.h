// Bit-level comparison of floating-point results, shared by the suites that hold a
// computation to the exact bits of a reference.
//
// bitsOf / floatFromBits: a value's bit pattern and back (signed zeros, NaN payloads and
// subnormals kept).
// sameBits: the two sides hold the same bit patterns, except that any NaN equals any
// NaN (which NaN payload survives an operation on two NaNs depends on operand order,
// which the compiler may swap). On a difference the message names the first differing
// index with both values and their bits; buffers of different lengths differ.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <span>

namespace audatoms::test {

std::uint32_t bitsOf(float f);
std::uint64_t bitsOf(double d);
float floatFromBits(std::uint32_t bits);

testing::AssertionResult sameBits(std::span<const float> got, std::span<const float> want);
testing::AssertionResult sameBits(float got, float want);

}  // namespace audatoms::test
