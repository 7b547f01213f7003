#include "tools/SndfileOutput.h"

#include "tools/ToolError.h"

#include <sndfile.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace audtool {

namespace {

SndfileOutput::Io& ioOf(void* user) { return *static_cast<SndfileOutput::Io*>(user); }

void remember(SndfileOutput::Io& io) {
    if (io.firstError == 0) io.firstError = errno != 0 ? errno : EIO;
}

sf_count_t fileLength(void* user) {
    struct stat st {};
    if (::fstat(ioOf(user).fd, &st) != 0) {
        remember(ioOf(user));
        return -1;
    }
    return st.st_size;
}

sf_count_t seekTo(sf_count_t offset, int whence, void* user) {
    const off_t at = ::lseek(ioOf(user).fd, offset, whence);
    if (at < 0) remember(ioOf(user));
    return at;
}

sf_count_t readBytes(void* data, sf_count_t count, void* user) {
    auto* p = static_cast<char*>(data);
    sf_count_t done = 0;
    while (done < count) {
        const ssize_t n = ::read(ioOf(user).fd, p + done, std::size_t(count - done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) remember(ioOf(user));
        if (n <= 0) break;
        done += n;
    }
    return done;
}

sf_count_t writeBytes(const void* data, sf_count_t count, void* user) {
    const auto* p = static_cast<const char*>(data);
    sf_count_t done = 0;
    while (done < count) {
        const ssize_t n = ::write(ioOf(user).fd, p + done, std::size_t(count - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            remember(ioOf(user));
            break;
        }
        done += n;
    }
    return done;
}

sf_count_t position(void* user) {
    const off_t at = ::lseek(ioOf(user).fd, 0, SEEK_CUR);
    if (at < 0) remember(ioOf(user));
    return at;
}

}  // namespace

SndfileOutput::SndfileOutput(const std::filesystem::path& target, SF_INFO& info) : out_(target) {
    io_.fd = ::open(out_.tempPath().c_str(), O_RDWR | O_TRUNC | O_CLOEXEC);
    if (io_.fd < 0) throw OutputError(target.string() + ": cannot write: " + std::strerror(errno));
    SF_VIRTUAL_IO vio{fileLength, seekTo, readBytes, writeBytes, position};
    file_ = sf_open_virtual(&vio, SFM_WRITE, &info, &io_);
    if (!file_) {
        const std::string why = sf_strerror(nullptr);
        ::close(io_.fd);
        io_.fd = -1;
        throw OutputError(target.string() + ": cannot write: " + why);
    }
}

SndfileOutput::~SndfileOutput() {
    if (file_) sf_close(file_);
    if (io_.fd >= 0) ::close(io_.fd);
}

std::string SndfileOutput::reason() const {
    return io_.firstError != 0 ? std::strerror(io_.firstError) : sf_strerror(file_);
}

void SndfileOutput::commit() {
    const int err = sf_close(file_);
    file_ = nullptr;
    const int closed = ::close(io_.fd);
    if (closed != 0) remember(io_);
    io_.fd = -1;
    if (io_.firstError != 0)
        throw OutputError(target().string() + ": cannot write the file: " + std::strerror(io_.firstError));
    if (err != 0) throw OutputError(target().string() + ": cannot finish the file: " + sf_error_number(err));
    out_.commit();
}

}  // namespace audtool
