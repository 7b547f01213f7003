// The offline renderer's per-block path (decode, automation, equalisers, mix, meters)
// allocates nothing after its first block. Allocation hooks are armed on the render
// thread from the start of each block to its output; automation edits are made between
// blocks, unarmed, as a user interface would make them. Counted: every operator new,
// and (outside sanitizer builds, whose runtime owns malloc) every malloc, calloc and
// realloc, which catches allocations inside libsndfile's reading too. Every form of
// operator new and delete is replaced, so that each allocation is released by its own
// allocator.
#include "tools/RenderJob.h"
#include "tools/Session.h"

#include "tests/support/ScratchDir.h"
#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <new>

// The replacements below allocate with malloc and release with free, by design.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {
thread_local bool t_armed = false;
thread_local long t_allocations = 0;
inline void note() {
    if (t_armed) ++t_allocations;
}
}  // namespace

void* operator new(std::size_t n) {
    note();
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
    note();
    if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    note();
    return std::malloc(n == 0 ? 1 : n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    note();
    return std::malloc(n == 0 ? 1 : n);
}
void* operator new(std::size_t n, std::align_val_t a) {
    note();
    const std::size_t align = static_cast<std::size_t>(a);
    if (void* p = std::aligned_alloc(align, (n + align - 1) / align * align)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n, std::align_val_t a) { return operator new(n, a); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
// Counted only while armed; otherwise the C library's own.
void* malloc(std::size_t n) {
    note();
    return __libc_malloc(n);
}
void* calloc(std::size_t n, std::size_t size) {
    note();
    return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t n) {
    note();
    return __libc_realloc(p, n);
}
}
constexpr bool kCountsMalloc = true;
#else
constexpr bool kCountsMalloc = false;
#endif

namespace {

using namespace audatoms::test;
using Store = Aud::DynamicLevelControl::Store;

TEST(RenderAllocation, NoBlockAfterTheFirstAllocatesEvenWithEditsBetweenBlocks) {
    ScratchDir dir;
    std::vector<double> stereo(2 * 48000 * 3);
    for (std::size_t i = 0; i < stereo.size(); ++i) stereo[i] = 0.3 * std::sin(double(i) * 0.01);
    writeDoubles(dir.file("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_24, 2, 48000, stereo);
    writeDoubles(dir.file("b.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 48000,
                 std::vector<double>(stereo.begin(), stereo.begin() + 2 * 48000));  // ends early
    writeText(dir.file("s.ini"), R"([Session]
SampleRate=48000
Length=3
FrameRate=29.97
Outputs=4
[Inputs]
File=a.wav
File=b.wav
[Automation.0]
0=0
0.5=1
2=-6dB
[Automation.2]
0=1
1=0.5
[EQ.0]
Band=highpass:80
Band=peaking:2.5k:q=1.2:+4
Band=highshelf:8k:-3
[EQ.3]
Band=lowshelf:200:+3
[SimpleMixState.InputChannels.RouteToMix]
001->01=1
[SimpleMixState.MixChannels.RouteToOutput]
01L->04=1
01R->05=1
)");
    const audtool::Session session = audtool::loadSession(dir.file("s.ini"));
    audtool::RenderJob job = audtool::buildRenderJob(session);
    audtool::Renderer& r = *job.renderer;
    Store* first = job.stores.front().get();
    long blocks = 0, allocatingBlocks = 0, allocations = 0, edits = 0;
    r.setBlockHook([&](std::int64_t frame) {
        // Between blocks, unarmed: an edit every tenth block, as a person would make.
        if (blocks > 0 && blocks % 10 == 0) {
            first->insert(Store::Node(double(frame) / 48000.0 + 0.2, float(blocks % 7) / 7.0f));
            ++edits;
        }
        t_allocations = 0;
        t_armed = blocks > 0;  // the first block may size what it needs
    });
    r.setSink([&](const float* const*, unsigned) {
        t_armed = false;
        if (t_allocations > 0) ++allocatingBlocks;
        allocations += t_allocations;
        ++blocks;
    });
    r.run();
    t_armed = false;
    std::printf("%ld blocks, %ld edits between blocks; %ld allocations in %ld blocks after the first (%s)\n", blocks,
                edits, allocations, allocatingBlocks, kCountsMalloc ? "operator new and malloc" : "operator new");
    EXPECT_GT(blocks, 80);
    EXPECT_GT(edits, 5);
    EXPECT_EQ(allocations, 0);
}

// The hooks see what they should: an allocation planted in an armed block is counted.
TEST(RenderAllocation, TheHooksCountAnAllocationOnTheArmedThread) {
    t_allocations = 0;
    t_armed = true;
    // Volatile, so that the compiler keeps the pairs it could otherwise elide.
    int* volatile p = new int(3);
    void* volatile q = std::malloc(16);
    t_armed = false;
    delete p;
    std::free(q);
    // operator new is counted, and with malloc counted the malloc under it too.
    EXPECT_EQ(t_allocations, kCountsMalloc ? 3 : 1);
}

}  // namespace
