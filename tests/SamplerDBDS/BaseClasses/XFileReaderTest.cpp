#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

// The line of a failed assertion: function, unit and expression are fixed.
std::string Report(const std::string& strFunction, const std::string& strExpression) {
    std::string strPattern =
        strFunction + ": SamplerDBDS/BaseClasses/OSSpec, line [0-9]+: assertion failed: ";
    for (const char ch : strExpression) {
        if (std::strchr("+|()&", ch) != nullptr) strPattern += '\\';
        strPattern += ch;
    }
    return strPattern + "\n";
}

class XFileReaderTest : public testing::Test {
protected:
    void OpenWith(const std::string& strContent, unsigned long long pos = 0) {
        WriteFile(m_dir.File("file"), strContent);
        ASSERT_TRUE(m_file.Open(m_dir.File("file").c_str(), 1));
        ASSERT_TRUE(m_file.SeekToPos(pos));
    }
    unsigned long long FilePos() {
        unsigned long long pos = ~0ULL;
        EXPECT_TRUE(m_file.GetCurrentPos(pos));
        return pos;
    }
    // Whether the calling thread holds the file's lock; it is held again afterwards.
    bool IsLocked() { return m_file.Unlock() && m_file.Lock(); }

    TempDir m_dir;
    CXFile m_file;
};

using XFileReaderDeathTest = XFileReaderTest;

constexpr char kCheckFile[] = "m_pfile && m_pfile->GetCurrentPos(pos)";
constexpr char kCheckBegin[] = "m_posBegin <= pos";
constexpr char kCheckEnd[] = "pos + bytes <= m_posBegin + m_size";

// --- What both readers do ---

template <class TReader>
class BothReadersTest : public XFileReaderTest {};

using Readers = testing::Types<CXFileReader, CXFileReadBuff>;
TYPED_TEST_SUITE(BothReadersTest, Readers);

TYPED_TEST(BothReadersTest, NumbersComeInHostOrder) {
    this->OpenWith("..\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0fxyz", 2);
    TypeParam reader(&this->m_file, 18);
    uint8_t n8 = 0;
    uint16_t n16 = 0;
    uint32_t n32 = 0;
    uint64_t n64 = 0;
    char arRest[3];
    EXPECT_TRUE(reader.ReadLittle8(&n8));
    EXPECT_TRUE(reader.Read16(&n16));
    EXPECT_TRUE(reader.Read32(&n32));
    EXPECT_TRUE(reader.Read64(&n64));
    EXPECT_TRUE(reader.Read(arRest, 3));
    EXPECT_EQ(0x01, n8);
    EXPECT_EQ(0x0302, n16);
    EXPECT_EQ(0x07060504U, n32);
    EXPECT_EQ(0x0f0e0d0c0b0a0908U, n64);
    EXPECT_EQ("xyz", std::string(arRest, 3));
    EXPECT_TRUE(reader.Read(nullptr, 0));
}

TYPED_TEST(BothReadersTest, PositionsAreThoseOfTheFile) {
    this->OpenWith("0123456789", 3);
    TypeParam reader(&this->m_file, 6);
    unsigned long long pos = 0;
    EXPECT_TRUE(reader.GetCurrentPos(pos));
    EXPECT_EQ(3U, pos);
    EXPECT_TRUE(reader.Skip(4));
    EXPECT_TRUE(reader.GetCurrentPos(pos));
    EXPECT_EQ(7U, pos);
    char ch = 0;
    EXPECT_TRUE(reader.Read(&ch, 1));
    EXPECT_EQ('7', ch);
    EXPECT_TRUE(reader.Skip(1));
    EXPECT_TRUE(reader.GetCurrentPos(pos));
    EXPECT_EQ(9U, pos);
}

TYPED_TEST(BothReadersTest, TextsAreOneLengthByteAndTheirBytes) {
    const std::string strLong(255, 'L');
    const std::string strContent = std::string("\0\3abc", 5) + static_cast<char>(255) + strLong;
    this->OpenWith(strContent);
    TypeParam reader(&this->m_file, strContent.size());
    char szText[256] = "before";
    EXPECT_TRUE(reader.ReadString(&szText));
    EXPECT_STREQ("", szText);
    EXPECT_TRUE(reader.ReadString(&szText));
    EXPECT_STREQ("abc", szText);
    EXPECT_TRUE(reader.ReadString(&szText));
    EXPECT_EQ(strLong, szText);
}

TYPED_TEST(BothReadersTest, TheLockIsHeldUntilClearOrDestruction) {
    this->OpenWith("0123456789");
    EXPECT_FALSE(this->IsLocked());
    {
        TypeParam reader(&this->m_file, 4);
        EXPECT_TRUE(this->IsLocked());
        reader.Clear();
        EXPECT_FALSE(this->IsLocked());
        reader.Clear();
        TypeParam second(&this->m_file, 4);
        EXPECT_TRUE(this->IsLocked());
    }
    EXPECT_FALSE(this->IsLocked());
}

TYPED_TEST(BothReadersTest, NoFileOrNoSizeTakesNoLock) {
    this->OpenWith("0123456789");
    const TypeParam noFile(nullptr, 4);
    const TypeParam noSize(&this->m_file, 0);
    EXPECT_FALSE(this->IsLocked());
}

TYPED_TEST(BothReadersTest, AClosedFileIsAMistakeOfTheProgram) {
    EXPECT_DEATH(TypeParam(&this->m_file, 4),
                 ": SamplerDBDS/BaseClasses/OSSpec, line [0-9]+: assertion failed: false\n");
}

TYPED_TEST(BothReadersTest, ABaseClassPointerDestroysTheReader) {
    this->OpenWith("0123456789");
    CXReader* const pReader = new TypeParam(&this->m_file, 4);
    EXPECT_TRUE(this->IsLocked());
    delete pReader;
    EXPECT_FALSE(this->IsLocked());
}

// --- The window on the file ---

TEST_F(XFileReaderTest, TheWindowLeavesTheFileWhereReadingStopped) {
    OpenWith("0123456789");
    CXFileReader reader(&m_file, 8);
    char arRead[5];
    EXPECT_TRUE(reader.Read(arRead, 5));
    reader.Clear();
    EXPECT_EQ(5U, FilePos());
}

TEST_F(XFileReaderTest, AWindowReachingBehindTheFileFailsWithoutAssertion) {
    OpenWith("0123");
    CXFileReader reader(&m_file, 100);
    char arRead[5];
    EXPECT_FALSE(reader.Read(arRead, 5));
    char szText[256];
    EXPECT_FALSE(reader.ReadString(&szText));
}

TEST_F(XFileReaderDeathTest, ReadingPastTheWindowEndsTheProgram) {
    OpenWith("0123456789");
    CXFileReader reader(&m_file, 6);
    char arRead[8];
    EXPECT_TRUE(reader.Read(arRead, 5));
    EXPECT_DEATH(reader.Read(arRead, 2), Report("Check", kCheckEnd));
    EXPECT_DEATH(reader.Read16(arRead), Report("Check", kCheckEnd));
    EXPECT_DEATH(reader.Read32(arRead), Report("Check", kCheckEnd));
    EXPECT_DEATH(reader.Read64(arRead), Report("Check", kCheckEnd));
    EXPECT_DEATH(reader.Skip(2), Report("Check", kCheckEnd));
    EXPECT_DEATH(reader.Skip(~0UL), Report("Check", kCheckEnd)) << "no wrapping around";
    EXPECT_TRUE(reader.ReadLittle8(arRead));
    EXPECT_DEATH(reader.ReadLittle8(arRead), Report("Check", kCheckEnd));
    char szText[256];
    EXPECT_DEATH(reader.ReadString(&szText), Report("Check", kCheckEnd));
}

TEST_F(XFileReaderDeathTest, AFileMovedOutOfTheWindowEndsTheProgram) {
    OpenWith("0123456789", 4);
    CXFileReader reader(&m_file, 4);
    unsigned long long pos = 0;
    ASSERT_TRUE(m_file.SeekToPos(3));
    EXPECT_DEATH(reader.GetCurrentPos(pos), Report("Check", kCheckBegin));
    ASSERT_TRUE(m_file.SeekToPos(9));
    EXPECT_DEATH(reader.GetCurrentPos(pos), Report("Check", kCheckEnd));
    ASSERT_TRUE(m_file.SeekToPos(8));
    EXPECT_TRUE(reader.GetCurrentPos(pos)) << "the end itself is inside";
    EXPECT_EQ(8U, pos);
}

// Deliberate: of a text, only the length byte is compared with the window.
// Q42
TEST_F(XFileReaderDeathTest, ATextMayLeaveTheWindowAndTheNextOperationAsserts) {
    OpenWith("\4abcd....");
    CXFileReader reader(&m_file, 3);
    char szText[256];
    EXPECT_TRUE(reader.ReadString(&szText));
    EXPECT_STREQ("abcd", szText);
    EXPECT_DEATH(reader.Skip(0), Report("Check", kCheckEnd));
}

TEST_F(XFileReaderDeathTest, AnEmptyOrClearedReaderEndsTheProgram) {
    OpenWith("0123456789");
    char ch = 0;
    CXFileReader noFile(nullptr, 4);
    EXPECT_DEATH(noFile.ReadLittle8(&ch), Report("Check", kCheckFile));
    CXFileReader noSize(&m_file, 0);
    EXPECT_DEATH(noSize.Skip(0), Report("Check", kCheckFile));
    CXFileReader cleared(&m_file, 4);
    cleared.Clear();
    EXPECT_DEATH(cleared.ReadLittle8(&ch), Report("Check", kCheckFile));
    CXFileReader closed(&m_file, 4);
    m_file.Close();
    EXPECT_DEATH(closed.ReadLittle8(&ch), Report("Check", kCheckFile));
}

TEST_F(XFileReaderTest, AReadThatTheSystemRefusesFails) {
    FaultyFileEnv env;
    OpenWith("0123456789");
    {
        CXFileReader reader(&m_file, 8);
        char ch = 0;
        env.FailCallOf(FileOp::kRead, 1);
        EXPECT_FALSE(reader.ReadLittle8(&ch));
        EXPECT_TRUE(reader.ReadLittle8(&ch));
        EXPECT_EQ('0', ch);
    }
    m_file.Close();
}

// --- The body in memory ---

TEST_F(XFileReaderTest, TheWholeBodyIsReadAtOnce) {
    for (const unsigned long size : {1UL, 1023UL, 1024UL, 1025UL, 200000UL}) {
        SCOPED_TRACE(size);
        OpenWith("head" + std::string(size - 1, 'b') + "E" + "tail", 4);
        CXFileReadBuff reader(&m_file, size);
        EXPECT_EQ(4 + size, FilePos());
        EXPECT_TRUE(reader.Skip(size - 1));
        char ch = 0;
        EXPECT_TRUE(reader.Read(&ch, 1));
        EXPECT_EQ('E', ch);
        EXPECT_FALSE(reader.Read(&ch, 1));
        unsigned long long pos = 0;
        EXPECT_TRUE(reader.GetCurrentPos(pos));
        EXPECT_EQ(4 + size, pos);
    }
}

TEST_F(XFileReaderTest, UpTo1024BytesNeedNoMemory) {
    OpenWith(std::string(3000, 'x'));
    const PosixFault fault("malloc", ENOMEM);
    const CXFileReadBuff reader(&m_file, 1024);
    EXPECT_EQ(1024U, FilePos());
    EXPECT_EQ(0, fault.Calls());
}

TEST_F(XFileReaderDeathTest, MemoryThatCannotBeHadEndsTheProgram) {
    OpenWith(std::string(3000, 'x'));
    const auto readWithoutMemory = [&] {
        const PosixFault fault("malloc", ENOMEM);
        const CXFileReadBuff reader(&m_file, 1025);
    };
    EXPECT_DEATH(readWithoutMemory(), Report("Fill", "m_pdata != 0"));
}

TEST_F(XFileReaderTest, AReadPastTheBodyFailsWithoutMoving) {
    OpenWith("abcdef", 1);
    CXFileReadBuff reader(&m_file, 3);
    char arRead[8];
    EXPECT_FALSE(reader.Read(arRead, 4));
    EXPECT_FALSE(reader.Read32(arRead));
    EXPECT_FALSE(reader.Read64(arRead));
    EXPECT_FALSE(reader.Skip(4));
    EXPECT_FALSE(reader.Skip(~0UL)) << "no wrapping around";
    EXPECT_TRUE(reader.Skip(1));
    EXPECT_FALSE(reader.Read(arRead, ~0UL));
    EXPECT_TRUE(reader.Read16(arRead));
    EXPECT_EQ("cd", std::string(arRead, 2));
    EXPECT_FALSE(reader.ReadLittle8(arRead));
    EXPECT_TRUE(reader.Skip(0));
}

TEST_F(XFileReaderTest, ATextLongerThanTheBodyFailsAndIsEmpty) {
    OpenWith("\4abcd");
    CXFileReadBuff reader(&m_file, 4);
    char szText[256] = "before";
    EXPECT_FALSE(reader.ReadString(&szText));
    EXPECT_STREQ("", szText);
    EXPECT_TRUE(reader.Skip(3));
    EXPECT_FALSE(reader.ReadString(&szText));
}

// Deliberate: ReadString goes through the virtual reads, so a derived reader sees its bytes.
TEST_F(XFileReaderTest, ReadStringGoesThroughTheVirtualReads) {
    class CountingReader : public CXFileReadBuff {
    public:
        using CXFileReadBuff::CXFileReadBuff;
        bool Read(void* pData, unsigned long n) override {
            m_nBytes += n;
            return CXFileReadBuff::Read(pData, n);
        }
        bool ReadLittle8(void* pData) override {
            ++m_nLengths;
            return CXFileReadBuff::ReadLittle8(pData);
        }
        unsigned long m_nBytes = 0;
        int m_nLengths = 0;
    };
    OpenWith("\3abc");
    CountingReader reader(&m_file, 4);
    char szText[256];
    EXPECT_TRUE(reader.ReadString(&szText));
    EXPECT_EQ(1, reader.m_nLengths);
    EXPECT_GE(reader.m_nBytes, 3U);
}

void ExpectCleared(CXFileReadBuff& reader) {
    uint64_t nAny = 0;
    char szText[256];
    unsigned long long pos = 0;
    EXPECT_FALSE(reader.ReadLittle8(&nAny));
    EXPECT_FALSE(reader.Read16(&nAny));
    EXPECT_FALSE(reader.Read32(&nAny));
    EXPECT_FALSE(reader.Read64(&nAny));
    EXPECT_FALSE(reader.Read(&nAny, 1));
    EXPECT_FALSE(reader.Skip(1));
    EXPECT_FALSE(reader.ReadString(&szText));
    EXPECT_FALSE(reader.GetCurrentPos(pos));
}

TEST_F(XFileReaderTest, EveryReadOfAnEmptyOrClearedReaderFails) {
    OpenWith("0123456789");
    CXFileReadBuff noFile(nullptr, 4);
    ExpectCleared(noFile);
    CXFileReadBuff noSize(&m_file, 0);
    ExpectCleared(noSize);
    CXFileReadBuff cleared(&m_file, 4);
    cleared.Clear();
    ExpectCleared(cleared);
}

TEST_F(XFileReaderTest, ABodyShorterOnFileThanStatedReadsNothing) {
    for (const unsigned long size : {7UL, 1024UL, 1025UL, 0xFFFFFFFFUL, ~0UL}) {
        SCOPED_TRACE(size);
        OpenWith("0123456789", 4);
        CXFileReadBuff reader(&m_file, size);
        ExpectCleared(reader);
        EXPECT_FALSE(IsLocked());
        EXPECT_EQ(10U, FilePos());
    }
}

TEST_F(XFileReaderTest, NoMemoryIsTakenForBytesThatTheFileDoesNotHave) {
    OpenWith("0123456789");
    const PosixFault fault("malloc", ENOMEM);  // asking would end the program
    CXFileReadBuff reader(&m_file, 1UL << 40);
    EXPECT_EQ(0, fault.Calls());
    EXPECT_FALSE(reader.Skip(0));
}

TEST_F(XFileReaderTest, ABodyBehindTheEndOfTheFileReadsNothingAndStaysThere) {
    for (const unsigned long size : {4UL, 5000UL}) {
        OpenWith("0123456789", 20);
        CXFileReadBuff reader(&m_file, size);
        ExpectCleared(reader);
        EXPECT_EQ(20U, FilePos());
    }
}

TEST_F(XFileReaderTest, BytesStillInTheBufferAreABody) {
    OpenWith("");
    const std::string strBody(5000, 'b');
    ASSERT_TRUE(m_file.Write(strBody.data(), strBody.size()));
    ASSERT_TRUE(m_file.SeekToPos(0));
    CXFileReadBuff reader(&m_file, 5000);
    EXPECT_TRUE(reader.Skip(5000));
}

TEST_F(XFileReaderTest, ABodyThatTheSystemRefusesReadsNothing) {
    for (const FileOp op : {FileOp::kRead, FileOp::kFacts}) {
        FaultyFileEnv env;
        OpenWith(std::string(5000, 'b'));
        env.FailCallOf(op, 1);
        {
            CXFileReadBuff reader(&m_file, 4000);
            ExpectCleared(reader);
        }
        EXPECT_TRUE(env.FaultHit());
        EXPECT_FALSE(IsLocked());
        m_file.Close();
    }
}

}  // namespace
}  // namespace Kestrova::Test
