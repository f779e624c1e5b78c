#include "import/ImportPlan.h"

#include <algorithm>
#include <set>

namespace Kestrova {

MidiRange Intersect(const MidiRange& a, const MidiRange& b) {
    return {std::max(a.nLow, b.nLow), std::min(a.nHigh, b.nHigh)};
}

size_t ImportPlan::CountBanks() const {
    std::set<uint16_t> banks;
    for (const PlannedProgram& program : programs) banks.insert(program.nBank);
    return banks.size();
}

size_t ImportPlan::CountRegions() const {
    size_t nCount = 0;
    for (const PlannedProgram& program : programs) nCount += program.regions.size();
    return nCount;
}

size_t ImportPlan::CountLayers() const {
    size_t nCount = 0;
    for (const PlannedProgram& program : programs)
        for (const PlannedRegion& region : program.regions) nCount += region.layers.size();
    return nCount;
}

uint64_t ImportPlan::CountRecords() const {
    return 1 + 2 * uint64_t{programs.size()} + waves.size() + CountBanks() + CountRegions() + CountLayers();
}

}  // namespace Kestrova
