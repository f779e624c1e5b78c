#include <gtest/gtest.h>

#include "import/formats/OpenInstrument.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/SoundFontMaker.h"

namespace Kestrova::Test {
namespace {

class OpenInstrumentTest : public testing::Test {
protected:
    // The outcome's cause, and the format that was opened.
    std::string Open(const std::string& strName) {
        const ImportOutcome outcome = OpenInstrument(m_dir.File(strName), m_pInstrument);
        EXPECT_EQ(outcome.IsDone(), m_pInstrument != nullptr);
        return outcome.IsDone() ? m_pInstrument->GetFacts().strFormat : outcome.strCause;
    }

    TempDir m_dir;
    std::unique_ptr<IInstrument> m_pInstrument;
};

constexpr char kNoFormat[] = "it is not of a format that is read: a SoundFont file";

TEST_F(OpenInstrumentTest, ASoundFontIsToldByItsContentWhateverItsName) {
    WriteFile(m_dir.File("font.txt"), MakeFont(SimpleFont()));
    EXPECT_EQ("SoundFont", Open("font.txt"));
    EXPECT_EQ("2.01", m_pInstrument->GetFacts().strVersion);
    EXPECT_EQ(16u, m_pInstrument->GetFacts().nBits);
    EXPECT_EQ("Test font", m_pInstrument->GetFacts().strName);
}

TEST_F(OpenInstrumentTest, APlanOfItGivesItsFrames) {
    WriteFile(m_dir.File("font.sf2"), MakeFont(SimpleFont()));
    ASSERT_EQ("SoundFont", Open("font.sf2"));
    ImportPlan plan;
    ImportReport report;
    ASSERT_TRUE(m_pInstrument->MakePlan({}, plan, report).IsDone());
    ASSERT_EQ(1u, plan.waves.size());
    std::vector<int16_t> frames(100);
    ASSERT_TRUE(m_pInstrument->ReadFrames(0, 0, 100, reinterpret_cast<uint8_t*>(frames.data())).IsDone());
    const std::vector<int16_t> ramp = MakeRamp(200);
    EXPECT_EQ(std::vector<int16_t>(ramp.begin(), ramp.begin() + 100), frames);
}

TEST_F(OpenInstrumentTest, OtherContentIsRefusedAndTheFormatsAreNamed) {
    const std::string kContents[] = {"", "RIFF", "RIFFxxxxWAVE", "text", std::string(200000, '\0')};
    for (const std::string& strContent : kContents) {
        WriteFile(m_dir.File("a.sf2"), strContent);
        EXPECT_EQ(kNoFormat, Open("a.sf2")) << strContent.substr(0, 20);
    }
}

TEST_F(OpenInstrumentTest, ADamagedSoundFontIsRefusedByItsOwnReader) {
    Bytes bytes = MakeFont(SimpleFont());
    bytes.resize(bytes.size() - 10);
    WriteFile(m_dir.File("font.sf2"), bytes);
    EXPECT_NE(std::string::npos, Open("font.sf2").find("is cut short")) << "the reader's own cause";
}

TEST_F(OpenInstrumentTest, AFailedReadIsToldWithTheSystemsReason) {
    WriteFile(m_dir.File("font.sf2"), MakeFont(SimpleFont()));
    EXPECT_EQ("No such file or directory", Open("other.sf2"));
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kRead, 1, FaultyFileEnv::Lasting::kForGood);
    EXPECT_EQ("Input/output error", Open("font.sf2"));
}

TEST_F(OpenInstrumentTest, AStoppedOneIsCancelled) {
    WriteFile(m_dir.File("font.sf2"), MakeFont(SimpleFont()));
    ImportWatch watch;
    watch.isStopped = [] { return true; };
    EXPECT_EQ(ImportEnd::Cancelled, OpenInstrument(m_dir.File("font.sf2"), m_pInstrument, watch).end);
    EXPECT_EQ(nullptr, m_pInstrument);
}

}  // namespace
}  // namespace Kestrova::Test
