// The analysis of the source bank: its counts, its sample table and the keys that play each sample.
#include <algorithm>
#include <limits>
#include <new>

#include "SamplerDBDS/DataBase/SDBInterpreter.h"
#include "bank/DBEUCreate.h"

namespace Kestrova {

BankResult CDBEUCreate::GetSrcDBInfo() {
    const CXAutoLock lock(m_dbSource.GetLock());
    BankResult result = kBankNoMemory;
    try {
        result = Analyse();
    } catch (const std::bad_alloc&) {
        // kBankNoMemory stands
    }
    m_nStatus = static_cast<int>(result);
    m_bAnalysed = result == kBankDone;
    Callback(2, result);
    return result;
}

BankResult CDBEUCreate::Analyse() {
    ForgetAnalysis();
    if (!MeasureSource()) return Fail(kBankReadFailed, kSdbAny, kSdbNoID, "the file cannot be measured");
    StartJob();
    if (Callback(1, m_analysis.nRegions + m_analysis.nSamples) == 0) return kBankCancelled;
    if (m_analysis.nSamples == 0)
        return Fail(kBankSourceInconsistent, kSdbAny, kSdbNoID, "there are no samples");
    if (const BankResult result = AllocSampleTable(); result != kBankDone) return result;
    if (const BankResult result = ReadSampleHeaders(); result != kBankDone) return result;
    if (const BankResult result = MarkPlayedKeys(); result != kBankDone) return result;
    return CountPerKeyRecords();
}

void CDBEUCreate::ForgetAnalysis() {
    m_arSamples.reset();
    m_mapSamples.clear();
    m_nFilled = 0;
    m_analysis = BankAnalysis();
}

bool CDBEUCreate::MeasureSource() {
    unsigned long long nLength = 0;
    if (!m_dbSource.GetFile().SeekToEnd(nLength)) return false;
    m_analysis.nOverheadBytes = nLength;
    for (const SDBNOTE* pNote = m_dbSource.GetNoteByType(nullptr, kSdbAny); pNote != nullptr;
         pNote = m_dbSource.GetNoteByType(pNote, kSdbAny)) {
        m_analysis.nRecords += pNote->nType != kSdbQuickLoad;
        m_analysis.nSamples += pNote->nType == kSdbSample;
        m_analysis.nRegions += pNote->nType == kSdbRegion;
    }
    return true;
}

BankResult CDBEUCreate::AllocSampleTable() {
    m_arSamples.reset(new (std::nothrow) tagSampleEntry[m_analysis.nSamples]);
    if (!m_arSamples) return kBankNoMemory;
    m_mapSamples.reserve(m_analysis.nSamples);
    return kBankDone;
}

BankResult CDBEUCreate::ReadSampleHeaders() {
    return ForEachOfType(kSdbSample, [this](uint32_t id) {
        tagSampleEntry& entry = m_arSamples[m_nFilled];
        return m_bEnrichedSource ? ReadSampleHeader<CSDBISampleEUInfo>(id, entry)
                                 : ReadSampleHeader<CSDBISampleInfo>(id, entry);
    });
}

// Of a sample whose wave lies in an external file the record states no length; its frames tell it.
static uint32_t PlayedBytes(const CSDBISampleBase& sample) {
    if (sample.m_info.lWave != 0) return sample.m_info.lWave;
    return static_cast<uint32_t>(
        std::min<uint64_t>(sample.GetStatedBytes(), std::numeric_limits<uint32_t>::max()));
}

template <class TSampleInfo>
BankResult CDBEUCreate::ReadSampleHeader(uint32_t id, tagSampleEntry& entry) {
    TSampleInfo sample(id, kSdbNoID);
    if constexpr (std::is_base_of_v<CSDBISample, TSampleInfo>) sample.SetExtFolder(m_strSourceFolder.c_str());
    if (const BankResult result = ReadSource(sample); result != kBankDone) return result;
    if (const BankResult result = Step(); result != kBankDone) return result;
    if (sample.m_info.nSampleRate == 0)
        return Fail(kBankSourceInconsistent, kSdbSample, id, "its sample rate is 0");
    m_analysis.nOverheadBytes -= sample.GetStoredBytes();
    entry.id = id;
    entry.bytes = PlayedBytes(sample);
    entry.rate = sample.m_info.nSampleRate;
    entry.rootKey = sample.m_info.nRootKey;
    entry.playedKeys.reset();
    m_mapSamples.emplace(id, m_nFilled++);
    return kBankDone;
}

BankResult CDBEUCreate::MarkPlayedKeys() {
    m_analysis.nPerKeyRecords = int64_t{m_analysis.nRecords} - m_analysis.nSamples;
    return ForEachOfType(kSdbProgram, [this](uint32_t id) { return MarkKeysOfProgram(id); });
}

BankResult CDBEUCreate::MarkKeysOfProgram(uint32_t idProgram) {
    CSDBIProgram program(idProgram, kSdbNoID);
    if (const BankResult result = ReadSource(program); result != kBankDone) return result;
    if (!program.IsSplit()) return kBankDone;
    return ForEachChild(idProgram, kSdbRegion, [this](uint32_t id) { return MarkKeysOfRegion(id); });
}

// A region of n keys becomes n regions with their layers; one of no keys (high below low) goes altogether.
BankResult CDBEUCreate::MarkKeysOfRegion(uint32_t idRegion) {
    CSDBIRegion region(idRegion, kSdbNoID);
    if (const BankResult result = ReadSource(region); result != kBankDone) return result;
    if (const BankResult result = Step(); result != kBankDone) return result;
    const int nLow = region.m_info.nLowKey, nHigh = region.m_info.nHighKey;
    if (std::min(nLow, nHigh) < 0 || std::max(nLow, nHigh) >= kKeyCount)
        return Fail(kBankSourceInconsistent, kSdbRegion, idRegion, "its keys are outside 0 to 255");
    int64_t nLayers = 0;
    const BankResult result = ForEachChild(idRegion, kSdbLayer, [&](uint32_t id) {
        ++nLayers;
        return MarkKeysOfLayer(id, nLow, nHigh);
    });
    if (result != kBankDone) return result;
    if (nLayers == 0) return Fail(kBankSourceInconsistent, kSdbRegion, idRegion, "it has no layers");
    m_analysis.nPerKeyRecords += (nLayers + 1) * std::max(nHigh - nLow, -1);
    return kBankDone;
}

BankResult CDBEUCreate::MarkKeysOfLayer(uint32_t idLayer, int nLowKey, int nHighKey) {
    CSDBILayer layer(idLayer, kSdbNoID);
    if (const BankResult result = ReadSource(layer); result != kBankDone) return result;
    tagSampleEntry* const pEntry = FindSample(layer.m_info.nSampleID);
    if (pEntry == nullptr) return Fail(kBankSourceInconsistent, kSdbLayer, idLayer, "it plays no sample");
    for (int nKey = nLowKey; nKey <= nHighKey; ++nKey) pEntry->playedKeys.set(static_cast<size_t>(nKey));
    return kBankDone;
}

BankResult CDBEUCreate::CountPerKeyRecords() {
    for (uint32_t i = 0; i < m_nFilled; ++i)
        m_analysis.nPerKeyRecords +=
            std::max<int64_t>(static_cast<int64_t>(m_arSamples[i].playedKeys.count()), 1);
    if (m_analysis.nPerKeyRecords < 0 || m_analysis.nPerKeyRecords > std::numeric_limits<uint32_t>::max())
        return Fail(kBankSourceInconsistent, kSdbAny, kSdbNoID,
                    "the per-key layout would hold too many records");
    return kBankDone;
}

// An id that no sample has, the none of a layer included, is not in the table.
tagSampleEntry* CDBEUCreate::FindSample(uint32_t id) {
    const auto pFound = m_mapSamples.find(id);
    return id == kSdbNoID || pFound == m_mapSamples.end() ? nullptr : &m_arSamples[pFound->second];
}

}  // namespace Kestrova
