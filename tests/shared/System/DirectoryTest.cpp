#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "shared/System/kvDirectory.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

bool Refuse(tagDirObjInfo*, void*) { return false; }

bool NotAFolder(tagDirObjInfo* pInfo, void*) { return (pInfo->nFlags & kDirObjIsFolder) == 0; }

// Keeps the paths it was shown in the user's list, and accepts those that end in "y".
bool EndsInY(tagDirObjInfo* pInfo, void* pUser) {
    static_cast<std::vector<std::string>*>(pUser)->emplace_back(pInfo->strPath);
    return pInfo->strPath.ends_with("y");
}

class DirectoryTest : public testing::Test {
protected:
    void Make(const std::string& strName) { WriteFile(m_dir.File(strName), "x"); }

    bool Open(Directory::Filter pfnFilter = nullptr, void* pUser = nullptr) {
        return m_directory.Open(m_dir.File("").c_str(), pfnFilter, pUser);
    }

    // The names still to come.
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (tagDirObjInfo info; m_directory.GetObject(&info);) {
            const std::string strPath(info.strPath);
            EXPECT_EQ(m_dir.Path(), fs::path(strPath).parent_path());
            EXPECT_EQ(0u, info.nReserved);
            names.push_back(fs::path(strPath).filename());
        }
        return names;
    }

    uint32_t FlagsOf(const std::string& strName) {
        EXPECT_TRUE(Open());
        for (tagDirObjInfo info; m_directory.GetObject(&info);)
            if (m_dir.File(strName) == info.strPath) return info.nFlags;
        ADD_FAILURE() << strName << " is not listed";
        return ~0u;
    }

    TempDir m_dir;
    Directory m_directory;
};

}  // namespace

TEST_F(DirectoryTest, EntriesComeInTheByteOrderOfTheirNames) {
    for (const char* pszName : {"b", "B", "a", "c.kvn", ".hidden", "\xe4"}) Make(pszName);
    fs::create_directory(m_dir.File("Z"));
    ASSERT_TRUE(Open());
    EXPECT_THAT(Names(), ElementsAre(".hidden", "B", "Z", "a", "b", "c.kvn", "\xe4"));
}
// Q15

// Q15
TEST_F(DirectoryTest, OnlyFoldersAndLinksToFoldersHaveFlags) {
    Make("file");
    fs::create_directory(m_dir.File("folder"));
    fs::create_symlink("file", m_dir.File("filelink"));
    fs::create_symlink("folder", m_dir.File("folderlink"));
    fs::create_symlink("folderlink", m_dir.File("chain"));
    fs::create_symlink("nowhere", m_dir.File("dangling"));
    fs::create_symlink("loop", m_dir.File("loop"));
    EXPECT_EQ(0u, FlagsOf("file"));
    EXPECT_EQ(0x80000001u, FlagsOf("folder"));
    EXPECT_EQ(0u, FlagsOf("filelink"));
    EXPECT_EQ(1u, FlagsOf("folderlink"));
    EXPECT_EQ(1u, FlagsOf("chain"));
    EXPECT_EQ(0u, FlagsOf("dangling"));
    EXPECT_EQ(0u, FlagsOf("loop"));
}

TEST_F(DirectoryTest, BitZeroTellsEveryFolder) {
    Make("file");
    fs::create_directory(m_dir.File("folder"));
    fs::create_symlink("folder", m_dir.File("folderlink"));
    ASSERT_TRUE(Open(&NotAFolder));
    EXPECT_THAT(Names(), ElementsAre("file"));
}

TEST_F(DirectoryTest, TheFilterSeesEveryEntryAndDecides) {
    for (const char* pszName : {"ax", "ay", "bx", "by"}) Make(pszName);
    std::vector<std::string> seen;
    ASSERT_TRUE(Open(&EndsInY, &seen));
    EXPECT_THAT(Names(), ElementsAre("ay", "by"));
    EXPECT_THAT(seen, ElementsAre(m_dir.File("ax"), m_dir.File("ay"), m_dir.File("bx"), m_dir.File("by")));
    ASSERT_TRUE(Open(&Refuse));
    EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(DirectoryTest, NullInfoPassesAnAcceptedEntryOverUnseen) {
    for (const char* pszName : {"ax", "ay", "by"}) Make(pszName);
    std::vector<std::string> seen;
    ASSERT_TRUE(Open(&EndsInY, &seen));
    EXPECT_TRUE(m_directory.GetObject(nullptr));
    EXPECT_THAT(Names(), ElementsAre("by"));
    EXPECT_FALSE(m_directory.GetObject(nullptr));
}
// Q14

// Q14
TEST_F(DirectoryTest, TheFolderPartOfThePathIsWalked) {
    Make("a");
    ASSERT_TRUE(m_directory.Open(m_dir.File("not there").c_str(), nullptr, nullptr));
    EXPECT_THAT(Names(), ElementsAre("a"));
    ASSERT_TRUE(m_directory.Open((m_dir.File("") + "/").c_str(), nullptr, nullptr));
    EXPECT_THAT(Names(), ElementsAre("a"));
}

TEST_F(DirectoryTest, ALinkToAFolderIsWalkedThereItsEntriesBearTheRealPath) {
    fs::create_directory(m_dir.File("folder"));
    Make("folder/a");
    fs::create_symlink("folder", m_dir.File("link"));
    ASSERT_TRUE(m_directory.Open(m_dir.File("link/").c_str(), nullptr, nullptr));
    tagDirObjInfo info;
    ASSERT_TRUE(m_directory.GetObject(&info));
    EXPECT_EQ(m_dir.File("folder/a"), info.strPath);
}

TEST_F(DirectoryTest, NullWalksTheRoot) {
    ASSERT_TRUE(m_directory.Open(nullptr, nullptr, nullptr));
    bool bFound = false;
    for (tagDirObjInfo info; m_directory.GetObject(&info);) bFound |= info.strPath == "/tmp";
    EXPECT_TRUE(bFound);
}

TEST_F(DirectoryTest, AFolderThatCannotBeReadIsNotOpened) {
    Make("file");
    for (const std::string& strPath :
         {m_dir.File("missing/"), m_dir.File("file/"), std::string("bare"), std::string()}) {
        Make("a");
        ASSERT_TRUE(Open());
        EXPECT_FALSE(m_directory.Open(strPath.c_str(), nullptr, nullptr)) << strPath;
        EXPECT_FALSE(m_directory.GetObject(nullptr)) << "the walk before has ended";
    }
}

TEST_F(DirectoryTest, AFolderThatBreaksOffIsNotOpened) {  // after ".", ".." and "a"
    Make("a");
    const PosixFault fault("readdir", EIO, 4);
    EXPECT_FALSE(Open());
    EXPECT_FALSE(m_directory.GetObject(nullptr));
}

TEST_F(DirectoryTest, WithoutOpenAndAfterCloseThereIsNothing) {
    Make("a");
    tagDirObjInfo info;
    EXPECT_FALSE(m_directory.GetObject(&info));
    ASSERT_TRUE(Open());
    m_directory.Close();
    EXPECT_FALSE(m_directory.GetObject(&info));
    EXPECT_EQ("", info.strPath);
}

TEST_F(DirectoryTest, OpenBeginsAnew) {
    Make("a");
    Make("b");
    ASSERT_TRUE(Open());
    EXPECT_TRUE(m_directory.GetObject(nullptr));
    ASSERT_TRUE(Open());
    EXPECT_THAT(Names(), ElementsAre("a", "b"));
}

TEST_F(DirectoryTest, EntriesThatHaveGoneArePassedOver) {
    Make("a");
    Make("b");
    ASSERT_TRUE(Open());
    fs::remove(m_dir.File("a"));
    EXPECT_THAT(Names(), ElementsAre("b"));
}

TEST_F(DirectoryTest, AFolderPathOfMoreThan260BytesIsWalked) {
    const std::string strFolder = m_dir.File(std::string(200, 'a')) + "/" + std::string(200, 'b');
    fs::create_directories(strFolder);
    WriteFile(strFolder + "/file", "x");
    ASSERT_TRUE(m_directory.Open((strFolder + "/").c_str(), nullptr, nullptr));
    tagDirObjInfo info;
    ASSERT_TRUE(m_directory.GetObject(&info));
    EXPECT_EQ(strFolder + "/file", info.strPath);
}

}  // namespace Kestrova::Test
