#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "shared/System/kvSafeFile.h"
#include "shared/System/kvString.h"
#include "tests/support/FolderNames.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using Texts = std::vector<std::string>;

class SafeFileTest : public ::testing::Test {
protected:
    SafeFileTest() { WriteFile(m_dir.File("file"), std::string("an old text")); }

    String Path(const char* pszName = "file") const { return m_dir.File(pszName).c_str(); }
    std::string Text(const char* pszName = "file") const {
        const Bytes bytes = ReadFile(m_dir.File(pszName));
        return {bytes.begin(), bytes.end()};
    }

    std::vector<std::string> Names() const { return NamesIn(m_dir.Path()); }

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

TEST_F(SafeFileTest, AFullDiskLeavesTheOldTextWhereALongerOneIsWrittenOver) {
    for (const char* pszCall : {"write", "fsync"}) {
        const PosixFault part("write", -3), fault(pszCall, ENOSPC);  // three bytes go, then the disk is full
        EXPECT_FALSE(OverwriteFile(Path(), "a new text that is longer")) << pszCall;
        EXPECT_EQ(ENOSPC, errno) << pszCall;
        EXPECT_EQ("an old text", Text()) << pszCall;
    }
}

TEST_F(SafeFileTest, ALongerTextIsWrittenOver) {
    EXPECT_TRUE(OverwriteFile(Path(), "a new text that is longer"));
    EXPECT_EQ("a new text that is longer", Text());
}

// The old text is cut last: a kill before leaves at least as many bytes as there were.
TEST_F(SafeFileTest, WritingOverCutsTheOldTextWhenTheNewOneIsOnTheDisk) {
    EXPECT_TRUE(IsKilledAt("ftruncate", 1, [&] { OverwriteFile(Path(), "A NEW"); }));
    EXPECT_EQ("A NEWd text", Text());
    const PosixFault fault("fsync", 0, 99);
    EXPECT_TRUE(OverwriteFile(Path(), "new"));
    EXPECT_EQ(3, fault.Calls()) << "the longer end, the text, the cut";
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

// Killed in any of its calls, a write leaves the old text or the new one, and the next write leaves nothing
// beside it. Where files can be without a name, only a kill at the rename leaves something for it to remove.
TEST_F(SafeFileTest, AKilledReplacementLeavesNothingThatTheNextOneDoesNotRemove) {
    for (const int nNoUnnamed : {0, 1}) {
        std::set<std::string> leaving;
        for (const char* pszCall : {"open", "access", "flock", "fstat", "fchown", "fchmod", "write", "fsync",
                                    "linkat", "rename", "unlink"})
            for (int nNth = 1; nNth < 10; ++nNth) {
                WriteFile(m_dir.File("file"), std::string("an old text"));
                const bool bKilled = IsKilledAt(pszCall, nNth, [&] {
                    const PosixFault unnamed("open", EOPNOTSUPP, nNoUnnamed);
                    ReplaceFile(Path(), "new", 0666);
                });
                EXPECT_TRUE(Text() == "new" || Text() == "an old text") << pszCall << nNth;
                if (Names().size() > 1) leaving.insert(pszCall);
                EXPECT_TRUE(ReplaceFile(Path(), "next", 0666));
                EXPECT_EQ("next", Text());
                EXPECT_EQ(Texts{"file"}, Names()) << pszCall << nNth;
                if (!bKilled) break;
            }
        const std::set<std::string> all = {"fchmod", "fchown", "flock", "fstat", "fsync", "rename", "write"};
        EXPECT_EQ(nNoUnnamed == 0 ? std::set<std::string>{"rename"} : all, leaving);
    }
}

TEST_F(SafeFileTest, OnlyAFolderIsOpenedAsOne) {
    EXPECT_EQ(-1, OpenFolder(Path()));
    EXPECT_EQ(ENOTDIR, errno);
    const FileDescriptor folder(OpenFolder(m_dir.Path().c_str()));
    EXPECT_LE(0, folder);
    EXPECT_TRUE(SyncFolder(folder));
}

TEST_F(SafeFileTest, AFolderWithAPathThatNoSystemTakesIsSaid) {
    errno = 0;
    EXPECT_FALSE(SyncFolderOf(std::string(PATH_MAX, 'a') + "/file"));
    EXPECT_EQ(ENAMETOOLONG, errno);
}

}  // namespace
}  // namespace Kestrova::Test
