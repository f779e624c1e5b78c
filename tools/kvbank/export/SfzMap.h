// SfzMap.h - a program as the text of an SFZ file, which other samplers play.
#pragma once

#include <string>
#include <unordered_map>

#include "tools/kvbank/contents/BankContents.h"

namespace Kestrova {

struct SfzMap {
    std::string strText;
    uint64_t nRegions = 0;  // <region> headers in it: one for each layer
    uint64_t nLeftOut = 0;  // layers that are not in it: they play no key of MIDI, or no exported wave
};

// files: the name of the file of each sample that was exported, by id. The text is SFZ version 1: lokey,
// hikey, lovel, hivel, pitch_keycenter, tune, loop_mode, loop_start, loop_end and sample, a <region> a line.
SfzMap MakeSfzMap(const ProgramFacts& program, const BankContents& contents,
                  const std::unordered_map<uint32_t, std::string>& files);

}  // namespace Kestrova
