#include "tools/kvbank/VerifyCommand.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/verify/BankVerifier.h"

namespace Kestrova {

void VerifyCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_files, "banks; without --source also source banks")->required();
    verb.add_option("--source", m_strSource, "rebuild every sample from this source and compare")
        ->type_name("SOURCE");
    verb.add_option("--quality", m_nQuality, "the quality the banks were built with (default 7)")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
}

int VerifyCommand::Run(Console& console) {
    VerifyReporter reporter(console, m_strSource);
    ExitCode worst = OpenSource(console);
    if (worst != kExitDone) return reporter.Finish(worst);
    reporter.BeginFiles();
    for (const std::string& strFile : m_files) {
        const VerifiedFile file = VerifyFile(strFile, reporter);
        reporter.Tell(file);
        worst = std::max(worst, file.code);
        if (CancelSignal() != 0) break;
    }
    return reporter.Finish(worst);
}

ExitCode VerifyCommand::OpenSource(Console& console) {
    if (m_strSource.empty()) return kExitDone;
    if (const ExitCode code = m_run.OpenSource(console, m_strSource); code != kExitDone) return code;
    m_pComparison =
        std::make_unique<SourceComparison>(m_run.Engine(), m_strSource, SampleDepth::Waves, m_nQuality);
    return kExitDone;
}

VerifiedFile VerifyCommand::VerifyFile(const std::string& strFile, VerifyReporter& reporter) {
    VerifiedFile file{.strPath = strFile};
    NoteScan scan;
    if (!OpenFile(strFile, scan, file)) return file;
    file.bOpened = true;
    file.bEnriched = scan.IsEnriched();
    file.nBytes = scan.FileSize();
    file.nRecords = scan.Notes().size();
    if (FindProblems(scan, file, reporter)) {
        file.code = file.problems.Count() == 0 ? kExitDone : kExitProblem;
    } else {
        file.code = kExitProblem;
        file.strCause = DescribeResult(kBankCancelled);
    }
    return file;
}

bool VerifyCommand::OpenFile(const std::string& strFile, NoteScan& scan, VerifiedFile& file) const {
    if (CSDB::IsHeld(strFile.c_str())) {
        file.code = kExitBusy;
        file.strCause = "another process is building it";
        return false;
    }
    errno = 0;
    const NoteScan::Outcome outcome = scan.Open(strFile);
    if (outcome == NoteScan::Outcome::Scanned) return true;
    file.code = kExitBadInput;
    file.strCause = outcome == NoteScan::Outcome::NotABank ? "not a bank" : std::strerror(errno);
    return false;
}

// False when it was cancelled.
bool VerifyCommand::FindProblems(NoteScan& scan, VerifiedFile& file, VerifyReporter& reporter) {
    BankVerifier verifier(scan, file.problems);
    if (!verifier.Run(reporter.Watch(scan.Path(), "", scan.FileSize()))) return false;
    file.nRate = verifier.GetRate();
    return Compare(scan, verifier.IsPerKey(), file, reporter);
}

bool VerifyCommand::Compare(NoteScan& scan, bool bPerKey, VerifiedFile& file, VerifyReporter& reporter) {
    std::error_code ignored;
    const bool bIsSource = std::filesystem::equivalent(scan.Path(), m_strSource, ignored);
    if (!m_pComparison || bIsSource) return true;
    file.bCompared = true;
    if (!scan.IsEnriched()) {
        file.problems.Add(kIsASource);
        return true;
    }
    return m_pComparison->Run(scan, file.nRate, bPerKey, file.problems,
                              reporter.Watch(scan.Path(), " and its source", scan.FileSize()));
}

}  // namespace Kestrova
