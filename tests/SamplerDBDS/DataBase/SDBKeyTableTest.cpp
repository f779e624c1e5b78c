#include <gtest/gtest.h>

#include <random>

#include "SamplerDBDS/DataBase/SDBKeyTable.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"

namespace Kestrova::Test {
namespace {

constexpr uint32_t kAny = kSdbAny;

SDBNOTE Note(uint8_t nType, uint32_t id, uint32_t idParent, uint8_t nState = 0) {
    SDBNOTE note;
    note.nType = nType;
    note.idNote = id;
    note.idParent = idParent;
    note.nState = nState;
    return note;
}

// The body of a quick-load table of these notes.
std::string QuickLoadTable(const std::vector<std::array<uint32_t, 4>>& arEntries) {
    Bytes bytes;
    for (const auto& entry : arEntries)
        for (const uint32_t nWord : entry) PutLittle(bytes, nWord, 4);
    return std::string(bytes.begin(), bytes.end());
}

class SDBKeyTableTest : public testing::Test {
protected:
    bool Rebuild(const Bytes& image) {
        WriteFile(m_strPath, image);
        CXFile file;
        return file.Open(m_strPath.c_str(), 0) && m_keys.Rebuild(file, m_bDirty);
    }

    std::vector<uint32_t> Listed(uint32_t nType) const {
        std::vector<uint32_t> arIDs;
        for (const SDBNOTE* note = m_keys.FindAfter(nullptr, nType); note != nullptr;
             note = m_keys.FindAfter(note, nType))
            arIDs.push_back(note->idNote);
        return arIDs;
    }

    std::vector<uint32_t> Children(uint32_t idParent, uint32_t nType) const {
        std::vector<uint32_t> arIDs;
        for (const SDBNOTE* note = m_keys.FindChild(idParent, nType); note != nullptr;
             note = m_keys.FindSibling(note, nType))
            arIDs.push_back(note->idNote);
        return arIDs;
    }

    const TempDir m_dir;
    const std::string m_strPath = m_dir.File("keys.kvn");
    CSDBKeyTable m_keys;
    bool m_bDirty = false;
};

using Ids = std::vector<uint32_t>;

// --- Searches ---

TEST_F(SDBKeyTableTest, SearchesAnswerByTypeAndParentInFileOrder) {
    m_keys.Append(Note(kSdbBank, 1, kSdbNoID));
    m_keys.Append(Note(kSdbProgram, 2, 1));
    m_keys.Append(Note(kSdbRegion, 3, 1));
    m_keys.Append(Note(kSdbProgram, 4, 1));
    m_keys.Append(Note(kSdbBank, 5, kSdbNoID));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5}), Listed(kAny));
    EXPECT_EQ((Ids{1, 5}), Listed(kSdbBank));
    EXPECT_EQ((Ids{2, 4}), Children(1, kSdbProgram));
    EXPECT_EQ((Ids{3}), Children(1, kSdbRegion));
    EXPECT_EQ((Ids{2, 3, 4}), Children(1, kAny));
    EXPECT_EQ((Ids{1, 5}), Children(kSdbNoID, kAny));
    EXPECT_EQ(Ids{}, Children(1, kSdbLayer));
    EXPECT_EQ(Ids{}, Children(77, kAny));
    EXPECT_EQ(4u, m_keys.FindLive(4)->idNote);
    EXPECT_EQ(nullptr, m_keys.FindLive(77));
}

TEST_F(SDBKeyTableTest, EveryTypeAbove254IsAny) {
    m_keys.Append(Note(kSdbBank, 1, kSdbNoID));
    m_keys.Append(Note(kSdbQuickLoad, 2, kSdbNoID));
    EXPECT_EQ((Ids{2}), Listed(254));
    EXPECT_EQ((Ids{1, 2}), Listed(255));
    EXPECT_EQ((Ids{1, 2}), Listed(256 + kSdbBank));
    EXPECT_EQ((Ids{1, 2}), Children(kSdbNoID, 0xFFFFFFFF));
}

TEST_F(SDBKeyTableTest, AStoredType255IsFoundAsAnyType) {
    m_keys.Append(Note(255, 1, kSdbNoID));
    m_keys.Append(Note(kSdbBank, 2, kSdbNoID));
    EXPECT_EQ((Ids{1, 2}), Listed(255));
    EXPECT_EQ((Ids{2}), Listed(kSdbBank));
}

TEST_F(SDBKeyTableTest, TheNextNoteMayBeOfAnotherType) {
    for (uint32_t id = 0; id < 6; ++id) m_keys.Append(Note(id % 2 ? kSdbBank : kSdbPreset, id, kSdbNoID));
    const SDBNOTE* const note = m_keys.FindLive(2);
    EXPECT_EQ(3u, m_keys.FindSibling(note, kSdbBank)->idNote);
    EXPECT_EQ(4u, m_keys.FindSibling(note, kSdbPreset)->idNote);
    EXPECT_EQ(3u, m_keys.FindAfter(note, kAny)->idNote);
    EXPECT_EQ(nullptr, m_keys.FindSibling(note, kSdbLayer));
}

TEST_F(SDBKeyTableTest, TheNextNoteIsFoundFromADeletedOne) {
    for (uint32_t id = 0; id < 5; ++id) m_keys.Append(Note(kSdbBank, id, kSdbNoID));
    const SDBNOTE* const note = m_keys.FindLive(1);
    m_keys.MarkDeleted(note);
    m_keys.MarkDeleted(m_keys.FindLive(2));
    EXPECT_EQ(3u, m_keys.FindSibling(note, kAny)->idNote);
    EXPECT_EQ(3u, m_keys.FindAfter(note, kSdbBank)->idNote);
    EXPECT_EQ(kSdbStateDeleted, note->nState);
    EXPECT_EQ((Ids{0, 3, 4}), Listed(kAny));
}

TEST_F(SDBKeyTableTest, ANewTypeFindsItsPlaceBesideDeletedOnes) {
    for (uint32_t id = 0; id < 3; ++id) m_keys.Append(Note(kSdbBank, id, 9));
    m_keys.MarkDeleted(m_keys.FindLive(1));
    m_keys.Append(Note(kSdbPreset, 3, 9));
    m_keys.Append(Note(kSdbBank, 4, 9));
    m_keys.MarkDeleted(m_keys.FindLive(2));
    EXPECT_EQ((Ids{0, 4}), Children(9, kSdbBank));
    EXPECT_EQ((Ids{3}), Children(9, kSdbPreset));
    EXPECT_EQ((Ids{0, 3, 4}), Children(9, kAny));
}

TEST_F(SDBKeyTableTest, OfNotesWithOneIdTheFirstLiveOneIsFound) {
    static constexpr uint8_t kStates[] = {kSdbStateDeleted, 0, kSdbStateDeleted, 0, 0};
    for (const uint8_t nState : kStates) m_keys.Append(Note(kSdbBank, 7, kSdbNoID, nState));
    for (const size_t nExpected : {1u, 3u, 4u}) {
        const SDBNOTE* const note = m_keys.FindLive(7);
        EXPECT_EQ(&m_keys[nExpected], note);
        m_keys.MarkDeleted(note);
    }
    EXPECT_EQ(nullptr, m_keys.FindLive(7));
    m_keys.Append(Note(kSdbBank, 7, kSdbNoID));
    EXPECT_EQ(&m_keys[5], m_keys.FindLive(7));
}

TEST_F(SDBKeyTableTest, ALaterNoteWithTheSameIdCanBeDeletedFirst) {
    for (int n = 0; n < 3; ++n) m_keys.Append(Note(kSdbBank, 7, kSdbNoID));
    m_keys.MarkDeleted(&m_keys[1]);
    EXPECT_EQ(&m_keys[0], m_keys.FindLive(7));
    m_keys.MarkDeleted(&m_keys[0]);
    EXPECT_EQ(&m_keys[2], m_keys.FindLive(7));
}

// Parents of few and of many children, ids that occur again, many types, deletions in any order: beside
// searches that look at one entry after the other.
TEST_F(SDBKeyTableTest, SearchesAnswerLikeOnesThatLookAtEveryEntry) {
    std::mt19937 random(3);
    const auto first = [this](size_t nFrom, const auto& isAskedFor) -> const SDBNOTE* {
        for (size_t n = nFrom; n < m_keys.GetCount(); ++n)
            if (m_keys[n].IsLive() && isAskedFor(m_keys[n])) return &m_keys[n];
        return nullptr;
    };
    for (uint32_t nStep = 0; nStep < 3000; ++nStep) {
        const uint8_t nType = random() % 6 == 0 ? static_cast<uint8_t>(random()) : uint8_t{kSdbBank};
        const uint32_t idParent = random() % 3 == 0 ? 5 : static_cast<uint32_t>(random() % 60);
        ASSERT_TRUE(m_keys.Append(Note(nType, static_cast<uint32_t>(random() % 2000), idParent,
                                       random() % 9 == 0 ? kSdbStateDeleted : 0)));
        if (nStep % 3 != 0) m_keys.MarkDeleted(&m_keys[random() % m_keys.GetCount()]);
        const size_t nAt = random() % m_keys.GetCount();
        const SDBNOTE& note = m_keys[nAt];
        for (const uint32_t nWanted : {uint32_t{note.nType}, uint32_t{kSdbBank}, kAny}) {
            const auto ofType = [&](const SDBNOTE& n) { return nWanted > 254 || n.nType == nWanted; };
            const auto child = [&](const SDBNOTE& n) { return n.idParent == note.idParent && ofType(n); };
            ASSERT_EQ(first(nAt + 1, ofType), m_keys.FindAfter(&note, nWanted));
            ASSERT_EQ(first(0, child), m_keys.FindChild(note.idParent, nWanted));
            ASSERT_EQ(first(nAt + 1, child), m_keys.FindSibling(&note, nWanted));
        }
        ASSERT_EQ(first(0, [&](const SDBNOTE& n) { return n.idNote == note.idNote; }),
                  m_keys.FindLive(note.idNote));
    }
}

TEST_F(SDBKeyTableTest, EntriesKeepTheirAddresses) {
    m_keys.Append(Note(kSdbBank, 0, kSdbNoID));
    const SDBNOTE* const note = m_keys.FindLive(0);
    for (uint32_t id = 1; id < 5000; ++id) m_keys.Append(Note(kSdbBank, id, kSdbNoID));
    EXPECT_EQ(note, m_keys.FindLive(0));
}

// --- New ids ---

TEST_F(SDBKeyTableTest, IdsOfDeletedNotesAndOfParentsAreNotHandedOut) {
    m_keys.Append(Note(kSdbBank, 0, 2, kSdbStateDeleted));
    m_keys.Append(Note(kSdbBank, 1, 3));
    m_keys.MarkDeleted(m_keys.FindLive(1));
    uint32_t id = 0;
    EXPECT_TRUE(m_keys.TakeNewID(id));
    EXPECT_EQ(4u, id);
    EXPECT_EQ(5u, m_keys.GetNextID());
}

struct CounterCase {
    const char* pszWhy;
    Ids arIDs;  // of the notes in file order
    uint32_t nScanned;
    uint32_t nQuickLoaded;
};

const CounterCase kCounterCases[] = {
    {"one above the greatest", {4, 9, 2}, 10, 10},
    {"the greatest id of all but one", {0xFFFFFFFE}, 0xFFFFFFFF, 0xFFFFFFFF},
    {"0xFFFFFFFF as last note takes the counter to 0", {5, 0xFFFFFFFF}, 0, 0},
    {"a scan raises it again from there, a quick-load table does not", {0xFFFFFFFF, 5}, 6, 0},
};
// Q67

// Q67
TEST_F(SDBKeyTableTest, TheCounterFollowsTheIdsOfTheFile) {
    for (const CounterCase& row : kCounterCases) {
        SCOPED_TRACE(row.pszWhy);
        std::vector<NoteFields> arNotes;
        std::vector<std::array<uint32_t, 4>> arEntries = {
            {kSdbQuickLoad, 0, kSdbNoID, static_cast<uint32_t>(16 * (row.arIDs.size() + 1))}};
        for (const uint32_t id : row.arIDs) {
            arNotes.push_back({.id = id});
            arEntries.push_back({kSdbBank, id, kSdbNoID, 0});
        }
        EXPECT_TRUE(Rebuild(DatabaseImage(arNotes)));
        EXPECT_EQ(row.nScanned, m_keys.GetNextID());
        EXPECT_TRUE(Rebuild(DatabaseImage({{.nType = kSdbQuickLoad, .strBody = QuickLoadTable(arEntries)}})));
        EXPECT_EQ(row.nQuickLoaded, m_keys.GetNextID());
    }
}

// --- Listing a file ---

TEST_F(SDBKeyTableTest, AScanListsStatesAndPositions) {
    EXPECT_TRUE(Rebuild(DatabaseImage({{.id = 1, .strBody = "abc"}, {.nState = 0x81, .id = 2}})));
    ASSERT_EQ(2u, m_keys.GetCount());
    EXPECT_EQ(20u, m_keys[0].posHeader);
    EXPECT_EQ(37u, m_keys[1].posHeader);
    EXPECT_EQ(0x81, m_keys[1].nState);
    EXPECT_TRUE(m_bDirty);
}

TEST_F(SDBKeyTableTest, ANoteWithAWholeHeaderIsListedThoughItsBodyIsCutShort) {
    EXPECT_TRUE(Rebuild(WithoutLast(DatabaseImage({{.id = 1}, {.id = 2, .strBody = "twelve bytes"}}), 5)));
    EXPECT_EQ((Ids{1, 2}), Listed(kAny));
}

TEST_F(SDBKeyTableTest, ABodyOf4GigabytesThatIsNotThereEndsTheList) {
    Bytes image = DatabaseImage({{.id = 1}});
    for (size_t i = 0; i < 4; ++i) image[30 + i] = 0xFF;  // the size
    image.resize(image.size() + 100, 0x11);
    EXPECT_TRUE(Rebuild(image));
    EXPECT_EQ((Ids{1}), Listed(kAny));
}
// Q69

// Q69
TEST_F(SDBKeyTableTest, AQuickLoadTableIsBelieved) {
    const std::string strTable = QuickLoadTable(
        {{kSdbQuickLoad, 9, kSdbNoID, 48}, {0xAB00 + kSdbBank, 1, 4, 0xFFFFFFFF}, {18, 2, 1, 5}});
    EXPECT_TRUE(Rebuild(DatabaseImage({{.nType = kSdbQuickLoad, .id = 9, .strBody = strTable}})));
    ASSERT_EQ(3u, m_keys.GetCount());
    EXPECT_EQ(kSdbBank, m_keys[1].nType);  // the low byte counts
    EXPECT_EQ(4u, m_keys[1].idParent);
    EXPECT_EQ(20u + 14 + 48, m_keys[1].posHeader);
    EXPECT_EQ(uint64_t{20} + 14 + 48 + 14 + 0xFFFFFFFF, m_keys[2].posHeader);  // beyond 32 bits
    EXPECT_FALSE(m_bDirty);
    EXPECT_EQ(10u, m_keys.GetNextID());
}

TEST_F(SDBKeyTableTest, ASizeThatIsNoMultipleOf16IsScanned) {
    EXPECT_TRUE(Rebuild(DatabaseImage(
        {{.nState = 1, .nType = kSdbQuickLoad, .id = 3, .strBody = std::string(17, 'x')}, {.id = 4}})));
    EXPECT_EQ((Ids{3, 4}), Listed(kAny));
    EXPECT_TRUE(m_bDirty);
}
// Q68

// Q68
TEST_F(SDBKeyTableTest, AQuickLoadNoteOfSizeZeroHidesEverything) {
    EXPECT_TRUE(
        Rebuild(DatabaseImage({{.nState = 1, .nType = kSdbQuickLoad, .id = 3}, {.nState = 1, .id = 4}})));
    EXPECT_EQ(0u, m_keys.GetCount());
    EXPECT_EQ(0u, m_keys.GetNextID());
    EXPECT_FALSE(m_bDirty);
}

TEST_F(SDBKeyTableTest, AQuickLoadTableCutShortFails) {
    Bytes image = DatabaseImage({{.nType = kSdbQuickLoad, .strBody = std::string(64, '\0')}});
    image.pop_back();
    EXPECT_FALSE(Rebuild(image));
    EXPECT_EQ(0u, m_keys.GetCount());
}

TEST_F(SDBKeyTableTest, AHugeTableThatIsNotThereTakesNoMemory) {
    Bytes image = DatabaseImage({{.nType = kSdbQuickLoad}});
    image[30] = 0xF0;
    for (size_t i = 1; i < 4; ++i) image[30 + i] = 0xFF;
    EXPECT_FALSE(Rebuild(image));
}

// The n-th read of each file fails, until there is no such read: the table never holds a part of the notes.
TEST_F(SDBKeyTableTest, AFailedReadFailsTheListInsteadOfCuttingIt) {
    const std::string strTable = QuickLoadTable({{kSdbQuickLoad, 9, kSdbNoID, 32}, {kSdbBank, 1, 4, 0}});
    const Bytes images[] = {
        DatabaseImage({{.id = 1, .strBody = std::string(70000, 'a')}, {.id = 2, .strBody = "b"}, {.id = 3}}),
        DatabaseImage({{.nType = kSdbQuickLoad, .id = 9, .strBody = strTable}, {.id = 1}}),
    };
    for (const Bytes& image : images) {
        ASSERT_TRUE(Rebuild(image));
        const size_t nNotes = m_keys.GetCount();
        int nFailures = 0;
        for (int nFault = 1;; ++nFault) {
            FaultyFileEnv env;
            env.FailCallOf(FileOp::kRead, nFault);
            const bool bListed = Rebuild(image);
            if (!env.FaultHit()) break;
            // Only a failure of the read that finds the end may stay unnoticed.
            EXPECT_EQ(bListed ? nNotes : 0u, m_keys.GetCount()) << nFault;
            nFailures += bListed ? 0 : 1;
        }
        EXPECT_LT(0, nFailures);
    }
}

TEST_F(SDBKeyTableTest, AFailedSkipFailsTheList) {
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kPosition, 2);
    EXPECT_FALSE(Rebuild(DatabaseImage({{.id = 1, .strBody = std::string(70000, 'a')}, {.id = 2}})));
    EXPECT_TRUE(env.FaultHit());
    EXPECT_EQ(0u, m_keys.GetCount());
}

TEST_F(SDBKeyTableTest, RebuildForgetsWhatWasThere) {
    EXPECT_TRUE(Rebuild(DatabaseImage({{.id = 1}, {.id = 2, .idParent = 1}})));
    EXPECT_TRUE(Rebuild(DatabaseImage({{.id = 5}})));
    EXPECT_EQ((Ids{5}), Listed(kAny));
    EXPECT_EQ(Ids{}, Children(1, kAny));
    EXPECT_EQ(nullptr, m_keys.FindLive(2));
    EXPECT_EQ(6u, m_keys.GetNextID());
}

}  // namespace
}  // namespace Kestrova::Test
