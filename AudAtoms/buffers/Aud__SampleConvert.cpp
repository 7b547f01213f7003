#include "AudAtoms/buffers/Aud__SampleConvert.h"
#include "AudAtoms/buffers/Aud__SampleConvert_testing.h"
#include "AudAtoms/internal/Aud__CpuFeatures.h"
#include "AudAtoms/internal/ByteAccess.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Aud::SampleConvert {

namespace {

constexpr float k2Pow15 = 3.0517578e-5f;  // 1 / 32768
constexpr float k2Pow23 = 1.1920929e-7f;  // 1 / 8388608
constexpr float k2Pow7 = 0.0078125f;      // 1 / 128

template <class Fn>
void eachIn(const void* src, unsigned count, unsigned stride, float* dst, Fn value) {
    const unsigned char* p = static_cast<const unsigned char*>(src);
    for (unsigned i = 0; i < count; ++i, p += stride) dst[i] = value(p);
}

template <class Fn>
void eachOut(const float* src, unsigned count, unsigned stride, void* dst, Fn put) {
    unsigned char* q = static_cast<unsigned char*>(dst);
    for (unsigned i = 0; i < count; ++i, q += stride) put(q, src[i]);
}

std::int16_t toInt16(float x) {
    if (x > 0.9999695f) return 32767;
    if (x < -1.0f) return -32768;
    if (x != x) return 0;
    return std::int16_t(std::int32_t(x * 32768.0f));
}

// Clamping first gives the same result as the rule: 0.9999999f is 1 - 2^-23, so the
// clamped top scales to 0x7FFFFF exactly, and -1 to -0x800000. Written without
// branches so that the compiler can keep it in vector registers.
std::int32_t toInt24(float x) {
    float c = x > 0.9999999f ? 0.9999999f : x;
    c = c < -1.0f ? -1.0f : c;
    c = c == c ? c : 0.0f;
    return std::int32_t(c * 8388608.0f);
}

std::int8_t toInt8(float x) {
    if (x > 0.9921875f) return 127;
    if (x < -1.0f) return -128;
    if (x != x) return 0;
    return std::int8_t(std::int32_t(x * 128.0f));
}

std::uint8_t toUint8(float x) {
    const float y = x + 1.0f;
    if (y > 2.0f) return 255;
    if (y < 0.0f) return 0;
    if (y != y) return 0;
    return std::uint8_t(std::int32_t(y * 127.5f));
}

std::int32_t toInt32(float x) {
    if (x > 1.0f) return 0x7FFFFFFF;
    if (x < -1.0f) return std::int32_t(0x80000000u);
    if (x != x) return 0;
    return std::int32_t(double(x) * 2147483647.5 - 0.5);
}

float toFloat32(float x) {
    if (x > 0.9999999f) return 0.9999999f;
    if (x < -1.0f) return -1.0f;
    return x;
}

// The packed 24-bit reference: all but the last sample read and write a 4-byte word
// (its top byte belongs to the next sample: shifted out on reading, overwritten on
// writing); the last one reads and writes exactly its 3 bytes.
void toFloat24(const unsigned char* src, unsigned count, float* dst) {
    const unsigned head = count ? count - 1 : 0;
    eachIn(src, head, 3, dst,
           [](const unsigned char* p) { return float(std::int32_t(loadLE<std::uint32_t>(p) << 8) >> 8) * k2Pow23; });
    if (count) dst[head] = float(int24At(src + std::size_t(head) * 3)) * k2Pow23;
}

void fromFloat24(const float* src, unsigned count, unsigned char* q) {
    const unsigned head = count ? count - 1 : 0;
    for (unsigned i = 0; i < head; ++i) storeLE<std::int32_t>(q + std::size_t(i) * 3, toInt24(src[i]));
    if (count) {
        const std::int32_t v = toInt24(src[head]);
        unsigned char* last = q + std::size_t(head) * 3;
        last[0] = std::uint8_t(v);
        last[1] = std::uint8_t(v >> 8);
        last[2] = std::uint8_t(v >> 16);
    }
}

const Packed24::Kernels kReference24 = {"scalar", toFloat24, fromFloat24};

std::atomic<const Packed24::Kernels*> gForced24{nullptr};

}  // namespace

namespace Packed24 {

const Kernels& referenceKernels() { return kReference24; }

const Kernels* avx2Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kAVX2) ? &avx2KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels& activeKernels() {
    if (const Kernels* f = gForced24.load(std::memory_order_acquire)) return *f;
    static const Kernels* const chosen = [] {
        if (const Kernels* k = avx2Kernels()) return k;
        return &kReference24;
    }();
    return *chosen;
}

void forceKernels(const Kernels* table) { gForced24.store(table, std::memory_order_release); }

}  // namespace Packed24

bool toFloat(int sampleType, const void* src, unsigned count, float* dst) {
    switch (sampleType) {
    case 0:
        if (count) std::memcpy(dst, src, std::size_t(count) * 4);
        return true;
    case 1:
        eachIn(src, count, 2, dst, [](const unsigned char* p) { return float(loadLE<std::int16_t>(p)) * k2Pow15; });
        return true;
    case 2: Packed24::activeKernels().toFloat(static_cast<const unsigned char*>(src), count, dst); return true;
    case 3:
        eachIn(src, count, 1, dst, [](const unsigned char* p) { return float(std::int8_t(*p)) * k2Pow7; });
        return true;
    case 4:
        eachIn(src, count, 1, dst, [](const unsigned char* p) { return float(int(*p) - 128) * k2Pow7; });
        return true;
    case 5: eachIn(src, count, 4, dst, [](const unsigned char* p) { return float(int24At(p)) * k2Pow23; }); return true;
    case 6:
        eachIn(src, count, 4, dst,
               [](const unsigned char* p) { return float((double(loadLE<std::int32_t>(p)) + 0.5) / 2147483647.5); });
        return true;
    case 7: eachIn(src, count, 8, dst, [](const unsigned char* p) { return float(loadLE<double>(p)); }); return true;
    case 8:
        eachIn(src, count, 4, dst, [](const unsigned char* p) {
            return float(std::int16_t(std::uint16_t(loadLE<std::uint32_t>(p) >> 12))) * k2Pow15;
        });
        return true;
    case 9:
        eachIn(src, count, 4, dst, [](const unsigned char* p) {
            return float(signExtend24((loadLE<std::uint32_t>(p) >> 4) & 0xFFFFFFu)) * k2Pow23;
        });
        return true;
    default: return false;
    }
}

bool fromFloat(int sampleType, const float* src, unsigned count, void* dst) {
    switch (sampleType) {
    case 0:
        eachOut(src, count, 4, dst, [](unsigned char* q, float x) { storeLE<float>(q, toFloat32(x)); });
        return true;
    case 1:
        eachOut(src, count, 2, dst, [](unsigned char* q, float x) { storeLE<std::int16_t>(q, toInt16(x)); });
        return true;
    case 2: Packed24::activeKernels().fromFloat(src, count, static_cast<unsigned char*>(dst)); return true;
    case 3: eachOut(src, count, 1, dst, [](unsigned char* q, float x) { *q = std::uint8_t(toInt8(x)); }); return true;
    case 4: eachOut(src, count, 1, dst, [](unsigned char* q, float x) { *q = toUint8(x); }); return true;
    case 5:
        eachOut(src, count, 4, dst, [](unsigned char* q, float x) { storeLE<std::int32_t>(q, toInt24(x)); });
        return true;
    case 6:
        eachOut(src, count, 4, dst, [](unsigned char* q, float x) { storeLE<std::int32_t>(q, toInt32(x)); });
        return true;
    case 7: eachOut(src, count, 8, dst, [](unsigned char* q, float x) { storeLE<double>(q, double(x)); }); return true;
    default: return false;
    }
}

}  // namespace Aud::SampleConvert
