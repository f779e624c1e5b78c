#include "tools/kvbank/verify/VerifyReporter.h"

#include <filesystem>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova {
namespace {

Json ProblemRows(const ProblemList& problems) {
    Json rows = Json::array();
    for (const BankProblem& problem : problems.Kept()) {
        Json row = Json::object();
        if (!problem.strRecord.empty()) row["record"] = problem.strRecord;
        row["cause"] = problem.strCause;
        rows.push_back(row);
    }
    return rows;
}

const char* StateName(const VerifiedSums& sums) {
    return sums.state == VerifiedSums::State::Good ? "good" : "written";
}

const char* StateText(const VerifiedSums& sums) {
    switch (sums.state) {
        case VerifiedSums::State::Good: return ", as its sums file says";
        case VerifiedSums::State::Written: return ", its sums file is written";
        case VerifiedSums::State::None: break;
    }
    return "";
}

std::string OriginText(const VerifiedFile& file) {
    if (!file.bCompared) return "";
    const bool bOther = file.conversion && *file.conversion != Conversion::Standard;
    return std::string(", as its source gives it") +
           (bOther ? std::string(" by the ") + ConversionText(*file.conversion) : "");
}

Json RowOf(const VerifiedFile& file) {
    Json row = {{"file", file.strPath}};
    if (!file.bOpened) return row;
    row["kind"] = file.bEnriched ? "enriched" : "plain";
    row["bytes"] = file.nBytes;
    row["records"] = file.nRecords;
    if (file.nRate != 0) row["rate"] = file.nRate;
    if (file.bCompared) row["compared"] = true;
    if (file.conversion) TellConversion(*file.conversion, row);
    if (file.sums.state != VerifiedSums::State::None) row["sums"] = StateName(file.sums);
    if (!file.strCause.empty()) return row;
    row["good"] = file.problems.Count() == 0;
    row["problem_count"] = file.problems.Count();
    row["problems"] = ProblemRows(file.problems);
    return row;
}

}  // namespace

VerifyReporter::VerifyReporter(Console& console, const std::string& strSource) : m_console(console) {
    if (!strSource.empty()) m_report["source"] = strSource;
}

std::function<bool(uint64_t)> VerifyReporter::Watch(const std::string& strPath, const std::string& strMore,
                                                    uint64_t nTotal) {
    const std::string strName = std::filesystem::path(strPath).filename().string();
    const auto pProgress = std::make_shared<Progress>(m_console, strName + strMore, nTotal);
    return [pProgress, nTotal](uint64_t nBytes) {
        pProgress->Show(nTotal == 0 ? 0 : static_cast<double>(nBytes) / static_cast<double>(nTotal), nBytes);
        return CancelSignal() == 0;
    };
}

void VerifyReporter::Tell(const VerifiedFile& file) {
    m_report["files"].push_back(RowOf(file));
    if (!file.strCause.empty())
        m_console.Error(file.strPath + ": " + file.strCause);
    else if (file.problems.Count() > 0)
        TellProblems(file);
    else
        TellGood(file);
}

void VerifyReporter::TellGood(const VerifiedFile& file) {
    m_console.Say(file.strPath + ": good, " + Counted(file.nRecords, "record") + ", " +
                  ReadableSize(file.nBytes) + OriginText(file) + StateText(file.sums));
    if (!file.sums.fault.IsDone())
        m_console.Error(file.strPath + ": its sums file cannot be written: " + file.sums.fault.strError);
}

void VerifyReporter::TellProblems(const VerifiedFile& file) {
    const ProblemList& problems = file.problems;
    for (const BankProblem& problem : problems.Kept()) m_console.Error(file.strPath + ": " + TextOf(problem));
    if (const uint64_t nMore = problems.Count() - problems.Kept().size(); nMore > 0)
        m_console.Error(file.strPath + ": and " + Counted(nMore, "more problem"));
}

}  // namespace Kestrova
