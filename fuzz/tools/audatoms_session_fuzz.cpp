// Fuzzes the command-line tool's session reader: any text must either read as a
// session or be refused with the tool's input error naming the session and a line;
// nothing else may be thrown, and nothing may crash or hang.
#include "tools/Session.h"
#include "tools/ToolError.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const audtool::Session s = audtool::parseSession(text, "fuzz.ini", "/nonexistent-folder");
        if (s.rate == 0 || s.lengthSeconds <= 0) std::abort();
    } catch (const audtool::InputError& e) {
        if (std::string(e.what()).rfind("fuzz.ini", 0) != 0) std::abort();
    }
    return 0;
}
