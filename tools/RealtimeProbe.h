// Hooks through which a test-only preloaded library (tests/tools/rtprobe) watches the
// player's process callback: it counts the allocations and the locks taken on a thread
// between enter() and leave(), except the locks taken inside an AllowLocks scope (the
// automation store's lock in the walk, the monitoring registry's lock in a meter post,
// which the audio thread is meant to take).
// Without the preloaded library every hook is a test of a null pointer.
// Threads: init() on the main thread before the audio thread starts; the rest on the
// audio thread (no allocation, no lock).
#pragma once

namespace audtool::rtprobe {

// Finds the preloaded library's entry points, if any; true when found.
bool init();
void enter();
void leave();

struct AllowLocks {
    AllowLocks();
    ~AllowLocks();
    AllowLocks(const AllowLocks&) = delete;
    AllowLocks& operator=(const AllowLocks&) = delete;
};

}  // namespace audtool::rtprobe
