// The avx512vbmi sample kernel table (see internal/SampleKernelBody.h): the avx512 table
// compiled with AVX-512 VBMI, whose byte permutes the byte-granular window kernels use.
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/SimdAvx512.h"
#include "AudAtoms/internal/SampleKernelBody.h"

namespace Aud::SampleManip {

// Called only once the CPU is known to support this instruction set.
const Kernels& avx512VbmiKernelTable() {
    static const Kernels k = makeKernels("avx512vbmi");
    return k;
}

}  // namespace Aud::SampleManip
#endif
