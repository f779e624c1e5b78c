// The writer of a plan, without any format behind it. What becomes what is in ImportCommandTest.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "import/SourceBankWriter.h"
#include "shared/System/kvMutex.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

uint8_t ByteAt(size_t nWave, uint64_t nByte) { return static_cast<uint8_t>(nWave * 77 + nByte / 1024); }

// Waves whose bytes tell their places.
class CountingReader : public IWaveReader {
public:
    explicit CountingReader(const ImportPlan& plan) : m_plan(plan) {}

    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override {
        const MutexGuard guard(m_lock);
        if (nWave == nBadWave) return {ImportEnd::Unreadable, "", "the disk is gone", EIO};
        const size_t nFrameBytes = m_plan.waves[nWave].FrameBytes();
        for (uint64_t i = 0; i < nFrames * nFrameBytes; ++i)
            pOut[i] = ByteAt(nWave, nFirst * nFrameBytes + i);
        return {};
    }

    size_t nBadWave = SIZE_MAX;

private:
    const ImportPlan& m_plan;
    mutable Mutex m_lock;
};

ImportPlan PlanOf(const std::vector<PlannedWave>& waves) {
    ImportPlan plan{"Name", "About", waves, {{"Program", 0, 3, {{"Region", {}, {}}}}}};
    for (size_t i = 0; i < waves.size(); ++i) plan.programs[0].regions[0].layers.push_back(i);
    return plan;
}

PlannedWave WaveOf(const char* pszName, uint64_t nFrames, uint32_t nBits = 16, uint32_t nChannels = 1) {
    return {pszName, nBits, nChannels, nFrames, {44100, 60, 0, false, 0, 0}};
}

class SourceBankWriterTest : public ::testing::Test {
protected:
    ImportOutcome Write(const ImportPlan& plan, const IWaveReader& reader,
                        const ImportWatch& watch = {}) const {
        return WriteSourceBank(m_dir.File("a.kvs"), plan, reader, watch);
    }
    TempDir m_dir;
};

TEST_F(SourceBankWriterTest, WavesOfEverySizeComeWholeWhateverTheirPieces) {
    const ImportPlan plan = PlanOf({WaveOf("One", 1), WaveOf("Long", 300000, 16, 2), WaveOf("Piece", 0x40000),
                                    WaveOf("Last", 5, 24, 2)});
    const ImportOutcome outcome = Write(plan, CountingReader(plan));
    ASSERT_TRUE(outcome.IsDone()) << Explain(outcome);
    CSDB database;
    ASSERT_TRUE(database.Open(m_dir.File("a.kvs").c_str(), kSdbFormatPlain, false));
    size_t nWave = 0;
    for (const SDBNOTE* pNote = nullptr; (pNote = database.GetNoteByType(pNote, kSdbSample)) != nullptr;) {
        CSDBISampleWave sample(pNote->idNote, kSdbNoID);
        ASSERT_TRUE(database.ReadWholeNote(&sample));
        const PlannedWave& wave = plan.waves[nWave];
        EXPECT_EQ(wave.strName, sample.m_info.szName);
        EXPECT_EQ(wave.nBits, sample.m_info.nFormat);
        EXPECT_EQ(wave.nChannels, sample.m_info.nChannels);
        EXPECT_EQ(wave.nFrames, sample.m_info.nFrames);
        ASSERT_EQ(wave.nFrames * wave.FrameBytes(), sample.m_info.lWave);
        for (uint64_t i = 0; i < sample.m_info.lWave; ++i)
            ASSERT_EQ(ByteAt(nWave, i), sample.m_info.pWave[i]) << wave.strName << " byte " << i;
        ++nWave;
    }
    EXPECT_EQ(plan.waves.size(), nWave);
}

TEST_F(SourceBankWriterTest, AWaveThatCannotBeReadIsNamedWithItsCause) {
    const ImportPlan plan = PlanOf({WaveOf("Good", 10), WaveOf("Bad", 10)});
    CountingReader reader(plan);
    reader.nBadWave = 1;
    const ImportOutcome outcome = Write(plan, reader);
    EXPECT_EQ(ImportEnd::Unreadable, outcome.end);
    EXPECT_EQ(EIO, outcome.nError);
    EXPECT_EQ("sample \"Bad\": the disk is gone", Explain(outcome));
}

TEST_F(SourceBankWriterTest, AWaveThatNoRecordCanHoldIsRefusedBeforeItTakesMemory) {
    const ImportPlan plan = PlanOf({WaveOf("Huge", 0x40000000, 24, 2)});
    const ImportOutcome outcome = Write(plan, CountingReader(plan));
    EXPECT_EQ(ImportEnd::Refused, outcome.end);
    EXPECT_EQ("sample \"Huge\": it is longer than a record can hold", Explain(outcome));
}

TEST_F(SourceBankWriterTest, AskedToStopAtAnyTimeItEndsAsCancelled) {
    const ImportPlan plan = PlanOf({WaveOf("A", 300000), WaveOf("B", 10)});
    const CountingReader reader(plan);
    std::atomic<int> nLeft;
    ImportWatch watch;
    watch.isStopped = [&] { return --nLeft < 0; };
    for (int nQuestions = 0;; ++nQuestions) {
        nLeft = nQuestions;
        const ImportOutcome outcome = Write(plan, reader, watch);
        if (outcome.IsDone()) {
            EXPECT_GT(nQuestions, 8) << "one for each record and each piece of a wave";
            break;
        }
        ASSERT_EQ(ImportEnd::Cancelled, outcome.end);
        ASSERT_EQ("cancelled", outcome.strCause);
    }
}

TEST_F(SourceBankWriterTest, ProgressGrowsToTheWholeAndTheBytesAreTheFiles) {
    const ImportPlan plan = PlanOf({WaveOf("A", 3000), WaveOf("B", 1000)});
    std::vector<double> fractions;
    uint64_t nLastBytes = 0;
    ImportWatch watch;
    watch.progress = [&](double fraction, uint64_t nBytes) {
        fractions.push_back(fraction);
        EXPECT_GT(nBytes, nLastBytes);
        nLastBytes = nBytes;
    };
    const ImportOutcome outcome = Write(plan, CountingReader(plan), watch);
    EXPECT_EQ((std::vector<double>{0.75, 1}), fractions);
    EXPECT_EQ(std::filesystem::file_size(m_dir.File("a.kvs")), outcome.nBytes);
}

TEST_F(SourceBankWriterTest, AFailedWriteHasTheSystemsReason) {
    const ImportPlan plan = PlanOf({WaveOf("A", 100000)});
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kWrite, nFault, FaultyFileEnv::Lasting::kForGood, ENOSPC);
        const ImportOutcome outcome = Write(plan, CountingReader(plan));
        if (!env.FaultHit()) {
            EXPECT_TRUE(outcome.IsDone());
            EXPECT_GT(nFault, 3);
            break;
        }
        EXPECT_EQ(ImportEnd::NotWritten, outcome.end);
        EXPECT_EQ(ENOSPC, outcome.nError);
        EXPECT_EQ("No space left on device", outcome.strCause);
    }
}

TEST_F(SourceBankWriterTest, AFileThatFailsToCloseIsNotWritten) {
    const ImportPlan plan = PlanOf({WaveOf("A", 3000)});
    for (int nFault : {1, 2}) {  // the stream of the commit, and that of the file
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kClose, nFault);
        const ImportOutcome outcome = Write(plan, CountingReader(plan));
        EXPECT_TRUE(env.FaultHit());
        EXPECT_EQ(ImportEnd::NotWritten, outcome.end);
        EXPECT_EQ(EIO, outcome.nError);
        EXPECT_EQ("Input/output error", outcome.strCause);
    }
}

TEST_F(SourceBankWriterTest, WithoutMemoryItSaysSoAndThrowsNothing) {
    const ImportPlan plan = PlanOf({WaveOf("A", 3000), WaveOf("B", 10)});
    const CountingReader reader(plan);
    int nFailures = 0;
    for (int nCall = 1;; ++nCall) {
        SCOPED_TRACE(nCall);
        const std::string strPath = m_dir.File("a.kvs");
        ImportOutcome outcome;
        bool bMet = false;
        {
            const PosixFault fault("_Znwm", 1, nCall);
            outcome = WriteSourceBank(strPath, plan, reader);
            bMet = fault.Calls() >= nCall;
        }
        if (!bMet) break;
        if (outcome.IsDone()) continue;  // fewer helpers, for one
        ++nFailures;
        EXPECT_TRUE(outcome.end == ImportEnd::NoMemory || outcome.end == ImportEnd::NotWritten)
            << Explain(outcome);
    }
    EXPECT_GT(nFailures, 5);
}

}  // namespace
}  // namespace Kestrova::Test
