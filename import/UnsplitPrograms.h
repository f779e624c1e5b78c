// UnsplitPrograms.h - keeps programs whole in the per-key layout, which splits every other program by its
// keys.
#pragma once

#include <set>
#include <vector>

#include "import/Instrument.h"

namespace Kestrova {

// The waves of a plan in which programs were unsplit. A wave that an unsplit program shared with a split one
// is in the plan twice: the per-key layout makes copies by key of what a split program plays, and an unsplit
// program that plays the same sample would be silent (Q100).
// Threads: Unsplit on one; then ReadFrames on any.
class UnsplitPrograms : public IWaveReader {
public:
    // The reader of the plan's waves as they are; must outlive the object.
    explicit UnsplitPrograms(const IWaveReader& reader) : m_reader(reader) {}

    // Marks the programs with these numbers; others are left as they are. Every wave that is written again is
    // noted as copied. May throw std::bad_alloc.
    void Unsplit(ImportPlan& plan, const std::set<ProgramNumber>& programs, ImportReport& report);

    ImportOutcome ReadFrames(size_t nWave, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut) const override;

private:
    const IWaveReader& m_reader;
    std::vector<size_t> m_arSources;  // by wave of the plan: the reader's wave; empty: the same
};

}  // namespace Kestrova
