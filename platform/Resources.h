// Translated string resources of the host, by resource number.
// English texts are built in for every number the library uses:
//   10055 "None"             no or unknown sample rate / connection type
//   10204 "Always"           track grouping condition 3 (the default)
//   10205 "When timecodes match"            track grouping condition 2
//   10206 "When names and timecodes match"  track grouping condition 1
//   10342 "Project rate"     the project's sample rate
//   11643 "Embedded (SDI)", 11644 "ADAT", 11645 "AES/EBU", 11646 "Analogue",
//   11647 "S/PDIF"           audio connection types
// A translated table can be loaded from the UTF-8 file named by the environment
// variable AUDATOMS_RESOURCES, read on first use (and again after reloadResources()).
// Its lines are "<number> = <text>": blanks around the number are allowed, one blank
// after '=' is dropped and the rest of the line is the text (a UTF-8 byte-order mark
// and CR line ends are accepted); lines starting with '#', blank lines and lines
// without a readable number are ignored. A translated text replaces the built-in one;
// an empty one leaves it. An unknown number gives an empty (not null) string.
// Threads: any thread; lookups take a lock and may allocate.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/LightweightString.h"

AUDPLATFORM_EXPORT LightweightString<wchar_t> resourceStrW(int id);

// The resource text with prefix and suffix around it. format selects the padding:
// 0 uses the text as it is; 1 pads the text with one blank on each side before
// adding prefix and suffix.
AUDPLATFORM_EXPORT LightweightString<wchar_t> paddedResourceStrW(int id, const LightweightString<wchar_t>& prefix,
                                                                 const LightweightString<wchar_t>& suffix,
                                                                 int format = 0);

namespace platform {
// Forgets a loaded translation table so the next lookup reads AUDATOMS_RESOURCES again.
AUDPLATFORM_EXPORT void reloadResources();
}  // namespace platform
