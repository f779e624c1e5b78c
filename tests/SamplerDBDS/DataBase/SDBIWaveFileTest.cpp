#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/RecordBytes.h"

namespace Kestrova::Test {
namespace {

Bytes Chunk(const char* pszId, const Bytes& body) { return BodyBuilder().Id(pszId).Counted(body).Get(); }

Bytes Format(uint32_t nTag = 1, uint32_t nChannels = 2, uint32_t nBits = 16, size_t nExtra = 0) {
    BodyBuilder body;
    body.Half(nTag).Half(nChannels).Word(96000).Word(0xDEADBEEF).Half(0xBEEF).Half(nBits).Zeros(nExtra);
    return Chunk("fmt ", body.Get());
}

Bytes Data(size_t nBytes = 40) { return Chunk("data", Counting(nBytes)); }

Bytes Sampler(uint32_t nFraction = 0, uint32_t nLoops = 1, uint32_t nStated = 1, size_t nExtra = 0) {
    BodyBuilder body;
    body.Word(1).Word(2).Word(3).Word(72).Word(nFraction).Word(5).Word(6).Word(nStated).Word(8);
    for (uint32_t i = 0; i < nLoops; ++i) body.Word(11 + i).Word(22).Word(33).Word(44).Word(55).Word(66);
    return Chunk("smpl", body.Zeros(nExtra).Get());
}

Bytes Riff(const std::vector<Bytes>& chunks) {
    BodyBuilder body;
    for (const Bytes& chunk : chunks) body.Raw(chunk);
    return BodyBuilder()
        .Id("RIFF")
        .Word(static_cast<uint32_t>(4 + body.Size()))
        .Id("WAVE")
        .Raw(body.Get())
        .Get();
}

class ExtFileTest : public ::testing::Test {
protected:
    ExtFileTest() {
        m_strPath = m_dir.File("wave.wav");
        CopyStgStr(m_sample.m_szFile, m_strPath.c_str());
        m_sample.m_info.nFrames = 1234;
        m_sample.m_info.nRootKey = 5;
        EXPECT_TRUE(m_sample.AllocLoops(3));
    }

    bool Info(const Bytes& file) {
        WriteFile(m_strPath, file);
        return m_sample.GetExtFileInfo();
    }
    bool InfoAndData(const Bytes& file) { return Info(file) && m_sample.GetExtFileData(); }

    Bytes Wave() const {
        const uint8_t* p = m_sample.m_info.pWave;
        return p ? Bytes(p, p + m_sample.m_info.lWave) : Bytes();
    }

    TempDir m_dir;
    std::string m_strPath;
    CSDBISampleWave m_sample{1, 2};
};

TEST_F(ExtFileTest, HeaderIsTakenFromTheChunks) {
    ASSERT_TRUE(Info(Riff({Format(), Data(43), Sampler(0, 2, 2)})));
    const CSDBISampleBase::Info& info = m_sample.m_info;
    EXPECT_EQ(96000u, info.nSampleRate);
    EXPECT_EQ(16u, info.nFormat);
    EXPECT_EQ(2u, info.nChannels);
    EXPECT_EQ(10u, info.nFrames);
    EXPECT_EQ(72u, info.nRootKey);
    EXPECT_EQ(0, info.nFineTune);
    ASSERT_EQ(2u, info.cLayerLoops);
    const SDBLOOP& loop = m_sample.GetLoops()[1];
    EXPECT_EQ(12u, loop.nCueID);
    EXPECT_EQ(33u, loop.nStart);
    EXPECT_EQ(44u, loop.nEnd);
    EXPECT_EQ(66u, loop.nPlayCount);
}
// Q88

// Q88
TEST_F(ExtFileTest, NoPadByteIsSkippedAfterAnOddChunk) {
    EXPECT_TRUE(Info(Riff({Format(), Data(43), Bytes(1), Sampler()})));
    EXPECT_EQ(10u, m_sample.m_info.nFrames);
    EXPECT_EQ(5u, m_sample.m_info.nRootKey) << "what follows the pad byte is not found";
    EXPECT_FALSE(Info(Riff({Chunk("LIST", Counting(3)), Bytes(1), Format(), Data()})));
}

TEST_F(ExtFileTest, WithoutASamplerChunkLoopsAreClearedAndTheRootKeyStays) {
    ASSERT_TRUE(Info(Riff({Format(), Data()})));
    EXPECT_EQ(0u, m_sample.m_info.cLayerLoops);
    EXPECT_EQ(nullptr, m_sample.GetLoops());
    EXPECT_EQ(5u, m_sample.m_info.nRootKey);
}

TEST_F(ExtFileTest, EmptyNameFailsAndTouchesNothing) {
    m_sample.m_szFile[0] = '\0';
    EXPECT_FALSE(m_sample.GetExtFileInfo());
    EXPECT_FALSE(m_sample.GetExtFileData());
    EXPECT_EQ(3u, m_sample.m_info.cLayerLoops);
    EXPECT_EQ(1234u, m_sample.m_info.nFrames);
}
// Q87

// Q87
TEST_F(ExtFileTest, MissingFileHasNoFramesAndIsNoFailureOfTheHeader) {
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_EQ(0u, m_sample.m_info.nFrames);
    EXPECT_EQ(0u, m_sample.m_info.cLayerLoops);
    EXPECT_FALSE(m_sample.GetExtFileData());
}

TEST_F(ExtFileTest, FolderAndPipeCountAsMissing) {
    ASSERT_EQ(0, mkfifo(m_strPath.c_str(), 0600));
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_EQ(0u, m_sample.m_info.nFrames);
    EXPECT_FALSE(m_sample.GetExtFileData());
    CopyStgStr(m_sample.m_szFile, m_dir.Path().c_str());
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_FALSE(m_sample.GetExtFileData());
}

TEST_F(ExtFileTest, RelativeNamesAreLookedForInTheDatabasesFolderToo) {
    WriteFile(m_strPath, Riff({Format(), Data()}));
    CopyStgStr(m_sample.m_szFile, "wave.wav");
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_EQ(0u, m_sample.m_info.nFrames);
    m_sample.SetExtFolder(m_dir.Path().c_str());
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_EQ(10u, m_sample.m_info.nFrames);
    EXPECT_TRUE(m_sample.GetExtFileData());
    CopyStgStr(m_sample.m_szFile, "/wave.wav");
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    EXPECT_EQ(0u, m_sample.m_info.nFrames);
}

TEST_F(ExtFileTest, NameAsItStandsComesBeforeTheDatabasesFolder) {
    const TempDir other;
    WriteFile(m_strPath, Riff({Format(), Data(80)}));
    WriteFile(other.File("wave.wav"), Riff({Format(), Data(40)}));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(other.Path());
    CopyStgStr(m_sample.m_szFile, "wave.wav");
    m_sample.SetExtFolder(m_dir.Path().c_str());
    EXPECT_TRUE(m_sample.GetExtFileInfo());
    std::filesystem::current_path(before);
    EXPECT_EQ(10u, m_sample.m_info.nFrames);
}

struct FileCase {
    const char* pszWhy;
    bool bGood;
    Bytes file;
};

Bytes WithRiffSize(Bytes file, uint32_t nSize) {
    std::memcpy(&file[4], &nSize, 4);
    return file;
}

Bytes Cut(Bytes file, size_t nLess) {
    file.resize(file.size() - nLess);
    return file;
}

TEST_F(ExtFileTest, FilesThatAreNoWaveAreRefused) {
    const Bytes good = Riff({Format(), Data()});
    const uint32_t nSize = static_cast<uint32_t>(good.size());
    const Bytes junk = Chunk("LIST", Counting(33));
    const FileCase cases[] = {
        {"format and data", true, good},
        {"other chunks between, odd ones unpadded", true, Riff({junk, Format(), junk, junk, Data(), junk})},
        {"sampler chunk in front", true, Riff({Sampler(), Format(), Data()})},
        {"format with more fields", true, Riff({Format(1, 2, 16, 2), Data()})},
        {"sampler with more data", true, Riff({Format(), Data(), Sampler(0, 1, 1, 10)})},
        {"no loops", true, Riff({Format(), Data(), Sampler(0, 0, 0)})},
        {"everything behind the third chunk is not looked at", true,
         Riff({Format(), Data(), Sampler(), Format(7), Data()})},
        {"bytes behind the last chunk", true, Riff({Format(), Data(), Counting(3)})},
        {"half a chunk header behind the last chunk", true, Riff({Format(), Data(), Counting(6)})},
        {"data cut short: the header is enough", true, WithRiffSize(Cut(good, 5), 0)},
        {"RIFF size of all but 8 bytes", true, WithRiffSize(good, nSize - 8)},
        {"smaller RIFF size", true, WithRiffSize(good, 0)},
        {"RIFF size one more", false, WithRiffSize(good, nSize - 7)},
        {"largest RIFF size", false, WithRiffSize(good, 0xFFFFFFFF)},
        {"empty file", false, {}},
        {"seven bytes", false, Cut(good, nSize - 7)},
        {"eleven bytes", false, Cut(good, nSize - 11)},
        {"another first word", false,
         BodyBuilder().Id("RIFX").Raw(Bytes(good.begin() + 4, good.end())).Get()},
        {"another form", false,
         BodyBuilder().Id("RIFF").Word(20).Id("WAVX").Raw(Bytes(good.begin() + 12, good.end())).Get()},
        {"no chunks", false, Riff({})},
        {"no data", false, Riff({Format()})},
        {"no format", false, Riff({junk})},
        {"data before format", false, Riff({Data(), Format()})},
        {"two formats", false, Riff({Format(), Format(), Data()})},
        {"two data", false, Riff({Format(), Data(), Data()})},
        {"two samplers", false, Riff({Format(), Sampler(), Sampler(), Data()})},
        {"format of 15 bytes", false, Riff({Chunk("fmt ", Bytes(15)), Data()})},
        {"format cut short by the file", false, WithRiffSize(Cut(Riff({Format()}), 3), 0)},
        {"tag 0", false, Riff({Format(0), Data()})},
        {"tag 2", false, Riff({Format(2), Data()})},
        {"extensible tag", false, Riff({Format(0xFFFE), Data()})},
        {"no channels", false, Riff({Format(1, 0), Data()})},
        {"no bits", false, Riff({Format(1, 2, 0), Data()})},
        {"7 bits", false, Riff({Format(1, 2, 7), Data()})},
        {"data of 1 byte", false, Riff({Format(), Data(1)})},
        {"data of 2 bytes, no whole frame", true, Riff({Format(), Data(2)})},
        {"sampler of 35 bytes", false, Riff({Format(), Data(), Chunk("smpl", Bytes(35))})},
        {"sampler cut short by the file", false,
         WithRiffSize(Cut(Riff({Format(), Data(), Sampler(0, 0, 0)}), 9), 0)},
        {"a loop more than the chunk holds", false, Riff({Format(), Data(), Sampler(0, 1, 2)})},
        {"a loop more than the chunk holds, before another chunk", false,
         Riff({Format(), Data(), Sampler(0, 0, 1), Bytes(99)})},
        {"as many loops as the field tells", false, Riff({Format(), Data(), Sampler(0, 1, 0xFFFFFFFF)})},
        {"loops cut short by the file", false, WithRiffSize(Cut(Riff({Format(), Data(), Sampler()}), 1), 0)},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.pszWhy);
        EXPECT_EQ(c.bGood, Info(c.file));
    }
}

TEST_F(ExtFileTest, LoopCountOfFourBillionTakesNoMemory) {
    Bytes sampler = Sampler(0, 1, 0xFFFFFFFF);
    const uint32_t nHuge = 0xFFFFFFFF;
    std::memcpy(&sampler[4], &nHuge, 4);
    const PosixFault fault("calloc", ENOMEM, 1000000);
    EXPECT_FALSE(Info(Riff({Format(), Data(), sampler})));
    EXPECT_EQ(0, fault.Calls());
    EXPECT_EQ(0u, m_sample.m_info.cLayerLoops);
}

TEST_F(ExtFileTest, WithoutMemoryForTheLoopsTheHeaderFails) {
    const Bytes file = Riff({Format(), Data(), Sampler()});
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(Info(file));
    EXPECT_EQ(0u, m_sample.m_info.cLayerLoops);
}

TEST_F(ExtFileTest, TagSetsTheFlagOfTheFormatWord) {
    ASSERT_TRUE(Info(Riff({Format(3, 1, 32), Data()})));
    EXPECT_EQ(0x80000020u, m_sample.m_info.nFormat);
    EXPECT_EQ(10u, m_sample.m_info.nFrames);
    ASSERT_TRUE(Info(Riff({Format(1, 1, 24), Data()})));
    EXPECT_EQ(24u, m_sample.m_info.nFormat);
    EXPECT_EQ(13u, m_sample.m_info.nFrames);
}

TEST(FineTuneTest, FractionsAreRoundedToCentsAround50) {
    struct Case {
        uint32_t nFraction;
        int32_t nCents;
    };
    constexpr Case kCases[] = {
        {0, 0},           {21474836, 0},    {21474837, 1},    {42949673, 1},     {0x40000000, 25},
        {0x7FFFFFFF, 50}, {0x80000000, 50}, {2168958483, 50}, {2168958484, -49}, {4252017622, -1},
        {4273492458, -1}, {4273492459, 0},  {0xFFFFFFFF, 0},
    };
    for (const Case& c : kCases) EXPECT_EQ(c.nCents, FineTuneOfFraction(c.nFraction)) << c.nFraction;
}

TEST(FineTuneTest, EveryFineTuneComesBackAndOthersByWholeSemitones) {
    for (int32_t nCents = -49; nCents <= 50; ++nCents)
        EXPECT_EQ(nCents, FineTuneOfFraction(FractionOfFineTune(nCents)));
    EXPECT_EQ(7, FineTuneOfFraction(FractionOfFineTune(107)));
    EXPECT_EQ(-7, FineTuneOfFraction(FractionOfFineTune(-207)));
    EXPECT_EQ(FractionOfFineTune(52), FractionOfFineTune(std::numeric_limits<int32_t>::min()));
}
// Q89

// Q89
TEST_F(ExtFileTest, FineTuneComesFromThePitchFraction) {
    ASSERT_TRUE(Info(Riff({Format(), Data(), Sampler(FractionOfFineTune(-20))})));
    EXPECT_EQ(-20, m_sample.m_info.nFineTune);
    EXPECT_EQ(72u, m_sample.m_info.nRootKey) << "the unity note stays also when the fine tune is negative";
}

TEST_F(ExtFileTest, DataIsLoadedWithItsGuards) {
    ASSERT_TRUE(InfoAndData(Riff({Format(), Chunk("LIST", Counting(33)), Data(40)})));
    EXPECT_EQ(Counting(40), Wave());
    EXPECT_EQ(40u, m_sample.m_lStored);
    EXPECT_EQ(40u, m_sample.m_info.lWave);
    EXPECT_EQ(0, m_sample.m_info.pWave[-1024]);
    EXPECT_EQ(0, m_sample.m_info.pWave[40 + 1023]);
}

TEST_F(ExtFileTest, OnlyWholeFramesAreLoaded) {
    ASSERT_TRUE(InfoAndData(Riff({Format(), Data(43)})));
    EXPECT_EQ(Counting(40), Wave());
}

TEST_F(ExtFileTest, DataIsLoadedAnewOverAnOldWave) {
    ASSERT_TRUE(InfoAndData(Riff({Format(), Data(40)})));
    ASSERT_TRUE(InfoAndData(Riff({Format(), Data(80)})));
    EXPECT_EQ(Counting(80), Wave());
}

TEST_F(ExtFileTest, DataThatDisagreesWithTheFrameCountIsRefused) {
    ASSERT_TRUE(Info(Riff({Format(), Data(40)})));
    for (const size_t nBytes : {2u, 36u, 44u}) {
        m_sample.m_lStored = m_sample.m_info.lWave = 9;
        WriteFile(m_strPath, Riff({Format(), Data(nBytes)}));
        EXPECT_FALSE(m_sample.GetExtFileData());
        EXPECT_EQ(0u, m_sample.m_lStored);
        EXPECT_EQ(0u, m_sample.m_info.lWave);
        EXPECT_EQ(nullptr, m_sample.m_info.pWave);
    }
}

TEST_F(ExtFileTest, BadDataFilesAreRefused) {
    ASSERT_TRUE(Info(Riff({Format(), Data(40)})));
    const Bytes good = Riff({Format(), Data(40)});
    const FileCase cases[] = {
        {"data alone is enough", true, Riff({Data(40)})},
        {"no data chunk", false, Riff({Format()})},
        {"data of 1 byte", false, Riff({Format(), Data(1)})},
        {"another form", false,
         BodyBuilder().Id("RIFF").Word(20).Id("WAVX").Raw(Bytes(good.begin() + 12, good.end())).Get()},
        {"RIFF size one more", false, WithRiffSize(good, static_cast<uint32_t>(good.size() - 7))},
        {"data cut short by the file", false, WithRiffSize(Cut(good, 1), 0)},
        {"empty file", false, {}},
    };
    for (const FileCase& c : cases) {
        SCOPED_TRACE(c.pszWhy);
        WriteFile(m_strPath, c.file);
        EXPECT_EQ(c.bGood, m_sample.GetExtFileData());
        EXPECT_EQ(c.bGood, m_sample.m_info.pWave != nullptr);
    }
}

TEST_F(ExtFileTest, NoFramesAreNoWave) {
    EXPECT_FALSE(InfoAndData(Riff({Format(), Data(2)})));
    EXPECT_EQ(0u, m_sample.m_info.nFrames);
    EXPECT_EQ(nullptr, m_sample.m_info.pWave);
}

TEST_F(ExtFileTest, FramesOfNoBytesAreRefused) {
    WriteFile(m_strPath, Riff({Format(), Data()}));
    m_sample.m_info.nChannels = 0;
    EXPECT_FALSE(m_sample.GetExtFileData());
}

TEST_F(ExtFileTest, DataSizeOfFourGigabytesTakesNoMemory) {
    Bytes data = Data(40);
    const uint32_t nHuge = 0xFFFFFFFC;
    std::memcpy(&data[4], &nHuge, 4);
    ASSERT_TRUE(Info(Riff({Format(), data})));
    EXPECT_EQ(nHuge / 4, m_sample.m_info.nFrames);
    const PosixFault fault("calloc", ENOMEM, 1000000);
    EXPECT_FALSE(m_sample.GetExtFileData());
    EXPECT_EQ(0, fault.Calls());
}

TEST_F(ExtFileTest, WithoutMemoryTheDataFails) {
    ASSERT_TRUE(Info(Riff({Format(), Data()})));
    const PosixFault fault("calloc", ENOMEM);
    EXPECT_FALSE(m_sample.GetExtFileData());
    EXPECT_EQ(nullptr, m_sample.m_info.pWave);
}

TEST_F(ExtFileTest, FailedFileCallsFailTheData) {
    ASSERT_TRUE(Info(Riff({Format(), Data(200000)})));
    for (int nNth = 1;; ++nNth) {
        ASSERT_LT(nNth, 100);
        FaultyFileEnv env;
        env.FailCall(nNth);
        const bool bRead = m_sample.GetExtFileData();
        EXPECT_EQ(bRead, m_sample.m_info.pWave != nullptr);
        if (!env.FaultHit()) {
            EXPECT_TRUE(bRead);
            break;
        }
    }
}

TEST_F(ExtFileTest, LoopsThatCannotBeReadFailTheHeader) {
    constexpr uint32_t kLoops = 10000;  // they take several reads
    WriteFile(m_strPath, Riff({Format(), Data(), Sampler(0, kLoops, kLoops)}));
    for (int nNth = 1;; ++nNth) {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kRead, nNth);
        const bool bRead = m_sample.GetExtFileInfo();
        EXPECT_NE(env.FaultHit(), bRead) << nNth;
        if (!env.FaultHit()) {
            EXPECT_LT(3, nNth);
            break;
        }
    }
}

TEST_F(ExtFileTest, RecordsWithoutStoredWaveAreReadFromTheFile) {
    WriteFile(m_strPath, Riff({Format(), Data(40), Sampler()}));
    const Bytes body = BodyBuilder()
                           .Text("n")
                           .Text(m_strPath)
                           .Word(1)
                           .Word(2)
                           .Word(3)
                           .Word(4)
                           .Word(5)
                           .Word(6)
                           .Word(7)
                           .Word(0)
                           .Word(0)
                           .Word(0)
                           .Word(0)
                           .Counted(Counting(3))
                           .Get();
    CSDBISampleInfo header(1, 2);
    ASSERT_TRUE(Decode(header, body));
    EXPECT_EQ(96000u, header.m_info.nSampleRate);
    EXPECT_EQ(10u, header.m_info.nFrames);
    EXPECT_EQ(1u, header.m_info.cLayerLoops);
    EXPECT_EQ(0u, header.m_lStored);
    EXPECT_EQ(Counting(3), TailOf(header.m_pars));
    ASSERT_TRUE(Decode(m_sample, body));
    EXPECT_EQ(Counting(40), Wave());
    EXPECT_EQ(Counting(3), TailOf(m_sample.m_pars));
    CSDBISample stored(1, 2, CSDBISample::kLoadStored);
    ASSERT_TRUE(Decode(stored, body));
    EXPECT_EQ(10u, stored.m_info.nFrames);
    EXPECT_EQ(nullptr, stored.m_info.pWave);
}

TEST_F(ExtFileTest, ABadExternalFileFailsTheRecordOnlyWhereItsWaveIsWanted) {
    for (const std::string& strFile : {m_strPath, std::string()}) {  // no well-formed wave; no name at all
        WriteFile(m_strPath, Riff({Format(9), Data(40)}));
        BodyBuilder body;
        body.Text("n").Text(strFile);
        for (uint32_t nWord = 0; nWord < 11; ++nWord) body.Word(0);
        body.Counted(Counting(3));
        CSDBISampleInfo header(1, 2);
        CSDBISample stored(1, 2, CSDBISample::kLoadStored);
        EXPECT_TRUE(Decode(header, body.Get()));
        EXPECT_EQ(Counting(3), TailOf(header.m_pars));
        EXPECT_TRUE(Decode(stored, body.Get()));
        EXPECT_FALSE(Decode(m_sample, body.Get()));
    }
}

}  // namespace
}  // namespace Kestrova::Test
