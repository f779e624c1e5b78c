#include "import/PlanSpace.h"

#include <algorithm>
#include <limits>
#include <map>

#include "SamplerDBDS/DataBase/SDBFormat.h"
#include "import/PlanRecords.h"

namespace Kestrova {
namespace {

// One program with the waves it plays.
ImportPlan PlanOf(const ImportPlan& plan, const PlannedProgram& program, bool bSplit) {
    ImportPlan part{plan.strName, plan.strDescription, {}, {program}};
    part.programs[0].bSplit = bSplit;
    std::map<size_t, size_t> places;
    for (PlannedRegion& region : part.programs[0].regions)
        for (size_t& nWave : region.layers) {
            const auto [place, bNew] = places.try_emplace(nWave, part.waves.size());
            if (bNew) part.waves.push_back(plan.waves[nWave]);
            nWave = place->second;
        }
    return part;
}

uint32_t WaveBytes(const PlannedWave& wave) {
    const uint64_t nMost = std::numeric_limits<uint32_t>::max();
    return static_cast<uint32_t>(std::min(wave.nFrames, nMost / wave.FrameBytes()) * wave.FrameBytes());
}

// Of the source file, without its waves. A record stands behind a header and has an entry in the table, which
// is a record too.
uint64_t OverheadBytes(const ImportPlan& plan) {
    constexpr uint64_t kBytesAround = NoteHeader::kBytes + QuickLoadEntry::kBytes;
    uint64_t nBytes = FileHeader::kBytes + kBytesAround + plan.CountRecords() * kBytesAround;
    const RecordSink measure = [&nBytes](CSDBInterpreter& record) {
        nBytes += record.GetSize();
        return ImportOutcome();
    };
    MakeHeadRecords(plan, measure);
    MakeProgramRecords(plan, std::vector<uint32_t>(plan.waves.size()), measure);
    for (const PlannedWave& wave : plan.waves) {
        CSDBISampleWave sample(kSdbNoID, kSdbNoID);
        if (SetSampleHeader(sample, wave)) nBytes += sample.GetSize();
    }
    return nBytes;
}

}  // namespace

PlanSpace::PlanSpace(const ImportPlan& plan, const PlannedProgram& program, bool bSplit)
    : PlanSpace(PlanOf(plan, program, bSplit)) {}

PlanSpace::PlanSpace(const ImportPlan& plan) {
    for (const PlannedWave& wave : plan.waves)
        m_samples.push_back({.id = kSdbNoID,
                             .bytes = WaveBytes(wave),
                             .rate = wave.tune.nRate,
                             .rootKey = wave.tune.nRootKey,
                             .playedKeys = {}});
    m_counts.nRecords = static_cast<uint32_t>(plan.CountRecords());
    m_counts.nSamples = static_cast<uint32_t>(plan.waves.size());
    m_counts.nRegions = static_cast<uint32_t>(plan.CountRegions());
    m_counts.nOverheadBytes = OverheadBytes(plan);
    m_counts.nPerKeyRecords = int64_t{m_counts.nRecords} - m_counts.nSamples;
    for (const PlannedProgram& program : plan.programs)
        if (program.bSplit) MarkKeys(program);
    m_counts.nPerKeyRecords += CountKeyCopies(m_samples);
}

void PlanSpace::MarkKeys(const PlannedProgram& program) {
    for (const PlannedRegion& region : program.regions) {
        const MidiRange& keys = region.range.keys;
        m_counts.nPerKeyRecords +=
            CountAddedByKeys(static_cast<int64_t>(region.layers.size()), keys.nLow, keys.nHigh);
        for (const size_t nWave : region.layers)
            for (int nKey = keys.nLow; nKey <= keys.nHigh; ++nKey)
                m_samples[nWave].playedKeys.set(static_cast<size_t>(nKey));
    }
}

}  // namespace Kestrova
