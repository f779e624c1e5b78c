// RenderCommand.h - kvbank render: plays a note of a bank, or of a source bank, into a WAV file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvbank/Command.h"
#include "tools/kvbank/render/OpenedBank.h"
#include "tools/kvbank/render/RenderReporter.h"

namespace Kestrova {

// A program as it is named on the command line.
struct ProgramChoice {
    std::optional<uint32_t> bank;  // none: the first bank that has such a program
    uint32_t nNumber = 0;
};

// Steps return how they ended; the reporter prints.
class RenderCommand : public Command {
public:
    void Describe(CLI::App& verb) override;
    int Run(Console& console) override;

private:
    Ending Render(RenderReporter& reporter);
    Ending CheckFiles() const;
    Ending FindProgram(const kvb_bank* pBank, RenderReporter& reporter);
    void ChooseNotes(const kvb_bank* pBank, RenderReporter& reporter);
    Ending Write(const RenderedWave& wave) const;

    std::string m_strFile;
    std::string m_strOutput;
    std::optional<ProgramChoice> m_choice;  // none: the first program of the file
    PlayedNote m_note;
    Conversion m_conversion = Conversion::Standard;
    bool m_bDemo = false;
    bool m_bForce = false;

    uint32_t m_nProgram = 0;
    std::vector<PlayedNote> m_notes;
};

}  // namespace Kestrova
