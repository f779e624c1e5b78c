#include "import/sfz/SfzRegions.h"

#include <algorithm>
#include <array>

#include "import/sfz/SfzParser.h"

namespace Kestrova {
namespace {

constexpr std::array<std::string_view, 4> kLevels = {"global", "master", "group", "region"};
constexpr size_t kRegionLevel = 3;

SfzControllers StartOfControllers() {
    SfzControllers controllers{};
    controllers[7] = 100;   // volume
    controllers[10] = 64;   // pan
    controllers[11] = 127;  // expression
    return controllers;
}

class RegionReader {
public:
    RegionReader(std::vector<SfzRegion>& regions, ImportReport& report)
        : m_regions(regions), m_report(report), m_setter(m_controllers, report) {}

    ImportOutcome Read(std::string_view text) {
        for (const SfzHeader& header : ParseSfz(text, m_report)) {
            const auto* const pLevel = std::find(kLevels.begin(), kLevels.end(), header.name);
            if (pLevel != kLevels.end())
                SetLevel(header, static_cast<size_t>(pLevel - kLevels.begin()));
            else if (header.name == "control")
                SetControl(header);
            else
                m_report.Note(ImportEvent::LeftOut, "header " + QuotedPart(header.name));
            if (m_regions.size() > kMostSfzRegions)
                return Refused("it has more than " + std::to_string(kMostSfzRegions) + " regions");
        }
        return {};
    }

private:
    // What the level above has, with the header's opcodes, for this level and those below.
    void SetLevel(const SfzHeader& header, size_t nLevel) {
        SfzSettings settings = nLevel == 0 ? SfzSettings() : m_levels[nLevel - 1];
        for (const SfzOpcode& opcode : header.opcodes) m_setter.Set(opcode, settings);
        if (nLevel == kRegionLevel)
            AddRegion(settings);
        else
            std::fill(m_levels.begin() + static_cast<std::ptrdiff_t>(nLevel), m_levels.end(), settings);
    }

    void AddRegion(const SfzSettings& settings) {
        SfzRegion region{settings, std::string(settings.sample), m_nNoteOffset + 12 * m_nOctaveOffset};
        const bool bFile = !settings.sample.empty() && settings.sample[0] != '*';
        if (bFile) region.strSample = std::string(m_defaultPath) + region.strSample;
        m_regions.push_back(std::move(region));
    }

    void SetControl(const SfzHeader& header) {
        m_defaultPath = {};
        for (const SfzOpcode& opcode : header.opcodes) {
            if (opcode.name == "default_path")
                m_defaultPath = opcode.value;
            else if (opcode.name == "note_offset")
                SetOffset(opcode, 127, m_nNoteOffset);
            else if (opcode.name == "octave_offset")
                SetOffset(opcode, 10, m_nOctaveOffset);
            else
                SetController(opcode);
        }
    }

    void SetOffset(const SfzOpcode& opcode, int nMost, int& nOffset) {
        if (const auto number = ReadSfzNumber(opcode, SfzForm::Whole, -nMost, nMost, m_report))
            nOffset = static_cast<int>(*number);
    }

    void SetController(const SfzOpcode& opcode) {
        if (const auto controller = ControllerOf(opcode.name, "set_cc"))
            if (const auto value = ReadSfzNumber(opcode, SfzForm::Number, 0, 127, m_report))
                m_controllers[*controller] = *value;
        m_report.Note(ImportEvent::LeftOut, std::string(opcode.name));
    }

    std::vector<SfzRegion>& m_regions;
    ImportReport& m_report;
    SfzControllers m_controllers = StartOfControllers();
    SfzOpcodeSetter m_setter;
    std::array<SfzSettings, kRegionLevel> m_levels;
    std::string_view m_defaultPath;
    int m_nNoteOffset = 0;
    int m_nOctaveOffset = 0;
};

}  // namespace

ImportOutcome ReadSfzRegions(std::string_view text, std::vector<SfzRegion>& regions, ImportReport& report) {
    return RegionReader(regions, report).Read(text);
}

}  // namespace Kestrova
