// The worked cases: whole banks built from sources, and what faulty sources give.
#include <gtest/gtest.h>

#include <filesystem>

#include "bank/BankFileName.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

using nlohmann::json;

std::vector<Call> CallsOf(const json& calls) {
    std::vector<Call> list;
    for (const json& call : calls) list.emplace_back(call.at(0).get<int>(), call.at(1).get<unsigned int>());
    return list;
}

class BuildVectorsTest : public testing::TestWithParam<size_t> {
protected:
    const json m_case = LoadVectors("builds.json").at(GetParam());
    TempDir m_dir;
    EngineDriver m_driver;

    std::string Source() const { return VectorPath(m_case.at("source")).string(); }
    BankResult Build(const json& bank) {
        return m_driver.Build(bank.at("rate"), bank.at("per_key"), bank.at("flags"));
    }
    std::string BankPath(const json& bank) const {
        const BankLayout layout = bank.at("per_key") != 0 ? BankLayout::PerKey : BankLayout::Plain;
        std::string_view base = SourceBaseName(m_case.at("source").get_ref<const std::string&>());
        if (m_case.at("knobs").at("kind") == "enriched") base = CutRateFromBaseName(base);
        return MakeBankFileName(m_dir.Path().string(), base, bank.at("rate"), layout);
    }
    void CheckBank(const json& bank) {
        SCOPED_TRACE(bank.dump());
        EXPECT_EQ(bank.at("code").get<unsigned>(), Build(bank));
        const std::vector<Call> calls = m_driver.Calls();
        ASSERT_EQ(bank.at("calls").get<size_t>(), calls.size());
        EXPECT_EQ((Call{1, bank.at("steps").get<unsigned>()}), calls.front());
        EXPECT_EQ(CallsOf(json::array({bank.at("last_call")})).front(), calls.back());
        const Bytes image = ReadFile(BankPath(bank));
        EXPECT_EQ(bank.at("length").get<size_t>(), image.size());
        EXPECT_EQ(bank.at("sha256_identity_zeroed").get<std::string>(), Sha256IdentityZeroed(image));
        std::filesystem::remove(BankPath(bank));
    }
};

TEST_P(BuildVectorsTest, AnalysisAndBanksAreAsWorkedOut) {
    ASSERT_EQ(m_case.at("analysis").get<unsigned>(), m_driver.Analyse(Source()));
    EXPECT_EQ(CallsOf(m_case.at("analysis_calls")), m_driver.Calls());
    const BankAnalysis& analysis = m_driver.Engine().GetAnalysis();
    EXPECT_EQ(m_case.at("records").get<uint32_t>(), analysis.nRecords);
    EXPECT_EQ(m_case.at("per_key_records").get<int64_t>(), analysis.nPerKeyRecords);
    EXPECT_EQ(m_case.at("overhead").get<uint64_t>(), analysis.nOverheadBytes);
    for (size_t i = 0; i < iSPS.size(); ++i) {
        for (const int nPerKey : {0, 1}) {
            unsigned int nMegabytes = 0;
            EXPECT_EQ(kBankDone,
                      m_driver.Engine().Prediction(static_cast<unsigned>(iSPS[i]), nPerKey, nMegabytes));
            EXPECT_EQ(m_case.at("predictions").at(i).at(static_cast<size_t>(nPerKey)).get<unsigned>(),
                      nMegabytes);
        }
    }
    ASSERT_EQ(kBankDone, m_driver.Engine().SetDstDir(m_dir.Path().c_str()));
    for (const json& bank : m_case.at("banks")) CheckBank(bank);
}

TEST_P(BuildVectorsTest, HelperThreadsChangeNothing) {
    ASSERT_EQ(kBankDone, m_driver.Analyse(Source()));
    ASSERT_EQ(kBankDone, m_driver.Engine().SetDstDir(m_dir.Path().c_str()));
    for (const unsigned nHelpers : {0u, 1u, 5u}) {
        m_driver.Engine().SetHelperThreads(nHelpers);
        for (const json& bank : m_case.at("banks")) CheckBank(bank);
    }
}

INSTANTIATE_TEST_SUITE_P(All, BuildVectorsTest, testing::Range<size_t>(0, LoadVectors("builds.json").size()));

class BadVectorsTest : public testing::TestWithParam<size_t> {};

TEST_P(BadVectorsTest, ResultsAndCallsAreAsWorkedOut) {
    const json row = LoadVectors("bad.json").at(GetParam());
    SCOPED_TRACE(row.at("name").get<std::string>());
    TempDir dir;
    EngineDriver driver;
    EXPECT_EQ(row.at("analysis").get<unsigned>(), driver.Analyse(VectorPath(row.at("file")).string()));
    EXPECT_EQ(CallsOf(row.at("analysis_calls")), driver.Calls());
    ASSERT_EQ(kBankDone, driver.Engine().SetDstDir(dir.Path().c_str()));
    for (const auto& [strName, build] : row.at("builds").items()) {
        SCOPED_TRACE(strName);
        const unsigned nRate = static_cast<unsigned>(std::stoul(strName));
        const int nPerKey = strName.back() - '0';
        EXPECT_EQ(build.at("code").get<unsigned>(), driver.Build(nRate, nPerKey));
        EXPECT_EQ(CallsOf(build.at("calls")), driver.Calls());
        EXPECT_EQ(build.at("code") != 0, std::filesystem::is_empty(dir.Path()))
            << "a failed build leaves no file";
        std::filesystem::remove_all(dir.Path());
        std::filesystem::create_directory(dir.Path());
    }
}

INSTANTIATE_TEST_SUITE_P(All, BadVectorsTest, testing::Range<size_t>(0, LoadVectors("bad.json").size()));

}  // namespace
}  // namespace Kestrova::Test
