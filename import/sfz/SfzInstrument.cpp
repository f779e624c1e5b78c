#include "import/sfz/SfzInstrument.h"

#include "import/sfz/SfzText.h"

namespace Kestrova {
namespace {

constexpr ProgramNumber kOnlyProgram = {0, 0};

void AddReport(const ImportReport& from, ImportReport& to) {
    for (size_t n = 0; n < static_cast<size_t>(ImportEvent::Count); ++n) {
        const auto event = static_cast<ImportEvent>(n);
        for (const ImportReport::Entry& entry : from.Of(event))
            to.Note(event, entry.strWhat, entry.strCause, entry.nTimes);
    }
}

}  // namespace

bool SfzInstrument::IsSfz(std::string_view head) { return IsSfzText(head); }

ImportOutcome SfzInstrument::Open(const std::string& strPath) {
    return CatchNoMemory([&] {
        m_strName = StemOf(strPath);
        m_strFolder = FolderOf(strPath);
        m_textReport = {};
        m_regions.clear();
        FileFinder finder(m_strFolder, m_textReport);
        ImportOutcome outcome = SfzTextReader(finder, m_textReport).Read(strPath, m_strText);
        return outcome.IsDone() ? ReadSfzRegions(m_strText, m_regions, m_textReport) : outcome;
    });
}

InstrumentFacts SfzInstrument::GetFacts() const { return {"SFZ", m_strName, 0, ""}; }

std::vector<InstrumentProgram> SfzInstrument::GetPrograms() const {
    return {{kOnlyProgram, m_strName, m_regions.size()}};
}

ImportOutcome SfzInstrument::MakePlan(const std::set<ProgramNumber>& chosen, ImportPlan& plan,
                                      ImportReport& report, const ImportWatch& watch) {
    return CatchNoMemory([&] {
        SfzPlan made;
        made.bank.strName = m_strName;
        auto pFiles = std::make_unique<WaveFiles>();
        AddReport(m_textReport, report);
        ImportOutcome outcome;
        if (chosen.empty() || chosen.count(kOnlyProgram) == 1) {
            FileFinder finder(m_strFolder, report);
            outcome = SfzPlanner(finder, *pFiles, report).Make(m_strName, m_regions, made, watch);
        }
        if (!outcome.IsDone()) return outcome;
        plan = std::move(made.bank);
        m_waves = std::move(made.waves);
        m_pFiles = std::move(pFiles);
        return outcome;
    });
}

ImportOutcome SfzInstrument::ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames,
                                        uint8_t* pOut) const {
    const SfzWave& wave = m_waves[nWave];
    return m_pFiles->ReadFrames(wave.nFile, wave.nStart + nFirst, nFrames, pOut);
}

}  // namespace Kestrova
