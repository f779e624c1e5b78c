// ImportCommand.h - kvbank import: makes a source bank of a SoundFont file.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontPlanner.h"
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
    Ending OpenFont(ImportReporter& reporter);
    Ending CheckPresets() const;
    std::vector<PresetFacts> ChosenPresets() const;
    Ending CheckPlan(const SoundFontPlan& plan) const;
    Ending WriteBank(const SoundFontPlan& plan, const ImportReporter& reporter, WrittenBank& bank) const;
    Ending EndingOf(const ImportOutcome& outcome) const;

    std::string m_strFont;
    std::string m_strOutput;
    std::set<PresetNumber> m_presets;  // none: all
    bool m_bList = false;
    bool m_bStrict = false;
    bool m_bForce = false;

    SoundFont m_font;
    ImportReport m_report;
};

}  // namespace Kestrova
