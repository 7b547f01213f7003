// The peak scans over 128-bit SSE2 vectors (the x86-64 baseline).
#if defined(__x86_64__)
#include "AudAtoms/internal/PeakSimdSse2.h"
#include "AudAtoms/internal/PeakScanBody.h"

const Aud::PeakScan::Kernels& Aud::PeakScan::sse2KernelTable() {
    static const Kernels table = makeKernels<S>("sse2");
    return table;
}
#endif
