// Choice of the vectorised loops: the best instruction set the CPU (and the operating
// system's register saving) supports, found once on first use; tests and benchmarks may
// force another.
#include "AudAtoms/kernels/Aud__MixRender.h"

#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#include <atomic>

namespace Aud::MixRender {

namespace {

std::atomic<const Loops::Table*> gActive{nullptr};

const Loops::Table* tableFor(eInstructionSet set) {
#ifdef AUD_MIXRENDER_X86
    switch (set) {
    case eInstructionSet::kSSE2: return &Loops::kSse2;
    case eInstructionSet::kAVX2: return &Loops::kAvx2;
    case eInstructionSet::kAVX512: return &Loops::kAvx512;
    }
    return nullptr;
#else
    return set == eInstructionSet::kSSE2 ? &Loops::kScalar : nullptr;
#endif
}

eInstructionSet best() {
    if (isInstructionSetSupported(eInstructionSet::kAVX512)) return eInstructionSet::kAVX512;
    if (isInstructionSetSupported(eInstructionSet::kAVX2)) return eInstructionSet::kAVX2;
    return eInstructionSet::kSSE2;
}

} // namespace

bool isInstructionSetSupported(eInstructionSet set) {
#ifdef AUD_MIXRENDER_X86
    switch (set) {
    case eInstructionSet::kSSE2: return true;  // the x86-64 baseline
    case eInstructionSet::kAVX2: return __builtin_cpu_supports("avx2");
    case eInstructionSet::kAVX512:
        return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
               __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    }
    return false;
#else
    return set == eInstructionSet::kSSE2;  // other processors run the scalar loops
#endif
}

const Loops::Table& activeLoops() {
    const Loops::Table* t = gActive.load(std::memory_order_acquire);
    if (t == nullptr) {
        t = tableFor(best());
        gActive.store(t, std::memory_order_release);
    }
    return *t;
}

eInstructionSet getInstructionSet() {
    const Loops::Table* t = &activeLoops();
    for (eInstructionSet s : {eInstructionSet::kAVX512, eInstructionSet::kAVX2, eInstructionSet::kSSE2})
        if (tableFor(s) == t) return s;
    return eInstructionSet::kSSE2;
}

bool setInstructionSet(eInstructionSet set) {
    if (!isInstructionSetSupported(set)) return false;
    gActive.store(tableFor(set), std::memory_order_release);
    return true;
}

void selectBestInstructionSet() { gActive.store(tableFor(best()), std::memory_order_release); }

const char* getInstructionSetName(eInstructionSet set) {
    switch (set) {
    case eInstructionSet::kSSE2: return "SSE2";
    case eInstructionSet::kAVX2: return "AVX2";
    case eInstructionSet::kAVX512: return "AVX-512";
    }
    return "?";
}

} // namespace Aud::MixRender
