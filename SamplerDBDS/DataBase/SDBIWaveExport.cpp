// Continues CSDBISampleBase: a wave written as a RIFF WAVE file.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "SamplerDBDS/DataBase/SDBISample.h"
#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

// Little-endian numbers and ids, collected for one write.
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

// Makes one sample, of whatever width, a 24-bit value in the low bits of the result.
using ToInt24 = uint32_t (*)(const uint8_t* p);

uint32_t FromUnsigned8(const uint8_t* p) { return (uint32_t{p[0]} ^ 0x80) << 16; }
uint32_t From16(const uint8_t* p) { return Word16(p) << 8; }
uint32_t From24(const uint8_t* p) { return Word16(p) | uint32_t{p[2]} << 16; }
uint32_t From32(const uint8_t* p) { return Word32(p) >> 8; }

// Full scale is 2^23. A larger value becomes the largest possible one; a value that is no number becomes 0.
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
        const bool bWritten = WriteTo(file);
        // Nothing has waited for the disk: the closing may be the first to say what could not be written.
        file.Close();
        if (bWritten && file.GetFirstError() == 0) return true;
        DeleteThisFile(pszPath);
        return false;
    }

    // False also when memory runs out.
    bool WriteTo(CXFile& file) const {
        try {
            return WriteHead(file) && WriteData(file) && WritePad(file) && WriteSampler(file) && file.Flush();
        } catch (const std::bad_alloc&) {
            file.NoteError(ENOMEM);
            return false;
        }
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
        head.Id("fmt ")
            .Word(kFormatBytes)
            .Half((m_nFormat & kSampleFormatFlag) ? kWaveTagFloat : kWaveTagInteger);
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

bool Export(const CSDBISampleBase& sample, ToInt24 toInt24, const char* pszPath) {
    const CWaveWriter writer(sample, toInt24);
    return writer.IsWritable() && writer.WriteTo(pszPath);
}

}  // namespace

bool CSDBISampleBase::ExportToFile(const char* path) const { return Export(*this, nullptr, path); }

bool CSDBISampleBase::ExportTo(CXFile& file) const {
    const CWaveWriter writer(*this, nullptr);
    return writer.IsWritable() && writer.WriteTo(file);
}

bool CSDBISampleBase::ExportToFile24(const char* path) const {
    const ToInt24 toInt24 = ConverterOf(m_info.nFormat);
    return toInt24 && Export(*this, toInt24, path);
}

}  // namespace Kestrova
