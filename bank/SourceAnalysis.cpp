#include "bank/SourceAnalysis.h"

#include <algorithm>
#include <limits>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/FileAnswer.h"

namespace Kestrova {
namespace {

BankOutcome Inconsistent(uint8_t nType, uint32_t id, const char* pszCause) {
    return SourceFault(kBankSourceInconsistent, nType, id, pszCause);
}

// The record of a sample with an external wave file states no length; it is computed from the frames.
uint32_t PlayedBytes(const CSDBISampleBase& sample) {
    if (sample.m_info.lWave != 0) return sample.m_info.lWave;
    return static_cast<uint32_t>(
        std::min<uint64_t>(sample.GetStatedBytes(), std::numeric_limits<uint32_t>::max()));
}

// 0 for a frame that no converter takes.
uint32_t HeldFrameBytes(const CSDBISampleBase& sample) {
    return static_cast<uint32_t>(
        sample.GetFrameBytes() <= std::numeric_limits<uint32_t>::max() ? sample.GetFrameBytes() : 0);
}

std::vector<SDBLOOP> LoopsOf(const CSDBISampleBase& sample) {
    return {sample.GetLoops(), sample.GetLoops() + sample.m_info.cLayerLoops};
}

}  // namespace

BankOutcome SourceAnalysis::Run() {
    Forget();
    if (const FileAnswer measured = AskFile(m_source.Database(), [this] { return MeasureSource(); });
        !measured)
        return SourceFault(kBankReadFailed, kSdbAny, kSdbNoID, "the file cannot be measured",
                           measured.nError);
    m_source.StartJob(m_counts.nRecords);
    const BankOutcome begun = m_progress.Begin(m_counts.nRegions + m_counts.nSamples);
    if (!begun.IsDone()) return begun;
    if (m_counts.nSamples == 0) return Inconsistent(kSdbAny, kSdbNoID, "there are no samples");
    if (const BankOutcome outcome = ReadSampleHeaders(); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = MarkPlayedKeys(); !outcome.IsDone()) return outcome;
    return CountPerKeyRecords();
}

void SourceAnalysis::Forget() {
    m_arSamples = {};
    m_mapSamples.clear();
    m_counts = {};
}

bool SourceAnalysis::MeasureSource() {
    unsigned long long nLength = 0;
    const CSDB& database = m_source.Database();
    if (!m_source.Database().GetFile().SeekToEnd(nLength)) return false;
    m_counts.nOverheadBytes = nLength;
    for (const SDBNOTE* pNote = database.GetNoteByType(nullptr, kSdbAny); pNote != nullptr;
         pNote = database.GetNoteByType(pNote, kSdbAny)) {
        m_counts.nRecords += pNote->nType != kSdbQuickLoad;
        m_counts.nSamples += pNote->nType == kSdbSample;
        m_counts.nRegions += pNote->nType == kSdbRegion;
    }
    return true;
}

BankOutcome SourceAnalysis::ReadSampleHeaders() {
    m_arSamples.reserve(m_counts.nSamples);
    m_mapSamples.reserve(m_counts.nSamples);
    return m_source.ForEachOfType(kSdbSample, [this](uint32_t id) {
        return m_source.IsEnriched() ? ReadSampleHeader<CSDBISampleEUInfo>(id)
                                     : ReadSampleHeader<CSDBISampleInfo>(id);
    });
}

template <class TSampleInfo>
BankOutcome SourceAnalysis::ReadSampleHeader(uint32_t id) {
    TSampleInfo sample(id, kSdbNoID);
    if constexpr (std::is_base_of_v<CSDBISample, TSampleInfo>)
        sample.SetExtFolder(m_source.GetFolder().c_str());
    if (const BankOutcome outcome = m_source.Read(sample); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = m_progress.Step(); !outcome.IsDone()) return outcome;
    if (sample.m_info.nSampleRate == 0) return Inconsistent(kSdbSample, id, "its sample rate is 0");
    m_counts.nOverheadBytes -= sample.GetStoredBytes();
    m_mapSamples.emplace(id, static_cast<uint32_t>(m_arSamples.size()));
    m_arSamples.push_back({.id = id,
                           .bytes = PlayedBytes(sample),
                           .rate = sample.m_info.nSampleRate,
                           .rootKey = sample.m_info.nRootKey,
                           .playedKeys = {},
                           .frames = sample.m_info.nFrames,
                           .frameBytes = HeldFrameBytes(sample),
                           .loops = LoopsOf(sample)});
    return {};
}

BankOutcome SourceAnalysis::MarkPlayedKeys() {
    m_counts.nPerKeyRecords = int64_t{m_counts.nRecords} - m_counts.nSamples;
    return m_source.ForEachOfType(kSdbProgram, [this](uint32_t id) { return MarkKeysOfProgram(id); });
}

BankOutcome SourceAnalysis::MarkKeysOfProgram(uint32_t idProgram) {
    CSDBIProgram program(idProgram, kSdbNoID);
    if (const BankOutcome outcome = m_source.Read(program); !outcome.IsDone()) return outcome;
    if (!program.IsSplit()) return {};  // deliberate (Q102): fewer steps may come than were announced
    return m_source.ForEachChild(idProgram, kSdbRegion, [this](uint32_t id) { return MarkKeysOfRegion(id); });
}

BankOutcome SourceAnalysis::MarkKeysOfRegion(uint32_t idRegion) {
    CSDBIRegion region(idRegion, kSdbNoID);
    if (const BankOutcome outcome = m_source.Read(region); !outcome.IsDone()) return outcome;
    if (const BankOutcome outcome = m_progress.Step(); !outcome.IsDone()) return outcome;
    const int nLow = region.m_info.nLowKey, nHigh = region.m_info.nHighKey;
    if (std::min(nLow, nHigh) < 0 || std::max(nLow, nHigh) >= kKeyCount)
        return Inconsistent(kSdbRegion, idRegion, "its keys are outside 0 to 255");
    int64_t nLayers = 0;
    const BankOutcome outcome = m_source.ForEachChild(idRegion, kSdbLayer, [&](uint32_t id) {
        ++nLayers;
        return MarkKeysOfLayer(id, nLow, nHigh);
    });
    if (!outcome.IsDone()) return outcome;
    if (nLayers == 0) return Inconsistent(kSdbRegion, idRegion, "it has no layers");
    m_counts.nPerKeyRecords += CountAddedByKeys(nLayers, nLow, nHigh);
    return {};
}

BankOutcome SourceAnalysis::MarkKeysOfLayer(uint32_t idLayer, int nLowKey, int nHighKey) {
    CSDBILayer layer(idLayer, kSdbNoID);
    if (const BankOutcome outcome = m_source.Read(layer); !outcome.IsDone()) return outcome;
    const std::optional<uint32_t> nEntry = FindSample(layer.m_info.nSampleID);
    if (!nEntry) return Inconsistent(kSdbLayer, idLayer, "it plays no sample");
    for (int nKey = nLowKey; nKey <= nHighKey; ++nKey)
        m_arSamples[*nEntry].playedKeys.set(static_cast<size_t>(nKey));
    return {};
}

BankOutcome SourceAnalysis::CountPerKeyRecords() {
    m_counts.nPerKeyRecords += CountKeyCopies(m_arSamples);
    if (m_counts.nPerKeyRecords < 0 || m_counts.nPerKeyRecords > std::numeric_limits<uint32_t>::max())
        return Inconsistent(kSdbAny, kSdbNoID, "the per-key layout would hold too many records");
    return {};
}

std::optional<uint32_t> SourceAnalysis::FindSample(uint32_t id) const {
    const auto pFound = m_mapSamples.find(id);
    if (id == kSdbNoID || pFound == m_mapSamples.end()) return std::nullopt;
    return pFound->second;
}

}  // namespace Kestrova
