#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "SamplerDBDS/BaseClasses/XLock.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

// The whole report of an assertion of this unit, as a regular expression.
std::string Assertion(const std::string& strFunction, const std::string& strExpression) {
    return strFunction + ": SamplerDBDS/BaseClasses/OSSpec, line [0-9]+: assertion failed: " + strExpression;
}

struct FailingCall {
    const char* pszCall;
    const char* pszFunction;  // the function that makes it
    std::function<void()> body;
};

// Each body makes the call for the first time after PosixFault is set up in it.
void ExpectReportAndEnd(const FailingCall& row) {
    SCOPED_TRACE(std::string(row.pszFunction) + " " + row.pszCall);
    EXPECT_DEATH(row.body(),
                 std::string("^") + row.pszCall + ": error 42\n" + Assertion(row.pszFunction, "!err"));
}

void CreateLockWith(const char* pszFailing) {
    CXLock lock;
    PosixFault fault(pszFailing, 42);
    lock.Create();
}

// A created lock, and one operation on it while a call fails.
void UseLockWith(const char* pszFailing, void (CXLock::*pfn)()) {
    CXLock lock;
    lock.Create();
    PosixFault fault(pszFailing, 42);
    (lock.*pfn)();
}

void CreateEventWith(const char* pszFailing) {
    CXEvent event;
    PosixFault fault(pszFailing, 42);
    event.Create();
}

void WaitWith(const char* pszFailing, bool bSignaled) {
    CXEvent event;
    event.Create();
    if (bSignaled) event.Set();
    PosixFault fault(pszFailing, 42);
    event.Wait();
}

}  // namespace

TEST(PthreadErrorTest, OneLineWithCallAndNumber) {
    testing::internal::CaptureStderr();
    pthread_error("pthread_mutex_lock", 35);
    EXPECT_EQ("pthread_mutex_lock: error 35\n", testing::internal::GetCapturedStderr());
}

TEST(LockTest, UseBeforeCreateFailsTheAssertion) {
    EXPECT_DEATH(CXLock().Lock(), Assertion("Lock", "m_bInited"));
    EXPECT_DEATH(CXLock().Unlock(), Assertion("Unlock", "m_bInited"));
}

TEST(LockTest, UseAfterDestroyFailsTheAssertion) {
    CXLock lock;
    EXPECT_EQ(1, lock.Create());
    lock.Destroy();
    lock.Destroy();
    EXPECT_DEATH(lock.Lock(), Assertion("Lock", "m_bInited"));
    EXPECT_EQ(1, lock.Create());
    lock.Lock();
    lock.Unlock();
}

TEST(LockTest, CreateMakesAFreshLockOfAnOldOne) {
    CXLock lock;
    EXPECT_EQ(1, lock.Create());
    EXPECT_EQ(1, lock.Create());
    lock.Lock();
    lock.Unlock();
}

TEST(LockTest, TheHolderTakesItRepeatedlyAndOthersWaitForTheLastUnlock) {
    CXLock lock;
    lock.Create();
    std::atomic<bool> bLeavingForGood{false};
    lock.Lock();
    lock.Lock();
    std::thread other([&] {
        lock.Lock();
        EXPECT_TRUE(bLeavingForGood);
        lock.Unlock();
    });
    lock.Unlock();
    bLeavingForGood = true;
    lock.Unlock();
    other.join();
}

TEST(LockTest, GuardsACounterAgainstManyThreads) {
    CXLock lock;
    lock.Create();
    int nCounter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) {
                CXAutoLock hold(&lock);
                ++nCounter;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(20000, nCounter);
}

TEST(LockTest, DestroyWaitsForTheHolder) {
    CXLock lock;
    lock.Create();
    const PosixFault watch("pthread_mutex_lock", 42, INT_MAX);
    std::atomic<bool> bHeld{false};
    bool bLeaving = false;
    std::thread holder([&] {
        lock.Lock();
        bHeld = true;
        while (watch.Calls() < 2) std::this_thread::yield();  // until Destroy asks for the lock
        bLeaving = true;
        lock.Unlock();
    });
    while (!bHeld) std::this_thread::yield();
    lock.Destroy();
    EXPECT_TRUE(bLeaving);
    holder.join();
}

TEST(LockTest, UnlockByAStrangerEndsTheProgram) {
    CXLock lock;
    lock.Create();
    EXPECT_DEATH(lock.Unlock(), "pthread_mutex_unlock: error 1\n" + Assertion("Unlock", "!err"));
}

TEST(LockTest, EveryFailingCallIsReportedAndEndsTheProgram) {
    const FailingCall kRows[] = {
        {"pthread_mutexattr_init", "Create", [] { CreateLockWith("pthread_mutexattr_init"); }},
        {"pthread_mutexattr_settype", "Create", [] { CreateLockWith("pthread_mutexattr_settype"); }},
        {"pthread_mutex_init", "Create", [] { CreateLockWith("pthread_mutex_init"); }},
        {"pthread_mutexattr_destroy", "Create", [] { CreateLockWith("pthread_mutexattr_destroy"); }},
        {"pthread_mutex_lock", "Lock", [] { UseLockWith("pthread_mutex_lock", &CXLock::Lock); }},
        {"pthread_mutex_unlock", "Unlock", [] { UseLockWith("pthread_mutex_unlock", &CXLock::Unlock); }},
        {"pthread_mutex_lock", "Destroy", [] { UseLockWith("pthread_mutex_lock", &CXLock::Destroy); }},
        {"pthread_mutex_unlock", "Destroy", [] { UseLockWith("pthread_mutex_unlock", &CXLock::Destroy); }},
        {"pthread_mutex_destroy", "Destroy", [] { UseLockWith("pthread_mutex_destroy", &CXLock::Destroy); }},
    };
    for (const FailingCall& row : kRows) ExpectReportAndEnd(row);
}

TEST(AutoLockTest, HoldsTheLockForItsScope) {
    CXLock lock;
    lock.Create();
    bool bLeft = false;
    std::thread other;
    {
        CXAutoLock hold(&lock);
        other = std::thread([&] {
            CXAutoLock holdToo(&lock);
            EXPECT_TRUE(bLeft);
        });
        bLeft = true;
    }
    other.join();
}

TEST(AutoLockTest, NoLockIsHeldWhenNoneIsGiven) {
    const PosixFault watch("pthread_mutex_lock", 42, INT_MAX);
    { const CXAutoLock hold(nullptr); }
    EXPECT_EQ(0, watch.Calls());
}

TEST(EventTest, WithoutCreateNothingWaitsAndNothingIsSignalled) {
    CXEvent event;
    event.Set();
    event.Wait();
    EXPECT_EQ(0, event.WaitFor(0));
}

TEST(EventTest, ASuccessfulWaitClearsTheSignal) {
    CXEvent event;
    EXPECT_EQ(1, event.Create());
    EXPECT_EQ(0, event.WaitFor(0));
    event.Set();
    EXPECT_EQ(1, event.WaitFor(0));
    EXPECT_EQ(0, event.WaitFor(0));
    event.Set();
    event.Wait();
    EXPECT_EQ(0, event.WaitFor(0));
}

TEST(EventTest, SettingItTwiceIsAsGoodAsOnce) {
    CXEvent event;
    event.Create();
    event.Set();
    event.Set();
    EXPECT_EQ(1, event.WaitFor(0));
    EXPECT_EQ(0, event.WaitFor(0));
}

TEST(EventTest, CreateAndDestroyForgetTheSignal) {
    CXEvent event;
    event.Create();
    event.Set();
    EXPECT_EQ(1, event.Create());
    EXPECT_EQ(0, event.WaitFor(0));
    event.Set();
    event.Destroy();
    event.Destroy();
    EXPECT_EQ(0, event.WaitFor(0));
    event.Wait();
}

TEST(EventTest, EachSetLetsOneWaiterGoOn) {
    CXEvent event;
    event.Create();
    std::atomic<int> nGone{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.emplace_back([&] {
            event.Wait();
            ++nGone;
        });
    for (int nSets = 1; nSets <= 4; ++nSets) {
        event.Set();
        while (nGone < nSets) std::this_thread::yield();
        EXPECT_EQ(nSets, nGone);
        EXPECT_EQ(0, event.WaitFor(0));
    }
    for (std::thread& waiter : waiters) waiter.join();
}

TEST(EventTest, WaitForGoesOnWhenAnotherThreadSets) {
    CXEvent event;
    event.Create();
    std::thread setter([&] { event.Set(); });
    EXPECT_EQ(1, event.WaitFor(600000));
    setter.join();
}
// Q17

// Q17
TEST(EventTest, DeadlineAddsWholeSecondsAndPutsTheRestUnscaledIntoNanoseconds) {
    struct {
        int nMs;
        time_t tSeconds;
        long nNanoseconds;
    } const kRows[] = {
        {0, 1000, 0},      {1, 1000, 1},       {999, 1000, 999},       {1000, 1001, 0},
        {1500, 1001, 500}, {1999, 1001, 999},  {86400500, 87400, 500}, {INT_MAX, 1000 + 2147483, 647},
        {-1, 1000, -1},    {-1500, 999, -500},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.nMs);
        const timespec deadline = EventDeadline(1000, row.nMs);
        EXPECT_EQ(row.tSeconds, deadline.tv_sec);
        EXPECT_EQ(row.nNanoseconds, deadline.tv_nsec);
    }
}

TEST(EventTest, WaitForHandsItsDeadlineToTheCondition) {
    CXEvent event;
    event.Create();
    const PosixFault fault("pthread_cond_timedwait", ETIMEDOUT);
    const time_t tBefore = std::time(nullptr);
    EXPECT_EQ(0, event.WaitFor(1500));
    const time_t tAfter = std::time(nullptr);
    EXPECT_LE(tBefore + 1, fault.LastTime().tv_sec);
    EXPECT_GE(tAfter + 1, fault.LastTime().tv_sec);
    EXPECT_EQ(500, fault.LastTime().tv_nsec);
}

TEST(EventTest, WaitForRoundsDownToWholeSeconds) {
    CXEvent event;
    event.Create();
    const time_t tBefore = std::time(nullptr);
    EXPECT_EQ(0, event.WaitFor(1500));
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_LE(tBefore + 1, now.tv_sec);
}

TEST(EventTest, ANegativeTimeOnlyTestsTheSignal) {
    CXEvent event;
    event.Create();
    EXPECT_EQ(0, event.WaitFor(-1));
    event.Set();
    EXPECT_EQ(1, event.WaitFor(-1));
}

TEST(EventTest, AFailingTimedWaitGivesZeroAndReleasesTheMutex) {
    CXEvent event;
    event.Create();
    {
        const PosixFault fault("pthread_cond_timedwait", EINVAL);
        EXPECT_EQ(0, event.WaitFor(1000));
    }
    event.Set();
    EXPECT_EQ(1, event.WaitFor(0));
}

TEST(EventTest, WithoutItsMutexSetAndWaitForDoNothing) {
    CXEvent event;
    event.Create();
    {
        const PosixFault fault("pthread_mutex_lock", 42);
        event.Set();
    }
    EXPECT_EQ(0, event.WaitFor(0));
    event.Set();
    {
        const PosixFault fault("pthread_mutex_lock", 42);
        EXPECT_EQ(0, event.WaitFor(0));
    }
    EXPECT_EQ(1, event.WaitFor(0));
}

TEST(EventTest, AFailingBroadcastLeavesItUnsignalled) {
    CXEvent event;
    event.Create();
    {
        const PosixFault fault("pthread_cond_broadcast", 42);
        event.Set();
    }
    EXPECT_EQ(0, event.WaitFor(0));
}

TEST(EventTest, WithoutMutexOrConditionItIsNotCreated) {
    for (const char* pszCall : {"pthread_mutex_init", "pthread_cond_init"}) {
        CXEvent event;
        testing::internal::CaptureStderr();
        {
            const PosixFault fault(pszCall, 42);
            EXPECT_EQ(0, event.Create());
        }
        EXPECT_EQ(std::string(pszCall) + ": error 42\n", testing::internal::GetCapturedStderr());
        event.Set();
        EXPECT_EQ(0, event.WaitFor(0));
        EXPECT_EQ(1, event.Create());
    }
}

TEST(EventTest, EveryOtherFailingCallIsReportedAndEndsTheProgram) {
    const FailingCall kRows[] = {
        {"pthread_mutexattr_init", "Create", [] { CreateEventWith("pthread_mutexattr_init"); }},
        {"pthread_mutexattr_settype", "Create", [] { CreateEventWith("pthread_mutexattr_settype"); }},
        {"pthread_mutexattr_destroy", "Create", [] { CreateEventWith("pthread_mutexattr_destroy"); }},
        {"pthread_mutex_lock", "Wait", [] { WaitWith("pthread_mutex_lock", false); }},
        {"pthread_cond_wait", "Wait", [] { WaitWith("pthread_cond_wait", false); }},
        {"pthread_mutex_unlock", "Wait", [] { WaitWith("pthread_mutex_unlock", true); }},
    };
    for (const FailingCall& row : kRows) ExpectReportAndEnd(row);
}

}  // namespace Kestrova::Test
