// SourceMaker.h - source banks for tests, of either kind, written by the database itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {

struct SampleSpec {
    uint32_t nRate = 44100;
    uint32_t nFormat = 16;
    uint32_t nChannels = 1;
    uint32_t nRootKey = 60;
    uint32_t nFrames = 100;      // of the made wave
    uint32_t nStatedFrames = 0;  // in the header; 0: as many as there are
    std::vector<SDBLOOP> loops = {};
    std::string strExternal = {};  // not empty: no wave in the record
};

struct RegionSpec {
    int nLow = 60, nHigh = 62;
    std::vector<uint32_t> layers = {0};  // indexes of samples
    int nLowVelocity = 1, nHighVelocity = 127;
};

struct ProgramSpec {
    bool bSplit = true;
    std::vector<RegionSpec> regions = {{}};
    uint32_t nNumber = 0;
};

struct SourceSpec {
    bool bEnriched = false;
    bool bInfo = true;
    uint32_t nPresets = 1;
    std::vector<SampleSpec> samples = {{}};
    std::vector<ProgramSpec> programs = {{}};  // all in one bank
};

// The records of the whole source: information, presets, samples, bank, programs, regions, layers.
uint32_t RecordCount(const SourceSpec& spec);

// Writes the source; an exception says that the database refused. Ids are given in the order written, from 0.
void MakeSource(const std::string& strPath, const SourceSpec& spec);

}  // namespace Kestrova::Test
