// Shapes of databases for which a simple index takes quadratic time or deep recursion. No time is measured: a
// step that is not O(log n) makes a test that does not end.
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

constexpr uint32_t kNotes = 100000;

struct ShapeCase {
    const char* pszName;
    uint32_t (*pParentOf)(uint32_t n);  // the id of the n-th note's parent; ids count from 1
    uint8_t (*pTypeOf)(uint32_t n);
};

void PrintTo(const ShapeCase& shape, std::ostream* pOut) { *pOut << shape.pszName; }

uint8_t OneType(uint32_t) { return kSdbRegion; }
uint8_t ManyTypes(uint32_t n) { return static_cast<uint8_t>(n % 250); }

const ShapeCase kShapes[] = {
    {"Chain", [](uint32_t n) { return n > 0 ? n : kSdbNoID; }, OneType},
    {"Star", [](uint32_t n) { return n > 0 ? 1 : kSdbNoID; }, ManyTypes},
    {"Tree", [](uint32_t n) { return n >= 4 ? n / 4 : kSdbNoID; }, OneType},
};

class SDBScaleTest : public testing::TestWithParam<ShapeCase> {
protected:
    void SetUp() override {
        CSDB db;
        ASSERT_TRUE(db.Create(m_strPath.c_str(), kSdbFormatPlain));
        ASSERT_TRUE(db.ReserveQuickLoad(kNotes));
        for (uint32_t n = 0; n < kNotes; ++n) {
            SDBNOTE note;
            note.nType = GetParam().pTypeOf(n);
            note.idParent = GetParam().pParentOf(n);
            note.nSize = 1;
            ASSERT_TRUE(db.AddNewNote(&note, "b"));
        }
        ASSERT_TRUE(db.CreateQuickLoad());
        ASSERT_TRUE(db.Close(true));
    }

    bool Open(CSDB& db) { return db.Open(m_strPath.c_str(), kSdbFormatPlain, true); }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("large.kvn");
};

TEST_P(SDBScaleTest, IsListedByQuickLoadAndByScanAlike) {
    CSDB db;
    ASSERT_TRUE(Open(db));
    EXPECT_EQ(kNotes + 1, IdsOfType(db, kSdbAny).size());
    ASSERT_TRUE(db.Close(false));
    Bytes image = ReadFile(m_strPath);
    image[21] = 5;  // no quick-load note any more
    WriteFile(m_strPath, image);
    ASSERT_TRUE(Open(db));
    EXPECT_EQ(kNotes + 1, IdsOfType(db, kSdbAny).size());
}

TEST_P(SDBScaleTest, IsWalkedAsABranchAndByType) {
    CSDB db;
    ASSERT_TRUE(Open(db));
    size_t nNotes = 0;
    for (const uint32_t idRoot : ChildrenOf(db, kSdbNoID))
        if (idRoot != 0) nNotes += db.GetNotesBranch(db.GetNoteByID(idRoot), nullptr) / 29;
    EXPECT_EQ(kNotes, nNotes);
    // From every note to the next of another type under the same parent.
    const uint8_t nLastType = GetParam().pTypeOf(kNotes - 1);
    for (const SDBNOTE* note = db.GetNoteByType(nullptr, kSdbAny); note != nullptr;
         note = db.GetNoteByType(note, kSdbAny)) {
        const SDBNOTE* const next = db.GetNextNote(note, nLastType);
        if (next != nullptr) {
            ASSERT_EQ(nLastType, next->nType);
        }
    }
}

TEST_P(SDBScaleTest, IsDeletedFromTheFrontFromTheBackAndAsSubtrees) {
    CSDB db;
    for (const bool bFront : {true, false}) {
        ASSERT_TRUE(Open(db));
        for (uint32_t n = 1; n <= kNotes; n += 2) {
            const SDBNOTE* const note = db.GetNoteByID(bFront ? n : kNotes + 1 - n);
            if (note == nullptr) continue;
            const SDBNOTE* const after = db.GetNextNote(note, kSdbAny);
            ASSERT_TRUE(db.DeleteNoteByID(note->idNote));
            ASSERT_EQ(after, db.GetNextNote(note, kSdbAny));
            db.GetNoteByType(nullptr, kSdbRegion);
        }
        EXPECT_TRUE(db.DeleteNoteByParentID(kSdbNoID));
        EXPECT_EQ(nullptr, db.GetNoteByType(nullptr, kSdbAny));
        ASSERT_TRUE(db.Close(false));
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, SDBScaleTest, testing::ValuesIn(kShapes),
                         [](const auto& row) { return std::string(row.param.pszName); });

TEST(SDBScaleOfOneIdTest, NotesThatShareAnIdAreFoundAndDeletedOneByOne) {
    const TempDir dir;
    const std::string strPath = dir.File("same.kvn");
    WriteFile(strPath, DatabaseImage(std::vector<NoteFields>(kNotes, NoteFields{.id = 7, .idParent = 7})));
    CSDB db;
    ASSERT_TRUE(db.Open(strPath.c_str(), kSdbFormatPlain, true));
    const SDBNOTE* const note = db.GetNoteByID(7);
    EXPECT_EQ(20u, note->posHeader);
    EXPECT_EQ(28 * kNotes, db.GetNotesBranch(note, nullptr));
    for (uint32_t n = 0; n < 100; ++n) ASSERT_TRUE(ChangeNote(db, 7, 7, ""));
    EXPECT_TRUE(db.DeleteNoteByID(7));
    EXPECT_EQ(nullptr, db.GetNoteByID(7));
    EXPECT_TRUE(db.Close(false));
}

}  // namespace
}  // namespace Kestrova::Test
