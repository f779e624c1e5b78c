#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <string>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "tests/SamplerDBDS/BaseClasses/XFileFixture.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

constexpr unsigned long long kLargestPos = std::numeric_limits<long long>::max();

class XFileTest : public XFileFixture {};

// --- Open, create, close ---

TEST_F(XFileTest, OpenNeverCreates) {
    EXPECT_FALSE(m_file.Open(Path().c_str(), 0));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(m_file.Open(Path().c_str(), 1));
    EXPECT_FALSE(std::filesystem::exists(Path()));
    EXPECT_FALSE(m_file.IsOpen());
}

TEST_F(XFileTest, OpenForReadingRefusesWritesAtOnce) {
    OpenWith("abc", 0);
    EXPECT_FALSE(m_file.Write("x", 1));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ(EBADF, m_file.GetLastError());
    EXPECT_FALSE(m_file.SetEOF());
    EXPECT_EQ("abc", Next(3));
    m_file.Close();
    EXPECT_EQ("abc", OnDisk());
    ASSERT_TRUE(m_file.Open(Path().c_str(), 0));
    EXPECT_EQ(0, m_file.GetLastError()) << "opened anew";
}

TEST_F(XFileTest, OpenForWritingKeepsTheContentAndStartsAtItsBegin) {
    OpenWith("abcdef");
    EXPECT_EQ(0U, Pos());
    EXPECT_TRUE(m_file.Write("XY", 2));
    EXPECT_EQ("cd", Next(2));
    m_file.Close();
    EXPECT_EQ("XYcdef", OnDisk());
}

TEST_F(XFileTest, CreateMakesAFileForReadingAndWriting) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.Write("hello", 5));
    EXPECT_TRUE(m_file.SeekToPos(1));
    EXPECT_EQ("ell", Next(3));
}

TEST_F(XFileTest, CreateEmptiesAFileThatExists) {
    WriteFile(Path(), "old content");
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    m_file.Close();
    EXPECT_EQ("", OnDisk());
}

TEST_F(XFileTest, OpenAndCreateCloseTheFileBefore) {
    OpenWith("abc");
    EXPECT_TRUE(m_file.Write("X", 1));
    ASSERT_TRUE(m_file.Create(m_dir.File("other").c_str()));
    EXPECT_EQ("Xbc", OnDisk());
    EXPECT_TRUE(m_file.Write("Y", 1));
    EXPECT_FALSE(m_file.Open(m_dir.File("missing").c_str(), 0));
    EXPECT_FALSE(m_file.IsOpen());
    EXPECT_EQ(Bytes{'Y'}, ReadFile(m_dir.File("other")));
}

TEST_F(XFileTest, ANullPathIsRefused) {
    EXPECT_FALSE(m_file.Open(nullptr, 0));
    EXPECT_FALSE(m_file.Create(nullptr));
}

TEST_F(XFileTest, WithoutMemoryNothingIsOpenedMadeOrEmptied) {
    WriteFile(Path(), "abc");
    for (const char* pszNew : {"_ZnamRKSt9nothrow_t", "_ZnwmRKSt9nothrow_t"}) {
        const PosixFault fault(pszNew, ENOMEM);
        EXPECT_FALSE(m_file.Create(Path().c_str())) << pszNew;
        EXPECT_EQ(1, fault.Calls());
    }
    EXPECT_EQ("abc", OnDisk());
}

TEST_F(XFileTest, OnlyRegularFilesOpen) {
    const std::string strPipe = m_dir.File("pipe");
    ASSERT_EQ(0, mkfifo(strPipe.c_str(), 0600));
    EXPECT_FALSE(m_file.Open(strPipe.c_str(), 0));  // and does not wait for a writer
    EXPECT_EQ(ESPIPE, errno);
    EXPECT_FALSE(m_file.Open(m_dir.Path().c_str(), 0));
    EXPECT_EQ(EISDIR, errno);
}

TEST_F(XFileTest, TheDestructorWritesAndCloses) {
    {
        CXFile file;
        ASSERT_TRUE(file.Create(Path().c_str()));
        EXPECT_TRUE(file.Write("kept", 4));
        EXPECT_EQ("", OnDisk());  // still in the buffer
    }
    EXPECT_EQ("kept", OnDisk());
}

struct ClosedCase {
    const char* pszOperation;
    bool (*pfnCall)(CXFile&);
};

constexpr ClosedCase kClosedCases[] = {
    {"Read",
     [](CXFile& f) {
         char ch;
         return f.Read(&ch, 1);
     }},
    {"Read of nothing", [](CXFile& f) { return f.Read(nullptr, 0); }},
    {"Write", [](CXFile& f) { return f.Write("x", 1); }},
    {"Write of nothing", [](CXFile& f) { return f.Write(nullptr, 0); }},
    {"SeekToPos", [](CXFile& f) { return f.SeekToPos(0); }},
    {"Skip", [](CXFile& f) { return f.Skip(0); }},
    {"SeekToEnd",
     [](CXFile& f) {
         unsigned long long pos;
         return f.SeekToEnd(pos);
     }},
    {"GetCurrentPos",
     [](CXFile& f) {
         unsigned long long pos;
         return f.GetCurrentPos(pos);
     }},
    {"SetEOF", [](CXFile& f) { return f.SetEOF(); }},
    {"Lock", [](CXFile& f) { return f.Lock(); }},
    {"Unlock", [](CXFile& f) { return f.Unlock(); }},
    {"ReadAtPos",
     [](CXFile& f) {
         char ch;
         return f.ReadAtPos(0, &ch, 1);
     }},
    {"WriteString", [](CXFile& f) { return f.WriteString("text"); }},
    {"WriteString of null", [](CXFile& f) { return f.WriteString(nullptr); }},
    {"ReadString",
     [](CXFile& f) {
         char* psz;
         return f.ReadString(&psz);
     }},
    {"ReadString255",
     [](CXFile& f) {
         char sz[256];
         return f.ReadString255(&sz);
     }},
    {"WriteSwap16", [](CXFile& f) { return f.WriteSwap16(1); }},
    {"WriteSwap32", [](CXFile& f) { return f.WriteSwap32(1); }},
    {"WriteSwap64", [](CXFile& f) { return f.WriteSwap64(1); }},
    {"ReadSwap16",
     [](CXFile& f) {
         uint16_t n;
         return f.ReadSwap16(&n);
     }},
    {"ReadSwap32",
     [](CXFile& f) {
         uint32_t n;
         return f.ReadSwap32(&n);
     }},
    {"ReadSwap64",
     [](CXFile& f) {
         uint64_t n;
         return f.ReadSwap64(&n);
     }},
    {"WriteSwapArray", [](CXFile& f) { return f.WriteSwapArray("ab", 1, 2); }},
    {"WriteSwapArray of nothing", [](CXFile& f) { return f.WriteSwapArray("ab", 0, 2); }},
    {"ReadSwapArray",
     [](CXFile& f) {
         char ar[2];
         return f.ReadSwapArray(ar, 1, 2);
     }},
    {"Flush", [](CXFile& f) { return f.Flush(); }},
    {"Sync", [](CXFile& f) { return f.Sync(); }},
    {"GetSize",
     [](CXFile& f) {
         unsigned long long n;
         return f.GetSize(n);
     }},
    {"GetFacts",
     [](CXFile& f) {
         FileFacts facts;
         return f.GetFacts(facts);
     }},
    {"TryLockFile", [](CXFile& f) { return f.TryLockFile() == LockAnswer::kHeld; }},
};

TEST_F(XFileTest, EveryOperationFailsOnAFileThatWasNeverOpened) {
    for (const ClosedCase& c : kClosedCases) {
        errno = 0;
        EXPECT_FALSE(c.pfnCall(m_file)) << c.pszOperation;
    }
    EXPECT_EQ(0, m_file.GetLastError());
}

TEST_F(XFileTest, EveryOperationFailsAfterClose) {
    OpenWith("0123456789012345678901234567890");
    m_file.Close();
    m_file.Close();  // twice is as good as once
    for (const ClosedCase& c : kClosedCases) EXPECT_FALSE(c.pfnCall(m_file)) << c.pszOperation;
    EXPECT_EQ(0, m_file.GetLastError());
}

// --- Bytes and positions ---

TEST_F(XFileTest, AReadIsTrueOnlyWhenAllBytesCame) {
    OpenWith("abcde");
    EXPECT_EQ("abc", Next(3));
    EXPECT_EQ("-", Next(3));
    EXPECT_EQ(5U, Pos()) << "the bytes that came are passed";
    EXPECT_EQ(0, m_file.GetLastError()) << "the end of the file is no error";
    EXPECT_EQ("-", Next(1));
    EXPECT_TRUE(m_file.Read(nullptr, 0));
}

TEST_F(XFileTest, WritingNothingSucceedsAndMakesNothing) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.SeekToPos(10));
    EXPECT_TRUE(m_file.Write(nullptr, 0));
    m_file.Close();
    EXPECT_EQ("", OnDisk());
}

TEST_F(XFileTest, PositionsAreAbsoluteRelativeAndFromTheEnd) {
    OpenWith("0123456789");
    EXPECT_TRUE(m_file.SeekToPos(4));
    EXPECT_EQ("4", Next(1));
    EXPECT_TRUE(m_file.Skip(2));
    EXPECT_EQ("7", Next(1));
    EXPECT_TRUE(m_file.Skip(0ULL - 8));
    EXPECT_EQ("0", Next(1));
    unsigned long long pos = 0;
    EXPECT_TRUE(m_file.SeekToEnd(pos));
    EXPECT_EQ(10U, pos);
    EXPECT_EQ(10U, Pos());
}

TEST_F(XFileTest, PositionsBeyondWhatAFileCanHaveFail) {
    OpenWith("0123456789");
    EXPECT_TRUE(m_file.SeekToPos(3));
    EXPECT_FALSE(m_file.SeekToPos(kLargestPos + 1));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_FALSE(m_file.SeekToPos(~0ULL));
    EXPECT_FALSE(m_file.Skip(kLargestPos));
    EXPECT_FALSE(m_file.Skip(0ULL - 4)) << "in front of the file";
    EXPECT_EQ(3U, Pos());
    EXPECT_TRUE(m_file.SeekToPos(kLargestPos));
    EXPECT_EQ(kLargestPos, Pos());
    EXPECT_EQ("-", Next(1));
}

TEST_F(XFileTest, WritingAtTheLargestPositionFailsWhenItLeavesTheBuffer) {
    OpenWith("");
    EXPECT_TRUE(m_file.SeekToPos(kLargestPos));
    m_file.Write("xy", 2);
    EXPECT_FALSE(m_file.Flush());
    EXPECT_NE(0, m_file.GetLastError());
}

TEST_F(XFileTest, PositionsAboveFourGigabytesWork) {
    constexpr unsigned long long kFar = (5ULL << 30) + 3;
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.SeekToPos(kFar));
    EXPECT_TRUE(m_file.Write("far", 3));
    EXPECT_TRUE(m_file.SeekToPos(1));
    EXPECT_TRUE(m_file.Write("near", 4));
    EXPECT_TRUE(m_file.SeekToPos(kFar));
    EXPECT_EQ("far", Next(3));
    unsigned long long nSize = 0;
    EXPECT_TRUE(m_file.GetSize(nSize));
    EXPECT_EQ(kFar + 3, nSize);
    char szNear[4];
    EXPECT_TRUE(m_file.ReadAtPos(1, szNear, 4));
    EXPECT_EQ("near", std::string(szNear, 4));
}

TEST_F(XFileTest, WritingBehindTheEndLeavesZerosBetween) {
    OpenWith("ab");
    EXPECT_TRUE(m_file.SeekToPos(4));
    EXPECT_TRUE(m_file.Write("c", 1));
    m_file.Close();
    EXPECT_EQ(std::string("ab\0\0c", 5), OnDisk());
}

TEST_F(XFileTest, ReadingAndWritingMayAlternateWithoutSeeks) {
    OpenWith("abcdef");
    EXPECT_EQ("a", Next(1));
    EXPECT_TRUE(m_file.Write("X", 1));
    EXPECT_EQ("c", Next(1));
    EXPECT_TRUE(m_file.Write("YZ", 2));
    EXPECT_EQ("f", Next(1));
    m_file.Close();
    EXPECT_EQ("aXcYZf", OnDisk());
}

TEST_F(XFileTest, SeekToEndCountsBytesThatAreStillInTheBuffer) {
    OpenWith("abc");
    unsigned long long pos = 0;
    EXPECT_TRUE(m_file.SeekToEnd(pos));
    EXPECT_TRUE(m_file.Write("de", 2));
    EXPECT_TRUE(m_file.SeekToEnd(pos));
    EXPECT_EQ(5U, pos);
    EXPECT_TRUE(m_file.SeekToPos(1));
    EXPECT_TRUE(m_file.SeekToEnd(pos));
    EXPECT_EQ(5U, pos);
    unsigned long long nSize = 0;
    EXPECT_TRUE(m_file.GetSize(nSize));
    EXPECT_EQ(5U, nSize);
}

TEST_F(XFileTest, SeekToEndAfterWritingInFrontOfTheEndGoesToTheEnd) {
    OpenWith("abcdef");
    EXPECT_TRUE(m_file.Write("XY", 2));
    unsigned long long pos = 0;
    EXPECT_TRUE(m_file.SeekToEnd(pos));
    EXPECT_EQ(6U, pos);
}

TEST_F(XFileTest, SetEofCutsAtThePosition) {
    OpenWith("abcdef");
    EXPECT_EQ("ab", Next(2));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ("-", Next(1));
    EXPECT_EQ("ab", OnDisk());
    EXPECT_TRUE(m_file.Write("Z", 1));
    m_file.Close();
    EXPECT_EQ("abZ", OnDisk());
}

TEST_F(XFileTest, SetEofCutsBytesThatAreStillInTheBuffer) {
    OpenWith("ab");
    EXPECT_TRUE(m_file.SeekToPos(2));
    EXPECT_TRUE(m_file.Write("cdef", 4));
    EXPECT_TRUE(m_file.SeekToPos(3));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ("abc", OnDisk());
    m_file.Close();
    EXPECT_EQ("abc", OnDisk());
}

TEST_F(XFileTest, SetEofInFrontOfBytesInTheBufferDropsThemAll) {
    OpenWith("ab");
    EXPECT_TRUE(m_file.SeekToPos(2));
    EXPECT_TRUE(m_file.Write("cdef", 4));
    EXPECT_TRUE(m_file.SeekToPos(1));
    EXPECT_TRUE(m_file.SetEOF());
    m_file.Close();
    EXPECT_EQ("a", OnDisk());
}

TEST_F(XFileTest, SetEofBehindTheEndExtendsWithZeros) {
    OpenWith("ab");
    EXPECT_TRUE(m_file.SeekToPos(4));
    EXPECT_TRUE(m_file.SetEOF());
    EXPECT_EQ(std::string("ab\0\0", 4), OnDisk());
}

TEST_F(XFileTest, ReadAtPosReturnsToThePositionBefore) {
    OpenWith("0123456789");
    EXPECT_TRUE(m_file.SeekToPos(2));
    char arRead[3];
    EXPECT_TRUE(m_file.ReadAtPos(6, arRead, 3));
    EXPECT_EQ("678", std::string(arRead, 3));
    EXPECT_EQ("2", Next(1));
    EXPECT_FALSE(m_file.ReadAtPos(8, arRead, 3)) << "not all bytes are there";
    EXPECT_EQ("3", Next(1));
    EXPECT_FALSE(m_file.ReadAtPos(kLargestPos + 1, arRead, 1)) << "the seek fails";
    EXPECT_EQ("4", Next(1));
    EXPECT_TRUE(m_file.ReadAtPos(0, nullptr, 0));
}

TEST_F(XFileTest, ReadAtPosSeesBytesThatAreStillInTheBuffer) {
    OpenWith("0123456789");
    EXPECT_TRUE(m_file.SeekToPos(8));
    EXPECT_TRUE(m_file.Write("XYZ", 3));
    char arRead[4];
    EXPECT_TRUE(m_file.ReadAtPos(7, arRead, 4));
    EXPECT_EQ("7XYZ", std::string(arRead, 4));
    EXPECT_EQ(11U, Pos());
}

// --- What the system knows of the file ---

TEST_F(XFileTest, FlushShowsTheBytesToOthers) {
    OpenWith("");
    EXPECT_TRUE(m_file.Write("abc", 3));
    EXPECT_EQ("", OnDisk());
    EXPECT_TRUE(m_file.Flush());
    EXPECT_EQ("abc", OnDisk());
    EXPECT_TRUE(m_file.Write("d", 1));
    EXPECT_TRUE(m_file.Sync());
    EXPECT_EQ("abcd", OnDisk());
}

TEST_F(XFileTest, FactsTellWhetherTwoPathsLeadToOneFile) {
    OpenWith("abc");
    std::filesystem::create_symlink(Path(), m_dir.File("link"));
    WriteFile(m_dir.File("other"), "abc");
    CXFile link, other;
    ASSERT_TRUE(link.Open(m_dir.File("link").c_str(), 0));
    ASSERT_TRUE(other.Open(m_dir.File("other").c_str(), 0));
    FileFacts facts, factsOfLink, factsOfOther;
    EXPECT_TRUE(m_file.GetFacts(facts));
    EXPECT_TRUE(link.GetFacts(factsOfLink));
    EXPECT_TRUE(other.GetFacts(factsOfOther));
    EXPECT_TRUE(facts.IsSameFile(factsOfLink));
    EXPECT_FALSE(facts.IsSameFile(factsOfOther));
    EXPECT_EQ(3U, facts.nSize);
}

TEST_F(XFileTest, OnlyOneOpenFileHoldsTheFileLock) {
    OpenWith("abc");
    CXFile second;
    ASSERT_TRUE(second.Open(Path().c_str(), 1));
    EXPECT_EQ(LockAnswer::kHeld, m_file.TryLockFile());
    EXPECT_EQ(LockAnswer::kHeld, m_file.TryLockFile());
    EXPECT_EQ(LockAnswer::kBusy, second.TryLockFile());
    EXPECT_EQ(EWOULDBLOCK, errno);
    m_file.Close();
    EXPECT_EQ(LockAnswer::kHeld, second.TryLockFile());
}

TEST_F(XFileTest, ASharedFileLockGoesWithOthersOfItsKindOnly) {
    OpenWith("abc");
    CXFile second;
    ASSERT_TRUE(second.Open(Path().c_str(), 0));
    EXPECT_EQ(LockAnswer::kHeld, m_file.TryLockFile(FileLock::kShared));
    EXPECT_EQ(LockAnswer::kHeld, second.TryLockFile(FileLock::kShared));
    EXPECT_EQ(LockAnswer::kBusy, second.TryLockFile(FileLock::kExclusive));
    m_file.Close();
    EXPECT_EQ(LockAnswer::kHeld, second.TryLockFile(FileLock::kExclusive));
    OpenWith("abc");
    EXPECT_EQ(LockAnswer::kBusy, m_file.TryLockFile(FileLock::kShared));
    EXPECT_EQ(EWOULDBLOCK, errno);
}

}  // namespace
}  // namespace Kestrova::Test
