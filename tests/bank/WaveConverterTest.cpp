// A converter that is injected into the engine: what it is asked, and what becomes of its answers.
#include <gtest/gtest.h>

#include <cmath>
#include <mutex>
#include <new>

#include "bank/SampleMaker.h"
#include "bank/WaveConverter.h"
#include "tests/bank/BankReader.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

// Makes waves of three frames for each of the source's, whose bytes tell sample and key. Loops move to 1 and
// 2.
class TriplingConverter : public IWaveConverter {
public:
    BankOutcome Plan(const WaveOrder& order, std::span<SDBLOOP> loops, uint64_t& nFrames) const override {
        for (SDBLOOP& loop : loops) loop.nStart = 1, loop.nEnd = 2;
        nFrames = m_nFrames != 0 ? m_nFrames : uint64_t{3} * order.nFrames;
        return m_plan;
    }
    BankOutcome Convert(const WaveOrder& order, const uint8_t*, uint8_t* pTarget,
                        uint64_t nFrames) const override {
        const std::lock_guard guard(m_lock);
        m_orders.push_back(order);
        m_orders.back().loops = {};
        if (m_bOutOfMemory) throw std::bad_alloc();
        for (uint64_t i = 0; i < nFrames * order.FrameBytes(); ++i)
            pTarget[i] = static_cast<uint8_t>(order.idSample * 31 + static_cast<uint32_t>(order.nKey));
        return m_convert;
    }

    BankOutcome m_plan, m_convert;
    uint64_t m_nFrames = 0;  // not 0: of every plan
    bool m_bOutOfMemory = false;
    mutable std::mutex m_lock;
    mutable std::vector<WaveOrder> m_orders;
};

class WaveConverterTest : public testing::Test {
protected:
    TempDir m_dir;
    TriplingConverter m_converter;
    EngineDriver m_driver;

    WaveConverterTest() {
        SourceSpec spec;
        spec.samples.assign(5, {.nFrames = 50, .loops = {{7, 10, 20, 9}}});
        spec.samples[3].nRate = 48000;
        spec.programs[0].regions[0] = {.nLow = 60, .nHigh = 61, .layers = {0, 1, 2, 3, 4}};
        MakeSource(m_dir.File("Src.kvs"), spec);
        EXPECT_EQ(kBankDone, m_driver.Engine().SetDstDir(m_dir.Path().c_str()));
        m_driver.Engine().SetWaveConverter(&m_converter);
    }
    BankResult Build(int nPerKey = 0) {
        EXPECT_EQ(kBankDone, m_driver.Analyse(m_dir.File("Src.kvs")));
        return m_driver.Build(48000, nPerKey);
    }
    std::string BankPath(int nPerKey = 0) const {
        return m_dir.File(nPerKey != 0 ? "Src_0BB80.kvr" : "Src_0BB80.kvn");
    }
    // Without the identity in its head, which is new in every file.
    Bytes BankBytes(int nPerKey) const {
        Bytes bytes = ReadFile(BankPath(nPerKey));
        std::fill(bytes.begin() + 4, bytes.begin() + 20, 0);
        return bytes;
    }
};

TEST_F(WaveConverterTest, ItMakesFramesWaveAndLoops) {
    ASSERT_EQ(kBankDone, Build());
    BankReader bank(BankPath());
    const auto samples = bank.ReadAll<CSDBISampleEUWave>(kSdbSample);
    ASSERT_EQ(5u, samples.size());
    EXPECT_EQ(150u, samples[0]->m_info.nFrames);
    EXPECT_EQ(300u, samples[0]->m_info.lWave);
    EXPECT_EQ(1u, samples[0]->GetLoops()[0].nStart);
    EXPECT_EQ(2u, samples[0]->GetLoops()[0].nEnd);
    EXPECT_EQ(7u, samples[0]->GetLoops()[0].nCueID);
    EXPECT_EQ(9u, samples[0]->GetLoops()[0].nPlayCount);
}

TEST_F(WaveConverterTest, AWaveOfTheTargetsRateIsCopiedWithoutIt) {
    ASSERT_EQ(kBankDone, Build());
    EXPECT_EQ(4u, m_converter.m_orders.size());
    BankReader bank(BankPath());
    const auto samples = bank.ReadAll<CSDBISampleEUWave>(kSdbSample);
    EXPECT_EQ(50u, samples[3]->m_info.nFrames);
    EXPECT_EQ(10u, samples[3]->GetLoops()[0].nStart);
}

TEST_F(WaveConverterTest, ItIsToldSampleKeyFormAndTheExactRatio) {
    m_driver.Engine().SetHelperThreads(0);
    ASSERT_EQ(kBankDone, Build(1));
    ASSERT_EQ(9u, m_converter.m_orders.size());  // the fourth sample at its root key is copied
    const WaveOrder& first = m_converter.m_orders[0];
    const WaveOrder& second = m_converter.m_orders[1];
    EXPECT_EQ(first.idSample, second.idSample);
    EXPECT_EQ(60, first.nKey);
    EXPECT_EQ(61, second.nKey);
    EXPECT_EQ(50u, first.nFrames);
    EXPECT_EQ(16u, first.nBits);
    EXPECT_EQ(1u, first.nChannels);
    EXPECT_EQ(44100.0 / 48000, first.ratio);
    EXPECT_EQ(44100 * std::exp2(1 / 12.0) / 48000, second.ratio);
}

TEST_F(WaveConverterTest, TheBankDoesNotDependOnTheNumberOfHelpers) {
    for (const int nPerKey : {0, 1}) {
        m_driver.Engine().SetHelperThreads(0);
        ASSERT_EQ(kBankDone, Build(nPerKey));
        const Bytes alone = BankBytes(nPerKey);
        const std::vector<Call> calls = m_driver.Calls();
        for (const unsigned nHelpers : {1u, 4u}) {
            m_driver.Engine().SetHelperThreads(nHelpers);
            ASSERT_EQ(kBankDone, Build(nPerKey));
            EXPECT_EQ(alone, BankBytes(nPerKey));
            EXPECT_EQ(calls, m_driver.Calls());
        }
    }
}

TEST_F(WaveConverterTest, WithoutItTheEngineConvertsAsBefore) {
    m_driver.Engine().SetWaveConverter(nullptr);
    ASSERT_EQ(kBankDone, Build());
    EXPECT_TRUE(m_converter.m_orders.empty());
    BankReader bank(BankPath());
    EXPECT_EQ(55u, bank.ReadAll<CSDBISampleEUWave>(kSdbSample)[0]->m_info.nFrames);
}

TEST_F(WaveConverterTest, ItsRefusalIsTheJobsWithTheRecord) {
    for (BankOutcome* const pOutcome : {&m_converter.m_plan, &m_converter.m_convert}) {
        *pOutcome = {.result = kBankConversionFailed, .pszCause = "it will not"};
        EXPECT_EQ(kBankConversionFailed, Build());
        const BankOutcome& fault = m_driver.Engine().GetFault();
        EXPECT_EQ(BankSide::Source, fault.side);
        EXPECT_EQ(kSdbSample, fault.nType);
        EXPECT_NE(kSdbNoID, fault.id);
        EXPECT_STREQ("it will not", fault.pszCause);
        EXPECT_FALSE(std::filesystem::exists(BankPath()));
        *pOutcome = {};
    }
}

TEST_F(WaveConverterTest, ItsWantOfMemoryIsTheJobs) {
    m_converter.m_bOutOfMemory = true;
    EXPECT_EQ(kBankNoMemory, Build());
    EXPECT_FALSE(std::filesystem::exists(BankPath()));
}

TEST_F(WaveConverterTest, AWaveThatNoRecordCanHoldIsRefusedBeforeItIsMade) {
    for (const uint64_t nFrames : {uint64_t{1} << 31, uint64_t{1} << 32, uint64_t{1} << 63}) {
        m_converter.m_nFrames = nFrames;
        EXPECT_EQ(kBankNoMemory, Build());
        EXPECT_STREQ(
            "the converted wave is too large: a bank's sample holds less than 4 GiB; choose a lower sample "
            "rate, or cut the wave in two",
            m_driver.Engine().GetFault().pszCause);
    }
    EXPECT_TRUE(m_converter.m_orders.empty());
}

TEST_F(WaveConverterTest, TheSpaceIsThatOfItsPlan) {
    ASSERT_EQ(kBankDone, m_driver.Analyse(m_dir.File("Src.kvs")));
    unsigned int nMegabytes = 0;
    m_converter.m_nFrames = 10 << 20;  // of 2 bytes, four samples
    ASSERT_EQ(kBankDone, m_driver.Engine().Prediction(48000, 0, nMegabytes));
    EXPECT_EQ(81u, nMegabytes);
    ASSERT_EQ(kBankDone, m_driver.Engine().Prediction(48000, 1, nMegabytes));
    EXPECT_EQ(181u, nMegabytes);  // nine copies
    m_converter.m_plan = {.result = kBankConversionFailed};
    ASSERT_EQ(kBankDone, m_driver.Engine().Prediction(48000, 0, nMegabytes));
    EXPECT_EQ(1u, nMegabytes);  // as without it
}

TEST_F(WaveConverterTest, AHeaderHasWhatTheWholeSampleHas) {
    CSDBISampleWave source(5, 9);
    source.m_info.nSampleRate = 44100;
    source.m_info.nFormat = 16;
    source.m_info.nChannels = 1;
    source.m_info.nFrames = 40;
    source.m_info.lWave = 80;
    ASSERT_TRUE(source.SmplMemAlloc());
    ASSERT_TRUE(source.AllocLoops(1));
    for (const IWaveConverter* const pConverter :
         {static_cast<const IWaveConverter*>(nullptr), static_cast<const IWaveConverter*>(&m_converter)}) {
        const SampleTarget target{48000, 7, false, pConverter};
        CSDBISampleEUWave whole(kSdbNoID, kSdbNoID);
        CSDBISampleEUInfo header(kSdbNoID, kSdbNoID);
        ASSERT_TRUE(MakeTargetSample(source, target, kEveryKey, whole).IsDone());
        ASSERT_TRUE(MakeTargetHeader(source, target, kEveryKey, header).IsDone());
        EXPECT_EQ(whole.m_info.nFrames, header.m_info.nFrames);
        EXPECT_EQ(whole.m_info.nSampleRate, header.m_info.nSampleRate);
        EXPECT_EQ(whole.GetLoops()[0].nEnd, header.GetLoops()[0].nEnd);
    }
}

}  // namespace
}  // namespace Kestrova::Test
