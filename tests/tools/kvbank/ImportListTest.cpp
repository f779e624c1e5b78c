// What --list tells before anything is written, and programs that are not split.
#include <filesystem>

#include "tests/tools/kvbank/ImportFixture.h"

namespace Kestrova::Test {
namespace {

// Two programs that play one sample of half a million frames, over all keys and over one.
FontSpec SharingFont() {
    FontSpec spec = SimpleFont();
    spec.wave = MakeRamp(500000);
    spec.samples = {{"Long", 0, 500000, 100, 900, 44100, 60, 0, 0, 1}};
    spec.instruments = {{"Wide", {{{{kGenSample, 0}}}}},
                        {"Narrow", {{{{kGenKeyRange, RangeAmount(60, 60)}, {kGenSample, 0}}}}}};
    spec.presets = {{"All keys", 1, 0, {{{{kGenInstrument, 0}}}}},
                    {"One key", 2, 0, {{{{kGenInstrument, 1}}}}}};
    return spec;
}

class ImportListTest : public ImportTest {
protected:
    Outcome List(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"import", "DIR/a.sf2", "--list"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    // What info predicts of the bank that is written with the options.
    Json PredictedOfTheBank(const std::vector<std::string>& options) const {
        EXPECT_EQ(0, Import(options).nCode);
        const Json document = Run({"info", "DIR/a.kvs", "--json"}).Document();
        std::filesystem::remove(File("a.kvs"));
        return document["predicted"];
    }
};

TEST_F(ImportListTest, TellsThePresetsWithTheSizesOfTheirBanksAndWritesNothing) {
    Font();
    const Outcome outcome = List();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "PRESET    ZONES    PER-KEY    UNSPLIT  NAME\n"
        "0:5           1     2.1 MB     1.0 MB  Woods\n"
        "128:3         1     6.3 MB     1.0 MB  Kit\n"
        "PER-KEY, UNSPLIT: a per-key bank of the preset alone at 48000 Hz, with its keys split or "
        "(--unsplit) not\n",
        outcome.strOut.substr(0, outcome.strOut.find("Banks ")));
    ExpectNothingButTheFont();
}

TEST_F(ImportListTest, TellsTheSizesOfAllBanksAsInfoTellsThemOfTheSource) {
    Font(SharingFont());
    EXPECT_EQ(PredictedOfTheBank({}), List({"--json"}).Document()["predicted"]);
    EXPECT_THAT(List().strOut, HasSubstr("Banks      predicted size: plain, per-key\n   44100 Hz "));
}

TEST_F(ImportListTest, AProgramThatIsNotSplitTakesItsSpaceOnceAsInfoTellsToo) {
    Font(SharingFont());
    const Json split = List({"--json"}).Document(), whole = List({"--json", "--unsplit", "0:1"}).Document();
    EXPECT_EQ(PredictedOfTheBank({"--unsplit", "0:1"}), whole["predicted"]);
    EXPECT_EQ(2u, whole["predicted"][0]["per_key_mib"]) << "one wave for each of the two programs";
    EXPECT_GT(split["predicted"][0]["per_key_mib"], 300u);
    EXPECT_EQ(split["presets"], whole["presets"]) << "what could be is told of each preset";
    EXPECT_GT(whole["presets"][0]["per_key_mib"], 300u);
    EXPECT_EQ(2u, whole["presets"][0]["unsplit_mib"]);
    EXPECT_EQ(2u, whole["presets"][1]["per_key_mib"]);
}

TEST_F(ImportListTest, TheJsonDocumentHoldsThePresets) {
    Font();
    const Json presets = List({"--json"}).Document()["presets"];
    EXPECT_EQ(Json::parse(R"([{"bank": 0, "program": 5, "name": "Woods", "zones": 1, "per_key_mib": 2,
                               "unsplit_mib": 1},
                              {"bank": 128, "program": 3, "name": "Kit", "zones": 1, "per_key_mib": 6,
                               "unsplit_mib": 1}])"),
              presets);
    EXPECT_EQ(1u, List({"--json", "--preset", "128:3"}).Document()["presets"].size());
}

TEST_F(ImportListTest, APresetWithoutASampleAndASecondOfItsNumberHaveNoSizes) {
    FontSpec spec = SmallFont();
    spec.presets.push_back({"Second Woods", 5, 0, spec.presets[1].zones});
    spec.presets.push_back({"Silent", 6, 0, {}});
    Font(spec);
    EXPECT_THAT(List().strOut, HasSubstr("0:5           1     2.1 MB     1.0 MB  Woods\n"
                                         "0:5           1          -          -  Second Woods\n"
                                         "0:6           0          -          -  Silent\n"));
}

TEST_F(ImportListTest, AProgramThatIsNotThereCannotBeUnsplit) {
    Font();
    const Outcome outcome = List({"--unsplit", "0:6"});
    EXPECT_EQ(2, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/a.sf2: there is no preset 0:6\n", outcome.strErr);
    const Outcome wrong = List({"--unsplit", "6"});
    EXPECT_EQ(2, wrong.nCode);
    EXPECT_THAT(wrong.strErr, HasSubstr("--unsplit: '6': give bank and program as 0:12"));
}

TEST_F(ImportListTest, AProgramThatIsNotSplitHasItsOwnSampleAndTheOthersAreSplit) {
    Font(SharingFont());
    const Outcome outcome = Import({"--unsplit", "0:1"});
    ASSERT_EQ(0, outcome.nCode);
    EXPECT_THAT(outcome.strOut, HasSubstr("2 samples; 0 joined, 1 copied, 0 repaired, 0 dropped"));
    CSDB database;
    ASSERT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
    const auto programs = ReadAll<CSDBIProgram>(database, kSdbProgram);
    const auto layers = ReadAll<CSDBILayer>(database, kSdbLayer);
    const auto samples = ReadAll<CSDBISampleWave>(database, kSdbSample);
    ASSERT_EQ(2u, samples.size());
    EXPECT_FALSE(programs[0]->IsSplit());
    EXPECT_EQ(0u, programs[0]->m_info.nSecond);
    EXPECT_EQ(0u, programs[0]->m_info.nThird);
    EXPECT_TRUE(programs[1]->IsSplit());
    EXPECT_EQ(samples[1]->GetID(), layers[0]->m_info.nSampleID);
    EXPECT_EQ(samples[0]->GetID(), layers[1]->m_info.nSampleID);
    EXPECT_STREQ("Long", samples[1]->m_info.szName);
    EXPECT_EQ(0, std::memcmp(samples[0]->m_info.pWave, samples[1]->m_info.pWave, samples[0]->m_info.lWave));
}

TEST_F(ImportListTest, InThePerKeyBankEveryLayerOfAProgramThatIsNotSplitPlays) {
    Font(SharingFont());
    ASSERT_EQ(0, Import({"--unsplit", "0:1"}).nCode);
    ASSERT_EQ(0, Run({"build", "DIR/a.kvs", "-d", "DIR/banks", "-r", "48000", "--layout", "per-key"}).nCode);
    for (const auto& entry : std::filesystem::directory_iterator(File("banks"))) {
        CSDB database;
        if (!database.Open(entry.path().c_str(), kSdbFormatEnriched, false)) continue;
        const auto layers = ReadAll<CSDBILayer>(database, kSdbLayer);
        ASSERT_EQ(2u, layers.size()) << "one of each program";
        const std::string strBank = "DIR/banks/" + entry.path().filename().string();
        EXPECT_EQ(0, Run({"verify", strBank, "--source", "DIR/a.kvs"}).nCode);
        for (const auto& pLayer : layers) EXPECT_NE(kSdbNoID, pLayer->m_info.nSampleID);
        return;
    }
    ADD_FAILURE() << "there is no bank";
}

}  // namespace
}  // namespace Kestrova::Test
