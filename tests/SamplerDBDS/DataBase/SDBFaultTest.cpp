// Every file call of every operation fails, once and in another run for good. What the database then holds,
// in memory and after the next start, must be what is documented.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Notes = std::vector<NoteFields>;
using Lasting = FaultyFileEnv::Lasting;

const std::string kLong(70000, 'w');  // longer than what waits in memory

Notes Before() {
    return {{.id = 1, .strBody = "one"},
            {.nType = kSdbProgram, .id = 2, .idParent = 1, .strBody = kLong},
            {.nType = kSdbRegion, .id = 3, .idParent = 2, .strBody = "three"},
            {.id = 4, .strBody = "four"}};
}

// The live notes as the open database tells them.
Notes LiveNotes(CSDB& db) {
    Notes arNotes;
    for (const SDBNOTE* note = db.GetNoteByType(nullptr, kSdbAny); note != nullptr;
         note = db.GetNoteByType(note, kSdbAny))
        arNotes.push_back({0, note->nType, note->idNote, note->idParent, BodyOf(db, note->idNote)});
    return arNotes;
}

// The notes of the file as another program finds them, without those that have a state.
Notes NotesWithout(uint8_t nState, const std::string& strPath) {
    Notes arNotes;
    for (NoteFields note : NotesOf(strPath)) {
        if (note.nState & nState) continue;
        note.nState = 0;
        arNotes.push_back(note);
    }
    return arNotes;
}
Notes CommittedOnFile(const std::string& strPath) { return NotesWithout(kSdbStateNew, strPath); }
Notes LiveOnFile(const std::string& strPath) { return NotesWithout(kSdbStateDeleted, strPath); }

class SDBFaultTest : public testing::TestWithParam<Lasting> {
protected:
    // Runs the operation on a freshly opened database again and again, with a fault at its first, second,
    // third ... call. `expect` is told whether the operation succeeded, after the fault is over. The last run
    // meets no fault.
    void WalkFault(const std::function<bool(CSDB&)>& operation,
                   const std::function<void(CSDB&, bool bDone, bool bHit)>& expect,
                   const Notes& arBefore = Before()) {
        int nFault = 0;
        for (bool bHit = true; bHit;) {
            ++nFault;
            SCOPED_TRACE(testing::Message() << "fault at call " << nFault);
            FaultyFileEnv env;
            WriteFile(m_strPath, DatabaseImage(arBefore));
            CSDB db;
            ASSERT_TRUE(db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
            env.FailCall(nFault, GetParam());
            const bool bDone = operation(db);
            bHit = env.FaultHit();
            if (!bDone) {
                EXPECT_EQ(EIO, db.GetFirstError());
            }
            env.Heal();
            expect(db, bDone, bHit);
            if (!bHit) {
                EXPECT_TRUE(bDone);
            }
        }
        EXPECT_LT(1, nFault) << "no call ever failed";
    }

    void ExpectAllOrNothing(const std::function<bool(CSDB&)>& operation, const Notes& arAfter) {
        WalkFault(operation, [&](CSDB& db, bool bDone, bool) {
            const Notes arExpected = bDone ? arAfter : Before();
            EXPECT_EQ(arExpected, LiveNotes(db));
            EXPECT_TRUE(db.Close(true));
            Notes arOnFile = NotesOf(m_strPath);
            EXPECT_EQ(arExpected, arOnFile);
        });
    }

    Notes Added(const std::string& strBody) {
        Notes arNotes = Before();
        arNotes.push_back({.id = 5, .idParent = 4, .strBody = strBody});
        return arNotes;
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("fault.kvn");
    const std::string m_strCopy = m_dir.File("copy.kvn");
};

TEST_P(SDBFaultTest, AnAddedNoteIsThereWholeOrNotAtAll) {
    for (const std::string& strBody : {std::string("five"), kLong})
        ExpectAllOrNothing([&](CSDB& db) { return AddNote(db, kSdbBank, 4, strBody) != kSdbNoID; },
                           Added(strBody));
}

TEST_P(SDBFaultTest, AnAddedRecordIsThereWholeOrNotAtAll) {
    ExpectAllOrNothing(
        [&](CSDB& db) {
            CRawRecord record(kSdbBank, 0, 4, kLong);
            return db.AddNewNote(&record);
        },
        Added(kLong));
}

TEST_P(SDBFaultTest, AChangedNoteIsTheOldOrTheNewOne) {
    for (const std::string& strBody : {std::string("changed"), kLong}) {
        Notes arAfter = Before();
        arAfter[0].strBody = strBody;
        std::rotate(arAfter.begin(), arAfter.begin() + 1, arAfter.end());
        ExpectAllOrNothing([&](CSDB& db) { return ChangeNote(db, 1, kSdbNoID, strBody); }, arAfter);
    }
}

TEST_P(SDBFaultTest, ADeletedNoteIsGoneOrThere) {
    Notes arAfter = Before();
    arAfter.pop_back();
    ExpectAllOrNothing([](CSDB& db) { return db.DeleteNoteByID(4); }, arAfter);
}

TEST_P(SDBFaultTest, ADeletedSubtreeIsGoneDownToTheFailure) {
    WalkFault([](CSDB& db) { return db.DeleteNoteByID(1); },
              [&](CSDB& db, bool bDone, bool) {
                  // Notes are marked from the top: what lies below one that could not be marked stays.
                  const Notes arLive = LiveNotes(db);
                  const Notes arAll = Before();
                  EXPECT_EQ(bDone, arLive.size() == 1);
                  EXPECT_TRUE(arLive == Notes(arAll.begin() + 3, arAll.end()) ||
                              arLive == Notes(arAll.begin() + 2, arAll.end()) ||
                              arLive == Notes(arAll.begin() + 1, arAll.end()) || arLive == arAll);
                  EXPECT_TRUE(db.Close(true));
                  EXPECT_EQ(arLive, NotesOf(m_strPath));
              });
}

TEST_P(SDBFaultTest, ASubtreeRolledBackIsThereAgainWhateverFailed) {
    WalkFault([](CSDB& db) { return db.DeleteNoteByID(1); },
              [&](CSDB& db, bool, bool) {
                  EXPECT_TRUE(db.Close(false));
                  EXPECT_EQ(Before(), NotesOf(m_strPath));
              });
}

// Where nothing moves, each note is committed or still new after a failure; none is lost or torn.
TEST_P(SDBFaultTest, ACommitOfNewNotesLosesNoneWhateverFails) {
    WalkFault(
        [](CSDB& db) {
            return AddNote(db, kSdbBank, 4, kLong) != kSdbNoID &&
                   AddNote(db, kSdbBank, 4, "six") != kSdbNoID && db.GetFile().Flush() && db.Close(true);
        },
        [&](CSDB& db, bool bDone, bool) {
            db.Close(true);
            const Notes arOnFile = NotesOf(m_strPath);
            Notes arExpected = Added(kLong);
            arExpected.push_back({.id = 6, .idParent = 4, .strBody = "six"});
            if (bDone) {
                EXPECT_EQ(arExpected, arOnFile);
            }
            ASSERT_LE(Before().size(), arOnFile.size());
            for (size_t n = 0; n < arOnFile.size(); ++n) {
                EXPECT_EQ(arExpected[n].strBody, arOnFile[n].strBody);
                EXPECT_EQ(arExpected[n].id, arOnFile[n].id);
                EXPECT_GE(kSdbStateNew, arOnFile[n].nState);
            }
        });
}

// The new notes lie at the end, so that rolling back only cuts: until the cut the old file is whole.
TEST_P(SDBFaultTest, ARollBackOfNewNotesKeepsTheOldOnesWhateverFails) {
    WalkFault([](CSDB& db) { return AddNote(db, kSdbBank, 4, kLong) != kSdbNoID && db.Close(false); },
              [&](CSDB& db, bool bDone, bool) {
                  db.Close(false);
                  Notes arOnFile = NotesOf(m_strPath);
                  if (!bDone && arOnFile.size() == Before().size() + 1) {
                      EXPECT_EQ(kSdbStateNew, arOnFile.back().nState);
                      arOnFile.pop_back();
                  }
                  EXPECT_EQ(Before(), arOnFile);
              });
}

// While notes move, a failure damages the file from the first moved note on, and the operation fails. The
// notes in front of it stay.
TEST_P(SDBFaultTest, ACommitThatMovesNotesTellsOfEveryFailure) {
    WalkFault([](CSDB& db) { return db.DeleteNoteByID(3) && db.Close(true); },
              [&](CSDB& db, bool bDone, bool bHit) {
                  db.Close(true);
                  Notes arExpected = Before();
                  arExpected.erase(arExpected.begin() + 2);
                  const Notes arOnFile = NotesOf(m_strPath);
                  if (bDone) {
                      EXPECT_EQ(arExpected, arOnFile);
                  }
                  if (!bHit) {
                      EXPECT_TRUE(bDone);
                  }
                  ASSERT_LE(2u, arOnFile.size());
                  EXPECT_EQ(arExpected[0], arOnFile[0]);
                  EXPECT_EQ(arExpected[1], arOnFile[1]);
              });
}

// The same with a note that is longer than what waits in memory, so that it fails to be read and written,
// too.
TEST_P(SDBFaultTest, ACommitThatMovesALongNoteTellsOfEveryFailure) {
    const Notes arBefore = {
        {.id = 1, .strBody = "one"}, {.id = 2, .strBody = "two"}, {.id = 3, .strBody = kLong}};
    WalkFault([](CSDB& db) { return db.DeleteNoteByID(2) && db.Close(true); },
              [&](CSDB& db, bool bDone, bool) {
                  db.Close(true);
                  const Notes arOnFile = NotesOf(m_strPath);
                  if (bDone) {
                      EXPECT_EQ((Notes{arBefore[0], arBefore[2]}), arOnFile);
                  }
                  ASSERT_LE(1u, arOnFile.size());
                  EXPECT_EQ(arBefore[0], arOnFile[0]);
              },
              arBefore);
}

// More headers are moved than wait in memory, so that one of them fails to be written. Bytes that could not
// be written once may be written later; then the commit is whole.
TEST_P(SDBFaultTest, ACommitThatMovesManyNotesTellsOfEveryFailedWrite) {
    Notes arNotes = {{.id = 1, .strBody = "goes"}};
    for (uint32_t id = 2; id < 5000; ++id) arNotes.push_back({.id = id});
    const Bytes image = DatabaseImage(arNotes);
    arNotes.erase(arNotes.begin());
    int nFailures = 0;
    for (bool bHit = true; bHit; ++nFailures) {
        FaultyFileEnv env;
        WriteFile(m_strPath, image);
        CSDB db;
        ASSERT_TRUE(db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
        ASSERT_TRUE(db.DeleteNoteByID(1));
        env.FailCallOf(FileOp::kWrite, nFailures + 1, GetParam());
        const bool bDone = db.Close(true);
        bHit = env.FaultHit();
        EXPECT_EQ(bHit ? EIO : 0, db.GetFirstError()) << nFailures;
        EXPECT_TRUE(bDone || bHit) << nFailures;
        EXPECT_EQ(bDone, arNotes == NotesOf(m_strPath)) << nFailures;
    }
    EXPECT_LT(2, nFailures) << "the headers are written in pieces";
}

TEST_P(SDBFaultTest, SavingHereNeverLosesACommittedNote) {
    WalkFault([](CSDB& db) { return AddNote(db, kSdbBank, 4, "five") != kSdbNoID && db.Save(nullptr); },
              [&](CSDB& db, bool bDone, bool) {
                  if (bDone) {
                      EXPECT_EQ(Added("five"), LiveNotes(db));
                  }
                  db.Close(true);
                  Notes arOnFile = LiveOnFile(m_strPath);
                  if (arOnFile.size() > Before().size()) {
                      EXPECT_EQ(Added("five"), arOnFile);
                  } else {
                      EXPECT_FALSE(bDone);
                      EXPECT_EQ(Before(), arOnFile);
                  }
              });
}

// The old file keeps its committed notes, and the database stands on the old file, on the new one, or, when
// that could not be opened, is closed.
TEST_P(SDBFaultTest, SavingElsewhereNeverTouchesWhatWasCommitted) {
    WalkFault(
        [&](CSDB& db) {
            std::remove(m_strCopy.c_str());
            return AddNote(db, kSdbBank, 4, "five") != kSdbNoID && db.Save(m_strCopy.c_str());
        },
        [&](CSDB& db, bool bDone, bool) {
            if (bDone) {
                EXPECT_EQ(m_strCopy, db.GetPath());
                EXPECT_EQ(Added("five"), NotesOf(m_strCopy));
            }
            const bool bOnOldFile = db.GetPath() == m_strPath;
            db.Close(true);
            Notes arCommitted = CommittedOnFile(m_strPath);
            if (bOnOldFile && arCommitted.size() > Before().size()) arCommitted.pop_back();  // just now
            EXPECT_EQ(Before(), arCommitted);
        });
}

TEST_P(SDBFaultTest, AnIdentityIsWrittenOrTheCallFails) {
    static constexpr DBUID kIdentity{{9, 8, 7, 6}};
    WalkFault([](CSDB& db) { return db.UpdateDBUID(&kIdentity); },
              [&](CSDB& db, bool bDone, bool) {
                  DBUID onFile;
                  db.Close(true);
                  EXPECT_TRUE(onFile.GetDBUID(m_strPath.c_str()));
                  if (bDone) {
                      EXPECT_EQ(kIdentity, onFile);
                  }
                  EXPECT_EQ(Before(), NotesOf(m_strPath));
              });
}

TEST_P(SDBFaultTest, AnOpenThatFailsLeavesTheFileAndTheObjectClosed) {
    const Bytes image = DatabaseImage({{.nState = 1, .id = 1, .strBody = kLong}, {.nState = 0x80, .id = 2}});
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        WriteFile(m_strPath, image);
        CSDB db;
        env.FailCall(nFault, GetParam());
        const bool bOpened = db.Open(m_strPath.c_str(), kSdbFormatPlain, true);
        const bool bHit = env.FaultHit();
        EXPECT_EQ(bOpened, db.IsOpen());
        if (!bOpened) {
            EXPECT_EQ(EIO, db.GetFirstError());
        }
        EXPECT_EQ(image, ReadFile(m_strPath));
        EXPECT_EQ(bOpened ? 2u : 0u, db.GetNoteCount());
        env.Heal();
        if (bHit) continue;
        EXPECT_TRUE(bOpened);
        EXPECT_LT(3, nFault);
        break;
    }
}

TEST_P(SDBFaultTest, ACreateThatFailsLeavesTheObjectClosed) {
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        std::remove(m_strPath.c_str());
        CSDB db;
        env.FailCall(nFault, GetParam());
        const bool bCreated = db.Create(m_strPath.c_str(), kSdbFormatPlain);
        const bool bHit = env.FaultHit();
        EXPECT_EQ(bCreated, db.IsOpen());
        if (!bCreated) {
            EXPECT_EQ(EIO, db.GetFirstError());
        }
        env.Heal();
        if (bHit) continue;
        EXPECT_TRUE(bCreated);
        EXPECT_LT(3, nFault);
        break;
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, SDBFaultTest, testing::Values(Lasting::kOnce, Lasting::kForGood),
                         [](const auto& row) { return row.param == Lasting::kOnce ? "Once" : "ForGood"; });

// A disk that fills up at every possible byte: what was added before stays, and can be committed once there
// is room again.
TEST(SDBFullDiskTest, NotesAddedBeforeTheDiskWasFullCanBeCommittedLater) {
    const TempDir dir;
    const std::string strPath = dir.File("full.kvn");
    for (uint64_t nRoom = 20; nRoom < 3000; nRoom += 97) {
        SCOPED_TRACE(nRoom);
        FaultyFileEnv env;
        CSDB db;
        ASSERT_TRUE(db.Create(strPath.c_str(), kSdbFormatPlain));
        env.FillDiskAfter(nRoom);
        Notes arAdded;
        for (uint32_t n = 0; n < 40; ++n) {
            const std::string strBody(60 + n % 7, static_cast<char>('a' + n % 26));
            if (n % 5 == 4) db.GetFile().Flush();
            const uint32_t id = AddNote(db, kSdbBank, kSdbNoID, strBody);
            if (id != kSdbNoID) arAdded.push_back({.id = id, .strBody = strBody});
        }
        if (env.FaultHit()) {
            EXPECT_FALSE(db.GetFile().Sync()) << "the disk is still full";
        }
        env.Heal();
        EXPECT_TRUE(db.Close(true));
        EXPECT_EQ(arAdded, NotesOf(strPath));
    }
}

}  // namespace
}  // namespace Kestrova::Test
