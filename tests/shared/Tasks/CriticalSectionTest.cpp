#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "shared/Tasks/kvCriticalSection.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

// What the compiler's lock analysis would refuse: locking twice, and locks handed from call to call.
class Unchecked {
public:
    explicit Unchecked(CriticalSection& section) : m_section(section) {}
    void Enter() KV_NO_THREAD_SAFETY_ANALYSIS { m_section.Enter(); }
    void Leave() KV_NO_THREAD_SAFETY_ANALYSIS { m_section.Leave(); }
    bool TryEnter() KV_NO_THREAD_SAFETY_ANALYSIS { return m_section.TryEnter(); }

private:
    CriticalSection& m_section;
};

std::string Assertion(const std::string& strFunction, const std::string& strExpression) {
    return "^" + strFunction +
           ": shared/Tasks/kvCriticalSection, line [0-9]+: assertion failed: " + strExpression;
}

bool TryEnterOnAnotherThread(CriticalSection& section) {
    bool bGot = false;
    std::thread([&] {
        Unchecked other(section);
        bGot = other.TryEnter();
        if (bGot) other.Leave();
    }).join();
    return bGot;
}

// An object whose life is over in memory that is still there.
class Ended {
public:
    Ended() : m_pSection(new (m_memory) CriticalSection) { m_pSection->~CriticalSection(); }
    Unchecked Get() { return Unchecked(*m_pSection); }

private:
    alignas(CriticalSection) unsigned char m_memory[sizeof(CriticalSection)];
    CriticalSection* m_pSection;
};

}  // namespace

TEST(CriticalSectionTest, TheHolderEntersRepeatedlyAndOthersWaitForTheLastLeave) {
    CriticalSection section;
    Unchecked holder(section);
    holder.Enter();
    holder.Enter();
    EXPECT_FALSE(TryEnterOnAnotherThread(section));
    holder.Leave();
    EXPECT_FALSE(TryEnterOnAnotherThread(section));
    holder.Leave();
    EXPECT_TRUE(TryEnterOnAnotherThread(section));
}

TEST(CriticalSectionTest, TryEnterCountsLikeEnter) {
    CriticalSection section;
    Unchecked holder(section);
    EXPECT_TRUE(holder.TryEnter());
    EXPECT_TRUE(holder.TryEnter());
    holder.Leave();
    EXPECT_FALSE(TryEnterOnAnotherThread(section));
    holder.Leave();
    EXPECT_TRUE(TryEnterOnAnotherThread(section));
}

TEST(CriticalSectionTest, EnterWaitsForTheHolder) {
    CriticalSection section;
    std::atomic<bool> bLeaving{false};
    Unchecked holder(section);
    holder.Enter();
    std::thread other([&] {
        CriticalSectionGuard guard(section);
        EXPECT_TRUE(bLeaving);
    });
    bLeaving = true;
    holder.Leave();
    other.join();
}

TEST(CriticalSectionTest, TheGuardHoldsItForAScope) {
    CriticalSection section;
    {
        CriticalSectionGuard guard(section);
        EXPECT_FALSE(TryEnterOnAnotherThread(section));
    }
    EXPECT_TRUE(TryEnterOnAnotherThread(section));
}

TEST(CriticalSectionTest, GuardsACounterAgainstManyThreads) {
    struct {
        CriticalSection m_lock;
        int m_nCount KV_GUARDED_BY(m_lock) = 0;
    } counter;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) {
                CriticalSectionGuard guard(counter.m_lock);
                ++counter.m_nCount;
            }
        });
    for (std::thread& thread : threads) thread.join();
    CriticalSectionGuard guard(counter.m_lock);
    EXPECT_EQ(20000, counter.m_nCount);
}
// Q21

// Q21
TEST(CriticalSectionTest, DestructionKeepsTheLockItTakes) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the lock is released under ThreadSanitizer";
#endif
    alignas(CriticalSection) unsigned char memory[sizeof(CriticalSection)];
    auto* const pSection = new (memory) CriticalSection;
    const PosixFault watch("pthread_mutex_unlock", 42, INT_MAX);
    pSection->~CriticalSection();
    EXPECT_EQ(0, watch.Calls());
}

TEST(CriticalSectionTest, DestructionWaitsForTheHolder) {
    bool bLeaving = false;
    std::atomic<bool> bHeld{false};
    std::thread holder;
    {
        CriticalSection section;
        const PosixFault watch("pthread_mutex_lock", 42, INT_MAX);
        holder = std::thread([&] {
            Unchecked unchecked(section);
            unchecked.Enter();
            bHeld = true;
            while (watch.Calls() < 2) std::this_thread::yield();  // until the destructor asks for the lock
            bLeaving = true;
            unchecked.Leave();
        });
        while (!bHeld) std::this_thread::yield();
        section.~CriticalSection();
        EXPECT_TRUE(bLeaving);
        new (&section) CriticalSection;
    }
    holder.join();
}
// Q22

// Q22
TEST(CriticalSectionTest, AnObjectWhoseLifeIsOverFailsTheAssertion) {
    EXPECT_DEATH(Ended().Get().Enter(), Assertion("Enter", "_mutex != 0"));
    EXPECT_DEATH(Ended().Get().Leave(), Assertion("Leave", "_mutex != 0"));
    EXPECT_DEATH(Ended().Get().TryEnter(), Assertion("TryEnter", "_mutex != 0"));
}

TEST(CriticalSectionTest, AFailedConstructionEndsTheProgram) {
    for (const char* pszCall :
         {"pthread_mutexattr_init", "pthread_mutexattr_settype", "pthread_mutex_init"}) {
        SCOPED_TRACE(pszCall);
        EXPECT_DEATH(
            {
                const PosixFault fault(pszCall, 42);
                CriticalSection section;
            },
            Assertion("CriticalSection", "!err"));
    }
}

TEST(CriticalSectionTest, LeavingWithoutHoldingEndsTheProgram) {
    CriticalSection section;
    EXPECT_DEATH(Unchecked(section).Leave(), "Leave: shared/Tasks/kvCriticalSection, line [0-9]+: .*: !err");
}

TEST(CriticalSectionTest, AFailingLockEndsTheProgram) {
    CriticalSection section;
    EXPECT_DEATH(
        {
            const PosixFault fault("pthread_mutex_lock", 42);
            Unchecked(section).Enter();
        },
        Assertion("Enter", "!err"));
}

}  // namespace Kestrova::Test
