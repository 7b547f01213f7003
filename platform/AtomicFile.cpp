#include "platform/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace platform {

bool writeFileAtomically(const std::string& path, const std::string& bytes, std::string* error) {
    std::string tmpl = path + ".tmp.XXXXXX";
    const int fd = ::mkstemp(tmpl.data());
    if (fd < 0) {
        if (error) *error = "cannot create a temporary file beside " + path + ": " + std::strerror(errno);
        return false;
    }
    const char* p = bytes.data();
    std::size_t left = bytes.size();
    bool ok = true;
    while (left > 0) {
        const ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            ok = false;
            break;
        }
        p += n;
        left -= std::size_t(n);
    }
    if (ok && ::fsync(fd) != 0) ok = false;
    if (::close(fd) != 0) ok = false;
    if (ok) ::chmod(tmpl.c_str(), 0644);
    if (ok && std::rename(tmpl.c_str(), path.c_str()) != 0) ok = false;
    if (!ok) {
        if (error) *error = "cannot write " + path + ": " + std::strerror(errno);
        std::remove(tmpl.c_str());
    }
    return ok;
}

bool readWholeFile(const std::string& path, std::string& bytes, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = "cannot open " + path;
        return false;
    }
    std::ostringstream s;
    s << in.rdbuf();
    bytes = s.str();
    return true;
}

} // namespace platform
