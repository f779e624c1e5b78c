#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "bank/place/PartFile.h"
#include "tests/support/FolderNames.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;

// On a file system with files that have no name (0) and on one without them (1: the call that fails).
constexpr int kFileSystems[] = {0, 1};

class PartFileTest : public ::testing::Test {
protected:
    std::string File(const std::string& strName) const { return m_dir.File(strName); }
    std::vector<std::string> Names() const { return NamesIn(m_dir.Path()); }
    // As both callers write one.
    static bool WriteBank(const PartFile& part) {
        CSDB database;
        return database.Create(part.Path().c_str(), kSdbFormatPlain) && database.Close(true);
    }

    const TempDir m_dir;
};

TEST_F(PartFileTest, TakesItsPlaceWhole) {
    for (const int nFileSystem : kFileSystems) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        WriteFile(File("x.kvs"), std::string("old"));
        PartFile part(File("x.kvs"));
        EXPECT_TRUE(WriteBank(part)) << nFileSystem;
        EXPECT_EQ(Bytes({'o', 'l', 'd'}), ReadFile(File("x.kvs")));
        EXPECT_TRUE(part.Publish());
        EXPECT_EQ(0, part.GetSyncError());
        CSDB database;
        EXPECT_TRUE(database.Open(File("x.kvs").c_str(), kSdbFormatPlain, false));
    }
    EXPECT_THAT(Names(), ElementsAre("x.kvs"));
}

TEST_F(PartFileTest, HasNoNameWhileItIsMadeWhereThatCanBe) {
    {
        const PartFile part(File("x.kvs"));
        EXPECT_TRUE(WriteBank(part));
        EXPECT_THAT(Names(), ElementsAre());
    }
    EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(PartFileTest, IsMadeInAHeldFolderElsewhereWhichGoes) {
    {
        const PosixFault unnamed("open", EOPNOTSUPP);
        const PartFile part(File("x.kvs"));
        EXPECT_TRUE(WriteBank(part));
        EXPECT_EQ(1u, Names().size());
        PrivateFolder::RemoveAbandoned(m_dir.Path(), FolderLock(m_dir.Path()));
        EXPECT_TRUE(fs::exists(part.Path()));
    }
    EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(PartFileTest, TakesAFreePlaceAndNeverOneThatIsTaken) {
    for (const int nFileSystem : kFileSystems) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        PartFile late(File("x.kvs")), first(File("x.kvs"));
        EXPECT_TRUE(WriteBank(late) && WriteBank(first));
        EXPECT_TRUE(first.PublishInFreePlace());
        EXPECT_EQ(0, first.GetSyncError());
        const Bytes bank = ReadFile(File("x.kvs"));
        EXPECT_FALSE(late.PublishInFreePlace());
        EXPECT_EQ(EEXIST, errno);
        EXPECT_EQ(bank, ReadFile(File("x.kvs"))) << nFileSystem;
        fs::remove(File("x.kvs"));
    }
    EXPECT_THAT(Names(), ElementsAre());
}

// As on a file system of a kind that has neither files without a name nor this kind of rename.
TEST_F(PartFileTest, TakesAFreePlaceByALinkWhereNoRenameSparesWhatIsThere) {
    const PosixFault unnamed("open", EOPNOTSUPP);
    PartFile part(File("x.kvs"));
    EXPECT_TRUE(WriteBank(part));
    {
        const PosixFault rename("renameat2", EINVAL);
        EXPECT_TRUE(part.PublishInFreePlace());
    }
    CSDB database;
    EXPECT_TRUE(database.Open(File("x.kvs").c_str(), kSdbFormatPlain, false));
    EXPECT_THAT(Names(), ElementsAre("x.kvs"));
}

TEST_F(PartFileTest, APlaceWithoutAFolderIsInTheWorkingFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(m_dir.Path());
    for (const int nFileSystem : kFileSystems) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        PartFile part("x.kvs");
        EXPECT_TRUE(WriteBank(part));
        EXPECT_TRUE(part.Publish());
        EXPECT_THAT(Names(), ElementsAre("x.kvs")) << nFileSystem;
        fs::remove("x.kvs");
    }
    fs::current_path(before);
}

TEST_F(PartFileTest, AFolderThatIsNotThereIsSaid) {
    const PartFile part(File("none/x.kvs"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(part.Path().empty());
}

TEST_F(PartFileTest, APlaceThatCannotBeTakenStaysAndNothingIsLeft) {
    for (const int nFileSystem : kFileSystems) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        WriteFile(File("x.kvs"), std::string("old"));
        {
            PartFile part(File("x.kvs"));
            EXPECT_TRUE(WriteBank(part));
            const PosixFault fault("rename", EIO);
            EXPECT_FALSE(part.Publish());
            EXPECT_EQ(EIO, errno);
        }
        EXPECT_EQ(Bytes({'o', 'l', 'd'}), ReadFile(File("x.kvs"))) << nFileSystem;
        EXPECT_THAT(Names(), ElementsAre("x.kvs"));
    }
}

TEST_F(PartFileTest, AFolderThatDoesNotReachTheDiskIsSaid) {
    PartFile part(File("x.kvs"));
    EXPECT_TRUE(WriteBank(part));
    const PosixFault fault("fsync", EIO);
    EXPECT_TRUE(part.Publish());
    EXPECT_EQ(EIO, part.GetSyncError());
    EXPECT_THAT(Names(), ElementsAre("x.kvs"));
}

// What a killed run leaves goes with the next one, of import or of demo.
TEST_F(PartFileTest, AKilledRunLeavesNothingThatTheNextOneDoesNotRemove) {
    const auto make = [this](int nFileSystem) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        PartFile part(File("x.kvs"));
        WriteBank(part);
        part.Publish();
    };
    for (const int nFileSystem : kFileSystems) {
        size_t nMost = 0;
        for (const char* pszCall : {"open", "access", "flock", "linkat", "rename", "fsync", "unlink"})
            for (int nNth = 1; nNth < 20; ++nNth) {
                const bool bKilled = IsKilledAt(pszCall, nNth, [&] { make(nFileSystem); });
                nMost = std::max(nMost, Names().size());
                make(nFileSystem);
                EXPECT_THAT(Names(), ElementsAre("x.kvs")) << pszCall << nNth;
                fs::remove(File("x.kvs"));
                if (!bKilled) break;
            }
        EXPECT_EQ(1u, nMost) << "the file, or what was left";
    }
}

TEST_F(PartFileTest, WhatOlderVersionsLeftGoesAndWhatIsHeldOrAnothersStays) {
    for (const char* pszName : {".kvbank-part-17", ".kvbank-part-4711-2", ".kvbank-part-000000"})
        WriteFile(File(pszName), std::string("left"));
    WriteFile(File(".kvbank-part-list.txt"), std::string("a letter"));
    TemporaryFile held(File(".kvbank-part-"));
    ASSERT_TRUE(held.MakeNamed(0600));
    const PartFile part(File("x.kvs"));
    EXPECT_THAT(Names(), ElementsAre(".kvbank-part-000001", ".kvbank-part-list.txt"));
}

TEST_F(PartFileTest, ANameMayBeAsLongAsNamesCanBe) {
    const std::string strName = std::string(251, 'x') + ".kvs";
    for (const int nFileSystem : kFileSystems) {
        const PosixFault unnamed("open", EOPNOTSUPP, nFileSystem);
        PartFile part(File(strName));
        EXPECT_TRUE(WriteBank(part));
        EXPECT_TRUE(part.Publish());
        EXPECT_THAT(Names(), ElementsAre(strName));
    }
}

}  // namespace
}  // namespace Kestrova::Test
