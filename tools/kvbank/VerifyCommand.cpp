#include "tools/kvbank/VerifyCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/terminal/Progress.h"
#include "tools/kvbank/verify/BankVerifier.h"

namespace Kestrova {
namespace {

// Shows the bytes done, and tells whether the work is to go on.
auto Watch(Progress& progress, uint64_t nTotal) {
    return [&progress, nTotal](uint64_t nBytes) {
        progress.Show(nTotal == 0 ? 0 : static_cast<double>(nBytes) / static_cast<double>(nTotal), nBytes);
        return CancelSignal() == 0;
    };
}

std::string NameOf(const std::string& strPath) { return std::filesystem::path(strPath).filename().string(); }

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

}  // namespace

void VerifyCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_files, "banks, or with no --source also source banks")->required();
    verb.add_option("--source", m_strSource, "rebuild every sample from this source and compare")
        ->type_name("SOURCE");
    verb.add_option("--quality", m_nQuality, "the quality the banks were built with (default 7)")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
}

int VerifyCommand::Run(Console& console) {
    Json report = Json::object();
    if (!m_strSource.empty()) report["source"] = m_strSource;
    ExitCode worst = OpenSource(console);
    if (worst != kExitDone) return console.Finish("verify", worst, report);
    Json rows = Json::array();
    for (const std::string& strFile : m_files) {
        Json row = {{"file", strFile}};
        worst = std::max(worst, VerifyFile(console, strFile, row));
        rows.push_back(row);
        if (CancelSignal() != 0) break;
    }
    report["files"] = rows;
    return console.Finish("verify", worst, report);
}

ExitCode VerifyCommand::OpenSource(Console& console) {
    if (m_strSource.empty()) return kExitDone;
    if (const ExitCode code = m_run.OpenSource(console, m_strSource); code != kExitDone) return code;
    m_pComparison = std::make_unique<SourceComparison>(m_run.Engine(), m_strSource, m_nQuality);
    return kExitDone;
}

ExitCode VerifyCommand::VerifyFile(Console& console, const std::string& strFile, Json& row) {
    NoteScan scan;
    if (const ExitCode code = OpenFile(console, strFile, scan); code != kExitDone) return code;
    row["kind"] = scan.IsEnriched() ? "enriched" : "plain";
    row["bytes"] = scan.FileSize();
    row["records"] = scan.Notes().size();
    ProblemList problems;
    if (FindProblems(console, scan, problems, row)) return Tell(console, scan, problems, row);
    console.Error(strFile + ": cancelled");
    return kExitProblem;
}

ExitCode VerifyCommand::OpenFile(Console& console, const std::string& strFile, NoteScan& scan) const {
    if (CSDB::IsHeld(strFile.c_str())) {
        console.Error(strFile + ": another process is building it");
        return kExitBusy;
    }
    errno = 0;
    switch (scan.Open(strFile)) {
        case NoteScan::Outcome::Scanned: return kExitDone;
        case NoteScan::Outcome::NotABank: console.Error(strFile + ": not a bank"); break;
        case NoteScan::Outcome::Unreadable: console.Error(strFile + ": " + std::strerror(errno)); break;
    }
    return kExitBadInput;
}

// False when it was cancelled.
bool VerifyCommand::FindProblems(Console& console, NoteScan& scan, ProblemList& problems, Json& row) {
    BankVerifier verifier(scan, problems);
    {
        Progress progress(console, NameOf(scan.Path()), scan.FileSize());
        if (!verifier.Run(Watch(progress, scan.FileSize()))) return false;
    }
    if (verifier.GetRate() != 0) row["rate"] = verifier.GetRate();
    return Compare(console, scan, verifier.GetRate(), verifier.IsPerKey(), problems, row);
}

bool VerifyCommand::Compare(Console& console, NoteScan& scan, uint32_t nRate, bool bPerKey,
                            ProblemList& problems, Json& row) {
    std::error_code ignored;
    const bool bIsSource = std::filesystem::equivalent(scan.Path(), m_strSource, ignored);
    if (!m_pComparison || bIsSource) return true;
    row["compared"] = true;
    if (!scan.IsEnriched()) {
        problems.Add("it is a source bank and was not built from another");
        return true;
    }
    Progress progress(console, NameOf(scan.Path()) + " and its source", scan.FileSize());
    return m_pComparison->Run(scan, nRate, bPerKey, problems, Watch(progress, scan.FileSize()));
}

ExitCode VerifyCommand::Tell(Console& console, const NoteScan& scan, const ProblemList& problems,
                             Json& row) const {
    row["good"] = problems.Count() == 0;
    row["problem_count"] = problems.Count();
    row["problems"] = ProblemRows(problems);
    for (const BankProblem& problem : problems.Kept())
        console.Error(
            scan.Path() + ": " +
            (problem.strRecord.empty() ? problem.strCause : problem.strRecord + ": " + problem.strCause));
    if (const uint64_t nMore = problems.Count() - problems.Kept().size(); nMore > 0)
        console.Error(scan.Path() + ": and " + Counted(nMore, "more problem"));
    if (problems.Count() > 0) return kExitProblem;
    console.Say(scan.Path() + ": good, " + Counted(scan.Notes().size(), "record") + ", " +
                ReadableSize(scan.FileSize()) + (row.contains("compared") ? ", as its source gives it" : ""));
    return kExitDone;
}

}  // namespace Kestrova
