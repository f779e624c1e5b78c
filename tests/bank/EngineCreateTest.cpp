// Building banks: arguments, the files' names and places, the records and their relations.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>

#include "tests/bank/BankReader.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

class EngineCreateTest : public testing::Test {
protected:
    TempDir m_dir;
    EngineDriver m_driver;
    CDBEUCreate& m_engine = m_driver.Engine();
    std::string m_strBanks = m_dir.File("banks");

    void Analyse(const SourceSpec& spec, const std::string& strName = "Test.kvs") {
        MakeSource(m_dir.File(strName), spec);
        ASSERT_EQ(kBankDone, m_driver.Analyse(m_dir.File(strName)));
        ASSERT_EQ(kBankDone, m_engine.SetDstDir(m_strBanks.c_str()));
    }
    std::string Bank(const std::string& strName) const { return m_strBanks + "/" + strName; }
};

TEST_F(EngineCreateTest, ArgumentsAreLookedAtInTheirOrder) {
    EXPECT_EQ(kBankBadArgument, m_engine.CreateDB(44099, 0, 7));
    EXPECT_EQ(kBankNotReady, m_engine.CreateDB(44100, 0, 7));
    Analyse({});
    EXPECT_EQ(kBankBadArgument, m_engine.CreateDB(44099, 0, 7));
    EXPECT_EQ(kBankBadArgument, m_engine.CreateDB(192001, 0, 7));
    EXPECT_EQ(kBankBadArgument, m_engine.CreateDB(44100, 0, 8));
    EXPECT_EQ(kBankBadArgument, m_engine.CreateDB(44100, 0, -1));
    EXPECT_FALSE(fs::exists(m_strBanks)) << "nothing was made";
}

TEST_F(EngineCreateTest, TheFolderIsMadeAndTheBankGetsItsName) {
    m_strBanks = m_dir.File("a/b/c");
    Analyse({});
    EXPECT_EQ(kBankDone, m_driver.Build(48000, 0));
    EXPECT_TRUE(fs::exists(m_dir.File("a/b/c/Test_0BB80.kvn")));
    EXPECT_EQ(kBankDone, m_driver.Build(48001, 0)) << "rates outside the table can be built too";
    EXPECT_TRUE(fs::exists(m_dir.File("a/b/c/Test_0BB81.kvn")));
}

TEST_F(EngineCreateTest, OlderBanksOfTheRateInBothLayoutsGiveWay) {
    Analyse({});
    fs::create_directory(m_strBanks);
    for (const char* pszName : {"Test_0AC44.kvr", "Test_0AC44.kvn", "Test_0BB80.kvr"})
        WriteFile(Bank(pszName), std::string("old"));
    EXPECT_EQ(kBankDone, m_driver.Build(44100, 0));
    EXPECT_FALSE(fs::exists(Bank("Test_0AC44.kvr")));
    EXPECT_TRUE(fs::exists(Bank("Test_0BB80.kvr"))) << "another rate's";
    EXPECT_TRUE(BankReader(Bank("Test_0AC44.kvn")).IsOpen());
    EXPECT_EQ(kBankDone, m_driver.Build(44100, 1));
    EXPECT_FALSE(fs::exists(Bank("Test_0AC44.kvn")));
    EXPECT_TRUE(BankReader(Bank("Test_0AC44.kvr")).IsOpen());
}
// Q99

// Q99
TEST_F(EngineCreateTest, WhenTheBankIsTheSourceNothingIsDone) {
    fs::create_directory(m_strBanks);
    SourceSpec spec;
    spec.bEnriched = true;
    Analyse(spec, "banks/Calde4_0AC44.kvn");
    const Bytes before = ReadFile(Bank("Calde4_0AC44.kvn"));
    for (const char* pszTail : {"", "/"}) {
        ASSERT_EQ(kBankDone, m_engine.SetDstDir((m_strBanks + pszTail).c_str()));
        EXPECT_EQ(kBankDone, m_engine.CreateDB(44100, 0, 7));
        EXPECT_EQ(0, m_engine.GetState());
        EXPECT_EQ(before, ReadFile(Bank("Calde4_0AC44.kvn")));
    }
    EXPECT_EQ(kBankDone, m_driver.Build(44100, 1)) << "the other layout is another file";
    EXPECT_EQ(before, ReadFile(Bank("Calde4_0AC44.kvn")));
}

TEST_F(EngineCreateTest, ATargetThatCannotBeCreatedIsReported) {
    Analyse({});
    fs::create_directories(Bank("Test_0AC44.kvn") + "/in the way");
    EXPECT_EQ(kBankTargetNotCreated, m_engine.CreateDB(44100, 0, 7));
    EXPECT_EQ(0, m_engine.GetState());
    WriteFile(m_dir.File("file"), std::string("no folder"));
    ASSERT_EQ(kBankDone, m_engine.SetDstDir(m_dir.File("file").c_str()));
    EXPECT_EQ(kBankTargetNotCreated, m_engine.CreateDB(44100, 0, 7));
}

TEST_F(EngineCreateTest, RecordsComeInTheirFixedOrder) {
    SourceSpec spec;
    spec.nPresets = 2;
    spec.samples.resize(2);
    spec.programs = {{true, {{60, 61, {0, 1}}}}, {false, {{0, 127, {1}}}}};
    Analyse(spec);
    ASSERT_EQ(kBankDone, m_driver.Build(48000, 0));
    EXPECT_EQ((std::vector<int>{254, 0, 16, 16, 21, 21, 17, 18, 19, 20, 20, 18, 19, 20}),
              BankReader(Bank("Test_0BB80.kvn")).Types());
    EXPECT_EQ(RecordCount(spec) + 2, m_driver.Calls().size())
        << "a step for each record, a first and a last call";
    ASSERT_EQ(kBankDone, m_driver.Build(48000, 1));
    EXPECT_EQ((std::vector<int>{254, 0, 16, 16, 21, 21, 21, 21, 17, 18, 19, 20, 20, 19, 20, 20, 18, 19, 20}),
              BankReader(Bank("Test_0BB80.kvr")).Types());
}

TEST_F(EngineCreateTest, TheInformationRecordTellsTheBank) {
    Analyse({});
    ASSERT_EQ(kBankDone, m_driver.Build(96000, 1));
    BankReader bank(Bank("Test_17700.kvr"));
    const auto pInfo = bank.Read<CSDBIInfo>(bank.Ids(kSdbInfo).at(0));
    ASSERT_TRUE(pInfo);
    EXPECT_STREQ("Test source", pInfo->m_info.szName);
    EXPECT_STREQ("PC Version", pInfo->m_info.szDescription);
    EXPECT_EQ(96000u, pInfo->m_info.nSampleRate);
    EXPECT_EQ(1u, pInfo->m_info.nPerKey);
    EXPECT_EQ(3u, pInfo->m_info.nThird);
    EXPECT_EQ(4u, pInfo->m_info.nFourth);
}

TEST_F(EngineCreateTest, EveryRecordHangsUnderItsNewParent) {
    SourceSpec spec;
    spec.samples.resize(2);
    spec.programs = {{true, {{60, 60, {1}}, {61, 61, {0}}}}, {false, {{0, 127, {1}}}}};
    Analyse(spec);
    ASSERT_EQ(kBankDone, m_driver.Build(48000, 0));
    BankReader bank(Bank("Test_0BB80.kvn"));
    const auto samples = bank.Ids(kSdbSample);
    const auto programs = bank.Ids(kSdbProgram), regions = bank.Ids(kSdbRegion), layers = bank.Ids(kSdbLayer);
    EXPECT_EQ(programs, ChildrenOf(bank.Database(), bank.Ids(kSdbBank).at(0)));
    EXPECT_EQ((std::vector<uint32_t>{regions.at(0), regions.at(1)}),
              ChildrenOf(bank.Database(), programs.at(0)));
    EXPECT_EQ((std::vector<uint32_t>{regions.at(2)}), ChildrenOf(bank.Database(), programs.at(1)));
    EXPECT_EQ((std::vector<uint32_t>{layers.at(1)}), ChildrenOf(bank.Database(), regions.at(1)));
    const auto records = bank.ReadAll<CSDBILayer>(kSdbLayer);
    EXPECT_EQ(samples.at(1), records.at(0)->m_info.nSampleID);
    EXPECT_EQ(samples.at(0), records.at(1)->m_info.nSampleID);
    for (const uint32_t id : samples) EXPECT_EQ(kSdbNoID, bank.Database().GetNoteByID(id)->idParent);
}

TEST_F(EngineCreateTest, ThePerKeyLayoutHasARegionAndACopyForEachKey) {
    SourceSpec spec;
    spec.programs = {{true, {{60, 62, {0}}}}};
    Analyse(spec);
    ASSERT_EQ(kBankDone, m_driver.Build(44100, 1));
    BankReader bank(Bank("Test_0AC44.kvr"));
    const auto samples = bank.ReadAll<CSDBISampleEUWave>(kSdbSample);
    const auto regions = bank.ReadAll<CSDBIRegion>(kSdbRegion);
    const auto layers = bank.ReadAll<CSDBILayer>(kSdbLayer);
    ASSERT_EQ(3u, samples.size());
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(60 + i, samples.at(i)->m_info.nRootKey);
        EXPECT_EQ(static_cast<int32_t>(60 + i), regions.at(i)->m_info.nLowKey);
        EXPECT_EQ(static_cast<int32_t>(60 + i), regions.at(i)->m_info.nHighKey);
        EXPECT_EQ(samples.at(i)->GetID(), layers.at(i)->m_info.nSampleID);
    }
    EXPECT_EQ(100u, samples.at(0)->m_info.nFrames) << "at its own key and rate: a copy";
    EXPECT_GT(samples.at(0)->m_info.nFrames, samples.at(1)->m_info.nFrames);
    EXPECT_GT(samples.at(1)->m_info.nFrames, samples.at(2)->m_info.nFrames);
}

// Pins the quirk that in the per-key layout a sample of split programs has no single copy.
// Q100
TEST_F(EngineCreateTest, AProgramThatIsNotSplitPlaysNothingOfASampleSplitProgramsPlay) {
    SourceSpec spec;
    spec.samples.resize(2);
    spec.programs = {{true, {{60, 60, {0}}}}, {false, {{0, 127, {0, 1}}}}};
    Analyse(spec);
    ASSERT_EQ(kBankDone, m_driver.Build(44100, 1));
    BankReader bank(Bank("Test_0AC44.kvr"));
    const auto layers = bank.ReadAll<CSDBILayer>(kSdbLayer);
    EXPECT_EQ(bank.Ids(kSdbSample).at(0), layers.at(0)->m_info.nSampleID);
    EXPECT_EQ(kSdbNoID, layers.at(1)->m_info.nSampleID);
    EXPECT_EQ(bank.Ids(kSdbSample).at(1), layers.at(2)->m_info.nSampleID)
        << "an unplayed one has its single copy";
}

TEST_F(EngineCreateTest, WavesLieOnTheirBoundaries) {
    SourceSpec spec;
    spec.samples = {{.nFrames = 1}, {.nFormat = 24, .nChannels = 2, .nFrames = 333}, {.nFrames = 512}};
    Analyse(spec);
    ASSERT_EQ(kBankDone, m_driver.Build(48000, 0));
    for (const auto& pSample : BankReader(Bank("Test_0BB80.kvn")).ReadAll<CSDBISampleEUWave>(kSdbSample))
        EXPECT_EQ(0u, pSample->m_posWave % 512);
}

TEST_F(EngineCreateTest, WithoutAnInformationRecordTheSourceIsInconsistent) {
    SourceSpec spec;
    spec.bInfo = false;
    Analyse(spec);
    EXPECT_EQ(kBankSourceInconsistent, m_driver.Build(48000, 0));
    EXPECT_EQ((std::vector<Call>{{1, RecordCount(spec)}, {2, 11}}), m_driver.Calls());
    EXPECT_STREQ("there is no information record", m_engine.GetFault().pszCause);
    EXPECT_TRUE(fs::is_empty(m_strBanks));
    EXPECT_EQ(kBankDone, m_engine.GetStatus()) << "creation leaves the status";
}

TEST_F(EngineCreateTest, ASecondBuildEqualsTheFirst) {
    SourceSpec spec;
    spec.samples.resize(3);
    spec.programs = {{true, {{60, 64, {0, 1}}}}, {false, {{0, 127, {2}}}}};
    Analyse(spec);
    for (const int nPerKey : {0, 1}) {
        const std::string strBank = Bank(nPerKey != 0 ? "Test_0BB80.kvr" : "Test_0BB80.kvn");
        ASSERT_EQ(kBankDone, m_driver.Build(48000, nPerKey));
        const Bytes first = ReadFile(strBank);
        ASSERT_EQ(kBankDone, m_driver.Build(44100, 1 - nPerKey)) << "another one in between";
        ASSERT_EQ(kBankDone, m_driver.Build(48000, nPerKey));
        Bytes second = ReadFile(strBank);
        std::copy_n(first.begin() + 4, 16, second.begin() + 4);  // identities differ
        EXPECT_EQ(first, second);
    }
}

TEST_F(EngineCreateTest, ABankIsASourceAgain) {
    Analyse({});
    ASSERT_EQ(kBankDone, m_driver.Build(48000, 0));
    ASSERT_EQ(kBankDone, m_driver.Analyse(Bank("Test_0BB80.kvn")));
    EXPECT_TRUE(m_engine.IsSourceEnriched());
    EXPECT_EQ("Test", m_engine.GetBaseName());
    EXPECT_EQ(kBankDone, m_driver.Build(96000, 0));
    EXPECT_TRUE(BankReader(Bank("Test_17700.kvn")).IsOpen());
}

// As a run over several rates does it: the next bank is started from within the last call of the one before.
// Q98
TEST_F(EngineCreateTest, TheNextBankCanBeStartedFromTheLastCall) {
    Analyse({});
    std::atomic<int> nStarts{0};
    std::atomic<bool> bOver{false};
    m_driver.SetAnswer([&](size_t, int nCode) {
        if (nCode != 2) {
            EXPECT_EQ(2, m_engine.GetState()) << "also while the later banks are built";
            return 1;
        }
        EXPECT_EQ(0, m_engine.GetState()) << "idle before the last call of a success";
        if (++nStarts == 3) {
            bOver = true;
            return 1;
        }
        const unsigned nNext = static_cast<unsigned>(iSPS[static_cast<size_t>(nStarts.load())]);
        EXPECT_EQ(kBankDone, m_engine.CreateDB(nNext, 0, 7));
        return 1;
    });
    ASSERT_EQ(kBankDone, m_engine.CreateDB(44100, 0, 7));
    while (!bOver) std::this_thread::yield();
    m_driver.SetAnswer(nullptr);
    while (m_engine.GetState() != 0) std::this_thread::yield();
    for (const char* pszName : {"Test_0AC44.kvn", "Test_0BB80.kvn", "Test_15888.kvn"})
        EXPECT_TRUE(BankReader(Bank(pszName)).IsOpen()) << pszName;
}

TEST_F(EngineCreateTest, ExternalWavesBesideTheSourceAreFound) {
    CSDBISampleWave wave(kSdbNoID, kSdbNoID);
    wave.m_info.nFormat = 16;
    wave.m_info.nChannels = 1;
    wave.m_info.nSampleRate = 44100;
    wave.m_info.nFrames = 100;
    wave.m_info.lWave = 200;
    ASSERT_TRUE(wave.SmplMemAlloc());
    for (int i = 0; i < 200; ++i) wave.m_info.pWave[i] = static_cast<uint8_t>(i);
    ASSERT_TRUE(wave.ExportToFile(m_dir.File("wave.wav").c_str()));
    Analyse({.samples = {{.strExternal = "wave.wav"}}});
    ASSERT_EQ(kBankDone, m_driver.Build(44100, 0));
    const auto samples = BankReader(Bank("Test_0AC44.kvn")).ReadAll<CSDBISampleEUWave>(kSdbSample);
    ASSERT_EQ(200u, samples.at(0)->m_info.lWave);
    EXPECT_EQ(0, std::memcmp(wave.m_info.pWave, samples.at(0)->m_info.pWave, 200));
    fs::remove(m_dir.File("wave.wav"));
    EXPECT_EQ(kBankReadFailed, m_driver.Build(44100, 0));
}

}  // namespace
}  // namespace Kestrova::Test
