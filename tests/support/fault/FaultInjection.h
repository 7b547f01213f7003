// Test-only fault injection for file saves: makes the k-th `write`, `fsync`, `close` or
// `rename` of a save fail with a chosen errno, so that tests can prove that every save
// leaves the old file intact, no temporary file behind, and reports the error.
//
// The functions are interposed: a program linked with the shared library
// AudFaultInjection (or started with it in LD_PRELOAD) calls these definitions of the
// four C functions instead of the C library's; unarmed, they pass straight through.
// Only calls on file descriptors above 2 are counted and failed, so a program's
// standard streams never take a fault meant for its files.
//
// Arming is per thread: arm()/count() affect calls made by the calling thread only.
// A child process is armed from its environment when the library loads:
//   AUDATOMS_FAULT=<op>:<k>:<errno name>   e.g. "write:3:ENOSPC", "rename:1:EIO"
//   AUDATOMS_FAULT=count:<file>            writes "write N\nfsync N\nclose N\nrename N\n"
//                                          to <file> at exit (the main thread's calls)
// A failing write writes nothing; a failing close still closes the descriptor (as
// Linux does); a failing fsync or rename does nothing.
#pragma once

#include <array>

namespace audatoms::test::fault {

enum class Op { write, fsync, close, rename };
inline constexpr std::array<Op, 4> kAllOps{Op::write, Op::fsync, Op::close, Op::rename};
const char* name(Op op);

struct Counts {
    int write = 0;
    int fsync = 0;
    int close = 0;
    int rename = 0;
    int of(Op op) const;
};

// From now on, on this thread, the k-th call (1-based) of `op` fails with `error`;
// counting of every operation starts afresh.
void arm(Op op, int k, int error);
// Counts this thread's calls from now on without failing any.
void count();
// Stops failing and counting on this thread; returns the calls seen since arm()/count().
Counts disarm();
// True when the armed fault has been delivered.
bool fired();
// From now on, on this thread, each counted write passes at most `bytes` bytes (0: no
// limit), as a nearly full disk or a pipe would: savers must loop over short writes.
void limitWrites(unsigned bytes);

}  // namespace audatoms::test::fault
