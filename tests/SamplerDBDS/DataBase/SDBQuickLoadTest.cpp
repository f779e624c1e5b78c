// Reserving, writing and using the quick-load table.
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Ids = std::vector<uint32_t>;

class SDBQuickLoadTest : public testing::Test {
protected:
    void CreateReserved(uint32_t nCount) {
        ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
        ASSERT_TRUE(m_db.ReserveQuickLoad(nCount));
    }

    std::string TableOnFile() {
        EXPECT_TRUE(m_db.GetFile().Flush());
        return NotesOf(m_strPath).at(0).strBody;
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("quick.kvn");
    CSDB m_db;
};

TEST_F(SDBQuickLoadTest, ReservingAddsTheFirstNoteWithRoomForItselfAndTheOthers) {
    CreateReserved(3);
    const SDBNOTE* const note = m_db.GetNoteByType(nullptr, kSdbAny);
    EXPECT_EQ(kSdbQuickLoad, note->nType);
    EXPECT_EQ(0u, note->idNote);
    EXPECT_EQ(kSdbNoID, note->idParent);
    EXPECT_EQ(std::string(64, '\0'), TableOnFile());
}

TEST_F(SDBQuickLoadTest, ALargeReserveIsAllZeros) {
    CreateReserved(10000);
    EXPECT_EQ(std::string(160016, '\0'), TableOnFile());
}

TEST_F(SDBQuickLoadTest, OnlyAnEmptyDatabaseTakesAReserve) {
    CreateReserved(0);
    EXPECT_FALSE(m_db.ReserveQuickLoad(1));
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    const uint32_t id = AddNote(m_db, kSdbBank, kSdbNoID, "");
    EXPECT_TRUE(m_db.DeleteNoteByID(id));
    EXPECT_FALSE(m_db.ReserveQuickLoad(1)) << "a deleted note is a note";
}

TEST_F(SDBQuickLoadTest, AHiddenFirstNoteLeavesNoRoomForAnother) {
    WriteFile(m_strPath,
              DatabaseImage({{.nType = kSdbQuickLoad}}));  // a quick-load note of size 0 hides itself
    ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
    EXPECT_FALSE(m_db.ReserveQuickLoad(1));
}

TEST_F(SDBQuickLoadTest, ATableAbove32BitsIsRefused) {
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    EXPECT_FALSE(m_db.ReserveQuickLoad(0x0FFFFFFF));
    EXPECT_FALSE(m_db.ReserveQuickLoad(0xFFFFFFFF));
    EXPECT_EQ(0u, m_db.GetNextID());
    EXPECT_TRUE(m_db.ReserveQuickLoad(0));
}

TEST_F(SDBQuickLoadTest, TheTableListsEveryNoteInFileOrder) {
    CreateReserved(2);
    AddNote(m_db, kSdbBank, kSdbNoID, "bank");
    AddNote(m_db, kSdbProgram, 1, "program");
    EXPECT_TRUE(m_db.CreateQuickLoad());
    Bytes table;
    for (const uint32_t nWord : {254u, 0u, kSdbNoID, 48u, 17u, 1u, kSdbNoID, 4u, 18u, 2u, 1u, 7u})
        PutLittle(table, nWord, 4);
    EXPECT_EQ(std::string(table.begin(), table.end()), NotesOf(m_strPath).at(0).strBody)
        << "nothing waits in memory";
    EXPECT_EQ(1, NotesOf(m_strPath).at(0).nState) << "the header is written as the index holds it";
    EXPECT_TRUE(m_db.Close(true));
    for (const NoteFields& note : NotesOf(m_strPath)) EXPECT_EQ(0, note.nState);
}

struct CountCase {
    uint32_t nReserved, nAdded;
    bool bWritten;
};
// Q70

// Q70
TEST_F(SDBQuickLoadTest, TheTableIsWrittenOnlyWhenItIsExactlyFull) {
    for (const CountCase& row : {CountCase{3, 2, false}, CountCase{3, 3, true}, CountCase{3, 4, false},
                                 CountCase{0, 0, true}, CountCase{0, 1, false}}) {
        SCOPED_TRACE(testing::Message() << row.nReserved << " reserved, " << row.nAdded << " added");
        CreateReserved(row.nReserved);
        for (uint32_t n = 0; n < row.nAdded; ++n) AddNote(m_db, kSdbBank, kSdbNoID, "");
        EXPECT_EQ(row.bWritten, m_db.CreateQuickLoad());
        EXPECT_EQ(!row.bWritten, TableOnFile() == std::string(16 * row.nReserved + 16, '\0'));
    }
}

TEST_F(SDBQuickLoadTest, DeletedNotesAreCounted) {
    CreateReserved(2);
    AddNote(m_db, kSdbBank, kSdbNoID, "");
    EXPECT_TRUE(m_db.DeleteNoteByID(AddNote(m_db, kSdbBank, kSdbNoID, "")));
    EXPECT_TRUE(m_db.CreateQuickLoad());
    EXPECT_EQ(2, TableOnFile().at(36)) << "the id of the third entry";
}

TEST_F(SDBQuickLoadTest, WithoutAQuickLoadNoteInFrontThereIsNoTable) {
    ASSERT_TRUE(m_db.Create(m_strPath.c_str(), kSdbFormatEnriched));
    EXPECT_FALSE(m_db.CreateQuickLoad());
    AddNote(m_db, kSdbBank, kSdbNoID, "");
    EXPECT_FALSE(m_db.CreateQuickLoad());
}

TEST_F(SDBQuickLoadTest, AFinishedFileOpensWithOneHeaderAndOneTableRead) {
    static constexpr uint32_t kNotes = 20000;
    CreateReserved(kNotes);
    for (uint32_t n = 0; n < kNotes; ++n) AddNote(m_db, kSdbBank, kSdbNoID, std::string(50, 'b'));
    EXPECT_TRUE(m_db.CreateQuickLoad());
    EXPECT_TRUE(m_db.Close(true));
    FaultyFileEnv env;
    EXPECT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatEnriched, false));
    EXPECT_GE(5, env.Calls(FileOp::kRead)) << "identity, format with header, and the table";
    EXPECT_EQ(kNotes + 1, m_db.GetNoteCount());
    EXPECT_EQ(std::string(50, 'b'), BodyOf(m_db, kNotes));
    m_db.Close(false);
}

TEST_F(SDBQuickLoadTest, AQuickLoadedFileIsWrittenToLikeAnyOther) {
    CreateReserved(1);
    AddNote(m_db, kSdbBank, kSdbNoID, "bank");
    EXPECT_TRUE(m_db.CreateQuickLoad());
    EXPECT_TRUE(m_db.Close(true));
    ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatEnriched, true));
    EXPECT_EQ(2u, AddNote(m_db, kSdbProgram, 1, "added"));
    EXPECT_EQ("added", BodyOf(m_db, 2));
    EXPECT_FALSE(m_db.CreateQuickLoad());
    EXPECT_TRUE(m_db.DeleteNoteByID(2));
    EXPECT_TRUE(m_db.CreateQuickLoad() == false && m_db.Close(true));
    ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatEnriched, false));
    EXPECT_EQ((Ids{0, 1}), IdsOfType(m_db, kSdbAny));
}

}  // namespace
}  // namespace Kestrova::Test
