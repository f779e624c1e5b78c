// Continues CSDBISample: the wave in an external file.
#include <cerrno>
#include <filesystem>
#include <new>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "SamplerDBDS/DataBase/SDBRecordFields.h"

namespace Kestrova {
namespace {

// The kinds of chunk that have been met in a wave file, as bits.
enum Seen : unsigned { kSeenFormat = 1, kSeenData = 2, kSeenSampler = 4, kSeenAll = 7 };

unsigned SeenBit(uint32_t idChunk) {
    switch (idChunk) {
        case kChunkFormat: return kSeenFormat;
        case kChunkData: return kSeenData;
        case kChunkSampler: return kSeenSampler;
        default: return 0;
    }
}

bool TakeFormat(CWaveChunks& chunks, CSDBISampleBase::Info& info) {
    uint8_t body[kFormatBytes];
    if (chunks.GetSize() < kFormatBytes || !chunks.Read(body, sizeof body)) return false;
    const uint32_t nTag = Word16(body);
    if (nTag != kWaveTagInteger && nTag != kWaveTagFloat) return false;
    info.nChannels = Word16(body + 2);
    info.nSampleRate = Word32(body + 4);
    info.nFormat = Word16(body + 14) | (nTag == kWaveTagFloat ? kSampleFormatFlag : 0);
    return true;
}

bool TakeFrameCount(const CWaveChunks& chunks, CSDBISampleBase& sample) {
    const uint64_t nFrame = sample.GetFrameBytes();
    if (chunks.GetSize() < 2 || nFrame == 0) return false;
    sample.m_info.nFrames = static_cast<uint32_t>(chunks.GetSize() / nFrame);
    return true;
}

bool TakeLoop(CWaveChunks& chunks, SDBLOOP& loop) {
    uint8_t body[kLoopBytes];
    if (!chunks.Read(body, sizeof body)) return false;
    loop = {Word32(body), Word32(body + 8), Word32(body + 12), Word32(body + 20)};
    return true;
}

bool TakeSampler(CWaveChunks& chunks, CSDBISampleBase& sample) {
    uint8_t body[kSamplerBytes];
    if (chunks.GetSize() < kSamplerBytes || !chunks.Read(body, sizeof body)) return false;
    sample.m_info.nRootKey = Word32(body + 12);
    sample.m_info.nFineTune = FineTuneOfFraction(Word32(body + 16));
    const uint32_t nLoops = Word32(body + 28);
    if (!chunks.HasBody(kSamplerBytes, uint64_t{nLoops} * kLoopBytes) ||
        !HadMemory(chunks.GetFile(), sample.AllocLoops(nLoops)))
        return false;
    for (uint32_t i = 0; i < nLoops; ++i)
        if (!TakeLoop(chunks, sample.GetLoops()[i])) return false;
    return true;
}

// Takes a chunk of a kind that is met for the first time.
bool TakeChunk(CWaveChunks& chunks, CSDBISampleBase& sample, unsigned nSeenBefore) {
    switch (SeenBit(chunks.GetId())) {
        case kSeenFormat: return TakeFormat(chunks, sample.m_info);
        case kSeenData: return (nSeenBefore & kSeenFormat) != 0 && TakeFrameCount(chunks, sample);
        default: return TakeSampler(chunks, sample);
    }
}

// Regular files only: a name that stands for a pipe or a device could make the program wait, or read, for
// ever.
bool OpenRegular(CXFile& file, const char* pszPath) {
    std::error_code error;
    return std::filesystem::is_regular_file(pszPath, error) && file.Open(pszPath, 0);
}

}  // namespace

bool CSDBISample::OpenExtFile(CXFile& file) const {
    try {
        if (OpenRegular(file, m_szFile)) return true;
        const std::filesystem::path name(m_szFile);
        if (m_strExtFolder.empty() || name.is_absolute()) return false;
        return OpenRegular(file, (std::filesystem::path(m_strExtFolder) / name).c_str());
    } catch (const std::bad_alloc&) {
        return HadMemory(file, false);
    }
}

bool CSDBISample::GetExtFileInfo() {
    CXFile file;
    return ReadExtFileInfo(file);
}

bool CSDBISample::GetExtFileData() {
    CXFile file;
    return ReadExtFileData(file);
}

bool CSDBISample::ReadExtFileInfo(CXFile& file) {
    if (m_szFile[0] == '\0') return false;
    AllocLoops(0);
    if (!OpenExtFile(file)) {
        m_info.nFrames = 0;
        // Quirk (Q87): a bank whose external files are elsewhere can still be looked through.
        return file.GetFirstError() != ENOMEM;
    }
    CWaveChunks chunks(file);
    if (!chunks.Begin()) return false;
    unsigned nSeen = 0;
    while (nSeen != kSeenAll && chunks.Next()) {
        const unsigned nBit = SeenBit(chunks.GetId());
        if (nBit == 0) continue;
        if ((nSeen & nBit) != 0 || !TakeChunk(chunks, *this, nSeen)) return false;
        nSeen |= nBit;
    }
    return (nSeen & kSeenFormat) != 0 && (nSeen & kSeenData) != 0;
}

bool CSDBISample::ReadExtFileData(CXFile& file) {
    if (m_szFile[0] == '\0') return false;
    SmplMemFree();
    CWaveChunks chunks(file);
    if (!OpenExtFile(file) || !chunks.Begin()) return false;
    do {
        if (!chunks.Next()) return false;
    } while (chunks.GetId() != kChunkData);
    const uint64_t nFrame = GetFrameBytes();
    if (chunks.GetSize() < 2 || nFrame == 0) return false;
    const uint32_t nBytes = static_cast<uint32_t>(chunks.GetSize() / nFrame * nFrame);
    const bool bAsStated = GetStatedBytes() == nBytes;
    m_lStored = m_info.lWave = bAsStated ? nBytes : 0;
    if (m_info.lWave == 0 || !chunks.HasBody(0, nBytes) || !HadMemory(file, SmplMemAlloc())) return false;
    const bool bRead = chunks.Read(m_info.pWave, nBytes);
    if (!bRead) SmplMemFree();
    return bRead;
}

}  // namespace Kestrova
