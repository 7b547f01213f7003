// The peak scans over 128-bit SSE2 vectors (the x86-64 baseline).
#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include "AudAtoms/internal/PeakSimdSse2.h"
#include "AudAtoms/internal/PeakScanBody.h"

const Aud::PeakScan::Kernels& Aud::PeakScan::sse2KernelTable() {
    static const Kernels table = makeKernels<S>("sse2");
    return table;
}
#endif
