#include "tools/kvbank/demo/DemoInstrument.h"

#include <cerrno>
#include <new>
#include <vector>

#include "SamplerDBDS/DataBase/SDBEngine.h"
#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "tools/kvbank/demo/DemoWaves.h"

namespace Kestrova {
namespace {

constexpr DBUID kIdentity = {{0x44454D4F, 0x00000001, 0x00000002, 0x00000003}};

constexpr DemoSound kSounds[] = {
    {"Pluck low", 22050, 16, 1, 8820, 48, 0, 168, MakePluck},
    {"Pluck high", 32000, 16, 1, 12800, 60, 0, 122, MakePluck},
    {"Bell", 44100, 24, 2, 15000, 84, 0, 1047, MakeBell},
    {"Pad", 48000, 24, 1, 26112, 60, 22016, 120, MakeSustained},
    {"Strings", 44100, 16, 2, 21000, 55, 18000, 80, MakeSustained},
    {"Wood block", 44100, 16, 1, 2205, 76, 0, 660, MakeBlock},
};

struct DemoRegion {
    const char* pszName;
    int nLowKey, nHighKey;
    size_t nSound;
};

struct DemoProgram {
    const char* pszName;
    bool bSplit;  // the per-key layout gives each key a sample of its own
    std::vector<DemoRegion> regions;
};

const std::vector<DemoProgram>& Programs() {
    static const std::vector<DemoProgram> kPrograms = {
        {"Pluck", true, {{"Low", 36, 53, 0}, {"High", 54, 71, 1}}},
        {"Bell", true, {{"Bell", 72, 96, 2}}},
        {"Pad", true, {{"Pad", 55, 65, 3}}},
        {"Strings", false, {{"Strings", 0, 127, 4}}},
        {"Wood block", false, {{"Wood block", 76, 76, 5}}},
    };
    return kPrograms;
}

bool Add(CSDB& database, CSDBInterpreter& record) { return database.AddNewNote(&record); }

// The upper bits of each 24-bit value, little-endian.
void PutFrames(const DemoFrames& frames, uint32_t nBits, uint8_t* pWave) {
    for (const int32_t nFrame : frames)
        for (uint32_t nShift = 24 - nBits; nShift < 24; nShift += 8)
            *pWave++ = static_cast<uint8_t>(nFrame >> nShift);
}

bool AddSound(CSDB& database, const DemoSound& sound, uint32_t& id) {
    CSDBISampleWave sample(kSdbNoID, kSdbNoID);
    CopyStgStr(sample.m_info.szName, sound.pszName);
    sample.m_info.nSampleRate = sound.nRate;
    sample.m_info.nFormat = sound.nBits;
    sample.m_info.nChannels = sound.nChannels;
    sample.m_info.nFrames = sound.nFrames;
    sample.m_info.nRootKey = sound.nRootKey;
    if (!sample.AllocLoops(sound.nLoopFrames != 0 ? 1 : 0)) throw std::bad_alloc();
    if (sound.nLoopFrames != 0)
        sample.GetLoops()[0] = {0, sound.nFrames - sound.nLoopFrames, sound.nFrames - 1, 0};
    sample.m_info.lWave = static_cast<uint32_t>(sample.GetStatedBytes());
    if (!sample.SmplMemAlloc()) throw std::bad_alloc();
    PutFrames(sound.make(sound), sound.nBits, sample.m_info.pWave);
    if (!sample.CalcCompressSize()) throw std::bad_alloc();
    const bool bAdded = Add(database, sample);
    id = sample.GetID();
    return bAdded;
}

bool AddRegion(CSDB& database, const DemoRegion& made, uint32_t idProgram, uint32_t idSample) {
    CSDBIRegion region(kSdbNoID, idProgram);
    CopyStgStr(region.m_info.szName, made.pszName);
    region.m_info.nLowKey = made.nLowKey;
    region.m_info.nHighKey = made.nHighKey;
    if (!Add(database, region)) return false;
    CSDBILayer layer(kSdbNoID, region.GetID());
    layer.m_info.nSampleID = idSample;
    return Add(database, layer);
}

bool AddProgram(CSDB& database, const DemoProgram& made, uint32_t nNumber, uint32_t idBank,
                const std::vector<uint32_t>& arSamples) {
    CSDBIProgram program(kSdbNoID, idBank);
    CopyStgStr(program.m_info.szName, made.pszName);
    program.m_info.nFirst = nNumber;
    program.m_info.nSecond = made.bSplit ? 0 : 1;
    if (!Add(database, program)) return false;
    for (const DemoRegion& region : made.regions)
        if (!AddRegion(database, region, program.GetID(), arSamples[region.nSound])) return false;
    return true;
}

bool AddHead(CSDB& database) {
    CSDBIInfo info(kSdbNoID, kSdbNoID);
    CopyStgStr(info.m_info.szName, "Demo");
    CopyStgStr(info.m_info.szDescription, "A synthesised instrument to try things with");
    CSDBIPreset preset(kSdbNoID, kSdbNoID);
    CopyStgStr(preset.m_info.szName, "Demo");
    return Add(database, info) && Add(database, preset);
}

bool AddAll(CSDB& database) {
    if (!database.UpdateDBUID(&kIdentity) || !AddHead(database)) return false;
    std::vector<uint32_t> arSamples;
    for (const DemoSound& sound : kSounds) {
        arSamples.push_back(kSdbNoID);
        if (!AddSound(database, sound, arSamples.back())) return false;
    }
    CSDBIBank bank(kSdbNoID, kSdbNoID);
    CopyStgStr(bank.m_info.szName, "Demo");
    if (!Add(database, bank)) return false;
    uint32_t nNumber = 0;
    for (const DemoProgram& program : Programs())
        if (!AddProgram(database, program, nNumber++, bank.GetID(), arSamples)) return false;
    return true;
}

}  // namespace

FileAnswer WriteDemoInstrument(const std::string& strPath, DemoFacts& facts) {
    CSDB database;
    facts = {static_cast<uint32_t>(std::size(kSounds)), static_cast<uint32_t>(Programs().size())};
    return AskFile(database, [&] {
        if (!database.Create(strPath.c_str(), kSdbFormatPlain)) return false;
        if (AddAll(database)) return AskToCommit(database).bDone;
        database.Close(false);
        return false;
    });
}

}  // namespace Kestrova
