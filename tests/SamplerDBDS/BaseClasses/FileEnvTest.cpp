#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "SamplerDBDS/BaseClasses/XFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

// --- The system's environment ---

TEST(FileEnvTest, TheSystemsIsInForceUntilAnotherIsSet) {
    EXPECT_EQ(GetSystemFileEnv(), GetFileEnv());
    {
        FaultyFileEnv env;
        EXPECT_EQ(&env, GetFileEnv());
        EXPECT_EQ(&env, SetFileEnv(nullptr));
        EXPECT_EQ(GetSystemFileEnv(), GetFileEnv());
        EXPECT_EQ(GetSystemFileEnv(), SetFileEnv(&env));
    }
    EXPECT_EQ(GetSystemFileEnv(), GetFileEnv());
}

TEST(FileEnvTest, AFileStaysWithTheEnvironmentThatOpenedIt) {
    TempDir dir;
    FaultyFileEnv env;
    CXFile file;
    ASSERT_TRUE(file.Create(dir.File("f").c_str()));
    SetFileEnv(nullptr);
    EXPECT_TRUE(file.Write("abc", 3));
    file.Close();
    EXPECT_EQ(1, env.Calls(FileOp::kWrite));
    EXPECT_EQ(1, env.Calls(FileOp::kClose));
}

TEST(FileEnvTest, HandlesAreNotInheritedAndPermissionsFollowTheMask) {
    TempDir dir;
    const mode_t maskBefore = umask(027);
    const int nFile = GetSystemFileEnv()->Open(dir.File("f").c_str(), FileMode::kCreate);
    umask(maskBefore);
    ASSERT_GE(nFile, 0);
    EXPECT_EQ(FD_CLOEXEC, fcntl(nFile, F_GETFD) & FD_CLOEXEC);
    struct stat status;
    ASSERT_EQ(0, fstat(nFile, &status));
    EXPECT_EQ(0640U, status.st_mode & 0777U);
    EXPECT_TRUE(GetSystemFileEnv()->Close(nFile));
}

TEST(FileEnvTest, OperationsOnAHandleThatIsNotOpenFailWithTheReason) {
    IFileEnv& env = *GetSystemFileEnv();
    constexpr int kNoFile = 1 << 30;
    char ch = 0;
    FileFacts facts;
    const auto isRefused = [](bool bFailed) { return bFailed && errno == EBADF; };
    EXPECT_TRUE(isRefused(!env.Close(kNoFile)));
    EXPECT_TRUE(isRefused(env.ReadAt(kNoFile, 0, &ch, 1) == -1));
    EXPECT_TRUE(isRefused(env.WriteAt(kNoFile, 0, &ch, 1) == -1));
    EXPECT_TRUE(isRefused(!env.Truncate(kNoFile, 0)));
    EXPECT_TRUE(isRefused(!env.Sync(kNoFile)));
    EXPECT_TRUE(isRefused(!env.GetFacts(kNoFile, facts)));
    EXPECT_TRUE(isRefused(env.TryLock(kNoFile, FileLock::kExclusive) == LockAnswer::kFailed));
}

TEST(FileEnvTest, PositionsUpToTheLargestOfAFileAreAllowed) {
    IFileEnv& env = *GetSystemFileEnv();
    EXPECT_TRUE(env.CheckPosition(0, 0));
    EXPECT_TRUE(env.CheckPosition(0, 0x7FFFFFFFFFFFFFFFULL));
    EXPECT_FALSE(env.CheckPosition(0, 0x8000000000000000ULL));
    EXPECT_EQ(EINVAL, errno);
}

class DescriptorLockTest : public testing::Test {
protected:
    DescriptorLockTest() : m_nFirst(OpenFolder()), m_nSecond(OpenFolder()) {}
    ~DescriptorLockTest() override {
        close(m_nFirst);
        close(m_nSecond);
    }
    int OpenFolder() const { return open(m_dir.File(".").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }

    const TempDir m_dir;
    const int m_nFirst, m_nSecond;
};

TEST_F(DescriptorLockTest, AFolderIsHeldByOneOrSharedByMany) {
    EXPECT_EQ(LockAnswer::kHeld, TryLockDescriptor(m_nFirst, FileLock::kShared));
    EXPECT_EQ(LockAnswer::kHeld, TryLockDescriptor(m_nSecond, FileLock::kShared));
    EXPECT_EQ(LockAnswer::kBusy, TryLockDescriptor(m_nFirst, FileLock::kExclusive));
    EXPECT_EQ(EWOULDBLOCK, errno);
}

TEST_F(DescriptorLockTest, AFileSystemWithoutLocksIsToldFromAFailure) {
    for (const int nError : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
        const PosixFault fault("flock", nError);
        EXPECT_EQ(LockAnswer::kNotSupported, TryLockDescriptor(m_nFirst, FileLock::kExclusive));
        EXPECT_EQ(nError, errno);
    }
    const PosixFault fault("flock", EIO);
    EXPECT_EQ(LockAnswer::kFailed, TryLockDescriptor(m_nFirst, FileLock::kExclusive));
    EXPECT_EQ(EIO, errno);
}

TEST_F(DescriptorLockTest, ASignalOnlyMakesTheCallAgain) {
    const PosixFault fault("flock", EINTR);
    EXPECT_EQ(LockAnswer::kHeld, TryLockDescriptor(m_nFirst, FileLock::kExclusive));
    EXPECT_EQ(2, fault.Calls());
}

// --- The environment of fault tests ---

class FaultyFileEnvTest : public testing::Test {
protected:
    // Three single bytes, each written to the system at once; the results as text, such as "110".
    std::string WriteThree() {
        std::string strResults;
        for (int i = 0; i < 3; ++i) strResults += m_file.Write("x", 1) && m_file.Flush() ? '1' : '0';
        return strResults;
    }

    TempDir m_dir;
    FaultyFileEnv m_env;
    CXFile m_file;
};

TEST_F(FaultyFileEnvTest, TheChosenCallFailsOnceOrForGood) {
    ASSERT_TRUE(m_file.Create(m_dir.File("f").c_str()));
    EXPECT_EQ("111", WriteThree());
    m_env.FailCall(2);
    EXPECT_FALSE(m_env.FaultHit());
    EXPECT_EQ("101", WriteThree());
    EXPECT_TRUE(m_env.FaultHit());
    m_env.FailCallOf(FileOp::kWrite, 2, FaultyFileEnv::Lasting::kForGood, ENOSPC);
    EXPECT_EQ("100", WriteThree());
    EXPECT_EQ(ENOSPC, m_file.GetLastError());
    m_env.FailCallOf(FileOp::kSync, 1);
    EXPECT_EQ("111", WriteThree());
    m_env.Heal();
    EXPECT_FALSE(m_env.FaultHit());
    EXPECT_TRUE(m_file.Sync());
}

TEST_F(FaultyFileEnvTest, CallsAreCountedByKind) {
    ASSERT_TRUE(m_file.Create(m_dir.File("f").c_str()));
    EXPECT_EQ("111", WriteThree());
    EXPECT_TRUE(m_file.SeekToPos(0));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ(1, m_env.Calls(FileOp::kOpen));
    EXPECT_EQ(3, m_env.Calls(FileOp::kWrite));
    EXPECT_EQ(1, m_env.Calls(FileOp::kPosition));
    EXPECT_EQ(1, m_env.Calls(FileOp::kTruncate));
    EXPECT_EQ(5, m_env.Calls()) << "all but the positions";
    m_env.ResetCounts();
    EXPECT_EQ(0, m_env.Calls());
}

TEST_F(FaultyFileEnvTest, PowerLossTakesWhatWasNotSynced) {
    WriteFile(m_dir.File("old"), "old");
    ASSERT_TRUE(m_file.Open(m_dir.File("old").c_str(), 1));
    EXPECT_TRUE(m_file.Write("NEW", 3));
    EXPECT_TRUE(m_file.Flush());
    CXFile other;
    ASSERT_TRUE(other.Create(m_dir.File("synced").c_str()));
    EXPECT_TRUE(other.Write("first", 5) && other.Sync() && other.Write("second", 6));
    m_file.Close();
    other.Close();
    m_env.LoseUnsynced();
    EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFile(m_dir.File("old")));
    EXPECT_EQ((Bytes{'f', 'i', 'r', 's', 't'}), ReadFile(m_dir.File("synced")));
}

}  // namespace
}  // namespace Kestrova::Test
