// BuildReporter.h - tells the user, and the JSON document, how a build goes on and what came of it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/kvbank/build/BuildRun.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

class BuildReporter : public BuildWatcher {
public:
    // Both must outlive the reporter.
    BuildReporter(Console& console, const BuildOptions& options);

    void OnProgress(const BuildPlan& plan, uint64_t nBytes, ProgressPhase phase) override;
    void OnWait(const std::string& strWhy) override;
    void OnNoLocks(int nError) override;

    void Tell(const BuildFault& fault);
    void TellRemoved(unsigned nRemoved, const std::vector<Leftover>& left);
    // The bytes needed and free, and what is done when too few are free.
    void TellSpace(uint64_t nNeeded, uint64_t nFree);
    // Begins the list of banks, which is in the document even if it stays empty.
    void BeginBanks() { m_report["banks"] = Json::array(); }
    void Tell(const BuildPlan& plan, const BuildOutcome& outcome);
    // What our own run could not remove; true when there is something to tell.
    bool TellLeft(const std::vector<Leftover>& left);

    int Finish(ExitCode code) { return m_console.Finish("build", code, m_report); }
    // What Finish would put into the document, for one of many sources.
    Json Facts(ExitCode code) const { return m_console.Facts(code, m_report); }

protected:
    // Predicted for all that is to be built; 0 before it is known.
    uint64_t BytesNeeded() const { return m_nNeeded; }

private:
    void TellNotBegun(const BuildPlan& plan, const BuildFinding& finding, Json& row);
    void TellWouldBuild(const BuildPlan& plan, const BankFile& damaged, Json& row);
    void TellExisting(const BuildPlan& plan, const BankFile& bank, Json& row);
    void TellInTheWay(const BankFile& bank, Json& row);
    void TellBuilt(const BuildPlan& plan, const BuildOutcome& outcome, Json& row);

    Console& m_console;
    const BuildOptions& m_options;
    Json m_report = Json::object();
    uint64_t m_nNeeded = 0;
    std::unique_ptr<Progress> m_pProgress;  // of the bank being filled
    bool m_bToldNoLocks = false;
};

}  // namespace Kestrova
