#include "tools/kvbank/compare/BankOrigin.h"

#include <filesystem>
#include <utility>

namespace Kestrova {

BankOrigin::BankOrigin(const CDBEUCreate& engine, const std::string& strSource)
    : m_strSource(strSource),
      m_comparison(engine, strSource, SampleDepth::Headers),
      m_pPrecise(MakeConverter(Conversion::Precise)),
      m_bKnown(engine.GetStatus() == kBankDone && m_comparison.IsSourceOpen()) {}

void BankOrigin::Check(BankFile& bank) {
    std::error_code ignored;
    if (!m_bKnown || bank.state != BankState::Complete ||
        std::filesystem::equivalent(bank.path, m_strSource, ignored))
        return;
    NoteScan scan;
    ProblemList problems;
    if (std::string strWhy = ScanOrWhyNot(scan, bank.path.string()); !strWhy.empty()) {
        bank.state = BankState::Unreadable;
        bank.strCause = std::move(strWhy);
        return;
    }
    if (!scan.IsEnriched())
        problems.Add(kIsASource);
    else
        problems = DifferencesFrom(scan, bank);
    if (problems.Count() == 0) return;
    bank.state = m_comparison.WasRefused() ? BankState::Unreadable : BankState::Stale;
    bank.strCause = TextOf(problems.Kept().front());
}

// The headers of all samples must be those of one conversion.
ProblemList BankOrigin::DifferencesFrom(NoteScan& scan, const BankFile& bank) {
    ProblemList first;
    for (const IWaveConverter* const pConverter :
         {static_cast<const IWaveConverter*>(nullptr), m_pPrecise.get()}) {
        ProblemList problems;
        m_comparison.Run(scan, bank.nRate, bank.layout == BankLayout::PerKey, pConverter, problems,
                         [](uint64_t) { return true; });
        if (problems.Count() == 0 || m_comparison.WasRefused()) return problems;
        if (pConverter == nullptr) first = problems;
    }
    return first;
}

void BankOrigin::Check(std::vector<BankFile>& banks) {
    for (BankFile& bank : banks) Check(bank);
}

}  // namespace Kestrova
