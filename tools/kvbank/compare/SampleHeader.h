// SampleHeader.h - what a sample of a bank must be apart from its wave, told from its source's header alone.
#pragma once

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/SampleMaker.h"

namespace Kestrova {

// Makes the header, loops, parameter block and tail that MakeTargetSample (SampleMaker.h) gives for this key,
// without a wave and its length. False for want of memory.
bool MakeSampleHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                      CSDBISampleBase& made);

}  // namespace Kestrova
