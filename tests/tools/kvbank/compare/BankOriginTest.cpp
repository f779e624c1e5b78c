// Whether a bank stems from a source, told without reading a wave.
#include <functional>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/compare/RichSource.h"
#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/engine/EngineRun.h"

namespace Kestrova::Test {
namespace {

class BankOriginTest : public CommandTest {
protected:
    void Build(const SourceSpec& spec, const std::string& strLayout = "plain") const {
        Source(spec);
        ASSERT_EQ(
            0,
            Run({"build", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "all", "--layout", strLayout, "-f"}).nCode);
    }
    // The banks' states, compared with the source that is there now.
    std::vector<BankFile> States() const {
        EngineRun engine;
        engine.Analyse(File("Src.kvs"));
        std::error_code error;
        std::vector<BankFile> banks = ListBanks(File("banks"), "Src", error);
        BankOrigin(engine.Engine(), File("Src.kvs")).Check(banks);
        return banks;
    }
    void ExpectAll(BankState state, const std::string& strCause) const {
        const std::vector<BankFile> banks = States();
        EXPECT_EQ(6u, banks.size());
        for (const BankFile& bank : banks) {
            EXPECT_EQ(state, bank.state) << bank.path;
            EXPECT_EQ(strCause, bank.strCause) << bank.path;
        }
    }
};

TEST_F(BankOriginTest, BanksOfTheSourceAreComplete) {
    for (const bool bEnriched : {false, true}) {
        for (const char* pszLayout : {"plain", "per-key"}) {
            SourceSpec spec = Rich();
            spec.bEnriched = bEnriched;
            Build(spec, pszLayout);
            ExpectAll(BankState::Complete, "");
        }
    }
}

TEST_F(BankOriginTest, ASourceThatDiffersIsToldByTheFirstDifference) {
    struct Row {
        std::function<void(SourceSpec&)> change;
        const char* pszPlain;
        const char* pszPerKey;
    };
    const std::vector<Row> kRows = {
        {[](SourceSpec& s) { s.nPresets = 3; }, "sample 4 \"Sample 0\": the source gives a preset here",
         "sample 4 \"Sample 0\": the source gives a preset here"},
        {[](SourceSpec& s) { s.samples[0].nFrames = 290; },
         "sample 4 \"Sample 0\": its number of frames is not what the source gives",
         "sample 4 \"Sample 0\": its number of frames is not what the source gives"},
        {[](SourceSpec& s) { s.samples[0].loops[0].nEnd = 200; },
         "sample 4 \"Sample 0\": its loop list is not what the source gives",
         "sample 4 \"Sample 0\": its loop list is not what the source gives"},
        {[](SourceSpec& s) { std::swap(s.samples[1], s.samples[2]); },
         "sample 5 \"Sample 1\": its sample format is not what the source gives",
         "sample 8 \"Sample 1\": its sample format is not what the source gives"},
        {[](SourceSpec& s) { s.samples[2].nChannels = 2; },
         "sample 6 \"Sample 2\": its number of channels is not what the source gives",
         "sample 11 \"Sample 2\": its number of channels is not what the source gives"},
        {[](SourceSpec& s) { s.programs[1].bSplit = true; },
         "program 14 \"Program 1\": its second value is not what the source gives", nullptr},
        {[](SourceSpec& s) {
             s.programs[1].regions[0].layers = {1, 0};
         },
         "layer 16: the sample it plays is not what the source gives", nullptr},
        {[](SourceSpec& s) { s.programs.pop_back(); }, "it has more records than the source gives: 4",
         nullptr},
    };
    for (const bool bPerKey : {false, true}) {
        Build(Rich(), bPerKey ? "per-key" : "plain");
        for (const Row& row : kRows) {
            SourceSpec spec = Rich();
            row.change(spec);
            Source(spec);
            const char* const pszCause = bPerKey ? row.pszPerKey : row.pszPlain;
            if (pszCause != nullptr) {
                ExpectAll(BankState::Stale, pszCause);
                continue;
            }
            for (const BankFile& bank : States()) EXPECT_EQ(BankState::Stale, bank.state) << row.pszPlain;
        }
        std::filesystem::remove_all(File("banks"));
    }
}

// The cost does not grow with the waves: what is read of a bank is the same for waves ten times longer.
TEST_F(BankOriginTest, NoWaveIsRead) {
    std::vector<uint64_t> read;
    for (const uint32_t nFrames : {20000u, 200000u}) {
        class CountingEnv : public FaultyFileEnv {
        public:
            int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) override {
                const int64_t nRead = FaultyFileEnv::ReadAt(nFile, pos, pData, nBytes);
                if (nRead > 0) m_nBytes += static_cast<uint64_t>(nRead);
                return nRead;
            }
            uint64_t m_nBytes = 0;
        };
        SourceSpec spec;
        spec.samples[0].nFrames = nFrames;
        Source(spec);
        ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "44100", "-f"}).nCode);
        EngineRun engine;
        engine.Analyse(File("Src.kvs"));
        BankOrigin origin(engine.Engine(), File("Src.kvs"));
        CountingEnv env;
        std::error_code error;
        std::vector<BankFile> banks = ListBanks(File("banks"), "Src", error);
        origin.Check(banks);
        EXPECT_EQ(BankState::Complete, banks.at(0).state);
        read.push_back(env.m_nBytes);
    }
    EXPECT_EQ(read[0], read[1]);
}

TEST_F(BankOriginTest, ASourceUnderABanksNameIsStaleUnlessItIsTheSource) {
    Source({}, "Src_0AC44.kvn");
    Source();
    EXPECT_EQ(kExitProblem, Run({"list", "DIR", "--source", "DIR/Src.kvs"}).nCode);
    EXPECT_EQ("kvbank: DIR/Src_0AC44.kvn: stale: it is a source bank and was not built from another\n",
              Run({"list", "DIR", "--source", "DIR/Src.kvs"}).strErr);
    EXPECT_EQ(0, Run({"list", "DIR", "--source", "DIR/Src_0AC44.kvn"}).nCode);
}

// What the banks of such a source would be is not known.
TEST_F(BankOriginTest, ASourceWhoseAnalysisFailsCallsNoBankStale) {
    Build({});
    Source({.samples = {{.nRate = 0}}});
    ExpectAll(BankState::Complete, "");
}

}  // namespace
}  // namespace Kestrova::Test
