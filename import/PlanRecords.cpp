#include "import/PlanRecords.h"

#include <string>

namespace Kestrova {
namespace {

constexpr uint16_t kPercussionBank = 128;
constexpr uint32_t kProgramsPerBank = 128;
constexpr uint32_t kNotSplit = 0;  // as a program's third value; with the default, 1, it is split

std::string BankName(uint16_t nBank) {
    return nBank == kPercussionBank ? "Percussion" : "Bank " + std::to_string(nBank);
}

bool SetLoop(CSDBISampleWave& sample, const WaveTune& tune) {
    if (!tune.bLoop) return true;
    if (!sample.AllocLoops(1)) return false;
    SDBLOOP& loop = *sample.GetLoops();
    loop.nStart = static_cast<uint32_t>(tune.nLoopStart);
    loop.nEnd = static_cast<uint32_t>(tune.nLoopEnd);
    return true;
}

ImportOutcome MakeRegionRecords(const PlannedRegion& region, uint32_t idProgram,
                                const std::vector<uint32_t>& sampleIds, const RecordSink& add) {
    CSDBIRegion record(kSdbNoID, idProgram);
    CopyStgStr(record.m_info.szName, region.strName.c_str());
    record.m_info.nLowKey = region.range.keys.nLow;
    record.m_info.nHighKey = region.range.keys.nHigh;
    record.m_info.nThird = region.range.velocities.nLow;
    record.m_info.nFourth = region.range.velocities.nHigh;
    ImportOutcome outcome = add(record);
    for (const size_t nWave : region.layers) {
        if (!outcome.IsDone()) return outcome;
        CSDBILayer layer(kSdbNoID, record.GetID());
        layer.m_info.nSampleID = sampleIds[nWave];
        outcome = add(layer);
    }
    return outcome;
}

ImportOutcome MakeBankRecord(uint16_t nBank, uint32_t& idBank, const RecordSink& add) {
    CSDBIBank bank(kSdbNoID, kSdbNoID);
    CopyStgStr(bank.m_info.szName, BankName(nBank).c_str());
    bank.m_info.nFirst = nBank;
    ImportOutcome outcome = add(bank);
    idBank = bank.GetID();
    return outcome;
}

}  // namespace

ImportOutcome MakeHeadRecords(const ImportPlan& plan, const RecordSink& add) {
    CSDBIInfo info(kSdbNoID, kSdbNoID);
    CopyStgStr(info.m_info.szName, plan.strName.c_str());
    CopyStgStr(info.m_info.szDescription, plan.strDescription.c_str());
    ImportOutcome outcome = add(info);
    for (const PlannedProgram& program : plan.programs) {
        if (!outcome.IsDone()) return outcome;
        CSDBIPreset preset(kSdbNoID, kSdbNoID);
        CopyStgStr(preset.m_info.szName, program.strName.c_str());
        preset.m_info.nFirst = program.nBank * kProgramsPerBank + program.nProgram;
        outcome = add(preset);
    }
    return outcome;
}

// Programs are sorted by bank; the record of a bank is made before its first program.
ImportOutcome MakeProgramRecords(const ImportPlan& plan, const std::vector<uint32_t>& sampleIds,
                                 const RecordSink& add) {
    uint32_t idBank = kSdbNoID;
    const PlannedProgram* pLast = nullptr;
    for (const PlannedProgram& program : plan.programs) {
        if (pLast == nullptr || pLast->nBank != program.nBank)
            if (ImportOutcome outcome = MakeBankRecord(program.nBank, idBank, add); !outcome.IsDone())
                return outcome;
        pLast = &program;
        CSDBIProgram record(kSdbNoID, idBank);
        CopyStgStr(record.m_info.szName, program.strName.c_str());
        record.m_info.nFirst = program.nProgram;
        if (!program.bSplit) record.m_info.nThird = kNotSplit;
        if (ImportOutcome outcome = add(record); !outcome.IsDone()) return outcome;
        for (const PlannedRegion& region : program.regions)
            if (ImportOutcome outcome = MakeRegionRecords(region, record.GetID(), sampleIds, add);
                !outcome.IsDone())
                return outcome;
    }
    return {};
}

bool SetSampleHeader(CSDBISampleWave& sample, const PlannedWave& wave) {
    CSDBISampleBase::Info& info = sample.m_info;
    CopyStgStr(info.szName, wave.strName.c_str());
    info.nSampleRate = wave.tune.nRate;
    info.nFormat = wave.nBits;
    info.nChannels = wave.nChannels;
    info.nFrames = static_cast<uint32_t>(wave.nFrames);
    info.nRootKey = wave.tune.nRootKey;
    info.nFineTune = wave.tune.nFineTune;
    info.lWave = static_cast<uint32_t>(sample.GetStatedBytes());
    return SetLoop(sample, wave.tune);
}

}  // namespace Kestrova
