// CXFile and threads: the stream's lock.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

// Whether the call waits for a lock: it has not returned while the lock is held, and returns when it has been
// released.
template <class TCall>
std::future<bool> Started(TCall call) {
    return std::async(std::launch::async, call);
}

bool IsWaiting(const std::future<bool>& result) {
    return result.wait_for(std::chrono::milliseconds(30)) == std::future_status::timeout;
}

class XFileThreadTest : public testing::Test {
protected:
    XFileThreadTest() {
        WriteFile(m_dir.File("file"), "0123456789");
        EXPECT_TRUE(m_file.Open(m_dir.File("file").c_str(), 1));
    }
    auto ReadOnAnotherThread() {
        return Started([this] {
            char ch = 0;
            return m_file.Read(&ch, 1);
        });
    }

    TempDir m_dir;
    CXFile m_file;
};

TEST_F(XFileThreadTest, TheLockIsRecursiveForItsThread) {
    EXPECT_TRUE(m_file.Lock());
    EXPECT_TRUE(m_file.Lock());
    EXPECT_TRUE(m_file.Unlock());
    std::future<bool> read = ReadOnAnotherThread();
    EXPECT_TRUE(IsWaiting(read)) << "one of two locks is still held";
    EXPECT_TRUE(m_file.Unlock());
    EXPECT_TRUE(read.get());
    EXPECT_FALSE(m_file.Unlock()) << "one more than locks";
}

TEST_F(XFileThreadTest, AnotherThreadCannotReleaseTheLock) {
    EXPECT_TRUE(m_file.Lock());
    EXPECT_FALSE(Started([this] { return m_file.Unlock(); }).get());
    std::future<bool> read = ReadOnAnotherThread();
    EXPECT_TRUE(IsWaiting(read));
    EXPECT_TRUE(m_file.Unlock());
    EXPECT_TRUE(read.get());
}

TEST_F(XFileThreadTest, CloseFreesEveryLockOfItsThread) {
    EXPECT_TRUE(m_file.Lock());
    EXPECT_TRUE(m_file.Lock());
    m_file.Close();
    EXPECT_FALSE(m_file.Unlock());
    EXPECT_FALSE(ReadOnAnotherThread().get()) << "closed, but not waiting";
    ASSERT_TRUE(m_file.Open(m_dir.File("file").c_str(), 0));
    EXPECT_TRUE(ReadOnAnotherThread().get());
}

TEST_F(XFileThreadTest, CloseWaitsForAnotherThreadsLock) {
    EXPECT_TRUE(m_file.Lock());
    std::future<bool> closed = Started([this] {
        m_file.Close();
        return true;
    });
    EXPECT_TRUE(IsWaiting(closed));
    EXPECT_TRUE(m_file.IsOpen());
    EXPECT_TRUE(m_file.Unlock());
    EXPECT_TRUE(closed.get());
    EXPECT_FALSE(m_file.IsOpen());
}

TEST_F(XFileThreadTest, AReaderHoldsTheLockUntilItIsCleared) {
    CXFileReadBuff buff(&m_file, 4);
    std::future<bool> read = ReadOnAnotherThread();
    EXPECT_TRUE(IsWaiting(read));
    buff.Clear();
    EXPECT_TRUE(read.get());
    CXFileReader window(&m_file, 4);
    read = ReadOnAnotherThread();
    EXPECT_TRUE(IsWaiting(read));
    window.Clear();
    EXPECT_TRUE(read.get());
}

TEST_F(XFileThreadTest, ThreadsThatReadAtPositionsDoNotDisturbEachOther) {
    constexpr size_t kBytes = 300000;
    Bytes content(kBytes);
    for (size_t i = 0; i < kBytes; ++i) content[i] = static_cast<uint8_t>(i * 31 + i / 251);
    WriteFile(m_dir.File("large"), content);
    ASSERT_TRUE(m_file.Open(m_dir.File("large").c_str(), 0));
    std::atomic<int> nWrong{0};
    const auto readAround = [&](size_t nStart) {
        for (size_t i = 0; i < 2000; ++i) {
            const size_t pos = (nStart + i * 7919) % (kBytes - 8);
            uint8_t arRead[8] = {};
            const bool bRead = m_file.ReadAtPos(pos, arRead, sizeof arRead);
            if (!bRead || !std::equal(arRead, arRead + 8, content.begin() + static_cast<std::ptrdiff_t>(pos)))
                ++nWrong;
        }
    };
    const auto readInLockedPairs = [&](size_t nStart) {
        for (size_t i = 0; i < 2000; ++i) {
            const size_t pos = (nStart + i * 104729) % (kBytes - 8);
            uint8_t nRead = 0;
            m_file.Lock();
            const bool bRead = m_file.SeekToPos(pos) && m_file.Read(&nRead, 1);
            m_file.Unlock();
            if (!bRead || nRead != content[pos]) ++nWrong;
        }
    };
    std::vector<std::thread> arThreads;
    for (size_t i = 0; i < 2; ++i) {
        arThreads.emplace_back(readAround, i * 1000);
        arThreads.emplace_back(readInLockedPairs, i * 3000);
    }
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(0, nWrong);
}

}  // namespace
}  // namespace Kestrova::Test
