// Commit, roll back, Save, the engine lock and the change callback.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <thread>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Ids = std::vector<uint32_t>;
using Notes = std::vector<NoteFields>;

enum class Ending { kCommit, kRollBack };

struct CallbackLog {
    static void OnChange(CSDB* pDatabase, uint32_t nUser) {
        s_arCalls.emplace_back(pDatabase, nUser);
        s_bWasChanged = pDatabase->IsChanged();
    }
    static inline std::vector<std::pair<CSDB*, uint32_t>> s_arCalls;
    static inline bool s_bWasChanged = false;
};

class SDBJournalTest : public testing::Test {
protected:
    void OpenImage(const Bytes& image) {
        WriteFile(m_strPath, image);
        ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
    }
    void OpenNotes(const Notes& arNotes) { OpenImage(DatabaseImage(arNotes)); }

    void SetUp() override { CallbackLog::s_arCalls.clear(); }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("journal.kvn");
    const std::string m_strCopy = m_dir.File("copy.kvn");
    CSDB m_db;
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

TEST_F(SDBJournalTest, WhereNothingMovesOnlyStatesAreWritten) {
    FaultyFileEnv env;
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatPlain));
    for (int n = 0; n < 10; ++n) AddNote(m_db, kSdbBank, kSdbNoID, std::string(100000, 'w'));
    ASSERT_TRUE(m_db.GetFile().Flush());
    env.FillDiskAfter(10);  // one byte for each note
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_FALSE(env.FaultHit());
    for (const NoteFields& note : NotesOf(m_strPath)) EXPECT_EQ(0, note.nState);
}

// Bodies of many lengths, so that states lie at all distances: in one window of the walk and across its end,
// a page apart and farther.
Notes NotesOfManyLengths(uint32_t nNotes, uint8_t nState) {
    static constexpr size_t kLengths[] = {0, 1, 100, 4081, 4082, 4083, 30, 60000, 65521, 65522, 70000};
    Notes arNotes;
    for (uint32_t n = 0; n < nNotes; ++n) {
        std::string strBody(kLengths[n % std::size(kLengths)] + n / std::size(kLengths), '\0');
        for (size_t i = 0; i < strBody.size(); ++i) strBody[i] = static_cast<char>(n + i * 7 + i / 251);
        arNotes.push_back({.nState = nState, .id = n, .strBody = strBody});
    }
    return arNotes;
}

TEST_F(SDBJournalTest, StatesAreClearedAndEveryByteBetweenStaysAsItWas) {
    for (const uint32_t nNotes : {1u, 2u, 3u, 11u, 150u}) {
        SCOPED_TRACE(nNotes);
        Notes arNotes = NotesOfManyLengths(nNotes, kSdbStateNew);
        for (uint32_t n = 0; n < nNotes; n += 3) arNotes[n].nState = 0;  // committed ones between
        OpenImage(DatabaseImage(arNotes));
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_EQ(DatabaseImage(NotesOfManyLengths(nNotes, 0)), ReadFile(m_strPath));
    }
}

TEST_F(SDBJournalTest, SettledNotesInFrontOfNotesThatMoveAreWrittenToo) {
    Notes arNotes = NotesOfManyLengths(40, kSdbStateNew);
    arNotes[25].nState = kSdbStateDeleted;
    OpenImage(DatabaseImage(arNotes));
    EXPECT_TRUE(m_db.Close(true));
    Notes arExpected = NotesOfManyLengths(40, 0);
    arExpected.erase(arExpected.begin() + 25);
    EXPECT_EQ(DatabaseImage(arExpected), ReadFile(m_strPath));
}

TEST_F(SDBJournalTest, ACommitOfSmallNotesReadsAndWritesOncePer64KiB) {
    FaultyFileEnv env;
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatPlain));
    for (int n = 0; n < 10000; ++n) AddNote(m_db, kSdbBank, kSdbNoID, std::string(100, 'w'));
    ASSERT_TRUE(m_db.GetFile().Flush());
    const int nWindows = static_cast<int>(10000 * 114 / 65536) + 1;
    env.ResetCounts();
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_GE(nWindows + 6, env.Calls(FileOp::kRead)) << "the first windows are smaller";
    EXPECT_GE(nWindows + 6, env.Calls(FileOp::kWrite));
    EXPECT_EQ(2, env.Calls(FileOp::kSync));
}

// What lies in front of the first state that changes and behind the last one belongs to others: it is not
// written, whatever another process puts there meanwhile.
TEST_F(SDBJournalTest, NothingOutsideTheStatesThatChangeIsWritten) {
    Notes arNotes(200, NoteFields{.strBody = std::string(100, 'w')});
    for (uint32_t n = 0; n < arNotes.size(); ++n) arNotes[n].id = n;
    arNotes[50].nState = arNotes[99].nState = kSdbStateNew;
    FaultyFileEnv env;
    OpenImage(DatabaseImage(arNotes));
    env.FillDiskAfter(49 * 114 + 1);  // from the one state to the other
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_FALSE(env.FaultHit());
    for (const NoteFields& note : NotesOf(m_strPath)) EXPECT_EQ(0, note.nState);
}

// Two states farther apart than a page are two writes, so that no page is written that has no state.
TEST_F(SDBJournalTest, PagesWithoutAStateAreNotWritten) {
    for (const size_t nBody : {4096u - 13u, 4096u - 12u}) {
        SCOPED_TRACE(nBody);
        FaultyFileEnv env;
        Notes arNotes(30, NoteFields{.strBody = std::string(3000, 'f')});  // the walk reads long windows now
        arNotes.push_back({.nState = kSdbStateNew, .strBody = std::string(nBody, 'w')});
        arNotes.push_back({.nState = kSdbStateNew});
        OpenNotes(arNotes);
        env.ResetCounts();
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_EQ(nBody + 13 <= 4096 ? 1 : 2, env.Calls(FileOp::kWrite));
    }
}

// The disk takes a part of a piece: notes in front of the cut are committed, those behind are still new,
// every body is whole, and the next commit ends the work.
TEST_F(SDBJournalTest, APieceWrittenInPartIsGoneOnWithByTheNextCommit) {
    const Notes arNotes = NotesOfManyLengths(30, kSdbStateNew);
    const Bytes committed = DatabaseImage(NotesOfManyLengths(30, 0));
    for (const uint64_t nRoom : {0u, 1u, 2u, 16u, 100u, 115u, 130u}) {
        SCOPED_TRACE(nRoom);
        FaultyFileEnv env;
        OpenImage(DatabaseImage(arNotes));
        env.FillDiskAfter(nRoom);
        EXPECT_FALSE(m_db.Close(true));
        EXPECT_EQ(ENOSPC, m_db.GetFirstError());
        Notes arOnFile = NotesOf(m_strPath);
        EXPECT_TRUE(std::is_sorted(arOnFile.begin(), arOnFile.end(),
                                   [](const auto& a, const auto& b) { return a.nState < b.nState; }));
        for (NoteFields& note : arOnFile) note.nState = kSdbStateNew;
        EXPECT_EQ(arNotes, arOnFile);
        env.Heal();
        ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_EQ(committed, ReadFile(m_strPath));
    }
}

// Power lost at every step of a commit: before the last sync returned no state need be there, but every body
// is, whatever state its note has.
TEST_F(SDBJournalTest, ALossOfPowerAtAnyStepOfACommitLeavesEveryBodyWhole) {
    const Notes arNew = NotesOfManyLengths(30, kSdbStateNew);
    int nSteps = 0;
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        OpenImage(DatabaseImage({}));
        for (const NoteFields& note : arNew) AddNote(m_db, kSdbBank, kSdbNoID, note.strBody);
        ASSERT_TRUE(m_db.GetFile().Flush());
        env.FailCall(nFault, FaultyFileEnv::Lasting::kForGood);
        const bool bCommitted = m_db.Close(true);
        const bool bHit = env.FaultHit();
        env.LoseUnsynced();
        Notes arOnFile = NotesOf(m_strPath);
        if (bCommitted) {
            EXPECT_EQ(arNew.size(), arOnFile.size());
        }
        for (NoteFields& note : arOnFile) {
            EXPECT_EQ(bCommitted ? 0 : note.nState, note.nState);
            note.nState = kSdbStateNew;
        }
        EXPECT_TRUE(arOnFile.empty() || arOnFile == arNew);
        nSteps += bHit ? 1 : 0;
        if (!bHit) break;
    }
    EXPECT_LT(20, nSteps);
}

TEST_F(SDBJournalTest, TheDiskIsWaitedForBeforeTheStatesAreWrittenAndAfter) {
    for (const int nSync : {1, 2}) {
        FaultyFileEnv env;
        ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatPlain));
        AddNote(m_db, kSdbBank, kSdbNoID, "body");
        env.FailCallOf(FileOp::kSync, nSync);
        EXPECT_FALSE(m_db.Close(true));
        EXPECT_TRUE(env.FaultHit());
        EXPECT_EQ(nSync == 1 ? 1 : 0, NotesOf(m_strPath).at(0).nState);
    }
}

TEST_F(SDBJournalTest, ACommitSurvivesALossOfPower) {
    FaultyFileEnv env;
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatPlain));
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    EXPECT_TRUE(m_db.Close(true));
    env.LoseUnsynced();
    EXPECT_EQ((Notes{{.id = 0, .strBody = "body"}}), NotesOf(m_strPath));
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
