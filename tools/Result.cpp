#include "tools/Result.h"

#include "tools/ToolError.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace audtool {

void printResult(const Result& result, bool json) {
    const std::string out = json ? result.json().dump(2) + "\n" : result.text();
    errno = 0;
    const bool written = std::fwrite(out.data(), 1, out.size(), stdout) == out.size();
    if (std::fflush(stdout) != 0 || !written || std::ferror(stdout)) {
        const int why = errno;
        std::clearerr(stdout);
        throw OutputError(std::string("standard output: cannot write the results: ") +
                          (why ? std::strerror(why) : "write error"));
    }
}

std::string formatText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string s(n > 0 ? std::size_t(n) : 0, '\0');
    if (n > 0) std::vsnprintf(s.data(), s.size() + 1, format, again);
    va_end(again);
    return s;
}

}  // namespace audtool
