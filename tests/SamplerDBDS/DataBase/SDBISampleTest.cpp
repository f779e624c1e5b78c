#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "tests/SamplerDBDS/DataBase/SampleBodies.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

TEST(SampleTest, FreshRecordWritesItsDefaults) {
    BodyBuilder expected;
    expected.Text("").Text("").Word(44100).Word(16).Word(2).Word(0).Word(0).Word(0).Word(0);
    expected.Word(0).Word(0).Word(0).Word(0).Word(0);
    for (const int nLoadType : {0, 1, 2, 3, -1}) {
        CSDBISample sample(3, 4, nLoadType);
        EXPECT_EQ(21, sample.GetType());
        EXPECT_EQ(3u, sample.GetID());
        EXPECT_EQ(4u, sample.GetParentID());
        EXPECT_EQ(50u, sample.GetSize());
        EXPECT_EQ(expected.Get(), Encode(sample));
    }
}

TEST(SampleTest, EveryFieldIsReadInItsOrder) {
    CSDBISampleInfo sample(1, 2);
    ASSERT_TRUE(Decode(sample, PlainBody().Raw(Counting(100)).Get()));
    const CSDBISampleBase::Info& info = sample.m_info;
    EXPECT_STREQ("Sample", info.szName);
    EXPECT_STREQ("wave.wav", sample.m_szFile);
    EXPECT_EQ(48000u, info.nSampleRate);
    EXPECT_EQ(16u, info.nFormat);
    EXPECT_EQ(2u, info.nChannels);
    EXPECT_EQ(25u, info.nFrames);
    EXPECT_EQ(60u, info.nRootKey);
    EXPECT_EQ(-49, info.nFineTune);
    EXPECT_EQ(0xCAFEu, info.nFurther);
    EXPECT_EQ(PlainBody().params, BlockOf(sample.m_params));
    ASSERT_EQ(2u, info.cLayerLoops);
    EXPECT_EQ(1u, sample.GetLoops()[0].nCueID);
    EXPECT_EQ(2u, sample.GetLoops()[0].nStart);
    EXPECT_EQ(7u, sample.GetLoops()[1].nEnd);
    EXPECT_EQ(8u, sample.GetLoops()[1].nPlayCount);
    EXPECT_EQ(100u, sample.m_lStored);
    EXPECT_EQ(100u, sample.GetStoredBytes());
    EXPECT_EQ(100u, info.lWave);
    EXPECT_EQ(nullptr, info.pWave);
    EXPECT_EQ(Counting(5), TakeBytes(sample.GetParametersCopy()));
}

TEST(SampleTest, SizeIsTheSumOfItsParts) {
    CSDBISampleWave sample(1, 2);
    const PlainBody body = PlainBody().Raw(Counting(100));
    ASSERT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(50u + 6 + 8 + 12 + 2 * 16 + 100 + 5, sample.GetSize());
    EXPECT_EQ(body.Get().size(), sample.GetSize());
}

TEST(SampleTest, SizeIsComputedIn64Bits) {
    CSDBISampleWave sample(1, 2);
    sample.m_lStored = 0xFFFFFFFF;
    EXPECT_EQ(0x100000031u, sample.GetSize());
}

// What each load type makes of a record with and without a wave.
struct LoadCase {
    const char* pszWhy;
    int nLoadType;
    bool bStored;
    bool bRead;
    bool bWave;
};

TEST(SampleTest, LoadTypesDecideWhatIsRead) {
    constexpr LoadCase kCases[] = {
        {"stored only: its wave", CSDBISample::kLoadStored, true, true, true},
        {"header: skipped", CSDBISample::kLoadInfo, true, true, false},
        {"wave: its wave", CSDBISample::kLoadWave, true, true, true},
        {"stored only: a missing external file has 0 frames", CSDBISample::kLoadStored, false, true, false},
        {"header: a missing external file has 0 frames", CSDBISample::kLoadInfo, false, true, false},
        {"wave: a missing external file has no wave", CSDBISample::kLoadWave, false, false, false},
        {"any other value: the tail follows the header", 3, false, true, false},
        {"any other value, negative", -1, false, true, false},
    };
    const Bytes wave = Counting(100);
    for (const LoadCase& c : kCases) {
        SCOPED_TRACE(c.pszWhy);
        PlainBody body;
        body.strFile = "/nowhere/at/all.wav";
        if (c.bStored) body.Raw(wave);
        CSDBISample sample(1, 2, c.nLoadType);
        EXPECT_EQ(c.bRead, Decode(sample, body.Get()));
        EXPECT_EQ(c.bWave ? wave : Bytes(), WaveOf(sample));
        EXPECT_EQ(c.bRead ? Counting(5) : Bytes(), TailOf(sample.m_pars));
        const bool bResolved = !c.bStored && c.nLoadType >= 0 && c.nLoadType <= 2;
        EXPECT_EQ(bResolved ? 0u : 25u, sample.m_info.nFrames);
        EXPECT_EQ(bResolved ? 0u : 2u, sample.m_info.cLayerLoops);
    }
}
// Q83

// Q83
TEST(SampleTest, OtherLoadTypesTakeTheWaveForTheTail) {
    PlainBody body;
    body.Raw(BodyBuilder().Word(3).Zeros(3).Get());
    CSDBISample sample(1, 2, 7);
    EXPECT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(Bytes(3), TailOf(sample.m_pars));
}

TEST(SampleTest, RawWaveRoundTripsWithoutTheCompressor) {
    for (const uint32_t nFormat : {8u, 16u, 24u, 0x80000020u}) {  // the compressor knows no 8 bits
        SCOPED_TRACE(nFormat);
        PlainBody body;
        body.nFormat = nFormat;
        body.Raw(MakeNoise(120));
        CSDBISampleWave sample(1, 2);
        const PosixFault fault("malloc", ENOMEM, 1000000);  // no stream buffer is made
        ASSERT_TRUE(Decode(sample, body.Get()));
        EXPECT_EQ(body.stored, WaveOf(sample));
        EXPECT_EQ(body.Get(), Encode(sample));
    }
}

TEST(SampleTest, CompressedWaveRoundTrips) {
    for (const uint32_t nFormat : {16u, 24u, 32u, 0x80000020u, 0x80000018u}) {
        SCOPED_TRACE(nFormat);
        PlainBody body;
        body.nFormat = nFormat;
        const Bytes wave = MakeWave(3000, nFormat & 0xFF, 2);
        body.Compressed(wave);
        ASSERT_NE(body.nStored, body.nExpanded);
        CSDBISampleWave sample(1, 2);
        ASSERT_TRUE(Decode(sample, body.Get()));
        EXPECT_EQ(wave, WaveOf(sample));
        EXPECT_EQ(Counting(5), TailOf(sample.m_pars));
        EXPECT_EQ(body.Get(), Encode(sample));
        EXPECT_EQ(wave, WaveOf(sample)) << "only scratch copies are filtered";
    }
}

TEST(SampleTest, BodyCutAtAnyByteFailsWhetherTheNoteOrTheFileEnds) {
    for (const PlainBody& body :
         {PlainBody().Raw(Counting(40)), PlainBody().Compressed(MakeWave(40, 16, 2))}) {
        const Bytes whole = body.Get();
        for (const int nLoadType : {0, 1, 2}) {
            CSDBISample sample(1, 2, nLoadType);
            BodyFile file(whole, 3);
            EXPECT_TRUE(file.Decode(sample, whole.size()));
            for (size_t nCut = whole.size(); nCut-- > 0;) {
                EXPECT_FALSE(file.Decode(sample, nCut)) << nCut;
                file.CutTo(nCut);
                EXPECT_FALSE(file.Decode(sample, whole.size())) << nCut;
            }
        }
    }
}

struct BadBody {
    const char* pszWhy;
    std::function<void(PlainBody&)> change;
};

const std::vector<BadBody>& BadBodies() {
    static const std::vector<BadBody> kBodies = {
        {"parameter block beyond the body", [](PlainBody& b) { b.params.resize(0), b.nLoops = 0xFFFFFFFF; }},
        {"a million loops that are not there", [](PlainBody& b) { b.nLoops = 1000000; }},
        {"loops beyond 32 bits of bytes", [](PlainBody& b) { b.nLoops = 0x10000001; }},
        {"stored wave beyond the body", [](PlainBody& b) { b.nStored = 0xFFFFFFFF; }},
        {"raw wave beyond the body", [](PlainBody& b) { b.nStored = b.nExpanded = 0xFFFFFFFF; }},
        {"expanded size 0", [](PlainBody& b) { b.nExpanded = 0; }},
        {"expanded size above what the stream gives", [](PlainBody& b) { ++b.nExpanded; }},
        {"4 GiB out of a small stream", [](PlainBody& b) { b.nExpanded = 0xFFFFFFFF; }},
        {"damaged stream", [](PlainBody& b) { b.stored[20] ^= 1; }},
        {"stored size one less", [](PlainBody& b) { --b.nStored, b.stored.pop_back(); }},
        {"width 0", [](PlainBody& b) { b.nFormat = 0; }},
        {"width 7", [](PlainBody& b) { b.nFormat = 7; }},
        {"width 8", [](PlainBody& b) { b.nFormat = 8; }},
        {"width 7 with the flag", [](PlainBody& b) { b.nFormat = 0x80000007; }},
        {"width 20", [](PlainBody& b) { b.nFormat = 20; }},
    };
    return kBodies;
}

TEST(SampleTest, BodiesThatDoNotHoldTogetherAreRefusedAndLeaveNoWave) {
    for (const BadBody& c : BadBodies()) {
        SCOPED_TRACE(c.pszWhy);
        PlainBody body;
        body.Compressed(MakeWave(300, 16, 2));
        CSDBISampleWave sample(1, 2);
        ASSERT_TRUE(Decode(sample, body.Get()));
        c.change(body);
        EXPECT_FALSE(Decode(sample, body.Get()));
        EXPECT_EQ(nullptr, sample.m_info.pWave);
    }
}

TEST(SampleTest, SmallerExpandedSizeGivesTheFirstBytes) {
    const Bytes wave = MakeWave(300, 16, 2);
    PlainBody body;
    body.Compressed(wave).nExpanded -= 4;
    CSDBISampleWave sample(1, 2);
    ASSERT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(Bytes(wave.begin(), wave.end() - 4), WaveOf(sample));
}

TEST(SampleTest, DeclaredSizesTakeNoMemoryTheBodyDoesNotProve) {
    PlainBody loops, params, stored, raw;
    loops.nLoops = 0xFFFFFFF;
    stored.nStored = 0xFFFFFFF0;
    stored.nExpanded = 10;
    raw.nStored = raw.nExpanded = 0xFFFFFFFF;
    params.params.clear();
    for (const PlainBody& body : {loops, stored, raw}) {
        PlainBody bare = body;
        bare.params.clear();
        bare.loops.clear();
        if (bare.nLoops == 2) bare.nLoops = 0;
        CSDBISampleWave sample(1, 2);
        const PosixFault fault("calloc", ENOMEM, 1000000);
        EXPECT_FALSE(Decode(sample, bare.Get()));
        EXPECT_EQ(0, fault.Calls());
    }
}

TEST(SampleTest, FailedLoopReadEmptiesTheList) {
    PlainBody body;
    body.nLoops = 3;
    const Bytes whole = body.Get();
    CSDBISampleInfo sample(1, 2);
    EXPECT_FALSE(DecodeAt(sample, 0, whole, whole.size() - 10));
    EXPECT_EQ(0u, sample.m_info.cLayerLoops);
    EXPECT_EQ(nullptr, sample.GetLoops());
}

TEST(SampleTest, MoreLoopsThanAnEnrichedRecordHoldsAreReadHere) {
    PlainBody body;
    body.nLoops = 1000000;
    body.loops = Bytes(16000000);
    CSDBISampleInfo sample(1, 2);
    body.Raw(Counting(4));
    EXPECT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(1000000u, sample.m_info.cLayerLoops);
}

TEST(SampleTest, FailedAllocationsFailTheRead) {
    for (const PlainBody& body :
         {PlainBody().Raw(Counting(40)), PlainBody().Compressed(MakeWave(400, 16, 2))}) {
        const Bytes whole = body.Get();
        for (const char* pszCall : {"calloc", "malloc", "realloc"}) {
            for (int nNth = 1; nNth < 100; ++nNth) {
                SCOPED_TRACE(pszCall + std::to_string(nNth));
                CSDBISampleWave sample(1, 2);
                const PosixFault fault(pszCall, ENOMEM, nNth);
                const bool bRead = Decode(sample, whole);
                EXPECT_EQ(bRead, sample.m_info.pWave != nullptr);
                if (fault.Calls() < nNth) {
                    EXPECT_TRUE(bRead);
                    break;
                }
            }
        }
    }
}

TEST(SampleTest, FailedFileCallsFailReadAndWrite) {
    const TempDir dir;
    const std::string strPath = dir.File("f");
    const PlainBody body = PlainBody().Raw(MakeNoise(200000));
    CSDBISampleWave sample(1, 2);
    for (const auto op : {FileOp::kRead, FileOp::kFacts}) {
        for (int nNth = 1;; ++nNth) {
            ASSERT_LT(nNth, 100);
            WriteFile(strPath, body.Get());
            FaultyFileEnv env;
            CXFile file;
            ASSERT_TRUE(file.Open(strPath.c_str(), 0));
            env.FailCallOf(op, nNth);
            const bool bRead = sample.Read(&file, body.Get().size());
            file.Close();
            EXPECT_TRUE(!bRead || sample.m_info.pWave);
            if (!env.FaultHit()) {
                EXPECT_TRUE(bRead);
                break;
            }
        }
    }
    ASSERT_TRUE(Decode(sample, body.Get()));
    FaultyFileEnv env;
    CXFile file;
    ASSERT_TRUE(file.Create(strPath.c_str()));
    env.FillDiskAfter(1000);
    EXPECT_FALSE(sample.Write(&file) && file.Flush());
    file.Close();
    EXPECT_FALSE(sample.Write(&file));
    EXPECT_FALSE(sample.Write(nullptr));
    EXPECT_FALSE(sample.WriteIntWave(nullptr));
    EXPECT_FALSE(sample.Read(nullptr, 100));
}

TEST(SampleTest, ReadingAClosedFileFails) {
    CSDBISampleWave sample(1, 2);
    CXFile file;
    EXPECT_FALSE(sample.Read(&file, 100));
}

TEST(SampleTest, NamesAreCutAtTheirFirstZeroByte) {
    PlainBody body;
    body.strName = std::string("ab\0cd", 5);
    body.strFile = std::string("\0x", 2);
    body.Raw(Counting(4));
    CSDBISampleWave sample(1, 2);
    ASSERT_TRUE(Decode(sample, body.Get()));
    body.strName = "ab";
    body.strFile = "";
    EXPECT_EQ(body.Get(), Encode(sample));
    EXPECT_EQ(body.Get().size(), sample.GetSize());
}

TEST(SampleTest, ParameterBlockWhoseFirstWordIsNotItsCountIsKeptAsItCame) {
    PlainBody body;
    body.params = Counting(17, 31);
    body.Raw(Counting(4));
    CSDBISampleWave sample(1, 2);
    ASSERT_TRUE(Decode(sample, body.Get()));
    EXPECT_EQ(body.Get(), Encode(sample));
}

TEST(SampleTest, ClearFreesEverythingAndRestoresTheDefaults) {
    const Bytes fresh = [] {
        CSDBISampleWave sample(1, 2);
        return Encode(sample);
    }();
    for (const bool bConstructing : {false, true}) {
        CSDBISampleWave sample(1, 2);
        ASSERT_TRUE(Decode(sample, PlainBody().Raw(Counting(40)).Get()));
        sample.Clear(bConstructing);
        EXPECT_EQ(nullptr, sample.m_info.pWave);
        EXPECT_EQ(nullptr, sample.GetLoops());
        EXPECT_EQ(fresh, Encode(sample));
    }
}

}  // namespace
}  // namespace Kestrova::Test
