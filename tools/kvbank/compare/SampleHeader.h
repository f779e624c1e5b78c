// SampleHeader.h - makes all of a bank's sample except its wave, from the header of the source's sample.
#pragma once

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/SampleMaker.h"

namespace Kestrova {

// Makes the header, loops, parameter block and tail that MakeTargetSample (SampleMaker.h) gives for this key,
// without the wave and its length. False when there is not enough memory.
bool MakeSampleHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                      CSDBISampleBase& made);

}  // namespace Kestrova
