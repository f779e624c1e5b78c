#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "codec/RawCompress.h"
#include "stream/StreamBuffer.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/Vectors.h"
#include "tests/support/WaveMaker.h"

namespace Kestrova {
namespace {

using namespace Test;

Bytes Packed(const Bytes& wave, uint32_t nFormat) {
    StreamBuffer in, out;
    in.Write(wave.data(), wave.size());
    CRawCompress(&in, &out, nFormat);
    const uint8_t* p = static_cast<const uint8_t*>(out.GetBuffer());
    return {p, p + out.GetSize()};
}

// A plain body with everything in it; what a test changes is a member.
struct PlainBody {
    std::string strName = "Sample";
    std::string strFile = "wave.wav";
    uint32_t nFormat = 16;
    uint32_t nChannels = 2;
    Bytes params = BodyBuilder().Word(12).Word(7).Word(8).Get();
    uint32_t nLoops = 2;
    Bytes loops = BodyBuilder().Word(1).Word(2).Word(3).Word(4).Word(5).Word(6).Word(7).Word(8).Get();
    Bytes stored;
    uint32_t nStored = 0;
    uint32_t nExpanded = 0;
    Bytes tail = Counting(5);

    // The wave raw, or compressed.
    PlainBody& Raw(const Bytes& wave) {
        stored = wave;
        nStored = nExpanded = static_cast<uint32_t>(wave.size());
        return *this;
    }
    PlainBody& Compressed(const Bytes& wave) {
        stored = Packed(wave, nFormat);
        nStored = static_cast<uint32_t>(stored.size());
        nExpanded = static_cast<uint32_t>(wave.size());
        return *this;
    }

    Bytes Get() const {
        BodyBuilder body;
        body.Text(strName).Text(strFile).Word(48000).Word(nFormat).Word(nChannels).Word(25).Word(60);
        body.Word(0xFFFFFFCF)
            .Word(0xCAFE)
            .Counted(params)
            .Word(nLoops)
            .Raw(loops)
            .Word(nStored)
            .Word(nExpanded);
        return body.Raw(stored).Counted(tail).Get();
    }
};

Bytes WaveOf(const CSDBISampleBase& sample) {
    const uint8_t* p = sample.m_info.pWave;
    return p ? Bytes(p, p + sample.m_info.lWave) : Bytes();
}

void LoadWave(CSDBISampleBase& sample, const Bytes& wave) {
    sample.m_info.lWave = static_cast<uint32_t>(wave.size());
    ASSERT_TRUE(sample.SmplMemAlloc());
    std::memcpy(sample.m_info.pWave, wave.data(), wave.size());
}

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

TEST(CompressSizeTest, IsTheCompressedLengthOfTheWave) {
    const Bytes wave = MakeWave(2000, 16, 2);
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, wave);
    sample.CalcCompressSize();
    EXPECT_EQ(Packed(wave, 16).size(), sample.m_lStored);
    EXPECT_EQ(wave, WaveOf(sample));
}

TEST(CompressSizeTest, LengthAboveTheWavesIsKept) {
    const Bytes wave = MakeNoise(8);
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, wave);
    sample.CalcCompressSize();
    EXPECT_GT(sample.m_lStored, 8u);
    const Bytes body = Encode(sample);
    EXPECT_EQ(sample.GetSize(), body.size());
    CSDBISampleWave again(1, 2);
    ASSERT_TRUE(Decode(again, body));
    EXPECT_EQ(wave, WaveOf(again));
}

TEST(CompressSizeTest, IsTheExpandedSizeWithoutWaveOrCompression) {
    CSDBISampleWave sample(1, 2);
    sample.m_info.lWave = 77;
    sample.CalcCompressSize();
    EXPECT_EQ(77u, sample.m_lStored);
    sample.m_info.nFormat = 8;  // a width without compression
    LoadWave(sample, Counting(50));
    sample.CalcCompressSize();
    EXPECT_EQ(50u, sample.m_lStored);
    EXPECT_EQ(sample.GetSize(), Encode(sample).size());
}

TEST(CompressSizeTest, WithoutMemoryTheWaveIsStoredRaw) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, MakeWave(500, 16, 2));
    const PosixFault fault("realloc", ENOMEM);
    sample.CalcCompressSize();
    EXPECT_EQ(2000u, sample.m_lStored);
}

class WriteIntWaveTest : public ::testing::Test {
protected:
    WriteIntWaveTest() { m_file.Create(m_dir.File("f").c_str()); }
    Bytes Written() {
        m_file.Close();
        return ReadFile(m_dir.File("f"));
    }
    TempDir m_dir;
    CXFile m_file;
    CSDBISampleWave m_sample{1, 2};
};

TEST_F(WriteIntWaveTest, StoredSizeZeroWritesNothing) {
    LoadWave(m_sample, Counting(8));
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST_F(WriteIntWaveTest, WithoutAWaveWritesNothing) {
    m_sample.m_info.lWave = m_sample.m_lStored = 8;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    m_sample.m_lStored = 7;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST_F(WriteIntWaveTest, CompressedLengthMustBeTheStoredSize) {
    LoadWave(m_sample, MakeWave(200, 16, 2));
    m_sample.CalcCompressSize();
    ++m_sample.m_lStored;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    --m_sample.m_lStored;
    EXPECT_TRUE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Packed(MakeWave(200, 16, 2), 16), Written());
}

TEST_F(WriteIntWaveTest, RawWaveIsCutToWholeSamples) {
    m_sample.m_info.nFormat = 24;
    LoadWave(m_sample, Counting(11));
    m_sample.m_lStored = 11;
    EXPECT_TRUE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Counting(9), Written());
    EXPECT_EQ(50u + 11, m_sample.GetSize()) << "counts what is stated";
}

TEST_F(WriteIntWaveTest, SamplesOfNoBytesAreRefused) {
    m_sample.m_info.nFormat = 7;
    LoadWave(m_sample, Counting(11));
    m_sample.m_lStored = 11;
    EXPECT_FALSE(m_sample.WriteIntWave(&m_file));
    EXPECT_EQ(Bytes(), Written());
}

TEST(SampleTest, RecordWithoutStoredWaveWritesNone) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, Counting(8));
    EXPECT_EQ(50u, sample.GetSize());
    EXPECT_EQ(50u, Encode(sample).size());
}

TEST(WaveMemoryTest, LoadingClassesGet256SilentFramesOnBothSides) {
    struct Case {
        const char* pszWhy;
        std::unique_ptr<CSDBISampleBase> pSample;
        uint32_t nGuard;
    };
    Case cases[] = {
        {"plain, stored only", std::make_unique<CSDBISample>(1, 2, 0), 0},
        {"plain, header", std::make_unique<CSDBISampleInfo>(1, 2), 0},
        {"plain, wave", std::make_unique<CSDBISampleWave>(1, 2), 256 * 3 * 2},
        {"enriched, header", std::make_unique<CSDBISampleEUInfo>(1, 2), 0},
        {"enriched, wave", std::make_unique<CSDBISampleEUWave>(1, 2), 256 * 3 * 2},
        {"enriched, another type", std::make_unique<CSDBISampleEU>(1, 2, 2), 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pszWhy);
        c.pSample->m_info.nFormat = 0x80000018;
        c.pSample->m_info.nChannels = 2;
        LoadWave(*c.pSample, Counting(12));
        const uint8_t* pBegin = c.pSample->m_info.pWave - c.nGuard;
        EXPECT_EQ(Bytes(c.nGuard), Bytes(pBegin, pBegin + c.nGuard));
        EXPECT_EQ(Counting(12), WaveOf(*c.pSample));
        const uint8_t* pEnd = c.pSample->m_info.pWave + 12;
        EXPECT_EQ(Bytes(c.nGuard), Bytes(pEnd, pEnd + c.nGuard));
    }
}

TEST(WaveMemoryTest, IsFreedFromItsStartThoughTheHeaderChanged) {
    CSDBISampleWave sample(1, 2);
    LoadWave(sample, Counting(12));
    sample.m_info.nFormat = 24;
    sample.m_info.nChannels = 7;
    sample.SmplMemFree();
    EXPECT_EQ(nullptr, sample.m_info.pWave);
    EXPECT_EQ(12u, sample.m_info.lWave) << "the plain kind keeps the length";
    LoadWave(sample, Counting(5));
    EXPECT_EQ(Counting(5), WaveOf(sample));
}

TEST(WaveMemoryTest, FramesNobodyInterpolatesGetNoGuard) {
    CSDBISampleWave sample(1, 2);
    sample.m_info.nFormat = 0x7FFFFFFF;
    sample.m_info.nChannels = 0xFFFFFFFF;
    const PosixFault fault("calloc", ENOMEM, 1000000);
    LoadWave(sample, Counting(5));
    EXPECT_EQ(Counting(5), WaveOf(sample));
    sample.SmplMemFree();
    sample.m_info.nFormat = 16;
    sample.m_info.nChannels = 0x8000;  // 64 KiB: the largest that gets one
    LoadWave(sample, Counting(5));
    EXPECT_EQ(0, sample.m_info.pWave[-256 * 0x10000]);
}

TEST(WaveMemoryTest, MisuseAndFailure) {
    CSDBISampleWave sample(1, 2);
    EXPECT_DEATH(sample.SmplMemAlloc(), "SamplerDBDS/DataBase/SDBInterpreter.*m_info.lWave > 0");
    sample.m_info.lWave = 4;
    {
        const PosixFault fault("calloc", ENOMEM);
        EXPECT_FALSE(sample.SmplMemAlloc());
        EXPECT_EQ(nullptr, sample.m_info.pWave);
    }
    ASSERT_TRUE(sample.SmplMemAlloc());
    EXPECT_DEATH(sample.SmplMemAlloc(), "SamplerDBDS/DataBase/SDBInterpreter.*m_info.pWave == NULL");
}

TEST(SampleSizesTest, FormatWordAndChannelsGiveBytes) {
    struct Case {
        uint32_t nFormat, nChannels, nFrames, nSampleBytes;
        uint64_t nFrameBytes, nStated;
    };
    constexpr Case kCases[] = {
        {16, 2, 10, 2, 4, 40},
        {0x80000020, 1, 3, 4, 4, 12},
        {20, 1, 3, 2, 2, 6},
        {7, 2, 3, 0, 0, 0},
        {16, 0, 3, 2, 0, 0},
        {32, 1, 0xFFFFFFFF, 4, 4, 0x3FFFFFFFC},
        {0x7FFFFFFF, 0xFFFFFFFF, 0, 0xFFFFFFF, 0xFFFFFFEF0000001, 0},
        {0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFF, 0xFFFFFFEF0000001, UINT64_MAX},
    };
    for (const Case& c : kCases) {
        CSDBISampleInfo sample(1, 2);
        sample.m_info.nFormat = c.nFormat;
        sample.m_info.nChannels = c.nChannels;
        sample.m_info.nFrames = c.nFrames;
        EXPECT_EQ(c.nSampleBytes, sample.GetSampleBytes());
        EXPECT_EQ(c.nFrameBytes, sample.GetFrameBytes());
        EXPECT_EQ(c.nStated, sample.GetStatedBytes());
    }
}

TEST(SampleCopyTest, HeaderWithoutTheRate) {
    CSDBISampleInfo from(1, 2);
    ASSERT_TRUE(Decode(from, PlainBody().Raw(Counting(4)).Get()));
    CSDBISampleEUWave to(3, 4);
    to.m_info.nSampleRate = 96000;
    to.CopyHeader(from);
    EXPECT_STREQ("Sample", to.m_info.szName);
    EXPECT_EQ(96000u, to.m_info.nSampleRate);
    EXPECT_EQ(16u, to.m_info.nFormat);
    EXPECT_EQ(2u, to.m_info.nChannels);
    EXPECT_EQ(25u, to.m_info.nFrames);
    EXPECT_EQ(60u, to.m_info.nRootKey);
    EXPECT_EQ(-49, to.m_info.nFineTune);
    EXPECT_EQ(0xCAFEu, to.m_info.nFurther);
    EXPECT_EQ(0u, to.m_info.cLayerLoops);
    EXPECT_EQ(0u, to.m_info.lWave);
}

TEST(SampleCopyTest, OwnedFieldsAreCopiedAndMoved) {
    const PlainBody body = PlainBody().Raw(Counting(4));
    CSDBISampleInfo from(1, 2);
    ASSERT_TRUE(Decode(from, body.Get()));
    CSDBISampleEUWave copy(3, 4), moved(5, 6);
    ASSERT_TRUE(copy.CopyOwned(from));
    EXPECT_EQ(2u, from.m_info.cLayerLoops);
    moved.MoveOwned(from);
    EXPECT_EQ(0u, from.m_info.cLayerLoops);
    EXPECT_EQ(nullptr, from.GetLoops());
    EXPECT_EQ(0u, from.m_params.Size());
    EXPECT_EQ(0u, from.m_pars.Size());
    for (const CSDBISampleEUWave* p : {&copy, &moved}) {
        ASSERT_EQ(2u, p->m_info.cLayerLoops);
        EXPECT_EQ(0, std::memcmp(body.loops.data(), p->GetLoops(), 32));
        EXPECT_EQ(body.params, BlockOf(p->m_params));
        EXPECT_EQ(body.tail, TailOf(p->m_pars));
    }
    EXPECT_TRUE(copy.CopyOwned(from));
    EXPECT_EQ(0u, copy.m_info.cLayerLoops);
    EXPECT_EQ(0u, copy.m_params.Size());
}

TEST(SampleCopyTest, FailedCopyIsFalse) {
    PlainBody body = PlainBody().Raw(Counting(4));
    body.tail = Counting(300);
    CSDBISampleInfo from(1, 2);
    ASSERT_TRUE(Decode(from, body.Get()));
    for (int nNth = 1; nNth <= 3; ++nNth) {
        CSDBISampleEUWave copy(3, 4);
        const PosixFault fault("calloc", ENOMEM, nNth);
        EXPECT_FALSE(copy.CopyOwned(from)) << nNth;
    }
    CSDBISampleInfo loops(1, 2);
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(loops.AllocLoops(5));
    EXPECT_EQ(0u, loops.m_info.cLayerLoops);
}

TEST(SampleOrderTest, GoesByNameFileNameLengthRateAndFormat) {
    struct Row {
        const char* pszName;
        const char* pszFile;
        uint32_t lWave, nRate, nFormat;
    };
    constexpr Row kRising[] = {
        {"", "z", 9, 9, 9},
        {"A", "", 9, 9, 9},
        {"a", "B", 9, 9, 9},
        {"A", "c", 0, 9, 9},
        {"a", "C", 0x80000000, 1, 9},
        {"a", "c", 0x80000000, 0x80000000, 1},
        {"a", "c", 0x80000000, 0x80000000, 0x80000010},
        {"b", "", 0, 0, 0},
    };
    const auto fill = [](CSDBISample& sample, const Row& row) {
        CopyStgStr(sample.m_info.szName, row.pszName);
        CopyStgStr(sample.m_szFile, row.pszFile);
        sample.m_info.lWave = row.lWave;
        sample.m_info.nSampleRate = row.nRate;
        sample.m_info.nFormat = row.nFormat;
    };
    for (const Row& first : kRising) {
        for (const Row& second : kRising) {
            CSDBISampleInfo a(1, 2);
            CSDBISampleWave b(3, 4);
            fill(a, first);
            fill(b, second);
            EXPECT_EQ((&first > &second) - (&first < &second), a.Compare(b))
                << &first - kRising << " " << &second - kRising;
        }
    }
}

TEST(SampleOrderTest, KindsHaveNoCommonOrder) {
    CSDBISampleInfo plain(1, 2);
    CSDBISampleEUInfo enriched(1, 2);
    EXPECT_DEATH(plain.Compare(enriched), "SamplerDBDS/DataBase/SDBInterpreter.*pOther != nullptr");
    EXPECT_DEATH(enriched.Compare(plain), "SamplerDBDS/DataBase/SDBInterpreter.*pOther != nullptr");
}

// The bodies of every record of one type in a database file.
std::vector<Bytes> BodiesOf(const Bytes& file, uint8_t nType) {
    std::vector<Bytes> bodies;
    for (size_t nAt = 20; nAt + 14 <= file.size();) {
        uint32_t nSize = 0;
        std::memcpy(&nSize, &file[nAt + 10], 4);
        const auto pBody = file.begin() + static_cast<std::ptrdiff_t>(nAt + 14);
        if (file[nAt + 1] == nType) bodies.emplace_back(pBody, pBody + nSize);
        nAt += 14 + nSize;
    }
    return bodies;
}

TEST(SampleVectorsTest, SourcesOfTheWorkedCasesRoundTripThroughOurCompressor) {
    for (const char* pszFile : {"builds/src_00.kvn", "builds/src_03.kvn", "builds/src_06.kvn"}) {
        SCOPED_TRACE(pszFile);
        const auto bodies = BodiesOf(ReadFile(VectorPath(pszFile)), 21);
        EXPECT_FALSE(bodies.empty());
        for (const Bytes& body : bodies) {
            CSDBISampleWave sample(1, 2), again(1, 2);
            ASSERT_TRUE(Decode(sample, body));
            EXPECT_EQ(sample.GetStatedBytes(), sample.m_info.lWave);
            EXPECT_EQ(body.size(), sample.GetSize());
            if (sample.m_lStored != sample.m_info.lWave) sample.CalcCompressSize();
            const Bytes written = Encode(sample);
            EXPECT_EQ(sample.GetSize(), written.size());
            ASSERT_TRUE(Decode(again, written));
            EXPECT_EQ(WaveOf(sample), WaveOf(again));
            EXPECT_EQ(written, Encode(again));
        }
    }
}

TEST(SampleVectorsTest, DamagedStoredWaveIsRefusedByTheWaveClassOnly) {
    int nRefused = 0;
    const Bytes file = ReadFile(VectorPath("bad/stored_wave_damaged.kvn"));
    for (const Bytes& body : BodiesOf(file, 21)) {
        CSDBISampleInfo header(1, 2);
        EXPECT_TRUE(Decode(header, body));
        CSDBISampleWave wave(1, 2);
        nRefused += !Decode(wave, body);
    }
    EXPECT_GT(nRefused, 0);
}

}  // namespace
}  // namespace Kestrova
