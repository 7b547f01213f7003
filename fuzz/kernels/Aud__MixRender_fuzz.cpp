// Fuzzes the vectorised kernels against their scalar references on every instruction
// set this machine runs. The input chooses the kernel, the count, the misalignments, the
// aliasing, the gains / level / delta, the incoming peak and the raw sample bits; any
// difference (other than which NaN) aborts.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__MixRender_testing.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace Aud::MixRender;

namespace {

struct Reader {
    const std::uint8_t* p;
    std::size_t n, at = 0;
    std::uint8_t byte() { return at < n ? p[at++] : 0; }
    float f32() {
        std::uint32_t b = 0;
        for (int i = 0; i < 4; ++i) b |= static_cast<std::uint32_t>(byte()) << (8 * i);
        float f;
        std::memcpy(&f, &b, 4);
        return f;
    }
};

bool same(float a, float b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, 4) == 0; }

struct Buffers {
    std::vector<float> src, d1, d2;
    float peak;
};

void run(bool reference, int kernel, Buffers& b, unsigned mis, int alias, unsigned count, float a, float c) {
    float* s = b.src.data() + (mis & 3);
    float* d1 = b.d1.data() + ((mis >> 2) & 3);
    float* d2 = b.d2.data() + ((mis >> 4) & 3);
    if (alias == 1) d1 = s;
    if (alias == 2) d2 = s;
    if (alias == 3) d2 = d1;
#define PICK(fn) (reference ? Reference::fn : fn)
    switch (kernel) {
    case 0: PICK(PeakScan)(s, count, &b.peak); break;
    case 1: PICK(MultiplyConstant)(s, d1, count, a); break;
    case 2: PICK(MultiplyConstantWithPrePeakScan)(s, d1, count, a, &b.peak); break;
    case 3: PICK(MultiplyWithDelta)(s, d1, count, a, c); break;
    case 4: PICK(Add)(s, d1, count); break;
    case 5: PICK(MultiplyConstantAndAdd)(s, d1, count, a); break;
    case 6: PICK(MultiplyConstantAndAdd2)(s, d1, d2, count, a, c); break;
    case 7: PICK(MultiplyConstantAndAddWithPrePeakScan)(s, d1, count, a, &b.peak); break;
    default: PICK(MultiplyWithDeltaAndAdd)(s, d1, count, a, c); break;
    }
#undef PICK
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader r{data, size};
    const int kernel = r.byte() % 9;
    const unsigned count = (r.byte() | (r.byte() << 8)) % 301;
    const unsigned mis = r.byte();
    const int alias = r.byte() % 4;
    const float a = r.byte() % 4 == 0 ? 1.0f : r.f32();
    const float c = r.byte() % 4 == 0 ? 0.0f : r.f32();
    const float peak = r.f32();
    Buffers start;
    const std::size_t n = count * 4 + 4;
    for (std::vector<float>* v : {&start.src, &start.d1, &start.d2}) {
        v->resize(n);
        for (float& f : *v) f = r.at < size ? r.f32() : static_cast<float>(v->size() % 7) - 3.0f;
    }
    start.peak = peak;
    Buffers ref = start;
    run(true, kernel, ref, mis, alias, count, a, c);
    for (eInstructionSet set : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512}) {
        if (!setInstructionSet(set)) continue;
        Buffers fast = start;
        run(false, kernel, fast, mis, alias, count, a, c);
        for (std::size_t i = 0; i < n; ++i)
            if (!same(fast.src[i], ref.src[i]) || !same(fast.d1[i], ref.d1[i]) || !same(fast.d2[i], ref.d2[i]))
                std::abort();
        if (!same(fast.peak, ref.peak)) std::abort();
    }
    selectBestInstructionSet();
    return 0;
}
