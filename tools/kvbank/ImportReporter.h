// ImportReporter.h - tells what an import found and did: as lines for a person, and as a JSON document.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "import/ImportPlan.h"
#include "import/ImportReport.h"
#include "import/Instrument.h"
#include "import/PlanSpace.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Ending.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova {

inline constexpr unsigned int kListedRate = 48000;  // of the sizes told for each preset

// A preset of the input, with the size of a bank of it alone, in MiB, if its keys are split or not.
struct ListedPreset {
    InstrumentProgram program;
    std::optional<unsigned int> nPerKey, nUnsplit;  // none: it is not in the plan
};

// The bank that was written.
struct WrittenBank {
    uint64_t nBytes = 0;
    double seconds = 0;
};

// "0:12": bank and program of a preset.
std::string PresetText(const ProgramNumber& number);

// "3 joined, 2 copied, 1 repaired, 0 dropped".
std::string SummaryOf(const ImportReport& report);

// Each Tell function prints its lines at once and adds its part to the document; Finish ends both.
class ImportReporter {
public:
    // strOutput is empty where nothing is to be written.
    ImportReporter(Console& console, std::string strInput, std::string strOutput);

    void TellInput(const InstrumentFacts& facts);
    void TellPresets(const std::vector<ListedPreset>& presets);
    // The sizes of the banks of the whole plan.
    void TellSizes(const PlanSpace& space);
    // How the programs were found, what each file became, and what was left out.
    void TellRule(const std::string& strRule, const ImportPlan& plan, const ImportReport& report);
    // A line for everything repaired, dropped and accepted; with -v also
    // for everything joined, copied and left out.
    void TellReport(const ImportReport& report);
    // Two lines on the bank, and one on what is not carried over.
    void TellBank(const WrittenBank& bank, const ImportPlan& plan, const ImportReport& report);

    // A progress bar for the bank that is being written.
    Progress MakeBar() const;

    int Finish(const Ending& ending);  // the exit code

private:
    void TellNotCarried(const ImportReport& report);

    Console& m_console;
    const std::string m_strInput;
    const std::string m_strOutput;
    Json m_document = Json::object();
};

}  // namespace Kestrova
