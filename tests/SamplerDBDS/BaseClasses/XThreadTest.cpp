#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "SamplerDBDS/BaseClasses/XThread.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

// What the functions of one worker did. They run on the worker only; m_done hands the log to the test.
struct Log {
    Log() { m_done.Create(), m_gate.Create(), m_ended.Create(); }

    std::string m_strRuns;  // one letter a run
    CXEvent m_done;
    CXEvent m_gate;
    CXEvent m_ended;
    CXThread* m_pThread = nullptr;
};

// Sets m_ended when the thread that set m_pLog ends.
struct EndNote {
    ~EndNote() {
        if (m_pLog != nullptr) m_pLog->m_ended.Set();
    }
    Log* m_pLog = nullptr;
};
thread_local EndNote t_endNote;

Log& LogOf(void* pArgument) { return *static_cast<Log*>(pArgument); }

template <char kLetter>
int Note(void* pArgument) {
    LogOf(pArgument).m_strRuns += kLetter;
    return 1;
}

int NoteTwice(void* pArgument) {
    Note<'a'>(pArgument);
    if (LogOf(pArgument).m_strRuns.ends_with("aa")) LogOf(pArgument).m_done.Set();
    return 1;
}

int NoteAndEnd(void* pArgument) {
    t_endNote.m_pLog = &LogOf(pArgument);
    LogOf(pArgument).m_strRuns += 'e';
    return 0;
}

int Done(void* pArgument) {
    LogOf(pArgument).m_strRuns += '.';
    LogOf(pArgument).m_done.Set();
    return 1;
}

// Tells the test that it runs and stays until the test opens the gate.
int StayAtTheGate(void* pArgument) {
    t_endNote.m_pLog = &LogOf(pArgument);
    LogOf(pArgument).m_strRuns += 'g';
    LogOf(pArgument).m_done.Set();
    LogOf(pArgument).m_gate.Wait();
    return 1;
}

int Nothing(void*) { return 1; }

// Is called when Create has returned: before that the thread does not count as running.
int DestroyItself(void* pArgument) {
    LogOf(pArgument).m_gate.Wait();
    LogOf(pArgument).m_pThread->Destroy();
    return 1;
}

}  // namespace

TEST(ThreadTest, FunctionsAreNumberedFromOne) {
    CXThread thread;
    EXPECT_EQ(1, thread.AddFunction(&Nothing, 0));
    EXPECT_EQ(2, thread.AddFunction(&Nothing, 1));
    for (int nIndex = 3; nIndex <= 20; ++nIndex) EXPECT_EQ(nIndex, thread.AddFunction(&Nothing, 0));
}

TEST(ThreadTest, ANullFunctionIsRefused) {
    CXThread thread;
    EXPECT_EQ(0, thread.AddFunction(nullptr, 1));
    EXPECT_EQ(0, thread.Create(nullptr, 0));
    EXPECT_EQ(1, thread.AddFunction(&Nothing, 0));
}

TEST(ThreadTest, FunctionsCannotBeAddedWhileRunning) {
    CXThread thread;
    thread.AddFunction(&Nothing, 0);
    ASSERT_EQ(1, thread.Create(nullptr, 0));
    EXPECT_EQ(0, thread.AddFunction(&Nothing, 0));
    EXPECT_EQ(0, thread.Signal(2));
    thread.Destroy();
    EXPECT_EQ(2, thread.AddFunction(&Nothing, 0));
}

TEST(ThreadTest, WithoutMemoryNoFunctionIsAdded) {
    for (const int nNth : {1, 2}) {  // the exit element's memory, the function's own
        CXThread thread;
        {
            const PosixFault fault("_Znwm", 0, nNth);
            EXPECT_EQ(0, thread.AddFunction(&Nothing, 0));
        }
        EXPECT_EQ(0, thread.Create(nullptr, 0));
        EXPECT_EQ(1, thread.AddFunction(&Nothing, 0));
        EXPECT_EQ(1, thread.Create(nullptr, 0));
    }
}

TEST(ThreadTest, WithoutAFunctionItDoesNotStart) {
    CXThread thread;
    EXPECT_EQ(0, thread.Create(nullptr, 0));
    EXPECT_EQ(0, thread.Signal(0));
}
// Q18

// Q18
TEST(ThreadTest, ItStartsOnce) {
    CXThread thread;
    thread.AddFunction(&Nothing, 0);
    EXPECT_EQ(1, thread.Create(nullptr, 0));
    EXPECT_EQ(0, thread.Create(nullptr, 0));
    thread.Destroy();
    EXPECT_EQ(0, thread.Create(nullptr, 0));
    thread.Destroy();
}

TEST(ThreadTest, WithoutEventOrThreadItDoesNotRun) {
    for (const char* pszCall : {"pthread_cond_init", "pthread_create"}) {
        SCOPED_TRACE(pszCall);
        CXThread thread;
        thread.AddFunction(&Nothing, 0);
        {
            const PosixFault fault(pszCall, EAGAIN);
            EXPECT_EQ(0, thread.Create(nullptr, 0));
        }
        EXPECT_EQ(2, thread.AddFunction(&Nothing, 0));
        EXPECT_EQ(1, thread.Create(nullptr, 0));
    }
}

TEST(ThreadTest, FunctionsOwedAtTheStartRunInOrderAndOthersDoNot) {
    Log log;
    CXThread thread;
    thread.AddFunction(&Note<'a'>, 1);
    thread.AddFunction(&Note<'b'>, 0);
    thread.AddFunction(&Note<'c'>, 7);
    thread.AddFunction(&Done, 1);
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    thread.Destroy();
    EXPECT_EQ("ac.", log.m_strRuns);
}

TEST(ThreadTest, TwoSignalsBeforeTheWorkerWakesRunTheFunctionTwice) {
    Log log;
    CXThread thread;
    thread.AddFunction(&Note<'a'>, 0);
    thread.AddFunction(&Done, 0);
    EXPECT_EQ(1, thread.Signal(2));
    EXPECT_EQ(1, thread.Signal(1));
    EXPECT_EQ(1, thread.Signal(1));
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    thread.Destroy();
    EXPECT_EQ("aa.", log.m_strRuns);
}

TEST(ThreadTest, SignalsThatComeWhileAFunctionRunsAreNotLost) {
    Log log;
    CXThread thread;
    thread.AddFunction(&NoteTwice, 0);
    thread.AddFunction(&StayAtTheGate, 1);
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    EXPECT_EQ(1, thread.Signal(1));
    EXPECT_EQ(1, thread.Signal(1));
    log.m_gate.Set();
    log.m_done.Wait();
    thread.Destroy();
    EXPECT_EQ("gaa", log.m_strRuns);
}

TEST(ThreadTest, NoSignalOfManyThreadsIsLost) {
    struct Counter {
        std::atomic<int> m_nRuns{0};
        static int Count(void* pArgument) { return ++static_cast<Counter*>(pArgument)->m_nRuns; }
    } counter;
    CXThread thread;
    thread.AddFunction(&Counter::Count, 0);
    ASSERT_EQ(1, thread.Create(&counter, 0));
    std::vector<std::thread> signallers;
    for (int i = 0; i < 4; ++i)
        signallers.emplace_back([&] {
            for (int n = 0; n < 2000; ++n) thread.Signal(1);
        });
    for (std::thread& signaller : signallers) signaller.join();
    while (counter.m_nRuns < 8000) std::this_thread::yield();
    thread.Destroy();
    EXPECT_EQ(8000, counter.m_nRuns);
}

TEST(ThreadTest, SignalRefusesAnIndexWithoutAFunction) {
    CXThread thread;
    thread.AddFunction(&Nothing, 0);
    for (const bool bRunning : {false, true}) {
        SCOPED_TRACE(bRunning);
        ASSERT_EQ(bRunning, bRunning && thread.Create(nullptr, 0));
        for (const int nIndex : {2, INT_MAX, -1, INT_MIN}) EXPECT_EQ(0, thread.Signal(nIndex)) << nIndex;
        EXPECT_EQ(1, thread.Signal(1));
    }
}

TEST(ThreadTest, SignalZeroEndsTheThreadAheadOfRunsOwed) {
    Log log;
    CXThread thread;
    thread.AddFunction(&Note<'a'>, 0);
    thread.AddFunction(&StayAtTheGate, 1);
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    EXPECT_EQ(1, thread.Signal(1));
    EXPECT_EQ(1, thread.Signal(0));
    log.m_gate.Set();
    log.m_ended.Wait();
    EXPECT_EQ("g", log.m_strRuns);
}

TEST(ThreadTest, AFunctionThatReturnsZeroEndsTheThread) {
    Log log;
    CXThread thread;
    thread.AddFunction(&Note<'a'>, 1);
    thread.AddFunction(&NoteAndEnd, 1);
    thread.AddFunction(&Note<'c'>, 1);
    thread.Signal(2);
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_ended.Wait();
    EXPECT_EQ("ae", log.m_strRuns);
    EXPECT_EQ(0, thread.AddFunction(&Nothing, 0)) << "it counts as running until it is joined";
    EXPECT_EQ(0, thread.Create(&log, 0));
    thread.Destroy();
    EXPECT_EQ(0, thread.Create(&log, 0));
}

TEST(ThreadTest, DestroyDropsTheRunsStillOwedAndJoins) {
    Log log;
    CXThread thread;
    thread.AddFunction(&StayAtTheGate, 1);
    thread.AddFunction(&Note<'b'>, 1);
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    thread.Signal(1);
    const PosixFault watch("pthread_join", 42, INT_MAX);
    std::thread destroyer([&] { thread.Destroy(); });
    while (watch.Calls() == 0) std::this_thread::yield();
    log.m_gate.Set();
    destroyer.join();
    EXPECT_EQ("g", log.m_strRuns);
}

TEST(ThreadTest, TheDestructorStopsARunningThread) {
    Log log;
    {
        CXThread thread;
        thread.AddFunction(&StayAtTheGate, 1);
        ASSERT_EQ(1, thread.Create(&log, 0));
        log.m_done.Wait();
        log.m_gate.Set();
    }
    EXPECT_EQ("g", log.m_strRuns);
}

TEST(ThreadTest, DestroyBeforeCreateForbidsTheStart) {
    CXThread thread;
    thread.AddFunction(&Nothing, 0);
    thread.Destroy();
    EXPECT_EQ(0, thread.Create(nullptr, 0));
}
// Q19

// Q19
TEST(ThreadTest, IsSignaledIsTrueOncePerSignal) {
    Log log;
    CXThread thread;
    thread.AddFunction(&StayAtTheGate, 1);
    EXPECT_EQ(0, thread.isSignaled());
    ASSERT_EQ(1, thread.Create(&log, 0));
    log.m_done.Wait();
    EXPECT_EQ(0, thread.isSignaled());
    thread.Signal(1);
    EXPECT_EQ(1, thread.isSignaled());
    EXPECT_EQ(0, thread.isSignaled());
    log.m_gate.Set();  // the run is still owed although its signal was taken
    log.m_done.Wait();
    log.m_gate.Set();
    thread.Destroy();
    EXPECT_EQ("gg", log.m_strRuns);
}

TEST(ThreadTest, TheNameIsACopyAndNullEmptiesIt) {
    CXThread thread;
    EXPECT_TRUE(thread.GetName() == "");
    String strName("reader");
    thread.SetName(&strName);
    strName += "!";
    EXPECT_TRUE(thread.GetName() == "reader");
    thread.SetName(nullptr);
    EXPECT_TRUE(thread.GetName() == "");
}

TEST(ThreadTest, AThreadThatCannotBeJoinedEndsTheProgram) {
    // EDEADLK: the worker asks for its own end.
    EXPECT_DEATH(
        {
            Log log;
            CXThread thread;
            log.m_pThread = &thread;
            thread.AddFunction(&DestroyItself, 1);
            thread.Create(&log, 0);
            log.m_gate.Set();
            log.m_done.Wait();
        },
        "pthread_join: error 35\nDestroy: SamplerDBDS/BaseClasses/OSSpec, line [0-9]+: assertion failed: "
        "!err");
}
// Q20

// Q20
TEST(PriorityTest, WithoutARangeTheLevelIsZeroAndAnyLevelIsAccepted) {
    ASSERT_GE(CXThread::sPrMin, CXThread::sPrMax) << "the default policy of this system has a range";
    for (const int nLevel : {0, -15, 15, 99, INT_MIN, INT_MAX}) {
        EXPECT_EQ(1, SetCurrentPriority(nLevel));
        EXPECT_EQ(0, GetCurrentPriority());
    }
}

TEST(PriorityTest, LevelsAndPrioritiesOfARealRange) {
    struct {
        int nPriority, nMin, nMax, nLevel;
    } const kRows[] = {
        {1, 1, 99, -15},   {99, 1, 99, 15},   {50, 1, 99, 0},   {49, 1, 99, -1}, {98, 1, 99, 14},
        {2, 1, 99, -15},   {15, 15, 47, -15}, {47, 15, 47, 15}, {31, 15, 47, 0}, {-20, -20, 19, -15},
        {19, -20, 19, 15}, {0, 0, 0, 0},      {7, 7, 7, 0},     {0, 1, 0, 0},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.nPriority);
        EXPECT_EQ(row.nLevel, PriorityToLevel(row.nPriority, row.nMin, row.nMax));
    }
}

TEST(PriorityTest, PrioritiesOfLevelsAreTruncatedAndLevelsClamped) {
    struct {
        int nLevel, nMin, nMax, nPriority;
    } const kRows[] = {
        {-15, 1, 99, 1},     {15, 1, 99, 99},      {0, 1, 99, 50},  {1, 1, 99, 53},
        {-14, 1, 99, 4},     {99, 1, 99, 99},      {16, 1, 99, 99}, {-16, 1, 99, 1},
        {INT_MIN, 1, 99, 1}, {INT_MAX, 1, 99, 99}, {7, 15, 47, 38}, {0, 0, 0, 0},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.nLevel);
        EXPECT_EQ(row.nPriority, LevelToPriority(row.nLevel, row.nMin, row.nMax));
    }
}

TEST(SleepTest, SleepsAtLeastOneMillisecond) {
    struct {
        unsigned nMs;
        time_t tSeconds;
        long nNanoseconds;
    } const kRows[] = {
        {0, 0, 1000000},
        {1, 0, 1000000},
        {2, 0, 2000000},
        {1500, 1, 500000000},
        {UINT_MAX, 4294967, 295000000},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.nMs);
        const PosixFault fault("nanosleep", 0);
        SleepCurrentThread(row.nMs);
        EXPECT_EQ(1, fault.Calls());
        EXPECT_EQ(row.tSeconds, fault.LastTime().tv_sec);
        EXPECT_EQ(row.nNanoseconds, fault.LastTime().tv_nsec);
    }
}

}  // namespace Kestrova::Test
