#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "shared/System/kvStructArray.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

// What happened to records, in order: "c1" a Clear of the record that owned 1, "s1" a Spoil.
std::string g_strCalls;

// A record that owns its number; 0 is nothing.
class Owner : public StructElem {
public:
    explicit Owner(int n = 0) : m_n(n) {}
    void Clear() override { Forget('c'); }
    void Spoil() override { Forget('s'); }

    int m_n;

private:
    void Forget(char chWhat) {
        g_strCalls += chWhat + std::to_string(m_n);
        m_n = 0;
    }
};

class StructArrayTest : public testing::Test {
protected:
    StructArrayTest() { g_strCalls.clear(); }

    // Inserts records that own these numbers and checks that each source was spoiled.
    void Insert(unsigned long nIndex, const std::vector<int>& numbers) {
        std::vector<Owner> owners(numbers.begin(), numbers.end());
        ASSERT_TRUE(m_array.Insert(nIndex, owners.size(), owners.data()));
        for (const Owner& owner : owners) EXPECT_EQ(0, owner.m_n);
        g_strCalls.clear();
    }

    int NumberAt(unsigned long nIndex) { return dynamic_cast<Owner&>(*m_array.GetAt(nIndex)).m_n; }

    std::vector<int> Numbers() {
        std::vector<int> numbers;
        for (unsigned long i = 0; i < m_array.GetCount(); ++i) numbers.push_back(NumberAt(i));
        return numbers;
    }

    CStructArray m_array{sizeof(Owner), 4};
};

using Expected = std::vector<int>;

}  // namespace

TEST(StructElemTest, TheBaseOwnsNothing) {
    StructElem element;
    element.Clear();
    element.Spoil();
}

TEST_F(StructArrayTest, StartsEmpty) {
    EXPECT_EQ(0u, m_array.GetCount());
    EXPECT_EQ(0u, m_array.GetCapacity());
    EXPECT_EQ(nullptr, m_array.GetAt(0));
}

TEST(StructArrayCapacityTest, GrowsInWholeSteps) {
    struct {
        unsigned long nGrowBy, nCount, nCapacity;
    } const kRows[] = {
        {16, 0, 0}, {16, 1, 16}, {16, 16, 16}, {16, 17, 32}, {4, 9, 12}, {1, 3, 3}, {0, 3, 3},
    };
    for (const auto& row : kRows) {
        CStructArray array(sizeof(Owner), row.nGrowBy);
        EXPECT_TRUE(array.Realloc(row.nCount));
        EXPECT_EQ(row.nCount, array.GetCount());
        EXPECT_EQ(row.nCapacity, array.GetCapacity());
    }
}

TEST_F(StructArrayTest, MemoryIsAllocatedOnlyWhenTheCapacityChanges) {
    const PosixFault watch("realloc", ENOMEM, INT_MAX);
    EXPECT_TRUE(m_array.Realloc(1));
    EXPECT_EQ(1, watch.Calls());
    for (const unsigned long nCount : {1ul, 4ul, 2ul}) EXPECT_TRUE(m_array.Realloc(nCount));
    EXPECT_EQ(1, watch.Calls());
    EXPECT_TRUE(m_array.Realloc(5));
    EXPECT_EQ(8u, m_array.GetCapacity());
    EXPECT_TRUE(m_array.Realloc(4));
    EXPECT_EQ(4u, m_array.GetCapacity());
    EXPECT_EQ(3, watch.Calls());
}

TEST_F(StructArrayTest, ReallocToTheSameCountChangesNothing) {
    Insert(0, {1, 2});
    const StructElem* pFirst = m_array.GetAt(0);
    EXPECT_TRUE(m_array.Realloc(2));
    EXPECT_EQ(pFirst, m_array.GetAt(0));
    EXPECT_EQ((Expected{1, 2}), Numbers());
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, ReallocToZeroFreesTheMemoryAndClearsNothing) {
    Insert(0, {1, 2});
    EXPECT_TRUE(m_array.Realloc(0));
    EXPECT_EQ(0u, m_array.GetCount());
    EXPECT_EQ(0u, m_array.GetCapacity());
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, WithoutMemoryNothingChanges) {
    Insert(0, {1, 2, 3, 4});
    Owner five(5);
    const PosixFault fault("realloc", ENOMEM);
    EXPECT_FALSE(m_array.Insert(2, 1, &five));
    EXPECT_EQ((Expected{1, 2, 3, 4}), Numbers());
    EXPECT_EQ(4u, m_array.GetCapacity());
    EXPECT_EQ(5, five.m_n);
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, SizesThatOverflowAreRefused) {
    Insert(0, {1});
    for (const unsigned long nCount :
         {ULONG_MAX, ULONG_MAX - 3, ULONG_MAX / sizeof(Owner) + 1, ULONG_MAX / sizeof(Owner) + 5}) {
        EXPECT_FALSE(m_array.Realloc(nCount));
        EXPECT_EQ((Expected{1}), Numbers());
    }
    Owner two(2);
    EXPECT_FALSE(m_array.Insert(1, ULONG_MAX, &two));
    EXPECT_FALSE(m_array.Delete(1, ULONG_MAX));
    EXPECT_EQ((Expected{1}), Numbers());
}

TEST(StructArrayCapacityTest, RecordsOfNoSizeAreRefused) {
    CStructArray array(0, 4);
    EXPECT_FALSE(array.Realloc(1));
    EXPECT_TRUE(array.Realloc(0));
}

TEST_F(StructArrayTest, InsertedRecordsAreHandedOver) {
    Owner owners[] = {Owner(1), Owner(2)};
    EXPECT_TRUE(m_array.Insert(0, 2, owners));
    EXPECT_EQ("s1s2", g_strCalls);
    EXPECT_EQ((Expected{1, 2}), Numbers());
    EXPECT_EQ(0, owners[0].m_n);
    EXPECT_EQ(0, owners[1].m_n);
}

TEST_F(StructArrayTest, InsertMovesTheTailUp) {
    Insert(0, {1, 2});
    Insert(0, {3});
    Insert(2, {4, 5, 6});
    Insert(6, {7});
    EXPECT_EQ((Expected{3, 1, 4, 5, 6, 2, 7}), Numbers());
    EXPECT_EQ(8u, m_array.GetCapacity());
}

TEST_F(StructArrayTest, InsertRefusesAPlaceBeyondTheEndAndNoRecords) {
    Insert(0, {1});
    Owner two(2);
    EXPECT_FALSE(m_array.Insert(2, 1, &two));
    EXPECT_FALSE(m_array.Insert(0, 1, nullptr));
    EXPECT_TRUE(m_array.Insert(0, 0, nullptr));
    EXPECT_EQ((Expected{1}), Numbers());
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, DeleteClearsTheRemovedAndMovesTheTailDown) {
    Insert(0, {1, 2, 3, 4, 5});
    EXPECT_TRUE(m_array.Delete(1, 2));
    EXPECT_EQ("c2c3", g_strCalls);
    EXPECT_EQ((Expected{1, 4, 5}), Numbers());
    EXPECT_EQ(4u, m_array.GetCapacity());
    EXPECT_TRUE(m_array.Delete(2, 1));
    EXPECT_TRUE(m_array.Delete(0, 2));
    EXPECT_EQ("c2c3c5c1c4", g_strCalls);
    EXPECT_EQ(0u, m_array.GetCapacity());
}

TEST_F(StructArrayTest, DeleteRefusesRecordsThatAreNotThere) {
    Insert(0, {1, 2});
    EXPECT_FALSE(m_array.Delete(1, 2));
    EXPECT_FALSE(m_array.Delete(3, 0));
    EXPECT_TRUE(m_array.Delete(2, 0));
    EXPECT_EQ((Expected{1, 2}), Numbers());
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, DeleteSucceedsWhenTheSystemGivesNoSmallerBlock) {
    Insert(0, {1, 2, 3, 4, 5});
    {
        const PosixFault fault("realloc", ENOMEM);
        EXPECT_TRUE(m_array.Delete(0, 3));
    }
    EXPECT_EQ((Expected{4, 5}), Numbers());
    EXPECT_EQ(8u, m_array.GetCapacity());
    Insert(2, {6});
    EXPECT_EQ(4u, m_array.GetCapacity());
    EXPECT_EQ((Expected{4, 5, 6}), Numbers());
}

TEST_F(StructArrayTest, PutElementToClearsCopiesAndSpoils) {
    Insert(0, {1, 2});
    Owner three(3);
    m_array.PutElementTo(m_array.GetAt(0), &three);
    EXPECT_EQ("c1s3", g_strCalls);
    EXPECT_EQ((Expected{3, 2}), Numbers());
    EXPECT_EQ(0, three.m_n);
    m_array.PutElementTo(m_array.GetAt(1), m_array.GetAt(0));
    EXPECT_EQ("c1s3c2s3", g_strCalls);
    EXPECT_EQ((Expected{0, 3}), Numbers());
}

TEST_F(StructArrayTest, ARecordPutToItsOwnPlaceStays) {
    Insert(0, {1});
    m_array.PutElementTo(m_array.GetAt(0), m_array.GetAt(0));
    EXPECT_EQ((Expected{1}), Numbers());
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, ARecordCanBePutIntoAPlaceThatReallocAdded) {
    ASSERT_TRUE(m_array.Realloc(2));
    Owner one(1);
    m_array.PutElementTo(m_array.GetAt(1), &one);
    EXPECT_EQ("s1", g_strCalls);
    EXPECT_EQ(1, NumberAt(1));
    EXPECT_TRUE(m_array.Delete(0, 2));
    EXPECT_EQ("s1c1", g_strCalls) << "the place never filled owns nothing";
}

TEST_F(StructArrayTest, APlaceCutOffAndAddedAgainIsBlank) {
    Insert(0, {1, 2});
    EXPECT_TRUE(m_array.Realloc(1));
    EXPECT_TRUE(m_array.Realloc(2));
    EXPECT_TRUE(m_array.Delete(1, 1));
    EXPECT_EQ("", g_strCalls);
}

TEST_F(StructArrayTest, ClearDeletesAllAndFreesTheMemory) {
    Insert(0, {1, 2, 3});
    m_array.Clear();
    EXPECT_EQ("c1c2c3", g_strCalls);
    EXPECT_EQ(0u, m_array.GetCount());
    EXPECT_EQ(0u, m_array.GetCapacity());
    m_array.Clear();
    EXPECT_EQ("c1c2c3", g_strCalls);
}

TEST(StructArrayLifeTest, TheDestructorClears) {
    g_strCalls.clear();
    {
        CStructArray array(sizeof(Owner), 4);
        Owner one(1);
        array.Insert(0, 1, &one);
    }
    EXPECT_EQ("s1c1", g_strCalls);
}

}  // namespace Kestrova::Test
