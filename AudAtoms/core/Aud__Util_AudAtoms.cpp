#include "AudAtoms/core/Aud__Util_AudAtoms.h"

#include "AudAtoms/AudAtomsVersion.h"
#include "AudAtoms/internal/AssertionSource.h"

#include <cstddef>

namespace Aud {

namespace {
constexpr detail::AssertionSource kSource{"ole/AudAtoms/Aud__Util_AudAtoms"};
}

LightweightString<wchar_t> getAsString(int sampleType) {
    static const wchar_t* const names[] = {
        L"24 bit floating point",     L"16 bit",         L"24 bit", L"8 bit signed", L"8 bit",
        L"24 bit unpacked (4 bytes)", L"32 bit integer",
    };
    if (unsigned(sampleType) < std::size(names)) return LightweightString<wchar_t>(names[sampleType]);
    kSource.report("false", 1138);
    return LightweightString<wchar_t>(L"Error");
}

int sampleTypeFromString(const LightweightString<wchar_t>& text) {
    // Codes 7 to 9 are tried as well: "Error" matches 7; kept as the host expects it.
    for (int code = 0; code <= 9; ++code)
        if (getAsString(code) == text) return code;
    return 0;
}

Vector<int> getExportChoicesAsInt() { return Vector<int>{1, 2, 5}; }

Vector<LightweightString<wchar_t>> getExportChoices() {
    Vector<LightweightString<wchar_t>> names;
    // The choice list is rebuilt for every position; the index is bounds-checked.
    for (std::size_t i = 0; i < getExportChoicesAsInt().size(); ++i)
        names.push_back(getAsString(getExportChoicesAsInt()[i]));
    return names;
}

}  // namespace Aud

extern "C" {
int audio_get_record_channels() { return 4; }
bool audio_playback_lock_to_word_clock() { return true; }
const char* audAtomsDllVersionStr() { return AUDATOMS_VERSION_STRING; }
}
