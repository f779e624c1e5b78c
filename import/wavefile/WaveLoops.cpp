#include "import/wavefile/WaveLoops.h"

namespace Kestrova {

void ReportFileLoops(const std::string& strWhat, const std::vector<WaveFileLoop>& loops,
                     ImportReport& report) {
    if (loops[0].kind != WaveLoopKind::Forward)
        report.Note(ImportEvent::Repaired, "loop of " + strWhat, "taken as a loop that plays forwards");
    if (loops.size() > 1) report.Note(ImportEvent::Dropped, "loops of " + strWhat, "all but the first");
}

}  // namespace Kestrova
