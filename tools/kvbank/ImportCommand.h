// ImportCommand.h - kvbank import: makes a source bank of a SoundFont file, or of any other format that is read.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/Instrument.h"
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
    std::vector<InstrumentProgram> ChosenPresets() const;
    Ending CheckPlan(const ImportPlan& plan) const;
    Ending WriteBank(const ImportPlan& plan, const ImportReporter& reporter, WrittenBank& bank) const;
    Ending EndingOf(const ImportOutcome& outcome) const;

    std::string m_strInput;
    std::string m_strOutput;
    std::set<ProgramNumber> m_presets;  // none: all
    bool m_bList = false;
    bool m_bStrict = false;
    bool m_bForce = false;

    std::unique_ptr<IInstrument> m_pInstrument;  // none before OpenInput
    ImportReport m_report;
};

}  // namespace Kestrova
