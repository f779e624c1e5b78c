// Appending to a file that an interrupted writer has left: nothing appended is lost in silence. Files are
// compared byte by byte.
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Notes = std::vector<NoteFields>;
using Ids = std::vector<uint32_t>;

const NoteFields kFirst{.id = 1, .strBody = "first"};
const NoteFields kSecond{.id = 2, .idParent = 1, .strBody = "second"};
// What AddNote(m_db, kSdbRegion, 1, "new") appends behind both.
const NoteFields kNew{.nState = 1, .nType = kSdbRegion, .id = 3, .idParent = 1, .strBody = "new"};

Bytes operator+(Bytes bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

class SDBAppendTest : public DatabaseTest {
protected:
    bool AddNew() { return AddNote(m_db, kSdbRegion, 1, "new") != kSdbNoID; }
    Bytes OnFile() {
        EXPECT_TRUE(m_db.GetFile().Flush());
        return ReadFile(m_strPath);
    }

    void ExpectEveryAppendRefused(const Bytes& image) {
        CRawRecord record(kSdbBank, 1, kSdbNoID, "record");
        Bytes branch(28);
        const uint8_t* pCursor = branch.data();
        unsigned long nCount = 1;
        uint32_t idRoot = 0;
        EXPECT_FALSE(AddNew());
        EXPECT_FALSE(m_db.AddNewNote(&record));
        EXPECT_FALSE(ChangeNote(m_db, 1, kSdbNoID, "changed"));
        EXPECT_FALSE(m_db.ChangeNote(&record));
        EXPECT_FALSE(m_db.InsertNotesBranch(1, nCount, pCursor, idRoot));
        EXPECT_EQ(0, m_db.GetFirstError()) << "no operation failed";
        EXPECT_EQ(image, OnFile());
    }
};

// --- Stray bytes ---

TEST_F(SDBAppendTest, StrayBytesAreCutOffBeforeTheFirstAppend) {
    const Bytes whole = DatabaseImage({kFirst, kSecond});
    for (size_t nStray = 1; nStray < 14; ++nStray) {
        SCOPED_TRACE(nStray);
        ASSERT_TRUE(OpenImage(whole + Bytes(nStray, 0x55)));
        EXPECT_EQ(whole + Bytes(nStray, 0x55), ReadFile(m_strPath)) << "opening changes nothing";
        EXPECT_TRUE(AddNew());
        EXPECT_EQ(DatabaseImage({kFirst, kSecond, kNew}), OnFile());
        EXPECT_TRUE(AddNew());
        EXPECT_TRUE(m_db.Close(true));
        EXPECT_EQ(4u, NotesOf(m_strPath).size());
    }
}

TEST_F(SDBAppendTest, StrayBytesStayWhereNothingIsAppended) {
    const Bytes image = DatabaseImage({kFirst}) + Bytes(5, 0x55);
    for (const bool bCommit : {false, true}) {
        ASSERT_TRUE(OpenImage(image));
        EXPECT_TRUE(m_db.Close(bCommit));
        EXPECT_EQ(image, ReadFile(m_strPath));
    }
}

TEST_F(SDBAppendTest, StrayBytesBehindTheFileHeaderAreCutOff) {
    ASSERT_TRUE(OpenImage(DatabaseImage({}) + Bytes(13, 0)));
    EXPECT_TRUE(m_db.ReserveQuickLoad(0));
    EXPECT_EQ(20u + 14 + 16, OnFile().size());
}

TEST_F(SDBAppendTest, AChangeCutsStrayBytesOffToo) {
    ASSERT_TRUE(OpenImage(DatabaseImage({kFirst}) + Bytes(3, 0x55)));
    EXPECT_TRUE(ChangeNote(m_db, 1, kSdbNoID, "changed"));
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ((Notes{{.id = 1, .strBody = "changed"}}), NotesOf(m_strPath));
}

// --- A last note that is cut short ---

TEST_F(SDBAppendTest, ALastNoteCutShortThatWasNeverCommittedIsDropped) {
    for (const uint8_t nState : {uint8_t{0x01}, uint8_t{0x81}}) {
        const Bytes image =
            DatabaseImage({kFirst, kSecond, {.nState = nState, .id = 7, .idParent = 1, .strBody = "torn"}});
        for (std::ptrdiff_t nCut = 1; nCut <= 4; ++nCut) {
            SCOPED_TRACE(nCut);
            ASSERT_TRUE(OpenImage(WithoutLast(image, nCut)));
            EXPECT_EQ(3u, m_db.GetNoteCount()) << "listed until then";
            EXPECT_TRUE(AddNote(m_db, kSdbRegion, 1, "new") != kSdbNoID);
            NoteFields added = kNew;
            added.id = 8;  // the counter stands behind the dropped note
            EXPECT_EQ(DatabaseImage({kFirst, kSecond, added}), OnFile());
            EXPECT_EQ(nullptr, m_db.GetNoteByID(7));
            EXPECT_EQ((Ids{1, 2, 8}), IdsOfType(m_db, kSdbAny));
            EXPECT_EQ("new", BodyOf(m_db, 8));
            EXPECT_TRUE(m_db.Close(true));
            added.nState = 0;
            EXPECT_EQ((Notes{kFirst, kSecond, added}), NotesOf(m_strPath));
        }
    }
}

TEST_F(SDBAppendTest, ANoteThatIsDroppedCannotBeChangedOrBeAParent) {
    const Bytes image = WithoutLast(DatabaseImage({kFirst, {.nState = 1, .id = 7, .strBody = "torn"}}), 2);
    ASSERT_TRUE(OpenImage(image));
    EXPECT_FALSE(ChangeNote(m_db, 7, kSdbNoID, "changed"));
    EXPECT_EQ(DatabaseImage({kFirst}), OnFile());
    ASSERT_TRUE(OpenImage(image));
    EXPECT_EQ(kSdbNoID, AddNote(m_db, kSdbRegion, 7, "child"));
    EXPECT_EQ(DatabaseImage({kFirst}), OnFile());
}

TEST_F(SDBAppendTest, BehindACommittedNoteCutShortNothingIsAppended) {
    for (const uint8_t nState : {uint8_t{0}, uint8_t{0x80}}) {
        const Bytes image =
            WithoutLast(DatabaseImage({kFirst, {.nState = nState, .id = 2, .strBody = "torn"}}), 1);
        ASSERT_TRUE(OpenImage(image));
        ExpectEveryAppendRefused(image);
    }
    EXPECT_TRUE(m_db.Close(true)) << "the deleted one goes with the commit";
    ASSERT_TRUE(Open());
    EXPECT_TRUE(AddNew());
}

// --- Files with a quick-load table ---

class SDBAppendBehindTableTest : public SDBAppendTest {
protected:
    // A committed file of the table's note, with the id 0, and of the first note.
    Bytes TableImage() {
        EXPECT_TRUE(Create() && m_db.ReserveQuickLoad(1) && AddNote(m_db, kSdbBank, kSdbNoID, "first") == 1 &&
                    m_db.CreateQuickLoad() && m_db.Close(true));
        return ReadFile(m_strPath);
    }
};
// Q73

// Q73
TEST_F(SDBAppendBehindTableTest, TheEndIsLeftAsItIsAndTheTableTellsWhatIsListed) {
    const Bytes image = TableImage();
    for (const Bytes& before : {image, image + Bytes(5, 0x55), WithoutLast(image, 2)}) {
        SCOPED_TRACE(before.size());
        ASSERT_TRUE(OpenImage(before));
        EXPECT_TRUE(AddNew());
        const Bytes after = OnFile();
        m_db.Close(false);
        EXPECT_EQ(before, Bytes(after.begin(), after.begin() + static_cast<ptrdiff_t>(before.size())));
    }
    ASSERT_TRUE(OpenImage(image));
    EXPECT_TRUE(AddNew());
    EXPECT_TRUE(m_db.Close(true));
    ASSERT_TRUE(Open(false));
    EXPECT_EQ((Ids{0, 1}), IdsOfType(m_db, kSdbAny));
    ASSERT_TRUE(OpenImage(DatabaseImage({{.nType = kSdbQuickLoad, .id = 0}, kFirst})));
    EXPECT_FALSE(m_db.ReserveQuickLoad(1)) << "it would not be the first note";
}

TEST_F(SDBAppendBehindTableTest, WithoutItsTableTheFileCanBeExtended) {
    ASSERT_TRUE(OpenImage(TableImage()));
    EXPECT_TRUE(m_db.DeleteNoteByID(0));
    EXPECT_TRUE(m_db.Save(nullptr));
    EXPECT_TRUE(AddNew());
    EXPECT_TRUE(m_db.Close(true));
    ASSERT_TRUE(Open(false));
    EXPECT_EQ((Ids{1, 2}), IdsOfType(m_db, kSdbAny));
    EXPECT_EQ("new", BodyOf(m_db, 2));
}

TEST_F(SDBAppendBehindTableTest, ATableThatNoOpenReadsIsANoteLikeAnyOther) {
    ASSERT_TRUE(OpenImage(
        DatabaseImage({{.nType = kSdbQuickLoad, .id = 0, .strBody = "17 bytes, no more"}, kFirst})));
    EXPECT_TRUE(AddNew());
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(3u, NotesOf(m_strPath).size());
}

// --- Faults ---

TEST_F(SDBAppendTest, AnEndThatCannotBeMendedRefusesTheAppendAndStaysAsItIs) {
    const Bytes stray = DatabaseImage({kFirst, kSecond}) + Bytes(9, 0x55);
    const Bytes torn =
        WithoutLast(DatabaseImage({kFirst, kSecond, {.nState = 1, .id = 2, .strBody = "torn"}}), 1);
    for (const Bytes& image : {stray, torn}) {
        for (const FileOp op : {FileOp::kTruncate, FileOp::kFacts}) {
            SCOPED_TRACE(testing::Message() << image.size() << " bytes, operation " << static_cast<int>(op));
            FaultyFileEnv env;
            ASSERT_TRUE(OpenImage(image));
            env.FailCallOf(op, 1);
            EXPECT_FALSE(AddNew());
            EXPECT_EQ(EIO, m_db.GetFirstError());
            EXPECT_EQ(image, ReadFile(m_strPath));
            EXPECT_TRUE(AddNew()) << "tried again";
            EXPECT_EQ(DatabaseImage({kFirst, kSecond, kNew}), OnFile());
            m_db.Close(true);
        }
        FaultyFileEnv env;
        ASSERT_TRUE(OpenImage(image));
        env.FailCallOf(FileOp::kTruncate, 1, FaultyFileEnv::Lasting::kForGood);
        EXPECT_FALSE(AddNew());
        EXPECT_FALSE(ChangeNote(m_db, 1, kSdbNoID, "changed"));
        env.Heal();
        EXPECT_EQ(image, OnFile());
        m_db.Close(false);
    }
}

// --- Every cut ---

TEST_F(SDBAppendTest, WhateverIsCutOffAnAppendIsListedLaterOrRefused) {
    const Bytes image = DatabaseImage(
        {kFirst, {.nState = 0x80, .id = 2, .strBody = "old"}, {.nState = 1, .id = 3, .strBody = "abc"}});
    for (std::ptrdiff_t nCut = 0; nCut + 20 <= static_cast<std::ptrdiff_t>(image.size()); ++nCut) {
        SCOPED_TRACE(nCut);
        const Bytes cut = WithoutLast(image, nCut);
        ASSERT_TRUE(OpenImage(cut));
        const uint32_t id = AddNote(m_db, kSdbLayer, kSdbNoID, "appended");
        if (id == kSdbNoID) {
            EXPECT_EQ(cut, OnFile());
            m_db.Close(false);
            continue;
        }
        EXPECT_TRUE(m_db.Close(true));
        ASSERT_TRUE(Open(false));
        EXPECT_EQ("appended", BodyOf(m_db, id));
        EXPECT_EQ((Ids{id}), IdsOfType(m_db, kSdbLayer));
    }
}

}  // namespace
}  // namespace Kestrova::Test
