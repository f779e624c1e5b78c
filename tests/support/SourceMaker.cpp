#include "tests/support/SourceMaker.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "tests/support/WaveMaker.h"

namespace Kestrova::Test {
namespace {

uint32_t Add(CSDB& database, CSDBInterpreter& record) {
    if (!database.AddNewNote(&record)) throw std::runtime_error("a record of the source was refused");
    return record.GetID();
}

template <class TInfo>
void SetName(TInfo& info, const char* pszKind, size_t n) {
    std::snprintf(info.szName, sizeof info.szName, "%s %zu", pszKind, n);
}

void FillHeader(CSDBISampleBase& sample, const SampleSpec& spec, size_t n) {
    SetName(sample.m_info, "Sample", n);
    sample.m_info.nSampleRate = spec.nRate;
    sample.m_info.nFormat = spec.nFormat;
    sample.m_info.nChannels = spec.nChannels;
    sample.m_info.nFrames = spec.nStatedFrames != 0 ? spec.nStatedFrames : spec.nFrames;
    sample.m_info.nRootKey = spec.nRootKey;
    sample.m_info.nFineTune = -7;
    sample.m_info.nFurther = 0x1234;
    if (!sample.AllocLoops(static_cast<uint32_t>(spec.loops.size()))) throw std::bad_alloc();
    for (size_t i = 0; i < spec.loops.size(); ++i) sample.GetLoops()[i] = spec.loops[i];
}

Bytes WaveOf(const SampleSpec& spec, size_t n) {
    return MakeWave(spec.nFrames, spec.nFormat & ~kSampleFormatFlag, spec.nChannels,
                    static_cast<uint32_t>(n) + 1);
}

uint32_t AddPlain(CSDB& database, const SampleSpec& spec, size_t n) {
    CSDBISampleWave sample(kSdbNoID, kSdbNoID);
    FillHeader(sample, spec, n);
    if (!spec.strExternal.empty()) {
        CopyStgStr(sample.m_szFile, spec.strExternal.c_str());
        return Add(database, sample);
    }
    const Bytes wave = WaveOf(spec, n);
    sample.m_info.lWave = static_cast<uint32_t>(wave.size());
    if (!sample.SmplMemAlloc()) throw std::bad_alloc();
    std::copy(wave.begin(), wave.end(), sample.m_info.pWave);
    sample.CalcCompressSize();
    return Add(database, sample);
}

uint32_t AddEnriched(CSDB& database, const SampleSpec& spec, size_t n) {
    CSDBISampleEUWave sample(kSdbNoID, kSdbNoID);
    FillHeader(sample, spec, n);
    const Bytes wave = WaveOf(spec, n);
    if (!sample.CopyWave(wave.data(), wave.size())) throw std::bad_alloc();
    return Add(database, sample);
}

void AddProgram(CSDB& database, const ProgramSpec& spec, uint32_t idBank, size_t n,
                const std::vector<uint32_t>& arSamples) {
    CSDBIProgram program(kSdbNoID, idBank);
    SetName(program.m_info, "Program", n);
    program.m_info.nFirst = spec.nNumber;
    program.m_info.nSecond = spec.bSplit ? 0 : 1;
    const uint32_t idProgram = Add(database, program);
    for (size_t i = 0; i < spec.regions.size(); ++i) {
        CSDBIRegion region(kSdbNoID, idProgram);
        SetName(region.m_info, "Region", i);
        region.m_info.nLowKey = spec.regions[i].nLow;
        region.m_info.nHighKey = spec.regions[i].nHigh;
        region.m_info.nThird = spec.regions[i].nLowVelocity;
        region.m_info.nFourth = spec.regions[i].nHighVelocity;
        const uint32_t idRegion = Add(database, region);
        for (const uint32_t nSample : spec.regions[i].layers) {
            CSDBILayer layer(kSdbNoID, idRegion);
            layer.m_info.nSampleID = nSample < arSamples.size() ? arSamples[nSample] : nSample;
            Add(database, layer);
        }
    }
}

}  // namespace

uint32_t RecordCount(const SourceSpec& spec) {
    size_t nCount = (spec.bInfo ? 1 : 0) + spec.nPresets + spec.samples.size() + 1;
    for (const ProgramSpec& program : spec.programs) {
        ++nCount;
        for (const RegionSpec& region : program.regions) nCount += 1 + region.layers.size();
    }
    return static_cast<uint32_t>(nCount);
}

void MakeSource(const std::string& strPath, const SourceSpec& spec) {
    CSDB database;
    if (!database.Create(strPath.c_str(), spec.bEnriched ? kSdbFormatEnriched : kSdbFormatPlain))
        throw std::runtime_error("cannot create " + strPath);
    if (spec.bInfo) {
        CSDBIInfo info(kSdbNoID, kSdbNoID);
        CopyStgStr(info.m_info.szName, "Test source");
        info.m_info.nThird = 3;
        info.m_info.nFourth = 4;
        Add(database, info);
    }
    for (uint32_t i = 0; i < spec.nPresets; ++i) {
        CSDBIPreset preset(kSdbNoID, kSdbNoID);
        SetName(preset.m_info, "Preset", i);
        Add(database, preset);
    }
    std::vector<uint32_t> arSamples;
    for (size_t i = 0; i < spec.samples.size(); ++i)
        arSamples.push_back(spec.bEnriched ? AddEnriched(database, spec.samples[i], i)
                                           : AddPlain(database, spec.samples[i], i));
    CSDBIBank bank(kSdbNoID, kSdbNoID);
    SetName(bank.m_info, "Bank", 0);
    const uint32_t idBank = Add(database, bank);
    for (size_t i = 0; i < spec.programs.size(); ++i)
        AddProgram(database, spec.programs[i], idBank, i, arSamples);
    if (!database.Close(true)) throw std::runtime_error("cannot commit " + strPath);
}

}  // namespace Kestrova::Test
