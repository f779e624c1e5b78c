#include "import/UnsplitPrograms.h"

#include <map>
#include <numeric>

namespace Kestrova {
namespace {

template <class TVisit>
void ForEachLayer(ImportPlan& plan, bool bSplit, TVisit visit) {
    for (PlannedProgram& program : plan.programs)
        if (program.bSplit == bSplit)
            for (PlannedRegion& region : program.regions)
                for (size_t& nWave : region.layers) visit(nWave);
}

}  // namespace

void UnsplitPrograms::Unsplit(ImportPlan& plan, const std::set<ProgramNumber>& programs,
                              ImportReport& report) {
    m_arSources.resize(plan.waves.size());
    std::iota(m_arSources.begin(), m_arSources.end(), size_t{0});
    for (PlannedProgram& program : plan.programs)
        program.bSplit = program.bSplit && programs.count(program.Number()) == 0;

    std::vector<bool> isSplit(plan.waves.size());
    ForEachLayer(plan, true, [&](size_t nWave) { isSplit[nWave] = true; });
    std::map<size_t, size_t> copies;
    ForEachLayer(plan, false, [&](size_t& nWave) {
        if (!isSplit[nWave]) return;
        const auto [place, bNew] = copies.try_emplace(nWave, plan.waves.size());
        if (bNew) {
            plan.waves.push_back(PlannedWave(plan.waves[nWave]));
            m_arSources.push_back(nWave);
            report.Note(ImportEvent::Copied, "sample \"" + plan.waves[nWave].strName + "\"",
                        "for the programs that are not split");
        }
        nWave = place->second;
    });
}

ImportOutcome UnsplitPrograms::ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames,
                                          uint8_t* pOut) const {
    return m_reader.ReadFrames(m_arSources.empty() ? nWave : m_arSources[nWave], nFirst, nFrames, pOut);
}

}  // namespace Kestrova
