// Copying a subtree out to memory and in again.
#include <gtest/gtest.h>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

using Ids = std::vector<uint32_t>;

class SDBBranchTest : public testing::Test {
protected:
    void OpenNotes(const std::vector<NoteFields>& arNotes) { OpenImage(DatabaseImage(arNotes)); }
    void OpenImage(const Bytes& image) {
        WriteFile(m_strPath, image);
        ASSERT_TRUE(m_db.Open(m_strPath.c_str(), kSdbFormatPlain, true));
    }

    // The branch of a live note; the buffer is filled with 0xEE before.
    Bytes BranchOf(uint32_t id, unsigned long nNotesExpected) {
        const SDBNOTE* const note = m_db.GetNoteByID(id);
        Bytes branch(m_db.GetNotesBranch(note, nullptr), 0xEE);
        uint8_t* pCursor = branch.data();
        EXPECT_EQ(nNotesExpected, m_db.GetNotesBranch(note, &pCursor));
        EXPECT_EQ(branch.data() + branch.size(), pCursor);
        return branch;
    }

    // The ids in a branch buffer.
    static Ids IdsIn(const Bytes& branch) {
        Ids arIDs;
        for (size_t nAt = 0; nAt < branch.size(); nAt += 28 + GetLittle(branch, nAt + 12, 4))
            arIDs.push_back(static_cast<uint32_t>(GetLittle(branch, nAt + 4, 4)));
        return arIDs;
    }

    bool Insert(uint32_t idParent, const Bytes& branch, unsigned long nCount) {
        m_nCount = nCount;
        m_pCursor = branch.data();
        return m_db.InsertNotesBranch(idParent, m_nCount, m_pCursor, m_idRoot);
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("branch.kvn");
    CSDB m_db;
    unsigned long m_nCount = 0;
    const uint8_t* m_pCursor = nullptr;
    uint32_t m_idRoot = 0;
};

std::vector<NoteFields> Tree() {
    return {{.id = 1, .strBody = "bank"},
            {.nType = kSdbProgram, .id = 2, .idParent = 1, .strBody = "p2"},
            {.nType = kSdbProgram, .id = 3, .idParent = 1},
            {.nType = kSdbRegion, .id = 4, .idParent = 2, .strBody = "r4"},
            {.nType = kSdbProgram, .id = 5, .idParent = 90, .strBody = "stranger"},
            {.nType = kSdbRegion, .id = 6, .idParent = 2, .strBody = "r6"}};
}

void PutBranchNote(Bytes& bytes, const NoteFields& note, uint64_t posHeader = 0) {
    PutLittle(bytes, note.nState, 1);
    PutLittle(bytes, note.nType, 1);
    PutLittle(bytes, 0, 2);
    PutLittle(bytes, note.id, 4);
    PutLittle(bytes, note.idParent, 4);
    PutLittle(bytes, note.strBody.size(), 4);
    PutLittle(bytes, posHeader, 8);
    PutLittle(bytes, 0, 4);
    PutText(bytes, note.strBody);
}

TEST_F(SDBBranchTest, ABranchIsItsNotesInPreOrder) {
    OpenNotes(Tree());
    Bytes expected;
    PutBranchNote(expected, Tree()[0], 20);
    PutBranchNote(expected, Tree()[1], 38);
    PutBranchNote(expected, Tree()[3], 68);
    PutBranchNote(expected, Tree()[5], 106);
    PutBranchNote(expected, Tree()[2], 54);
    EXPECT_EQ(expected, BranchOf(1, 5));
}

TEST_F(SDBBranchTest, ALeafIsABranchOfOne) {
    OpenNotes(Tree());
    EXPECT_EQ((Ids{6}), IdsIn(BranchOf(6, 1)));
}

TEST_F(SDBBranchTest, DeletedNotesAreLeftOut) {
    OpenNotes(Tree());
    EXPECT_TRUE(m_db.DeleteNoteByID(4));
    EXPECT_EQ((Ids{1, 2, 6, 3}), IdsIn(BranchOf(1, 4)));
}

struct OnceCase {
    const char* pszWhy;
    std::vector<NoteFields> arNotes;
    Ids arExpected;  // of the branch of note 1
};

TEST_F(SDBBranchTest, EveryNoteComesOnce) {
    const OnceCase kCases[] = {
        {"its own parent", {{.id = 1, .idParent = 1}}, {1}},
        {"a cycle through the root",
         {{.id = 1, .idParent = 3}, {.id = 2, .idParent = 1}, {.id = 3, .idParent = 2}},
         {1, 2, 3}},
        {"siblings behind the root in its cycle",
         {{.id = 2, .idParent = 1}, {.id = 1, .idParent = 2}, {.id = 3, .idParent = 2}},
         {1, 2, 3}},
        {"an id twice, with children",
         {{.id = 1}, {.id = 2, .idParent = 1}, {.id = 2, .idParent = 1}, {.id = 3, .idParent = 2}},
         {1, 2, 3, 2}},
    };
    for (const OnceCase& row : kCases) {
        SCOPED_TRACE(row.pszWhy);
        OpenNotes(row.arNotes);
        EXPECT_EQ(row.arExpected, IdsIn(BranchOf(1, row.arExpected.size())));
    }
}

TEST_F(SDBBranchTest, IdsThatOccurTwiceOnEveryLevelDoNotMultiply) {
    std::vector<NoteFields> arNotes = {{.id = 1}};
    for (uint32_t id = 2; id < 60; ++id)
        for (int nTwin = 0; nTwin < 2; ++nTwin) arNotes.push_back({.id = id, .idParent = id - 1});
    OpenNotes(arNotes);
    EXPECT_EQ(28 * arNotes.size(), m_db.GetNotesBranch(m_db.GetNoteByID(1), nullptr));
}
// Q75

// Q75
TEST_F(SDBBranchTest, ABodyThatCannotBeReadIsZeros) {
    Bytes image = DatabaseImage({{.id = 1, .strBody = "abcd"}});
    image.pop_back();
    OpenImage(image);
    const Bytes branch = BranchOf(1, 1);
    EXPECT_EQ((Bytes{0, 0, 0, 0}), Bytes(branch.begin() + 28, branch.end()));
}

// --- Inserting ---

TEST_F(SDBBranchTest, AnInsertedBranchKeepsItsRelationsUnderNewIds) {
    OpenNotes(Tree());
    const Bytes branch = BranchOf(2, 3);
    EXPECT_TRUE(Insert(5, branch, 3));
    EXPECT_EQ(7u, m_idRoot);
    EXPECT_EQ(0u, m_nCount);
    EXPECT_EQ(branch.data() + branch.size(), m_pCursor);
    EXPECT_EQ((Ids{7}), ChildrenOf(m_db, 5));
    EXPECT_EQ((Ids{8, 9}), ChildrenOf(m_db, 7, kSdbRegion));
    EXPECT_EQ("p2", BodyOf(m_db, 7));
    EXPECT_EQ("r4", BodyOf(m_db, 8));
    EXPECT_EQ("r6", BodyOf(m_db, 9));
    EXPECT_EQ(kSdbStateNew, m_db.GetNoteByID(9)->nState);
}

TEST_F(SDBBranchTest, NoNotesMakeTheParentTheRoot) {
    OpenNotes(Tree());
    EXPECT_TRUE(Insert(5, {}, 0));
    EXPECT_EQ(5u, m_idRoot);
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_TRUE(m_db.IsChanged());
}

TEST_F(SDBBranchTest, AParentThatIsNotInTheBufferBecomesTheGivenOne) {
    OpenNotes(Tree());
    Bytes branch;
    PutBranchNote(branch, {.id = 50, .idParent = 60});
    PutBranchNote(branch, {.id = 51, .idParent = 50});
    PutBranchNote(branch, {.id = 52, .idParent = 61});
    PutBranchNote(branch, {.id = 53, .idParent = 53});
    PutBranchNote(branch, {.id = 50, .idParent = kSdbNoID});  // the first 50 stays the one that is meant
    PutBranchNote(branch, {.id = 54, .idParent = 50});
    EXPECT_TRUE(Insert(3, branch, 6));
    EXPECT_EQ(7u, m_idRoot);
    EXPECT_EQ((Ids{7, 9, 10, 11}), ChildrenOf(m_db, 3));
    EXPECT_EQ((Ids{8, 12}), ChildrenOf(m_db, 7));
}

TEST_F(SDBBranchTest, InsertingStopsAtTheFirstNoteThatFails) {
    FaultyFileEnv env;
    OpenNotes(Tree());
    Bytes branch;
    PutBranchNote(branch, {.id = 50});
    PutBranchNote(branch, {.id = 51, .idParent = 50, .strBody = std::string(70000, 'w')});
    PutBranchNote(branch, {.id = 52, .idParent = 50});
    env.FillDiskAfter(30000);
    EXPECT_FALSE(Insert(1, branch, 3));
    EXPECT_EQ(7u, m_idRoot);
    EXPECT_EQ(1u, m_nCount);
    EXPECT_EQ(branch.data() + branch.size() - 28, m_pCursor);
    EXPECT_EQ(7u, m_db.GetNoteCount()) << "the first one stays";
    EXPECT_TRUE(m_db.IsChanged());
    env.Heal();
    EXPECT_TRUE(m_db.Close(true));
    EXPECT_EQ(7u, NotesOf(m_strPath).size());
}

TEST_F(SDBBranchTest, ADeadParentFailsTheFirstInsertion) {
    OpenNotes(Tree());
    Bytes branch;
    PutBranchNote(branch, {.id = 50});
    EXPECT_FALSE(Insert(77, branch, 1));
    EXPECT_EQ(kSdbNoID, m_idRoot);
    EXPECT_FALSE(m_db.IsDirty());
    EXPECT_TRUE(m_db.IsChanged());
}

}  // namespace
}  // namespace Kestrova::Test
