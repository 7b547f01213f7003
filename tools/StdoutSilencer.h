// While alive, standard output goes to /dev/null (for library calls whose reports
// would flood it, such as writing 24-bit samples in 4-byte words). Restores the
// previous standard output on destruction. Threads: the main thread only.
#pragma once

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace audtool {

class StdoutSilencer {
public:
    StdoutSilencer() {
        std::fflush(stdout);
        saved_ = ::dup(STDOUT_FILENO);
        const int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) {
            ::dup2(null, STDOUT_FILENO);
            ::close(null);
        }
    }
    ~StdoutSilencer() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            ::dup2(saved_, STDOUT_FILENO);
            ::close(saved_);
        }
    }
    StdoutSilencer(const StdoutSilencer&) = delete;
    StdoutSilencer& operator=(const StdoutSilencer&) = delete;

private:
    int saved_ = -1;
};

}  // namespace audtool
