// Fuzzes reading a sample rate's display text: any wide text must give one of the
// concrete base rates, and a text that is not the 48 kHz default must be exactly the
// display text of the rate it gave.
#include "AudAtoms/AudAtoms.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Two bytes a character, so that non-ASCII and NUL characters occur too.
    std::wstring text;
    for (std::size_t i = 0; i + 1 < size; i += 2) text.push_back(wchar_t(data[i] | (data[i + 1] << 8)));
    const LightweightString<wchar_t> shown(text);
    const Aud::eBaseSampleRate code = Aud::fromDisplayString(shown);
    if (code < Aud::keBaseSampleRate11025 || code > Aud::keBaseSampleRate96000) std::abort();
    if (code != Aud::keBaseSampleRate48000 && !(Aud::getDisplayString(code) == shown)) std::abort();
    // The null text reads as the default too.
    if (Aud::fromDisplayString(LightweightString<wchar_t>()) != Aud::keBaseSampleRate48000) std::abort();
    return 0;
}
