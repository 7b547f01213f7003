#include "AudAtoms/internal/Aud__CpuFeatures.h"

#ifdef AUDATOMS_X86_64
#include <cpuid.h>

#include <cstring>
#endif

namespace Aud::Cpu {

namespace {

struct Features {
    bool avx2 = false;
    bool avx512 = false;
    bool avx512vbmi = false;
    bool splitsWide = false;
};

#ifdef AUDATOMS_X86_64
// AMD family 19h: its AVX-512 processors run each 512-bit operation as two 256-bit halves.
bool isAmdFamily19h() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(0, &a, &b, &c, &d) == 0) return false;
    char vendor[13] = {};
    std::memcpy(vendor, &b, 4);
    std::memcpy(vendor + 4, &d, 4);
    std::memcpy(vendor + 8, &c, 4);
    if (std::strcmp(vendor, "AuthenticAMD") != 0) return false;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0) return false;
    const unsigned base = (a >> 8) & 0xFu, extended = (a >> 20) & 0xFFu;
    return (base == 0xFu ? base + extended : base) == 0x19u;
}
#endif

const Features& features() {
    static const Features f = [] {
        Features r;
#ifdef AUDATOMS_X86_64
        __builtin_cpu_init();
        r.avx2 = __builtin_cpu_supports("avx2");
        r.avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
        r.avx512vbmi = r.avx512 && __builtin_cpu_supports("avx512vbmi");
        r.splitsWide = r.avx512 && isAmdFamily19h();
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

bool splitsWideVectors() { return features().splitsWide; }

const char* name(eInstructionSet set) {
    switch (set) {
    case eInstructionSet::kSSE2: return "SSE2";
    case eInstructionSet::kAVX2: return "AVX2";
    case eInstructionSet::kAVX512: return "AVX-512";
    }
    return "?";
}

}  // namespace Aud::Cpu
