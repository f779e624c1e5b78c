// ImportCommand.h - kvbank import: makes a source bank of a SoundFont file, or of any other format that is
// read.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/Instrument.h"
#include "import/UnsplitPrograms.h"
#include "tools/kvbank/Command.h"
#include "tools/kvbank/ImportReporter.h"

namespace Kestrova {

// Steps return how they ended; the reporter prints.
class ImportCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    Ending List(ImportReporter& reporter);
    Ending Import(ImportReporter& reporter);
    Ending CheckOutput() const;
    Ending OpenInput(ImportReporter& reporter);
    Ending CheckPresets() const;
    Ending MakePlan();
    std::vector<ListedPreset> ChosenPresets() const;
    Ending CheckPlan() const;
    Ending WriteBank(const ImportReporter& reporter, WrittenBank& bank) const;
    Ending EndingOf(const ImportOutcome& outcome) const;

    std::string m_strInput;
    std::string m_strOutput;
    std::set<ProgramNumber> m_presets;  // none: all
    std::set<ProgramNumber> m_unsplit;
    bool m_bList = false;
    bool m_bStrict = false;
    bool m_bForce = false;

    std::unique_ptr<IInstrument> m_pInstrument;  // none before OpenInput
    std::optional<UnsplitPrograms> m_waves;      // of the plan
    ImportPlan m_plan;
    ImportReport m_report;
};

}  // namespace Kestrova
