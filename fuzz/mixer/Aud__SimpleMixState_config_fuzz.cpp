// Retrieves a mixer state from arbitrary configuration text. The first three bytes choose
// the dimensions (up to 16 inputs, 8 mixes, 18 output slots), the rest is the text. Once
// read and written back, the text must read and write back to itself (the mix mute and
// solo sections aside: they are written but never read).
#include "AudAtoms/AudAtoms.h"
#include "SimpleMixStateFuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {
void dropUnreadSections(QmIniFile& file) {
    file.section("SimpleMixState.MixChannels.Mute").clear();
    file.section("SimpleMixState.MixChannels.Solo").clear();
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    quietExpectedDiagnostics();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size < 3) return 0;
    QuietAssertionLines quiet;
    const int inputs = data[0] % 17, mixes = data[1] % 9, outputs = data[2] % 19;
    QmIniFile text;
    text.fromText(std::string(reinterpret_cast<const char*>(data) + 3, size - 3));

    Aud::SimpleMixState first(inputs, mixes, outputs);
    first.retrieveCompatibleConfigurationInformation(text);
    QmIniFile written;
    first.storeCompatibleConfigurationInformation(written);
    dropUnreadSections(written);

    Aud::SimpleMixState second(inputs, mixes, outputs);
    QmIniFile reread;
    reread.fromText(written.toText());
    second.retrieveCompatibleConfigurationInformation(reread);
    QmIniFile rewritten;
    second.storeCompatibleConfigurationInformation(rewritten);
    dropUnreadSections(rewritten);

    if (written.toText() != rewritten.toText()) std::abort();
    return 0;
}
