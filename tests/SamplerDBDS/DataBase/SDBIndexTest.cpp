// The parts of the index: the id map, the list of entry numbers, the rule for new ids.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <unordered_map>

#include "SamplerDBDS/DataBase/SDBIdMap.h"
#include "SamplerDBDS/DataBase/SDBIndexList.h"
#include "SamplerDBDS/DataBase/SDBNewID.h"

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

// --- CSDBIndexList ---

constexpr uint32_t kNone = CSDBIndexList::kNone;

uint32_t FirstFrom(const std::set<uint32_t>& set, uint32_t n) {
    const auto it = set.lower_bound(n);
    return it != set.end() ? *it : kNone;
}

TEST(SDBIndexListTest, OneNumberComesAndGoes) {
    CSDBIndexList list;
    EXPECT_EQ(kNone, list.FirstFrom(0));
    list.Append(4);
    EXPECT_EQ(4u, list.FirstFrom(0));
    EXPECT_EQ(4u, list.FirstFrom(4));
    EXPECT_EQ(kNone, list.FirstFrom(5));
    list.Erase(3);
    EXPECT_EQ(4u, list.FirstFrom(0));
    list.Erase(4);
    EXPECT_EQ(kNone, list.FirstFrom(0));
    list.Append(9);
    EXPECT_EQ(9u, list.FirstFrom(0));
}

TEST(SDBIndexListTest, AnyOrderOfRemovalLeavesTheRest) {
    static constexpr uint32_t kCount = 3000;  // several chunks
    for (const uint32_t nStep :
         {1u, kCount - 1, 7u, 1201u}) {  // 1: from the front; kCount - 1: from the back
        SCOPED_TRACE(nStep);
        CSDBIndexList list;
        std::set<uint32_t> expected;
        for (uint32_t n = 0; n < kCount; ++n) {
            list.Append(3 * n);
            expected.insert(3 * n);
        }
        uint32_t nAt = nStep == kCount - 1 ? kCount - 1 : 0;
        for (uint32_t n = 0; n < kCount; ++n, nAt = (nAt + nStep) % kCount) {
            list.Erase(3 * nAt);
            expected.erase(3 * nAt);
            for (const uint32_t nFrom : {0u, 3 * nAt, 3 * nAt + 1, 4500u, 3 * kCount})
                ASSERT_EQ(FirstFrom(expected, nFrom), list.FirstFrom(nFrom));
        }
    }
}

TEST(SDBIndexListTest, ErasingWhatIsNotThereChangesNothing) {
    CSDBIndexList list;
    for (const uint32_t n : {2u, 4u, 6u}) list.Append(n);
    for (const uint32_t n : {0u, 3u, 7u}) list.Erase(n);
    EXPECT_EQ(2u, list.FirstFrom(0));
    EXPECT_EQ(4u, list.FirstFrom(3));
    EXPECT_EQ(6u, list.FirstFrom(5));
}

TEST(SDBIndexListTest, AnEmptiedListTakesNumbersAgain) {
    CSDBIndexList list;
    list.Append(1);
    list.Append(2);
    list.Erase(1);
    list.Erase(2);
    EXPECT_EQ(kNone, list.FirstFrom(0));
    list.Append(3);
    EXPECT_EQ(3u, list.FirstFrom(0));
}

TEST(SDBIndexListTest, ACopyIsItsOwn) {
    CSDBIndexList list;
    list.Append(1);
    list.Append(2);
    CSDBIndexList copy(list);
    list.Erase(1);
    EXPECT_EQ(1u, copy.FirstFrom(0));
    EXPECT_EQ(2u, list.FirstFrom(0));
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
