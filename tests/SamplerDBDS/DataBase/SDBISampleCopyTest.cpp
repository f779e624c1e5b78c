#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBISampleEU.h"
#include "tests/SamplerDBDS/DataBase/SampleBodies.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

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

TEST(SampleCopyTest, OwnedFieldsAreCopied) {
    const PlainBody body = PlainBody().Raw(Counting(4));
    CSDBISampleInfo from(1, 2);
    ASSERT_TRUE(Decode(from, body.Get()));
    CSDBISampleEUWave copy(3, 4);
    ASSERT_TRUE(copy.CopyOwned(from));
    EXPECT_EQ(2u, from.m_info.cLayerLoops);
    ASSERT_EQ(2u, copy.m_info.cLayerLoops);
    EXPECT_EQ(0, std::memcmp(body.loops.data(), copy.GetLoops(), 32));
    EXPECT_EQ(body.params, BlockOf(copy.m_params));
    EXPECT_EQ(body.tail, TailOf(copy.m_pars));
    EXPECT_TRUE(copy.CopyOwned(CSDBISampleInfo(7, 8)));
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
}  // namespace Kestrova::Test
