#include "ScratchFiles.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace audatoms::test {

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value) ::setenv(name, value, 1);
    else ::unsetenv(name);
}

ScopedEnv::~ScopedEnv() {
    if (had_) ::setenv(name_.c_str(), old_.c_str(), 1);
    else ::unsetenv(name_.c_str());
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
    if (!out) ADD_FAILURE() << "cannot write " << path;
}

bool fileExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

unsigned long inodeOf(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<unsigned long>(st.st_ino) : 0;
}

unsigned permissionsOf(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? unsigned(st.st_mode & 07777) : 0;
}

namespace {
// Child exit codes: 0 body returned true, 1 body returned false, 2 setup failed.
bool runInChild(const std::function<bool()>& setup, const std::function<bool()>& body) {
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid < 0) {
        ADD_FAILURE() << "fork failed";
        return false;
    }
    if (pid == 0) {
        if (!setup()) ::_exit(2);
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
        ADD_FAILURE() << "the child process did not exit normally";
        return false;
    }
    if (WEXITSTATUS(status) == 2) ADD_FAILURE() << "the child process could not be set up";
    return WEXITSTATUS(status) == 0;
}
}  // namespace

bool runWhereDirectoryIsReadOnly(const std::string& dir, const std::function<bool()>& body) {
    if (::chmod(dir.c_str(), 0555) != 0) {
        ADD_FAILURE() << "chmod failed for " << dir;
        return false;
    }
    const bool result = runInChild(
        [] {
            // Root writes anywhere: drop to the conventional unprivileged user.
            if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return false;
            return true;
        },
        body);
    ::chmod(dir.c_str(), 0700);
    return result;
}

bool runWithFileSizeLimit(unsigned long maxBytes, const std::function<bool()>& body) {
    return runInChild(
        [maxBytes] {
            std::signal(SIGXFSZ, SIG_IGN);  // a write past the limit then fails with EFBIG
            struct rlimit limit {};
            limit.rlim_cur = limit.rlim_max = maxBytes;
            return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
        },
        body);
}

}  // namespace audatoms::test
