// Choosing and analysing the source, and the engine's setters.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

class EngineAnalysisTest : public testing::Test {
protected:
    TempDir m_dir;
    EngineDriver m_driver;
    CDBEUCreate& m_engine = m_driver.Engine();

    std::string Make(const SourceSpec& spec, const std::string& strName = "Test.kvs") {
        MakeSource(m_dir.File(strName), spec);
        return m_dir.File(strName);
    }
    std::string BaseNameOf(const std::string& strPath) {
        EXPECT_EQ(kBankDone, m_driver.Analyse(strPath));
        return std::string(m_engine.GetBaseName());
    }
};

TEST_F(EngineAnalysisTest, AFreshEngineIsIdleAndWell) {
    EXPECT_EQ(0, m_engine.GetState());
    EXPECT_EQ(kBankDone, m_engine.GetStatus());
    EXPECT_EQ("", m_engine.GetBaseName());
}

TEST_F(EngineAnalysisTest, NoPathIsABadArgument) {
    EXPECT_EQ(kBankBadArgument, m_engine.SetSrcFile(nullptr));
    EXPECT_EQ(kBankBadArgument, m_engine.SetSrcFile(""));
    EXPECT_EQ(kBankBadArgument, m_engine.SetDstDir(nullptr));
    EXPECT_EQ(kBankBadArgument, m_engine.SetDstDir(""));
}

TEST_F(EngineAnalysisTest, ANameWithoutBaseOrDotIsABadArgument) {
    EXPECT_EQ(kBankBadArgument, m_engine.SetSrcFile(Make({}, ".kvn").c_str()));
    EXPECT_EQ(kBankBadArgument, m_engine.SetSrcFile(Make({}, "noname").c_str()));
    SourceSpec enriched;
    enriched.bEnriched = true;
    EXPECT_EQ(kBankBadArgument, m_engine.SetSrcFile(Make(enriched, "_0AC44.kvn").c_str()));
}

TEST_F(EngineAnalysisTest, AMissingFileOrOneOfNoKindIsNotOpened) {
    EXPECT_EQ(kBankSourceNotOpened, m_engine.SetSrcFile(m_dir.File("none.kvs").c_str()));
    EXPECT_EQ(kBankSourceNotOpened, m_engine.GetStatus());
    WriteFile(m_dir.File("text.kvs"), std::string("QXDZ and more than twenty bytes"));
    EXPECT_EQ(kBankSourceNotOpened, m_engine.SetSrcFile(m_dir.File("text.kvs").c_str()));
    EXPECT_EQ("", m_engine.GetBaseName());
    unsigned int nMegabytes = 0;
    EXPECT_EQ(kBankSourceNotOpened, m_engine.Prediction(48000, 0, nMegabytes));
    EXPECT_EQ(kBankSourceNotOpened, m_engine.CreateDB(48000, 0, 7));
}

TEST_F(EngineAnalysisTest, AfterAFailedOpenRemovalIsNotReady) {
    ASSERT_EQ(kBankDone, m_engine.SetDstDir(m_dir.Path().c_str()));
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make({})));
    ASSERT_EQ(kBankSourceNotOpened, m_engine.SetSrcFile(m_dir.File("none.kvs").c_str()));
    int kinds[kRateCount];
    EXPECT_EQ(kBankNotReady, m_engine.GetExisting(kinds, nullptr));
    EXPECT_EQ(kBankNotReady, m_engine.RemoveDB(48000u, 1));
}

TEST_F(EngineAnalysisTest, AfterANameWithoutBaseTheSourceBeforeCountsNoMore) {
    SourceSpec enriched;
    enriched.bEnriched = true;
    const std::string strNameless = Make(enriched, "_0AC44.kvn");
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make({})));
    ASSERT_EQ(kBankBadArgument, m_engine.SetSrcFile(strNameless.c_str()));
    unsigned int nMegabytes = 0;
    EXPECT_EQ(kBankNotReady, m_engine.Prediction(48000, 0, nMegabytes));
}

TEST_F(EngineAnalysisTest, TheBaseNameOfAnEnrichedSourceLosesItsRate) {
    SourceSpec enriched;
    enriched.bEnriched = true;
    EXPECT_EQ("Calde4", BaseNameOf(Make(enriched, "Calde4_0AC44.kvn")));
    EXPECT_TRUE(m_engine.IsSourceEnriched());
    EXPECT_EQ("Calde4_0AC44", BaseNameOf(Make({}, "Calde4_0AC44.kvn")));
    EXPECT_FALSE(m_engine.IsSourceEnriched());
}

TEST_F(EngineAnalysisTest, TheFileNameFollowsTheLastBackSlashOrElseTheLastSlash) {
    EXPECT_EQ("Calde4_0AC44", BaseNameOf(Make({}, "folders\\in\\front\\Calde4_0AC44.kvn")));
    EXPECT_EQ("Calde4_0AC44", BaseNameOf(Make({}, "Calde4_0AC44.kvn")));
}

TEST_F(EngineAnalysisTest, WithoutSamplesTheSourceIsInconsistent) {
    SourceSpec spec;
    spec.samples.clear();
    spec.programs.clear();
    EXPECT_EQ(kBankSourceInconsistent, m_driver.Analyse(Make(spec)));
    EXPECT_EQ((std::vector<Call>{{1, 0}, {2, 11}}), m_driver.Calls());
    EXPECT_EQ(kBankSourceInconsistent, m_engine.GetStatus());
    EXPECT_STREQ("there are no samples", m_engine.GetFault().pszCause);
}

TEST_F(EngineAnalysisTest, ARegionOfFourKeysAndTwoLayersAddsNine) {
    SourceSpec spec;
    spec.programs = {{true, {{40, 43, {0, 0}}}}};
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make(spec)));
    const BankAnalysis& analysis = m_engine.GetAnalysis();
    EXPECT_EQ(RecordCount(spec), analysis.nRecords);
    // One sample record goes, its four copies come.
    EXPECT_EQ(int64_t{RecordCount(spec)} - 1 + 9 + 4, analysis.nPerKeyRecords);
}

TEST_F(EngineAnalysisTest, ASampleNoRegionUsesCountsOnce) {
    SourceSpec spec;
    spec.samples.resize(2);
    spec.programs = {{true, {{60, 60, {0}}}}};
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make(spec)));
    EXPECT_EQ(int64_t{RecordCount(spec)}, m_engine.GetAnalysis().nPerKeyRecords);
}
// Q102

// Q102
TEST_F(EngineAnalysisTest, ProgramsThatAreNotSplitAreNotWalked) {
    SourceSpec spec;
    spec.programs = {{false, {{0, 127, {}}}}};  // a region without layers would be inconsistent
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make(spec)));
    EXPECT_EQ(int64_t{RecordCount(spec)}, m_engine.GetAnalysis().nPerKeyRecords);
    EXPECT_EQ((std::vector<Call>{{1, 2}, {0, 0}, {2, 0}}), m_driver.Calls())
        << "one step less than announced";
}

TEST_F(EngineAnalysisTest, ARegionOfNoKeysTakesItselfAndItsLayersAway) {
    SourceSpec spec;
    spec.programs = {{true, {{60, 60, {0}}, {90, 20, {0, 0}}}}};
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make(spec)));
    EXPECT_EQ(int64_t{RecordCount(spec)} - 3, m_engine.GetAnalysis().nPerKeyRecords);
}

TEST_F(EngineAnalysisTest, TheOverheadIsTheFileLessItsStoredWaves) {
    SourceSpec spec;
    spec.bEnriched = true;
    spec.samples = {{.nFrames = 500}, {.nChannels = 2, .nFrames = 300}};
    const std::string strPath = Make(spec, "A_1.kvn");
    ASSERT_EQ(kBankDone, m_driver.Analyse(strPath));
    EXPECT_EQ(fs::file_size(strPath) - 500 * 2 - 300 * 4, m_engine.GetAnalysis().nOverheadBytes);
}

struct InconsistentCase {
    const char* pszWhy;
    SourceSpec spec;
    const char* pszCause;
};

TEST_F(EngineAnalysisTest, InconsistentSourcesAreRefusedWithTheirCause) {
    const InconsistentCase kCases[] = {
        {"no layers", {.programs = {{true, {{60, 62, {}}}}}}, "it has no layers"},
        {"a layer without sample", {.programs = {{true, {{60, 62, {kSdbNoID}}}}}}, "it plays no sample"},
        {"a layer of an unknown sample", {.programs = {{true, {{60, 62, {77777}}}}}}, "it plays no sample"},
        {"a low key below 0", {.programs = {{true, {{-1, 62, {0}}}}}}, "its keys are outside 0 to 255"},
        {"a high key above 255", {.programs = {{true, {{0, 256, {0}}}}}}, "its keys are outside 0 to 255"},
        {"both keys outside", {.programs = {{true, {{300, -300, {0}}}}}}, "its keys are outside 0 to 255"},
        {"a rate of 0", {.samples = {{.nRate = 0}}}, "its sample rate is 0"},
    };
    for (const InconsistentCase& row : kCases) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(kBankSourceInconsistent, m_driver.Analyse(Make(row.spec)));
        EXPECT_EQ((Call{2, 11}), m_driver.Calls().back());
        EXPECT_STREQ(row.pszCause, m_engine.GetFault().pszCause);
        unsigned int nMegabytes = 0;
        EXPECT_EQ(kBankSourceInconsistent, m_engine.Prediction(48000, 0, nMegabytes));
    }
}

TEST_F(EngineAnalysisTest, EveryCallbackCanCancel) {
    SourceSpec spec;
    spec.samples.resize(3);
    spec.programs = {{true, {{60, 60, {0}}, {61, 61, {1}}}}};
    const std::string strPath = Make(spec);
    for (size_t nRefused = 0; nRefused < 6; ++nRefused) {
        m_driver.SetAnswer([nRefused](size_t nCall, int) { return nCall != nRefused; });
        EXPECT_EQ(kBankCancelled, m_driver.Analyse(strPath)) << nRefused;
        ASSERT_EQ(nRefused + 2, m_driver.Calls().size());
        EXPECT_EQ((Call{2, 2}), m_driver.Calls().back());
        EXPECT_EQ(kBankCancelled, m_engine.GetStatus());
    }
    m_driver.SetAnswer(nullptr);
    EXPECT_EQ(kBankDone, m_driver.Analyse(strPath));
    EXPECT_EQ(7u, m_driver.Calls().size());
}

TEST_F(EngineAnalysisTest, WhileItAnalysesTheEngineIsBusyButForTheFolder) {
    const std::string strPath = Make({});
    std::vector<unsigned> results;
    m_driver.SetAnswer([&](size_t nCall, int) {
        if (nCall == 0) {
            unsigned int nMegabytes = 0;
            EXPECT_EQ(1, m_engine.GetState());
            results = {m_engine.SetSrcFile(strPath.c_str()), m_engine.SetCallback(nullptr, 0),
                       m_engine.CreateDB(48000, 0, 7), m_engine.Prediction(48000, 0, nMegabytes),
                       m_engine.SetDstDir(m_dir.Path().c_str())};
        }
        return 1;
    });
    EXPECT_EQ(kBankDone, m_driver.Analyse(strPath));
    EXPECT_EQ((std::vector<unsigned>{3, 3, 3, 1, 0}), results);
}

TEST_F(EngineAnalysisTest, WithoutCallbackTheJobRunsOn) {
    const std::string strPath = Make({});
    CDBEUCreate engine;
    EXPECT_EQ(1, engine.Callback(0, 0));
    ASSERT_EQ(kBankDone, engine.SetSrcFile(strPath.c_str()));
    while (engine.GetState() != 0) std::this_thread::yield();
    EXPECT_EQ(kBankDone, engine.GetStatus());
    EXPECT_EQ(1u, engine.GetAnalysis().nSamples);
}

TEST_F(EngineAnalysisTest, TheCallbackGetsItsUserValueAndItsAnswerComesBack) {
    CDBEUCreate engine;
    ASSERT_EQ(kBankDone, engine.SetCallback(
                             [](int nCode, unsigned int nValue, unsigned long nUser) {
                                 return nCode + static_cast<int>(nValue) + static_cast<int>(nUser);
                             },
                             100));
    EXPECT_EQ(123, engine.Callback(3, 20));
}

TEST_F(EngineAnalysisTest, DestroyingABusyEngineCancelsItsJob) {
    const std::string strPath = Make({.samples = std::vector<SampleSpec>(200)});
    std::atomic<int> nEnded{-1};
    {
        CDBEUCreate engine;
        engine.SetCallback(
            [](int nCode, unsigned int nValue, unsigned long nUser) {
                if (nCode == 2) *reinterpret_cast<std::atomic<int>*>(nUser) = static_cast<int>(nValue);
                return 1;
            },
            reinterpret_cast<unsigned long>(&nEnded));
        ASSERT_EQ(kBankDone, engine.SetSrcFile(strPath.c_str()));
    }
    EXPECT_TRUE(nEnded == -1 || nEnded == 0) << "no call comes once the engine is being destroyed";
}

TEST_F(EngineAnalysisTest, TheSourceIsOnlyRead) {
    const std::string strPath = Make({});
    const Bytes before = ReadFile(strPath);
    fs::permissions(strPath, fs::perms::owner_read);
    EXPECT_EQ(kBankDone, m_driver.Analyse(strPath));
    EXPECT_EQ(before, ReadFile(strPath));
}

TEST_F(EngineAnalysisTest, ASecondSourceReplacesTheFirst) {
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make({.samples = std::vector<SampleSpec>(5)}, "First.kvs")));
    ASSERT_EQ(kBankDone, m_driver.Analyse(Make({}, "Second.kvs")));
    EXPECT_EQ("Second", m_engine.GetBaseName());
    EXPECT_EQ(1u, m_engine.GetAnalysis().nSamples);
    EXPECT_EQ(RecordCount({}), m_engine.GetAnalysis().nRecords);
}

}  // namespace
}  // namespace Kestrova::Test
