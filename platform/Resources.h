// Translated string resources of the host, by resource number.
// English texts are built in for every number the library uses; a translated table
// can be loaded from the UTF-8 file named by the environment variable
// AUDATOMS_RESOURCES (lines "<number> = <text>", '#' comments), read once on first use.
// An unknown number gives an empty string. Thread-safe.
#pragma once

#include "platform/LightweightString.h"

LightweightString<wchar_t> resourceStrW(int id);

// The resource text with prefix and suffix around it. format selects the padding:
// 0 uses the text as it is; 1 pads the text with one blank on each side before
// adding prefix and suffix.
LightweightString<wchar_t> paddedResourceStrW(int id,
                                              const LightweightString<wchar_t>& prefix,
                                              const LightweightString<wchar_t>& suffix,
                                              int format = 0);

namespace platform {
// Forgets a loaded translation table so the next lookup reads AUDATOMS_RESOURCES again.
void reloadResources();
}
