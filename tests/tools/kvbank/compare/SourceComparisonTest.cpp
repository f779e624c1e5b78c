// kvbank verify --source: what is found by rebuilding a bank.
#include <csignal>
#include <functional>

#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/compare/RichSource.h"

namespace Kestrova::Test {
namespace {

using Notes = std::vector<NoteFields>;

class SourceComparisonTest : public CommandTest {
protected:
    // A bank of the source at DIR/b.kvn.
    Notes BankOf(const SourceSpec& spec, const std::string& strRate = "44100",
                 const std::string& strLayout = "plain") const {
        Source(spec);
        Run({"build", "DIR/Src.kvs", "-d", "DIR/made", "-r", strRate, "--layout", strLayout});
        fs::rename(File("made/" + Names("made").at(0)), File("b.kvn"));
        return NotesOf(File("b.kvn"));
    }
    Outcome Compare() const { return Run({"verify", "DIR/b.kvn", "--source", "DIR/Src.kvs"}); }
    Outcome CompareNotes(const Notes& notes) const {
        WriteFile(File("b.kvn"), DatabaseImage(notes, kSdbFormatEnriched));
        return Compare();
    }
};

TEST_F(SourceComparisonTest, BanksAreWhatTheirSourcesGive) {
    for (const bool bEnriched : {false, true}) {
        SourceSpec spec = Rich();
        spec.bEnriched = bEnriched;
        for (const char* pszLayout : {"plain", "per-key"}) {
            for (const char* pszRate : {"44100", "96000"}) {
                BankOf(spec, pszRate, pszLayout);
                const Outcome outcome = Compare();
                EXPECT_EQ("", outcome.strErr);
                EXPECT_THAT(outcome.strOut, ::testing::EndsWith(", as its source gives it\n"));
            }
        }
    }
}

TEST_F(SourceComparisonTest, SeveralBanksAreComparedOneAfterTheOther) {
    Source(Rich());
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "all"}).nCode);
    std::vector<std::string> arguments = {"verify", "--source", "DIR/Src.kvs", "--json"};
    for (const std::string& strName : Names())
        if (strName.ends_with(".kvn")) arguments.push_back("DIR/" + strName);
    const Json document = Run(arguments).Document();
    EXPECT_EQ(0, document["exit_code"]);
    ASSERT_EQ(6u, document["files"].size());
    EXPECT_EQ(Json::parse(R"({"file": "DIR/Src_0AC44.kvn", "kind": "enriched", "bytes": 4752, "records": 18,
                              "rate": 44100, "compared": true, "conversion": "standard", "good": true, "problem_count": 0,
                              "problems": []})"),
              document["files"][0]);
}

TEST_F(SourceComparisonTest, AFlippedWaveByteIsFoundByTheSourceAlone) {
    Notes notes = BankOf({});
    ASSERT_EQ(0, Compare().nCode);
    for (size_t nAt = 100; nAt < notes[3].strBody.size(); ++nAt) {
        if (notes[3].strBody[nAt] == 0) continue;
        notes[3].strBody[nAt] = static_cast<char>(notes[3].strBody[nAt] ^ 1);
        break;
    }
    EXPECT_EQ("kvbank: DIR/b.kvn: sample 3 \"Sample 0\": its wave is not what the source gives\n",
              CompareNotes(notes).strErr);
    EXPECT_EQ(0, Run({"verify", "DIR/b.kvn"}).nCode);
    const Json document = Run({"verify", "DIR/b.kvn", "--source", "DIR/Src.kvs", "--json"}).Document();
    EXPECT_EQ(kExitProblem, document["exit_code"]);
    EXPECT_EQ("DIR/Src.kvs", document["source"]);
    EXPECT_EQ(
        Json::parse(
            R"([{"record": "sample 3 \"Sample 0\"", "cause": "its wave is not what the source gives"}])"),
        document["files"][0]["problems"]);
}

// The bank stays, its source is another: the first difference of each record is told.
TEST_F(SourceComparisonTest, EveryFieldThatDiffersIsTold) {
    struct Row {
        const char* pszWhy;
        std::function<void(SourceSpec&)> change;
        std::vector<const char*> problems;
    };
    const std::vector<Row> kRows = {
        {"format",
         [](SourceSpec& s) { s.samples[0].nFormat = 24; },
         {"sample 4 \"Sample 0\": its sample format is not what the source gives"}},
        {"channels",
         [](SourceSpec& s) { s.samples[0].nChannels = 2; },
         {"sample 4 \"Sample 0\": its number of channels is not what the source gives"}},
        {"frames",
         [](SourceSpec& s) { s.samples[0].nFrames = 299; },
         {"sample 4 \"Sample 0\": its number of frames is not what the source gives"}},
        {"root key",
         [](SourceSpec& s) { s.samples[2].nRootKey = 61; },
         {"sample 6 \"Sample 2\": its root key is not what the source gives"}},
        {"loops",
         [](SourceSpec& s) { s.samples[0].loops[0].nEnd = 251; },
         {"sample 4 \"Sample 0\": its loop list is not what the source gives"}},
        {"loop count",
         [](SourceSpec& s) { s.samples[0].loops.clear(); },
         {"sample 4 \"Sample 0\": its loop list is not what the source gives"}},
        {"rate",
         [](SourceSpec& s) { s.samples[1].nRate = 48001; },
         {"sample 5 \"Sample 1\": its wave is not what the source gives"}},
        {"split",
         [](SourceSpec& s) { s.programs[1].bSplit = true; },
         {"program 14 \"Program 1\": its second value is not what the source gives"}},
        {"keys",
         [](SourceSpec& s) {
             s.programs[0].regions[0].nLow = 59;
             s.programs[0].regions[1].nHigh = 71;
         },
         {"region 9 \"Region 0\": its low key is not what the source gives",
          "region 12 \"Region 1\": its high key is not what the source gives"}},
        {"layer's sample",
         [](SourceSpec& s) { s.programs[1].regions[0].layers[0] = 1; },
         {"layer 16: the sample it plays is not what the source gives"}},
        {"a preset more",
         [](SourceSpec& s) { s.nPresets = 3; },
         {"sample 4 \"Sample 0\": the source gives a preset here"}},
        {"a preset less",
         [](SourceSpec& s) { s.nPresets = 1; },
         {"preset 3 \"Preset 1\": the source gives a sample here"}},
        {"a program more",
         [](SourceSpec& s) { s.programs.push_back({}); },
         {"it ends too early: the source gives a program next"}},
        {"a program less",
         [](SourceSpec& s) { s.programs.pop_back(); },
         {"it has more records than the source gives: 4"}},
        {"nothing", [](SourceSpec&) {}, {}},
    };
    BankOf(Rich());
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.pszWhy);
        SourceSpec spec = Rich();
        row.change(spec);
        Source(spec);
        std::string strExpected;
        for (const char* pszProblem : row.problems)
            strExpected += std::string("kvbank: DIR/b.kvn: ") + pszProblem + "\n";
        const Outcome outcome = Compare();
        EXPECT_EQ(strExpected, outcome.strErr);
        EXPECT_EQ(row.problems.empty() ? 0 : kExitProblem, outcome.nCode);
    }
}

// The same the other way round: fields that the maker of sources cannot set, changed in the bank's bytes.
TEST_F(SourceComparisonTest, EveryByteOfABankMatters) {
    const Notes good = BankOf(Rich());
    int nFound = 0, nBytes = 0;
    for (size_t n = 1; n < good.size(); ++n) {
        for (size_t nAt = 0; nAt < std::min<size_t>(good[n].strBody.size(), 80); ++nAt) {
            Notes notes = good;
            notes[n].strBody[nAt] = static_cast<char>(notes[n].strBody[nAt] ^ 0x40);
            ++nBytes;
            nFound += CompareNotes(notes).nCode == kExitProblem;
        }
    }
    EXPECT_EQ(nBytes, nFound);
    for (const uint32_t nAt : {4u, 10u, 19u}) {
        Bytes bytes = DatabaseImage(good, kSdbFormatEnriched);
        bytes[nAt] ^= 0x40;
        WriteFile(File("b.kvn"), bytes);
        EXPECT_EQ(0, Compare().nCode) << "the identity is a bank's own";
    }
}

TEST_F(SourceComparisonTest, ParentsMattersAsMuchAsTypes) {
    Notes notes = BankOf(Rich());
    notes[2].idParent = 1;  // a preset of the information record
    notes[0].strBody.clear();
    const Outcome outcome = CompareNotes(notes);
    EXPECT_THAT(outcome.strErr,
                ::testing::HasSubstr("preset 2 \"Preset 0\": its parent is not what the source gives\n"));
}

TEST_F(SourceComparisonTest, ABankMustHaveAQuickLoadTable) {
    Notes notes = BankOf({});
    notes.erase(notes.begin());
    EXPECT_THAT(CompareNotes(notes).strErr,
                ::testing::HasSubstr("kvbank: DIR/b.kvn: it has no quick-load table\n"));
}

TEST_F(SourceComparisonTest, ABankWithoutAUsableRateCannotBeRebuilt) {
    Source({.bEnriched = true}, "b.kvn");
    Source();
    EXPECT_THAT(Compare().strErr,
                ::testing::HasSubstr("kvbank: DIR/b.kvn: it states no sample rate that a bank can have\n"));
}

TEST_F(SourceComparisonTest, ASourceHasNoSource) {
    Source();
    Source({}, "Other.kvs");
    EXPECT_EQ("kvbank: DIR/Other.kvs: it is a source bank and was not built from another\n",
              Run({"verify", "DIR/Other.kvs", "--source", "DIR/Src.kvs"}).strErr);
    EXPECT_EQ("DIR/Src.kvs: good, 7 records, 557 bytes\n",
              Run({"verify", "DIR/Src.kvs", "--source", "DIR/./Src.kvs"}).strOut)
        << "itself is checked by itself";
}

TEST_F(SourceComparisonTest, ASourceThatCannotBeReadIsBadInput) {
    BankOf({});
    const Outcome outcome = Run({"verify", "DIR/b.kvn", "--source", "DIR/none.kvs"});
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/none.kvs: No such file or directory\n", outcome.strErr);
    EXPECT_EQ("", outcome.strOut);
}

TEST_F(SourceComparisonTest, ASourceThatGivesNoSampleIsTold) {
    BankOf({});
    Source({.samples = {{.nRate = 48000, .nFormat = 32}}});
    EXPECT_EQ(
        "kvbank: DIR/b.kvn: the source's sample 2 \"Sample 0\": only 16 and 24 bits in one or two channels "
        "can be "
        "converted\n",
        Compare().strErr);
}

TEST_F(SourceComparisonTest, ACancelIsSaid) {
    BankOf({});
    SetCancelSignal(SIGINT);
    const Outcome outcome = Compare();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: cancelled\n", outcome.strErr);
}

}  // namespace
}  // namespace Kestrova::Test
