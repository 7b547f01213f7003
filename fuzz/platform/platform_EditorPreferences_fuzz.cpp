// Fuzzes the preferences file reader: any bytes must either be refused with a line
// number, leaving the store as it was, or be read so that the store writes out text
// that reads back to the same store.
#include "platform/EditorPreferences.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    EditorPreferences p;
    p.setPreference("Sentinel", 7);
    const std::string before = p.toText();
    std::string error;
    if (!p.fromText(text, &error)) {
        if (error.find("line ") == std::string::npos) std::abort();
        if (p.toText() != before) std::abort();
        return 0;
    }
    const std::string written = p.toText();
    EditorPreferences again;
    if (!again.fromText(written, &error)) std::abort();
    if (again.toText() != written) std::abort();
    return 0;
}
