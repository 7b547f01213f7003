#include "platform/CriticalSection.h"
#include "platform/Report.h"

#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>

TEST(CriticalSection, TheOwnerMayEnterAgainAndNeedsALeavePerEnter) {
    CriticalSection cs;
    EXPECT_FALSE(cs.ownedByCurrentThread());
    cs.enter();
    cs.enter();
    EXPECT_TRUE(cs.ownedByCurrentThread());
    EXPECT_EQ(cs.depth(), 2);
    cs.leave();
    EXPECT_TRUE(cs.ownedByCurrentThread()) << "one leave of two enters keeps the lock";
    EXPECT_EQ(cs.depth(), 1);
    cs.leave();
    EXPECT_FALSE(cs.ownedByCurrentThread());
    EXPECT_EQ(cs.depth(), 0);
}

TEST(CriticalSection, TryEnterSucceedsWhenFreeAndForTheOwner) {
    CriticalSection cs;
    ASSERT_TRUE(cs.tryEnter());
    ASSERT_TRUE(cs.tryEnter());
    EXPECT_EQ(cs.depth(), 2);
    cs.leave();
    cs.leave();
    EXPECT_FALSE(cs.ownedByCurrentThread());
}

TEST(CriticalSection, TheGuardLeavesWhenAnExceptionPasses) {
    CriticalSection cs;
    try {
        CriticalSectionGuard outer(cs);
        CriticalSectionGuard inner(cs);
        EXPECT_EQ(cs.depth(), 2);
        throw std::runtime_error("unwinding");
    } catch (const std::runtime_error&) {}
    EXPECT_FALSE(cs.ownedByCurrentThread());
    EXPECT_EQ(cs.depth(), 0);
}

TEST(CriticalSection, WorksWithStandardLockGuards) {
    CriticalSection cs;
    {
        std::lock_guard<CriticalSection> g(cs);
        std::unique_lock<CriticalSection> again(cs);
        EXPECT_EQ(cs.depth(), 2);
    }
    EXPECT_FALSE(cs.ownedByCurrentThread());
}

TEST(CriticalSection, LeavingWithoutEnteringIsReportedAndChangesNothing) {
    CriticalSection cs;
    platform::LogCapture capture;
    cs.leave();
    EXPECT_EQ(capture.assertionText(), "assertion failed ownedByCurrentThread() at ole/OS/CriticalSection line 1\n");
    EXPECT_TRUE(cs.tryEnter()) << "the lock is still usable";
    EXPECT_EQ(cs.depth(), 1);
    cs.leave();
}
