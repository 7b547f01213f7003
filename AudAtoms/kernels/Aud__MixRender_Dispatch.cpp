// Choice of the vectorised loops, made once on first use: the widest instruction set the
// CPU runs, except on CPUs that split 512-bit operations in two, where the kernel
// benchmark's instruction-set table shows the AVX2 loops faster for the plain peak scan
// (10-20 % at 256 to 4096 samples) and for the adds without a peak (Add,
// MultiplyConstantAndAdd, MultiplyConstantAndAdd2: 5-17 % at 256 and 1024 samples, a tie
// or better at 4096), while the gains, the peak-with-store kernels and the ramps gain
// from AVX-512. Tests and benchmarks may force one set for every kernel
// (Aud__MixRender_testing.h). Results are identical whichever loops run.
#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include "AudAtoms/internal/Aud__MixRender_Loops.h"

#include <atomic>

namespace Aud::MixRender {

namespace {

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

// The default choice: the widest set's table, with the AVX2 peak scan and adds where
// they are faster.
const Loops::Table* bestTable() {
#ifdef AUDATOMS_X86_64
    if (Cpu::widest() == eInstructionSet::kAVX512 && Cpu::splitsWideVectors()) {
        static const Loops::Table mixed = [] {
            Loops::Table t = Loops::kAvx512;
            t.peak = Loops::kAvx2.peak;
            t.add = Loops::kAvx2.add;
            t.mulAdd = Loops::kAvx2.mulAdd;
            t.mulAdd2 = Loops::kAvx2.mulAdd2;
            t.mulAdd2Same = Loops::kAvx2.mulAdd2Same;
            return t;
        }();
        return &mixed;
    }
#endif
    return tableFor(Cpu::widest());
}

}  // namespace

bool isInstructionSetSupported(eInstructionSet set) {
#ifdef AUDATOMS_X86_64
    return Cpu::supports(set);
#else
    return set == eInstructionSet::kSSE2;  // other processors run the scalar loops
#endif
}

namespace Loops {

std::atomic<const Table*> gActive{nullptr};

const Table& chooseOnFirstUse() {
    const Table* t = bestTable();
    gActive.store(t, std::memory_order_release);
    return *t;
}

}  // namespace Loops

namespace {

// The set whose loop a table entry is (the entries of the scalar table count as SSE2's).
template <class Fn>
eInstructionSet setOf(Fn Loops::Table::*entry) {
    const Loops::Table& t = Loops::active();
    for (eInstructionSet s : {eInstructionSet::kAVX512, eInstructionSet::kAVX2, eInstructionSet::kSSE2}) {
        const Loops::Table* candidate = tableFor(s);
        if (candidate != nullptr && candidate->*entry == t.*entry) return s;
    }
    return eInstructionSet::kSSE2;
}

}  // namespace

eInstructionSet getInstructionSet() { return setOf(&Loops::Table::mul); }

eInstructionSet getPeakScanInstructionSet() { return setOf(&Loops::Table::peak); }

eInstructionSet getAddInstructionSet() { return setOf(&Loops::Table::mulAdd); }

bool setInstructionSet(eInstructionSet set) {
    if (!isInstructionSetSupported(set)) return false;
    Loops::gActive.store(tableFor(set), std::memory_order_release);
    return true;
}

void selectBestInstructionSet() { Loops::gActive.store(bestTable(), std::memory_order_release); }

const char* getInstructionSetName(eInstructionSet set) { return Cpu::name(set); }

}  // namespace Aud::MixRender
