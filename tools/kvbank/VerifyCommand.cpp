#include "tools/kvbank/VerifyCommand.h"

#include <algorithm>
#include <filesystem>

#include "shared/System/kvCancelSignal.h"
#include "tools/kvbank/sums/BankSums.h"
#include "tools/kvbank/verify/BankVerifier.h"

namespace Kestrova {
namespace {

// Of a file that was checked to its end.
ExitCode ExitCodeOf(const VerifiedFile& file) {
    return file.problems.Count() > 0 ? kExitProblem : file.sums.fault.code;
}

}  // namespace

void VerifyCommand::Describe(CLI::App& verb) {
    verb.add_option("FILE", m_files, "banks; without --source also source banks")->required();
    verb.add_option("--source", m_strSource, "rebuild every sample from this source and compare")
        ->type_name("SOURCE");
    verb.add_option("--quality", m_nQuality, "the quality the banks were built with (default 7)")
        ->check(CLI::Range(0, kHighestQuality))
        ->type_name("0..7");
    verb.add_flag("--write-sums", m_bWriteSums,
                  "write the SHA-256 sum of each good file that has none to NAME.sha256 beside it");
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
    if (CheckAgainstSums(scan, file, reporter) && FindProblems(scan, file, reporter) &&
        AddSums(scan, file, reporter)) {
        file.code = ExitCodeOf(file);
    } else {
        file.code = kExitProblem;
        file.strCause = DescribeResult(kBankCancelled);
    }
    return file;
}

bool VerifyCommand::OpenFile(const std::string& strFile, NoteScan& scan, VerifiedFile& file) const {
    const Ending ending = OpenScan(scan, strFile);
    file.code = ending.code;
    file.strCause = ending.strError;
    return ending.IsDone();
}

// With the sums file beside it, if there is one. False when it was cancelled.
bool VerifyCommand::CheckAgainstSums(const NoteScan& scan, VerifiedFile& file,
                                     VerifyReporter& reporter) const {
    const SumsOutcome sums =
        CheckSums(scan.Path(), reporter.Watch(scan.Path(), " and its sum", scan.FileSize()));
    switch (sums.kind) {
        case SumsOutcome::Kind::Cancelled: return false;
        case SumsOutcome::Kind::NoFile: return true;
        case SumsOutcome::Kind::Done: file.sums.state = VerifiedSums::State::Good; return true;
        default: break;
    }
    file.problems.Add(sums.strPath == scan.Path() ? sums.strCause : sums.strPath + ": " + sums.strCause);
    return true;
}

// Gives a good file that has none its sums file, if that is asked for. False when it was cancelled.
bool VerifyCommand::AddSums(const NoteScan& scan, VerifiedFile& file, VerifyReporter& reporter) const {
    if (!m_bWriteSums || file.problems.Count() > 0 || file.sums.state == VerifiedSums::State::Good)
        return true;
    const SumsOutcome sums =
        WriteSums(scan.Path(), reporter.Watch(scan.Path(), ", its sum", scan.FileSize()));
    if (sums.kind == SumsOutcome::Kind::Cancelled) return false;
    if (sums.kind == SumsOutcome::Kind::Done)
        file.sums.state = VerifiedSums::State::Written;
    else
        file.sums.fault = {ExitCodeOfOutput(sums.nError), sums.strCause};
    return true;
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
    return FindConversion(scan, bPerKey, file, reporter);
}

// Rebuilds the bank by one conversion after the other until one gives it. When none does, the differences
// from the one that comes nearest are its problems.
bool VerifyCommand::FindConversion(NoteScan& scan, bool bPerKey, VerifiedFile& file,
                                   VerifyReporter& reporter) {
    std::optional<ProblemList> nearest;
    for (const Conversion conversion : kConversions) {
        ProblemList problems = file.problems;
        const std::unique_ptr<const IWaveConverter> pConverter = MakeConverter(conversion);
        if (!m_pComparison->Run(scan, file.nRate, bPerKey, pConverter.get(), problems,
                                reporter.Watch(scan.Path(), " and its source", scan.FileSize())))
            return false;
        if (problems.Count() == file.problems.Count()) {
            file.conversion = conversion;
            return true;
        }
        if (!nearest || problems.Count() < nearest->Count()) nearest = problems;
        if (m_pComparison->WasRefused()) break;  // which says nothing about the conversion
    }
    file.problems = *nearest;
    return true;
}

}  // namespace Kestrova
