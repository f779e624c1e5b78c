#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <string>
#include <vector>

#include "shared/System/kvPath.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

struct Conversion {
    const char *pszFrom, *pszTo;
};

// Both forms of a conversion give the same.
void ExpectConversion(void (*pfnText)(char*), void (*pfnString)(String&), const Conversion& row) {
    SCOPED_TRACE(row.pszFrom);
    std::string strText(row.pszFrom);
    pfnText(strText.data());
    EXPECT_EQ(row.pszTo, strText);
    String string(row.pszFrom);
    pfnString(string);
    EXPECT_STREQ(row.pszTo, string);
}

struct Resolved {
    int nResult;
    bool bIsFolder;
    unsigned long nSize;
    std::string strPath;
};

Resolved Resolve(const std::string& strPath) {
    std::vector<char> buffer(PATH_MAX, '?');
    Resolved resolved{0, false, buffer.size(), {}};
    resolved.nResult =
        FullPathResolveAlias(strPath.c_str(), resolved.bIsFolder, resolved.nSize, buffer.data());
    if (resolved.nResult == 0) resolved.strPath = buffer.data();
    return resolved;
}

void ExpectResolves(const std::string& strPath, const std::string& strTo, bool bIsFolder) {
    SCOPED_TRACE(strPath);
    const Resolved resolved = Resolve(strPath);
    EXPECT_EQ(0, resolved.nResult);
    EXPECT_EQ(strTo, resolved.strPath);
    EXPECT_EQ(bIsFolder, resolved.bIsFolder);
    EXPECT_EQ(static_cast<unsigned long>(PATH_MAX), resolved.nSize);
}

// A folder with a file, a folder and links to both.
class AliasTest : public testing::Test {
protected:
    AliasTest() {
        fs::create_directory(m_dir.File("folder"));
        WriteFile(m_dir.File("file"), "x");
        fs::create_symlink("file", m_dir.File("link"));
        fs::create_symlink("link", m_dir.File("chain"));
        fs::create_symlink("folder", m_dir.File("folderlink"));
        fs::create_symlink("nowhere", m_dir.File("dangling"));
        fs::create_symlink("loop", m_dir.File("loop"));
    }

    TempDir m_dir;
};

}  // namespace
// Q13

// Q13
TEST(UnifiedPathTest, EveryBackslashButALeadingPairBecomesASlash) {
    const Conversion kRows[] = {
        {"", ""},
        {"\\", "/"},
        {"\\\\", "\\\\"},
        {"\\\\\\", "\\\\/"},
        {"\\\\server\\share\\a", "\\\\server/share/a"},  // the pair that names a server is deliberately kept
        {"\\a\\\\b", "/a//b"},
        {"C:\\banks\\x.kvn", "C:/banks/x.kvn"},
        {"/already/fine", "/already/fine"},
        {"/\\\\a", "///a"},
    };
    for (const Conversion& row : kRows) ExpectConversion(&MakeUnifiedPath, &MakeUnifiedPath, row);
}

TEST(UnifiedPathTest, WinPathsHaveBackslashesOnly) {
    const Conversion kRows[] = {
        {"", ""},         {"/a/b", "\\a\\b"}, {"\\\\server/share", "\\\\server\\share"},
        {"name", "name"}, {"//", "\\\\"},
    };
    for (const Conversion& row : kRows) ExpectConversion(&MakeWinPath, &MakeWinPath, row);
}

TEST(UnifiedPathTest, ANullTextIsLeftAlone) {
    MakeUnifiedPath(nullptr);
    MakeWinPath(nullptr);
}

TEST(UnifiedPathTest, AChangedStringLeavesItsSharersAlone) {
    String strPath("a\\b");
    const String strShared(strPath);
    MakeUnifiedPath(strPath);
    EXPECT_STREQ("a/b", strPath);
    EXPECT_STREQ("a\\b", strShared);
}

TEST(UnifiedPathTest, AStringWithNothingToChangeStaysShared) {
    String strPath("a/b");
    const String strShared(strPath);
    MakeUnifiedPath(strPath);
    EXPECT_EQ(strShared.GetData(), strPath.GetData());
}

TEST(PathPartTest, FolderAndNameAreCutAtTheLastSlash) {
    struct {
        const char *pszPath, *pszFolder, *pszName;
    } const kRows[] = {
        {"/a/b", "/a/", "b"}, {"bare", "", "bare"}, {"", "", ""},         {"/", "/", ""},
        {"/b", "/", "b"},     {"/a/", "/a/", ""},   {"a//b", "a//", "b"}, {"a\\b", "", "a\\b"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszPath);
        const struct {
            long (*pfnParse)(const char*, char*, unsigned long);
            std::string strPart;
        } kParts[] = {{&UnifiedPathParseFilePath, row.pszFolder}, {&UnifiedPathParseFileName, row.pszName}};
        for (const auto& part : kParts) {
            const unsigned long nNeeded = part.strPart.size() + 1;
            std::string strDst(nNeeded + 1, '?');
            EXPECT_EQ(static_cast<long>(nNeeded), part.pfnParse(row.pszPath, nullptr, 100));
            EXPECT_EQ(static_cast<long>(nNeeded), part.pfnParse(row.pszPath, strDst.data(), nNeeded - 1));
            EXPECT_EQ(std::string(nNeeded + 1, '?'), strDst) << "nothing is copied when it does not fit";
            EXPECT_EQ(0, part.pfnParse(row.pszPath, strDst.data(), nNeeded));
            EXPECT_EQ(part.strPart + '\0' + '?', strDst);
        }
    }
}

TEST(PathPartTest, ABareNameNeedsOneByteForItsFolder) {
    EXPECT_EQ(1, UnifiedPathParseFilePath("bare", nullptr, 0));
}

TEST(PathPartTest, ANullPathGivesMinusOne) {
    char szDst[8];
    EXPECT_EQ(-1, UnifiedPathParseFilePath(nullptr, szDst, sizeof szDst));
    EXPECT_EQ(-1, UnifiedPathParseFileName(nullptr, szDst, sizeof szDst));
}

TEST_F(AliasTest, LinksAreFollowedToTheirEndAndPlainPathsStay) {
    ExpectResolves(m_dir.File("file"), m_dir.File("file"), false);
    ExpectResolves(m_dir.File("link"), m_dir.File("file"), false);
    ExpectResolves(m_dir.File("chain"), m_dir.File("file"), false);
    ExpectResolves(m_dir.File("folder"), m_dir.File("folder"), true);
    ExpectResolves(m_dir.File("folderlink"), m_dir.File("folder"), true);
    ExpectResolves("/", "/", true);
}

TEST_F(AliasTest, APathThatLeadsNowhereGivesItsError) {
    EXPECT_EQ(-ENOENT, Resolve(m_dir.File("missing")).nResult);
    EXPECT_EQ(-ENOENT, Resolve(m_dir.File("dangling")).nResult);
    EXPECT_EQ(-ENOENT, Resolve("").nResult);
    EXPECT_EQ(-ENOTDIR, Resolve(m_dir.File("file/x")).nResult);
    EXPECT_EQ(-ELOOP, Resolve(m_dir.File("loop")).nResult);
}

TEST_F(AliasTest, AnEndThatCannotBeLookedAtGivesItsError) {
    const PosixFault fault("stat", EACCES);
    EXPECT_EQ(-EACCES, Resolve(m_dir.File("file")).nResult);
}

TEST_F(AliasTest, ANullPathGivesMinusFifty) {
    bool bIsFolder = false;
    unsigned long nSize = 10;
    char szDst[10];
    EXPECT_EQ(-50, FullPathResolveAlias(nullptr, bIsFolder, nSize, szDst));
    EXPECT_EQ(10u, nSize);
}

TEST_F(AliasTest, ATooSmallDestinationGivesMinus92AndTheNeededSize) {
    const unsigned long nNeeded = m_dir.File("folder").size() + 1;
    std::string strDst(nNeeded, '?');
    bool bIsFolder = false;
    unsigned long nSize = nNeeded - 1;
    EXPECT_EQ(-92, FullPathResolveAlias(m_dir.File("folderlink").c_str(), bIsFolder, nSize, strDst.data()));
    EXPECT_EQ(nNeeded, nSize);
    EXPECT_TRUE(bIsFolder);
    EXPECT_EQ(std::string(nNeeded, '?'), strDst);
    EXPECT_EQ(0, FullPathResolveAlias(m_dir.File("folderlink").c_str(), bIsFolder, nSize, strDst.data()));
    EXPECT_EQ(m_dir.File("folder") + '\0', strDst);
    nSize = 0;
    EXPECT_EQ(-92, FullPathResolveAlias(m_dir.File("folder").c_str(), bIsFolder, nSize, nullptr));
    EXPECT_EQ(nNeeded, nSize);
}

TEST_F(AliasTest, ANullDestinationWithRoomOnlyTellsWhatItIs) {
    bool bIsFolder = false;
    unsigned long nSize = PATH_MAX;
    EXPECT_EQ(0, FullPathResolveAlias(m_dir.File("folderlink").c_str(), bIsFolder, nSize, nullptr));
    EXPECT_TRUE(bIsFolder);
    EXPECT_EQ(static_cast<unsigned long>(PATH_MAX), nSize);
}

TEST_F(AliasTest, APathOfMoreThan260BytesIsHeldWhole) {
    const std::string strFolder = m_dir.File(std::string(200, 'a'));
    const std::string strFile = strFolder + "/" + std::string(200, 'b');
    fs::create_directory(strFolder);
    WriteFile(strFile, "x");
    fs::create_symlink(strFile, m_dir.File("long"));
    ExpectResolves(m_dir.File("long"), strFile, false);
}

TEST_F(AliasTest, AReferenceIsTheAbsolutePathOfTheObject) {
    FSRef ref;
    EXPECT_EQ(0, FullPathMakeFSRef((m_dir.File("folder") + "//../chain").c_str(), ref));
    EXPECT_EQ(m_dir.File("file"), ref.strPath.c_str());
    EXPECT_EQ(-ENOENT, FullPathMakeFSRef(m_dir.File("missing").c_str(), ref));
    EXPECT_EQ(-50, FullPathMakeFSRef(nullptr, ref));
    EXPECT_EQ(m_dir.File("file"), ref.strPath.c_str()) << "a failure leaves it as it was";
}

TEST_F(AliasTest, ASpecificationIsFolderAndName) {
    FSSpec spec;
    EXPECT_EQ(0, FullPathMakeFSSpec(m_dir.File("link").c_str(), spec));
    EXPECT_EQ(m_dir.File(""), spec.strFolder.c_str());
    EXPECT_STREQ("file", spec.strName);
    EXPECT_EQ(-ENOENT, FullPathMakeFSSpec(m_dir.File("missing").c_str(), spec));
    EXPECT_EQ(-50, FullPathMakeFSSpec(nullptr, spec));
    EXPECT_STREQ("file", spec.strName) << "a failure leaves it as it was";
    EXPECT_EQ(0, FullPathMakeFSSpec("/", spec));
    EXPECT_STREQ("/", spec.strFolder);
    EXPECT_STREQ("", spec.strName);
}

TEST(DeleteThisTest, AFileIsRemovedOnce) {
    const TempDir dir;
    WriteFile(dir.File("file"), "x");
    EXPECT_TRUE(DeleteThisFile(dir.File("file").c_str()));
    EXPECT_FALSE(fs::exists(dir.File("file")));
    EXPECT_FALSE(DeleteThisFile(dir.File("file").c_str()));
    EXPECT_FALSE(DeleteThisFile(nullptr));
}

TEST(DeleteThisTest, OfALinkTheLinkIsRemoved) {
    const TempDir dir;
    WriteFile(dir.File("file"), "x");
    fs::create_symlink("file", dir.File("link"));
    EXPECT_TRUE(DeleteThisFile(dir.File("link").c_str()));
    EXPECT_TRUE(fs::exists(dir.File("file")));
}

TEST(DeleteThisTest, OnlyAnEmptyFolderIsRemoved) {
    const TempDir dir;
    fs::create_directory(dir.File("folder"));
    WriteFile(dir.File("folder/file"), "x");
    EXPECT_FALSE(DeleteThisDir(dir.File("folder").c_str()));
    EXPECT_FALSE(DeleteThisDir(dir.File("folder/file").c_str()));
    EXPECT_TRUE(DeleteThisFile(dir.File("folder/file").c_str()));
    EXPECT_TRUE(DeleteThisDir(dir.File("folder").c_str()));
    EXPECT_FALSE(DeleteThisDir(dir.File("folder").c_str()));
    EXPECT_FALSE(DeleteThisDir(nullptr));
}

TEST(FolderPartTest, ItEndsWithTheLastSlash) {
    EXPECT_EQ("/a/b/", FolderPart(std::string_view("/a/b/c.kvn")));
    EXPECT_EQ("/a/", FolderPart(std::string_view("/a/")));
    EXPECT_EQ("/", FolderPart(std::string_view("/a")));
    EXPECT_EQ("", FolderPart(std::string_view("a.kvn")));
    EXPECT_EQ("", FolderPart(std::string_view("")));
}

TEST(GetFreeSpaceTest, WhatIsNotThereTellsWhy) {
    uint64_t nBytes = 0;
    EXPECT_TRUE(GetFreeSpace("/", nBytes));
    EXPECT_FALSE(GetFreeSpace("/nowhere/at/all", nBytes));
    EXPECT_EQ(ENOENT, errno);
}

TEST(PosixErrorTest, TheErrorsTextOrItsNumberIsPrinted) {
    testing::internal::CaptureStderr();
    PrintPosixError("open", ENOENT);
    PrintPosixError("close", 54321);
    PrintPosixError("read", -1);
    EXPECT_EQ("open: No such file or directory\nclose: error 54321\nread: error -1\n",
              testing::internal::GetCapturedStderr());
}

}  // namespace Kestrova::Test
