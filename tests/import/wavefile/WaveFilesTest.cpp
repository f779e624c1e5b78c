#include <gtest/gtest.h>

#include <thread>

#include "import/wavefile/WaveFiles.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/FolderNames.h"
#include "tests/support/SoundFileMaker.h"

namespace Kestrova::Test {
namespace {

class WaveFilesTest : public ::testing::Test {
protected:
    size_t Add(const std::string& strName, uint32_t nFrames) {
        WriteFile(m_dir.File(strName), MakeRampWav(nFrames));
        size_t nFile = 999;
        EXPECT_EQ("", m_files.Add(m_dir.File(strName), nFile).strCause);
        return nFile;
    }
    Bytes Frames(size_t nFile, uint32_t nFirst, uint32_t nFrames) const {
        Bytes bytes(size_t{nFrames} * 2);
        EXPECT_EQ("", m_files.ReadFrames(nFile, nFirst, nFrames, bytes.data()).strCause);
        return bytes;
    }
    static size_t CountDescriptors() { return NamesIn("/proc/self/fd").size(); }

    TempDir m_dir;
    WaveFiles m_files;
};

TEST_F(WaveFilesTest, FilesAreNumberedAndAPathKeepsItsNumber) {
    EXPECT_EQ(0u, Add("a.wav", 10));
    EXPECT_EQ(1u, Add("b.wav", 20));
    EXPECT_EQ(0u, Add("a.wav", 10));
    EXPECT_EQ(20u, m_files.GetFacts(1).nFrames);
    EXPECT_EQ(m_dir.File("b.wav"), m_files.GetPath(1));
    EXPECT_EQ(RampFrames(3, 5), Frames(1, 3, 5));
}

TEST_F(WaveFilesTest, PartsOfOneFileAreFilesOfTheirOwn) {
    const Bytes first = MakeRampWav(10), second = MakeRampWav(20);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    WriteFile(m_dir.File("both"), both);
    size_t nFirst = 999, nSecond = 999, nAgain = 999;
    EXPECT_EQ("", m_files.Add(m_dir.File("both"), nFirst, {0, first.size()}).strCause);
    EXPECT_EQ("", m_files.Add(m_dir.File("both"), nSecond, {first.size(), second.size()}).strCause);
    EXPECT_EQ("", m_files.Add(m_dir.File("both"), nAgain, {0, first.size()}).strCause);
    EXPECT_EQ(0u, nFirst);
    EXPECT_EQ(1u, nSecond);
    EXPECT_EQ(0u, nAgain);
    EXPECT_EQ(RampFrames(0, 10), Frames(0, 0, 10));
    EXPECT_EQ(RampFrames(15, 5), Frames(1, 15, 5));
}

TEST_F(WaveFilesTest, AFileThatCannotBeOpenedIsNotAdded) {
    size_t nFile = 999;
    EXPECT_EQ("No such file or directory", m_files.Add(m_dir.File("none.wav"), nFile).strCause);
    EXPECT_EQ(999u, nFile);
    EXPECT_EQ(0u, Add("a.wav", 10));
}

TEST_F(WaveFilesTest, FewOfManyFilesStayOpen) {
    const size_t nBefore = CountDescriptors();
    for (int i = 0; i < 100; ++i) Add(std::to_string(i), 10);
    EXPECT_EQ(nBefore, CountDescriptors());
    for (size_t nFile = 0; nFile < 100; ++nFile) EXPECT_EQ(RampFrames(0, 10), Frames(nFile, 0, 10));
    EXPECT_EQ(nBefore + WaveFiles::kMostIdle, CountDescriptors());
}

TEST_F(WaveFilesTest, PiecesThatFollowEachOtherOpenTheFileOnce) {
    FaultyFileEnv env;
    WaveFiles files;
    size_t nFile = 0;
    WriteFile(m_dir.File("a.wav"), MakeRampWav(1000));
    ASSERT_EQ("", files.Add(m_dir.File("a.wav"), nFile).strCause);
    env.ResetCounts();
    Bytes bytes(200);
    for (uint32_t nFirst = 0; nFirst < 1000; nFirst += 100) {
        EXPECT_EQ("", files.ReadFrames(nFile, nFirst, 100, bytes.data()).strCause);
        EXPECT_EQ(RampFrames(nFirst, 100), bytes);
    }
    EXPECT_EQ(1, env.Calls(FileOp::kOpen));
}

TEST_F(WaveFilesTest, ThreadsReadOneFileAtTheSameTime) {
    Add("a.wav", 5000);
    Add("b.wav", 5000);
    std::vector<std::thread> threads;
    for (uint32_t nThread = 0; nThread < 4; ++nThread)
        threads.emplace_back([this, nThread] {
            for (uint32_t nFirst = nThread; nFirst + 50 <= 5000; nFirst += 50)
                EXPECT_EQ(RampFrames(nFirst, 50), Frames(nThread % 2, nFirst, 50));
        });
    for (std::thread& thread : threads) thread.join();
}

TEST_F(WaveFilesTest, AFileThatHasBecomeAnotherIsRefusedByItsName) {
    Add("a.wav", 100);
    WriteFile(m_dir.File("a.wav"), MakeWav({1, 2, 44100, 24, Bytes(600)}));
    Bytes bytes(200);
    EXPECT_EQ(m_dir.File("a.wav") + ": it has changed during the import",
              m_files.ReadFrames(0, 0, 100, bytes.data()).strCause);
}

TEST_F(WaveFilesTest, APartIsOfAFileThatTheCallerNames) {
    WriteFile(m_dir.File("a.wav"), MakeRampWav(100));
    size_t nFile = 0;
    ASSERT_TRUE(m_files.Add(m_dir.File("a.wav"), nFile, {0, fs::file_size(m_dir.File("a.wav"))}).IsDone());
    WriteFile(m_dir.File("a.wav"), MakeWav({1, 2, 44100, 24, Bytes(600)}));
    Bytes bytes(200);
    EXPECT_EQ("it has changed during the import", m_files.ReadFrames(nFile, 0, 100, bytes.data()).strCause);
}

TEST_F(WaveFilesTest, AFailureNamesTheFileAndAFailedHandleIsNotUsedAgain) {
    Add("a.wav", 60000);
    Bytes bytes(120000);
    {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kRead, 3);
        const ImportOutcome outcome = m_files.ReadFrames(0, 0, 60000, bytes.data());
        EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
        EXPECT_EQ(m_dir.File("a.wav") + ": Input/output error", outcome.strCause);
    }
    EXPECT_EQ(RampFrames(0, 60000), Frames(0, 0, 60000));
    fs::remove(m_dir.File("a.wav"));
    Add("b.wav", 10);
    EXPECT_EQ(RampFrames(0, 60000), Frames(0, 0, 60000)) << "it is open still";
}

}  // namespace
}  // namespace Kestrova::Test
