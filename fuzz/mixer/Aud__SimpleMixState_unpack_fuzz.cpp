// Unpacks a mixer state from arbitrary bytes: as a whole object record (stream format 2,
// or format 1 when the first byte asks for it) or as the mixer layer's own data of an
// arbitrary version. Whatever comes out must pack, unpack and pack again to the same bytes.
#include "AudAtoms/AudAtoms.h"
#include "SimpleMixStateFuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {
std::string packOwn(const Aud::SimpleMixState& s) {
    StreamFile f;
    PStream p(f);
    s.pack(p);
    return f.bytes();
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quietExpectedDiagnostics();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size < 3) return 0;
    QuietAssertionLines quiet;
    StreamFile f;
    f.setBytes(std::string(reinterpret_cast<const char*>(data) + 3, size - 3));
    PStream s(f);
    Aud::SimpleMixState state;
    switch (data[0] % 3) {
    case 0: state.STRM_hierarchyUnpack(s); break;
    case 1:
        s.setFormatNumber(1);
        state.STRM_hierarchyUnpack(s);
        break;
    default:
        state.STRM_layerVersion() = {unsigned(data[1] % 3), unsigned(data[2] % 3)};
        state.unpack(s);
        break;
    }
    if (!state.valid()) return 0;

    const std::string once = packOwn(state);
    StreamFile f2;
    f2.setBytes(once);
    PStream s2(f2);
    Aud::SimpleMixState again;
    again.unpack(s2);
    if (!again.valid() || !f2.atEnd() || !s2.errorText().empty() || packOwn(again) != once) std::abort();
    return 0;
}
