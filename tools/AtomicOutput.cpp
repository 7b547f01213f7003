#include "tools/AtomicOutput.h"

#include "tools/ToolError.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace audtool {

namespace {

// Temporaries alive now, for the signal handler (which may only unlink).
constexpr int kSlots = 16;
constexpr std::size_t kPathMax = 4096;
char g_paths[kSlots][kPathMax];
std::atomic<bool> g_used[kSlots];

extern "C" void removeTemporariesAndExit(int sig) {
    for (int i = 0; i < kSlots; ++i)
        if (g_used[i].load()) ::unlink(g_paths[i]);
    ::_exit(128 + sig);
}

void installHandlers() {
    static bool installed = false;
    if (installed) return;
    installed = true;
    struct sigaction sa{};
    sa.sa_handler = removeTemporariesAndExit;
    sigemptyset(&sa.sa_mask);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) ::sigaction(sig, &sa, nullptr);
}

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

std::string folderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

AtomicOutput::AtomicOutput(std::string target) : target_(std::move(target)) {
    if (target_.empty()) throw InputError("an output file name is empty");
    struct stat st{};
    if (::stat(target_.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        throw InputError(target_ + ": is a directory, not an output file");
    installHandlers();
    std::vector<char> name(target_.begin(), target_.end());
    const char suffix[] = ".tmp.XXXXXX";
    name.insert(name.end(), suffix, suffix + sizeof suffix);
    const int fd = ::mkstemp(name.data());
    if (fd < 0)
        throw InputError(target_ + ": cannot create the output file in " + folderOf(target_) + ": " +
                         std::strerror(errno));
    ::fchmod(fd, 0644);
    ::close(fd);
    temp_ = name.data();
    slot_ = claimSlot(temp_);
}

AtomicOutput::~AtomicOutput() {
    if (!committed_ && !temp_.empty()) ::unlink(temp_.c_str());
    releaseSlot(slot_);
}

void AtomicOutput::commit() {
    const int fd = ::open(temp_.c_str(), O_RDONLY);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
    if (::rename(temp_.c_str(), target_.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        throw OutputError(target_ + ": cannot move the finished output into place: " + why);
    }
    committed_ = true;
    releaseSlot(slot_);
    slot_ = -1;
    const std::string folder = folderOf(target_);
    const int dfd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
}

} // namespace audtool
