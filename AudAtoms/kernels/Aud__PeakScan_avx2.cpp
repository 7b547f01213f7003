// The peak scans over 256-bit AVX2 vectors; compiled with -mavx2, used only on CPUs
// that report AVX2.
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/PeakSimdAvx2.h"
#include "AudAtoms/internal/PeakScanBody.h"

const Aud::PeakScan::Kernels& Aud::PeakScan::avx2KernelTable() {
    static const Kernels table = makeKernels<S>("avx2");
    return table;
}
#endif
