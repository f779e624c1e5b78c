#include "import/wavefile/WaveReport.h"

namespace Kestrova {

void ReportWaveFile(const std::string& strWhat, const WaveFileFacts& facts, ImportReport& report) {
    if (facts.bCut)
        report.Note(ImportEvent::Repaired, strWhat,
                    "its file is cut short: only the " + std::to_string(facts.nFrames) +
                        " frames that are there are carried");
    if (!facts.strRounded.empty()) report.Note(ImportEvent::Accepted, "waves", facts.strRounded);
}

void ReportFileLoops(const std::string& strWhat, const std::vector<WaveFileLoop>& loops,
                     ImportReport& report) {
    if (loops[0].kind != WaveLoopKind::Forward)
        report.Note(ImportEvent::Repaired, "loop of " + strWhat, "taken as a loop that plays forwards");
    if (loops.size() > 1) report.Note(ImportEvent::Dropped, "loops of " + strWhat, "all but the first");
}

}  // namespace Kestrova
