// Whole-file reads and writes for the platform's persisted files (preferences, INI
// files, object streams).
// writeFileAtomically never leaves a damaged file: the bytes go to a temporary file
// beside the target ("<path>.tmp.XXXXXX"), which takes the permissions of the file it
// replaces (0644 for a new file), is flushed to disk and then renamed over the target;
// the directory is flushed after the rename. On any failure the target is untouched,
// the temporary removed, false returned and the reason (with the path) put in *error.
// readWholeFile reads a file's bytes; false (with *error) when it cannot be opened or
// is a directory.
// Threads: any thread; two writers of one path each replace it whole (the last rename
// wins).
#pragma once

#include "platform/AudPlatformExport.h"

#include <string>

namespace platform {
AUDPLATFORM_EXPORT bool writeFileAtomically(const std::string& path, const std::string& bytes,
                                            std::string* error = nullptr);
AUDPLATFORM_EXPORT bool readWholeFile(const std::string& path, std::string& bytes, std::string* error = nullptr);
}  // namespace platform
