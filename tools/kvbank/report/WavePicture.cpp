#include "tools/kvbank/report/WavePicture.h"

#include <algorithm>
#include <limits>

#include "SamplerDBDS/DataBase/SDBIWaveFile.h"
#include "tools/kvbank/export/WaveForm.h"

namespace Kestrova {
namespace {

constexpr uint64_t kColumns = 160;
constexpr int64_t kHalfHeight = 22;
constexpr uint32_t kExcerptRate = 32000;  // of an excerpt, Hz
constexpr size_t kWaveHead = 44;          // bytes in front of the frames

struct Column {
    int32_t nLeast = 0;
    int32_t nGreatest = 0;
};

std::vector<Column> ColumnsOf(const MonoWave& wave) {
    std::vector<Column> columns(std::min(kColumns, wave.GetFrames()));
    for (size_t i = 0; i < columns.size(); ++i) {
        const uint64_t nFirst = i * wave.GetFrames() / columns.size();
        const uint64_t nEnd = (i + 1) * wave.GetFrames() / columns.size();
        columns[i] = {std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()};
        for (uint64_t n = nFirst; n < nEnd; ++n) {
            const int32_t nValue = wave.At(n);
            columns[i].nLeast = std::min(columns[i].nLeast, nValue);
            columns[i].nGreatest = std::max(columns[i].nGreatest, nValue);
        }
    }
    return columns;
}

// In quarters of a unit, so that quiet waves still show a line.
std::string HeightOf(int32_t nValue) {
    const int64_t nQuarters = 4 * kHalfHeight - int64_t{nValue} * (4 * kHalfHeight) / (int64_t{1} << 31);
    static constexpr const char* kFractions[] = {"", ".25", ".5", ".75"};
    return std::to_string(nQuarters / 4) + kFractions[nQuarters % 4];
}

void PutWord(std::vector<uint8_t>& bytes, uint32_t nValue, unsigned nWidth) {
    for (unsigned i = 0; i < nWidth; ++i) bytes.push_back(static_cast<uint8_t>(nValue >> (8 * i)));
}

std::vector<uint8_t> WaveHead(uint32_t nRate, uint32_t nData) {
    std::vector<uint8_t> head;
    PutWord(head, ChunkId("RIFF"), 4);
    PutWord(head, nData + kWaveHead - 8, 4);
    PutWord(head, ChunkId("WAVE"), 4);
    PutWord(head, kChunkFormat, 4);
    PutWord(head, kFormatBytes, 4);
    PutWord(head, kWaveTagInteger, 2);
    PutWord(head, 1, 2);
    PutWord(head, nRate, 4);
    PutWord(head, 2 * nRate, 4);
    PutWord(head, 2, 2);
    PutWord(head, 16, 2);
    PutWord(head, kChunkData, 4);
    PutWord(head, nData, 4);
    return head;
}

}  // namespace

MonoWave::MonoWave(const CSDBISampleBase& sample) : m_sample(sample) {
    if (IsConvertible(sample.m_info.nFormat) && sample.GetFrameBytes() != 0)
        m_nFrames = sample.m_info.lWave / sample.GetFrameBytes();
}

int32_t MonoWave::At(uint64_t nFrame) const {
    const uint32_t nChannels = m_sample.m_info.nChannels;
    const uint8_t* p = m_sample.m_info.pWave + nFrame * m_sample.GetFrameBytes();
    int64_t nSum = 0;
    uint64_t nRounded = 0;
    for (uint32_t i = 0; i < nChannels; ++i, p += m_sample.GetSampleBytes())
        nSum += SampleAt(p, m_sample.m_info.nFormat, 24, nRounded);
    return static_cast<int32_t>(nSum / nChannels);
}

std::string WaveformSvg(const MonoWave& wave, const std::optional<LoopFrames>& loop) {
    const std::vector<Column> columns = ColumnsOf(wave);
    if (columns.empty()) return "";
    const std::string strWidth = std::to_string(columns.size());
    std::string strSvg = "<svg class=\"wave\" viewBox=\"0 0 " + strWidth + " " +
                         std::to_string(2 * kHalfHeight) + "\" preserveAspectRatio=\"none\">";
    if (loop) {
        const uint64_t nFirst = loop->nStart * columns.size() / wave.GetFrames();
        const uint64_t nEnd = std::min<uint64_t>(
            columns.size(), (uint64_t{loop->nEnd} + 1) * columns.size() / wave.GetFrames() + 1);
        strSvg += "<rect class=\"loop\" x=\"" + std::to_string(nFirst) + "\" y=\"0\" width=\"" +
                  std::to_string(nEnd - std::min(nEnd, nFirst)) + "\" height=\"" +
                  std::to_string(2 * kHalfHeight) + "\"/>";
    }
    strSvg += "<path d=\"M0 " + HeightOf(columns.front().nGreatest);
    for (size_t i = 1; i < columns.size(); ++i)
        strSvg += "L" + std::to_string(i) + " " + HeightOf(columns[i].nGreatest);
    for (size_t i = columns.size(); i-- > 0;)
        strSvg += "L" + std::to_string(i) + " " + HeightOf(columns[i].nLeast);
    return strSvg + "Z\"/></svg>";
}

std::vector<uint8_t> ExcerptOf(const MonoWave& wave, uint32_t nRate, size_t nMostBytes) {
    if (nRate == 0 || nMostBytes <= kWaveHead) return {};
    uint64_t nStep = 1;  // frames for one of the excerpt; their mean keeps most of what would fold back out
    while (nRate / nStep > kExcerptRate) nStep *= 2;
    const uint64_t nFrames = std::min<uint64_t>(wave.GetFrames() / nStep, (nMostBytes - kWaveHead) / 2);
    if (nFrames == 0) return {};
    std::vector<uint8_t> bytes =
        WaveHead(static_cast<uint32_t>(nRate / nStep), static_cast<uint32_t>(2 * nFrames));
    for (uint64_t n = 0; n < nFrames; ++n) {
        int64_t nSum = 0;
        for (uint64_t i = 0; i < nStep; ++i) nSum += wave.At(n * nStep + i);
        PutWord(bytes, static_cast<uint32_t>(nSum / static_cast<int64_t>(nStep) >> 16), 2);
    }
    return bytes;
}

}  // namespace Kestrova
