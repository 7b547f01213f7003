// A test-only library preloaded into `audatoms play` (LD_PRELOAD): it counts, on the
// thread of the player's process callback and only between the player's enter and leave
// hooks, every allocation (malloc, calloc, realloc, aligned and posix_memalign, and so
// every operator new) and every lock taken (pthread mutex lock and trylock, read-write
// locks, semaphore and condition waits) outside an allowed scope. At exit it writes
//   callbacks=N allocations=N locks=N allowed_locks=N
// to the file named by AUDATOMS_RTPROBE_REPORT.
// Allocation is interposed through glibc's __libc_* entry points (no dlsym at that
// depth); the locks through dlsym(RTLD_NEXT).
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <execinfo.h>
#include <pthread.h>
#include <semaphore.h>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

__attribute__((tls_model("initial-exec"))) thread_local int armed = 0;    // inside a callback
__attribute__((tls_model("initial-exec"))) thread_local int allowed = 0;  // inside an allowed scope
std::atomic<unsigned long> callbacks{0}, allocations{0}, locks{0}, allowedLocks{0};

// AUDATOMS_RTPROBE_TRACE set: the stack of every counted allocation on standard error.
void trace() {
    static const bool wanted = std::getenv("AUDATOMS_RTPROBE_TRACE") != nullptr;
    if (!wanted) return;
    armed = 0;
    void* frames[32];
    ::backtrace_symbols_fd(frames, ::backtrace(frames, 32), 2);
    armed = 1;
}

void noteAllocation() {
    if (!armed) return;
    allocations.fetch_add(1, std::memory_order_relaxed);
    trace();
}

void noteLock() {
    if (!armed) return;
    if (allowed) allowedLocks.fetch_add(1, std::memory_order_relaxed);
    else {
        locks.fetch_add(1, std::memory_order_relaxed);
        trace();
    }
}

template <class F>
F next(const char* name) {
    return reinterpret_cast<F>(::dlsym(RTLD_NEXT, name));
}

__attribute__((destructor)) void report() {
    const char* path = std::getenv("AUDATOMS_RTPROBE_REPORT");
    if (!path) return;
    if (FILE* f = std::fopen(path, "w")) {
        std::fprintf(f, "callbacks=%lu allocations=%lu locks=%lu allowed_locks=%lu\n", callbacks.load(),
                     allocations.load(), locks.load(), allowedLocks.load());
        std::fclose(f);
    }
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void audatoms_rtprobe_enter() {
    armed = 1;
    callbacks.fetch_add(1, std::memory_order_relaxed);
}
__attribute__((visibility("default"))) void audatoms_rtprobe_leave() { armed = 0; }
__attribute__((visibility("default"))) void audatoms_rtprobe_allow_begin() { ++allowed; }
__attribute__((visibility("default"))) void audatoms_rtprobe_allow_end() { --allowed; }

void* malloc(std::size_t n) {
    noteAllocation();
    return __libc_malloc(n);
}
void* calloc(std::size_t n, std::size_t size) {
    noteAllocation();
    return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t n) {
    noteAllocation();
    return __libc_realloc(p, n);
}
void free(void* p) { __libc_free(p); }
void* memalign(std::size_t alignment, std::size_t n) {
    noteAllocation();
    return __libc_memalign(alignment, n);
}
void* aligned_alloc(std::size_t alignment, std::size_t n) {
    noteAllocation();
    return __libc_memalign(alignment, n);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t n) {
    noteAllocation();
    void* p = __libc_memalign(alignment, n);
    if (!p) return 12;  // ENOMEM
    *out = p;
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* m) {
    static auto real = next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    noteLock();
    return real(m);
}
int pthread_mutex_trylock(pthread_mutex_t* m) {
    static auto real = next<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
    noteLock();
    return real(m);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* l) {
    static auto real = next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
    noteLock();
    return real(l);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* l) {
    static auto real = next<int (*)(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
    noteLock();
    return real(l);
}
int sem_wait(sem_t* s) {
    static auto real = next<int (*)(sem_t*)>("sem_wait");
    noteLock();
    return real(s);
}
int pthread_cond_wait(pthread_cond_t* c, pthread_mutex_t* m) {
    static auto real = next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    noteLock();
    return real(c, m);
}

}  // extern "C"
