// The sse2 sample kernel table (see internal/SampleKernelBody.h).
#if defined(__x86_64__)
#include "AudAtoms/internal/SimdSse2.h"
#include "AudAtoms/internal/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& sse2KernelTable() {
    static const Kernels k = makeKernels("sse2");
    return k;
}

} // namespace Aud::SampleManip
#endif
