#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "shared/System/kvSafeFile.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class SafeFileTest : public ::testing::Test {
protected:
    SafeFileTest() { WriteFile(m_dir.File("file"), std::string("an old text")); }

    String Path(const char* pszName = "file") const { return m_dir.File(pszName).c_str(); }
    std::string Text(const char* pszName = "file") const {
        const Bytes bytes = ReadFile(m_dir.File(pszName));
        return {bytes.begin(), bytes.end()};
    }

    TempDir m_dir;
};

TEST_F(SafeFileTest, AnOldFileIsWrittenOverFromItsBeginningToItsNewEnd) {
    EXPECT_TRUE(OverwriteFile(Path(), "new"));
    EXPECT_EQ("new", Text());
}

TEST_F(SafeFileTest, WritingOverMakesNoFile) {
    EXPECT_FALSE(OverwriteFile(Path("none"), "new"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(std::filesystem::exists(m_dir.File("none")));
}

TEST_F(SafeFileTest, WritingOverFollowsNoLink) {
    std::filesystem::create_symlink("file", m_dir.File("link"));
    EXPECT_FALSE(OverwriteFile(Path("link"), "new"));
    EXPECT_EQ(ELOOP, errno);
    EXPECT_EQ("an old text", Text());
}

TEST_F(SafeFileTest, WritingOverTellsOfAFullDisk) {
    for (const char* pszCall : {"write", "fsync"}) {
        const PosixFault fault(pszCall, ENOSPC);
        EXPECT_FALSE(OverwriteFile(Path(), "new")) << pszCall;
        EXPECT_EQ(ENOSPC, errno) << pszCall;
    }
}

TEST_F(SafeFileTest, ReplacingIsDoneWhereAFolderCannotBeSyncedByItsKind) {
    const PosixFault fault("fsync", EINVAL, 2);  // the first is the file's
    EXPECT_TRUE(ReplaceFile(Path(), "new", 0666));
    EXPECT_EQ(2, fault.Calls());
    EXPECT_EQ("new", Text());
}

TEST_F(SafeFileTest, ReplacingTellsWhenTheFolderDidNotReachTheDisk) {
    const PosixFault fault("fsync", EIO, 2);
    EXPECT_FALSE(ReplaceFile(Path(), "new", 0666));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ("new", Text());
}

TEST_F(SafeFileTest, OnlyAFolderIsOpenedAsOne) {
    EXPECT_EQ(-1, OpenFolder(Path()));
    EXPECT_EQ(ENOTDIR, errno);
    const FileDescriptor folder(OpenFolder(m_dir.Path().c_str()));
    EXPECT_LE(0, folder);
    EXPECT_TRUE(SyncFolder(folder));
}

}  // namespace
}  // namespace Kestrova::Test
