// ReportCommand.h - kvbank report: a bank as a page to look at and listen to.
#pragma once

#include "tools/kvbank/Command.h"
#include "tools/kvbank/compare/ScanFiles.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/report/ReportPage.h"
#include "tools/kvbank/terminal/Ending.h"

namespace Kestrova {

class ReportCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    // A file with what it holds.
    struct Bank {
        std::string strPath;
        NoteScan scan;
        BankContents contents;
        Ending Open();
    };

    Ending Report(Console& console, Json& document);
    Ending CheckOutput() const;
    Ending MakeViews(Console& console, std::vector<SampleView>& views);
    struct MadeView {
        SampleView view;
        std::vector<std::string> unread;  // the waves that it lacks, with files and causes
    };
    MadeView ViewOf(size_t nSample, CXFile& file, CXFile& sourceFile) const;
    static std::string UnreadText(const Bank& bank, const SampleFacts& sample, const std::string& strCause);
    void TellUnread(Console& console, const std::string& strUnread);
    const SampleFacts* SourceOf(size_t nSample) const;
    Ending FillFacts(Console& console, ReportFacts& facts);
    Ending Predict(Console& console, ReportFacts& facts);

    std::string m_strOutput;
    bool m_bForce = false;
    Bank m_bank;
    Bank m_source;  // not open when its path is empty
    EngineRun m_run;
    ExitCode m_code = kExitDone;  // when the page is written
};

}  // namespace Kestrova
