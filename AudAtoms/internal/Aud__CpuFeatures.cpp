#include "AudAtoms/internal/Aud__CpuFeatures.h"

namespace Aud::Cpu {

namespace {

struct Features {
    bool avx2 = false;
    bool avx512 = false;
    bool avx512vbmi = false;
};

const Features& features() {
    static const Features f = [] {
        Features r;
#ifdef AUDATOMS_X86_64
        __builtin_cpu_init();
        r.avx2 = __builtin_cpu_supports("avx2");
        r.avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
        r.avx512vbmi = r.avx512 && __builtin_cpu_supports("avx512vbmi");
#endif
        return r;
    }();
    return f;
}

}  // namespace

bool supports(eInstructionSet set) {
#ifdef AUDATOMS_X86_64
    switch (set) {
    case eInstructionSet::kSSE2: return true;
    case eInstructionSet::kAVX2: return features().avx2;
    case eInstructionSet::kAVX512: return features().avx512;
    }
#else
    (void)set;
    (void)features;
#endif
    return false;
}

bool supportsAVX512VBMI() {
#ifdef AUDATOMS_X86_64
    return features().avx512vbmi;
#else
    return false;
#endif
}

eInstructionSet widest() {
    if (supports(eInstructionSet::kAVX512)) return eInstructionSet::kAVX512;
    if (supports(eInstructionSet::kAVX2)) return eInstructionSet::kAVX2;
    return eInstructionSet::kSSE2;
}

const char* name(eInstructionSet set) {
    switch (set) {
    case eInstructionSet::kSSE2: return "SSE2";
    case eInstructionSet::kAVX2: return "AVX2";
    case eInstructionSet::kAVX512: return "AVX-512";
    }
    return "?";
}

}  // namespace Aud::Cpu
