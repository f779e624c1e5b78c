#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// An enriched body at a position of its file; what a test changes is a member.
struct EnrichedBody {
    std::string strName = "Sample";
    Bytes params = BodyBuilder().Word(12).Word(7).Word(8).Get();
    uint32_t nLoops = 2;
    Bytes loops = BodyBuilder().Word(1).Word(2).Word(3).Word(4).Word(5).Word(6).Word(7).Word(8).Get();
    Bytes wave = Counting(40);
    Bytes tail = Counting(5);

    size_t HeaderBytes() const {
        return 1 + strName.size() + 7 * 4 + 4 + params.size() + 4 + loops.size() + 4;
    }

    Bytes GetAt(uint32_t nPosition) const {
        const size_t nPre = 512 - (nPosition + HeaderBytes()) % 512;
        BodyBuilder body;
        body.Text(strName).Word(96000).Word(16).Word(2).Word(10).Word(60).Word(0xFFFFFFCF).Word(0xCAFE);
        body.Counted(params).Word(nLoops).Raw(loops).Word(static_cast<uint32_t>(wave.size()));
        return body.Zeros(nPre).Raw(wave).Zeros(512 - nPre).Counted(tail).Get();
    }
    Bytes Get() const { return GetAt(0); }
};

Bytes WaveOf(const CSDBISampleBase& sample) {
    const uint8_t* p = sample.m_info.pWave;
    return p ? Bytes(p, p + sample.m_info.lWave) : Bytes();
}

bool Measure(const Bytes& body) { return BodyFile(body).Measure(static_cast<uint32_t>(body.size())); }

TEST(SampleEUTest, FreshRecordHasZeroDefaultsAndCannotBeWritten) {
    CSDBISampleEUWave sample(3, 4);
    EXPECT_EQ(21, sample.GetType());
    EXPECT_EQ(3u, sample.GetID());
    EXPECT_EQ(4u, sample.GetParentID());
    EXPECT_EQ(0u, sample.m_info.nSampleRate);
    EXPECT_EQ(0u, sample.m_info.nFormat);
    EXPECT_EQ(0u, sample.m_info.nChannels);
    EXPECT_EQ(0u, sample.m_posWave);
    EXPECT_EQ(557u, sample.GetSize());
    EXPECT_EQ(Bytes(), Encode(sample));
}

TEST(SampleEUTest, EveryFieldIsReadInItsOrder) {
    CSDBISampleEUInfo sample(1, 2);
    ASSERT_TRUE(Decode(sample, EnrichedBody().Get()));
    const CSDBISampleBase::Info& info = sample.m_info;
    EXPECT_STREQ("Sample", info.szName);
    EXPECT_EQ(96000u, info.nSampleRate);
    EXPECT_EQ(16u, info.nFormat);
    EXPECT_EQ(2u, info.nChannels);
    EXPECT_EQ(10u, info.nFrames);
    EXPECT_EQ(60u, info.nRootKey);
    EXPECT_EQ(-49, info.nFineTune);
    EXPECT_EQ(0xCAFEu, info.nFurther);
    EXPECT_EQ(EnrichedBody().params, BlockOf(sample.m_params));
    ASSERT_EQ(2u, info.cLayerLoops);
    EXPECT_EQ(6u, sample.GetLoops()[1].nStart);
    EXPECT_EQ(40u, info.lWave);
    EXPECT_EQ(40u, sample.GetStoredBytes());
    EXPECT_EQ(nullptr, info.pWave);
    EXPECT_EQ(512u, sample.m_posWave);
    EXPECT_EQ(Counting(5), TakeBytes(sample.GetParametersCopy()));
}

TEST(SampleEUTest, RoundTripsAtEveryPaddingAndPutsTheWaveOnABoundary) {
    const EnrichedBody body;
    const uint32_t nOnBoundary = static_cast<uint32_t>(1024 - body.HeaderBytes());
    for (const uint32_t nPosition : {0u, 1u, nOnBoundary - 511, nOnBoundary - 1, nOnBoundary, nOnBoundary + 1,
                                     nOnBoundary + 511, nOnBoundary + 512, 70001u}) {
        SCOPED_TRACE(nPosition);
        const Bytes expected = body.GetAt(nPosition);
        CSDBISampleEUWave sample(1, 2);
        ASSERT_TRUE(DecodeAt(sample, nPosition, expected, expected.size()));
        EXPECT_EQ(body.wave, WaveOf(sample));
        EXPECT_EQ(Counting(5), TailOf(sample.m_pars));
        const uint64_t posWave = sample.m_posWave;
        EXPECT_EQ(0u, posWave % 512);
        EXPECT_EQ(body.wave, Bytes(expected.begin() + static_cast<std::ptrdiff_t>(posWave - nPosition),
                                   expected.begin() + static_cast<std::ptrdiff_t>(posWave - nPosition + 40)));
        EXPECT_EQ(expected, EncodeAt(sample, nPosition));
        EXPECT_EQ(posWave, sample.m_posWave);
        EXPECT_EQ(expected.size(), sample.GetSize());
    }
}
// Q84

// Q84
TEST(SampleEUTest, LengthFieldThatEndsOnABoundaryGets512BytesBeforeTheWaveAndNoneAfter) {
    const EnrichedBody body;
    const uint32_t nPosition = static_cast<uint32_t>(1024 - body.HeaderBytes());
    const Bytes expected = body.GetAt(nPosition);
    EXPECT_EQ(expected.size(), body.HeaderBytes() + 512 + 40 + 4 + 5);
    CSDBISampleEUWave sample(1, 2);
    ASSERT_TRUE(DecodeAt(sample, nPosition, expected, expected.size()));
    EXPECT_EQ(1536u, sample.m_posWave);
    const Bytes written = EncodeAt(sample, nPosition);
    const auto pPadding = written.begin() + static_cast<std::ptrdiff_t>(body.HeaderBytes());
    EXPECT_EQ(Bytes(512), Bytes(pPadding, pPadding + 512));
    EXPECT_EQ(body.wave, Bytes(pPadding + 512, pPadding + 552));
    EXPECT_EQ(BodyBuilder().Counted(body.tail).Get(), Bytes(pPadding + 552, written.end()));
}

TEST(SampleEUTest, WaveIsWrittenAtTheRecordsPlaceNotWhereItWasRead) {
    const EnrichedBody body;
    CSDBISampleEUWave sample(1, 2);
    ASSERT_TRUE(DecodeAt(sample, 100, body.GetAt(100), body.GetAt(100).size()));
    EXPECT_EQ(body.GetAt(4000), EncodeAt(sample, 4000));
    EXPECT_EQ(4096u, sample.m_posWave);
}
// Q83

// Q83
TEST(SampleEUTest, OtherLoadTypesTakeThePaddingForTheTail) {
    CSDBISampleEU sample(1, 2, 5);
    ASSERT_TRUE(Decode(sample, EnrichedBody().Get()));
    EXPECT_EQ(0u, sample.m_pars.Size());
    EXPECT_EQ(nullptr, sample.m_info.pWave);
    EXPECT_EQ(512u, sample.m_posWave);
}

TEST(SampleEUTest, WaveOfNoBytesFails) {
    EnrichedBody body;
    body.wave.clear();
    CSDBISampleEUInfo sample(1, 2);
    EXPECT_FALSE(Decode(sample, body.Get()));
    EXPECT_FALSE(Measure(body.Get()));
}

TEST(SampleEUTest, LoopCountOf999999Reads) {
    EnrichedBody body;
    body.nLoops = 999999;
    body.loops = Bytes(999999 * 16);
    const Bytes bytes = body.Get();
    CSDBISampleEUWave sample(1, 2);
    EXPECT_TRUE(Measure(bytes));
    ASSERT_TRUE(Decode(sample, bytes));
    EXPECT_EQ(999999u, sample.m_info.cLayerLoops);
    EXPECT_EQ(bytes.size(), sample.GetSize());
}
// Q85

// Q85
TEST(SampleEUTest, LoopCountOf1000000EndsTheProgramAndIsMeasuredAsBad) {
    EnrichedBody body;
    body.nLoops = 1000000;
    body.loops = Bytes(1000000 * 16);
    const Bytes bytes = body.Get();
    EXPECT_FALSE(Measure(bytes));
    CSDBISampleEUInfo sample(1, 2);
    const BodyFile file(bytes);  // of this process, which removes it
    EXPECT_DEATH(file.Decode(sample, bytes.size()),
                 "SamplerDBDS/DataBase/SDBInterpreter.*m_info.cLayerLoops < 1000000");
}

TEST(SampleEUTest, ListsNoReaderTakesAreNotWritten) {
    CSDBISampleEUWave sample(1, 2);
    ASSERT_TRUE(sample.CopyWave("abcd", 4));
    ASSERT_TRUE(sample.AllocLoops(1000000));
    EXPECT_EQ(Bytes(), Encode(sample));
    ASSERT_TRUE(sample.AllocLoops(999999));
    EXPECT_EQ(sample.GetSize(), Encode(sample).size());
}

TEST(SampleEUTest, LeavingTheWindowIsTheReadersFatalCheck) {
    const Bytes bytes = EnrichedBody().Get();
    CSDBISampleEUWave sample(1, 2);
    const BodyFile file(bytes);  // of this process, which removes it
    EXPECT_DEATH(file.Decode(sample, bytes.size() - 1), "pos \\+ bytes <= m_posBegin \\+ m_size");
    EXPECT_DEATH(file.Decode(sample, 10), "pos \\+ bytes <= m_posBegin \\+ m_size");
}

TEST(SampleEUTest, FileThatEndsInsideTheWindowFails) {
    const Bytes whole = EnrichedBody().Get();
    BodyFile file(whole);
    for (size_t nCut = whole.size(); nCut-- > 0;) {
        file.CutTo(nCut);
        CSDBISampleEUWave sample(1, 2);
        EXPECT_FALSE(file.Decode(sample, whole.size())) << nCut;
        EXPECT_FALSE(file.Measure(static_cast<uint32_t>(whole.size()))) << nCut;
    }
}

TEST(SampleEUTest, FailedAllocationsFailTheRead) {
    EnrichedBody body;
    body.tail = Counting(300);
    for (int nNth = 1; nNth <= 5; ++nNth) {
        CSDBISampleEUWave sample(1, 2);
        const PosixFault fault("calloc", ENOMEM, nNth);
        EXPECT_EQ(nNth == 5, Decode(sample, body.Get())) << nNth;
    }
}

TEST(SampleEUTest, FailedFileCallsFailReadAndWrite) {
    const TempDir dir;
    EnrichedBody body;
    body.wave = Bytes(200000, 0x55);
    WriteFile(dir.File("f"), body.Get());
    CSDBISampleEUWave sample(1, 2);
    for (int nNth = 1;; ++nNth) {
        ASSERT_LT(nNth, 100);
        FaultyFileEnv env;
        CXFile file;
        ASSERT_TRUE(file.Open(dir.File("f").c_str(), 0));
        env.FailCallOf(FileOp::kRead, nNth);
        const bool bRead = sample.Read(&file, body.Get().size());
        file.Close();
        if (!env.FaultHit()) {
            EXPECT_TRUE(bRead);
            break;
        }
        EXPECT_FALSE(bRead);
    }
    FaultyFileEnv env;
    CXFile file;
    ASSERT_TRUE(file.Create(dir.File("g").c_str()));
    env.FillDiskAfter(1000);
    EXPECT_FALSE(sample.Write(&file) && file.Flush());
    file.Close();
    EXPECT_FALSE(sample.Write(&file));
    EXPECT_FALSE(sample.Write(nullptr));
    EXPECT_FALSE(sample.Read(nullptr, 600));
}

TEST(SampleEUTest, NameIsCutAtItsFirstZeroByte) {
    EnrichedBody body;
    body.strName = std::string("ab\0cd", 5);
    CSDBISampleEUWave sample(1, 2);
    ASSERT_TRUE(Decode(sample, body.Get()));
    body.strName = "ab";
    EXPECT_EQ(body.Get(), Encode(sample));
}

TEST(SampleEUTest, ClearFreesEverything) {
    for (const bool bConstructing : {false, true}) {
        CSDBISampleEUWave sample(1, 2);
        ASSERT_TRUE(Decode(sample, EnrichedBody().Get()));
        sample.Clear(bConstructing);
        EXPECT_EQ(nullptr, sample.m_info.pWave);
        EXPECT_EQ(nullptr, sample.GetLoops());
        EXPECT_EQ(0u, sample.m_posWave);
        EXPECT_EQ(557u, sample.GetSize());
    }
}

TEST(AllocWaveTest, SetsTheLengthAndGivesASilentWave) {
    CSDBISampleEUWave sample(1, 2);
    sample.m_info.nFormat = 24;
    sample.m_info.nChannels = 1;
    ASSERT_TRUE(sample.AllocWave(30));
    EXPECT_EQ(30u, sample.m_info.lWave);
    EXPECT_EQ(Bytes(30), WaveOf(sample));
    EXPECT_EQ(0, sample.m_info.pWave[-256 * 3]);
    EXPECT_EQ(0, sample.m_info.pWave[30 + 256 * 3 - 1]);
}
// Q86

// Q86
TEST(AllocWaveTest, FreeSetsTheLengthToZero) {
    CSDBISampleEUWave sample(1, 2);
    ASSERT_TRUE(sample.CopyWave("abc", 3));
    EXPECT_EQ((Bytes{'a', 'b', 'c'}), WaveOf(sample));
    sample.SmplMemFree();
    EXPECT_EQ(0u, sample.m_info.lWave);
    EXPECT_EQ(nullptr, sample.m_info.pWave);
    EXPECT_TRUE(sample.AllocWave(2));
}

TEST(AllocWaveTest, MisuseEndsTheProgram) {
    CSDBISampleEUWave sample(1, 2);
    EXPECT_DEATH(sample.AllocWave(0), "m_info.lWave > 0");
    EXPECT_DEATH(sample.CopyWave("", 0), "m_info.lWave > 0");
    ASSERT_TRUE(sample.AllocWave(2));
    EXPECT_DEATH(sample.AllocWave(2), "m_info.pWave == NULL");
}

TEST(AllocWaveTest, WithoutMemoryTheLengthIsZero) {
    CSDBISampleEUWave sample(1, 2);
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(sample.CopyWave("abc", 3));
    EXPECT_EQ(0u, sample.m_info.lWave);
    EXPECT_EQ(nullptr, sample.m_info.pWave);
}

TEST(AllocWaveTest, WaveAboveWhatARecordHoldsIsRefused) {
    CSDBISampleEUWave sample(1, 2);
    EXPECT_FALSE(sample.AllocWave(0x100000000));
    EXPECT_FALSE(sample.AllocWave(0xFFFFFFFF));
    EXPECT_FALSE(sample.AllocWave(0xFFFFFFFF - 556));
    EXPECT_FALSE(sample.AllocWave(ULONG_MAX));
    EXPECT_EQ(nullptr, sample.m_info.pWave);
    EXPECT_EQ(557u, sample.GetSize());
    // The largest size is accepted; then the allocation fails.
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(sample.AllocWave(0xFFFFFFFF - 557));
    EXPECT_EQ(1, fault.Calls());
}

TEST(SampleEUOrderTest, GoesByNameLengthRateAndFormat) {
    struct Row {
        const char* pszName;
        uint32_t lWave, nRate, nFormat;
    };
    constexpr Row kRising[] = {
        {"", 9, 9, 9},
        {"A", 0, 9, 9},
        {"a", 0x80000000, 1, 9},
        {"A", 0x80000000, 0x80000000, 1},
        {"a", 0x80000000, 0x80000000, 0x80000010},
        {"B", 0, 0, 0},
    };
    for (const Row& first : kRising) {
        for (const Row& second : kRising) {
            CSDBISampleEUInfo a(1, 2);
            CSDBISampleEUWave b(3, 4);
            CopyStgStr(a.m_info.szName, first.pszName);
            a.m_info.lWave = first.lWave;
            a.m_info.nSampleRate = first.nRate;
            a.m_info.nFormat = first.nFormat;
            CopyStgStr(b.m_info.szName, second.pszName);
            b.m_info.lWave = second.lWave;
            b.m_info.nSampleRate = second.nRate;
            b.m_info.nFormat = second.nFormat;
            EXPECT_EQ((&first > &second) - (&first < &second), a.Compare(b));
        }
    }
}

TEST(MeasureTest, WholeBodiesPassAndBodiesCutAtAnyByteDoNot) {
    EnrichedBody bare;
    bare.strName = "";
    bare.params.clear();
    bare.loops.clear();
    bare.nLoops = 0;
    bare.tail.clear();
    bare.wave = Counting(1);
    for (const EnrichedBody& body : {EnrichedBody(), bare}) {
        const uint32_t nSize = static_cast<uint32_t>(body.GetAt(77).size());
        const BodyFile file(BodyBuilder().Raw(body.GetAt(77)).Zeros(9).Get(), 77);
        for (uint32_t nCut = 0; nCut < nSize; ++nCut) EXPECT_FALSE(file.Measure(nCut)) << nCut;
        EXPECT_TRUE(file.Measure(nSize));
        EXPECT_TRUE(file.Measure(nSize + 9)) << "bytes behind the tail";
        EXPECT_FALSE(file.Measure(nSize + 10));
    }
}

TEST(MeasureTest, WhateverPassesIsRead) {
    // Every byte of the header, and of the tail's count, is set to each of some special values.
    const EnrichedBody body;
    const Bytes whole = body.Get();
    const size_t nTail = whole.size() - 9;
    BodyFile file(whole);
    for (size_t nAt = 0; nAt < nTail + 4; ++nAt) {
        if (nAt == body.HeaderBytes()) nAt = nTail;
        for (const int nValue : {0, 1, 15, 16, 127, 128, 255}) {
            file.Set(nAt, static_cast<uint8_t>(nValue));
            if (!file.Measure(static_cast<uint32_t>(whole.size()))) continue;
            CSDBISampleEUWave sample(1, 2);
            EXPECT_TRUE(file.Decode(sample, whole.size())) << nAt << " " << nValue;
        }
        file.Set(nAt, whole[nAt]);
    }
}

TEST(MeasureTest, HostileCountsTakeNoMemoryAndAreRefused) {
    const EnrichedBody body;
    const size_t nParams = 1 + body.strName.size() + 28, nLoops = nParams + 4 + 12,
                 nWave = body.HeaderBytes() - 4;
    const size_t nTail = body.Get().size() - 9;
    for (const size_t nAt : {nParams, nLoops, nWave, nTail}) {
        for (const uint32_t nCount : {0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFE00u, 0x10000001u}) {
            Bytes bytes = body.Get();
            std::memcpy(&bytes[nAt], &nCount, 4);
            const PosixFault fault("calloc", ENOMEM, 1000000);
            EXPECT_FALSE(Measure(bytes)) << nAt << " " << nCount;
            EXPECT_EQ(0, fault.Calls());
        }
    }
}

TEST(MeasureTest, PositionsBeyondTheFileAndClosedFilesAreRefused) {
    const Bytes whole = EnrichedBody().Get();
    const TempDir dir;
    WriteFile(dir.File("f"), whole);
    CXFile file;
    EXPECT_FALSE(MeasureEnrichedSample(file, 0, 600));
    ASSERT_TRUE(file.Open(dir.File("f").c_str(), 0));
    EXPECT_FALSE(MeasureEnrichedSample(file, whole.size(), 1));
    EXPECT_FALSE(MeasureEnrichedSample(file, whole.size() + 5, 0));
    EXPECT_FALSE(MeasureEnrichedSample(file, UINT64_MAX, 600));
    EXPECT_FALSE(MeasureEnrichedSample(file, 0, UINT32_MAX));
    EXPECT_TRUE(MeasureEnrichedSample(file, 0, static_cast<uint32_t>(whole.size())));
}

TEST(MeasureTest, EnrichedSourceOfTheWorkedCasesRoundTrips) {
    const std::filesystem::path path = VectorPath("builds/src_09.kvn");
    const Bytes bytes = ReadFile(path);
    CXFile file;
    ASSERT_TRUE(file.Open(path.c_str(), 0));
    int nSamples = 0;
    for (uint32_t nAt = 20; nAt + 14 <= bytes.size();) {
        uint32_t nSize = 0;
        std::memcpy(&nSize, &bytes[nAt + 10], 4);
        const uint32_t nBody = nAt + 14;
        if (bytes[nAt + 1] == kSdbSample) {
            ++nSamples;
            ASSERT_TRUE(MeasureEnrichedSample(file, nBody, nSize));
            CSDBISampleEUWave sample(1, 2);
            ASSERT_TRUE(file.SeekToPos(nBody));
            ASSERT_TRUE(sample.Read(&file, nSize));
            EXPECT_EQ(Bytes(&bytes[nBody], &bytes[nBody] + nSize), EncodeAt(sample, nBody));
        }
        nAt = nBody + nSize;
    }
    EXPECT_EQ(6, nSamples);
}

}  // namespace
}  // namespace Kestrova::Test
