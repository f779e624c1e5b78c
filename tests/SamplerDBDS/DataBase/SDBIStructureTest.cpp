#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBIStructure.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/PromisedMemory.h"
#include "tests/support/RecordBytes.h"

namespace Kestrova::Test {
namespace {

template <class TRecord>
std::unique_ptr<CSDBInterpreter> New() {
    return std::make_unique<TRecord>(7u, 8u);
}

// A body of every class with values that differ from the defaults, and a fresh one.
struct RecordCase {
    const char* pszName;
    uint8_t nType;
    std::unique_ptr<CSDBInterpreter> (*pfnNew)();
    Bytes body;
    Bytes fresh;
};

std::vector<RecordCase> AllRecords(const Bytes& tail) {
    Bytes params = Counting(12);
    std::memcpy(params.data(), "\x0C\0\0\0", 4);
    return {
        {"information", 0, New<CSDBIInfo>,
         BodyBuilder()
             .Text("Name")
             .Text("PC Version")
             .Word(96000)
             .Word(1)
             .Word(0xFFFFFFFE)
             .Word(4)
             .Counted(tail)
             .Get(),
         BodyBuilder().Text("").Text("").Word(0).Word(0).Word(0).Word(0).Word(0).Get()},
        {"preset", 16, New<CSDBIPreset>, BodyBuilder().Text("Preset").Word(0x80000001).Counted(tail).Get(),
         BodyBuilder().Text("").Word(0).Word(0).Get()},
        {"bank", 17, New<CSDBIBank>, BodyBuilder().Text("Bank").Word(11).Word(12).Counted(tail).Get(),
         BodyBuilder().Text("").Word(0).Word(0).Word(0).Get()},
        {"program", 18, New<CSDBIProgram>,
         BodyBuilder().Text("P").Word(1).Word(2).Word(3).Counted(tail).Get(),
         BodyBuilder().Text("").Word(0).Word(0).Word(1).Word(0).Get()},
        {"region", 19, New<CSDBIRegion>,
         BodyBuilder().Text("R").Word(40).Word(43).Word(0xFFFFFFFF).Word(0x80000000).Counted(tail).Get(),
         BodyBuilder().Text("").Word(0).Word(255).Word(1).Word(127).Word(0).Get()},
        {"layer", 20, New<CSDBILayer>,
         BodyBuilder().Word(1).Word(2).Word(3).Word(4).Counted(params).Word(99).Counted(tail).Get(),
         BodyBuilder().Word(0).Word(64).Word(1).Word(0).Word(0).Word(0xFFFFFFFF).Word(0).Get()},
    };
}

TEST(StructureTest, FreshRecordsWriteTheirDefaults) {
    for (const RecordCase& c : AllRecords({})) {
        SCOPED_TRACE(c.pszName);
        const auto pRecord = c.pfnNew();
        EXPECT_EQ(c.nType, pRecord->GetType());
        EXPECT_EQ(7u, pRecord->GetID());
        EXPECT_EQ(8u, pRecord->GetParentID());
        EXPECT_EQ(c.fresh, Encode(*pRecord));
        EXPECT_EQ(c.fresh.size(), pRecord->GetSize());
    }
}

TEST(StructureTest, BodiesRoundTripAtAnyPositionWithTailsOfAnySize) {
    for (const size_t nTail : {0u, 1u, 256u, 257u, 300u, 2000u}) {
        for (const RecordCase& c : AllRecords(Counting(nTail))) {
            SCOPED_TRACE(std::string(c.pszName) + " " + std::to_string(nTail));
            const auto pRecord = c.pfnNew();
            ASSERT_TRUE(DecodeAt(*pRecord, 34, c.body, c.body.size()));
            EXPECT_EQ(c.body, EncodeAt(*pRecord, 5));
            EXPECT_EQ(c.body.size(), pRecord->GetSize());
            EXPECT_EQ(Counting(nTail), TakeBytes(pRecord->GetParametersCopy()));
        }
    }
}

TEST(StructureTest, BodyCutAtAnyByteFailsWhetherTheNoteOrTheFileEnds) {
    for (const size_t nTail : {0u, 300u}) {
        for (const RecordCase& c : AllRecords(Counting(nTail))) {
            SCOPED_TRACE(c.pszName);
            const auto pRecord = c.pfnNew();
            BodyFile file(c.body, 3);
            EXPECT_TRUE(file.Decode(*pRecord, c.body.size()));
            for (size_t nCut = c.body.size(); nCut-- > 0;) {
                EXPECT_FALSE(file.Decode(*pRecord, nCut)) << nCut;
                file.CutTo(nCut);
                EXPECT_FALSE(file.Decode(*pRecord, c.body.size())) << nCut;
            }
        }
    }
}

TEST(StructureTest, BytesBehindTheTailAreLeftAlone) {
    for (const RecordCase& c : AllRecords(Counting(9))) {
        const auto pRecord = c.pfnNew();
        EXPECT_TRUE(Decode(*pRecord, BodyBuilder().Raw(c.body).Zeros(5).Get())) << c.pszName;
        EXPECT_EQ(c.body.size(), pRecord->GetSize());
    }
}

TEST(StructureTest, FailedReadLeavesNothingOfTheRecordBefore) {
    for (const RecordCase& c : AllRecords(Counting(300))) {
        SCOPED_TRACE(c.pszName);
        const auto pRecord = c.pfnNew();
        ASSERT_TRUE(Decode(*pRecord, c.body));
        EXPECT_FALSE(Decode(*pRecord, {}));
        EXPECT_EQ(c.fresh, Encode(*pRecord));
        EXPECT_FALSE(pRecord->Read(nullptr, 10));
    }
}

TEST(StructureTest, CountsBeyondTheBodyAreRefusedBeforeMemoryIsTaken) {
    const Bytes layer = BodyBuilder().Word(1).Word(2).Word(3).Word(4).Word(0xFFFFFFFF).Zeros(50).Get();
    const Bytes preset = BodyBuilder().Text("").Word(1).Word(0xFFFFFFFF).Zeros(50).Get();
    CSDBILayer layerRecord(1, 2);
    CSDBIPreset presetRecord(1, 2);
    const PosixFault fault("calloc", ENOMEM, 1000000);
    EXPECT_FALSE(Decode(layerRecord, layer));
    EXPECT_FALSE(Decode(presetRecord, preset));
    EXPECT_EQ(0, fault.Calls());
}

TEST(StructureTest, FailedAllocationsFailTheRead) {
    for (const RecordCase& c : AllRecords(Counting(300))) {
        SCOPED_TRACE(c.pszName);
        const auto pRecord = c.pfnNew();
        int nFaults = 0;
        for (int nNth = 1;; ++nNth) {
            const PosixFault fault("calloc", ENOMEM, nNth);
            const bool bRead = Decode(*pRecord, c.body);
            EXPECT_EQ(fault.Calls() < nNth, bRead) << nNth;
            if (bRead) break;
            ++nFaults;
        }
        EXPECT_EQ(c.nType == kSdbLayer ? 2 : 1, nFaults);
    }
}

TEST(StructureTest, EveryFailedFileCallFailsReadAndWrite) {
    const TempDir dir;
    const std::string strPath = dir.File("f");
    for (const RecordCase& c : AllRecords(Counting(300))) {
        SCOPED_TRACE(c.pszName);
        const auto pRecord = c.pfnNew();
        ASSERT_TRUE(Decode(*pRecord, c.body));
        FaultyFileEnv env;
        CXFile file;
        ASSERT_TRUE(file.Create(strPath.c_str()));
        env.FillDiskAfter(4);
        EXPECT_FALSE(pRecord->Write(&file) && file.Flush());
        file.Close();
        EXPECT_FALSE(pRecord->Write(&file));
        EXPECT_FALSE(pRecord->Write(nullptr));
        env.Heal();
        WriteFile(strPath, c.body);
        ASSERT_TRUE(file.Open(strPath.c_str(), 0));
        env.FailCallOf(FileOp::kRead, 1, FaultyFileEnv::Lasting::kForGood);
        EXPECT_FALSE(pRecord->Read(&file, c.body.size()));
        file.Close();
    }
}

TEST(StructureTest, ReadingAClosedFileIsTheReadersFatalCheck) {
    CSDBIBank bank(1, 2);
    CXFile file;
    EXPECT_DEATH(bank.Read(&file, 13), "CXFileReadBuff.*SamplerDBDS/BaseClasses/OSSpec.*false|false");
}

TEST(StructureTest, TypicalRecordTakesNoMemory) {
    const PosixFault fault("calloc", ENOMEM, 1000000);
    for (const RecordCase& c : AllRecords(Counting(256))) {
        if (c.nType == kSdbLayer) continue;  // its parameter block
        const auto pRecord = c.pfnNew();
        EXPECT_TRUE(Decode(*pRecord, c.body));
    }
    EXPECT_EQ(0, fault.Calls());
}
// Q79

// Q79
TEST(StructureTest, NamesAreCutAtTheirFirstZeroByte) {
    CSDBIPreset preset(1, 2);
    ASSERT_TRUE(Decode(preset, BodyBuilder().Text(std::string("ab\0cd", 5)).Word(5).Word(0).Get()));
    EXPECT_STREQ("ab", preset.m_info.szName);
    EXPECT_EQ(11u, preset.GetSize());
    EXPECT_EQ(BodyBuilder().Text("ab").Word(5).Word(0).Get(), Encode(preset));
}

TEST(StructureTest, NamesOf255CharactersAreWhole) {
    CSDBIBank bank(1, 2);
    const Bytes body = BodyBuilder().Text(std::string(255, 'n')).Word(1).Word(2).Word(0).Get();
    ASSERT_TRUE(Decode(bank, body));
    EXPECT_EQ(255u, std::strlen(bank.m_info.szName));
    EXPECT_EQ(body, Encode(bank));
}

TEST(StructureTest, GetParametersCopyIsNullForAnEmptyTailAndWithoutMemory) {
    CSDBIBank bank(1, 2);
    EXPECT_EQ(nullptr, bank.GetParametersCopy());
    ASSERT_TRUE(CopyStgPars(bank.m_pars, "abc", 3));
    const PosixFault fault("realloc", ENOMEM);
    EXPECT_EQ(nullptr, bank.GetParametersCopy());
}

TEST(InfoTest, FieldsLieInTheirOrder) {
    CSDBIInfo info(1, kSdbNoID);
    const auto records = AllRecords(Counting(3));
    ASSERT_TRUE(Decode(info, records[0].body));
    EXPECT_STREQ("Name", info.m_info.szName);
    EXPECT_STREQ("PC Version", info.m_info.szDescription);
    EXPECT_EQ(96000u, info.m_info.nSampleRate);
    EXPECT_EQ(1u, info.m_info.nPerKey);
    EXPECT_EQ(0xFFFFFFFEu, info.m_info.nThird);
    EXPECT_EQ(4u, info.m_info.nFourth);
    EXPECT_EQ(22u + 4 + 10 + 3, info.GetSize());
}
// Q80

// Q80
TEST(InfoTest, ComparingEndsTheProgram) {
    CSDBIInfo info(1, kSdbNoID);
    EXPECT_DEATH(info.Compare(info), "Compare.*SamplerDBDS/DataBase/SDBInterpreter.*[^0-9]0[^0-9]*$");
}

class PutDataTest : public ::testing::Test {
protected:
    ~PutDataTest() override { m_pContainer->Release(); }
    Bytes Items() const {
        const uint8_t* p = static_cast<const uint8_t*>(m_pContainer->GetBuffer());
        return {p, p + m_pContainer->GetSize()};
    }
    CSDBIInfo m_info{1, kSdbNoID};
    CDataContainer* m_pContainer = new CDataContainer;
};

TEST_F(PutDataTest, ZeroNumbersAndAnEmptyTailGiveExactlyTwoItems) {
    CopyStgStr(m_info.m_info.szName, "Nam");
    CopyStgStr(m_info.m_info.szDescription, "Desc");
    EXPECT_TRUE(m_info.PutData(m_pContainer));
    EXPECT_EQ(BodyBuilder().Id("FSNM").Word(3).Id("Nam").Zeros(1).Id("FSDS").Word(4).Id("Desc").Get(),
              Items());
}

TEST_F(PutDataTest, EveryItemInItsOrder) {
    CopyStgStr(m_info.m_info.szName, "N");
    CopyStgStr(m_info.m_info.szDescription, "D");
    m_info.m_info.nSampleRate = 48000;
    m_info.m_info.nPerKey = 1;
    m_info.m_info.nThird = 3;
    m_info.m_info.nFourth = 0xFFFFFFFF;
    ASSERT_TRUE(CopyStgPars(m_info.m_pars, "tail", 4));
    EXPECT_TRUE(m_info.PutData(m_pContainer));
    BodyBuilder expected;
    expected.Id("FSNM").Word(1).Id("N").Zeros(1).Id("FSDS").Word(1).Id("D").Zeros(1);
    expected.Id("FIR1").Word(4).Word(48000).Id("FIR2").Word(4).Word(1).Id("FIR3").Word(4).Word(3);
    expected.Id("FIR4").Word(4).Word(0xFFFFFFFF).Id("FVRD").Word(4).Id("tail");
    EXPECT_EQ(expected.Get(), Items());
}

TEST_F(PutDataTest, NumbersOfZeroAreLeftOutOneByOne) {
    CopyStgStr(m_info.m_info.szName, "N");
    CopyStgStr(m_info.m_info.szDescription, "D");
    m_info.m_info.nThird = 3;
    EXPECT_TRUE(m_info.PutData(m_pContainer));
    EXPECT_EQ(BodyBuilder()
                  .Id("FSNM")
                  .Word(1)
                  .Id("N")
                  .Zeros(1)
                  .Id("FSDS")
                  .Word(1)
                  .Id("D")
                  .Zeros(1)
                  .Id("FIR3")
                  .Word(4)
                  .Word(3)
                  .Get(),
              Items());
}

TEST_F(PutDataTest, StopsAtTheFirstItemThatCannotBeAdded) {
    CopyStgStr(m_info.m_info.szName, "Name");
    m_info.m_info.nSampleRate = 48000;  // never reached: the description is empty
    EXPECT_FALSE(m_info.PutData(m_pContainer));
    EXPECT_EQ(BodyBuilder().Id("FSNM").Word(4).Id("Name").Get(), Items());
    EXPECT_FALSE(m_info.PutData(nullptr));
}

TEST(ProgramTest, IsSplitWhenTheSecondValueIsZeroAndTheThirdIsNot) {
    CSDBIProgram program(1, 2);
    EXPECT_TRUE(program.IsSplit());
    program.m_info.nSecond = 1;
    EXPECT_FALSE(program.IsSplit());
    program.m_info = {};
    program.m_info.nThird = 0;
    EXPECT_FALSE(program.IsSplit());
}

TEST(RegionTest, BodyThatEndsAfterItsNameFails) {
    CSDBIRegion region(1, 2);
    EXPECT_FALSE(Decode(region, BodyBuilder().Text("Region").Get()));
}
// Q76

// Q76
TEST(RegionTest, FreshRegionKeepsItsNameAndDefaults) {
    CSDBIRegion region(1, 2);
    CopyStgStr(region.m_info.szName, "Low");
    EXPECT_EQ(24u, region.GetSize());
    EXPECT_EQ(BodyBuilder().Text("Low").Word(0).Word(255).Word(1).Word(127).Word(0).Get(), Encode(region));
}

TEST(LayerTest, WithoutParameterBlockItIs28BytesAndItsTail) {
    CSDBILayer layer(1, 2);
    EXPECT_EQ(28u, layer.GetSize());
    EXPECT_EQ(28u, Encode(layer).size());
    ASSERT_TRUE(CopyStgPars(layer.m_pars, "abc", 3));
    EXPECT_EQ(31u, layer.GetSize());
}

TEST(LayerTest, ParameterBlockIsWrittenWholeAfterItsCount) {
    CSDBILayer layer(1, 2);
    const Bytes block = BodyBuilder().Word(12).Word(0x11223344).Word(0x55667788).Get();
    ASSERT_TRUE(layer.m_params.Copy(block.data(), block.size()));
    const Bytes body = Encode(layer);
    EXPECT_EQ(40u, body.size());
    EXPECT_EQ(BodyBuilder().Word(12).Raw(block).Get(), Bytes(body.begin() + 16, body.begin() + 32));
}

// The disk is full, so that nobody looks at the block.
TEST(LayerTest, ABlockThatItsCountCannotHoldIsNotWritten) {
    constexpr uint64_t kTooLarge = uint64_t{1} << 32;
    if (!IsMemoryPromised(kTooLarge)) GTEST_SKIP() << "this machine does not promise 4 GiB";
    const TempDir dir;
    for (const uint64_t nSize : {kTooLarge, kTooLarge - 1}) {
        SCOPED_TRACE(nSize);
        FaultyFileEnv env;
        CXFile file;
        ASSERT_TRUE(file.Create(dir.File("f").c_str()));
        env.FillDiskAfter(0);
        CSDBILayer layer(1, 2);
        ASSERT_TRUE(layer.m_params.Alloc(nSize));
        EXPECT_FALSE(layer.Write(&file));
        EXPECT_EQ(nSize<kTooLarge, env.Calls(FileOp::kWrite)> 0) << "the largest that it holds is tried";
    }
}
// Q78

// Q78
TEST(LayerTest, BlockWhoseFirstWordIsNotItsCountIsKeptAsItCame) {
    for (const size_t nCount : {1u, 3u, 4u, 12u, 17u}) {
        SCOPED_TRACE(nCount);
        const Bytes block = Counting(nCount, 50);
        const Bytes body = BodyBuilder().Word(1).Word(2).Word(3).Word(4).Counted(block).Word(5).Word(0).Get();
        CSDBILayer layer(1, 2);
        ASSERT_TRUE(Decode(layer, body));
        EXPECT_EQ(block, BlockOf(layer.m_params));
        EXPECT_EQ(5u, layer.m_info.nSampleID);
        EXPECT_EQ(body, Encode(layer));
    }
}

TEST(LayerTest, ClearFreesTheBlockAndRestoresTheDefaults) {
    for (const bool bConstructing : {false, true}) {
        CSDBILayer layer(1, 2);
        ASSERT_TRUE(layer.m_params.Alloc(12));
        ASSERT_TRUE(CopyStgPars(layer.m_pars, Counting(300).data(), 300));
        layer.m_info.nSampleID = 5;
        layer.Clear(bConstructing);
        EXPECT_EQ(AllRecords({})[5].fresh, Encode(layer));
    }
}

// Orders: each row is expected to sort before the next one.
template <class TRecord, class TSet>
void ExpectRising(const std::vector<TSet>& rows) {
    for (size_t i = 0; i < rows.size(); ++i) {
        for (size_t j = 0; j < rows.size(); ++j) {
            TRecord a(1, 2), b(3, 4);
            rows[i](a);
            rows[j](b);
            EXPECT_EQ((i > j) - (i < j), a.Compare(b)) << i << " against " << j;
        }
    }
}

template <class TRecord>
void ExpectFirstValueThenName() {
    const auto row = [](uint32_t nFirst, const char* pszName) {
        return std::function<void(TRecord&)>([=](TRecord& record) {
            record.m_info.nFirst = nFirst;
            CopyStgStr(record.m_info.szName, pszName);
        });
    };
    ExpectRising<TRecord, std::function<void(TRecord&)>>({row(0, "z"), row(1, ""), row(1, "a"), row(1, "B"),
                                                          row(1, "c"), row(0x7FFFFFFF, "a"),
                                                          row(0x80000000, "a")});
    TRecord a(1, 2), b(1, 2);
    CopyStgStr(a.m_info.szName, "NAME");
    CopyStgStr(b.m_info.szName, "name");
    EXPECT_EQ(0, a.Compare(b));
}

TEST(OrderTest, PresetsBanksAndProgramsGoByFirstValueUnsignedThenName) {
    ExpectFirstValueThenName<CSDBIPreset>();
    ExpectFirstValueThenName<CSDBIBank>();
    ExpectFirstValueThenName<CSDBIProgram>();
}

TEST(OrderTest, RegionsGoByTheirFourSignedValuesThenName) {
    const auto row = [](int nLow, int nHigh, int nThird, int nFourth, const char* pszName) {
        return std::function<void(CSDBIRegion&)>([=](CSDBIRegion& record) {
            record.m_info.nLowKey = nLow;
            record.m_info.nHighKey = nHigh;
            record.m_info.nThird = nThird;
            record.m_info.nFourth = nFourth;
            CopyStgStr(record.m_info.szName, pszName);
        });
    };
    ExpectRising<CSDBIRegion, std::function<void(CSDBIRegion&)>>(
        {row(-1, 9, 9, 9, "z"), row(0, -1, 9, 9, "z"), row(0, 0, -1, 9, "z"), row(0, 0, 0, -1, "z"),
         row(0, 0, 0, 0, "a"), row(0, 0, 0, 0, "B"), row(0, 0, 0, 1, "a"), row(0, 0, 1, 0, "a"),
         row(0, 1, 0, 0, "a"), row(1, 0, 0, 0, "a")});
}

TEST(OrderTest, LayersGoByNoteIdUnsigned) {
    const auto row = [](uint32_t id) {
        return std::function<void(CSDBILayer&)>([id](CSDBILayer& record) { record.SetID(id); });
    };
    ExpectRising<CSDBILayer, std::function<void(CSDBILayer&)>>(
        {row(0), row(1), row(0x7FFFFFFF), row(0x80000000)});
}

TEST(OrderTest, RecordsOfTwoClassesHaveNone) {
    CSDBIBank bank(1, 2);
    CSDBIPreset preset(1, 2);
    EXPECT_DEATH(bank.Compare(preset), "SamplerDBDS/DataBase/SDBInterpreter.*pOther != nullptr");
}

TEST(OrderTest, SetsOfRegionsSortBothWays) {
    for (const int nDescending : {0, 1}) {
        CSDBInterpreterSet set;
        for (const int nLow : {5, 1, 3}) {
            auto pRegion = std::make_unique<CSDBIRegion>(1u, 2u);
            pRegion->m_info.nLowKey = nLow;
            ASSERT_TRUE(set.Insert(pRegion.release(), nDescending));
        }
        std::vector<int> keys;
        for (CSDBInterpreter* p = set.GetFirst(); p; p = set.GetNext())
            keys.push_back(static_cast<CSDBIRegion*>(p)->m_info.nLowKey);
        EXPECT_EQ(nDescending ? (std::vector<int>{5, 3, 1}) : (std::vector<int>{1, 3, 5}), keys);
    }
}

}  // namespace
}  // namespace Kestrova::Test
