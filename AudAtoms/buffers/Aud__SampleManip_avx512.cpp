// The avx512 sample kernel table (see internal/SampleKernelBody.h).
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdAvx512.h"
#include "AudAtoms/internal/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& avx512KernelTable() {
    static const Kernels k = makeKernels("avx512");
    return k;
}

}  // namespace Aud::SampleManip
#endif
