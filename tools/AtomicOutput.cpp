#include "tools/AtomicOutput.h"

#include "tools/ToolError.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace audtool {

namespace {

// Temporaries alive now, for removeLiveTemporaries() (which may only unlink).
constexpr int kSlots = 16;
constexpr std::size_t kPathMax = 4096;
char g_paths[kSlots][kPathMax];
std::atomic<bool> g_used[kSlots];

int claimSlot(const std::string& path) {
    if (path.size() >= kPathMax) return -1;
    for (int i = 0; i < kSlots; ++i) {
        if (g_used[i].load()) continue;
        std::memcpy(g_paths[i], path.c_str(), path.size() + 1);
        g_used[i].store(true);
        return i;
    }
    return -1;
}

void releaseSlot(int slot) {
    if (slot >= 0) g_used[slot].store(false);
}

// The folder the file is (to be) in.
std::filesystem::path folderOf(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

}  // namespace

void removeLiveTemporaries() noexcept {
    for (int i = 0; i < kSlots; ++i)
        if (g_used[i].load()) ::unlink(g_paths[i]);
}

AtomicOutput::AtomicOutput(std::filesystem::path target) : target_(std::move(target)) {
    if (target_.empty()) throw InputError("an output file name is empty");
    std::error_code ec;
    if (std::filesystem::is_directory(target_, ec))
        throw OutputError(target_.string() + ": is a directory, not an output file");
    const std::string pattern = target_.string() + ".tmp.XXXXXX";
    std::vector<char> name(pattern.c_str(), pattern.c_str() + pattern.size() + 1);
    const int fd = ::mkstemp(name.data());
    if (fd < 0)
        throw OutputError(target_.string() + ": cannot create the output file in " + folderOf(target_).string() + ": " +
                          std::strerror(errno));
    ::fchmod(fd, 0644);
    ::close(fd);
    temp_ = name.data();
    slot_ = claimSlot(temp_.string());
}

AtomicOutput::~AtomicOutput() {
    if (!committed_ && !temp_.empty()) ::unlink(temp_.c_str());
    releaseSlot(slot_);
}

void AtomicOutput::commit() {
    // The contents must be on disk before the rename makes them the target: a failed
    // flush fails the output (the destructor then removes the temporary).
    const int fd = ::open(temp_.c_str(), O_RDONLY);
    if (fd < 0 || ::fsync(fd) != 0) {
        const std::string why = std::strerror(errno);
        if (fd >= 0) ::close(fd);
        throw OutputError(target_.string() + ": cannot flush the output to disk: " + why);
    }
    if (::close(fd) != 0) {
        const std::string why = std::strerror(errno);
        throw OutputError(target_.string() + ": cannot flush the output to disk: " + why);
    }
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        throw OutputError(target_.string() + ": cannot move the finished output into place: " + why);
    }
    committed_ = true;
    releaseSlot(slot_);
    slot_ = -1;
    const std::filesystem::path folder = folderOf(target_);
    const int dfd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
}

}  // namespace audtool
