// Commit, roll back, Save, the engine lock and the change callback.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "tests/SamplerDBDS/DataBase/JournalFixture.h"
#include "tests/support/FaultyFileEnv.h"

namespace Kestrova::Test {
namespace {

using Ids = std::vector<uint32_t>;

enum class Ending { kCommit, kRollBack };

struct CallbackLog {
    static void OnChange(CSDB* pDatabase, uint32_t nUser) {
        s_arCalls.emplace_back(pDatabase, nUser);
        s_bWasChanged = pDatabase->IsChanged();
    }
    static inline std::vector<std::pair<CSDB*, uint32_t>> s_arCalls;
    static inline bool s_bWasChanged = false;
};

class SDBJournalTest : public JournalFixture {
protected:
    void SetUp() override { CallbackLog::s_arCalls.clear(); }

    const std::string m_strCopy = m_dir.File("copy.kvn");
};

// --- Commit and roll back ---

TEST_F(SDBJournalTest, AChangeCommittedStandsWhereTheFirstChangedNoteStood) {
    OpenNotes({{.id = 1, .strBody = "first"}, {.id = 2, .strBody = "old"}, {.id = 3, .strBody = "later"}});
    EXPECT_TRUE(ChangeNote(m_db, 2, kSdbNoID, "new version"));
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((Notes{{.id = 1, .strBody = "first"},
                     {.id = 3, .strBody = "later"},
                     {.id = 2, .strBody = "new version"}}),
              NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, AChangeRolledBackLeavesTheOldVersion) {
    const Notes arNotes = {{.id = 1, .strBody = "first"}, {.id = 2, .strBody = "old"}, {.id = 3}};
    OpenNotes(arNotes);
    EXPECT_TRUE(ChangeNote(m_db, 2, kSdbNoID, "new version"));
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ(DatabaseImage(arNotes), ReadFile(m_strPath));
}

TEST_F(SDBJournalTest, RollingBackRevivesADeletedNote) {
    const Notes arNotes = {{.id = 1, .strBody = "kept"}, {.id = 2, .idParent = 1}};
    OpenNotes(arNotes);
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ(arNotes, NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, ANoteAddedAndDeletedVanishesEitherWay) {
    for (const bool bCommit : {true, false}) {
        OpenNotes({{.id = 1}});
        EXPECT_TRUE(m_db.DeleteNoteByID(AddNote(m_db, kSdbBank, kSdbNoID, "short life")));
        EXPECT_TRUE(m_db.Close(bCommit));
        EXPECT_EQ((Notes{{.id = 1}}), NotesOf(m_strPath));
    }
}
// Q74

// Q74
TEST_F(SDBJournalTest, DestructionCommits) {
    {
        CSDB db;
        ASSERT_TRUE(db.Create(m_strPath.c_str(), kSdbFormatPlain));
        AddNote(db, kSdbBank, kSdbNoID, "body");
    }
    EXPECT_EQ((Notes{{.id = 0, .strBody = "body"}}), NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, OpeningOrCreatingAnotherFileRollsBack) {
    for (const bool bOpen : {true, false}) {
        WriteFile(m_strCopy, DatabaseImage({}));
        OpenNotes({{.id = 1}});
        AddNote(m_db, kSdbBank, kSdbNoID, "lost");
        EXPECT_TRUE(bOpen ? m_db.Open(m_strCopy.c_str(), kSdbFormatPlain, false)
                          : m_db.Create(m_strCopy.c_str(), kSdbFormatPlain));
        EXPECT_EQ((Notes{{.id = 1}}), NotesOf(m_strPath));
    }
}

TEST_F(SDBJournalTest, AFileLeftOpenIsSettledByTheNextClose) {
    const Bytes image = DatabaseImage({{.id = 1},
                                       {.nState = 0x80, .id = 2, .strBody = "x"},
                                       {.nState = 1, .id = 3},
                                       {.nState = 0x81, .id = 4}});
    OpenImage(image);
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((Notes{{.id = 1}, {.id = 3}}), NotesOf(m_strPath));
    OpenImage(image);
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ((Notes{{.id = 1}, {.id = 2, .strBody = "x"}}), NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, OddStateBitsAreClearedFromTheFirstOneOn) {
    const Bytes image =
        DatabaseImage({{.nState = 0x02, .id = 1}, {.nState = 0x7E, .id = 2}, {.nState = 0xFE, .id = 3}});
    OpenImage(image);
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((Notes{{.id = 1}, {.id = 2}}), NotesOf(m_strPath));
    OpenImage(image);
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ((Notes{{.id = 1}, {.id = 2}, {.id = 3}}), NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, LargeBodiesMoveInPieces) {
    std::string strLarge(200001, '\0');
    for (size_t i = 0; i < strLarge.size(); ++i) strLarge[i] = static_cast<char>(i * 7 + i / 251);
    OpenNotes({{.id = 1, .strBody = "x"},
               {.id = 2, .strBody = strLarge},
               {.id = 3, .strBody = std::string(65536, 'y')}});
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    AddNote(m_db, kSdbBank, kSdbNoID, strLarge + "z");
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((Notes{{.id = 2, .strBody = strLarge},
                     {.id = 3, .strBody = std::string(65536, 'y')},
                     {.id = 4, .strBody = strLarge + "z"}}),
              NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, BytesBehindTheLastWholeHeaderAreCutByACommit) {
    Bytes image = DatabaseImage({{.nState = 1, .id = 1, .strBody = "a"}});
    const size_t nWhole = image.size();
    image.resize(nWhole + 13, 0x55);
    OpenImage(image);
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(nWhole, ReadFile(m_strPath).size());
}

struct CutShortCase {
    const char* pszWhy;
    Notes arNotes;  // the last body loses two bytes
    Ending ending;
    bool bDone;
    Notes arWhole;        // left as whole notes
    size_t nBytesBehind;  // what is left of the last one
};

const CutShortCase kCutShortCases[] = {
    {"a new note cut short is rolled back",
     {{.id = 1}, {.nState = 1, .id = 2, .strBody = "cut."}},
     Ending::kRollBack,
     true,
     {{.id = 1}},
     0},
    {"a commit keeps what there is, and tells",
     {{.nState = 1, .id = 1}, {.nState = 1, .id = 2, .strBody = "cut."}},
     Ending::kCommit,
     false,
     {{.id = 1}},
     16},
    {"so does one that moves it",
     {{.nState = 0x80, .id = 1}, {.id = 2, .strBody = "cut."}},
     Ending::kCommit,
     false,
     {},
     16},
};

TEST_F(SDBJournalTest, ABodyCutShortStaysAsShortAsItIs) {
    for (const CutShortCase& row : kCutShortCases) {
        SCOPED_TRACE(row.pszWhy);
        OpenImage(WithoutLast(DatabaseImage(row.arNotes), 2));
        EXPECT_EQ(row.bDone, m_db.Close(row.ending == Ending::kCommit));
        Bytes expected = DatabaseImage(row.arWhole);
        if (row.nBytesBehind > 0) {
            PutNote(expected, {.id = 2, .strBody = "cut."});
            expected = WithoutLast(expected, 2);
        }
        EXPECT_EQ(expected, ReadFile(m_strPath));
    }
}

TEST_F(SDBJournalTest, AFileReplacedBehindItsPathIsLeftAlone) {
    OpenNotes({{.id = 1}});
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    std::filesystem::remove(m_strPath);
    WriteFile(m_strPath, DatabaseImage({{.nState = 1, .id = 9}}));
    EXPECT_FALSE(m_db.Close(true));
    EXPECT_EQ((Notes{{.nState = 1, .id = 9}}), NotesOf(m_strPath));
}

TEST_F(SDBJournalTest, AMarkThatHitNoHeaderLeavesNothingToSettle) {
    // The table's own size is wrong, so a mark lands inside the table and no header has a state.
    Bytes table;
    for (const uint32_t nWord : {254u, 0u, kSdbNoID, 8u, 17u, 1u, kSdbNoID, 0u}) PutLittle(table, nWord, 4);
    OpenNotes({{.nType = kSdbQuickLoad, .strBody = std::string(table.begin(), table.end())}, {.id = 1}});
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    const size_t nBytes = ReadFile(m_strPath).size();
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(nBytes, ReadFile(m_strPath).size());
}

// --- The change callback ---

TEST_F(SDBJournalTest, UnlockTellsOfChanges) {
    OpenNotes({{.id = 1}});
    m_db.SetChangeCallback(&CallbackLog::OnChange, 42);
    m_db.Lock();
    m_db.Unlock();
    EXPECT_TRUE(CallbackLog::s_arCalls.empty()) << "nothing has changed";
    m_db.Lock();
    AddNote(m_db, kSdbBank, kSdbNoID, "");
    m_db.Unlock();
    EXPECT_EQ((std::vector<std::pair<CSDB*, uint32_t>>{{&m_db, 42}}), CallbackLog::s_arCalls);
    m_db.SetChangeCallback(nullptr, 0);
    m_db.Lock();
    m_db.Unlock();
    EXPECT_EQ(1u, CallbackLog::s_arCalls.size());
}

TEST_F(SDBJournalTest, ACommitTellsOfTheChangeItMade) {
    OpenNotes({{.nState = 1, .id = 1}});
    EXPECT_FALSE(m_db.IsChanged());
    m_db.SetChangeCallback(&CallbackLog::OnChange, 7);
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((std::vector<std::pair<CSDB*, uint32_t>>{{&m_db, 7}}), CallbackLog::s_arCalls);
    EXPECT_TRUE(CallbackLog::s_bWasChanged);
    EXPECT_FALSE(m_db.IsChanged());
}
// Q71

// Q71
TEST_F(SDBJournalTest, ACommitThatFindsNothingToDoTellsNothing) {
    // As in AMarkThatHitNoHeaderLeavesNothingToSettle: dirty, but no note has a state.
    Bytes table;
    for (const uint32_t nWord : {254u, 0u, kSdbNoID, 8u, 17u, 1u, kSdbNoID, 0u}) PutLittle(table, nWord, 4);
    OpenNotes({{.nType = kSdbQuickLoad, .strBody = std::string(table.begin(), table.end())}, {.id = 1}});
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    m_db.SetChangeCallback(&CallbackLog::OnChange, 7);
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_TRUE(CallbackLog::s_arCalls.empty());
}

// --- The engine lock ---

TEST_F(SDBJournalTest, TheLockKeepsOtherThreadsOut) {
    OpenNotes({});
    m_db.Lock();
    m_db.Lock();
    std::atomic<bool> bEntered{false};
    std::thread other([&] {
        const CXAutoLock lock(m_db.GetLock());
        bEntered = true;
    });
    m_db.Unlock();
    EXPECT_FALSE(bEntered);
    m_db.Unlock();
    other.join();
    EXPECT_TRUE(bEntered);
}

TEST_F(SDBJournalTest, ClosingReleasesWhatItsThreadHolds) {
    OpenNotes({{.id = 1}});
    m_db.Lock();
    m_db.Lock();
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(2u, NotesOf(m_strPath).size());
    EXPECT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
}

TEST_F(SDBJournalTest, LockingAClosedDatabaseEndsTheProgram) {
    EXPECT_DEATH(m_db.Lock(), "m_bInited");
    EXPECT_DEATH(m_db.Unlock(), "m_bInited");
}

// --- Save ---

TEST_F(SDBJournalTest, SavingHereCommitsAndReopens) {
    const std::string strLink = m_dir.File("link.kvn");
    OpenNotes({{.id = 1}});
    std::filesystem::create_symlink(m_strPath, strLink);
    const std::string strUpperCase = m_dir.File("JOURNAL.KVN");
    uint32_t nNotes = 1;
    for (const char* pszPath :
         {static_cast<const char*>(nullptr), "", m_strPath.c_str(), strUpperCase.c_str(), strLink.c_str()}) {
        SCOPED_TRACE(pszPath != nullptr ? pszPath : "null");
        AddNote(m_db, kSdbBank, kSdbNoID, "body");
        EXPECT_TRUE(m_db.Save(pszPath));
        EXPECT_EQ(m_strPath, m_db.GetPath());
        EXPECT_TRUE(m_db.IsWritable());
        EXPECT_FALSE(m_db.IsDirty());
        EXPECT_FALSE(m_db.IsChanged());
        EXPECT_EQ(++nNotes, m_db.GetNoteCount());
        EXPECT_EQ(nNotes, NotesOf(m_strPath).size());
        EXPECT_EQ(0, NotesOf(m_strPath).back().nState);
    }
    EXPECT_FALSE(std::filesystem::exists(strUpperCase));
}

TEST_F(SDBJournalTest, SavingElsewhereCopiesTheLiveNotesAndRollsBackHere) {
    OpenNotes({{.id = 1, .strBody = "one"}, {.id = 2, .strBody = "two"}, {.id = 3, .strBody = "three"}});
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    EXPECT_TRUE(ChangeNote(m_db, 2, kSdbNoID, "two changed"));
    AddNote(m_db, kSdbPreset, 3, "four");
    EXPECT_TRUE(m_db.Save(m_strCopy.c_str()));
    EXPECT_EQ(m_strCopy, m_db.GetPath());
    EXPECT_EQ(kSdbFormatPlain, m_db.GetFormat());
    EXPECT_TRUE(m_db.IsWritable());
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_EQ((Ids{3, 2, 4}), IdsOfType(m_db, kSdbAny));
    const Notes arCopied = {{.id = 3, .strBody = "three"},
                            {.id = 2, .strBody = "two changed"},
                            {.nType = kSdbPreset, .id = 4, .idParent = 3, .strBody = "four"}};
    EXPECT_EQ(arCopied, NotesOf(m_strCopy));
    EXPECT_EQ(
        (Notes{{.id = 1, .strBody = "one"}, {.id = 2, .strBody = "two"}, {.id = 3, .strBody = "three"}}),
        NotesOf(m_strPath));
    EXPECT_NE((std::array<uint32_t, 4>{1, 2, 3, 4}), m_db.GetIdentity().m_words) << "a new identity";
}

TEST_F(SDBJournalTest, SavingWhereNothingCanBeCreatedFailsAndChangesNothing) {
    OpenNotes({{.id = 1}});
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    EXPECT_FALSE(m_db.Save(m_dir.File("no/folder.kvn").c_str()));
    EXPECT_EQ(m_strPath, m_db.GetPath());
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(2u, NotesOf(m_strPath).size());
}
// Q72

// Q72
TEST_F(SDBJournalTest, ANoteThatCannotBeReadLeavesAPartialCopyAndTheLockTaken) {
    Bytes image = DatabaseImage({{.id = 1, .strBody = "one"}, {.id = 2, .strBody = "two"}});
    image.pop_back();
    OpenImage(image);
    EXPECT_FALSE(m_db.Save(m_strCopy.c_str()));
    EXPECT_EQ((Notes{{.id = 1, .strBody = "one"}}), NotesOf(m_strCopy));
    EXPECT_EQ(m_strPath, m_db.GetPath());
    EXPECT_TRUE(m_db.IsOpen());
    m_db.Unlock();  // ends the program unless this thread holds the lock
    EXPECT_DEATH(m_db.Unlock(), "pthread_mutex_unlock: error 1") << "taken once";
}

TEST_F(SDBJournalTest, ANoteThatCannotBeWrittenIsCutOffTheCopy) {
    FaultyFileEnv env;
    OpenNotes({{.id = 1, .strBody = "one"}, {.id = 2, .strBody = std::string(100000, 'w')}});
    env.FillDiskAfter(20 + 17 + 14 + 50000);
    EXPECT_FALSE(m_db.Save(m_strCopy.c_str()));
    EXPECT_TRUE(env.FaultHit());
    EXPECT_EQ((Notes{{.id = 1, .strBody = "one"}}), NotesOf(m_strCopy));
    EXPECT_EQ(20u + 17, ReadFile(m_strCopy).size());
    EXPECT_TRUE(m_db.Close(true)) << "although its lock is still taken";
    EXPECT_EQ(2u, NotesOf(m_strPath).size());
}

}  // namespace
}  // namespace Kestrova::Test
