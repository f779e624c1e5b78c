#include "SamplerDBDS/DataBase/SDBIWaveFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <vector>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBISample.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

constexpr uint32_t kTagInteger = 1;
constexpr uint32_t kTagFloat = 3;

uint32_t Word16(const uint8_t* p) { return p[0] | uint32_t{p[1]} << 8; }
uint32_t Word32(const uint8_t* p) { return Word16(p) | Word16(p + 2) << 16; }

// What of a wave file has been met; as bits.
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
    if (nTag != kTagInteger && nTag != kTagFloat) return false;
    info.nChannels = Word16(body + 2);
    info.nSampleRate = Word32(body + 4);
    info.nFormat = Word16(body + 14) | (nTag == kTagFloat ? kSampleFormatFlag : 0);
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
    if (!chunks.HasBody(kSamplerBytes, uint64_t{nLoops} * kLoopBytes) || !sample.AllocLoops(nLoops))
        return false;
    for (uint32_t i = 0; i < nLoops; ++i)
        if (!TakeLoop(chunks, sample.GetLoops()[i])) return false;
    return true;
}

// One chunk that counts, seen for the first time.
bool TakeChunk(CWaveChunks& chunks, CSDBISampleBase& sample, unsigned nSeenBefore) {
    switch (SeenBit(chunks.GetId())) {
        case kSeenFormat: return TakeFormat(chunks, sample.m_info);
        case kSeenData: return (nSeenBefore & kSeenFormat) != 0 && TakeFrameCount(chunks, sample);
        default: return TakeSampler(chunks, sample);
    }
}

// A name that stands for a pipe or a device must not hold up or flood the program: files only.
bool OpenRegular(CXFile& file, const char* pszPath) {
    std::error_code error;
    return std::filesystem::is_regular_file(pszPath, error) && file.Open(pszPath, 0);
}

// Little-endian numbers and ids, gathered for one write.
class CChunkBytes {
public:
    CChunkBytes& Id(const char (&sz)[5]) { return Word(ChunkId(sz)); }
    CChunkBytes& Word(uint32_t n) { return Half(n & 0xFFFF).Half(n >> 16); }
    CChunkBytes& Half(uint32_t n) {
        m_bytes.push_back(static_cast<uint8_t>(n));
        m_bytes.push_back(static_cast<uint8_t>(n >> 8));
        return *this;
    }
    bool WriteTo(CXFile& file) const { return file.Write(m_bytes.data(), m_bytes.size()); }

private:
    std::vector<uint8_t> m_bytes;
};

// One sample of a width to the 24-bit value in the low bits of the result.
using ToInt24 = uint32_t (*)(const uint8_t* p);

uint32_t FromUnsigned8(const uint8_t* p) { return (uint32_t{p[0]} ^ 0x80) << 16; }
uint32_t From16(const uint8_t* p) { return Word16(p) << 8; }
uint32_t From24(const uint8_t* p) { return Word16(p) | uint32_t{p[2]} << 16; }
uint32_t From32(const uint8_t* p) { return Word32(p) >> 8; }

// Full scale is 2^23; what lies beyond is held, what is no number is silence.
uint32_t FromFloat(const uint8_t* p) {
    float fSample;
    std::memcpy(&fSample, p, sizeof fSample);
    if (std::isnan(fSample)) return 0;
    const double fHeld = std::clamp(double{fSample} * 8388608.0, -8388608.0, 8388607.0);
    return static_cast<uint32_t>(std::lrint(fHeld)) & 0xFFFFFF;
}

ToInt24 ConverterOf(uint32_t nFormat) {
    switch (nFormat) {
        case 8: return FromUnsigned8;
        case 16: return From16;
        case 24: return From24;
        case 32: return From32;
        case 32 | kSampleFormatFlag: return FromFloat;
        default: return nullptr;
    }
}

// A sample's wave on its way into a RIFF WAVE file.
class CWaveWriter {
public:
    // toInt24: null writes the samples as they are.
    CWaveWriter(const CSDBISampleBase& sample, ToInt24 toInt24)
        : m_sample(sample),
          m_toInt24(toInt24),
          m_nFormat(toInt24 ? 24 : sample.m_info.nFormat),
          m_nFrame(toInt24 ? uint64_t{3} * sample.m_info.nChannels : sample.GetFrameBytes()) {
        const uint64_t nSourceFrame = sample.GetFrameBytes();
        m_nSamples = nSourceFrame ? sample.m_info.lWave / nSourceFrame * sample.m_info.nChannels : 0;
        m_nData = m_nSamples * (GetBits() / 8);
        m_bSampler =
            sample.m_info.cLayerLoops > 0 || sample.m_info.nRootKey != 0 || sample.m_info.nFineTune != 0;
    }

    // Whether there is a wave and every value fits its field.
    bool IsWritable() const {
        return m_sample.m_info.pWave && m_nData > 0 && GetBits() % 8 == 0 && GetBits() <= UINT16_MAX &&
               m_sample.m_info.nChannels <= UINT16_MAX && m_nFrame <= UINT16_MAX &&
               m_nFrame * m_sample.m_info.nSampleRate <= UINT32_MAX && GetRiffBytes() <= UINT32_MAX;
    }

    bool WriteTo(const char* pszPath) const {
        CXFile file;
        if (!pszPath || !file.Create(pszPath)) return false;
        if (WriteHead(file) && WriteData(file) && WritePad(file) && WriteSampler(file) && file.Flush())
            return true;
        file.Close();
        DeleteThisFile(pszPath);
        return false;
    }

private:
    uint32_t GetBits() const { return m_nFormat & ~kSampleFormatFlag; }

    uint64_t GetSamplerBytes() const {
        return kSamplerBytes + uint64_t{m_sample.m_info.cLayerLoops} * kLoopBytes;
    }

    // "WAVE" and the chunks with their headers.
    uint64_t GetRiffBytes() const {
        return 4 + 8 + kFormatBytes + 8 + m_nData + m_nData % 2 + (m_bSampler ? 8 + GetSamplerBytes() : 0);
    }

    bool WriteHead(CXFile& file) const {
        const CSDBISampleBase::Info& info = m_sample.m_info;
        const uint32_t nFrame = static_cast<uint32_t>(m_nFrame);
        CChunkBytes head;
        head.Id("RIFF").Word(static_cast<uint32_t>(GetRiffBytes())).Id("WAVE");
        head.Id("fmt ").Word(kFormatBytes).Half((m_nFormat & kSampleFormatFlag) ? kTagFloat : kTagInteger);
        head.Half(info.nChannels).Word(info.nSampleRate).Word(nFrame * info.nSampleRate).Half(nFrame);
        head.Half(GetBits()).Id("data").Word(static_cast<uint32_t>(m_nData));
        return head.WriteTo(file);
    }

    bool WriteData(CXFile& file) const {
        return m_toInt24 ? WriteConverted(file) : file.Write(m_sample.m_info.pWave, m_nData);
    }

    bool WriteConverted(CXFile& file) const {
        constexpr uint64_t kSamplesAtOnce = 16384;
        std::vector<uint8_t> piece(3 * kSamplesAtOnce);
        const uint32_t nWidth = m_sample.GetSampleBytes();
        const uint8_t* pFrom = m_sample.m_info.pWave;
        for (uint64_t nLeft = m_nSamples; nLeft > 0;) {
            const uint64_t nNow = std::min(nLeft, kSamplesAtOnce);
            for (uint64_t i = 0; i < nNow; ++i, pFrom += nWidth) Put24(&piece[3 * i], m_toInt24(pFrom));
            if (!file.Write(piece.data(), 3 * nNow)) return false;
            nLeft -= nNow;
        }
        return true;
    }

    static void Put24(uint8_t* p, uint32_t n) {
        for (int i = 0; i < 3; ++i) p[i] = static_cast<uint8_t>(n >> (8 * i));
    }

    bool WritePad(CXFile& file) const { return file.Write("", m_nData % 2); }

    bool WriteSampler(CXFile& file) const {
        if (!m_bSampler) return true;
        constexpr uint32_t kNoMaker = 0, kNoProduct = 0, kNoTimeCode = 0, kForward = 0, kWholeFrame = 0;
        const CSDBISampleBase::Info& info = m_sample.m_info;
        const uint32_t nPeriod = info.nSampleRate ? 1000000000 / info.nSampleRate : 0;  // nanoseconds
        CChunkBytes chunk;
        chunk.Id("smpl").Word(static_cast<uint32_t>(GetSamplerBytes())).Word(kNoMaker).Word(kNoProduct);
        chunk.Word(nPeriod).Word(info.nRootKey).Word(FractionOfFineTune(info.nFineTune));
        chunk.Word(kNoTimeCode).Word(kNoTimeCode).Word(info.cLayerLoops).Word(0);
        for (uint32_t i = 0; i < info.cLayerLoops; ++i) {
            const SDBLOOP& loop = m_sample.GetLoops()[i];
            chunk.Word(loop.nCueID).Word(kForward).Word(loop.nStart).Word(loop.nEnd);
            chunk.Word(kWholeFrame).Word(loop.nPlayCount);
        }
        return chunk.WriteTo(file);
    }

    const CSDBISampleBase& m_sample;
    ToInt24 m_toInt24;
    uint32_t m_nFormat;   // as written
    uint64_t m_nFrame;    // bytes, as written
    uint64_t m_nSamples;  // of whole frames
    uint64_t m_nData;     // bytes, as written
    bool m_bSampler;
};

}  // namespace

bool CWaveChunks::Begin() {
    uint8_t head[12];
    unsigned long long nSize = 0;
    if (!m_file.GetSize(nSize) || !m_file.SeekToPos(0) || !m_file.Read(head, sizeof head)) return false;
    m_nFileSize = nSize;
    m_posNext = sizeof head;
    const uint64_t nAfter = m_nFileSize - 8;
    if (nAfter <= UINT32_MAX && Word32(head + 4) > nAfter) return false;
    return Word32(head) == ChunkId("RIFF") && Word32(head + 8) == ChunkId("WAVE");
}

bool CWaveChunks::Next() {
    uint8_t head[8];
    if (!m_file.SeekToPos(m_posNext) || !m_file.Read(head, sizeof head)) return false;
    m_id = Word32(head);
    m_nSize = Word32(head + 4);
    m_posBody = m_posNext + sizeof head;
    m_posNext = m_posBody + m_nSize;
    return true;
}

bool CWaveChunks::HasBody(uint64_t nOffset, uint64_t n) const {
    return nOffset + n <= m_nSize && m_posBody + nOffset + n <= m_nFileSize;
}

bool CWaveChunks::Read(void* pData, unsigned long n) { return m_file.Read(pData, n); }

int32_t FineTuneOfFraction(uint32_t nFraction) {
    constexpr uint64_t kSemitone = 4294967295;
    const uint64_t nCents = (uint64_t{nFraction} * 200 + kSemitone) / (2 * kSemitone);
    return static_cast<int32_t>(nCents) - (nCents > 50 ? 100 : 0);
}

uint32_t FractionOfFineTune(int32_t nCents) {
    const uint64_t nUpward = static_cast<uint64_t>((nCents % 100 + 100) % 100);
    return static_cast<uint32_t>((nUpward * 4294967295 + 50) / 100);
}

bool CSDBISample::OpenExtFile(CXFile& file) const {
    if (OpenRegular(file, m_szFile)) return true;
    const std::filesystem::path name(m_szFile);
    if (m_strExtFolder.IsEmpty() || name.is_absolute()) return false;
    return OpenRegular(file, (std::filesystem::path(m_strExtFolder.c_str()) / name).c_str());
}

bool CSDBISample::GetExtFileInfo() {
    if (m_szFile[0] == '\0') return false;
    AllocLoops(0);
    CXFile file;
    if (!OpenExtFile(file)) {
        m_info.nFrames = 0;
        return true;  // quirk: a bank whose external files are elsewhere can still be looked through
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

bool CSDBISample::GetExtFileData() {
    if (m_szFile[0] == '\0') return false;
    SmplMemFree();
    CXFile file;
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
    if (m_info.lWave == 0 || !chunks.HasBody(0, nBytes) || !SmplMemAlloc()) return false;
    const bool bRead = chunks.Read(m_info.pWave, nBytes);
    if (!bRead) SmplMemFree();
    return bRead;
}

bool CSDBISampleBase::ExportToFile(const char* path) const {
    const CWaveWriter writer(*this, nullptr);
    return writer.IsWritable() && writer.WriteTo(path);
}

bool CSDBISampleBase::ExportToFile24(const char* path) const {
    const ToInt24 toInt24 = ConverterOf(m_info.nFormat);
    const CWaveWriter writer(*this, toInt24);
    return toInt24 && writer.IsWritable() && writer.WriteTo(path);
}

}  // namespace Kestrova
