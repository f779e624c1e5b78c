// The buffer behind CXFile: whatever the order of operations is, the file must look as if there were no
// buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "SamplerDBDS/BaseClasses/FileStream.h"
#include "SamplerDBDS/BaseClasses/XFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

constexpr size_t kWindow = FileStream::kWindowBytes;

// The same operations on a plain array of bytes.
struct FileModel {
    Bytes m_content;
    size_t m_pos = 0;

    size_t Left() const { return m_pos < m_content.size() ? m_content.size() - m_pos : 0; }

    void Write(const Bytes& bytes) {
        m_content.resize(std::max(m_content.size(), m_pos + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), m_content.begin() + static_cast<std::ptrdiff_t>(m_pos));
        m_pos += bytes.size();
    }
};

// One CXFile and its model, driven by the same random choices.
class CRandomWalk {
public:
    CRandomWalk(const std::string& strPath, unsigned nSeed) : m_random(nSeed) {
        EXPECT_TRUE(m_file.Create(strPath.c_str()));
    }

    void Step() {
        switch (Below(10)) {
            case 0:
            case 1:
            case 2: return Write();
            case 3:
            case 4: return Read();
            case 5: return Seek(Below(m_model.m_content.size() + 100));
            case 6: return Seek(m_model.m_pos + Below(m_model.Left() + 1));
            case 7: return SeekToEnd();
            case 8: return ReadAtPos();
            default: return Rarely();
        }
    }

    const Bytes& Finish() {
        m_file.Close();
        return m_model.m_content;
    }

private:
    size_t Below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(m_random); }

    // Mostly small, sometimes around the window's size, sometimes above.
    size_t Length() {
        switch (Below(12)) {
            case 0: return kWindow - 2 + Below(5);
            case 1: return Below(3 * kWindow);
            case 2: return Below(kWindow);
            default: return Below(200);
        }
    }

    void Write() {
        Bytes bytes(Length());
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(m_random());
        EXPECT_TRUE(m_file.Write(bytes.data(), bytes.size()));
        m_model.Write(bytes);
    }

    void ExpectRead(const Bytes& read, bool bRead, size_t pos) {
        const size_t nThere = pos < m_model.m_content.size() ? m_model.m_content.size() - pos : 0;
        const size_t nExpected = std::min(read.size(), nThere);
        EXPECT_EQ(read.size() <= nThere, bRead);
        EXPECT_TRUE(nExpected == 0 ||
                    std::memcmp(read.data(), m_model.m_content.data() + pos, nExpected) == 0);
    }

    void Read() {
        Bytes read(Length());
        const bool bRead = m_file.Read(read.data(), read.size());
        ExpectRead(read, bRead, m_model.m_pos);
        m_model.m_pos += std::min(read.size(), m_model.Left());
    }

    void ReadAtPos() {
        Bytes read(Length());
        const size_t pos = Below(m_model.m_content.size() + 100);
        ExpectRead(read, m_file.ReadAtPos(pos, read.data(), read.size()), pos);
    }

    void Seek(size_t pos) {
        if (Below(2) == 0)
            EXPECT_TRUE(m_file.SeekToPos(pos));
        else
            EXPECT_TRUE(m_file.Skip(pos - m_model.m_pos));
        m_model.m_pos = pos;
    }

    void SeekToEnd() {
        unsigned long long pos = 0;
        EXPECT_TRUE(m_file.SeekToEnd(pos));
        m_model.m_pos = m_model.m_content.size();
        EXPECT_EQ(m_model.m_pos, pos);
    }

    void Rarely() {
        unsigned long long n = 0;
        switch (Below(4)) {
            case 0: EXPECT_TRUE(m_file.Flush()); return;
            case 1:
                EXPECT_TRUE(m_file.GetCurrentPos(n));
                EXPECT_EQ(m_model.m_pos, n);
                return;
            case 2:
                EXPECT_TRUE(m_file.GetSize(n));
                EXPECT_EQ(m_model.m_content.size(), n);
                return;
            default: EXPECT_TRUE(m_file.SetEOF()); m_model.m_content.resize(m_model.m_pos);
        }
    }

    std::mt19937 m_random;
    CXFile m_file;
    FileModel m_model;
};

TEST(XFileBufferTest, RandomOperationsLeaveWhatAPlainArrayHolds) {
    TempDir dir;
    for (unsigned nSeed = 1; nSeed <= 24; ++nSeed) {
        SCOPED_TRACE(testing::Message() << "seed " << nSeed);
        CRandomWalk walk(dir.File("walk"), nSeed);
        for (int i = 0; i < 400 && !testing::Test::HasFailure(); ++i) walk.Step();
        const Bytes& expected = walk.Finish();
        ASSERT_TRUE(expected == ReadFile(dir.File("walk")));
    }
}

TEST(XFileBufferTest, ItMakesNoDifferenceThatTheSystemMovesFewBytesAtATime) {
    TempDir dir;
    FaultyFileEnv env;
    for (const size_t nMost : {1000U, 4096U, 65535U}) {
        SCOPED_TRACE(testing::Message() << nMost << " bytes at a time");
        env.MoveAtMost(nMost);
        CRandomWalk walk(dir.File("walk"), static_cast<unsigned>(nMost));
        for (int i = 0; i < 300 && !testing::Test::HasFailure(); ++i) walk.Step();
        const Bytes& expected = walk.Finish();
        ASSERT_TRUE(expected == ReadFile(dir.File("walk")));
    }
}

// Counts how many calls of the system some work takes.
class XFileCostTest : public testing::Test {
protected:
    void OpenWithZeros(size_t nBytes) {
        WriteFile(m_dir.File("cost"), Bytes(nBytes));
        ASSERT_TRUE(m_file.Open(m_dir.File("cost").c_str(), 1));
        m_env.ResetCounts();
    }

    TempDir m_dir;
    FaultyFileEnv m_env;
    CXFile m_file;
};

TEST_F(XFileCostTest, AppendedRecordsReachTheSystemOncePerWindow) {
    OpenWithZeros(0);
    constexpr int kRecords = 10000;
    constexpr size_t kRecord = 14 + 50;
    const Bytes record(kRecord, 1);
    for (int i = 0; i < kRecords; ++i) {
        unsigned long long pos = 0;
        ASSERT_TRUE(m_file.SeekToEnd(pos));
        ASSERT_EQ(static_cast<size_t>(i) * kRecord, pos);
        ASSERT_TRUE(m_file.Write(record.data(), 14));
        ASSERT_TRUE(m_file.Write(record.data() + 14, kRecord - 14));
    }
    ASSERT_TRUE(m_file.Flush());
    constexpr int kWindows = static_cast<int>(kRecords * kRecord / kWindow) + 2;
    EXPECT_LE(m_env.Calls(FileOp::kWrite), kWindows);
    EXPECT_LE(m_env.Calls(FileOp::kFacts), kWindows);
    EXPECT_EQ(0, m_env.Calls(FileOp::kRead));
}

TEST_F(XFileCostTest, HeadersOfSmallRecordsAreReadAWindowAtATime) {
    constexpr size_t kBytes = 640000;
    OpenWithZeros(kBytes);
    char arHeader[14];
    while (m_file.Read(arHeader, sizeof arHeader)) ASSERT_TRUE(m_file.Skip(50));
    EXPECT_LE(m_env.Calls(FileOp::kRead), static_cast<int>(kBytes / kWindow) + 6);
}

TEST_F(XFileCostTest, HeadersOfLargeRecordsCostOneShortReadEach) {
    OpenWithZeros(20 * 100000);
    char arHeader[14];
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(m_file.Read(arHeader, sizeof arHeader));
        ASSERT_TRUE(m_file.Skip(100000 - sizeof arHeader));
    }
    EXPECT_EQ(20, m_env.Calls(FileOp::kRead));
}

TEST_F(XFileCostTest, LargeBlocksPassTheBufferBy) {
    OpenWithZeros(1000000);
    Bytes block(1000000);
    ASSERT_TRUE(m_file.Read(block.data(), block.size()));
    EXPECT_EQ(1, m_env.Calls(FileOp::kRead));
    ASSERT_TRUE(m_file.Write(block.data(), block.size()));
    EXPECT_EQ(1, m_env.Calls(FileOp::kWrite));
}

TEST_F(XFileCostTest, BytesAreWrittenBackExactlyAndNoneBesideThem) {
    OpenWithZeros(100);
    CXFile other;
    ASSERT_TRUE(other.Open(m_dir.File("cost").c_str(), 1));
    char chAny = 0;
    ASSERT_TRUE(m_file.Read(&chAny, 1));  // the window now holds all of the file
    ASSERT_TRUE(other.SeekToPos(50));
    ASSERT_TRUE(other.Write("other", 5));
    ASSERT_TRUE(other.Flush());
    ASSERT_TRUE(m_file.SeekToPos(40) && m_file.Write("A", 1));
    ASSERT_TRUE(m_file.SeekToPos(60) && m_file.Write("B", 1));
    m_file.Close();
    Bytes expected(100);
    expected[40] = 'A';
    std::copy_n("other", 5, expected.begin() + 50);
    expected[60] = 'B';
    EXPECT_EQ(expected, ReadFile(m_dir.File("cost")));
}

}  // namespace
}  // namespace Kestrova::Test
