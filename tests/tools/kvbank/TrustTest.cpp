// Compressed waves that would take far more memory than their file has bytes, with --trust and without.
#include "codec/ReadBudget.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

class TrustTest : public CommandTest {
protected:
    static constexpr uint32_t kSilence =
        (64 << 20) + 2;  // bytes: one frame more than the budget of a small file
    static constexpr const char* kRefusal =
        "the wave would expand to more than 64 MB and more than 1000 times the size of its file, as in files "
        "that are made to fill the memory; if you trust the file, use kvbank with --trust";

    TrustTest() {
        CSDB db;
        EXPECT_TRUE(db.Create(File("Long.kvs").c_str(), kSdbFormatPlain));
        CSDBIInfo info(kSdbNoID, kSdbNoID);
        EXPECT_TRUE(db.AddNewNote(&info));
        CSDBISampleWave sample(kSdbNoID, kSdbNoID);
        CopyStgStr(sample.m_info.szName, "Silence");
        sample.m_info.nChannels = 1;
        sample.m_info.lWave = kSilence;
        sample.m_info.nFrames = kSilence / 2;
        EXPECT_TRUE(sample.SmplMemAlloc());
        sample.PackWave();
        EXPECT_TRUE(db.AddNewNote(&sample));
        CSDBIBank bank(kSdbNoID, kSdbNoID);
        EXPECT_TRUE(db.AddNewNote(&bank));
        CSDBIProgram program(kSdbNoID, bank.GetID());
        EXPECT_TRUE(db.AddNewNote(&program));
        CSDBIRegion region(kSdbNoID, program.GetID());
        region.m_info.nHighKey = 127;
        EXPECT_TRUE(db.AddNewNote(&region));
        CSDBILayer layer(kSdbNoID, region.GetID());
        layer.m_info.nSampleID = sample.GetID();
        EXPECT_TRUE(db.AddNewNote(&layer));
    }

    void ExpectRefused(ExitCode code, const std::vector<std::string>& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(code, outcome.nCode) << arguments.front();
        EXPECT_THAT(outcome.strOut + outcome.strErr,
                    ::testing::HasSubstr(std::string("sample 1 \"Silence\": ") + kRefusal))
            << arguments.front();
    }
};

TEST_F(TrustTest, WithoutItEveryVerbThatReadsWavesRefusesOneAboveTheBudget) {
    EXPECT_LT(fs::file_size(File("Long.kvs")) * 1000, kSilence);
    ExpectRefused(kExitBadInput, {"build", "DIR/Long.kvs", "-d", "DIR/banks", "-r", "44100"});
    ExpectRefused(kExitProblem, {"verify", "DIR/Long.kvs"});
    ExpectRefused(kExitProblem, {"export", "DIR/Long.kvs", "-o", "DIR/waves"});
    ExpectRefused(kExitBadInput, {"render", "DIR/Long.kvs", "-o", "DIR/note.wav"});
}

TEST_F(TrustTest, WithoutItAReportShowsTheRefusalInPlaceOfTheWave) {
    EXPECT_EQ(kExitProblem, Run({"report", "DIR/Long.kvs", "-o", "DIR/page.html"}).nCode);
    const Bytes page = ReadFile(File("page.html"));
    EXPECT_THAT(std::string(page.begin(), page.end()), ::testing::HasSubstr(kRefusal));
}

TEST_F(TrustTest, WithItTheWaveIsReadWhole) {
    EXPECT_EQ(kExitDone, Run({"--trust", "verify", "DIR/Long.kvs"}).nCode);
    EXPECT_EQ(kExitDone, Run({"build", "--trust", "DIR/Long.kvs", "-d", "DIR/banks", "-r", "44100"}).nCode);
    EXPECT_LT(kSilence, fs::file_size(File("banks/Long_0AC44.kvn")));
}

TEST_F(TrustTest, ItHoldsForOneRunAlone) {
    EXPECT_EQ(kExitDone, Run({"--trust", "info", "DIR/Long.kvs"}).nCode);
    EXPECT_EQ(kExitProblem, Run({"verify", "DIR/Long.kvs"}).nCode);
    EXPECT_EQ(UINT64_MAX, ReadBudget::MostFor(1));
}

}  // namespace
}  // namespace Kestrova::Test
