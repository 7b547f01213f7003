// Every kernel table the CPU runs (generic scalar, SSE2, AVX2, AVX-512) against the
// plain scalar reference, bit for bit: all lengths 0 .. two 512-bit registers + 1, all
// byte misalignments of input and output, a few large lengths, in place where the
// kernel allows it, and inputs salted with NaN, infinities, signed zeros and subnormals.
// Bytes past the end of each output must stay untouched.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace Aud::SampleManip;

namespace {

constexpr unsigned kMaxSmall = 2 * 64 + 1;  // two AVX-512 registers of bytes, plus one
constexpr unsigned kAlign = 64;
constexpr unsigned kGuard = 64;
constexpr unsigned char kFill = 0xA5;
const unsigned kLarge[] = {1000, 4097, 65539};
const unsigned kStride[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};

std::vector<const Kernels*> fastTables() {
    std::vector<const Kernels*> v{&genericKernels()};
    for (const Kernels* k : {sse2Kernels(), avx2Kernels(), avx512Kernels(), avx512VbmiKernels(), splitCpuKernels()})
        if (k) v.push_back(k);
    return v;
}

// Random bytes, with special values planted at random sample positions.
std::vector<unsigned char> salted(int type, std::size_t samples, unsigned seed) {
    std::mt19937 rng(seed);
    const unsigned width = kStride[type];
    std::vector<unsigned char> v(samples * width);
    for (auto& b : v) b = std::uint8_t(rng());
    auto plant = [&](std::size_t i, const void* p) { std::memcpy(v.data() + i * width, p, width); };
    std::uniform_int_distribution<std::size_t> pos(0, samples ? samples - 1 : 0);
    if (samples == 0) return v;
    if (type == 0) {
        const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                                  -std::numeric_limits<float>::quiet_NaN(),
                                  std::numeric_limits<float>::signaling_NaN(),
                                  std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(),
                                  0.0f,
                                  -0.0f,
                                  std::numeric_limits<float>::denorm_min(),
                                  -std::numeric_limits<float>::denorm_min(),
                                  1e-40f,
                                  -1e-40f,
                                  0.9999999f,
                                  0.99999994f,
                                  1.0f,
                                  -1.0f,
                                  std::nextafter(-1.0f, -2.0f),
                                  std::numeric_limits<float>::max(),
                                  -std::numeric_limits<float>::max()};
        for (float f : specials) plant(pos(rng), &f);
        std::uint32_t payloadNaN = 0x7FA12345u;
        plant(pos(rng), &payloadNaN);
    } else if (type == 7) {
        const double specials[] = {std::numeric_limits<double>::quiet_NaN(),
                                   -std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::signaling_NaN(),
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   0.0,
                                   -0.0,
                                   std::numeric_limits<double>::denorm_min(),
                                   -std::numeric_limits<double>::denorm_min(),
                                   1e-40,
                                   -1e-40,
                                   1e-300,
                                   1e300,
                                   -1e300,
                                   0.1,
                                   3.4028235677973366e38,
                                   std::nextafter(3.4028235677973366e38, 0.0)};
        for (double d : specials) plant(pos(rng), &d);
        std::uint64_t payloadNaN = 0x7FF4000012345678ull;
        plant(pos(rng), &payloadNaN);
    } else if (type == 6) {
        const std::int32_t specials[] = {0, 1, -1, 2147483647, -2147483647 - 1, 2147483646, -2147483647};
        for (std::int32_t s : specials) plant(pos(rng), &s);
    }
    return v;
}

std::string where(const Kernels& k, int type, unsigned channels, unsigned frames, unsigned inOff, unsigned outOff) {
    return std::string(k.name) + " type " + std::to_string(type) + " channels " + std::to_string(channels) +
           " frames " + std::to_string(frames) + " in+" + std::to_string(inOff) + " out+" + std::to_string(outOff);
}

// Runs one export on reference and candidate and compares every output byte and the guard.
void checkExport(const Kernels& k, int type, unsigned channels, unsigned frames, unsigned inOff, unsigned outOff,
                 unsigned seed) {
    const unsigned width = kStride[type];
    std::vector<std::vector<unsigned char>> planes(channels);
    std::vector<const unsigned char*> ptrs(channels);
    std::vector<std::vector<unsigned char>> storage(channels);
    for (unsigned c = 0; c < channels; ++c) {
        const auto data = salted(type, frames, seed + c);
        storage[c].assign(data.size() + kAlign, 0);
        if (!data.empty()) std::memcpy(storage[c].data() + inOff, data.data(), data.size());
        ptrs[c] = storage[c].data() + inOff;
    }
    const std::size_t bytes = std::size_t(frames) * channels * width;
    std::vector<unsigned char> want(bytes + kAlign + kGuard, kFill), got(bytes + kAlign + kGuard, kFill);
    referenceKernels().exportPlanar[type](ptrs.data(), channels, frames, want.data() + outOff);
    k.exportPlanar[type](ptrs.data(), channels, frames, got.data() + outOff);
    ASSERT_EQ(0, std::memcmp(want.data(), got.data(), want.size())) << where(k, type, channels, frames, inOff, outOff);
    for (std::size_t i = bytes + outOff; i < got.size(); ++i)
        ASSERT_EQ(kFill, got[i]) << "overrun " << where(k, type, channels, frames, inOff, outOff);
}

const unsigned kChannelCounts[] = {1, 2, 3, 4, 5, 6, 7, 8, 16};

}  // namespace

TEST(SampleKernels, ActiveTableIsTheBestTheCpuRuns) {
    const Kernels* best = avx512VbmiKernels() ? avx512VbmiKernels()
                          : avx512Kernels()   ? avx512Kernels()
                          : avx2Kernels()     ? avx2Kernels()
                                              : sse2Kernels();
    ASSERT_NE(best, nullptr);
    if (Aud::Cpu::splitsWideVectors() && avx2Kernels() && (avx512Kernels() || avx512VbmiKernels())) {
        // The widest table, but with the stereo zips where AVX2 measures faster.
        const Kernels* mixed = splitCpuKernels();
        ASSERT_NE(mixed, nullptr);
        EXPECT_EQ(&activeKernels(), mixed);
        EXPECT_EQ(std::string(activeKernelName()), std::string(best->name) + "+avx2");
        EXPECT_NE(mixed->split, best->split);
        EXPECT_NE(mixed->exportPlanar[1], best->exportPlanar[1]);
        for (int type = 0; type < 10; ++type) {
            if (type == 1) continue;
            EXPECT_EQ(mixed->exportPlanar[type], best->exportPlanar[type]) << type;
        }
        EXPECT_EQ(mixed->swapPairs, best->swapPairs);
        return;
    }
    EXPECT_EQ(splitCpuKernels(), nullptr);
    EXPECT_EQ(&activeKernels(), best);
    EXPECT_STREQ(activeKernelName(), best->name);
}

TEST(SampleKernels, ExportMatchesReferenceForEveryLength) {
    for (const Kernels* k : fastTables())
        for (int type = 0; type < 10; ++type)
            for (unsigned channels : kChannelCounts)
                for (unsigned frames = 0; frames <= kMaxSmall; ++frames)
                    checkExport(*k, type, channels, frames, 0, 0, 100 + frames);
}

TEST(SampleKernels, ExportMatchesReferenceAtEveryMisalignment) {
    for (const Kernels* k : fastTables())
        for (int type = 0; type < 10; ++type)
            for (unsigned channels : {1u, 2u, 4u, 8u, 6u})
                for (unsigned off = 0; off < kAlign; ++off) {
                    checkExport(*k, type, channels, kMaxSmall, off, 0, 7 * off);
                    checkExport(*k, type, channels, 77, 0, off, 11 * off);
                    checkExport(*k, type, channels, 33, off, (off * 7) % kAlign, 13 * off);
                }
}

TEST(SampleKernels, ExportMatchesReferenceOnLargeBlocks) {
    for (const Kernels* k : fastTables())
        for (int type = 0; type < 10; ++type)
            for (unsigned channels : {1u, 2u, 8u, 6u})
                for (unsigned frames : kLarge) checkExport(*k, type, channels, frames, frames % 5, 3, frames);
}

namespace {

void checkSplit(const Kernels& k, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                unsigned frames, unsigned inOff, unsigned outOff, unsigned seed) {
    std::mt19937 rng(seed);
    const std::size_t inBytes = std::size_t(frames) * channels * stride;
    std::vector<unsigned char> src(inBytes + kAlign + 8);
    for (auto& b : src) b = std::uint8_t(rng());
    const std::size_t outBytes = std::size_t(frames) * sampleBytes;
    std::vector<std::vector<unsigned char>> want(channels,
                                                 std::vector<unsigned char>(outBytes + kAlign + kGuard, kFill));
    auto got = want;
    std::vector<unsigned char*> w(channels), g(channels);
    for (unsigned c = 0; c < channels; ++c) {
        w[c] = want[c].data() + outOff;
        g[c] = got[c].data() + outOff;
    }
    referenceKernels().split(src.data() + inOff, channels, stride, sampleBytes, bigEndian, frames, w.data());
    k.split(src.data() + inOff, channels, stride, sampleBytes, bigEndian, frames, g.data());
    for (unsigned c = 0; c < channels; ++c)
        ASSERT_EQ(want[c], got[c]) << k.name << " split channels " << channels << " stride " << stride << " bytes "
                                   << sampleBytes << (bigEndian ? " BE" : " LE") << " frames " << frames << " in+"
                                   << inOff << " out+" << outOff << " channel " << c;
    for (unsigned c = 0; c < channels; ++c)
        for (std::size_t i = outBytes + outOff; i < got[c].size(); ++i) ASSERT_EQ(kFill, got[c][i]) << "overrun";
}

struct Layout {
    unsigned stride, sampleBytes;
};
const Layout kLayouts[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {8, 8}, {4, 3}};

}  // namespace

TEST(SampleKernels, SplitMatchesReferenceForEveryLength) {
    for (const Kernels* k : fastTables())
        for (const Layout& l : kLayouts)
            for (unsigned channels : {2u, 3u, 4u, 5u, 6u, 7u, 8u, 32u})
                for (bool be : {false, true})
                    for (unsigned frames = 0; frames <= kMaxSmall; ++frames)
                        checkSplit(*k, channels, l.stride, l.sampleBytes, be, frames, 0, 0, frames);
}

TEST(SampleKernels, SplitMatchesReferenceAtEveryMisalignmentAndOnLargeBlocks) {
    for (const Kernels* k : fastTables())
        for (const Layout& l : kLayouts)
            for (unsigned channels : {2u, 4u, 8u, 6u})
                for (bool be : {false, true}) {
                    for (unsigned off = 0; off < kAlign; ++off) {
                        checkSplit(*k, channels, l.stride, l.sampleBytes, be, kMaxSmall, off, 0, off);
                        checkSplit(*k, channels, l.stride, l.sampleBytes, be, 45, 0, off, off + 1);
                    }
                    for (unsigned frames : kLarge)
                        checkSplit(*k, channels, l.stride, l.sampleBytes, be, frames, 1, 2, frames);
                }
}

namespace {

using GroupMember = GroupFn Kernels::*;

void checkGroups(const Kernels& k, GroupMember fn, unsigned groupBytes, unsigned count, unsigned inOff, unsigned outOff,
                 bool inPlace) {
    std::mt19937 rng(count * 31 + inOff);
    const std::size_t bytes = std::size_t(count) * groupBytes;
    std::vector<unsigned char> src(bytes + kAlign + kGuard, kFill);
    for (std::size_t i = 0; i < bytes; ++i) src[inOff + i] = std::uint8_t(rng());
    std::vector<unsigned char> want(bytes + kAlign + kGuard, kFill);
    (referenceKernels().*fn)(src.data() + inOff, want.data() + outOff, count);
    std::vector<unsigned char> got;
    if (inPlace) {
        got = src;
        (k.*fn)(got.data() + inOff, got.data() + inOff, count);
        auto refInPlace = src;
        (referenceKernels().*fn)(refInPlace.data() + inOff, refInPlace.data() + inOff, count);
        ASSERT_EQ(refInPlace, got) << k.name << " in place, groups of " << groupBytes << ", count " << count;
        ASSERT_EQ(0, std::memcmp(refInPlace.data() + inOff, want.data() + outOff, bytes));
    } else {
        got.assign(want.size(), kFill);
        (k.*fn)(src.data() + inOff, got.data() + outOff, count);
        ASSERT_EQ(want, got) << k.name << " groups of " << groupBytes << ", count " << count << " in+" << inOff
                             << " out+" << outOff;
    }
}

}  // namespace

TEST(SampleKernels, ByteOrderKernelsMatchReferenceInAndOutOfPlace) {
    const struct {
        GroupMember fn;
        unsigned bytes;
    } kernels[] = {{&Kernels::swapPairs, 2}, {&Kernels::reverseQuads, 4}, {&Kernels::mirrorLowHalf, 4}};
    for (const Kernels* k : fastTables())
        for (const auto& g : kernels) {
            for (unsigned count = 0; count <= kMaxSmall; ++count) {
                checkGroups(*k, g.fn, g.bytes, count, 0, 0, false);
                checkGroups(*k, g.fn, g.bytes, count, 0, 0, true);
            }
            for (unsigned off = 0; off < kAlign; ++off) {
                checkGroups(*k, g.fn, g.bytes, 70, off, (off * 5) % kAlign, false);
                checkGroups(*k, g.fn, g.bytes, 70, off, 0, true);
            }
            for (unsigned count : kLarge) {
                checkGroups(*k, g.fn, g.bytes, count, 3, 1, false);
                checkGroups(*k, g.fn, g.bytes, count, 5, 0, true);
            }
        }
}

// The integer maps of the fast kernels equal the float definitions over the whole input
// range of the narrow types (every 8-, 16- and 24-bit value), run through each table.
namespace {

void checkExhaustive(int type, const std::vector<unsigned char>& input) {
    const unsigned width = kStride[type];
    const unsigned frames = unsigned(input.size() / width);
    const unsigned char* plane = input.data();
    std::vector<unsigned char> want(input.size()), got(input.size());
    referenceKernels().exportPlanar[type](&plane, 1, frames, want.data());
    for (const Kernels* k : fastTables()) {
        std::fill(got.begin(), got.end(), 0);
        k->exportPlanar[type](&plane, 1, frames, got.data());
        ASSERT_EQ(0, std::memcmp(want.data(), got.data(), want.size())) << k->name << " type " << type;
    }
}

std::vector<unsigned char> everyValue(unsigned bits, unsigned width, unsigned shift, std::uint32_t first,
                                      std::uint32_t count, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(std::size_t(count) * width);
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t word = rng();  // bits outside the field are noise
        const std::uint32_t field = (first + i) & ((bits == 32) ? 0xFFFFFFFFu : ((1u << bits) - 1));
        const std::uint32_t mask = ((bits == 32) ? 0xFFFFFFFFu : ((1u << bits) - 1)) << shift;
        word = (word & ~mask) | (field << shift);
        std::memcpy(v.data() + std::size_t(i) * width, &word, width);
    }
    return v;
}

}  // namespace

TEST(SampleKernels, IntegerMapsEqualTheDefinitionsForEveryNarrowValue) {
    checkExhaustive(3, everyValue(8, 1, 0, 0, 256, 1));
    checkExhaustive(4, everyValue(8, 1, 0, 0, 256, 2));
    checkExhaustive(1, everyValue(16, 2, 0, 0, 65536, 3));
    checkExhaustive(8, everyValue(16, 4, 12, 0, 65536, 4));
    checkExhaustive(8, everyValue(16, 4, 12, 0, 65536, 5));  // other noise above and below
    for (std::uint32_t chunk = 0; chunk < (1u << 24); chunk += 1u << 21) {
        checkExhaustive(2, everyValue(24, 3, 0, chunk, 1u << 21, 6));
        checkExhaustive(5, everyValue(24, 4, 0, chunk, 1u << 21, 7));
        checkExhaustive(9, everyValue(24, 4, 4, chunk, 1u << 21, 8));
    }
}

TEST(SampleKernels, Int32RoundTripMatchesTheDefinitionNearEveryPowerOfTwo) {
    // Around every power of two and its negative, where the float rounding changes step.
    std::vector<std::int32_t> values;
    for (int p = 0; p < 31; ++p)
        for (std::int64_t d = -300; d <= 300; ++d) {
            const std::int64_t a = (std::int64_t(1) << p) + d;
            for (std::int64_t v : {a, -a})
                if (v >= INT32_MIN && v <= INT32_MAX) values.push_back(std::int32_t(v));
        }
    std::mt19937 rng(9);
    for (int i = 0; i < (1 << 20); ++i) values.push_back(std::int32_t(rng()));
    std::vector<unsigned char> bytes(values.size() * 4);
    std::memcpy(bytes.data(), values.data(), bytes.size());
    checkExhaustive(6, bytes);
}
