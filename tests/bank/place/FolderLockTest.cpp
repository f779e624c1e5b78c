#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "bank/place/FolderLock.h"
#include "shared/System/kvCancelSignal.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNoWait{0};
constexpr std::chrono::hours kForEver{1};

class FolderLockTest : public ::testing::Test {
protected:
    ~FolderLockTest() override { SetCancelSignal(0); }

    FolderLock::Outcome Try(milliseconds wait = kNoWait) const {
        return FolderLock(m_dir.Path(), wait).GetOutcome();
    }

    TempDir m_dir;
};

TEST_F(FolderLockTest, OneAtATimeHoldsIt) {
    FolderLock first(m_dir.Path(), kNoWait);
    EXPECT_TRUE(first.IsHeld());
    EXPECT_EQ(Hold::Held, FolderLock::Ask(m_dir.Path()));
    EXPECT_EQ(FolderLock::Outcome::Busy, Try());
    first.Release();
    EXPECT_EQ(Hold::Free, FolderLock::Ask(m_dir.Path()));
    EXPECT_EQ(FolderLock::Outcome::Held, Try());
    EXPECT_EQ(FolderLock::Outcome::Held, Try()) << "the one before has gone with its object";
}

TEST_F(FolderLockTest, WhoWaitsHasItWhenTheOtherIsDone) {
    FolderLock first(m_dir.Path());
    FolderLock::Outcome outcome = FolderLock::Outcome::Failed;
    std::thread waiting([&] { outcome = Try(kForEver); });
    first.Release();
    waiting.join();
    EXPECT_EQ(FolderLock::Outcome::Held, outcome);
}

TEST_F(FolderLockTest, AWaitEndsWithItsTime) {
    const FolderLock first(m_dir.Path());
    EXPECT_EQ(FolderLock::Outcome::Busy, Try(milliseconds(1)));
}

TEST_F(FolderLockTest, AWaitEndsWithASignal) {
    const FolderLock first(m_dir.Path());
    FolderLock::Outcome outcome = FolderLock::Outcome::Failed;
    std::thread waiting([&] { outcome = Try(kForEver); });
    SetCancelSignal(SIGTERM);
    waiting.join();
    EXPECT_EQ(FolderLock::Outcome::Cancelled, outcome);
}

TEST_F(FolderLockTest, AnInterruptedTryIsTriedAgain) {
    const PosixFault fault("flock", EINTR);
    EXPECT_EQ(FolderLock::Outcome::Held, Try(kForEver));
    EXPECT_EQ(2, fault.Calls());
}

TEST_F(FolderLockTest, WhatCannotBeLockedTellsWhy) {
    const FolderLock missing(m_dir.File("none"));
    EXPECT_EQ(FolderLock::Outcome::Failed, missing.GetOutcome());
    EXPECT_EQ(ENOENT, missing.GetError());

    WriteFile(m_dir.File("file"), std::string());
    EXPECT_EQ(ENOTDIR, FolderLock(m_dir.File("file")).GetError());

    const PosixFault fault("flock", EIO);
    const FolderLock broken(m_dir.Path(), kForEver);
    EXPECT_EQ(FolderLock::Outcome::Failed, broken.GetOutcome());
    EXPECT_EQ(EIO, broken.GetError());
    EXPECT_FALSE(broken.IsTurn());
}

TEST_F(FolderLockTest, ALockThatFailsAfterAWaitTellsWhy) {
    const FolderLock first(m_dir.Path());
    const PosixFault fault("flock", EIO, 2);
    const FolderLock second(m_dir.Path(), kForEver);
    EXPECT_EQ(FolderLock::Outcome::Failed, second.GetOutcome());
    EXPECT_EQ(EIO, second.GetError());
}

// Some network and cluster file systems have no locks: the work goes on without.
TEST_F(FolderLockTest, WhereThereAreNoLocksATurnIsHadWithoutOne) {
    for (const int nError : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
        const PosixFault fault("flock", nError, PosixFault::kEveryCall);
        const FolderLock turn(m_dir.Path(), kForEver);
        EXPECT_EQ(FolderLock::Outcome::NoLocks, turn.GetOutcome());
        EXPECT_EQ(nError, turn.GetError());
        EXPECT_TRUE(turn.IsTurn());
        EXPECT_FALSE(turn.IsHeld());
        EXPECT_TRUE(turn.Sync());
        EXPECT_EQ(Hold::Unknown, FolderLock::Ask(m_dir.Path())) << "nobody is said to hold it";
    }
}

TEST_F(FolderLockTest, TwoThatAskDoNotDisturbEachOther) {
    const int nFirst = open(m_dir.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(0, flock(nFirst, LOCK_SH | LOCK_NB));
    EXPECT_EQ(Hold::Free, FolderLock::Ask(m_dir.Path()));
    close(nFirst);
    EXPECT_EQ(Hold::Unknown, FolderLock::Ask(m_dir.File("none")));
}

TEST_F(FolderLockTest, AFileSystemThatSyncsNoFoldersIsWell) {
    const FolderLock turn(m_dir.Path());
    EXPECT_TRUE(turn.Sync());
    {
        const PosixFault fault("fsync", EINVAL);
        EXPECT_TRUE(turn.Sync());
    }
    const PosixFault fault("fsync", EIO);
    EXPECT_FALSE(turn.Sync());
    EXPECT_EQ(EIO, errno);
}

}  // namespace
}  // namespace Kestrova::Test
