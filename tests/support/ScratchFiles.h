// Test helpers for the platform's file services: the scratch directory (ScratchDir.h),
// whole-file read and write, a scoped environment variable, and ways to make a save
// fail for real (a directory the process may not write, a file-size limit) in a child
// process.
#pragma once

#include "ScratchDir.h"

#include <functional>
#include <string>

namespace audatoms::test {

// Sets (value non-null) or unsets an environment variable; restores it on destruction.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    bool had_;
    std::string old_;
};

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
bool fileExists(const std::string& path);
unsigned long inodeOf(const std::string& path);
unsigned permissionsOf(const std::string& path);

// Runs body in a forked child process whose writes to dir are refused: the child
// drops to an unprivileged user when running as root, and dir is made read-only
// (mode 0555) for the duration. Returns what body returned; false also when the
// child could not be set up.
bool runWhereDirectoryIsReadOnly(const std::string& dir, const std::function<bool()>& body);
// Runs body in a forked child process whose files may not grow beyond maxBytes
// (writes past it fail with EFBIG). Returns what body returned.
bool runWithFileSizeLimit(unsigned long maxBytes, const std::function<bool()>& body);

}  // namespace audatoms::test
