#include "AudAtoms/kernels/Aud__PeakScan_testing.h"

#include "AudAtoms/internal/Aud__CpuFeatures.h"

#include "AudAtoms/internal/PeakScanScalar.h"

#include <cstdint>

namespace Aud::PeakScan {

namespace {

static_assert(3.0517578e-5f == 1.0f / 32768.0f, "the 16-bit scale is exactly 2^-15");
static_assert(1.1920929e-7f == 1.0f / 8388608.0f, "the 24-bit scale is exactly 2^-23");

// One sample's value before its sign is cleared, as documented in the header.
template <int Type>
float sampleValue(const unsigned char* p) {
    if constexpr (Type == 0) return loadLE<float>(p);
    if constexpr (Type == 1) return float(loadLE<std::int16_t>(p)) * 3.0517578e-5f;
    if constexpr (Type == 2 || Type == 5) return float(int24At(p)) * 1.1920929e-7f;
    if constexpr (Type == 3) return float(std::int8_t(p[0])) * 0.0078125f;
    if constexpr (Type == 4) return float(int(p[0]) - 128) * 0.0078125f;
    if constexpr (Type == 6) return float((double(loadLE<std::int32_t>(p)) + 0.5) / 2147483647.5);
    if constexpr (Type == 7) return float(loadLE<double>(p));
    if constexpr (Type == 8) return float(aes16Of(loadLE<std::uint32_t>(p))) * 3.0517578e-5f;
    if constexpr (Type == 9) return float(aes24Of(loadLE<std::uint32_t>(p))) * 1.1920929e-7f;
}

template <int Type, unsigned Stride>
float referencePeak(const unsigned char* data, unsigned count) {
    float p = 0.0f;
    for (unsigned i = 0; i < count; ++i) {
        const float v = clearSign(sampleValue<Type>(data + std::size_t(i) * Stride));
        if (v > p) p = v;
    }
    return p;
}

const Kernels kReference = {
    "scalar",
    {referencePeak<0, 4>, referencePeak<1, 2>, referencePeak<2, 3>, referencePeak<3, 1>, referencePeak<4, 1>,
     referencePeak<5, 4>, referencePeak<6, 4>, referencePeak<7, 8>, referencePeak<8, 4>, referencePeak<9, 4>},
};

}  // namespace

const Kernels& referenceKernels() { return kReference; }

const Kernels* sse2Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kSSE2) ? &sse2KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels* avx2Kernels() {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(Cpu::eInstructionSet::kAVX2) ? &avx2KernelTable() : nullptr;
#else
    return nullptr;
#endif
}

const Kernels& activeKernels() {
    static const Kernels* const active = [] {
        if (const Kernels* k = avx2Kernels()) return k;
        if (const Kernels* k = sse2Kernels()) return k;
        return &kReference;
    }();
    return *active;
}

float peak(int sampleType, const void* data, unsigned count) {
    if (sampleType < 0 || sampleType > 9) return 0.0f;
    return activeKernels().peak[sampleType](static_cast<const unsigned char*>(data), count);
}

}  // namespace Aud::PeakScan
