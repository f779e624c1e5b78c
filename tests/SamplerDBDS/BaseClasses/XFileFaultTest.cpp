// CXFile when the system fails it: every operation answers false, and nothing that was accepted is lost.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "SamplerDBDS/BaseClasses/FileStream.h"
#include "SamplerDBDS/BaseClasses/XFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

constexpr size_t kWindow = FileStream::kWindowBytes;

class XFileFaultTest : public testing::Test {
protected:
    std::string Path() const { return m_dir.File("file.bin"); }
    std::string OnDisk() const {
        const Bytes bytes = ReadFile(Path());
        return std::string(bytes.begin(), bytes.end());
    }
    void OpenWith(const std::string& strContent) {
        WriteFile(Path(), strContent);
        ASSERT_TRUE(m_file.Open(Path().c_str(), 1));
    }
    unsigned long long Pos() {
        unsigned long long pos = ~0ULL;
        EXPECT_TRUE(m_file.GetCurrentPos(pos));
        return pos;
    }

    TempDir m_dir;
    FaultyFileEnv m_env;
    CXFile m_file;
};

// Each row: the call that the system refuses, and the operation that must then fail. The file holds ten bytes
// 0x02, one more byte waits in the buffer behind them, and the position is the begin of the file.
struct FaultCase {
    const char* pszOperation;
    FileOp op;
    bool (*pfnCall)(CXFile&);
};

constexpr FaultCase kFaultCases[] = {
    {"Read", FileOp::kRead,
     [](CXFile& f) {
         char ch;
         return f.Read(&ch, 1);
     }},
    {"Read, large", FileOp::kRead,
     [](CXFile& f) {
         Bytes b(2 * kWindow);
         return f.Read(b.data(), b.size());
     }},
    {"Read that must write first", FileOp::kWrite,
     [](CXFile& f) {
         char ch;
         return f.Read(&ch, 1);
     }},
    {"Write that must write first", FileOp::kWrite, [](CXFile& f) { return f.Write("x", 1); }},
    {"Write, large", FileOp::kWrite,
     [](CXFile& f) {
         const Bytes b(2 * kWindow);
         return f.Write(b.data(), b.size());
     }},
    {"SeekToPos", FileOp::kPosition, [](CXFile& f) { return f.SeekToPos(1); }},
    {"Skip", FileOp::kPosition, [](CXFile& f) { return f.Skip(1); }},
    {"GetCurrentPos", FileOp::kPosition,
     [](CXFile& f) {
         unsigned long long pos;
         return f.GetCurrentPos(pos);
     }},
    {"SeekToEnd, size unknown", FileOp::kFacts,
     [](CXFile& f) {
         unsigned long long pos;
         return f.SeekToEnd(pos);
     }},
    {"SeekToEnd, seek", FileOp::kPosition,
     [](CXFile& f) {
         unsigned long long pos;
         return f.SeekToEnd(pos);
     }},
    {"SetEOF", FileOp::kTruncate, [](CXFile& f) { return f.SetEOF(); }},
    {"ReadAtPos, read", FileOp::kRead,
     [](CXFile& f) {
         char ch;
         return f.ReadAtPos(2, &ch, 1);
     }},
    {"ReadAtPos, seek", FileOp::kPosition,
     [](CXFile& f) {
         char ch;
         return f.ReadAtPos(2, &ch, 1);
     }},
    {"WriteString", FileOp::kWrite, [](CXFile& f) { return f.WriteString("text"); }},
    {"ReadString", FileOp::kRead,
     [](CXFile& f) {
         char* pszText = nullptr;
         const bool bRead = f.ReadString(&pszText);
         std::free(pszText);
         return bRead;
     }},
    {"ReadString255", FileOp::kRead,
     [](CXFile& f) {
         char sz[256];
         return f.ReadString255(&sz);
     }},
    {"WriteSwap16", FileOp::kWrite, [](CXFile& f) { return f.WriteSwap16(1); }},
    {"WriteSwap32", FileOp::kWrite, [](CXFile& f) { return f.WriteSwap32(1); }},
    {"WriteSwap64", FileOp::kWrite, [](CXFile& f) { return f.WriteSwap64(1); }},
    {"ReadSwap16", FileOp::kRead,
     [](CXFile& f) {
         uint16_t n;
         return f.ReadSwap16(&n);
     }},
    {"ReadSwap32", FileOp::kRead,
     [](CXFile& f) {
         uint32_t n;
         return f.ReadSwap32(&n);
     }},
    {"ReadSwap64", FileOp::kRead,
     [](CXFile& f) {
         uint64_t n;
         return f.ReadSwap64(&n);
     }},
    {"WriteSwapArray", FileOp::kWrite, [](CXFile& f) { return f.WriteSwapArray("abcd", 2, 2); }},
    {"WriteSwapArray, later piece", FileOp::kWrite,
     [](CXFile& f) {
         const Bytes b(4 * kWindow);
         return f.WriteSwapArray(b.data(), b.size() / 4, 4);
     }},
    {"ReadSwapArray", FileOp::kRead,
     [](CXFile& f) {
         char ar[4];
         return f.ReadSwapArray(ar, 2, 2);
     }},
    {"Flush", FileOp::kWrite, [](CXFile& f) { return f.Flush(); }},
    {"Sync, writing", FileOp::kWrite, [](CXFile& f) { return f.Sync(); }},
    {"Sync", FileOp::kSync, [](CXFile& f) { return f.Sync(); }},
    {"GetSize", FileOp::kFacts,
     [](CXFile& f) {
         unsigned long long n;
         return f.GetSize(n);
     }},
    {"GetFacts", FileOp::kFacts,
     [](CXFile& f) {
         FileFacts facts;
         return f.GetFacts(facts);
     }},
    {"TryLockFile", FileOp::kLock, [](CXFile& f) { return f.TryLockFile() == LockAnswer::kHeld; }},
};

TEST_F(XFileFaultTest, EveryOperationAnswersFalseWhenTheSystemRefuses) {
    for (const FaultCase& c : kFaultCases) {
        SCOPED_TRACE(c.pszOperation);
        m_env.Heal();
        OpenWith(std::string(10, '\2'));
        ASSERT_TRUE(m_file.SeekToPos(10) && m_file.Write("w", 1) && m_file.SeekToPos(0));
        m_env.FailCallOf(c.op, 1, FaultyFileEnv::Lasting::kForGood);
        errno = 0;
        EXPECT_FALSE(c.pfnCall(m_file));
        EXPECT_EQ(EIO, errno);
        EXPECT_TRUE(m_env.FaultHit());
        const bool bMovesBytes = c.op == FileOp::kRead || c.op == FileOp::kWrite || c.op == FileOp::kSync;
        EXPECT_EQ(bMovesBytes ? EIO : 0, m_file.GetLastError());
        EXPECT_EQ(EIO, m_file.GetFirstError());
    }
    m_env.Heal();
}

// --- The cause of a failure ---

TEST_F(XFileFaultTest, TheFirstErrorIsKeptUntilItIsClearedOrAFileIsOpened) {
    OpenWith("abc");
    m_env.FailCallOf(FileOp::kTruncate, 1, FaultyFileEnv::Lasting::kOnce, EFBIG);
    EXPECT_FALSE(m_file.SetEOF());
    m_env.FailCallOf(FileOp::kSync, 1, FaultyFileEnv::Lasting::kOnce, ENOSPC);
    EXPECT_FALSE(m_file.Sync());
    EXPECT_EQ(EFBIG, m_file.GetFirstError()) << "the first counts";
    m_file.ClearFirstError();
    EXPECT_EQ(0, m_file.GetFirstError());
    m_file.NoteError(0);
    m_file.NoteError(ENOMEM);
    m_file.NoteError(EIO);
    EXPECT_EQ(ENOMEM, m_file.GetFirstError());
    OpenWith("abc");
    EXPECT_EQ(0, m_file.GetFirstError());
}

TEST_F(XFileFaultTest, TheEndOfTheFileAndAClosedObjectAreNoFirstError) {
    OpenWith("abc");
    char ar[4];
    EXPECT_FALSE(m_file.Read(ar, 4));
    m_file.Close();
    EXPECT_FALSE(m_file.Read(ar, 1));
    EXPECT_EQ(0, m_file.GetFirstError());
}

TEST_F(XFileFaultTest, WhatCloseMeetsIsTheFirstErrorOfTheClosedObject) {
    for (const FileOp op : {FileOp::kWrite, FileOp::kClose}) {
        OpenWith("abc");
        ASSERT_TRUE(m_file.Write("X", 1));
        m_env.FailCallOf(op, 1, FaultyFileEnv::Lasting::kOnce, ENOSPC);
        m_file.Close();
        EXPECT_EQ(ENOSPC, m_file.GetFirstError());
        m_file.Close();
        EXPECT_EQ(ENOSPC, m_file.GetFirstError());
    }
}

TEST_F(XFileFaultTest, AFileThatCannotBeOpenedTellsWhyAsItsFirstError) {
    for (const bool bCreate : {false, true}) {
        m_env.FailCallOf(FileOp::kOpen, 1, FaultyFileEnv::Lasting::kOnce, EACCES);
        EXPECT_FALSE(bCreate ? m_file.Create(Path().c_str()) : m_file.Open(Path().c_str(), 1));
        EXPECT_EQ(EACCES, m_file.GetFirstError());
    }
    EXPECT_FALSE(m_file.Open(nullptr, 0));
    EXPECT_EQ(EINVAL, m_file.GetFirstError());
}

TEST_F(XFileFaultTest, ALockIsHeldBusyNotSupportedOrFailedByItsErrno) {
    struct LockCase {
        int nError;
        LockAnswer answer;
        int nFirstError;
    };
    for (const LockCase& row :
         {LockCase{EWOULDBLOCK, LockAnswer::kBusy, EWOULDBLOCK},
          LockCase{ENOLCK, LockAnswer::kNotSupported, 0}, LockCase{EOPNOTSUPP, LockAnswer::kNotSupported, 0},
          LockCase{ENOSYS, LockAnswer::kNotSupported, 0}, LockCase{EIO, LockAnswer::kFailed, EIO}}) {
        SCOPED_TRACE(row.nError);
        OpenWith("abc");
        m_env.FailCallOf(FileOp::kLock, 1, FaultyFileEnv::Lasting::kOnce, row.nError);
        EXPECT_EQ(row.answer, m_file.TryLockFile());
        EXPECT_EQ(row.nFirstError, m_file.GetFirstError());
        EXPECT_EQ(LockAnswer::kHeld, m_file.TryLockFile());
    }
}

TEST_F(XFileFaultTest, EveryOperationSucceedsOnceTheFaultHasPassed) {
    for (const FaultCase& c : kFaultCases) {
        SCOPED_TRACE(c.pszOperation);
        OpenWith(std::string(6 * kWindow, '\2'));
        ASSERT_TRUE(m_file.SeekToPos(5 * kWindow) && m_file.Write("w", 1) && m_file.SeekToPos(0));
        m_env.FailCallOf(c.op, 1);
        EXPECT_FALSE(c.pfnCall(m_file));
        ASSERT_TRUE(m_file.SeekToPos(0));
        EXPECT_TRUE(c.pfnCall(m_file));
        m_file.Close();
        const Bytes bytes = ReadFile(Path());
        const bool bCut = c.op == FileOp::kTruncate;
        EXPECT_TRUE(bCut ? bytes.empty() : bytes.at(5 * kWindow) == 'w') << "the waiting byte is lost";
    }
}

TEST_F(XFileFaultTest, AFileThatCannotBeOpenedStaysClosed) {
    WriteFile(Path(), "abc");
    for (const bool bCreate : {false, true}) {
        m_env.FailCallOf(FileOp::kOpen, 1, FaultyFileEnv::Lasting::kOnce, EACCES);
        EXPECT_FALSE(bCreate ? m_file.Create(Path().c_str()) : m_file.Open(Path().c_str(), 1));
        EXPECT_EQ(EACCES, errno);
        EXPECT_FALSE(m_file.IsOpen());
    }
    EXPECT_EQ("abc", OnDisk());
}

TEST_F(XFileFaultTest, CloseLeavesTheObjectClosedWhateverFails) {
    for (const FileOp op : {FileOp::kWrite, FileOp::kClose}) {
        OpenWith("abc");
        ASSERT_TRUE(m_file.Write("X", 1));
        m_env.FailCallOf(op, 1);
        m_file.Close();
        EXPECT_FALSE(m_file.IsOpen());
        EXPECT_EQ(op == FileOp::kWrite ? "abc" : "Xbc", OnDisk());
    }
}

TEST_F(XFileFaultTest, ARefusedSeekDoesNotMove) {
    OpenWith("0123456789");
    ASSERT_TRUE(m_file.SeekToPos(3));
    unsigned long long pos = 77;
    m_env.FailCallOf(FileOp::kPosition, 1);
    EXPECT_FALSE(m_file.SeekToPos(5));
    EXPECT_EQ(3U, Pos());
    m_env.FailCallOf(FileOp::kFacts, 1);
    EXPECT_FALSE(m_file.SeekToEnd(pos));
    m_env.FailCallOf(FileOp::kPosition, 1);
    EXPECT_FALSE(m_file.SeekToEnd(pos));
    EXPECT_EQ(77U, pos);
    EXPECT_EQ(3U, Pos());
}

TEST_F(XFileFaultTest, ReadAtPosReturnsToThePositionBeforeWhenTheReadFailed) {
    OpenWith("0123456789");
    ASSERT_TRUE(m_file.SeekToPos(3));
    char chAny = 0;
    m_env.FailCallOf(FileOp::kRead, 1);
    EXPECT_FALSE(m_file.ReadAtPos(7, &chAny, 1));
    EXPECT_EQ(3U, Pos());
}

TEST_F(XFileFaultTest, AReadThatFailsMidwayStopsBehindTheBytesThatCame) {
    OpenWith(std::string(20000, 'a'));
    Bytes read(20000);
    ASSERT_TRUE(m_file.Read(read.data(), 1));
    m_env.MoveAtMost(5000);
    m_env.FailCallOf(FileOp::kRead, 2);
    EXPECT_FALSE(m_file.Read(read.data(), 19999));
    EXPECT_EQ(8192U + 5000U, Pos());
}

// --- The full disk ---

TEST_F(XFileFaultTest, AFullDiskShowsInFlushAndSync) {
    OpenWith("");
    m_env.FillDiskAfter(2);
    EXPECT_TRUE(m_file.Write("abcd", 4)) << "only buffered";
    EXPECT_EQ(0, m_file.GetLastError());
    EXPECT_FALSE(m_file.Flush());
    EXPECT_EQ(ENOSPC, errno);
    EXPECT_EQ(ENOSPC, m_file.GetLastError());
    EXPECT_FALSE(m_file.Sync());
    EXPECT_EQ("ab", OnDisk());
}

TEST_F(XFileFaultTest, BytesThatCouldNotBeWrittenAreTriedAgain) {
    OpenWith("");
    m_env.FillDiskAfter(2);
    EXPECT_TRUE(m_file.Write("abcd", 4));
    EXPECT_FALSE(m_file.Flush());
    m_env.Heal();
    EXPECT_TRUE(m_file.Write("ef", 2));
    EXPECT_TRUE(m_file.Flush());
    EXPECT_EQ("abcdef", OnDisk());
}

TEST_F(XFileFaultTest, AWriteThatFindsTheDiskFullLeavesPositionAndEarlierBytes) {
    OpenWith("");
    const std::string strFirst(kWindow - 10, 'a');
    EXPECT_TRUE(m_file.Write(strFirst.data(), strFirst.size()));
    m_env.FillDiskAfter(1000);
    EXPECT_FALSE(m_file.Write("this does not fit", 17));
    EXPECT_EQ(strFirst.size(), Pos());
    m_env.Heal();
    m_file.Close();
    EXPECT_EQ(strFirst, OnDisk());
}

// What the database does when a record cannot be appended: back to its begin, and cut.
TEST_F(XFileFaultTest, AnAppendCanBeCutBackWhileTheDiskIsFull) {
    OpenWith("");
    const std::string strGood(kWindow / 2, 'g');
    const std::string strBad(2 * kWindow, 'b');
    for (const size_t nRoom : {size_t{0}, size_t{100}, kWindow / 2, kWindow / 2 + 100}) {
        SCOPED_TRACE(testing::Message() << "room for " << nRoom << " bytes");
        OpenWith("");
        m_env.FillDiskAfter(nRoom);
        unsigned long long pos = 0;
        EXPECT_TRUE(m_file.Write(strGood.data(), strGood.size()));
        EXPECT_TRUE(m_file.SeekToEnd(pos));
        EXPECT_TRUE(m_file.Write("header", 6));
        EXPECT_FALSE(m_file.Write(strBad.data(), strBad.size()));
        EXPECT_TRUE(m_file.SeekToPos(pos));
        EXPECT_TRUE(m_file.SetEOF());
        EXPECT_LE(OnDisk().size(), strGood.size()) << "nothing of the bad record";
        unsigned long long posEnd = 0;
        EXPECT_TRUE(m_file.SeekToEnd(posEnd));
        EXPECT_EQ(pos, posEnd);
        m_env.Heal();
        EXPECT_TRUE(m_file.Write("next", 4));
        EXPECT_TRUE(m_file.Sync());
        EXPECT_EQ(strGood + "next", OnDisk());
    }
}

TEST_F(XFileFaultTest, ALargeBlockThatFailsMidwayCanBeCutBack) {
    OpenWith("start");
    unsigned long long pos = 0;
    ASSERT_TRUE(m_file.SeekToEnd(pos));
    m_env.FillDiskAfter(1000);
    const Bytes block(3 * kWindow);
    EXPECT_FALSE(m_file.Write(block.data(), block.size()));
    EXPECT_EQ(5U + 1000U, OnDisk().size());
    EXPECT_TRUE(m_file.SeekToPos(pos));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ("start", OnDisk());
}

TEST_F(XFileFaultTest, AFullDiskDoesNotLetSetEofInventBytes) {
    OpenWith("");
    m_env.FillDiskAfter(0);
    EXPECT_TRUE(m_file.Write("abc", 3));
    EXPECT_TRUE(m_file.SeekToPos(10));
    EXPECT_FALSE(m_file.SetEOF()) << "behind bytes that cannot be written";
    EXPECT_EQ("", OnDisk());
    EXPECT_TRUE(m_file.SeekToPos(3));
    m_env.FailCallOf(FileOp::kFacts, 1);
    EXPECT_FALSE(m_file.SetEOF()) << "the file's length is not known";
    EXPECT_TRUE(m_file.SetEOF());
    m_env.Heal();
    m_file.Close();
    EXPECT_EQ("abc", OnDisk());
}

TEST_F(XFileFaultTest, SetEofCutsAFileThatIsTooLongBehindWaitingBytes) {
    OpenWith("0123456789");
    m_env.FillDiskAfter(0);
    EXPECT_TRUE(m_file.SeekToPos(2) && m_file.Write("XY", 2));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ("0123", OnDisk());
    m_env.Heal();
    m_file.Close();
    EXPECT_EQ("01XY", OnDisk());
}

TEST_F(XFileFaultTest, AWriteThatMovesNothingIsAFailureAndNoEndlessLoop) {
    OpenWith("");
    m_env.MoveAtMost(0);  // the disk answers 0 bytes instead of an error
    EXPECT_TRUE(m_file.Write("abc", 3));
    EXPECT_FALSE(m_file.Flush());
    EXPECT_EQ(EIO, m_file.GetLastError());
}

TEST_F(XFileFaultTest, AWriteIsResumedWhereTheSystemStopped) {
    OpenWith("");
    m_env.MoveAtMost(7);
    const std::string strData(1000, 'x');
    EXPECT_TRUE(m_file.Write(strData.data(), strData.size()));
    EXPECT_TRUE(m_file.Flush());
    EXPECT_EQ(strData, OnDisk());
}

}  // namespace
}  // namespace Kestrova::Test
