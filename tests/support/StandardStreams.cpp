#include "StandardStreams.h"

#include "ScratchDir.h"
#include "ScratchFiles.h"

#include <cstdio>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace audatoms::test {

namespace {
// Points descriptor fd at a file for as long as it lives, then back where it was.
class Redirect {
public:
    Redirect(int fd, const std::string& path) : fd_(fd), saved_(::dup(fd)) {
        const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (saved_ < 0 || file < 0 || ::dup2(file, fd) < 0) throw std::runtime_error("cannot redirect to " + path);
        ::close(file);
    }
    ~Redirect() {
        ::dup2(saved_, fd_);
        ::close(saved_);
    }
    Redirect(const Redirect&) = delete;
    Redirect& operator=(const Redirect&) = delete;

private:
    int fd_;
    int saved_;
};
}  // namespace

StreamTexts captureStandardStreams(const std::function<void()>& fn) {
    ScratchDir dir;
    const std::string outPath = dir.file("stdout"), errPath = dir.file("stderr");
    std::fflush(nullptr);
    {
        Redirect out(1, outPath);
        Redirect err(2, errPath);
        struct FlushAtExit {
            ~FlushAtExit() { std::fflush(nullptr); }
        } flush;
        fn();
    }
    return {readFile(outPath), readFile(errPath)};
}

}  // namespace audatoms::test
