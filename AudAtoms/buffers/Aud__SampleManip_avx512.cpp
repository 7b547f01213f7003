// The avx512 sample kernel table (see internal/SampleKernelBody.h).
#if defined(__x86_64__)
#include "AudAtoms/internal/SimdAvx512.h"
#include "AudAtoms/internal/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& avx512KernelTable() {
    static const Kernels k = makeKernels("avx512");
    return k;
}

} // namespace Aud::SampleManip
#endif
