// PlanRecords.h - the records that a plan becomes, for whoever writes or measures them. What becomes what is
// told in SourceBankWriter.h.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "import/ImportOutcome.h"
#include "import/ImportPlan.h"

namespace Kestrova {

// Takes a record; its id is known afterwards. An outcome other than Done ends the making.
using RecordSink = std::function<ImportOutcome(CSDBInterpreter& record)>;

// The information record and the presets, which stand in front of the samples.
ImportOutcome MakeHeadRecords(const ImportPlan& plan, const RecordSink& add);
// Banks, programs, regions and layers, which stand behind them. sampleIds: by wave.
ImportOutcome MakeProgramRecords(const ImportPlan& plan, const std::vector<uint32_t>& sampleIds,
                                 const RecordSink& add);
// All of a sample record but its frames; false when memory ran out.
bool SetSampleHeader(CSDBISampleWave& sample, const PlannedWave& wave);

}  // namespace Kestrova
