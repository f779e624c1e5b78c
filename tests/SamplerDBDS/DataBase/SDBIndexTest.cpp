// The parts of the index: the id map, the tree of types, the rule for new ids.
#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <random>
#include <unordered_map>
#include <vector>

#include "SamplerDBDS/DataBase/SDBIdMap.h"
#include "SamplerDBDS/DataBase/SDBNewID.h"
#include "SamplerDBDS/DataBase/SDBTypeTree.h"

namespace Kestrova::Test {
namespace {

// --- CSDBIdMap ---

TEST(SDBIdMapTest, AnEmptyMapFindsNothing) {
    const CSDBIdMap map;
    EXPECT_EQ(CSDBIdMap::kNone, map.Find(0));
    EXPECT_EQ(CSDBIdMap::kNone, map.Find(0xFFFFFFFF));
}

TEST(SDBIdMapTest, EveryIdIsAKey) {
    CSDBIdMap map;
    for (const uint32_t key : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        EXPECT_EQ(CSDBIdMap::kNone, map.At(key));
        map.At(key) = key / 2;
        EXPECT_EQ(key / 2, map.Find(key));
    }
    EXPECT_EQ(CSDBIdMap::kNone, map.Find(2));
}

TEST(SDBIdMapTest, KeysSurviveGrowth) {
    CSDBIdMap map;
    std::unordered_map<uint32_t, uint32_t> mapExpected;
    std::mt19937 random(7);
    for (uint32_t n = 0; n < 50000; ++n) {
        const uint32_t key = static_cast<uint32_t>(random());
        map.At(key) = n;
        mapExpected[key] = n;
    }
    for (const auto& [key, value] : mapExpected) EXPECT_EQ(value, map.Find(key));
    EXPECT_LT(49000u, mapExpected.size());
}

TEST(SDBIdMapTest, KeysThatDifferInTheirHighBitsAloneAreToldApart) {
    CSDBIdMap map;
    for (uint32_t n = 0; n < 100000; ++n) map.At(n << 15) = n;
    for (uint32_t n = 0; n < 100000; ++n) ASSERT_EQ(n, map.Find(n << 15));
}

TEST(SDBIdMapTest, ClearForgetsTheKeys) {
    CSDBIdMap map;
    map.At(5) = 6;
    map.Clear();
    EXPECT_EQ(CSDBIdMap::kNone, map.Find(5));
    map.At(5) = 7;
    EXPECT_EQ(7u, map.Find(5));
}

// The eight ids of a page share its memory; ids alone on their pages must not be mixed up with their
// neighbours.
TEST(SDBIdMapTest, NeighboursOfAKeyAreNotThere) {
    CSDBIdMap map;
    for (const uint32_t key : {8u, 23u, 0xFFFFFFF8u}) {
        map.At(key) = 1;
        EXPECT_EQ(CSDBIdMap::kNone, map.Find(key - 1));
        EXPECT_EQ(CSDBIdMap::kNone, map.Find(key + 1));
        EXPECT_EQ(1u, map.Find(key));
    }
}

// --- CSDBTypeTree ---

constexpr uint32_t kNone = CSDBTypeTree::kNone;

// A row of notes with its tree, beside a search that looks at one note after the other.
class TypeRow {
public:
    void Append(uint8_t nType, bool bLive) {
        m_tree.Reserve(m_arNotes.size());
        SDBNOTE note;
        note.nType = nType;
        note.nState = bLive ? 0 : kSdbStateDeleted;
        m_arNotes.push_back(note);
        if (bLive) m_tree.Add(m_arNotes.size() - 1, nType);
    }
    void Delete(size_t n) {
        if (!m_arNotes[n].IsLive()) return;
        m_arNotes[n].nState = kSdbStateDeleted;
        m_tree.Remove(n, m_arNotes.size(), NoteAt());
    }
    size_t Count() const { return m_arNotes.size(); }
    uint32_t Find(size_t nFrom, uint32_t nType) const {
        return m_tree.FirstFrom(nFrom, nType, m_arNotes.size(), NoteAt());
    }
    uint32_t FindPlainly(size_t nFrom, uint32_t nType) const {
        for (size_t n = nFrom; n < m_arNotes.size(); ++n)
            if (m_arNotes[n].IsLive() && (nType > 254 || m_arNotes[n].nType == nType))
                return static_cast<uint32_t>(n);
        return kNone;
    }

private:
    std::function<const SDBNOTE&(size_t)> NoteAt() const {
        return [this](size_t n) -> const SDBNOTE& { return m_arNotes[n]; };
    }

    std::vector<SDBNOTE> m_arNotes;
    CSDBTypeTree m_tree;
};

TEST(SDBTypeTreeTest, AnEmptyRowHasNothing) {
    const TypeRow row;
    EXPECT_EQ(kNone, row.Find(0, kSdbAny));
    EXPECT_EQ(kNone, row.Find(5, kSdbBank));
}

TEST(SDBTypeTreeTest, ASearchDoesNotGoBackInItsGroup) {
    TypeRow row;
    for (int n = 0; n < 100; ++n) row.Append(n == 65 ? kSdbBank : kSdbPreset, true);
    EXPECT_EQ(65u, row.Find(65, kSdbBank));
    EXPECT_EQ(kNone, row.Find(66, kSdbBank));
    EXPECT_EQ(kNone, row.Find(100, kSdbAny));
}

// Lengths around the ends of groups of notes and of sets: 64 notes, 64 sets of them, 64 sets of those.
TEST(SDBTypeTreeTest, TheLastNoteIsFoundFromEverywhere) {
    for (const size_t nCount : {1u, 63u, 64u, 65u, 4095u, 4096u, 4097u, 262143u, 262145u}) {
        SCOPED_TRACE(nCount);
        TypeRow row;
        for (size_t n = 1; n < nCount; ++n) row.Append(kSdbPreset, true);
        row.Append(255, true);
        row.Append(kSdbBank, true);
        for (size_t nFrom = 0; nFrom <= nCount; nFrom += 1 + nCount / 97)
            ASSERT_EQ(nCount, row.Find(nFrom, kSdbBank));
        row.Delete(nCount);
        EXPECT_EQ(kNone, row.Find(0, kSdbBank));
        EXPECT_EQ(nCount - 1, row.Find(nCount - 1, kSdbAny)) << "a stored type 255";
        row.Delete(nCount - 1);
        EXPECT_EQ(kNone, row.Find(nCount - 1, kSdbAny));
    }
}

TEST(SDBTypeTreeTest, AnyOrderOfDeletionLeavesTheRest) {
    static constexpr uint32_t kCount = 9001;
    static constexpr uint8_t kTypes[] = {0, 63, 64, 127, 128, 191, 192, 254, 255};
    for (const uint32_t nStep :
         {1u, kCount - 1, 7u, 1201u}) {  // 1: from the front; kCount - 1: from the back
        SCOPED_TRACE(nStep);
        TypeRow row;
        std::mt19937 random(nStep);
        for (uint32_t n = 0; n < kCount; ++n)
            row.Append(random() % 8 != 0 ? 16 : kTypes[random() % std::size(kTypes)], random() % 5 != 0);
        uint32_t nAt = nStep == kCount - 1 ? kCount - 1 : 0;
        for (uint32_t n = 0; n < kCount; ++n, nAt = (nAt + nStep) % kCount) {
            row.Delete(nAt);
            if (n % 16 != 0) continue;
            for (const uint32_t nFrom : {0u, nAt, nAt + 1, 4500u, kCount})
                for (const uint32_t nType : {16u, 64u, 254u, 255u, 300u})
                    ASSERT_EQ(row.FindPlainly(nFrom, nType), row.Find(nFrom, nType));
        }
        EXPECT_EQ(kNone, row.Find(0, kSdbAny));
    }
}

TEST(SDBTypeTreeTest, AnEmptiedRowTakesNotesAgain) {
    TypeRow row;
    for (int n = 0; n < 130; ++n) row.Append(kSdbBank, true);
    for (size_t n = 0; n < 130; ++n) row.Delete(n);
    EXPECT_EQ(kNone, row.Find(0, kSdbAny));
    row.Append(kSdbBank, true);
    EXPECT_EQ(130u, row.Find(0, kSdbBank));
}

// --- New ids ---

constexpr auto kNoneInUse = [](uint32_t) { return false; };

TEST(SDBNewIDTest, TheCounterStepsPastTheIdItGave) {
    uint32_t nCounter = 7, id = 0;
    EXPECT_TRUE(StepToFreeID(nCounter, id, kNoneInUse));
    EXPECT_EQ(7u, id);
    EXPECT_EQ(8u, nCounter);
}

TEST(SDBNewIDTest, TheLastIdIsFollowedByZero) {
    uint32_t nCounter = 0xFFFFFFFE, id = 0;
    EXPECT_TRUE(StepToFreeID(nCounter, id, kNoneInUse));
    EXPECT_EQ(0xFFFFFFFEu, id);
    EXPECT_EQ(0u, nCounter);
}

TEST(SDBNewIDTest, NoParentIsNeverHandedOut) {
    uint32_t nCounter = 0xFFFFFFFF, id = 5;
    EXPECT_TRUE(StepToFreeID(nCounter, id, kNoneInUse));
    EXPECT_EQ(0u, id);
    EXPECT_EQ(1u, nCounter);
}

TEST(SDBNewIDTest, IdsInUseAreSteppedOver) {
    uint32_t nCounter = 0xFFFFFFFD, id = 0;
    EXPECT_TRUE(StepToFreeID(nCounter, id, [](uint32_t n) { return n >= 0xFFFFFFFD || n < 3; }));
    EXPECT_EQ(3u, id);
    EXPECT_EQ(4u, nCounter);
}
// Q66

// Q66
TEST(SDBNewIDTest, TheSearchEndsWhereItBeganWithoutTryingTheLastCandidate) {
    // In a space of the ids 0 to 5 that starts at 3, the candidate 2 would be the last.
    uint32_t nCounter = 3, id = 99;
    EXPECT_FALSE(StepToFreeID(
        nCounter, id, [](uint32_t n) { return n != 2; }, 5));
    EXPECT_EQ(99u, id);
    EXPECT_EQ(3u, nCounter);
}

}  // namespace
}  // namespace Kestrova::Test
