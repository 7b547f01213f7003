// Checks that an input file can be read, with the reason when it cannot.
#pragma once

#include "tools/ToolError.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace audtool {

// InputError "<path>: cannot open: <reason>" or "<path>: is a directory, not <what>".
inline void requireReadableFile(const std::filesystem::path& path, const std::string& what) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) throw InputError(path.string() + ": cannot open: " + std::strerror(errno));
    if (S_ISDIR(st.st_mode)) throw InputError(path.string() + ": is a directory, not " + what);
    if (::access(path.c_str(), R_OK) != 0) throw InputError(path.string() + ": cannot open: " + std::strerror(errno));
}

}  // namespace audtool
