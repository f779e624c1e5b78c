// ImportCommand.h - kvbank import: makes a source bank of a SoundFont file.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "import/ImportReport.h"
#include "import/soundfont/SoundFont.h"
#include "import/soundfont/SoundFontPlan.h"
#include "tools/kvbank/Command.h"

namespace Kestrova {

class ImportCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    ExitCode CheckOutput(Console& console) const;
    ExitCode CheckPresets(Console& console) const;
    ExitCode ListPresets(Console& console, Json& report) const;
    ExitCode Import(Console& console, Json& report);
    ExitCode MakePlan(Console& console, ImportPlan& plan);
    ExitCode WriteBank(Console& console, const ImportPlan& plan, Json& report) const;

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
