// BankContents.h - what a bank or source bank holds, read into memory: its programs with their regions, and
// its samples without their waves.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/kvbank/contents/SampleRecord.h"

namespace Kestrova {

// Names are texts from the file, which may hold any bytes.

struct SampleFacts {
    SDBNOTE note;
    std::string strFault = {};  // why the record cannot be read; the rest is then not set
    std::string strName = {};
    uint32_t nRate = 0;    // Hz
    uint32_t nFormat = 0;  // as in the record: bits, and the flag of floating point
    uint32_t nChannels = 0;
    uint32_t nFrames = 0;
    uint32_t nRootKey = 0;
    int32_t nFineTune = 0;  // cents above the root key
    uint32_t nLoops = 0;
    std::optional<LoopFrames> loop = {};  // the first, if it lies within the wave
};

// Keys or velocities, both ends included.
struct PlayedRange {
    int nLow = 0;
    int nHigh = 127;
    bool IsEmpty() const { return nLow > nHigh; }
    bool operator==(const PlayedRange&) const = default;
};

struct RegionFacts {
    std::string strName;
    PlayedRange keys;               // of MIDI, 0 to 127; empty when the region plays none of these
    PlayedRange velocities;         // 0 to 127
    std::vector<uint32_t> samples;  // the ids that its layers play
};

struct ProgramFacts {
    uint32_t id = 0;
    std::string strName;
    std::string strBank;  // the name of its bank
    uint32_t nNumber = 0;
    std::vector<RegionFacts> regions;
};

// Records that are damaged are left out, but for samples, which tell why; so is a region or layer whose
// parent is missing. Of two records with one id the first counts.
struct BankContents {
    int nError = 0;  // why the system did not let some other record than a sample be read; 0: it let all
    std::string strName;
    std::string strDescription;
    uint32_t nRate = 0;  // of a built bank, Hz; 0: a source states none
    bool bPerKey = false;
    std::vector<ProgramFacts> programs;  // in file order, as all that follows
    std::vector<SampleFacts> samples;
    std::unordered_map<uint32_t, size_t> sampleById;  // its place in `samples`

    // Null when there is no such sample.
    const SampleFacts* Sample(uint32_t id) const {
        const auto pFound = sampleById.find(id);
        return pFound == sampleById.end() ? nullptr : &samples[pFound->second];
    }
};

// "sample 12 "Piano C4"", for messages.
std::string DescribeSample(const SampleFacts& sample);

// Reads all records but the waves. Memory is in proportion to the records. Throws std::bad_alloc.
BankContents ReadContents(NoteScan& scan);

}  // namespace Kestrova
