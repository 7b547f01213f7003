// Choice of the vectorised loops: the widest instruction set the CPU runs, found once on
// first use; tests and benchmarks may force another (Aud__MixRender_testing.h).
#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#include <atomic>

namespace Aud::MixRender {

namespace {

std::atomic<const Loops::Table*> gActive{nullptr};

const Loops::Table* tableFor(eInstructionSet set) {
#ifdef AUDATOMS_X86_64
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

}  // namespace

bool isInstructionSetSupported(eInstructionSet set) {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(set);
#else
    return set == eInstructionSet::kSSE2;  // other processors run the scalar loops
#endif
}

const Loops::Table& activeLoops() {
    const Loops::Table* t = gActive.load(std::memory_order_acquire);
    if (t == nullptr) {
        t = tableFor(Cpu::widest());
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

void selectBestInstructionSet() { gActive.store(tableFor(Cpu::widest()), std::memory_order_release); }

const char* getInstructionSetName(eInstructionSet set) { return Cpu::name(set); }

}  // namespace Aud::MixRender
