// Every kernel table the CPU runs (generic scalar, SSE2, AVX2, AVX-512, AVX-512 VBMI)
// against the plain scalar reference, bit for bit, for every sample type and 1..8
// channels: export (planar -> interleaved) and split (interleaved -> planar, every
// layout the interleaver uses, both byte orders), which covers the zip kernels of 1, 2,
// 4 and 8 channels and the window kernels of every other shape (3, 5, 6, 7 channels,
// packed 24-bit, 24-in-32 splits, big-endian splits).
// - Every length from 0 to three 512-bit vectors of frames plus a step and one more,
//   with each block ending at an inaccessible page, so a read or write past a block's
//   end faults; each plane then starts at its own misalignment.
// - Every byte misalignment of the sources and of the destinations (0..63, each plane
//   its own), with guard bytes after every destination that must stay untouched.
// - Inputs salted with special values: NaN (payloads kept), infinities, signed zeros,
//   subnormals, clip thresholds and their neighbours, full scale, and the 32-bit carry
//   and tie values.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace Aud::SampleManip;

namespace {

constexpr unsigned kWidth[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};
constexpr unsigned kMaxFrames = 3 * 64 + 64 + 1;  // three vectors of bytes, a step, one more
constexpr unsigned kAlign = 64;
constexpr unsigned kGuard = 64;
constexpr unsigned char kFill = 0xA5;

std::vector<const Kernels*> tables() {
    std::vector<const Kernels*> v{&genericKernels()};
    for (const Kernels* k : {sse2Kernels(), avx2Kernels(), avx512Kernels(), avx512VbmiKernels()})
        if (k) v.push_back(k);
    return v;
}

struct Layout {
    unsigned stride, sampleBytes;
};
// Every layout the interleaver splits: whole samples of every width, and 24-in-32.
const Layout kLayouts[] = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {8, 8}, {4, 3}};

// Random bytes with the type's special values planted at random sample positions.
std::vector<unsigned char> salted(int type, std::size_t samples, unsigned seed) {
    std::mt19937 rng(seed);
    const unsigned width = kWidth[type];
    std::vector<unsigned char> v(samples * width);
    for (auto& b : v) b = std::uint8_t(rng());
    if (samples == 0) return v;
    std::uniform_int_distribution<std::size_t> pos(0, samples - 1);
    auto plant = [&](const void* p) { std::memcpy(v.data() + pos(rng) * width, p, width); };
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
                                  0.9999999f,
                                  std::nextafter(0.9999999f, 2.0f),
                                  std::nextafter(0.9999999f, 0.0f),
                                  1.0f,
                                  -1.0f,
                                  std::nextafter(-1.0f, -2.0f),
                                  std::nextafter(-1.0f, 0.0f),
                                  std::numeric_limits<float>::max(),
                                  -std::numeric_limits<float>::max()};
        for (float f : specials) plant(&f);
        const std::uint32_t payloadNaN = 0x7FA12345u, negativePayloadNaN = 0xFFC0FFEEu;
        plant(&payloadNaN);
        plant(&negativePayloadNaN);
    } else if (type == 7) {
        const double specials[] = {std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::signaling_NaN(),
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(),
                                   -0.0,
                                   std::numeric_limits<double>::denorm_min(),
                                   1e-40,
                                   -1e-300,
                                   1e300,
                                   0.1,
                                   3.4028235677973366e38,
                                   std::nextafter(3.4028235677973366e38, 0.0)};
        for (double d : specials) plant(&d);
        const std::uint64_t payloadNaN = 0x7FF4000012345678ull;
        plant(&payloadNaN);
    } else if (type == 6) {
        const std::int32_t specials[] = {0,
                                         1,
                                         -1,
                                         2,
                                         -2,
                                         2147483647,
                                         2147483646,
                                         -2147483647,
                                         -2147483647 - 1,
                                         0x7FFFFEBF,
                                         0x7FFFFFBF,
                                         std::int32_t(0x80000140u),
                                         std::int32_t(0x80000040u),
                                         0x007FFFFF,
                                         0x00800000,
                                         0x00FFFFFF,
                                         0x01000000,
                                         -0x00800000,
                                         -0x00800001,
                                         -0x01000000,
                                         -0x01000001,
                                         0x7FFFFF7F,
                                         0x7FFFFF80};
        for (std::int32_t s : specials) plant(&s);
    } else if (type == 1) {
        for (std::int16_t s : {std::int16_t(32767), std::int16_t(-32768), std::int16_t(0), std::int16_t(-1)}) plant(&s);
    } else if (type == 3 || type == 4) {
        for (std::uint8_t s : {0, 1, 127, 128, 255}) plant(&s);
    } else {
        for (std::uint32_t s : {0x007FFFFFu, 0x00800000u, 0xFF7FFFFFu, 0x0FFFFFFFu, 0xF0000000u, 0u, 0xFFFFFFFFu})
            plant(&s);  // the width's low bytes
    }
    return v;
}

// Blocks that end right before an inaccessible page: slot i holds up to `capacity` bytes
// and a block of n bytes is placed at its end.
class GuardedSlots {
public:
    GuardedSlots(unsigned slots, std::size_t capacity) : slots_(slots) {
        const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
        span_ = (capacity + page - 1) / page * page + page;
        total_ = span_ * slots;
        void* p = mmap(nullptr, total_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (p == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<unsigned char*>(p);
        for (unsigned i = 0; i < slots; ++i)
            if (mprotect(base_ + span_ * (i + 1) - page, page, PROT_NONE) != 0) throw std::bad_alloc();
        guardOffset_ = span_ - page;
    }
    GuardedSlots(const GuardedSlots&) = delete;
    GuardedSlots& operator=(const GuardedSlots&) = delete;
    ~GuardedSlots() { munmap(base_, total_); }
    // n bytes ending at slot i's guard page.
    unsigned char* at(unsigned i, std::size_t n) const { return base_ + span_ * i + guardOffset_ - n; }

private:
    unsigned slots_;
    std::size_t span_ = 0, total_ = 0, guardOffset_ = 0;
    unsigned char* base_ = nullptr;
};

// Equal bytes (memcmp may not be given a null pointer, even for no bytes).
bool sameBytes(const unsigned char* a, const unsigned char* b, std::size_t n) {
    return n == 0 || std::memcmp(a, b, n) == 0;
}

std::string what(const Kernels& k, const char* op, int typeOrStride, unsigned channels, unsigned frames) {
    return std::string(k.name) + " " + op + " " + std::to_string(typeOrStride) + " channels " +
           std::to_string(channels) + " frames " + std::to_string(frames);
}

}  // namespace

TEST(SampleKernelsWindow, ExportOfEveryTypeChannelCountAndLengthStaysInsideItsBlocks) {
    GuardedSlots planes(8, kMaxFrames * 8), out(1, kMaxFrames * 8 * 8);
    for (int type = 0; type < 10; ++type)
        for (unsigned channels = 1; channels <= 8; ++channels)
            for (unsigned frames = 0; frames <= kMaxFrames; ++frames) {
                const unsigned width = kWidth[type];
                std::vector<const unsigned char*> ptrs(channels);
                for (unsigned c = 0; c < channels; ++c) {
                    const auto data = salted(type, frames, 1000 * type + 10 * channels + c + frames);
                    unsigned char* p = planes.at(c, data.size());
                    if (!data.empty()) std::memcpy(p, data.data(), data.size());
                    ptrs[c] = p;
                }
                const std::size_t bytes = std::size_t(frames) * channels * width;
                std::vector<unsigned char> want(bytes);
                referenceKernels().exportPlanar[type](ptrs.data(), channels, frames, want.data());
                for (const Kernels* k : tables()) {
                    unsigned char* o = out.at(0, bytes);
                    std::memset(o, kFill, bytes);
                    k->exportPlanar[type](ptrs.data(), channels, frames, o);
                    ASSERT_TRUE(sameBytes(want.data(), o, bytes)) << what(*k, "export type", type, channels, frames);
                }
            }
}

TEST(SampleKernelsWindow, ExportAtEveryMisalignmentOfEveryPlaneAndOfTheOutput) {
    // Lengths with a vector body and a tail for every shape.
    for (const Kernels* k : tables())
        for (int type = 0; type < 10; ++type)
            for (unsigned channels = 1; channels <= 8; ++channels)
                for (unsigned off = 0; off < kAlign; ++off) {
                    const unsigned frames = off % 2 ? 131 : 200;
                    const unsigned width = kWidth[type];
                    std::vector<std::vector<unsigned char>> storage(channels);
                    std::vector<const unsigned char*> ptrs(channels);
                    for (unsigned c = 0; c < channels; ++c) {
                        const auto data = salted(type, frames, 77 * off + c);
                        storage[c].assign(data.size() + 2 * kAlign, 0);
                        // 64-aligned base, then this plane's own offset.
                        auto base = reinterpret_cast<std::uintptr_t>(storage[c].data());
                        const std::size_t shift = (kAlign - base % kAlign) % kAlign + (off + 13 * c) % kAlign;
                        if (!data.empty()) std::memcpy(storage[c].data() + shift, data.data(), data.size());
                        ptrs[c] = storage[c].data() + shift;
                    }
                    const std::size_t bytes = std::size_t(frames) * channels * width;
                    std::vector<unsigned char> want(bytes + 2 * kAlign + kGuard, kFill), got = want;
                    auto outAt = [&](std::vector<unsigned char>& v) {
                        const auto base = reinterpret_cast<std::uintptr_t>(v.data());
                        return v.data() + (kAlign - base % kAlign) % kAlign + (off * 7) % kAlign;
                    };
                    unsigned char* w = outAt(want);
                    unsigned char* g = outAt(got);
                    referenceKernels().exportPlanar[type](ptrs.data(), channels, frames, w);
                    k->exportPlanar[type](ptrs.data(), channels, frames, g);
                    ASSERT_TRUE(sameBytes(w, g, bytes))
                        << what(*k, "export type", type, channels, frames) << " offset " << off;
                    for (const unsigned char* p = g + bytes; p < got.data() + got.size(); ++p)
                        ASSERT_EQ(kFill, *p)
                            << what(*k, "export type", type, channels, frames) << " wrote past the end";
                    for (const unsigned char* p = got.data(); p < g; ++p)
                        ASSERT_EQ(kFill, *p) << what(*k, "export type", type, channels, frames) << " wrote before";
                }
}

namespace {

void checkSplit(const Kernels& k, const Layout& l, bool bigEndian, unsigned channels, unsigned frames,
                const unsigned char* src, const std::vector<unsigned char*>& outs, std::size_t outBytes) {
    std::vector<std::vector<unsigned char>> want(channels, std::vector<unsigned char>(outBytes));
    std::vector<unsigned char*> w(channels);
    for (unsigned c = 0; c < channels; ++c) w[c] = want[c].data();
    referenceKernels().split(src, channels, l.stride, l.sampleBytes, bigEndian, frames, w.data());
    for (unsigned c = 0; c < channels; ++c) std::memset(outs[c], kFill, outBytes);
    k.split(src, channels, l.stride, l.sampleBytes, bigEndian, frames, outs.data());
    for (unsigned c = 0; c < channels; ++c)
        ASSERT_TRUE(sameBytes(want[c].data(), outs[c], outBytes))
            << what(k, "split stride", int(l.stride), channels, frames) << " bytes " << l.sampleBytes
            << (bigEndian ? " BE" : " LE") << " channel " << c;
}

}  // namespace

TEST(SampleKernelsWindow, SplitOfEveryLayoutChannelCountAndLengthStaysInsideItsBlocks) {
    GuardedSlots in(1, kMaxFrames * 8 * 8), outs(8, kMaxFrames * 8);
    std::mt19937 rng(5);
    for (const Layout& l : kLayouts)
        for (bool bigEndian : {false, true})
            for (unsigned channels = 1; channels <= 8; ++channels)
                for (unsigned frames = 0; frames <= kMaxFrames; ++frames) {
                    const std::size_t inBytes = std::size_t(frames) * channels * l.stride;
                    unsigned char* src = in.at(0, inBytes);
                    for (std::size_t i = 0; i < inBytes; ++i) src[i] = std::uint8_t(rng());
                    const std::size_t outBytes = std::size_t(frames) * l.sampleBytes;
                    std::vector<unsigned char*> o(channels);
                    for (unsigned c = 0; c < channels; ++c) o[c] = outs.at(c, outBytes);
                    for (const Kernels* k : tables()) checkSplit(*k, l, bigEndian, channels, frames, src, o, outBytes);
                }
}

TEST(SampleKernelsWindow, SplitAtEveryMisalignmentOfTheSourceAndOfEveryPlane) {
    std::mt19937 rng(6);
    for (const Kernels* k : tables())
        for (const Layout& l : kLayouts)
            for (bool bigEndian : {false, true})
                for (unsigned channels = 1; channels <= 8; ++channels)
                    for (unsigned off = 0; off < kAlign; ++off) {
                        const unsigned frames = off % 2 ? 131 : 200;
                        const std::size_t inBytes = std::size_t(frames) * channels * l.stride;
                        std::vector<unsigned char> storage(inBytes + 2 * kAlign);
                        const auto base = reinterpret_cast<std::uintptr_t>(storage.data());
                        unsigned char* src = storage.data() + (kAlign - base % kAlign) % kAlign + off;
                        for (std::size_t i = 0; i < inBytes; ++i) src[i] = std::uint8_t(rng());
                        const std::size_t outBytes = std::size_t(frames) * l.sampleBytes;
                        std::vector<std::vector<unsigned char>> planes(
                            channels, std::vector<unsigned char>(outBytes + 2 * kAlign + kGuard, kFill));
                        std::vector<unsigned char*> o(channels);
                        for (unsigned c = 0; c < channels; ++c) {
                            const auto pb = reinterpret_cast<std::uintptr_t>(planes[c].data());
                            o[c] = planes[c].data() + (kAlign - pb % kAlign) % kAlign + (off * 5 + 11 * c) % kAlign;
                        }
                        checkSplit(*k, l, bigEndian, channels, frames, src, o, outBytes);
                        for (unsigned c = 0; c < channels; ++c)
                            for (const unsigned char* p = o[c] + outBytes; p < planes[c].data() + planes[c].size(); ++p)
                                ASSERT_EQ(kFill, *p) << k->name << " split wrote past plane " << c;
                    }
}

TEST(SampleKernelsWindow, LargeBlocksOfEveryShape) {
    // Long runs of whole steps (the steady state), at awkward lengths.
    for (const Kernels* k : tables())
        for (unsigned frames : {4096u, 4099u, 10007u})
            for (unsigned channels = 1; channels <= 8; ++channels) {
                for (int type = 0; type < 10; ++type) {
                    std::vector<std::vector<unsigned char>> data(channels);
                    std::vector<const unsigned char*> ptrs(channels);
                    for (unsigned c = 0; c < channels; ++c) {
                        data[c] = salted(type, frames, frames + c);
                        ptrs[c] = data[c].data();
                    }
                    const std::size_t bytes = std::size_t(frames) * channels * kWidth[type];
                    std::vector<unsigned char> want(bytes), got(bytes);
                    referenceKernels().exportPlanar[type](ptrs.data(), channels, frames, want.data());
                    k->exportPlanar[type](ptrs.data(), channels, frames, got.data());
                    ASSERT_EQ(want, got) << what(*k, "export type", type, channels, frames);
                }
                for (const Layout& l : kLayouts)
                    for (bool bigEndian : {false, true}) {
                        std::mt19937 rng(frames * channels);
                        std::vector<unsigned char> src(std::size_t(frames) * channels * l.stride);
                        for (auto& b : src) b = std::uint8_t(rng());
                        const std::size_t outBytes = std::size_t(frames) * l.sampleBytes;
                        std::vector<std::vector<unsigned char>> planes(channels, std::vector<unsigned char>(outBytes));
                        std::vector<unsigned char*> o(channels);
                        for (unsigned c = 0; c < channels; ++c) o[c] = planes[c].data();
                        checkSplit(*k, l, bigEndian, channels, frames, src.data(), o, outBytes);
                    }
            }
}
