#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "SamplerDBDS/BaseClasses/XFileReader.h"
#include "SamplerDBDS/DataBase/SDBRecord.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/PromisedMemory.h"
#include "tests/support/RecordBytes.h"

namespace Kestrova::Test {
namespace {

// The least record: it counts calls and its living objects.
class CPlainRecord : public CSDBInterpreter {
public:
    CPlainRecord(SDBTYPE type, int nKey, char chName = ' ')
        : CSDBInterpreter(type, 1, 2), m_nKey(nKey), m_chName(chName) {
        ++s_nLiving;
    }
    ~CPlainRecord() override { --s_nLiving; }

    using CSDBInterpreter::Read;
    using CSDBInterpreter::Write;
    bool Read(CXFile*, unsigned long size) override {
        m_nRead = size;
        return true;
    }
    bool Write(CXFile*) override { return ++m_nWrites > 0; }
    int Compare(CSDBInterpreter& other) override {
        const int nOther = static_cast<CPlainRecord&>(other).m_nKey;
        return (m_nKey > nOther) - (m_nKey < nOther);
    }
    unsigned long GetSize() override { return 0; }

    int m_nKey;
    char m_chName;
    unsigned long m_nRead = 0;
    int m_nWrites = 0;
    static inline int s_nLiving = 0;
};

TEST(InterpreterTest, HoldsTypeIdAndParent) {
    CPlainRecord record(kSdbRegion, 0);
    EXPECT_EQ(19, record.GetType());
    EXPECT_EQ(1u, record.GetID());
    EXPECT_EQ(2u, record.GetParentID());
    record.SetID(0xFFFFFFFE);
    record.SetParentID(kSdbNoID);
    EXPECT_EQ(0xFFFFFFFEu, record.GetID());
    EXPECT_EQ(0xFFFFFFFFu, record.GetParentID());
}

TEST(InterpreterTest, FormsWithAnOptionForwardToThoseWithout) {
    CPlainRecord record(kSdbPreset, 0);
    EXPECT_TRUE(record.Read(nullptr, 77, 5));
    EXPECT_EQ(77u, record.m_nRead);
    EXPECT_TRUE(record.Write(nullptr, 5));
    EXPECT_EQ(1, record.m_nWrites);
}

TEST(InterpreterTest, BaseHasNoParametersAndNoItems) {
    CPlainRecord record(kSdbPreset, 0);
    EXPECT_EQ(nullptr, record.GetParametersCopy());
    CDataContainer* pContainer = new CDataContainer;
    EXPECT_FALSE(record.PutData(pContainer));
    EXPECT_EQ(0u, pContainer->GetSize());
    pContainer->Release();
}

std::string Names(CSDBInterpreterSet& set) {
    std::string str;
    for (CSDBInterpreter* p = set.GetFirst(); p; p = set.GetNext())
        str += static_cast<CPlainRecord*>(p)->m_chName;
    return str;
}

struct OrderCase {
    const char* pszWhy;
    int nDescending;
    const char* pszExpected;
};

TEST(InterpreterSetTest, KeepsOrderAndEqualOnesKeepTheirInsertionOrder) {
    constexpr OrderCase kCases[] = {
        {"ascending", 0, "aBbdDc"},
        {"descending", 1, "cdDBba"},
        {"any value but 0 is descending", -3, "cdDBba"},
    };
    for (const OrderCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        CSDBInterpreterSet set;
        const std::pair<int, char> kMembers[] = {{5, 'd'}, {2, 'B'}, {9, 'c'}, {5, 'D'}, {1, 'a'}, {2, 'b'}};
        for (const auto& [nKey, chName] : kMembers)
            ASSERT_TRUE(set.Insert(new CPlainRecord(kSdbBank, nKey, chName), c.nDescending));
        EXPECT_EQ(c.pszExpected, Names(set));
    }
    EXPECT_EQ(0, CPlainRecord::s_nLiving);
}

TEST(InterpreterSetTest, AnotherTypeThanTheFirstIsRefusedAndStaysTheCallers) {
    CSDBInterpreterSet set;
    ASSERT_TRUE(set.Insert(new CPlainRecord(kSdbBank, 1, 'a'), 0));
    const auto pOther = std::make_unique<CPlainRecord>(kSdbPreset, 0, 'x');
    EXPECT_FALSE(set.Insert(pOther.get(), 0));
    EXPECT_FALSE(set.Insert(nullptr, 0));
    EXPECT_EQ("a", Names(set));
}

TEST(InterpreterSetTest, ClearDeletesTheMembersAndAllowsAnyTypeAgain) {
    CSDBInterpreterSet set;
    for (int i = 0; i < 100000; ++i) ASSERT_TRUE(set.Insert(new CPlainRecord(kSdbBank, -i), 0));
    EXPECT_EQ(100000, CPlainRecord::s_nLiving);
    set.Clear();
    EXPECT_EQ(0, CPlainRecord::s_nLiving);
    EXPECT_EQ(nullptr, set.GetFirst());
    EXPECT_EQ(nullptr, set.GetNext());
    EXPECT_TRUE(set.Insert(new CPlainRecord(kSdbLayer, 0, 'l'), 0));
    EXPECT_EQ("l", Names(set));
}

TEST(InterpreterSetTest, DestructionDeletesTheMembers) {
    {
        CSDBInterpreterSet set;
        set.Insert(new CPlainRecord(kSdbBank, 0), 0);
        set.Insert(new CPlainRecord(kSdbBank, 0), 0);
    }
    EXPECT_EQ(0, CPlainRecord::s_nLiving);
}

TEST(StgStrTest, CutsAt255CharactersAndTakesNull) {
    char sz[256];
    std::memset(sz, 'x', sizeof sz);
    EXPECT_TRUE(CopyStgStr(sz, nullptr));
    EXPECT_STREQ("", sz);
    EXPECT_TRUE(CopyStgStr(sz, "name"));
    EXPECT_STREQ("name", sz);
    for (const size_t nLength : {254u, 255u, 256u, 300u}) {
        EXPECT_TRUE(CopyStgStr(sz, std::string(nLength, 'y').c_str()));
        EXPECT_EQ(std::min<size_t>(nLength, 255), std::strlen(sz));
    }
    EXPECT_TRUE(CopyStgStr(sz, sz));
    EXPECT_EQ(255u, std::strlen(sz));
}

TEST(StgBlockTest, AllocGivesZeroBytesAndReplacesWhatWasThere) {
    CStgBlock block;
    EXPECT_EQ(nullptr, block.Data());
    ASSERT_TRUE(block.Copy("abc", 3));
    EXPECT_EQ((Bytes{'a', 'b', 'c'}), BlockOf(block));
    ASSERT_TRUE(block.Alloc(5));
    EXPECT_EQ(Bytes(5), BlockOf(block));
    ASSERT_TRUE(block.Alloc(0));
    EXPECT_EQ(nullptr, block.Data());
    EXPECT_EQ(0u, block.Size());
}

TEST(StgBlockTest, CopyOfItsOwnBytes) {
    CStgBlock block;
    ASSERT_TRUE(block.Copy("abcdef", 6));
    ASSERT_TRUE(block.Copy(block.Data() + 2, 3));
    EXPECT_EQ((Bytes{'c', 'd', 'e'}), BlockOf(block));
}

TEST(StgBlockTest, FailedAllocationLeavesItEmpty) {
    CStgBlock block;
    ASSERT_TRUE(block.Alloc(5));
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(block.Alloc(6));
    EXPECT_EQ(0u, block.Size());
    EXPECT_EQ(nullptr, block.Data());
}

TEST(StgParsTest, UpTo256BytesLieInTheHolderItself) {
    for (const size_t nSize : {1u, 255u, 256u, 257u, 300u}) {
        SCOPED_TRACE(nSize);
        const Bytes bytes = Counting(nSize);
        StgPars pars;
        ASSERT_TRUE(CopyStgPars(pars, bytes.data(), bytes.size()));
        EXPECT_EQ(bytes, TailOf(pars));
        EXPECT_EQ(nSize <= 256, pars.IsInline());
        const uint8_t* pHolder = reinterpret_cast<const uint8_t*>(&pars);
        EXPECT_EQ(nSize <= 256, pars.Data() >= pHolder && pars.Data() < pHolder + sizeof pars);
        FreeStgPars(pars);
        EXPECT_EQ(0u, pars.Size());
    }
}

TEST(StgParsTest, CopyOfNullEmptiesTheHolder) {
    StgPars pars;
    ASSERT_TRUE(CopyStgPars(pars, "abc", 3));
    EXPECT_TRUE(CopyStgPars(pars, nullptr, 3));
    EXPECT_EQ(0u, pars.Size());
    EXPECT_TRUE(CopyStgPars(pars, "abc", 0));
    EXPECT_EQ(0u, pars.Size());
}

TEST(StgParsTest, CopyFailsWithoutMemoryAndForSizesTheCountCannotHold) {
    const Bytes bytes(300);
    StgPars pars;
    ASSERT_TRUE(CopyStgPars(pars, "abc", 3));
    {
        const PosixFault fault("calloc", ENOMEM);
        EXPECT_FALSE(CopyStgPars(pars, bytes.data(), bytes.size()));
    }
    EXPECT_EQ(0u, pars.Size());
    EXPECT_FALSE(CopyStgPars(pars, bytes.data(), 0x100000000));
    EXPECT_FALSE(ReadStgPars(pars, nullptr, 0x100000000));
}

TEST(StgParsTest, TheLargestSizeThatTheCountHoldsIsProvided) {
    if (!IsMemoryPromised(UINT32_MAX)) GTEST_SKIP() << "this machine does not promise 4 GiB";
    StgPars pars;
    EXPECT_TRUE(ReadStgPars(pars, nullptr, UINT32_MAX));
    EXPECT_EQ(UINT32_MAX, pars.Size());
}

class StgParsFileTest : public ::testing::Test {
protected:
    void Open(const Bytes& bytes) {
        WriteFile(m_dir.File("f"), bytes);
        ASSERT_TRUE(m_file.Open(m_dir.File("f").c_str(), 0));
    }
    TempDir m_dir;
    CXFile m_file;
    StgPars m_pars;
};

TEST_F(StgParsFileTest, ReadStgParsTakesTheBytesAtThePosition) {
    Open(Counting(400));
    ASSERT_TRUE(m_file.SeekToPos(10));
    EXPECT_TRUE(ReadStgPars(m_pars, &m_file, 300));
    const Bytes all = Counting(400);
    EXPECT_EQ(Bytes(all.begin() + 10, all.begin() + 310), TailOf(m_pars));
}
// Q77

// Q77
TEST_F(StgParsFileTest, ReadStgParsReportsItsSizeThoughTheReadFailed) {
    Open(Counting(10));
    EXPECT_TRUE(ReadStgPars(m_pars, &m_file, 300));
    EXPECT_EQ(300u, m_pars.Size());
    Bytes expected = Counting(10);
    expected.resize(300);
    EXPECT_EQ(expected, TailOf(m_pars));
    EXPECT_TRUE(ReadStgPars(m_pars, nullptr, 4));
    EXPECT_EQ(4u, m_pars.Size());
}

TEST_F(StgParsFileTest, ReadStgParsFailsWithoutMemory) {
    Open(Counting(400));
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(ReadStgPars(m_pars, &m_file, 300));
    EXPECT_EQ(0u, m_pars.Size());
}

TEST_F(StgParsFileTest, UnknownParamsAreReadThroughEitherReader) {
    const Bytes tail = Counting(300);
    const Bytes body = BodyBuilder().Counted(tail).Counted({}).Get();
    Open(body);
    {
        CXFileReadBuff reader(&m_file, body.size());
        EXPECT_TRUE(ReadUnknownParams(reader, m_pars));
        EXPECT_EQ(tail, TailOf(m_pars));
        EXPECT_TRUE(ReadUnknownParams(reader, m_pars));
        EXPECT_EQ(0u, m_pars.Size());
    }
    ASSERT_TRUE(m_file.SeekToPos(0));
    CXFileReader reader(&m_file, body.size());
    EXPECT_TRUE(ReadUnknownParams(reader, m_pars));
    EXPECT_EQ(tail, TailOf(m_pars));
}

TEST_F(StgParsFileTest, UnknownParamsCutShortEmptyTheHolder) {
    for (const uint32_t nCount : {3u, 300u}) {
        const Bytes whole = BodyBuilder().Counted(Counting(nCount)).Get();
        for (const size_t nCut : {size_t{0}, size_t{3}, size_t{4}, whole.size() - 1}) {
            SCOPED_TRACE(nCut);
            const Bytes body(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(nCut));
            Open(body);
            ASSERT_TRUE(CopyStgPars(m_pars, "old", 3));
            CXFileReadBuff reader(&m_file, body.size());
            EXPECT_FALSE(ReadUnknownParams(reader, m_pars));
            EXPECT_EQ(0u, m_pars.Size());
            reader.Clear();
        }
    }
}

TEST_F(StgParsFileTest, UnknownParamsFailWithoutMemory) {
    const Bytes body = BodyBuilder().Counted(Counting(300)).Get();
    Open(body);
    CXFileReadBuff reader(&m_file, body.size());
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(ReadUnknownParams(reader, m_pars));
    EXPECT_EQ(0u, m_pars.Size());
}

TEST_F(StgParsFileTest, WriteUnknownParamsWritesTheCountAndTheBytes) {
    for (const size_t nSize : {0u, 3u, 300u}) {
        const Bytes tail = Counting(nSize);
        ASSERT_TRUE(CopyStgPars(m_pars, tail.data(), tail.size()));
        ASSERT_TRUE(m_file.Create(m_dir.File("out").c_str()));
        EXPECT_TRUE(WriteUnknownParams(&m_file, m_pars));
        m_file.Close();
        EXPECT_EQ(BodyBuilder().Counted(tail).Get(), ReadFile(m_dir.File("out")));
    }
    EXPECT_FALSE(WriteUnknownParams(&m_file, m_pars));  // closed
    EXPECT_FALSE(WriteUnknownParams(nullptr, m_pars));
}

}  // namespace
}  // namespace Kestrova::Test
