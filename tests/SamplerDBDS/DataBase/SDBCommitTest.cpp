// How the states of a commit reach the disk: in pieces, in the right order, and whatever fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "tests/SamplerDBDS/DataBase/JournalFixture.h"
#include "tests/support/FaultyFileEnv.h"

namespace Kestrova::Test {
namespace {

using SDBCommitTest = JournalFixture;

TEST_F(SDBCommitTest, WhereNothingMovesOnlyStatesAreWritten) {
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

TEST_F(SDBCommitTest, StatesAreClearedAndEveryByteBetweenStaysAsItWas) {
    for (const uint32_t nNotes : {1u, 2u, 3u, 11u, 150u}) {
        SCOPED_TRACE(nNotes);
        Notes arNotes = NotesOfManyLengths(nNotes, kSdbStateNew);
        for (uint32_t n = 0; n < nNotes; n += 3) arNotes[n].nState = 0;  // committed ones between
        OpenImage(DatabaseImage(arNotes));
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_EQ(DatabaseImage(NotesOfManyLengths(nNotes, 0)), ReadFile(m_strPath));
    }
}

TEST_F(SDBCommitTest, SettledNotesInFrontOfNotesThatMoveAreWrittenToo) {
    Notes arNotes = NotesOfManyLengths(40, kSdbStateNew);
    arNotes[25].nState = kSdbStateDeleted;
    OpenImage(DatabaseImage(arNotes));
    EXPECT_TRUE(m_db.Close(true));
    Notes arExpected = NotesOfManyLengths(40, 0);
    arExpected.erase(arExpected.begin() + 25);
    EXPECT_EQ(DatabaseImage(arExpected), ReadFile(m_strPath));
}

TEST_F(SDBCommitTest, ACommitOfSmallNotesReadsAndWritesOncePer64KiB) {
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
TEST_F(SDBCommitTest, NothingOutsideTheStatesThatChangeIsWritten) {
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
TEST_F(SDBCommitTest, PagesWithoutAStateAreNotWritten) {
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
TEST_F(SDBCommitTest, APieceWrittenInPartIsGoneOnWithByTheNextCommit) {
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
TEST_F(SDBCommitTest, ALossOfPowerAtAnyStepOfACommitLeavesEveryBodyWhole) {
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

TEST_F(SDBCommitTest, TheDiskIsWaitedForBeforeTheStatesAreWrittenAndAfter) {
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

TEST_F(SDBCommitTest, ACommitSurvivesALossOfPower) {
    FaultyFileEnv env;
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatPlain));
    AddNote(m_db, kSdbBank, kSdbNoID, "body");
    EXPECT_TRUE(m_db.Close(true));
    env.LoseUnsynced();
    EXPECT_EQ((Notes{{.id = 0, .strBody = "body"}}), NotesOf(m_strPath));
}

}  // namespace
}  // namespace Kestrova::Test
