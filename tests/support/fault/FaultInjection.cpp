#include "tests/support/fault/FaultInjection.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <sys/types.h>
#include <unistd.h>

namespace audatoms::test::fault {
namespace {

struct ThreadState {
    bool counting = false;
    bool armed = false;
    bool fired = false;
    Op op = Op::write;
    int k = 0;
    int error = 0;
    Counts counts;
};

thread_local ThreadState t_state;
thread_local unsigned t_writeLimit = 0;

int& slot(Counts& c, Op op) {
    switch (op) {
    case Op::write: return c.write;
    case Op::fsync: return c.fsync;
    case Op::close: return c.close;
    case Op::rename: return c.rename;
    }
    return c.write;
}

// Counts the call; true when this call must fail.
bool shouldFail(Op op) {
    ThreadState& s = t_state;
    if (!s.counting) return false;
    const int n = ++slot(s.counts, op);
    if (s.armed && !s.fired && s.op == op && n == s.k) {
        s.fired = true;
        return true;
    }
    return false;
}

int failWith() {
    errno = t_state.error;
    return -1;
}

template <class F>
F next(const char* symbol) {
    void* p = ::dlsym(RTLD_NEXT, symbol);
    if (!p) {
        std::fprintf(stderr, "fault injection: no next definition of %s\n", symbol);
        std::abort();
    }
    return reinterpret_cast<F>(p);
}

using WriteFn = ssize_t (*)(int, const void*, size_t);
using IntFn = int (*)(int);
using RenameFn = int (*)(const char*, const char*);

WriteFn realWrite() {
    static const WriteFn f = next<WriteFn>("write");
    return f;
}
IntFn realFsync() {
    static const IntFn f = next<IntFn>("fsync");
    return f;
}
IntFn realClose() {
    static const IntFn f = next<IntFn>("close");
    return f;
}
RenameFn realRename() {
    static const RenameFn f = next<RenameFn>("rename");
    return f;
}

int errnoByName(const std::string& text) {
    if (text == "EIO") return EIO;
    if (text == "ENOSPC") return ENOSPC;
    if (text == "EDQUOT") return EDQUOT;
    if (text == "EROFS") return EROFS;
    return 0;
}

// Plain storage: the environment is read by a load-time constructor, which may run
// before this file's C++ objects are constructed.
char g_countFile[4096];

void writeCountsAtExit() {
    const Counts c = t_state.counts;
    if (FILE* f = std::fopen(g_countFile, "w")) {
        std::fprintf(f, "write %d\nfsync %d\nclose %d\nrename %d\n", c.write, c.fsync, c.close, c.rename);
        std::fclose(f);
    }
}

// Arms the loading (main) thread from AUDATOMS_FAULT: "count:<file>" or
// "<op>:<k>:<errno name>"; anything else stops the program with a message.
[[gnu::constructor]] void armFromEnvironment() {
    const char* setting = std::getenv("AUDATOMS_FAULT");
    if (!setting || !*setting) return;
    const std::string text(setting);
    const auto colon = text.find(':');
    const std::string what = text.substr(0, colon);
    if (what == "count" && colon != std::string::npos) {
        std::snprintf(g_countFile, sizeof g_countFile, "%s", setting + colon + 1);
        count();
        std::atexit(writeCountsAtExit);
        return;
    }
    const auto colon2 = colon == std::string::npos ? std::string::npos : text.find(':', colon + 1);
    if (colon2 != std::string::npos) {
        const int k = std::atoi(text.substr(colon + 1, colon2 - colon - 1).c_str());
        const int error = errnoByName(text.substr(colon2 + 1));
        for (Op op : kAllOps)
            if (what == name(op) && k > 0 && error != 0) {
                arm(op, k, error);
                return;
            }
    }
    std::fprintf(stderr, "fault injection: AUDATOMS_FAULT=%s is not <op>:<k>:<errno>\n", setting);
    std::abort();
}

}  // namespace

const char* name(Op op) {
    switch (op) {
    case Op::write: return "write";
    case Op::fsync: return "fsync";
    case Op::close: return "close";
    case Op::rename: return "rename";
    }
    return "?";
}

int Counts::of(Op op) const {
    Counts copy = *this;
    return slot(copy, op);
}

void arm(Op op, int k, int error) {
    t_state = ThreadState{};
    t_state.counting = true;
    t_state.armed = true;
    t_state.op = op;
    t_state.k = k;
    t_state.error = error;
}

void count() {
    t_state = ThreadState{};
    t_state.counting = true;
}

Counts disarm() {
    const Counts c = t_state.counts;
    t_state.counting = false;
    t_state.armed = false;
    return c;
}

bool fired() { return t_state.fired; }

void limitWrites(unsigned bytes) { t_writeLimit = bytes; }

}  // namespace audatoms::test::fault

using audatoms::test::fault::Op;

#define AUD_INTERPOSE extern "C" __attribute__((visibility("default")))

// These are the C library's own signatures.
AUD_INTERPOSE ssize_t write(int fd, const void* data, size_t n) {
    if (fd > 2 && audatoms::test::fault::shouldFail(Op::write)) return audatoms::test::fault::failWith();
    const unsigned limit = audatoms::test::fault::t_writeLimit;
    if (fd > 2 && limit != 0 && n > limit) n = limit;
    return audatoms::test::fault::realWrite()(fd, data, n);
}

AUD_INTERPOSE int fsync(int fd) {
    if (fd > 2 && audatoms::test::fault::shouldFail(Op::fsync)) return audatoms::test::fault::failWith();
    return audatoms::test::fault::realFsync()(fd);
}

AUD_INTERPOSE int close(int fd) {
    if (fd > 2 && audatoms::test::fault::shouldFail(Op::close)) {
        audatoms::test::fault::realClose()(fd);
        return audatoms::test::fault::failWith();
    }
    return audatoms::test::fault::realClose()(fd);
}

AUD_INTERPOSE int rename(const char* from, const char* to) {
    if (audatoms::test::fault::shouldFail(Op::rename)) return audatoms::test::fault::failWith();
    return audatoms::test::fault::realRename()(from, to);
}
