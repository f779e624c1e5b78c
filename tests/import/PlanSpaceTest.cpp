// What is predicted of a plan is what the engine's analysis finds in the source that is written of it.
#include <gtest/gtest.h>

#include <cstring>

#include "bank/BankRates.h"
#include "import/PlanSpace.h"
#include "import/SourceBankWriter.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

class SilentReader : public IWaveReader {
public:
    explicit SilentReader(const ImportPlan& plan) : m_plan(plan) {}
    ImportOutcome ReadFrames(size_t nWave, uint64_t, uint64_t nFrames, uint8_t* pOut) const override {
        std::memset(pOut, 0, nFrames * m_plan.waves[nWave].FrameBytes());
        return {};
    }

private:
    const ImportPlan& m_plan;
};

// Two programs in two banks that share a wave; loops, widths and names of several lengths.
ImportPlan SharingPlan() {
    ImportPlan plan{"Name", "A longer description", {}, {}};
    plan.waves = {{"Long", 24, 2, 300000, {44100, 60, 0, true, 10, 20}},
                  {"Short one", 16, 1, 5000, {22050, 90, -3, false, 0, 0}},
                  {"Played by none", 16, 1, 70000, {48000, 10, 0, true, 0, 69999}}};
    plan.programs = {{"First", 0, 3, {{"Low", {{0, 59}, {}}, {0}}, {"High", {{60, 127}, {1, 64}}, {1, 0}}}},
                     {"Second", 128, 0, {{"All", {{20, 100}, {}}, {1}}}}};
    return plan;
}

void ExpectAsAnalysed(const ImportPlan& plan) {
    TempDir dir;
    ASSERT_TRUE(WriteSourceBank(dir.File("a.kvs"), plan, SilentReader(plan)).IsDone());
    SourceBank source;
    ASSERT_TRUE(source.Open(dir.File("a.kvs").c_str()).IsDone());
    const BankProgress progress([](int, unsigned int) { return 1; });
    SourceAnalysis analysis(source, progress);
    ASSERT_TRUE(analysis.Run().IsDone());
    const BankAnalysis& found = analysis.GetCounts();
    const PlanSpace space(plan);
    EXPECT_EQ(found.nRecords, space.GetCounts().nRecords);
    EXPECT_EQ(found.nPerKeyRecords, space.GetCounts().nPerKeyRecords);
    EXPECT_EQ(found.nOverheadBytes, space.GetCounts().nOverheadBytes);
    EXPECT_EQ(found.nSamples, space.GetCounts().nSamples);
    EXPECT_EQ(found.nRegions, space.GetCounts().nRegions);
    for (const int nRate : iSPS)
        for (const bool bPerKey : {false, true})
            EXPECT_EQ(analysis.PredictMegabytes(static_cast<unsigned>(nRate), bPerKey),
                      space.Predict(static_cast<unsigned>(nRate), bPerKey))
                << nRate << (bPerKey ? " per-key" : " plain");
}

TEST(PlanSpaceTest, FindsWhatTheEngineFindsInTheWrittenSource) { ExpectAsAnalysed(SharingPlan()); }

TEST(PlanSpaceTest, FindsTheSameWithProgramsThatAreNotSplit) {
    ImportPlan plan = SharingPlan();
    plan.programs[0].bSplit = false;
    ExpectAsAnalysed(plan);
}

TEST(PlanSpaceTest, AProgramAloneTakesItsOwnWaves) {
    const ImportPlan plan = SharingPlan();
    ImportPlan alone{plan.strName, plan.strDescription, {plan.waves[1]}, {plan.programs[1]}};
    alone.programs[0].regions[0].layers = {0};
    EXPECT_EQ(PlanSpace(alone).GetCounts().nOverheadBytes,
              PlanSpace(plan, plan.programs[1], true).GetCounts().nOverheadBytes);
    EXPECT_EQ(PlanSpace(alone).Predict(192000, true),
              PlanSpace(plan, plan.programs[1], true).Predict(192000, true));
}

TEST(PlanSpaceTest, AProgramThatIsNotSplitHasEachWaveOnce) {
    const ImportPlan plan = SharingPlan();
    const unsigned int nSplit = PlanSpace(plan, plan.programs[0], true).Predict(48000, true);
    const unsigned int nWhole = PlanSpace(plan, plan.programs[0], false).Predict(48000, true);
    EXPECT_EQ(2u, nWhole) << "1.8 million bytes at 44100 Hz";
    EXPECT_GT(nSplit, 100 * nWhole);
}

}  // namespace
}  // namespace Kestrova::Test
