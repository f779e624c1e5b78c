#include "tools/kvbank/render/WaveStore.h"

#include <filesystem>

#include "codec/RawExpand.h"
#include "codec/ReadBudget.h"
#include "stream/StreamBuffer.h"
#include "tools/kvbank/render/OpenedBank.h"

namespace Kestrova {

WaveStore::WaveStore(const kvb_bank* pBank, const std::string& strFile)
    : m_pBank(pBank), m_strFile(strFile) {}

WaveStore::~WaveStore() = default;

std::string WaveStore::NameOf(const kvb_sample& sample) const {
    return m_strFile + ": sample " + std::to_string(sample.id) + " \"" + sample.name + "\"";
}

Ending WaveStore::Get(uint32_t nSample, const kvb_sample& sample, WaveFrames& frames) {
    const void* pFrames = nullptr;
    const int nError = kvb_get_frames(m_pBank, nSample, &pFrames, &frames.nFrames);
    if (nError == KVB_ERROR_COMPRESSED) return Expand(nSample, sample, frames);
    if (nError != KVB_OK) return EndingOfReader(nError, NameOf(sample));
    frames.bytes = {static_cast<const uint8_t*>(pFrames), frames.nFrames * sample.frame_bytes};
    return {};
}

Ending WaveStore::Expand(uint32_t nSample, const kvb_sample& sample, WaveFrames& frames) {
    const uint64_t nBytes = sample.frames * sample.frame_bytes;
    std::unique_ptr<StreamBuffer>& pWave = m_expanded[nSample];
    if (!pWave) {
        const void* pStored = nullptr;
        uint64_t nStored = 0;
        const int nError = kvb_get_stored(m_pBank, nSample, &pStored, &nStored);
        if (nError != KVB_OK) return EndingOfReader(nError, NameOf(sample));
        std::error_code error;
        const uint64_t nFileBytes = std::filesystem::file_size(m_strFile, error);
        const uint64_t nMost = ReadBudget::MostFor(error ? 0 : nFileBytes);
        if (sample.wave_bytes > nMost) return {kExitBadInput, NameOf(sample) + ": " + kOverReadBudget};
        StreamBuffer stored(pStored, nStored);
        pWave = std::make_unique<StreamBuffer>();
        // The user waits for this one wave, and nothing else is at work.
        constexpr unsigned kThreads = 2;
        const CRawExpand expand(&stored, pWave.get(), sample.bits, sample.wave_bytes, kThreads, nMost);
        if (expand.HasTooMany()) return {kExitBadInput, NameOf(sample) + ": " + kOverReadBudget};
        if (expand.RanOutOfMemory()) return EndingOfReader(KVB_ERROR_NO_MEMORY, NameOf(sample));
    }
    // An expansion that failed has left nothing.
    if (pWave->GetSize() != sample.wave_bytes || nBytes > sample.wave_bytes)
        return {kExitBadInput, NameOf(sample) + ": the wave is damaged"};
    frames = {{static_cast<const uint8_t*>(pWave->GetBuffer()), nBytes}, sample.frames};
    return {};
}

}  // namespace Kestrova
