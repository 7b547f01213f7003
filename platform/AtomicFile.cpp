#include "platform/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {
std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

bool writeAll(int fd, const std::string& bytes) {
    const char* p = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        p += n;
        left -= std::size_t(n);
    }
    return true;
}
}  // namespace

bool writeFileAtomically(const std::string& path, const std::string& bytes, std::string* error) {
    std::string tmpl = path + ".tmp.XXXXXX";
    const int fd = ::mkstemp(tmpl.data());
    if (fd < 0) {
        if (error) *error = "cannot create a temporary file beside " + path + ": " + std::strerror(errno);
        return false;
    }
    // The replacement keeps the permissions of the file it replaces (0644 for a new one).
    struct stat old {};
    const mode_t mode = ::stat(path.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644;
    int failure = 0;
    if (!writeAll(fd, bytes)) failure = errno;
    if (!failure && ::fchmod(fd, mode) != 0) failure = errno;
    if (!failure && ::fsync(fd) != 0) failure = errno;
    if (::close(fd) != 0 && !failure) failure = errno;
    if (!failure && std::rename(tmpl.c_str(), path.c_str()) != 0) failure = errno;
    if (failure) {
        if (error) *error = "cannot write " + path + ": " + std::strerror(failure);
        std::remove(tmpl.c_str());
        return false;
    }
    // Make the rename itself durable (best effort: some file systems refuse it).
    const int dir = ::open(directoryOf(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

bool readWholeFile(const std::string& path, std::string& bytes, std::string* error) {
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        if (error) *error = "cannot read " + path + ": it is a directory";
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = "cannot open " + path;
        return false;
    }
    std::ostringstream s;
    s << in.rdbuf();
    if (in.bad()) {
        if (error) *error = "cannot read " + path;
        return false;
    }
    bytes = s.str();
    return true;
}

}  // namespace platform
