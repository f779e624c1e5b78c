// VerifyCommand.h - kvbank verify: checks database files by themselves, and banks against their source.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/compare/NoteScan.h"
#include "tools/kvbank/compare/SourceComparison.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/verify/VerifyReporter.h"

namespace Kestrova {

class VerifyCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode OpenSource(Console& console);
    VerifiedFile VerifyFile(const std::string& strFile, VerifyReporter& reporter);
    bool OpenFile(const std::string& strFile, NoteScan& scan, VerifiedFile& file) const;
    bool FindProblems(NoteScan& scan, VerifiedFile& file, VerifyReporter& reporter);
    bool FindConversion(NoteScan& scan, bool bPerKey, VerifiedFile& file, VerifyReporter& reporter);
    bool CheckAgainstSums(const NoteScan& scan, VerifiedFile& file, VerifyReporter& reporter) const;
    bool AddSums(const NoteScan& scan, VerifiedFile& file, VerifyReporter& reporter) const;
    bool Compare(NoteScan& scan, bool bPerKey, VerifiedFile& file, VerifyReporter& reporter);

    std::vector<std::string> m_files;
    std::string m_strSource;
    bool m_bWriteSums = false;
    int m_nQuality = kHighestQuality;

    EngineRun m_run;
    std::unique_ptr<SourceComparison> m_pComparison;  // null without a source
};

}  // namespace Kestrova
