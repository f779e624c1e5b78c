// Adding, changing, deleting and reading single notes.
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Ids = std::vector<uint32_t>;

class SDBNotesTest : public DatabaseTest {};

// --- Adding ---

TEST_F(SDBNotesTest, ANoteOfWhichOnlyTheParentIsSaidIsEmptyAndOfTypeZero) {
    ASSERT_TRUE(Create());
    SDBNOTE note;
    note.idParent = kSdbNoID;
    ASSERT_TRUE(m_db.AddNewNote(&note, nullptr));
    ASSERT_TRUE(m_db.Close(true));
    EXPECT_EQ((std::vector<NoteFields>{{.nType = 0, .id = 0}}), NotesOf(m_strPath));
}

TEST_F(SDBNotesTest, ANoteIsAppendedAsNew) {
    ASSERT_TRUE(Create());
    SDBNOTE note;
    note.nType = kSdbPreset;
    note.idParent = kSdbNoID;
    note.nSize = 3;
    ASSERT_TRUE(m_db.AddNewNote(&note, "abc"));
    EXPECT_EQ(0u, note.idNote);
    EXPECT_EQ(20u, note.posHeader);
    EXPECT_EQ(kSdbStateNew, note.nState);
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_TRUE(m_db.IsChanged());
    EXPECT_EQ(1u, AddNote(m_db, kSdbBank, 0, ""));
    ASSERT_TRUE(m_db.GetFile().Flush());
    EXPECT_EQ((std::vector<NoteFields>{{1, kSdbPreset, 0, kSdbNoID, "abc"}, {1, kSdbBank, 1, 0, ""}}),
              NotesOf(m_strPath));
}

TEST_F(SDBNotesTest, TheParentMustBeALiveNote) {
    ASSERT_TRUE(Create());
    const uint32_t id = AddNote(m_db, kSdbBank, kSdbNoID, "");
    EXPECT_EQ(kSdbNoID, AddNote(m_db, kSdbProgram, 5, ""));
    EXPECT_EQ(1u, m_db.GetNextID()) << "a refused parent takes no id";
    EXPECT_EQ(1u, AddNote(m_db, kSdbProgram, id, ""));
    EXPECT_TRUE(m_db.DeleteNoteByID(id));
    EXPECT_EQ(kSdbNoID, AddNote(m_db, kSdbProgram, id, ""));
}

TEST_F(SDBNotesTest, IdsWrapFromTheLastToZero) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 0xFFFFFFFD}})));
    EXPECT_EQ(0xFFFFFFFEu, AddNote(m_db, kSdbBank, kSdbNoID, ""));
    EXPECT_EQ(0u, m_db.GetNextID());
    EXPECT_EQ(0u, AddNote(m_db, kSdbBank, kSdbNoID, ""));
}

TEST_F(SDBNotesTest, ADeletedIdIsFreeAgainAfterTheNextCommit) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 5, .idParent = 8}, {.id = 6, .idParent = 5}})));
    uint32_t id = 0;
    EXPECT_TRUE(m_db.DeleteNoteByID(5));
    for (const uint32_t idExpected : {7u, 9u}) {  // 8 is a parent
        EXPECT_TRUE(m_db.GetNewID(id));
        EXPECT_EQ(idExpected, id);
    }
    EXPECT_TRUE(m_db.Save(nullptr));
    EXPECT_TRUE(m_db.GetNewID(id));
    EXPECT_EQ(0u, id);
}

TEST_F(SDBNotesTest, ARecordIsAddedWithItsOwnBody) {
    ASSERT_TRUE(Create());
    CRawRecord record(kSdbLayer, 77, kSdbNoID, "layer");
    ASSERT_TRUE(m_db.AddNewNote(&record));
    EXPECT_EQ(0u, record.GetID());
    EXPECT_EQ("layer", BodyOf(m_db, 0));
    EXPECT_EQ(kSdbLayer, m_db.GetNoteByID(0)->nType);
}

TEST_F(SDBNotesTest, ARecordThatDoesNotWriteItsSizeIsCutOffAgain) {
    ASSERT_TRUE(Create());
    AddNote(m_db, kSdbBank, kSdbNoID, "first");
    for (const unsigned long nClaimed : {4ul, 6ul}) {
        CRawRecord record(kSdbBank, 77, kSdbNoID, "five!");
        record.m_nSize = nClaimed;
        EXPECT_FALSE(m_db.AddNewNote(&record));
        EXPECT_EQ(77u, record.GetID());
        record.SetID(0);
        EXPECT_FALSE(m_db.ChangeNote(&record));
    }
    CRawRecord record(kSdbBank, 77, kSdbNoID, "body");
    record.m_bWriteFails = true;
    EXPECT_FALSE(m_db.AddNewNote(&record));
    EXPECT_EQ(1u, m_db.GetNoteCount());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((std::vector<NoteFields>{{0, kSdbBank, 0, kSdbNoID, "first"}}), NotesOf(m_strPath));
    EXPECT_EQ(20u + 14 + 5, ReadFile(m_strPath).size());
}

TEST_F(SDBNotesTest, ABodyAbove32BitsIsRefusedNotCut) {
    ASSERT_TRUE(Create());
    CRawRecord record(kSdbBank, 0);
    record.m_nSize = 0x100000000;
    EXPECT_FALSE(m_db.AddNewNote(&record));
    EXPECT_EQ(0u, m_db.GetNextID());
    ASSERT_EQ(0u, AddNote(m_db, kSdbBank, kSdbNoID, "old"));
    EXPECT_FALSE(m_db.ChangeNote(&record));
    EXPECT_EQ("old", BodyOf(m_db, 0));
}

TEST_F(SDBNotesTest, AppendingGoesOnAfterReadsAndMarks) {
    ASSERT_TRUE(Create());
    for (int n = 0; n < 20; ++n) {
        const uint32_t id = AddNote(m_db, kSdbBank, kSdbNoID, "body" + std::to_string(n));
        EXPECT_EQ("body" + std::to_string(n), BodyOf(m_db, id));
        if (n % 3 == 0) {
            EXPECT_TRUE(m_db.DeleteNoteByID(id));
        }
    }
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(13u, NotesOf(m_strPath).size());
}

// --- Changing ---

TEST_F(SDBNotesTest, AChangeAppendsANewVersionAndMarksTheOld) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .strBody = "old"}, {.id = 4}})));
    EXPECT_TRUE(ChangeNote(m_db, 3, 99, "newer"));
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_TRUE(m_db.IsChanged());
    EXPECT_EQ("newer", BodyOf(m_db, 3));
    EXPECT_EQ(99u, m_db.GetNoteByID(3)->idParent) << "the parent id is taken as it is";
    EXPECT_EQ((Ids{4, 3}), IdsOfType(m_db, kSdbAny));
    ASSERT_TRUE(m_db.GetFile().Flush());
    EXPECT_EQ((std::vector<NoteFields>{{0x80, kSdbBank, 3, kSdbNoID, "old"},
                                       {0, kSdbBank, 4, kSdbNoID, ""},
                                       {1, kSdbBank, 3, 99, "newer"}}),
              NotesOf(m_strPath));
}

TEST_F(SDBNotesTest, OnlyALiveNoteOfItsTypeTakesAChangedRecord) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .strBody = "old"}})));
    CRawRecord wrongType(kSdbPreset, 3, kSdbNoID, "x");
    EXPECT_FALSE(m_db.ChangeNote(&wrongType));
    CRawRecord missing(kSdbBank, 4, kSdbNoID, "x");
    EXPECT_FALSE(m_db.ChangeNote(&missing));
    CRawRecord record(kSdbBank, 3, 8, "new");
    EXPECT_TRUE(m_db.ChangeNote(&record));
    EXPECT_EQ("new", BodyOf(m_db, 3));
    EXPECT_EQ(8u, m_db.GetNoteByID(3)->idParent);
    EXPECT_TRUE(m_db.DeleteNoteByID(3));
    EXPECT_FALSE(m_db.ChangeNote(&record));
}

TEST_F(SDBNotesTest, ARawChangeMayChangeTheType) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .strBody = "old"}})));
    SDBNOTE note;
    note.nType = kSdbPreset;
    note.idNote = 3;
    note.idParent = kSdbNoID;
    EXPECT_TRUE(m_db.ChangeNote(&note, nullptr));
    EXPECT_EQ((Ids{3}), IdsOfType(m_db, kSdbPreset));
    EXPECT_EQ(Ids{}, IdsOfType(m_db, kSdbBank));
    note.idNote = 9;
    EXPECT_FALSE(m_db.ChangeNote(&note, nullptr));
}

// --- Deleting ---

std::vector<NoteFields> SmallTree() {
    return {{.id = 1},
            {.nType = kSdbProgram, .id = 2, .idParent = 1},
            {.nType = kSdbRegion, .id = 3, .idParent = 2},
            {.id = 4},
            {.nType = kSdbProgram, .id = 5, .idParent = 1},
            {.nType = kSdbProgram, .id = 6, .idParent = 4}};
}

TEST_F(SDBNotesTest, DeletingANoteDeletesItsSubtree) {
    ASSERT_TRUE(OpenImage(DatabaseImage(SmallTree())));
    EXPECT_TRUE(m_db.DeleteNoteByID(1));
    EXPECT_EQ((Ids{4, 6}), IdsOfType(m_db, kSdbAny));
    EXPECT_FALSE(m_db.DeleteNoteByID(1));
    EXPECT_FALSE(m_db.DeleteNoteByID(3));
    EXPECT_FALSE(m_db.DeleteNoteByID(77));
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(2u, NotesOf(m_strPath).size());
}

TEST_F(SDBNotesTest, DeletingTheChildrenKeepsTheParent) {
    ASSERT_TRUE(OpenImage(DatabaseImage(SmallTree())));
    EXPECT_TRUE(m_db.DeleteNoteByParentID(77)) << "no children, no failure";
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_TRUE(m_db.DeleteNoteByParentID(1));
    EXPECT_TRUE(m_db.IsDirty());
    EXPECT_TRUE(m_db.IsChanged());
    EXPECT_EQ((Ids{1, 4, 6}), IdsOfType(m_db, kSdbAny));
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ(SmallTree(), NotesOf(m_strPath)) << "a roll-back brings them back";
}

TEST_F(SDBNotesTest, DeletingEndsInCycles) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 1, .idParent = 3},
                                         {.id = 2, .idParent = 1},
                                         {.id = 3, .idParent = 2},
                                         {.id = 4, .idParent = 4},
                                         {.id = 5, .idParent = 4}})));
    EXPECT_TRUE(m_db.DeleteNoteByID(2));
    EXPECT_EQ((Ids{4, 5}), IdsOfType(m_db, kSdbAny));
    EXPECT_TRUE(m_db.DeleteNoteByParentID(4));
    EXPECT_EQ(Ids{}, IdsOfType(m_db, kSdbAny));
}

TEST_F(SDBNotesTest, AMarkBeyondTheFileIsRefused) {
    // A table that claims a note far behind the end; marking it would make the file grow.
    Bytes table;
    for (const uint32_t nWord : {254u, 0u, kSdbNoID, 0xF0000000u, 17u, 1u, kSdbNoID, 0u})
        PutLittle(table, nWord, 4);
    const Bytes image =
        DatabaseImage({{.nType = kSdbQuickLoad, .strBody = std::string(table.begin(), table.end())}});
    ASSERT_TRUE(OpenImage(image));
    EXPECT_FALSE(m_db.DeleteNoteByID(1));
    EXPECT_FALSE(ChangeNote(m_db, 1, kSdbNoID, "new"));
    EXPECT_FALSE(m_db.DeleteNoteByParentID(kSdbNoID)) << "though one mark was written";
    EXPECT_EQ((Ids{1}), IdsOfType(m_db, kSdbAny));
    EXPECT_TRUE(m_db.Close(false));
    EXPECT_EQ(image, ReadFile(m_strPath));
}

// --- Reading ---

TEST_F(SDBNotesTest, ARecordIsReadWithItsParent) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .idParent = 8, .strBody = "body"}}), false));
    CRawRecord record(kSdbBank, 3);
    EXPECT_TRUE(m_db.ReadNote(&record));
    EXPECT_EQ("body", record.m_strBody);
    EXPECT_EQ(8u, record.GetParentID());
    CRawRecord whole(kSdbBank, 3);
    EXPECT_TRUE(m_db.ReadWholeNote(&whole));
    EXPECT_EQ("body", whole.m_strBody);
    EXPECT_EQ(8u, whole.GetParentID());
}

TEST_F(SDBNotesTest, ARecordOfAnotherTypeOrIdIsNotRead) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .idParent = 8, .strBody = "body"}}), false));
    CRawRecord wrongType(kSdbPreset, 3);
    EXPECT_FALSE(m_db.ReadNote(&wrongType));
    EXPECT_FALSE(m_db.ReadWholeNote(&wrongType));
    EXPECT_EQ(kSdbNoID, wrongType.GetParentID());
    CRawRecord missing(kSdbBank, 4);
    EXPECT_FALSE(m_db.ReadNote(&missing));
    EXPECT_FALSE(m_db.ReadWholeNote(&missing));
}
// Q64

// Q64
TEST_F(SDBNotesTest, AFoundRecordCountsAsReadThoughItsBodyDoesNotDecode) {
    Bytes image = DatabaseImage({{.id = 3, .idParent = 8, .strBody = "body"}});
    image.pop_back();
    ASSERT_TRUE(OpenImage(image, false));
    CRawRecord record(kSdbBank, 3);
    EXPECT_TRUE(m_db.ReadNote(&record));
    EXPECT_EQ(8u, record.GetParentID());
    EXPECT_FALSE(m_db.ReadWholeNote(&record));
}

TEST_F(SDBNotesTest, AFailedSeekIsLoggedAndTheRecordCountsAsRead) {
    FaultyFileEnv env;
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .strBody = "body"}}), false));
    CRawRecord record(kSdbBank, 3, kSdbNoID, "untouched");
    env.FailCallOf(FileOp::kPosition, 2);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(m_db.ReadNote(&record));
    const std::string strLog = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, strLog.find(": " + m_strPath + " seek(34) error 5: Input/output error\n"))
        << strLog;
    EXPECT_EQ("untouched", record.m_strBody);
    env.FailCallOf(FileOp::kPosition, 2);
    EXPECT_FALSE(m_db.ReadWholeNote(&record));
    m_db.Close(false);
}

TEST_F(SDBNotesTest, AFailedPositionQueryIsLoggedAndTheRecordIsRead) {
    FaultyFileEnv env;
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3, .strBody = "body"}}), false));
    CRawRecord record(kSdbBank, 3);
    env.FailCallOf(FileOp::kPosition, 1);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(m_db.ReadNote(&record));
    const std::string strLog = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, strLog.find(": " + m_strPath + " getpos error 5: Input/output error\n"))
        << strLog;
    EXPECT_EQ("body", record.m_strBody);
    m_db.Close(false);
}

TEST_F(SDBNotesTest, ARawNoteIsReadIntoABlockOfItsSize) {
    ASSERT_TRUE(OpenImage(
        DatabaseImage({{.nType = kSdbLayer, .id = 3, .idParent = 8, .strBody = "body"}, {.id = 4}})));
    SDBNOTE note;
    void* pBody = nullptr;
    ASSERT_TRUE(m_db.ReadNote(3, &note, &pBody));
    EXPECT_EQ("body", std::string(static_cast<char*>(pBody), 4));
    std::free(pBody);
    EXPECT_EQ(20u, note.posHeader);
    EXPECT_EQ(kSdbLayer, note.nType);
    EXPECT_EQ(8u, note.idParent);
    EXPECT_EQ(4u, note.nSize);
    ASSERT_TRUE(m_db.ReadNote(4, &note, &pBody));
    EXPECT_EQ(nullptr, pBody) << "an empty body takes no block";
    EXPECT_EQ(4u, note.idNote);
}

TEST_F(SDBNotesTest, ABodyCutShortFailsBeforeMemoryIsTaken) {
    Bytes image = DatabaseImage({{.id = 3}});
    for (size_t i = 0; i < 4; ++i) image[30 + i] = 0xFF;
    image.resize(image.size() + 10);
    ASSERT_TRUE(OpenImage(image, false));
    SDBNOTE note;
    void* pBody = &note;
    EXPECT_FALSE(m_db.ReadNote(3, &note, &pBody));
    EXPECT_EQ(nullptr, pBody);
    EXPECT_EQ(0xFFFFFFFFu, note.nSize) << "the entry was copied before";
    EXPECT_FALSE(m_db.GetFile().Unlock()) << "the stream lock was released";
}
// Q65

// Q65
TEST_F(SDBNotesTest, AMissingRawNoteLeavesTheStreamLocked) {
    ASSERT_TRUE(OpenImage(DatabaseImage({{.id = 3}}), false));
    SDBNOTE note;
    void* pBody = &note;
    EXPECT_FALSE(m_db.ReadNote(4, &note, &pBody));
    EXPECT_EQ(nullptr, pBody);
    EXPECT_TRUE(m_db.GetFile().Unlock());
    EXPECT_FALSE(m_db.GetFile().Unlock()) << "taken once";
    EXPECT_TRUE(m_db.ReadNote(3, &note, &pBody));
    EXPECT_FALSE(m_db.GetFile().Unlock());
}

}  // namespace
}  // namespace Kestrova::Test
