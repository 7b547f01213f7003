// The scalar kernel tables: "reference" applies the per-sample definitions one byte
// group at a time; "generic" uses the exact integer maps of the export conversions and
// fixed-size copies. The vector tables fall back to "generic" for their tails.
#include "AudAtoms/buffers/Aud__SampleManip.h"
#include "AudAtoms/internal/ByteAccess.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Aud::SampleManip {

namespace {

void store24(unsigned char* p, std::int32_t v) {
    p[0] = std::uint8_t(v);
    p[1] = std::uint8_t(v >> 8);
    p[2] = std::uint8_t(v >> 16);
}

// exportInt32 without division or double precision (the derivation is beside
// int32RoundTrip in internal/SimdSse2.h): s + 0.5 +- 2^-10 rounded once to a float (the
// high and the low 8 bits of s added as two exact floats), truncated, less one for
// s > 0; the two carry values of each sign 64 further out. The tests compare it with
// exportInt32 for every 32-bit input.
std::int32_t int32Map(std::int32_t s) {
    const std::uint32_t u = std::uint32_t(s);
    const bool negative = s < 0;
    if (((negative ? ~u : u) | 0x100u) == 0x7FFFFFBFu) return std::int32_t(negative ? u & ~0x7Fu : u | 0x7Fu);
    const float hi = float(std::int32_t(u & ~0xFFu));
    const float lo = float(u & 0xFFu) + (negative ? 0.4990234375f : 0.5009765625f);  // 0.5 -+ 2^-10
    return std::int32_t(std::int64_t(hi + lo) - (s > 0 ? 1 : 0));
}

// The exact integer maps of the export conversions (equal to the definitions for every
// input; the tests walk the whole input range of every type but the floating ones).
template <int Type>
void exportOne(const unsigned char* p, unsigned char* q) {
    if constexpr (Type == 0) {
        storeLE<float>(q, exportFloat32(loadLE<float>(p)));
    } else if constexpr (Type == 1) {
        std::memcpy(q, p, 2);  // int16 -> float -> int16 is exact
    } else if constexpr (Type == 2) {
        std::memcpy(q, p, 3);  // int24 -> float -> int24 is exact
    } else if constexpr (Type == 3) {
        *q = *p;  // int8 -> float -> int8 is exact
    } else if constexpr (Type == 4) {
        *q = std::uint8_t(*p - (*p != 0));  // trunc(s * 127.5 / 128)
    } else if constexpr (Type == 5) {
        storeLE<std::int32_t>(q, std::int32_t(loadLE<std::uint32_t>(p) << 8) >> 8);
    } else if constexpr (Type == 6) {
        storeLE<std::int32_t>(q, int32Map(loadLE<std::int32_t>(p)));
    } else if constexpr (Type == 7) {
        storeLE<double>(q, exportFloat64(loadLE<double>(p)));
    } else if constexpr (Type == 8) {
        storeLE<std::uint32_t>(q, (loadLE<std::uint32_t>(p) >> 12) & 0xFFFFu);
    } else {
        storeLE<std::int32_t>(q, std::int32_t(loadLE<std::uint32_t>(p) << 4) >> 8);
    }
}

constexpr unsigned kStride[10] = {4, 2, 3, 1, 1, 4, 4, 8, 4, 4};

template <int Type>
void exportGeneric(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    constexpr unsigned B = kStride[Type];
    if constexpr (Type == 2) {
        // Packed 24-bit, before the last frame: four bytes at a time; the fourth lands
        // on the next sample's first byte (read inside the plane, written over later).
        for (unsigned s = 0; s + 1 < frames; ++s) {
            unsigned char* q = out + std::size_t(s) * channels * 3;
            for (unsigned c = 0; c < channels; ++c, q += 3)
                storeLE<std::uint32_t>(q, loadLE<std::uint32_t>(planes[c] + std::size_t(s) * 3));
        }
        if (frames > 0) {
            unsigned char* q = out + std::size_t(frames - 1) * channels * 3;
            for (unsigned c = 0; c < channels; ++c, q += 3) std::memcpy(q, planes[c] + std::size_t(frames - 1) * 3, 3);
        }
        return;
    }
    for (unsigned s = 0; s < frames; ++s) {
        unsigned char* q = out + std::size_t(s) * channels * B;
        for (unsigned c = 0; c < channels; ++c, q += B) exportOne<Type>(planes[c] + std::size_t(s) * B, q);
    }
}

}  // namespace

namespace {

// ---- reference ----

template <class In, class Out, Out (*convert)(In)>
void exportRef(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    for (unsigned s = 0; s < frames; ++s)
        for (unsigned c = 0; c < channels; ++c)
            storeLE<Out>(out + (std::size_t(s) * channels + c) * sizeof(Out),
                         convert(loadLE<In>(planes[c] + std::size_t(s) * sizeof(In))));
}

void exportRef24(const unsigned char* const* planes, unsigned channels, unsigned frames, unsigned char* out) {
    for (unsigned s = 0; s < frames; ++s)
        for (unsigned c = 0; c < channels; ++c)
            store24(out + (std::size_t(s) * channels + c) * 3, exportInt24(int24At(planes[c] + std::size_t(s) * 3)));
}

void splitRef(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
              unsigned frames, unsigned char* const* outs) {
    const std::size_t frameBytes = std::size_t(channels) * stride;
    for (unsigned c = 0; c < channels; ++c) {
        std::size_t p = bigEndian ? std::size_t(c) * stride + sampleBytes - 1 : std::size_t(c) * sampleBytes;
        unsigned char* dst = outs[c];
        for (unsigned s = 0; s < frames; ++s, p += frameBytes)
            for (unsigned b = 0; b < sampleBytes; ++b) *dst++ = bigEndian ? src[p - b] : src[p + b];
    }
}

void swapPairsRef(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char b0 = src[2 * i], b1 = src[2 * i + 1];
        dst[2 * i] = b1;
        dst[2 * i + 1] = b0;
    }
}

void reverseQuadsRef(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (std::size_t i = 0; i < count; ++i) {
        unsigned char b[4];
        std::memcpy(b, src + 4 * i, 4);
        for (unsigned k = 0; k < 4; ++k) dst[4 * i + k] = b[3 - k];
    }
}

void mirrorLowHalfRef(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char b0 = src[4 * i], b1 = src[4 * i + 1];
        dst[4 * i] = b0;
        dst[4 * i + 1] = b1;
        dst[4 * i + 2] = b1;
        dst[4 * i + 3] = b0;
    }
}

float exportF32(float x) { return exportFloat32(x); }
std::int16_t exportI16(std::int16_t s) { return exportInt16(s); }
std::int8_t exportI8(std::int8_t s) { return exportInt8(s); }
std::uint8_t exportU8(std::uint8_t s) { return exportUint8(s); }
std::int32_t exportI32(std::int32_t s) { return exportInt32(s); }
double exportF64(double d) { return exportFloat64(d); }
std::uint32_t exportP24(std::uint32_t w) { return exportPadded24(w); }
std::uint32_t exportA16(std::uint32_t w) { return exportAes16(w); }
std::uint32_t exportA24(std::uint32_t w) { return exportAes24(w); }

// ---- generic ----

template <unsigned Bytes, bool BigEndian>
void splitFixed(const unsigned char* src, unsigned channels, unsigned stride, unsigned frames,
                unsigned char* const* outs) {
    const std::size_t frameBytes = std::size_t(channels) * stride;
    unsigned first = 0;  // frames done by the four-byte loop
    if constexpr (Bytes == 3) {
        // Before the last frame, four bytes at a time: read inside the block (the byte
        // after a sample's three belongs to the block), the fourth written on the next
        // sample's first byte and later overwritten. The last frame goes bytewise below.
        if (frames > 1) {
            for (unsigned c = 0; c < channels; ++c) {
                const unsigned char* p = src + (BigEndian ? std::size_t(c) * stride : std::size_t(c) * 3);
                unsigned char* dst = outs[c];
                for (unsigned s = 0; s + 1 < frames; ++s, p += frameBytes, dst += 3) {
                    const std::uint32_t v = loadLE<std::uint32_t>(p);
                    storeLE<std::uint32_t>(dst, BigEndian ? __builtin_bswap32(v) >> 8 : v);
                }
            }
            first = frames - 1;
        }
    }
    for (unsigned c = 0; c < channels; ++c) {
        const unsigned char* p =
            src + std::size_t(first) * frameBytes + (BigEndian ? std::size_t(c) * stride : std::size_t(c) * Bytes);
        unsigned char* dst = outs[c] + std::size_t(first) * Bytes;
        for (unsigned s = first; s < frames; ++s, p += frameBytes, dst += Bytes) {
            unsigned char b[Bytes];
            std::memcpy(b, p, Bytes);
            if (BigEndian)
                for (unsigned k = 0; k < Bytes / 2; ++k) {
                    const unsigned char t = b[k];
                    b[k] = b[Bytes - 1 - k];
                    b[Bytes - 1 - k] = t;
                }
            std::memcpy(dst, b, Bytes);
        }
    }
}

template <bool BigEndian>
void splitGenericOrder(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes,
                       unsigned frames, unsigned char* const* outs) {
    switch (sampleBytes) {
    case 1: splitFixed<1, BigEndian>(src, channels, stride, frames, outs); return;
    case 2: splitFixed<2, BigEndian>(src, channels, stride, frames, outs); return;
    case 3: splitFixed<3, BigEndian>(src, channels, stride, frames, outs); return;
    case 4: splitFixed<4, BigEndian>(src, channels, stride, frames, outs); return;
    case 8: splitFixed<8, BigEndian>(src, channels, stride, frames, outs); return;
    default: splitRef(src, channels, stride, sampleBytes, BigEndian, frames, outs); return;
    }
}

void splitGeneric(const unsigned char* src, unsigned channels, unsigned stride, unsigned sampleBytes, bool bigEndian,
                  unsigned frames, unsigned char* const* outs) {
    if (bigEndian) splitGenericOrder<true>(src, channels, stride, sampleBytes, frames, outs);
    else splitGenericOrder<false>(src, channels, stride, sampleBytes, frames, outs);
}

void swapPairsGeneric(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (unsigned i = 0; i < count; ++i)
        storeLE<std::uint16_t>(dst + 2 * std::size_t(i),
                               __builtin_bswap16(loadLE<std::uint16_t>(src + 2 * std::size_t(i))));
}

void reverseQuadsGeneric(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (unsigned i = 0; i < count; ++i)
        storeLE<std::uint32_t>(dst + 4 * std::size_t(i),
                               __builtin_bswap32(loadLE<std::uint32_t>(src + 4 * std::size_t(i))));
}

void mirrorLowHalfGeneric(const unsigned char* src, unsigned char* dst, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        const std::uint32_t low = loadLE<std::uint32_t>(src + 4 * std::size_t(i)) & 0xFFFFu;
        const std::uint32_t swapped = __builtin_bswap16(std::uint16_t(low));
        storeLE<std::uint32_t>(dst + 4 * std::size_t(i), low | swapped << 16);
    }
}

}  // namespace

const Kernels& referenceKernels() {
    static const Kernels k = {
        "reference",
        {exportRef<float, float, exportF32>, exportRef<std::int16_t, std::int16_t, exportI16>, exportRef24,
         exportRef<std::int8_t, std::int8_t, exportI8>, exportRef<std::uint8_t, std::uint8_t, exportU8>,
         exportRef<std::uint32_t, std::uint32_t, exportP24>, exportRef<std::int32_t, std::int32_t, exportI32>,
         exportRef<double, double, exportF64>, exportRef<std::uint32_t, std::uint32_t, exportA16>,
         exportRef<std::uint32_t, std::uint32_t, exportA24>},
        splitRef,
        swapPairsRef,
        reverseQuadsRef,
        mirrorLowHalfRef,
    };
    return k;
}

const Kernels& genericKernels() {
    static const Kernels k = {
        "scalar",
        {exportGeneric<0>, exportGeneric<1>, exportGeneric<2>, exportGeneric<3>, exportGeneric<4>, exportGeneric<5>,
         exportGeneric<6>, exportGeneric<7>, exportGeneric<8>, exportGeneric<9>},
        splitGeneric,
        swapPairsGeneric,
        reverseQuadsGeneric,
        mirrorLowHalfGeneric,
    };
    return k;
}

}  // namespace Aud::SampleManip
