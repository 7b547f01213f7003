// Whole-file writes that never leave a damaged file: the bytes go to a temporary file
// beside the target, are flushed to disk, and the temporary replaces the target by
// rename. On any failure the target is untouched and the temporary removed.
#pragma once

#include <string>

namespace platform {
bool writeFileAtomically(const std::string& path, const std::string& bytes, std::string* error = nullptr);
bool readWholeFile(const std::string& path, std::string& bytes, std::string* error = nullptr);
} // namespace platform
