#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/folder/PrivateFolder.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

TEST(PrivateFolderTest, PublishesByRenamingAndGoesWithWhatIsLeft) {
    const TempDir dir;
    fs::path path;
    {
        const FolderLock turn(dir.Path());
        PrivateFolder folder(dir.Path(), turn);
        path = folder.Path();
        WriteFile(path / "a.kvn", std::string("new"));
        WriteFile(path / "b.kvr", std::string("left"));
        WriteFile(dir.Path() / "a.kvn", std::string("old"));
        EXPECT_TRUE(folder.Publish("a.kvn", turn));
        EXPECT_FALSE(folder.Publish("c.kvn", turn));
        EXPECT_EQ(ENOENT, errno);
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(Bytes({'n', 'e', 'w'}), ReadFile(dir.Path() / "a.kvn"));
}

TEST(PrivateFolderTest, TellsHeldFoldersFromAbandonedOnes) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    const PrivateFolder folder(dir.Path(), turn);
    fs::create_directory(dir.Path() / ".kvbank-old");
    fs::create_directory_symlink(dir.Path() / ".kvbank-old", dir.Path() / ".kvbank-link");
    WriteFile(dir.Path() / ".kvbank-file", std::string());
    int nHeld = 0, nAbandoned = 0;
    for (const PrivateFolder::Found& found : PrivateFolder::FindIn(dir.Path())) {
        EXPECT_EQ(found.path == folder.Path(), found.bHeld);
        ++(found.bHeld ? nHeld : nAbandoned);
    }
    EXPECT_EQ(1, nHeld);
    EXPECT_EQ(1, nAbandoned);
    EXPECT_EQ(1u, PrivateFolder::RemoveAbandoned(dir.Path(), turn));
    EXPECT_TRUE(fs::exists(folder.Path()));
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-file"));
}

TEST(PrivateFolderTest, AFolderThatCannotBeMadeHasNoPath) {
    const PrivateFolder folder("/nowhere/at/all", FolderLock("/nowhere"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(folder.Path().empty());
}

// Unlocked it would look abandoned to the next build.
TEST(PrivateFolderTest, AFolderThatCannotBeLockedIsNotKept) {
    const TempDir dir;
    const FolderLock turn(dir.Path());
    const PosixFault fault("flock", ENOLCK);
    const PrivateFolder folder(dir.Path(), turn);
    EXPECT_EQ(ENOLCK, errno);
    EXPECT_TRUE(folder.Path().empty());
    EXPECT_TRUE(fs::is_empty(dir.Path()));
}

TEST(PrivateFolderTest, ADiscardedFileIsGone) {
    const TempDir dir;
    PrivateFolder folder(dir.Path(), FolderLock(dir.Path()));
    WriteFile(folder.Path() / "a.kvn", std::string("new"));
    folder.Discard("a.kvn");
    folder.Discard("b.kvn");
    EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST(PrivateFolderTest, OtherUsersMayLookIntoIt) {
    const TempDir dir;
    const PrivateFolder folder(dir.Path(), FolderLock(dir.Path()));
    EXPECT_EQ(fs::perms(0755), fs::status(folder.Path()).permissions());
}

TEST(PrivateFolderTest, OnlyFoldersThatWentAreCounted) {
    const TempDir dir;
    fs::create_directory(dir.Path() / ".kvbank-old");
    WriteFile(dir.Path() / ".kvbank-old" / "letter.txt", std::string("dear"));
    EXPECT_EQ(0u, PrivateFolder::RemoveAbandoned(dir.Path(), FolderLock(dir.Path())));
    EXPECT_TRUE(fs::exists(dir.Path() / ".kvbank-old" / "letter.txt"));
}

}  // namespace
}  // namespace Kestrova::Test
