// Fuzzes the INI text reader: any bytes must parse without a crash, never report more
// skipped lines than the text has, and what was read must write out as text that
// reads back to the same text (the written form is a fixed point).
#include "platform/IniFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    QmIniFile ini;
    const int skipped = ini.fromText(text);
    const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
    if (skipped < 0 || skipped > lines) std::abort();
    const std::string written = ini.toText();
    QmIniFile again;
    if (again.fromText(written) != 0) std::abort();
    if (again.toText() != written) std::abort();
    return 0;
}
