// A system that refuses to read or write at any point of a job: what the outcome says of it.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "tests/bank/EngineDriver.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/SourceMaker.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using Lasting = FaultyFileEnv::Lasting;

class EngineFileFaultTest : public testing::Test {
protected:
    TempDir m_dir;
    std::string m_strSource = m_dir.File("Test_1.kvn");
    fs::path m_bank = m_dir.Path() / "banks" / "Test_0BB80.kvn";
    std::string m_strClean;

    // Large enough to be read and written in many pieces, and quick to build: only a short wave is converted.
    void SetUp() override {
        SourceSpec spec;
        spec.bEnriched = true;
        spec.samples = {
            {.nRate = 48000, .nFrames = 90000}, {.nFrames = 60}, {.nRate = 48000, .nFrames = 90000}};
        spec.programs = {{true, {{60, 62, {0, 1, 2}}}}};
        MakeSource(m_strSource, spec);
        EngineDriver driver;
        ASSERT_EQ(kBankDone, Run(driver).result);
        m_strClean = Sha256IdentityZeroed(ReadFile(m_bank));
        fs::remove(m_bank);
    }

    BankOutcome Run(EngineDriver& driver) {
        EXPECT_EQ(kBankDone, driver.Engine().SetDstDir(m_bank.parent_path().c_str()));
        BankResult result = driver.Analyse(m_strSource);
        if (result == kBankDone) result = driver.Build(48000, 0);
        EXPECT_EQ(result, driver.Engine().GetFault().result);
        return driver.Engine().GetFault();
    }

    // What a job says when the n-th call of a kind fails; false when there is no such call.
    bool RunWithFault(FileOp op, int nNth, Lasting lasting, int nError) {
        FaultyFileEnv env;
        BankOutcome outcome;
        {
            EngineDriver driver;
            driver.Engine().SetHelperThreads(0);
            env.FailCallOf(op, nNth, lasting, nError);
            outcome = Run(driver);
        }
        const bool bHit = env.FaultHit();
        if (!bHit || outcome.IsDone())
            ExpectWholeBank(outcome);
        else
            ExpectRefusal(env, outcome, nError);
        return bHit;
    }
    void ExpectWholeBank(const BankOutcome& outcome) {
        ASSERT_EQ(kBankDone, outcome.result) << outcome.pszCause;
        EXPECT_EQ(m_strClean, Sha256IdentityZeroed(ReadFile(m_bank)));
        fs::remove(m_bank);
    }
    void ExpectRefusal(const FaultyFileEnv& env, const BankOutcome& outcome, int nError) {
        SCOPED_TRACE(testing::Message() << "result " << outcome.result << ": " << outcome.pszCause);
        EXPECT_EQ(nError, outcome.nError);
        const bool bSource = outcome.side == BankSide::Source;
        EXPECT_TRUE(env.HasStruck(bSource ? m_strSource : m_bank.string()));
        if (bSource)
            EXPECT_TRUE(outcome.result == kBankSourceNotOpened || outcome.result == kBankReadFailed);
        else
            EXPECT_TRUE(outcome.result == kBankTargetNotCreated || outcome.result == kBankWriteFailed ||
                        outcome.result == kBankConversionFailed);
        EXPECT_FALSE(fs::exists(m_bank));
    }
    void ExpectFullDisk(const BankOutcome& outcome) {
        EXPECT_EQ(BankSide::Target, outcome.side);
        EXPECT_EQ(ENOSPC, outcome.nError);
        EXPECT_FALSE(fs::exists(m_bank));
    }
    // The number of calls there were to fail.
    int Walk(FileOp op, Lasting lasting, int nError) {
        for (int nNth = 1;; ++nNth) {
            SCOPED_TRACE(testing::Message() << "call " << nNth << ", error " << nError);
            if (!RunWithFault(op, nNth, lasting, nError) || HasFailure()) return nNth - 1;
        }
    }
};

TEST_F(EngineFileFaultTest, OnAFileSystemWithoutLocksBanksAreBuiltAndBuiltAnew) {
    for (const int nError : {ENOLCK, EOPNOTSUPP, ENOSYS}) {
        SCOPED_TRACE(nError);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kLock, 1, Lasting::kForGood, nError);
        EngineDriver driver;
        EXPECT_EQ(kBankDone, Run(driver).result);
        ExpectWholeBank(Run(driver));
        EXPECT_TRUE(env.FaultHit());
    }
}

// It may be held, so the older bank stays; but nobody says that another program is building it.
TEST_F(EngineFileFaultTest, AnOlderBankWhoseLockCannotBeAskedForStaysAndTheReasonIsTold) {
    WriteFile(m_bank, std::string("an older bank"));
    FaultyFileEnv env;
    EngineDriver driver;
    ASSERT_EQ(kBankDone, driver.Engine().SetDstDir(m_bank.parent_path().c_str()));
    ASSERT_EQ(kBankDone, driver.Analyse(m_strSource));
    env.FailCallOf(FileOp::kLock, 1, Lasting::kForGood, EIO);
    EXPECT_EQ(kBankTargetNotCreated, driver.Build(48000, 0));
    const BankOutcome& fault = driver.Engine().GetFault();
    EXPECT_STREQ("it cannot be locked", fault.pszCause);
    EXPECT_EQ(EIO, fault.nError);
    EXPECT_EQ(13u, fs::file_size(m_bank));
}

// The engine is there all the same; it says so when it is asked for work.
TEST_F(EngineFileFaultTest, WithoutAWorkerThreadTheReasonIsTold) {
    std::optional<EngineDriver> driver;
    {
        const PosixFault fault("pthread_create", EAGAIN);
        driver.emplace();
    }
    EXPECT_EQ(kBankNoWorker, driver->Engine().GetStatus());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kBankNoWorker, driver->Engine().SetSrcFile(m_strSource.c_str()));
        EXPECT_EQ(EAGAIN, driver->Engine().GetFault().nError);
    }
}

TEST_F(EngineFileFaultTest, EveryRefusedWriteNamesTheBankAndTheReason) {
    for (const int nError : {ENOSPC, EIO, EFBIG})
        for (const Lasting lasting : {Lasting::kOnce, Lasting::kForGood})
            EXPECT_LE(10, Walk(FileOp::kWrite, lasting, nError));
}

TEST_F(EngineFileFaultTest, EveryRefusedSyncAndCutNamesTheBankAndTheReason) {
    for (const int nError : {ENOSPC, EIO})
        for (const Lasting lasting : {Lasting::kOnce, Lasting::kForGood}) {
            EXPECT_LE(2, Walk(FileOp::kSync, lasting, nError));
            EXPECT_LE(2, Walk(FileOp::kTruncate, lasting, nError));
        }
}

// Of the bank two streams are closed, that of the commit and its own; those of the source have lost nothing.
TEST_F(EngineFileFaultTest, ABankThatFailsToCloseIsRefusedWithTheReason) {
    int nRefused = 0;
    bool bHit = true;
    for (int nNth = 1; bHit && !HasFailure(); ++nNth) {
        SCOPED_TRACE(nNth);
        FaultyFileEnv env;
        BankOutcome outcome;
        {
            EngineDriver driver;
            env.FailCallOf(FileOp::kClose, nNth, Lasting::kOnce, EIO);
            outcome = Run(driver);
        }
        bHit = env.FaultHit();
        if (!env.HasStruck(m_bank)) {
            ExpectWholeBank(outcome);
            continue;
        }
        ExpectRefusal(env, outcome, EIO);
        EXPECT_STREQ("the bank cannot be committed", outcome.pszCause);
        ++nRefused;
    }
    EXPECT_EQ(2, nRefused);
}

TEST_F(EngineFileFaultTest, EveryRefusedReadNamesItsFileAndTheReason) {
    for (const Lasting lasting : {Lasting::kOnce, Lasting::kForGood})
        EXPECT_LE(10, Walk(FileOp::kRead, lasting, EIO));
}

TEST_F(EngineFileFaultTest, AFullDiskIsToldAsOneWhereverItIsMet) {
    for (uint64_t nRoom = 0; nRoom < 600000; nRoom += 30011) {
        SCOPED_TRACE(nRoom);
        FaultyFileEnv env;
        EngineDriver driver;
        env.FillDiskAfter(nRoom);
        const BankOutcome outcome = Run(driver);
        if (env.FaultHit())
            ExpectFullDisk(outcome);
        else
            ExpectWholeBank(outcome);
    }
}

TEST_F(EngineFileFaultTest, ARecordIsNamedByItsIdInTheSource) {
    FaultyFileEnv env;
    EngineDriver driver;
    driver.Engine().SetHelperThreads(0);
    env.FailCallOf(FileOp::kWrite, 3, Lasting::kForGood, EFBIG);
    const BankOutcome outcome = Run(driver);
    EXPECT_EQ(kBankWriteFailed, outcome.result);
    EXPECT_EQ(kSdbSample, outcome.nType);
    EXPECT_EQ(2u, outcome.id) << "the first sample, behind the information and the preset";
    EXPECT_STREQ("it cannot be written", outcome.pszCause);
}

TEST_F(EngineFileFaultTest, AnEarlierFailureOfTheSourceDoesNotExplainALaterOne) {
    m_strSource = m_dir.File("Plain.kvs");
    MakeSource(m_strSource, {.samples = {{.nFrames = 3000}}});
    FaultyFileEnv env;
    EngineDriver driver;
    driver.Engine().SetHelperThreads(0);
    ASSERT_EQ(kBankDone, Run(driver).result);
    env.FailCallOf(FileOp::kRead, 1, Lasting::kForGood, EIO);
    EXPECT_EQ(kBankReadFailed, driver.Build(48000, 0));
    EXPECT_EQ(EIO, driver.Engine().GetFault().nError);
    env.Heal();
    Bytes bytes = ReadFile(m_strSource);
    for (size_t i = 0; i < 100; ++i) bytes[bytes.size() / 2 + i] ^= 0x55;  // inside a compressed wave
    WriteFile(m_strSource, bytes);
    EXPECT_EQ(kBankReadFailed, driver.Build(48000, 0));
    EXPECT_EQ(0, driver.Engine().GetFault().nError) << "damage is not the system's refusal";
}

}  // namespace
}  // namespace Kestrova::Test
