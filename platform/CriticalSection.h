// CriticalSection: the host's lock, re-entrant for the thread that owns it
// (enter() may be called again by the owner; each enter() needs its leave()).
// CriticalSectionGuard enters on construction and leaves on destruction, also when
// an exception passes. Also BasicLockable (lock/unlock) for std::lock_guard.
// leave() by a thread that does not hold the lock is a misuse: it prints the
// assertion line "assertion failed ownedByCurrentThread() at ole/OS/CriticalSection
// line 1" and changes nothing (never unlocks a lock that another thread holds).
// enter() blocks; tryEnter() never blocks.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/Report.h"

#include <atomic>
#include <mutex>
#include <thread>

class AUDPLATFORM_EXPORT CriticalSection {
public:
    CriticalSection() = default;
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void enter() {
        m_.lock();
        noteEnter();
    }
    bool tryEnter() {
        if (!m_.try_lock()) return false;
        noteEnter();
        return true;
    }
    void leave() {
        if (!ownedByCurrentThread()) {
            assertionReport("ownedByCurrentThread()", "ole/OS/CriticalSection", 1);
            return;
        }
        if (--depth_ == 0) owner_.store(std::thread::id(), std::memory_order_relaxed);
        m_.unlock();
    }
    void lock() { enter(); }
    void unlock() { leave(); }
    bool try_lock() { return tryEnter(); }

    // True when the calling thread holds the lock (for checks and tests).
    bool ownedByCurrentThread() const { return owner_.load(std::memory_order_relaxed) == std::this_thread::get_id(); }
    // How many times the owner has entered (valid only on the owning thread).
    int depth() const { return ownedByCurrentThread() ? depth_ : 0; }

private:
    void noteEnter() {
        if (depth_++ == 0) owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    std::recursive_mutex m_;
    std::atomic<std::thread::id> owner_{};
    int depth_ = 0;
};

class AUDPLATFORM_EXPORT CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(CriticalSection& cs) : cs_(cs) { cs_.enter(); }
    ~CriticalSectionGuard() { cs_.leave(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

private:
    CriticalSection& cs_;
};
