// Sample type names and export choices, and the library's fixed facts for the host.
//
// Sample type codes (plain int) and their names (wide, not translated):
//   0 "24 bit floating point", 1 "16 bit", 2 "24 bit", 3 "8 bit signed", 4 "8 bit",
//   5 "24 bit unpacked (4 bytes)", 6 "32 bit integer"; anything else "Error".
// Export choices, in order: 1, 2, 5.
// Threads: any; no shared state. The name and choice lists allocate.
#pragma once

#include "AudAtoms/AudAtomsExport.h"

#include "platform/HostTypes.h"
#include "platform/LightweightString.h"

namespace Aud {

// The name of a sample type code. Codes outside 0 to 6 (negative ones too) print an
// assertion line and give "Error".
AUDATOMS_EXPORT LightweightString<wchar_t> getAsString(int sampleType);
// The first code 0, 1, ... 9 whose name equals text exactly, else 0. Codes 7 to 9 are
// tried too (each prints its assertion line), so "Error" gives 7 and an unknown text
// gives 0 after three assertion lines.
AUDATOMS_EXPORT int sampleTypeFromString(const LightweightString<wchar_t>& text);
// The sample type codes offered for export: 1, 2, 5.
AUDATOMS_EXPORT Vector<int> getExportChoicesAsInt();
// The names of the export choices, in the same order.
AUDATOMS_EXPORT Vector<LightweightString<wchar_t>> getExportChoices();

}  // namespace Aud

extern "C" {
// Number of channels recorded: 4.
AUDATOMS_EXPORT int audio_get_record_channels();
// Whether playback locks to word clock: true.
AUDATOMS_EXPORT bool audio_playback_lock_to_word_clock();
// The library's version, a static string: "14.5.0.0".
AUDATOMS_EXPORT const char* audAtomsDllVersionStr();
}
