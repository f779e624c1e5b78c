#include "bench/BenchSource.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bench/BenchWaves.h"

namespace Kestrova::Bench {
namespace {

constexpr uint32_t kRate = 44100;
constexpr uint32_t kSamplesInProgram = 30, kLowestRoot = 24, kKeysPerSample = 3;

struct SampleKind {
    uint32_t nBits, nChannels;
};
constexpr std::array<SampleKind, 4> kKinds = {{{16, 1}, {16, 2}, {24, 1}, {24, 2}}};

template <class TInfo>
void SetName(TInfo& info, const char* pszKind, uint32_t n) {
    std::snprintf(info.szName, sizeof info.szName, "%s %u", pszKind, n);
}

uint32_t RootKeyOf(uint32_t nSample) { return kLowestRoot + kKeysPerSample * (nSample % kSamplesInProgram); }

bool AddSample(CSDB& database, uint32_t nSample, uint32_t nWaveBytes, uint32_t& id) {
    const auto [nBits, nChannels] = kKinds[nSample % kKinds.size()];
    CSDBISampleWave sample(kSdbNoID, kSdbNoID);
    CSDBISampleBase::Info& info = sample.m_info;
    SetName(info, "Sample", nSample);
    info.nSampleRate = kRate;
    info.nFormat = nBits;
    info.nChannels = nChannels;
    info.nFrames = nWaveBytes / static_cast<uint32_t>(sample.GetFrameBytes());
    info.nRootKey = RootKeyOf(nSample);
    const Bytes wave = MakeNote(info.nFrames, nBits, nChannels, nSample);
    info.lWave = static_cast<uint32_t>(wave.size());
    if (!sample.SmplMemAlloc()) return false;
    std::copy(wave.begin(), wave.end(), info.pWave);
    sample.CalcCompressSize();
    if (!database.AddNewNote(&sample)) return false;
    id = sample.GetID();
    return true;
}

bool AddRegion(CSDB& database, uint32_t idProgram, uint32_t nSample, uint32_t idSample) {
    CSDBIRegion region(kSdbNoID, idProgram);
    SetName(region.m_info, "Region", nSample);
    region.m_info.nLowKey = static_cast<int>(RootKeyOf(nSample)) - 1;
    region.m_info.nHighKey = region.m_info.nLowKey + static_cast<int>(kKeysPerSample) - 1;
    if (!database.AddNewNote(&region)) return false;
    CSDBILayer layer(kSdbNoID, region.GetID());
    layer.m_info.nSampleID = idSample;
    return database.AddNewNote(&layer);
}

bool AddProgram(CSDB& database, uint32_t idBank, uint32_t n, uint32_t& id) {
    CSDBIProgram program(kSdbNoID, idBank);
    SetName(program.m_info, "Program", n);
    if (!database.AddNewNote(&program)) return false;
    id = program.GetID();
    return true;
}

bool AddTree(CSDB& database, const std::vector<uint32_t>& arSamples) {
    CSDBIBank bank(kSdbNoID, kSdbNoID);
    SetName(bank.m_info, "Bank", 0);
    if (!database.AddNewNote(&bank)) return false;
    uint32_t idProgram = kSdbNoID;
    for (uint32_t n = 0; n < arSamples.size(); ++n) {
        if (n % kSamplesInProgram == 0 &&
            !AddProgram(database, bank.GetID(), n / kSamplesInProgram, idProgram))
            return false;
        if (!AddRegion(database, idProgram, n, arSamples[n])) return false;
    }
    return true;
}

}  // namespace

bool WriteSource(const std::string& strPath, const SourceShape& shape) {
    CSDB database;
    if (!database.Create(strPath.c_str(), kSdbFormatPlain)) return false;
    CSDBIInfo info(kSdbNoID, kSdbNoID);
    if (!database.AddNewNote(&info)) return false;
    std::vector<uint32_t> arSamples(shape.nSamples);
    for (uint32_t n = 0; n < shape.nSamples; ++n)
        if (!AddSample(database, n, shape.nWaveBytes, arSamples[n])) return false;
    return AddTree(database, arSamples) && database.Close(true);
}

}  // namespace Kestrova::Bench
