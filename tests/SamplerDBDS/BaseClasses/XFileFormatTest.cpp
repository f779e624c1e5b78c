// The formats of CXFile: texts, big-endian numbers and arrays; and the check for folders.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>

#include "tests/SamplerDBDS/BaseClasses/XFileFixture.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;

class XFileFormatTest : public XFileFixture {};

// --- Texts ---

std::string Repeated(size_t n) {
    std::string strText;
    for (size_t i = 0; i < n; ++i) strText += static_cast<char>('a' + i % 23);
    return strText;
}

struct TextCase {
    const char* pszWhy;
    size_t nText;
    size_t nStored;
};

constexpr TextCase kTextCases[] = {
    {"empty", 0, 0},
    {"one byte", 1, 1},
    {"longest whole text", 255, 255},
    {"256 bytes become none", 256, 0},
    {"300 bytes become their first 44", 300, 44},
    {"twice around", 513, 1},
};
// Q40

// Q40
TEST_F(XFileFormatTest, WriteStringStoresTheLengthModulo256) {
    for (const TextCase& c : kTextCases) {
        SCOPED_TRACE(c.pszWhy);
        ASSERT_TRUE(m_file.Create(Path().c_str()));
        const std::string strText = Repeated(c.nText);
        EXPECT_TRUE(m_file.WriteString(strText.c_str()));
        m_file.Close();
        EXPECT_EQ(static_cast<char>(c.nStored) + strText.substr(0, c.nStored), OnDisk());
    }
}

TEST_F(XFileFormatTest, ANullTextIsWrittenAsLengthZero) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.WriteString(nullptr));
    m_file.Close();
    EXPECT_EQ(std::string(1, '\0'), OnDisk());
}

TEST_F(XFileFormatTest, ReadStringAllocatesATerminatedText) {
    OpenWith(std::string("\3abc") + static_cast<char>(255) + Repeated(255));
    char* pszText = nullptr;
    EXPECT_TRUE(m_file.ReadString(&pszText));
    EXPECT_STREQ("abc", pszText);
    std::free(pszText);
    EXPECT_TRUE(m_file.ReadString(&pszText));
    EXPECT_EQ(Repeated(255), pszText);
    std::free(pszText);
}

TEST_F(XFileFormatTest, ReadStringOfA256ByteTextIsNull) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.WriteString(Repeated(256).c_str()));
    EXPECT_TRUE(m_file.SeekToPos(0));
    char chAny = 0;
    char* pszText = &chAny;
    EXPECT_TRUE(m_file.ReadString(&pszText));
    EXPECT_EQ(nullptr, pszText);
    EXPECT_EQ(1U, Pos());
}

TEST_F(XFileFormatTest, ReadStringFailsWithNullWhenBytesAreMissing) {
    for (const std::string strContent : {"", "\1", "\5abcd"}) {
        OpenWith(strContent);
        char chAny = 0;
        char* pszText = &chAny;
        EXPECT_FALSE(m_file.ReadString(&pszText)) << strContent;
        EXPECT_EQ(nullptr, pszText);
    }
}

TEST_F(XFileFormatTest, ReadString255FillsAllOfTheArray) {
    OpenWith(static_cast<char>(255) + Repeated(255));
    char szText[256];
    std::memset(szText, 'x', sizeof szText);
    EXPECT_TRUE(m_file.ReadString255(&szText));
    EXPECT_EQ(Repeated(255), std::string(szText, 255));
    EXPECT_EQ(0, szText[255]);
}

TEST_F(XFileFormatTest, ReadString255TouchesNothingBehindTheTerminator) {
    OpenWith(std::string("\2ab\0", 4));
    char szText[256];
    std::memset(szText, 'x', sizeof szText);
    EXPECT_TRUE(m_file.ReadString255(&szText));
    EXPECT_STREQ("ab", szText);
    EXPECT_EQ('x', szText[3]);
    EXPECT_TRUE(m_file.ReadString255(&szText));
    EXPECT_STREQ("", szText);
    EXPECT_EQ('b', szText[1]);
}

TEST_F(XFileFormatTest, ReadString255IsEmptyWhenBytesAreMissing) {
    for (const std::string strContent : {"", "\1", "\5abcd"}) {
        OpenWith(strContent);
        char szText[256] = "before";
        EXPECT_FALSE(m_file.ReadString255(&szText)) << strContent;
        EXPECT_STREQ("", szText);
    }
}

TEST_F(XFileFormatTest, ReadStringWithoutMemorySkipsTheText) {
    OpenWith(static_cast<char>(200) + Repeated(200) + "\7");
    char chAny = 0;
    char* pszText = &chAny;
    {
        const PosixFault fault("malloc", ENOMEM);
        EXPECT_FALSE(m_file.ReadString(&pszText));
    }
    EXPECT_EQ(nullptr, pszText);
    EXPECT_EQ(201U, Pos());
    EXPECT_EQ("\7", Next(1));
}

// --- Big-endian numbers ---

TEST_F(XFileFormatTest, SwappedNumbersAreBigEndianOnFile) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.WriteSwap16(0x0102));
    EXPECT_TRUE(m_file.WriteSwap32(0x03040506));
    EXPECT_TRUE(m_file.WriteSwap64(0x0708090A0B0C0D0E));
    EXPECT_TRUE(m_file.SeekToPos(0));
    uint16_t n16 = 0;
    uint32_t n32 = 0;
    uint64_t n64 = 0;
    EXPECT_TRUE(m_file.ReadSwap16(&n16));
    EXPECT_TRUE(m_file.ReadSwap32(&n32));
    EXPECT_TRUE(m_file.ReadSwap64(&n64));
    EXPECT_EQ(0x0102, n16);
    EXPECT_EQ(0x03040506U, n32);
    EXPECT_EQ(0x0708090A0B0C0D0EU, n64);
    m_file.Close();
    EXPECT_THAT(ReadFile(Path()), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14));
}

TEST_F(XFileFormatTest, ASwappedReadThatIsShortDoesNotConvert) {
    OpenWith("\1");
    uint16_t n16 = 0x5500;
    EXPECT_FALSE(m_file.ReadSwap16(&n16));
    EXPECT_EQ(0x5501, n16);  // as it came
    EXPECT_TRUE(m_file.SeekToPos(0));
    uint32_t n32 = 0x55555500;
    EXPECT_FALSE(m_file.ReadSwap32(&n32));
    EXPECT_EQ(0x55555501U, n32);
    EXPECT_TRUE(m_file.SeekToPos(0));
    uint64_t n64 = 0;
    EXPECT_FALSE(m_file.ReadSwap64(&n64));
    EXPECT_EQ(1U, n64);
}

TEST_F(XFileFormatTest, SwappedArraysReverseEachElement) {
    // Sizes whose elements do and do not fill the 128 bytes staged at a time, around that border.
    for (const unsigned long elemSize : {1UL, 2UL, 3UL, 4UL, 5UL, 8UL, 16UL, 127UL, 128UL})
        for (const unsigned long count : {1UL, 2UL, 127UL, 128UL, 129UL, 1000UL}) {
            SCOPED_TRACE(testing::Message() << count << " elements of " << elemSize);
            std::string strData(count * elemSize, 0);
            for (size_t i = 0; i < strData.size(); ++i) strData[i] = static_cast<char>(i * 7 + i / 256);
            std::string strReversed = strData;
            for (size_t i = 0; i < count; ++i) {
                const auto itFirst = strReversed.begin() + static_cast<std::ptrdiff_t>(i * elemSize);
                std::reverse(itFirst, itFirst + static_cast<std::ptrdiff_t>(elemSize));
            }
            ASSERT_TRUE(m_file.Create(Path().c_str()));
            EXPECT_TRUE(m_file.WriteSwapArray(strData.data(), count, elemSize));
            EXPECT_TRUE(m_file.SeekToPos(0));
            std::string strRead(strData.size(), 0);
            EXPECT_TRUE(m_file.ReadSwapArray(strRead.data(), count, elemSize));
            EXPECT_EQ(strData, strRead);
            m_file.Close();
            EXPECT_EQ(strReversed, OnDisk());
        }
}

TEST_F(XFileFormatTest, WriteSwapArrayOfNothingSucceedsOnlyForCountZero) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    EXPECT_TRUE(m_file.WriteSwapArray("ab", 0, 2));
    EXPECT_TRUE(m_file.WriteSwapArray(nullptr, 0, 0));
    EXPECT_FALSE(m_file.WriteSwapArray(nullptr, 1, 2));
    EXPECT_FALSE(m_file.WriteSwapArray("ab", 1, 0));
    EXPECT_EQ(0U, Pos());
}

TEST_F(XFileFormatTest, AnElementAboveTheStagingBlockIsRefused) {
    ASSERT_TRUE(m_file.Create(Path().c_str()));
    const std::string strData(129, 'x');
    EXPECT_FALSE(m_file.WriteSwapArray(strData.data(), 1, 129));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0U, Pos());
}

TEST_F(XFileFormatTest, AShortReadSwapArrayLeavesTheBytesAsTheyCame) {
    OpenWith("abcde");
    char arRead[7] = "------";
    EXPECT_FALSE(m_file.ReadSwapArray(arRead, 3, 2));
    EXPECT_STREQ("abcde-", arRead);
    EXPECT_TRUE(m_file.ReadSwapArray(arRead, 0, 2));
    EXPECT_TRUE(m_file.ReadSwapArray(nullptr, 0, 2));
    EXPECT_FALSE(m_file.ReadSwapArray(nullptr, 1, 2));
    EXPECT_FALSE(m_file.ReadSwapArray(arRead, std::numeric_limits<unsigned long>::max() / 2 + 1, 2));
    EXPECT_EQ(EOVERFLOW, errno);
}

// --- Folders ---

TEST_F(XFileFormatTest, CheckCreateDirKnowsWhatExists) {
    WriteFile(Path(), "x");
    for (const int create : {0, 1}) {
        EXPECT_TRUE(CXFile::CheckCreateDir(m_dir.Path().c_str(), create));
        EXPECT_TRUE(CXFile::CheckCreateDir(Path().c_str(), create)) << "a file exists as well";
        EXPECT_FALSE(CXFile::CheckCreateDir(nullptr, create));
    }
}
// Q41

// Q41
TEST_F(XFileFormatTest, CheckCreateDirMakesNothingWhateverTheFlag) {
    for (const int create : {0, 1, 2, -1}) {
        EXPECT_FALSE(CXFile::CheckCreateDir(m_dir.File("new").c_str(), create));
        EXPECT_FALSE(CXFile::CheckCreateDir(m_dir.File("new/inner").c_str(), create));
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_dir.Path()));
}

// No system answers 2 to the status query; a fault takes the test into that branch.
TEST_F(XFileFormatTest, CheckCreateDirWouldMakeFoldersIfTheStatusQueryAnswered2) {
    const std::string strNew = m_dir.File("new");
    {
        const PosixFault answers2("stat", -2);
        EXPECT_FALSE(CXFile::CheckCreateDir(strNew.c_str(), 0));
    }
    EXPECT_FALSE(std::filesystem::exists(strNew));
    {
        const PosixFault answers2("stat", -2);
        EXPECT_FALSE(CXFile::CheckCreateDir((strNew + "/inner").c_str(), 1))
            << "its parent is really missing";
    }
    EXPECT_FALSE(std::filesystem::exists(strNew));
    {
        const PosixFault answers2("stat", -2);
        EXPECT_TRUE(CXFile::CheckCreateDir(strNew.c_str(), 1));
    }
    EXPECT_TRUE(std::filesystem::is_directory(strNew));
}

}  // namespace
}  // namespace Kestrova::Test
