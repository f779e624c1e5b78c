// kvbank build, space, verify and render with either conversion.
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/compare/RichSource.h"

namespace Kestrova::Test {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class ConversionCommandTest : public CommandTest {
protected:
    using Words = std::vector<std::string>;

    Outcome Build(const std::string& strFolder, const Words& more = {}) const {
        Words words = {"build", "DIR/Src.kvs", "-d", "DIR/" + strFolder, "-r", "48000"};
        words.insert(words.end(), more.begin(), more.end());
        return Run(words);
    }
    Outcome Verify(const std::string& strFolder, const std::string& strName = k48000) const {
        return Run({"verify", "DIR/" + strFolder + "/" + strName, "--source", "DIR/Src.kvs"});
    }
    // A bank without the identity in its head, which is new in every file.
    Bytes BankOf(const std::string& strFolder, const std::string& strName = k48000) const {
        Bytes bytes = ReadFile(File(strFolder + "/" + strName));
        std::fill(bytes.begin() + 4, bytes.begin() + 20, 0);
        return bytes;
    }
};

const std::vector<std::string> kPrecise = {"--conversion", "precise"};
const std::vector<std::string> kDithered = {"--conversion", "precise", "--dither"};

TEST_F(ConversionCommandTest, VerifyTellsWhichConversionMadeABank) {
    for (const bool bEnriched : {false, true}) {
        SourceSpec spec = Rich();
        spec.bEnriched = bEnriched;
        Source(spec);
        for (const char* pszLayout : {"plain", "per-key"}) {
            const std::string strName = pszLayout == std::string("plain") ? k48000 : k48000PerKey;
            const auto textOf = [&](Words more) {
                more.insert(more.end(), {"--layout", pszLayout, "-f"});
                EXPECT_EQ(0, Build("banks", more).nCode);
                return Verify("banks", strName).strOut;
            };
            EXPECT_THAT(textOf({}), EndsWith(", as its source gives it\n"));
            EXPECT_THAT(textOf({"--conversion", "standard"}), EndsWith(", as its source gives it\n"));
            EXPECT_THAT(textOf(kPrecise), EndsWith(", as its source gives it by the precise conversion\n"));
            EXPECT_THAT(textOf(kDithered),
                        EndsWith(", as its source gives it by the precise conversion, with dither\n"));
        }
    }
}

TEST_F(ConversionCommandTest, VerifysDocumentNamesTheConversion) {
    Source(Rich());
    Build("banks", kDithered);
    const Json file = Run({"verify", "DIR/banks/Src_0BB80.kvn", "--source", "DIR/Src.kvs", "--json"})
                          .Document()["files"][0];
    EXPECT_EQ("precise", file["conversion"]);
    EXPECT_EQ(true, file["dither"]);
}

TEST_F(ConversionCommandTest, ADamagedBankIsToldByTheConversionThatComesNearest) {
    Source(Rich());
    Build("banks", kPrecise);
    Bytes bytes = ReadFile(File("banks/" + std::string(k48000)));
    const size_t nWave = 1536 + 40;  // in the first sample's wave
    bytes[nWave] ^= 0x40;
    WriteFile(File("banks/" + std::string(k48000)), bytes);
    const Outcome outcome = Verify("banks");
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_THAT(outcome.strErr, HasSubstr("its wave is not what the source gives"));
    EXPECT_EQ(1, std::count(outcome.strErr.begin(), outcome.strErr.end(), '\n')) << outcome.strErr;
}

TEST_F(ConversionCommandTest, TheBytesDoNotDependOnThreadsOrRuns) {
    Source(Rich());
    for (const Words& words : {kPrecise, kDithered}) {
        for (const char* pszLayout : {"plain", "per-key"}) {
            Words more = words;
            more.insert(more.end(), {"--layout", pszLayout, "-f"});
            const std::string strName = pszLayout == std::string("plain") ? k48000 : k48000PerKey;
            Build("a", more);
            Build("b", more);
            EXPECT_EQ(BankOf("a", strName), BankOf("b", strName));
        }
    }
}

TEST_F(ConversionCommandTest, ABankOfTheOtherConversionIsThereAlready) {
    Source(Rich());
    for (const auto& [first, second] : {std::pair(Words(), kPrecise), std::pair(kPrecise, Words())}) {
        Words again = first;
        again.push_back("-f");
        ASSERT_EQ(0, Build("banks", again).nCode);
        const Bytes before = BankOf("banks");
        const Outcome outcome = Build("banks", second);
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ("48000 Hz: there already; -f builds it again\n", outcome.strOut);
        EXPECT_EQ(before, BankOf("banks"));
        Words force = second;
        force.push_back("-f");
        EXPECT_EQ(0, Build("banks", force).nCode);
        EXPECT_NE(before, BankOf("banks"));
    }
}

TEST_F(ConversionCommandTest, ABankOfAnotherSourceIsStaleInEitherConversion) {
    Source(Rich());
    Build("banks", kPrecise);
    SourceSpec other = Rich();
    other.samples[0].nFrames = 400;
    Source(other);
    const Outcome outcome = Build("banks", kPrecise);
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_THAT(outcome.strErr, HasSubstr("stale, it was not made from this source"));
}

TEST_F(ConversionCommandTest, TheDocumentNamesTheConversion) {
    Source(Rich());
    Words json = kDithered;
    json.push_back("--json");
    const Json built = Build("banks", json).Document();
    EXPECT_EQ("precise", built["conversion"]);
    EXPECT_EQ(true, built["dither"]);
    const Json standard = Build("other", {"--json"}).Document();
    EXPECT_EQ("standard", standard["conversion"]);
    EXPECT_EQ(0u, standard.count("dither"));
    const Json space =
        Run({"space", "DIR/Src.kvs", "-d", "DIR", "-r", "48000", "--conversion", "precise", "--json"})
            .Document();
    EXPECT_EQ("precise", space["conversion"]);
}

TEST_F(ConversionCommandTest, OptionsThatContradictEachOtherAreRefused) {
    Source(Rich());
    EXPECT_EQ(2, Build("banks", {"--dither"}).nCode);
    EXPECT_THAT(Build("banks", {"--dither"}).strErr, HasSubstr("--dither: it needs --conversion precise"));
    EXPECT_THAT(Build("banks", {"--conversion", "precise", "--quality", "7"}).strErr,
                HasSubstr("--quality: the precise conversion has one quality alone"));
    EXPECT_THAT(Build("banks", {"--conversion", "best"}).strErr,
                HasSubstr("'best': give 'standard' or 'precise'"));
    EXPECT_EQ(std::vector<std::string>{"Src.kvs"}, Names());
}

// A short loop is repeated, and two thousand of them take megabytes that the standard conversion does not.
TEST_F(ConversionCommandTest, TheSpaceThatIsPredictedHoldsRepeatedLoops) {
    SourceSpec spec;
    spec.samples.assign(2000, {.nFrames = 20, .loops = {{0, 4, 10, 0}}});
    Source(spec);
    const auto neededFor = [&](const char* pszConversion) {
        return Run({"space", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "48000", "--conversion", pszConversion,
                    "--json"})
            .Document()["bytes_needed"]
            .get<uint64_t>();
    };
    ASSERT_EQ(0, Build("banks", kPrecise).nCode);
    const uint64_t nBytes = fs::file_size(File("banks/" + std::string(k48000)));
    fs::remove_all(File("banks"));
    EXPECT_GE(neededFor("precise"), nBytes);
    EXPECT_LE(neededFor("precise"), nBytes + (2 << 20));
    EXPECT_LT(neededFor("standard"), nBytes);
}

TEST_F(ConversionCommandTest, ManySourcesAreBuiltWithTheConversionToo) {
    Source(Rich());
    Source(Rich(), "Two.kvs");
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "DIR/Two.kvs", "-d", "DIR/banks", "-r", "48000", "--jobs", "2",
                      "--conversion", "precise"})
                     .nCode);
    EXPECT_THAT(Verify("banks").strOut, EndsWith("by the precise conversion\n"));
}

TEST_F(ConversionCommandTest, RenderPlaysWithTheConversionThatIsAskedFor) {
    SourceSpec spec;
    spec.samples = {{.nFrames = 3000, .loops = {{0, 500, 2099, 0}}}};
    Source(spec);
    const auto play = [&](const std::string& strName, Words more) {
        more.insert(more.begin(), {"render", "DIR/Src.kvs", "-o", "DIR/" + strName, "--note", "61"});
        EXPECT_EQ(0, Run(more).nCode);
        return ReadFile(File(strName));
    };
    const Bytes standard = play("a.wav", {}), precise = play("b.wav", kPrecise),
                dithered = play("c.wav", kDithered);
    EXPECT_EQ(standard.size(), precise.size());
    EXPECT_NE(standard, precise);
    EXPECT_NE(precise, dithered);
    EXPECT_EQ(precise, play("d.wav", kPrecise));
    EXPECT_EQ(dithered, play("e.wav", kDithered));
    const Json document =
        Run({"render", "DIR/Src.kvs", "-o", "DIR/f.wav", "--note", "61", "--conversion", "precise", "--json"})
            .Document();
    EXPECT_EQ("precise", document["conversion"]);
}

}  // namespace
}  // namespace Kestrova::Test
