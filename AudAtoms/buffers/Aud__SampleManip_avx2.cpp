// The avx2 sample kernel table (see internal/SampleKernelBody.h).
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdAvx2.h"
#include "AudAtoms/internal/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& avx2KernelTable() {
    static const Kernels k = makeKernels("avx2");
    return k;
}

}  // namespace Aud::SampleManip
#endif
