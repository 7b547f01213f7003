// The avx2 sample kernel table (see detail/SampleKernelBody.h).
#if defined(__x86_64__)
#include "AudAtoms/detail/SimdAvx2.h"
#include "AudAtoms/detail/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& avx2KernelTable() {
    static const Kernels k = makeKernels("avx2");
    return k;
}

} // namespace Aud::SampleManip
#endif
