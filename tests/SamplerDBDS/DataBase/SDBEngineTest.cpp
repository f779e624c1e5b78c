#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

class SDBEngineTest : public DatabaseTest {};

// --- Create, open, close ---

TEST_F(SDBEngineTest, ANewFileIsItsFormatAndIdentity) {
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    EXPECT_TRUE(m_db.IsOpen());
    EXPECT_TRUE(m_db.IsWritable());
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_FALSE(m_db.IsChanged());
    EXPECT_EQ(m_strPath, m_db.GetPath());
    EXPECT_EQ(0u, m_db.GetNextID());
    const DBUID identity = m_db.GetIdentity();
    EXPECT_TRUE(m_db.Close(true));
    const Bytes image = ReadFile(m_strPath);
    ASSERT_EQ(20u, image.size());
    EXPECT_EQ("QXEU", std::string(image.begin(), image.begin() + 4));
    for (size_t n = 0; n < 4; ++n) {
        EXPECT_EQ(identity.m_words[n], GetLittle(image, 4 + 4 * n, 4));
        EXPECT_NE(0u, identity.m_words[n]);
    }
}

TEST_F(SDBEngineTest, CreatingEmptiesAnExistingFile) {
    WriteFile(m_strPath, std::string(1000, 'x'));
    ASSERT_TRUE(Create());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(20u, ReadFile(m_strPath).size());
}

TEST_F(SDBEngineTest, AClosedDatabaseHasForgottenItsFile) {
    ASSERT_TRUE(Create());
    EXPECT_EQ(0u, AddNote(m_db, kSdbBank, kSdbNoID, "a"));
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_FALSE(m_db.IsOpen());
    EXPECT_FALSE(m_db.IsWritable());
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_FALSE(m_db.IsChanged());
    EXPECT_EQ(DBUID(), m_db.GetIdentity());
    EXPECT_STREQ("", m_db.GetPath());
    EXPECT_EQ(0u, m_db.GetNextID());
    EXPECT_EQ(0u, m_db.GetNoteCount());
    EXPECT_TRUE(m_db.Close(false)) << "nothing ran";
}

TEST_F(SDBEngineTest, AFileThatCannotBeCreatedFails) {
    EXPECT_FALSE(m_db.Create(m_dir.File("no/folder.kvn").c_str(), kSdbFormatPlain));
    EXPECT_FALSE(m_db.Create(nullptr, kSdbFormatPlain));
    EXPECT_FALSE(m_db.Create("", kSdbFormatPlain));
    EXPECT_FALSE(m_db.IsOpen());
}

struct OpenCase {
    const char* pszWhy;
    size_t nBytes;  // of the image of one empty note
    uint32_t nFormat;
    bool bOpens;
};

const OpenCase kOpenCases[] = {
    {"no bytes", 0, kSdbFormatPlain, false},
    {"the identity is cut short", 19, kSdbFormatPlain, false},
    {"a header alone", 20, kSdbFormatPlain, true},
    {"half a note header", 27, kSdbFormatPlain, true},
    {"another format", 34, kSdbFormatEnriched, false},
    {"one note", 34, kSdbFormatPlain, true},
};

TEST_F(SDBEngineTest, OpeningDemandsAHeaderOfTheFormat) {
    for (const OpenCase& row : kOpenCases) {
        SCOPED_TRACE(row.pszWhy);
        Bytes image = DatabaseImage({{.id = 4}});
        image.resize(row.nBytes);
        WriteFile(m_strPath, image);
        EXPECT_EQ(row.bOpens, m_db.Open(m_strPath.c_str(), row.nFormat, true));
        EXPECT_EQ(row.bOpens, m_db.IsOpen());
        EXPECT_EQ(row.nBytes == 34 && row.bOpens ? 1u : 0u, m_db.GetNoteCount());
        EXPECT_EQ(0, m_db.GetFirstError()) << "it was read, whatever it is";
    }
    EXPECT_FALSE(m_db.Open(m_dir.File("missing.kvn").c_str(), kSdbFormatPlain, false));
    EXPECT_EQ(ENOENT, m_db.GetFirstError());
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(m_db.Open(nullptr, kSdbFormatPlain, false));
    EXPECT_FALSE(std::filesystem::exists(m_dir.File("missing.kvn")));
}

TEST_F(SDBEngineTest, AFileThatDoesNotOpenIsNotRolledBack) {
    // The scan fails behind a note with a state, which a roll-back would drop.
    const Bytes image =
        DatabaseImage({{.nState = 1, .id = 1, .strBody = std::string(70000, 'a')}, {.nState = 1, .id = 2}});
    WriteFile(m_strPath, image);
    {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kPosition, 3);
        EXPECT_FALSE(Open());
        EXPECT_TRUE(env.FaultHit());
    }
    EXPECT_EQ(image, ReadFile(m_strPath));
}

TEST_F(SDBEngineTest, OpeningReadsTheIdentity) {
    ASSERT_TRUE(OpenImage(DatabaseImage({})));
    EXPECT_EQ((std::array<uint32_t, 4>{1, 2, 3, 4}), m_db.GetIdentity().m_words);
}

TEST_F(SDBEngineTest, AReadOnlyDatabaseRefusesEveryChange) {
    const Bytes image = DatabaseImage({{.nState = 1, .id = 1, .strBody = "a"}});
    ASSERT_TRUE(OpenImage(image, false));
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_FALSE(m_db.IsWritable());
    unsigned long nCount = 0;
    const uint8_t* pCursor = nullptr;
    uint32_t idRoot = 0;
    CRawRecord record(kSdbBank, 1);
    EXPECT_EQ(kSdbNoID, AddNote(m_db, kSdbBank, kSdbNoID, "b"));
    EXPECT_FALSE(m_db.AddNewNote(&record));
    EXPECT_FALSE(ChangeNote(m_db, 1, kSdbNoID, "b"));
    EXPECT_FALSE(m_db.ChangeNote(&record));
    EXPECT_FALSE(m_db.DeleteNoteByID(1));
    EXPECT_FALSE(m_db.DeleteNoteByParentID(kSdbNoID));
    EXPECT_FALSE(m_db.InsertNotesBranch(kSdbNoID, nCount, pCursor, idRoot));
    EXPECT_FALSE(m_db.UpdateDBUID(nullptr));
    EXPECT_FALSE(m_db.ReserveQuickLoad(1));
    EXPECT_FALSE(m_db.CreateQuickLoad());
    EXPECT_FALSE(m_db.Save(nullptr));
    EXPECT_FALSE(m_db.IsChanged());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(image, ReadFile(m_strPath));
}

TEST_F(SDBEngineTest, AClosedDatabaseRefusesEverything) {
    CRawRecord record(kSdbBank, 1);
    SDBNOTE note;
    void* pBody = &note;
    EXPECT_EQ(kSdbNoID, AddNote(m_db, kSdbBank, kSdbNoID, "b"));
    EXPECT_FALSE(m_db.ReadNote(&record));
    EXPECT_FALSE(m_db.ReadWholeNote(&record));
    EXPECT_FALSE(m_db.ReadNote(1, &note, &pBody));
    EXPECT_EQ(nullptr, pBody);
    EXPECT_FALSE(m_db.UpdateDBUID(nullptr));
    EXPECT_FALSE(m_db.Save(m_strPath.c_str()));
    EXPECT_FALSE(m_db.SameFile(""));
    EXPECT_EQ(nullptr, m_db.GetNoteByID(1));
}

// --- One file, several paths, several holders ---

TEST_F(SDBEngineTest, PathsToTheOpenFileAreTheSameFile) {
    ASSERT_TRUE(Create());
    const std::string strLink = m_dir.File("link.kvn");
    const std::string strHardLink = m_dir.File("hard.kvn");
    const std::string strOther = m_dir.File("other.kvn");
    std::filesystem::create_symlink(m_strPath, strLink);
    std::filesystem::create_hard_link(m_strPath, strHardLink);
    WriteFile(strOther, ReadFile(m_strPath));
    EXPECT_TRUE(m_db.SameFile(m_strPath.c_str()));
    EXPECT_TRUE(m_db.SameFile(m_dir.File("TEST.kvN").c_str())) << "letter case is ignored";
    EXPECT_TRUE(m_db.SameFile(m_dir.File("./test.kvn").c_str()));
    EXPECT_TRUE(m_db.SameFile(strLink.c_str()));
    EXPECT_TRUE(m_db.SameFile(strHardLink.c_str()));
    EXPECT_FALSE(m_db.SameFile(strOther.c_str()));
    EXPECT_FALSE(m_db.SameFile(m_dir.File("missing.kvn").c_str()));
    EXPECT_FALSE(m_db.SameFile(nullptr));
    EXPECT_FALSE(m_db.SameFile(""));
}

TEST_F(SDBEngineTest, AFileThatIsBeingBuiltIsNotCreatedAnew) {
    ASSERT_TRUE(Create());
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    ASSERT_TRUE(m_db.GetFile().Flush());
    const Bytes image = ReadFile(m_strPath);
    CSDB other;
    EXPECT_TRUE(CSDB::IsHeld(m_strPath.c_str()));
    EXPECT_FALSE(other.Create(m_strPath.c_str(), kSdbFormatPlain));
    EXPECT_EQ(EWOULDBLOCK, other.GetFirstError());
    EXPECT_EQ(image, ReadFile(m_strPath));
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_FALSE(CSDB::IsHeld(m_strPath.c_str()));
    EXPECT_TRUE(other.Create(m_strPath.c_str(), kSdbFormatPlain));
}

TEST_F(SDBEngineTest, LookersDoNotTakeEachOtherForABuild) {
    WriteFile(m_strPath, std::string());
    CXFile looker;
    ASSERT_TRUE(looker.Open(m_strPath.c_str(), 0));
    ASSERT_EQ(LockAnswer::kHeld, looker.TryLockFile(FileLock::kShared));
    EXPECT_FALSE(CSDB::IsHeld(m_strPath.c_str()));
    EXPECT_TRUE(CSDB::IsInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched));
    CXFile file;
    EXPECT_FALSE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file)) << "not alone";
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(Create());
    EXPECT_EQ(EWOULDBLOCK, m_db.GetFirstError());
}

// A listing that asks at just that moment must not make a build fail.
TEST_F(SDBEngineTest, WhoOnlyLooksForAMomentKeepsNobodyFromAFile) {
    for (const int nLook : {1, 2}) {
        SCOPED_TRACE(nLook);
        WriteFile(m_strPath, std::string());
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kLock, nLook, FaultyFileEnv::Lasting::kOnce, EWOULDBLOCK);
        CXFile file;
        if (nLook == 2) {
            EXPECT_TRUE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
        } else {
            EXPECT_TRUE(Create());
            EXPECT_EQ(0, m_db.GetFirstError());
            EXPECT_TRUE(m_db.Close(false));
        }
        EXPECT_TRUE(env.FaultHit());
    }
}

TEST_F(SDBEngineTest, AWholeDatabaseIsNotLockedToSeeWhetherItsBuildWasInterrupted) {
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    ASSERT_TRUE(m_db.Close(true));
    FaultyFileEnv env;
    CXFile file;
    EXPECT_FALSE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
    EXPECT_EQ(1, env.Calls(FileOp::kLock)) << "the shared lock of the look";
}

TEST_F(SDBEngineTest, AQuestionLeavesTheFileThatItWasAskedWithClosed) {
    ASSERT_TRUE(Create());
    ASSERT_TRUE(m_db.Close(true));
    CXFile file;
    EXPECT_FALSE(CSDB::IsHeld(m_strPath.c_str(), file));
    EXPECT_FALSE(file.IsOpen());
    ASSERT_TRUE(Open());
    const std::string strLink = m_dir.File("link.kvn");
    std::filesystem::create_hard_link(m_strPath, strLink);
    EXPECT_TRUE(m_db.SameFile(strLink.c_str(), file));
    EXPECT_FALSE(file.IsOpen());
}

TEST_F(SDBEngineTest, AMissingFileIsNotHeld) { EXPECT_FALSE(CSDB::IsHeld(m_strPath.c_str())); }

TEST_F(SDBEngineTest, AFileThatCannotBeLookedAtIsNotEmptied) {
    WriteFile(m_strPath, std::string("kept"));
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kOpen, 1);
    EXPECT_FALSE(Create());
    EXPECT_EQ(4u, ReadFile(m_strPath).size());
}

struct InterruptedCase {
    const char* pszWhy;
    Bytes image;
    bool bInterrupted;
};

const InterruptedCase kInterruptedCases[] = {
    {"empty", {}, true},
    {"no note", DatabaseImage({}, kSdbFormatEnriched), true},
    {"a header that is not whole", Bytes{'Q', 'X', 'E', 'U', 0}, true},
    {"an uncommitted first note", DatabaseImage({{.nState = 1, .id = 1}}, kSdbFormatEnriched), true},
    {"half a first note", Bytes{'Q', 'X', 'E', 'U', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 17},
     true},
    {"zeros alone", Bytes(5000, 0), true},
    {"zeros behind the header", Bytes{'Q', 'X', 'E', 'U', 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,
                                      16,  0,   0,   0,   0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  0,  0,  0,  0,  0},
     true},
    {"zeros and then more", Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, false},
    {"a committed first note", DatabaseImage({{.id = 1}, {.nState = 1, .id = 2}}, kSdbFormatEnriched), false},
    {"a committed first note deleted since",
     DatabaseImage({{.nState = 0x80, .id = 1}, {.id = 2}}, kSdbFormatEnriched), false},
    {"another format", DatabaseImage({{.nState = 1, .id = 1}}, kSdbFormatPlain), false},
    {"three bytes of anything", Bytes{'Q', 'X', 'E'}, false},
};

TEST_F(SDBEngineTest, AnInterruptedBuildIsKnownByItsFirstNote) {
    for (const InterruptedCase& row : kInterruptedCases) {
        SCOPED_TRACE(row.pszWhy);
        WriteFile(m_strPath, std::string(row.image.begin(), row.image.end()));
        CXFile file;
        EXPECT_EQ(row.bInterrupted, CSDB::IsUnfinishedBuild(m_strPath.c_str(), kSdbFormatEnriched));
        EXPECT_EQ(row.bInterrupted, CSDB::IsInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched));
        EXPECT_EQ(row.bInterrupted, CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
        EXPECT_EQ(row.bInterrupted, file.IsOpen());
        EXPECT_EQ(row.bInterrupted, CSDB::IsHeld(m_strPath.c_str()));
    }
}

TEST_F(SDBEngineTest, AnInterruptedBuildIsHeldByAStreamThatMayWriteWhereItCan) {
    for (const bool bWritable : {true, false}) {
        WriteFile(m_strPath, DatabaseImage({}, kSdbFormatEnriched));
        FaultyFileEnv env;
        if (!bWritable) env.FailCallOf(FileOp::kOpen, 2, FaultyFileEnv::Lasting::kOnce, EACCES);
        CXFile file;
        ASSERT_TRUE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
        unsigned long long posEnd = 0;
        EXPECT_EQ(bWritable, file.SeekToEnd(posEnd) && file.SetEOF());
        EXPECT_EQ(20u, posEnd);
        file.Close();
    }
}

TEST_F(SDBEngineTest, ABuildThatGoesOnIsNotInterrupted) {
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    CXFile file;
    EXPECT_FALSE(CSDB::IsInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched));
    EXPECT_FALSE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(CSDB::IsUnfinishedBuild(m_strPath.c_str(), kSdbFormatEnriched)) << "not asked";
    EXPECT_FALSE(CSDB::HoldInterruptedBuild(m_dir.File("missing.kvn").c_str(), kSdbFormatEnriched, file));
}

// --- A file system without locks ---

constexpr int kNoLocks[] = {ENOLCK, EOPNOTSUPP, ENOSYS};

TEST_F(SDBEngineTest, WithoutLocksADatabaseIsCreatedUnprotected) {
    for (const int nError : kNoLocks) {
        SCOPED_TRACE(nError);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kLock, 1, FaultyFileEnv::Lasting::kForGood, nError);
        ASSERT_TRUE(Create());
        EXPECT_TRUE(m_db.IsUnprotected());
        EXPECT_EQ(0, m_db.GetFirstError());
        EXPECT_EQ(0u, AddNote(m_db, kSdbBank, kSdbNoID, "body"));
        EXPECT_FALSE(CSDB::IsHeld(m_strPath.c_str())) << "nobody can hold it";
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_FALSE(m_db.IsUnprotected());
        EXPECT_EQ(1u, NotesOf(m_strPath).size());
    }
    ASSERT_TRUE(Create());
    EXPECT_FALSE(m_db.IsUnprotected());
}

TEST_F(SDBEngineTest, AFileThatCannotBeAskedForItsLockMayBeInWork) {
    WriteFile(m_strPath, DatabaseImage({{.nState = 1, .id = 1}}, kSdbFormatEnriched));
    for (const int nError : {ENOLCK, EOPNOTSUPP, ENOSYS, EIO}) {
        SCOPED_TRACE(nError);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kLock, 1, FaultyFileEnv::Lasting::kForGood, nError);
        CXFile file;
        EXPECT_FALSE(CSDB::IsInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched));
        EXPECT_FALSE(CSDB::HoldInterruptedBuild(m_strPath.c_str(), kSdbFormatEnriched, file));
        EXPECT_FALSE(file.IsOpen());
        EXPECT_TRUE(CSDB::IsUnfinishedBuild(m_strPath.c_str(), kSdbFormatEnriched));
    }
}

TEST_F(SDBEngineTest, ALockThatFailsFailsTheCreateAndCountsAsHeld) {
    WriteFile(m_strPath, std::string("kept"));
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kLock, 1, FaultyFileEnv::Lasting::kForGood, EIO);
    EXPECT_FALSE(Create());
    EXPECT_EQ(EIO, m_db.GetFirstError());
    EXPECT_EQ(EIO, errno);
    EXPECT_TRUE(CSDB::IsHeld(m_strPath.c_str()));
    EXPECT_EQ(4u, ReadFile(m_strPath).size());
}

TEST_F(SDBEngineTest, OpeningAndReadingNeverAskForALock) {
    WriteFile(m_strPath, DatabaseImage({{.id = 1, .strBody = "body"}}));
    FaultyFileEnv env;
    ASSERT_TRUE(Open(false));
    EXPECT_EQ("body", BodyOf(m_db, 1));
    EXPECT_FALSE(CSDB::IsUnfinishedBuild(m_strPath.c_str(), kSdbFormatPlain));
    m_db.Close(false);
    EXPECT_EQ(0, env.Calls(FileOp::kLock));
}

// --- Identity ---

TEST_F(SDBEngineTest, TheIdentityCanBeGivenOrMadeAnew) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 1}})));
    const DBUID given{{9, 8, 7, 6}};
    EXPECT_TRUE(m_db.UpdateDBUID(&given));
    EXPECT_EQ(given, m_db.GetIdentity());
    DBUID onFile;
    EXPECT_TRUE(onFile.GetDBUID(m_strPath.c_str()));
    EXPECT_EQ(given, onFile);
    EXPECT_TRUE(m_db.UpdateDBUID(nullptr));
    EXPECT_NE(given, m_db.GetIdentity());
    EXPECT_TRUE(onFile.GetDBUID(m_strPath.c_str()));
    EXPECT_EQ(m_db.GetIdentity(), onFile);
    EXPECT_EQ(1u, NotesOf(m_strPath).size());
}

}  // namespace
}  // namespace Kestrova::Test
