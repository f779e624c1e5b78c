#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "bank/place/PrivateFolder.h"
#include "tests/support/FolderNames.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

TEST(PrivateFolderTest, PublishesByRenamingAndGoesWithWhatIsLeft) {
    const TempDir dir;
    fs::path path;
    {
        const FolderLock turn(dir.Path());
        PrivateFolder folder(dir.Path(), turn);
        path = folder.Path();
        WriteFile(path / "a_0AC44.kvn", std::string("new"));
        WriteFile(path / "b_0AC44.kvr", std::string("left"));
        WriteFile(dir.Path() / "a_0AC44.kvn", std::string("old"));
        EXPECT_TRUE(folder.Publish("a_0AC44.kvn", turn));
        EXPECT_FALSE(folder.Publish("c_0AC44.kvn", turn));
        EXPECT_EQ(ENOENT, errno);
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(Bytes({'n', 'e', 'w'}), ReadFile(dir.Path() / "a_0AC44.kvn"));
}

TEST(PrivateFolderTest, TellsHeldFoldersFromAbandonedOnes) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    const PrivateFolder folder(dir.Path(), turn);
    fs::create_directory(dir.Path() / ".kvbank-oLd000");
    fs::create_directory_symlink(dir.Path() / ".kvbank-oLd000", dir.Path() / ".kvbank-link00");
    WriteFile(dir.Path() / ".kvbank-file00", std::string());
    int nHeld = 0, nAbandoned = 0;
    for (const PrivateFolder::Found& found : PrivateFolder::FindIn(dir.Path())) {
        EXPECT_EQ(found.path == folder.Path() ? Hold::Held : Hold::Free, found.hold);
        ++(found.hold == Hold::Held ? nHeld : nAbandoned);
    }
    EXPECT_EQ(1, nHeld);
    EXPECT_EQ(1, nAbandoned);
    EXPECT_EQ(1u, PrivateFolder::RemoveAbandoned(dir.Path(), turn).nFolders);
    EXPECT_TRUE(fs::exists(folder.Path()));
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-file00"));
}

TEST(PrivateFolderTest, AFolderThatCannotBeMadeHasNoPath) {
    const PrivateFolder folder("/nowhere/at/all", FolderLock("/nowhere"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(folder.Path().empty());
}

// Unlocked it would look abandoned to the next build; also when a file system that has locks says that it has
// none.
TEST(PrivateFolderTest, AFolderThatCannotBeLockedIsNotKept) {
    for (const int nError : {EIO, ENOLCK, EOPNOTSUPP}) {
        const TempDir dir;
        const FolderLock turn(dir.Path());
        const PosixFault fault("flock", nError);
        const PrivateFolder folder(dir.Path(), turn);
        EXPECT_EQ(nError, errno);
        EXPECT_TRUE(folder.Path().empty());
        EXPECT_TRUE(fs::is_empty(dir.Path()));
    }
}

// When the lock of a folder cannot be asked for, nobody knows whether its build still runs.
TEST(PrivateFolderTest, WhereThereAreNoLocksNothingIsTakenForAbandoned) {
    const TempDir dir;
    fs::create_directory(dir.Path() / ".kvbank-oLd000");
    const PosixFault fault("flock", EOPNOTSUPP, PosixFault::kEveryCall);
    const FolderLock turn(dir.Path());
    const PrivateFolder folder(dir.Path(), turn);
    EXPECT_FALSE(folder.Path().empty());
    const std::vector<PrivateFolder::Found> found = PrivateFolder::FindIn(dir.Path());
    EXPECT_EQ(2u, found.size());
    for (const PrivateFolder::Found& one : found) EXPECT_EQ(Hold::Unknown, one.hold);
    const PrivateFolder::Cleaned cleaned = PrivateFolder::RemoveAbandoned(dir.Path(), turn);
    EXPECT_EQ(0u, cleaned.nFolders);
    EXPECT_TRUE(cleaned.left.empty());
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-oLd000"));
}

TEST(PrivateFolderTest, ADiscardedFileIsGone) {
    const TempDir dir;
    PrivateFolder folder(dir.Path(), FolderLock(dir.Path()));
    WriteFile(folder.Path() / "a_0AC44.kvn", std::string("new"));
    folder.Discard("a_0AC44.kvn");
    folder.Discard("b_0AC44.kvn");
    EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST(PrivateFolderTest, OtherUsersMayLookIntoIt) {
    const TempDir dir;
    const PrivateFolder folder(dir.Path(), FolderLock(dir.Path()));
    EXPECT_EQ(fs::perms(0755), fs::status(folder.Path()).permissions());
}

TEST(PrivateFolderTest, AMarkIsAnEmptyFileThatDoesNotReplaceOne) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    PrivateFolder folder(dir.Path(), turn);
    EXPECT_TRUE(folder.Mark("a_0AC44.kvn", turn));
    EXPECT_EQ(0u, fs::file_size(folder.Path() / "a_0AC44.kvn"));
    EXPECT_FALSE(folder.Mark("a_0AC44.kvn", turn));
    EXPECT_EQ(EEXIST, errno);
}

TEST(PrivateFolderTest, FoldersThatStayAreToldAndNotCounted) {
    const TempDir dir;
    fs::create_directory(dir.Path() / ".kvbank-oLd000");
    WriteFile(dir.Path() / ".kvbank-oLd000" / "letter.txt", std::string("dear"));
    const PrivateFolder::Cleaned cleaned = PrivateFolder::RemoveAbandoned(dir.Path(), FolderLock(dir.Path()));
    EXPECT_EQ(0u, cleaned.nFolders);
    ASSERT_EQ(1u, cleaned.left.size());
    EXPECT_EQ(dir.Path() / ".kvbank-oLd000", cleaned.left[0].path);
    EXPECT_EQ(ENOTEMPTY, cleaned.left[0].nError);
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-oLd000" / "letter.txt"));
}

// The files that are still in a folder are reported, not the error that the folder is not empty.
TEST(PrivateFolderTest, WhatCannotBeRemovedIsTold) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    PrivateFolder folder(dir.Path(), turn);
    const fs::path path = folder.Path();
    fs::create_directories(path / "a_0AC44.kvn");
    const std::vector<Leftover> left = folder.Remove();
    ASSERT_EQ(1u, left.size());
    EXPECT_EQ(path / "a_0AC44.kvn", left[0].path);
    EXPECT_EQ(EISDIR, left[0].nError);
    EXPECT_TRUE(folder.Remove().empty()) << "once is enough";
    fs::remove_all(path);
}

// The user's own folders and files are never removed, whatever is put beside them.
TEST(PrivateFolderTest, AFolderThatNoBuildCanHaveNamedIsNone) {
    const TempDir dir;
    for (const char* const psz :
         {".kvbank-", ".kvbank-mine", ".kvbank-sources", ".kvbank-dEaD-0", "kvbank-dEaD00"}) {
        fs::create_directory(dir.Path() / psz);
        WriteFile(dir.Path() / psz / "Piano_0AC44.kvn", std::string("a bank"));
    }
    EXPECT_TRUE(PrivateFolder::FindIn(dir.Path()).empty());
    EXPECT_EQ(0u, PrivateFolder::RemoveAbandoned(dir.Path(), FolderLock(dir.Path())).nFolders);
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-sources" / "Piano_0AC44.kvn"));
}

TEST(PrivateFolderTest, AFileThatNoBuildCanHaveNamedStays) {
    const TempDir dir;
    const fs::path path = dir.Path() / ".kvbank-source";
    fs::create_directory(path);
    const std::vector<std::string> kept = {"Piano.kvn",       "_0AC4.kvn",       "Piano-0AC44.kvn",
                                           "Piano_0aC44.kvn", "Piano_0AC44.kvs", "Piano_0GC44.kvr"};
    for (const std::string& strName : kept) WriteFile(path / strName, std::string("of the user"));
    for (const char* const psz : {"Piano_0AC44.kvn", "_2EE00.kvr", "Piano_0AC45.kvn"})
        WriteFile(path / psz, std::string("of a build"));
    const PrivateFolder::Cleaned cleaned = PrivateFolder::RemoveAbandoned(dir.Path(), FolderLock(dir.Path()));
    ASSERT_EQ(1u, cleaned.left.size());
    EXPECT_EQ(path, cleaned.left[0].path);
    EXPECT_EQ(ENOTEMPTY, cleaned.left[0].nError);
    EXPECT_THAT(NamesIn(path), ::testing::UnorderedElementsAreArray(kept));
}

TEST(PrivateFolderTest, AFolderThatHasGoneLeavesNothing) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    PrivateFolder folder(dir.Path(), turn);
    fs::remove_all(folder.Path());
    EXPECT_TRUE(folder.Remove().empty());
}

TEST(PrivateFolderTest, AFolderThatCannotBeReadIsLeftAndTold) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    PrivateFolder folder(dir.Path(), turn);
    const fs::path path = folder.Path();
    const PosixFault fault("readdir", EIO);
    const std::vector<Leftover> left = folder.Remove();
    ASSERT_EQ(1u, left.size());
    EXPECT_EQ(path, left[0].path);
    EXPECT_EQ(EIO, left[0].nError);
    EXPECT_TRUE(fs::exists(path));
}

}  // namespace
}  // namespace Kestrova::Test
