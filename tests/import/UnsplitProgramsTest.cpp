#include <gtest/gtest.h>

#include "import/UnsplitPrograms.h"

namespace Kestrova::Test {
namespace {

// Gives the number of the wave that is asked for.
class NumberReader : public IWaveReader {
public:
    ImportOutcome ReadFrames(size_t nWave, uint64_t, uint64_t, uint8_t* pOut) const override {
        *pOut = static_cast<uint8_t>(nWave);
        return {};
    }
};

class UnsplitProgramsTest : public testing::Test {
protected:
    UnsplitProgramsTest() {
        for (const char* pszName : {"A", "B", "C"}) m_plan.waves.push_back({pszName, 16, 1, 100, {}});
        m_plan.programs = {{"One", 0, 1, {{"R", {}, {0, 1}}}},
                           {"Two", 0, 2, {{"R", {}, {1, 2}}, {"S", {}, {2}}}},
                           {"Three", 1, 2, {{"R", {}, {1}}}}};
    }
    void Unsplit(const std::set<ProgramNumber>& programs) { m_waves.Unsplit(m_plan, programs, m_report); }
    std::vector<size_t> Layers(size_t nProgram) const {
        std::vector<size_t> layers;
        for (const PlannedRegion& region : m_plan.programs[nProgram].regions)
            layers.insert(layers.end(), region.layers.begin(), region.layers.end());
        return layers;
    }
    size_t SourceOf(size_t nWave) const {
        uint8_t n = 0;
        EXPECT_TRUE(m_waves.ReadFrames(nWave, 0, 1, &n).IsDone());
        return n;
    }

    ImportPlan m_plan;
    ImportReport m_report;
    NumberReader m_reader;
    UnsplitPrograms m_waves{m_reader};
};

TEST_F(UnsplitProgramsTest, WithoutANumberNothingChanges) {
    Unsplit({});
    EXPECT_EQ(3u, m_plan.waves.size());
    for (const PlannedProgram& program : m_plan.programs) EXPECT_TRUE(program.bSplit);
    EXPECT_EQ(2u, SourceOf(2));
    EXPECT_EQ(0u, m_report.CountOf(ImportEvent::Copied));
}

TEST_F(UnsplitProgramsTest, AWaveThatASplitProgramPlaysTooIsWrittenAgain) {
    Unsplit({{0, 2}});
    EXPECT_TRUE(m_plan.programs[0].bSplit);
    EXPECT_FALSE(m_plan.programs[1].bSplit);
    EXPECT_TRUE(m_plan.programs[2].bSplit) << "another bank's program 2";
    ASSERT_EQ(4u, m_plan.waves.size());
    EXPECT_EQ("B", m_plan.waves[3].strName);
    EXPECT_EQ((std::vector<size_t>{0, 1}), Layers(0));
    EXPECT_EQ((std::vector<size_t>{3, 2, 2}), Layers(1));
    EXPECT_EQ((std::vector<size_t>{1}), Layers(2));
    EXPECT_EQ(1u, SourceOf(3));
    ASSERT_EQ(1u, m_report.Of(ImportEvent::Copied).size());
    EXPECT_EQ("sample \"B\"", m_report.Of(ImportEvent::Copied)[0].strWhat);
    EXPECT_EQ("for the programs that are not split", m_report.Of(ImportEvent::Copied)[0].strCause);
}

TEST_F(UnsplitProgramsTest, ProgramsThatAreNotSplitShareTheirWaves) {
    Unsplit({{0, 2}, {1, 2}});
    ASSERT_EQ(4u, m_plan.waves.size());
    EXPECT_EQ((std::vector<size_t>{3, 2, 2}), Layers(1));
    EXPECT_EQ((std::vector<size_t>{3}), Layers(2));
}

TEST_F(UnsplitProgramsTest, WithNoSplitProgramLeftNoWaveIsCopied) {
    Unsplit({{0, 1}, {0, 2}, {1, 2}});
    EXPECT_EQ(3u, m_plan.waves.size());
}

}  // namespace
}  // namespace Kestrova::Test
