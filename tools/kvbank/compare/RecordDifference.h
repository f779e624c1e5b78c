// RecordDifference.h - names the first difference between two records of one class.
#pragma once

#include "SamplerDBDS/DataBase/SDBInterpreter.h"

namespace Kestrova {

// "its name", "its low key" ...: the first field that differs; null when none does. Ids and parents are not
// looked at, nor is the sample a layer plays; both records of a pair of samples have their waves.
const char* Difference(const CSDBIInfo& a, const CSDBIInfo& b);
const char* Difference(const CSDBIPreset& a, const CSDBIPreset& b);
const char* Difference(const CSDBIBank& a, const CSDBIBank& b);
const char* Difference(const CSDBIProgram& a, const CSDBIProgram& b);
const char* Difference(const CSDBIRegion& a, const CSDBIRegion& b);
const char* Difference(const CSDBILayer& a, const CSDBILayer& b);
const char* Difference(const CSDBISampleBase& a, const CSDBISampleBase& b);
// The same of everything but the waves, which need not be loaded.
const char* HeaderDifference(const CSDBISampleBase& a, const CSDBISampleBase& b);

}  // namespace Kestrova
