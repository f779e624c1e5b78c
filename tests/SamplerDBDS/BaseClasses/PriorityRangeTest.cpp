// Priorities on a system whose default policy has a range of 1 to 99. The linker's --wrap puts the scheduler
// below in the place of the system's; each thread has a priority there.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <climits>

#include "SamplerDBDS/BaseClasses/XThread.h"

namespace Kestrova::Test {
namespace {

thread_local int t_nPriority = 50;
bool g_bFails = false;

struct LevelOfWorker {
    int m_nLevel = INT_MAX;
    CXEvent m_done;
};

int NoteLevel(void* pArgument) {
    auto& level = *static_cast<LevelOfWorker*>(pArgument);
    level.m_nLevel = GetCurrentPriority();
    level.m_done.Set();
    return 1;
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap leads calls to these names
int __wrap_sched_get_priority_min(int nPolicy);
int __wrap_sched_get_priority_max(int nPolicy);
int __wrap_pthread_getschedparam(pthread_t thread, int* pnPolicy, sched_param* pParam);
int __wrap_pthread_setschedparam(pthread_t thread, int nPolicy, const sched_param* pParam);
// NOLINTEND(bugprone-reserved-identifier)

int __wrap_sched_get_priority_min(int nPolicy) { return nPolicy == 0 ? 1 : -1; }
int __wrap_sched_get_priority_max(int nPolicy) { return nPolicy == 0 ? 99 : -1; }

int __wrap_pthread_getschedparam(pthread_t, int* pnPolicy, sched_param* pParam) {
    *pnPolicy = SCHED_RR;
    pParam->sched_priority = t_nPriority;
    return g_bFails;
}

int __wrap_pthread_setschedparam(pthread_t, int nPolicy, const sched_param* pParam) {
    EXPECT_EQ(SCHED_RR, nPolicy) << "the policy is kept";
    t_nPriority = pParam->sched_priority;
    return t_nPriority == 4;  // the system refuses one
}

}  // extern "C"

TEST(PriorityRangeTest, TheRangeIsReadForPolicyZero) {
    EXPECT_EQ(1, CXThread::sPrMin);
    EXPECT_EQ(99, CXThread::sPrMax);
}

TEST(PriorityRangeTest, TheEndsOfTheRangeAreTheOutermostLevels) {
    t_nPriority = 99;
    EXPECT_EQ(15, GetCurrentPriority());
    t_nPriority = 1;
    EXPECT_EQ(-15, GetCurrentPriority());
    t_nPriority = 50;
    EXPECT_EQ(0, GetCurrentPriority());
}

TEST(PriorityRangeTest, ALevelOutsideActsAsTheNearestOne) {
    for (const int nLevel : {99, 15, INT_MAX}) {
        EXPECT_EQ(1, SetCurrentPriority(nLevel));
        EXPECT_EQ(99, t_nPriority);
    }
    for (const int nLevel : {-99, -15, INT_MIN}) {
        EXPECT_EQ(1, SetCurrentPriority(nLevel));
        EXPECT_EQ(1, t_nPriority);
    }
    EXPECT_EQ(1, SetCurrentPriority(-2));
    EXPECT_EQ(43, t_nPriority);
}

TEST(PriorityRangeTest, ARefusedPriorityIsReported) { EXPECT_EQ(0, SetCurrentPriority(-14)); }

TEST(PriorityRangeTest, WhenThePriorityCannotBeReadTheLevelIsZeroAndNothingIsSet) {
    t_nPriority = 99;
    g_bFails = true;
    EXPECT_EQ(0, GetCurrentPriority());
    EXPECT_EQ(0, SetCurrentPriority(-15));
    g_bFails = false;
    EXPECT_EQ(99, t_nPriority);
}

TEST(PriorityRangeTest, TheWorkerRunsAtTheLevelItWasCreatedWith) {
    t_nPriority = 50;
    struct {
        int nCreatedWith, nLevel;
    } const kRows[] = {{0, 0}, {-2, -3}, {15, 15}, {40, 15}, {-40, -15}};
    for (const auto& row : kRows) {
        LevelOfWorker level;
        level.m_done.Create();
        CXThread thread;
        thread.AddFunction(&NoteLevel, 1);
        ASSERT_EQ(1, thread.Create(&level, row.nCreatedWith));
        level.m_done.Wait();
        EXPECT_EQ(row.nLevel, level.m_nLevel);
    }
    EXPECT_EQ(0, GetCurrentPriority()) << "the creator's own stays";
}

}  // namespace Kestrova::Test
