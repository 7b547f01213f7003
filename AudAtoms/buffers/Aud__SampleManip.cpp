#include "AudAtoms/buffers/Aud__SampleManip.h"

#include "AudAtoms/buffers/Aud__SampleManip_testing.h"
#include "AudAtoms/internal/AssertionSource.h"
#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::SampleManip {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__SampleManip"};
}

float exportFloat32(float x) {
    if (x > 0.9999999f) return 0.9999999f;
    if (x < -1.0f) return -1.0f;
    return x;
}

std::int16_t exportInt16(std::int16_t s) {
    const float x = float(s) * 3.0517578e-5f;
    if (x > 0.9999695f) return 32767;
    if (x < -1.0f) return -32768;
    return std::int16_t(std::int32_t(x * 32768.0f));
}

std::int32_t exportInt24(std::int32_t s) {
    const float x = float(s) * 1.1920929e-7f;
    if (x > 0.9999999f) return 0x7FFFFF;
    if (x < -1.0f) return -0x800000;
    const std::int32_t v = std::int32_t(x * 8388608.0f);
    return v < -8388608 ? -8388608 : v;
}

std::int8_t exportInt8(std::int8_t s) {
    const float x = float(s) * 0.0078125f;
    if (x > 0.9921875f) return 127;
    if (x < -1.0f) return -128;
    return std::int8_t(std::int32_t(x * 128.0f));
}

std::uint8_t exportUint8(std::uint8_t s) {
    // The 127.5 scale differs from the other types' full scale (deliberately).
    const float x = float(int(s) - 128) * 0.0078125f + 1.0f;
    if (x > 2.0f) return 255;
    if (x < 0.0f) return 0;
    return std::uint8_t(std::int32_t(x * 127.5f));
}

std::int32_t exportInt32(std::int32_t s) {
    const float x = float((double(s) + 0.5) / 2147483647.5);
    if (x > 1.0f) return 0x7FFFFFFF;
    if (x < -1.0f) return std::int32_t(0x80000000u);
    return std::int32_t(double(x) * 2147483647.5 - 0.5);
}

double exportFloat64(double d) { return double(float(d)); }

namespace {
std::int32_t signExtend24(std::uint32_t v) { return std::int32_t(v << 8) >> 8; }
}  // namespace

std::uint32_t exportPadded24(std::uint32_t word) { return std::uint32_t(exportInt24(signExtend24(word & 0xFFFFFFu))); }

std::uint32_t exportAes16(std::uint32_t word) {
    const std::int16_t s = std::int16_t(std::uint16_t(word >> 12));
    return std::uint16_t(exportInt16(s));
}

std::uint32_t exportAes24(std::uint32_t word) {
    return std::uint32_t(exportInt24(signExtend24((word >> 4) & 0xFFFFFFu)));
}

#ifdef AUDATOMS_X86_64
const Kernels* sse2Kernels() { return Cpu::supports(Cpu::eInstructionSet::kSSE2) ? &sse2KernelTable() : nullptr; }
const Kernels* avx2Kernels() { return Cpu::supports(Cpu::eInstructionSet::kAVX2) ? &avx2KernelTable() : nullptr; }
const Kernels* avx512Kernels() { return Cpu::supports(Cpu::eInstructionSet::kAVX512) ? &avx512KernelTable() : nullptr; }
const Kernels* avx512VbmiKernels() { return Cpu::supportsAVX512VBMI() ? &avx512VbmiKernelTable() : nullptr; }
#else
const Kernels* sse2Kernels() { return nullptr; }
const Kernels* avx2Kernels() { return nullptr; }
const Kernels* avx512Kernels() { return nullptr; }
const Kernels* avx512VbmiKernels() { return nullptr; }
#endif

namespace {

// On CPUs that run each 512-bit operation as two 256-bit halves
// (Cpu::splitsWideVectors), the AVX2 loops zip and unzip two channels of plain samples
// faster than the AVX-512 ones: the interleaver benchmark's instruction-set table gives
// about 10 % for the 2-channel split of 4-byte samples and 23 % for the 2-channel export of
// 16-bit samples. Those two shapes go to the AVX2 table; every other shape keeps the
// wide one, where it is as fast or (packed 24-bit, conversions, 8 channels) much
// faster. All tables give the same bytes, so only the speed changes.
const Kernels* gWide = nullptr;
const Kernels* gNarrow = nullptr;

void splitStereoNarrow(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes,
                       bool bigEndian, unsigned frames, unsigned char* const* outs) {
    const bool stereoWords = channels == 2 && stride == 4 && sampleBytes == 4 && !bigEndian;
    (stereoWords ? gNarrow : gWide)->split(src, channels, stride, sampleBytes, bigEndian, frames, outs);
}

void export16StereoNarrow(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    (channels == 2 ? gNarrow : gWide)->exportPlanar[1](planes, channels, frames, out);
}

}  // namespace

const Kernels* splitCpuKernels() {
    static const Kernels* const table = []() -> const Kernels* {
        const Kernels* wide = avx512VbmiKernels() ? avx512VbmiKernels() : avx512Kernels();
        if (!Cpu::splitsWideVectors() || wide == nullptr || avx2Kernels() == nullptr) return nullptr;
        gWide = wide;
        gNarrow = avx2Kernels();
        static Kernels mixed = *wide;
        mixed.name = wide == avx512VbmiKernels() ? "avx512vbmi+avx2" : "avx512+avx2";
        mixed.split = splitStereoNarrow;
        mixed.exportPlanar[1] = export16StereoNarrow;
        return &mixed;
    }();
    return table;
}

const Kernels& activeKernels() {
    static const Kernels* const chosen = [] {
        if (const Kernels* k = splitCpuKernels()) return k;
        if (const Kernels* k = avx512VbmiKernels()) return k;
        if (const Kernels* k = avx512Kernels()) return k;
        if (const Kernels* k = avx2Kernels()) return k;
        if (const Kernels* k = sse2Kernels()) return k;
        return &genericKernels();
    }();
    return *chosen;
}

const char* activeKernelName() { return activeKernels().name; }

bool exportInterleaved(int sampleType, const unsigned char* const* planes, unsigned channels, unsigned frames,
                       unsigned char* out) {
    if (sampleType < 0 || sampleType > 9) return false;
    activeKernels().exportPlanar[sampleType](planes, channels, frames, out);
    if (sampleType == 5) {
        // The 24-in-4 path reports itself once for every sample it writes.
        const unsigned long long samples = static_cast<unsigned long long>(frames) * channels;
        for (unsigned long long i = 0; i < samples; ++i) kSource.report("false", 514);
    }
    return true;
}

void splitInterleaved(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes,
                      bool bigEndian, unsigned frames, unsigned char* const* outs) {
    activeKernels().split(src, channels, stride, sampleBytes, bigEndian, frames, outs);
}

void swapPairs(const unsigned char* src, unsigned char* dst, unsigned pairs) {
    activeKernels().swapPairs(src, dst, pairs);
}

void reverseQuads(const unsigned char* src, unsigned char* dst, unsigned quads) {
    activeKernels().reverseQuads(src, dst, quads);
}

void mirrorLowHalf(const unsigned char* src, unsigned char* dst, unsigned quads) {
    activeKernels().mirrorLowHalf(src, dst, quads);
}

void reverseTriples(const unsigned char* src, unsigned char* dst, unsigned triples) {
    for (unsigned i = 0; i < triples; ++i, src += 3, dst += 3) {
        const unsigned char b0 = src[0], b2 = src[2];
        dst[0] = b2;
        dst[1] = src[1];
        dst[2] = b0;
    }
}

}  // namespace Aud::SampleManip
