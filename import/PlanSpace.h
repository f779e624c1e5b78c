// PlanSpace.h - the space that the banks of a planned source will take, before anything of it is written. The
// figures are those that the engine will tell of the written source: formula and counts are the engine's.
#pragma once

#include <vector>

#include "bank/SourceAnalysis.h"
#include "import/ImportPlan.h"

namespace Kestrova {

// What the engine's analysis would find in a source made of a plan, or of one program of it alone. May throw
// std::bad_alloc.
class PlanSpace {
public:
    explicit PlanSpace(const ImportPlan& plan);
    // bSplit: whether the per-key layout splits the program, whatever the plan says.
    PlanSpace(const ImportPlan& plan, const PlannedProgram& program, bool bSplit);

    // MiB, rounded up, of a bank at one rate in either layout.
    unsigned int Predict(unsigned int nRate, bool bPerKey) const {
        return PredictMegabytes(m_counts, m_samples, nRate, bPerKey);
    }
    const BankAnalysis& GetCounts() const { return m_counts; }

private:
    void MarkKeys(const PlannedProgram& program);

    BankAnalysis m_counts;
    std::vector<tagSampleEntry> m_samples;  // by wave
};

}  // namespace Kestrova
