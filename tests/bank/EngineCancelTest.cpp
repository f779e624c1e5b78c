// A build that is cancelled, or whose files fail, at every point it can: what stays behind.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/bank/BankReader.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/SourceMaker.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

class EngineCancelTest : public testing::Test {
protected:
    TempDir m_dir;
    std::string m_strSource = m_dir.File("Test.kvs");
    fs::path m_banks = m_dir.Path() / "banks";
    fs::path m_bank = m_banks / "Test_0BB80.kvn";
    SourceSpec m_spec;

    void SetUp() override {
        m_spec.samples.resize(2);
        m_spec.programs = {{true, {{60, 61, {0, 1}}}}};
        MakeSource(m_strSource, m_spec);
    }
    void Prepare(EngineDriver& driver) {
        ASSERT_EQ(kBankDone, driver.Analyse(m_strSource));
        ASSERT_EQ(kBankDone, driver.Engine().SetDstDir(m_banks.c_str()));
    }
    // The image a clean build gives.
    std::string CleanHash() {
        EngineDriver driver;
        Prepare(driver);
        EXPECT_EQ(kBankDone, driver.Build(48000, 0));
        const std::string strHash = Sha256IdentityZeroed(ReadFile(m_bank));
        fs::remove(m_bank);
        return strHash;
    }
    // No file of the folder may pass for a bank; what an engine cannot delete any more the next one cleans
    // up.
    void ExpectNothingPassesForABank() {
        EngineDriver driver;
        Prepare(driver);
        unsigned int nRemoved = 0;
        EXPECT_EQ(kBankDone, driver.Engine().RemoveInterrupted(nRemoved));
        EXPECT_TRUE(!fs::exists(m_banks) || fs::is_empty(m_banks));
    }
};

TEST_F(EngineCancelTest, EveryStepCanCancelAndNoFileStays) {
    EngineDriver driver;
    Prepare(driver);
    const uint32_t nRecords = RecordCount(m_spec);
    for (size_t nRefused = 1; nRefused <= nRecords; ++nRefused) {
        driver.SetAnswer([nRefused](size_t nCall, int) { return nCall != nRefused; });
        EXPECT_EQ(kBankCancelled, driver.Build(48000, 0)) << nRefused;
        EXPECT_EQ(nRefused + 2, driver.Calls().size()) << "the refused step is the last";
        EXPECT_EQ((Call{2, 2}), driver.Calls().back());
        EXPECT_TRUE(fs::is_empty(m_banks));
        EXPECT_EQ(kBankDone, driver.Engine().GetStatus());
    }
    driver.SetAnswer(nullptr);
    EXPECT_EQ(kBankDone, driver.Build(48000, 0)) << "and nothing of it disturbs the next build";
}

TEST_F(EngineCancelTest, TheLastAnswerIsIgnored) {
    EngineDriver driver;
    Prepare(driver);
    driver.SetAnswer([](size_t, int nCode) { return nCode != 2; });
    EXPECT_EQ(kBankDone, driver.Build(48000, 0));
    EXPECT_TRUE(BankReader(m_bank.string()).IsOpen());
}

// Pins the quirk of the first call: the file stays, there is no last call.
// Q97
TEST_F(EngineCancelTest, ABuildCancelledAtItsFirstCallLeavesItsFileAndSaysNoMore) {
    EngineDriver driver;
    Prepare(driver);
    driver.SetAnswer([](size_t, int) { return 0; });
    EXPECT_EQ(kBankCancelled, driver.Build(48000, 0));
    EXPECT_EQ((std::vector<Call>{{1, RecordCount(m_spec)}}), driver.Calls());
    EXPECT_TRUE(fs::exists(m_bank));
    EXPECT_EQ(0, driver.Engine().GetState());
}

TEST_F(EngineCancelTest, WhatItLeftBlocksNothingAndNeverPassesForABank) {
    for (const bool bSameEngine : {true, false}) {
        EngineDriver driver;
        Prepare(driver);
        driver.SetAnswer([](size_t, int) { return 0; });
        ASSERT_EQ(kBankCancelled, driver.Build(48000, 0));
        driver.SetAnswer(nullptr);
        if (!bSameEngine) break;  // the engine goes, the file stays
        EXPECT_EQ(kBankDone, driver.Analyse(m_strSource)) << "no lock is waited for";
        unsigned int nRemoved = 0;
        EXPECT_EQ(kBankDone, driver.Engine().RemoveInterrupted(nRemoved));
        EXPECT_EQ(1u, nRemoved);
        driver.SetAnswer([](size_t, int) { return 0; });
        ASSERT_EQ(kBankCancelled, driver.Build(48000, 0));
        driver.SetAnswer(nullptr);
        EXPECT_EQ(kBankDone, driver.Build(48000, 0)) << "the next build takes its place";
        fs::remove(m_bank);
    }
    EXPECT_TRUE(fs::exists(m_bank));
    ExpectNothingPassesForABank();
}

TEST_F(EngineCancelTest, EveryFailingFileCallEndsInAWholeBankOrNone) {
    const std::string strClean = CleanHash();
    int nFault = 1;
    for (;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        bool bDone = false;
        {
            EngineDriver driver;
            driver.Engine().SetHelperThreads(0);
            env.FailCall(nFault);
            ASSERT_EQ(kBankDone, driver.Engine().SetDstDir(m_banks.c_str()));
            bDone = driver.Analyse(m_strSource) == kBankDone && driver.Build(48000, 0) == kBankDone;
        }
        const bool bHit = env.FaultHit();
        env.Heal();
        if (bDone) {
            EXPECT_EQ(strClean, Sha256IdentityZeroed(ReadFile(m_bank)));
            fs::remove(m_bank);
        }
        ExpectNothingPassesForABank();
        if (!bHit) break;
    }
    EXPECT_GT(nFault, 30) << "there were calls to fail";
}

TEST_F(EngineCancelTest, AFileCallThatFailsForGoodEndsInAWholeBankOrNone) {
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        bool bDone = false;
        {
            EngineDriver driver;
            driver.Engine().SetHelperThreads(0);
            env.FailCall(nFault, FaultyFileEnv::Lasting::kForGood);
            ASSERT_EQ(kBankDone, driver.Engine().SetDstDir(m_banks.c_str()));
            bDone = driver.Analyse(m_strSource) == kBankDone && driver.Build(48000, 0) == kBankDone;
        }
        const bool bHit = env.FaultHit();
        env.Heal();
        if (bDone) {
            EXPECT_TRUE(BankReader(m_bank.string()).IsOpen());
            fs::remove(m_bank);
        }
        ExpectNothingPassesForABank();
        if (!bHit) break;
    }
}

TEST_F(EngineCancelTest, AFullDiskIsAWriteFailureAndLeavesNoFile) {
    CleanHash();
    FaultyFileEnv env;
    EngineDriver driver;
    Prepare(driver);
    for (const uint64_t nRoom : {uint64_t{25}, uint64_t{700}, uint64_t{1500}}) {
        env.FillDiskAfter(nRoom);
        EXPECT_EQ(kBankWriteFailed, driver.Build(48000, 0)) << nRoom;
        EXPECT_EQ((Call{2, 10}), driver.Calls().back());
        env.Heal();
        EXPECT_FALSE(fs::exists(m_bank));
    }
    EXPECT_EQ(kBankDone, driver.Build(48000, 0));
}

TEST_F(EngineCancelTest, ALossOfPowerLeavesAWholeBankOrAnInterruptedOne) {
    const std::string strClean = CleanHash();
    const int kSyncs = 5;
    for (int nSync = 1; nSync <= kSyncs; ++nSync) {
        FaultyFileEnv env;
        {
            EngineDriver driver;
            Prepare(driver);
            env.FailCallOf(FileOp::kSync, nSync, FaultyFileEnv::Lasting::kForGood);
            driver.Build(48000, 0);
        }
        env.Heal();
        env.LoseUnsynced();
        if (fs::exists(m_bank) && Sha256IdentityZeroed(ReadFile(m_bank)) == strClean) fs::remove(m_bank);
        ExpectNothingPassesForABank();
    }
}

// Else the bytes behind the header could be there without it, and nothing would tell that a build left them.
TEST_F(EngineCancelTest, TheBeginningOfABankIsOnTheDiskBeforeTheRest) {
    FaultyFileEnv env;
    EngineDriver driver;
    Prepare(driver);
    env.FailCallOf(FileOp::kSync, 1);
    EXPECT_EQ(kBankWriteFailed, driver.Build(48000, 0));
    EXPECT_EQ((std::vector<Call>{{2, 10}}), driver.Calls()) << "no record was begun";
    EXPECT_FALSE(fs::exists(m_bank));
}

}  // namespace
}  // namespace Kestrova::Test
