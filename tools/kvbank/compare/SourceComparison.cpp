#include "tools/kvbank/compare/SourceComparison.h"

#include <cstring>
#include <iterator>
#include <new>
#include <type_traits>

#include "bank/HelperThreads.h"
#include "bank/OrderedPipeline.h"
#include "shared/System/kvPath.h"
#include "tools/kvbank/compare/RecordDifference.h"

namespace Kestrova {
namespace {

// A source that uses ids more than once could lead the walk through the same records again and again.
constexpr uint64_t kReadsBesideRecords = 65536;

}  // namespace

SourceComparison::SourceComparison(const CDBEUCreate& engine, const std::string& strSource, SampleDepth depth,
                                   int nQuality)
    : m_engine(engine), m_strFolder(FolderPart(strSource)), m_depth(depth), m_nQuality(nQuality) {
    m_source.Open(strSource.c_str(), engine.IsSourceEnriched() ? kSdbFormatEnriched : kSdbFormatPlain, false);
}

bool SourceComparison::Run(NoteScan& bank, uint32_t nRate, bool bPerKey, const IWaveConverter* pConverter,
                           ProblemList& problems, const Observer& observer) {
    m_bPerKey = bPerKey;
    Begin(bank, problems, observer);
    if (!m_source.IsOpen())
        StopFor("the source cannot be opened any more", m_source.GetFirstError());
    else if (!IsBuildableRate(nRate))
        problems.Add("it states no sample rate that a bank can have");
    else if (CompareInfo(nRate, bPerKey) && ComparePresets() &&
             (this->*ChooseCompareSamples())({nRate, m_nQuality, bPerKey, pConverter}) && CompareBanks())
        End();
    return !m_bStopped;
}

SourceComparison::CompareSamplesFunction SourceComparison::ChooseCompareSamples() const {
    if (m_depth == SampleDepth::Waves)
        return m_engine.IsSourceEnriched() ? &SourceComparison::CompareWaves<CSDBISampleEUWave>
                                           : &SourceComparison::CompareWaves<CSDBISampleWave>;
    return m_engine.IsSourceEnriched() ? &SourceComparison::CompareHeaders<CSDBISampleEUInfo>
                                       : &SourceComparison::CompareHeaders<CSDBISampleInfo>;
}

void SourceComparison::Begin(NoteScan& bank, ProblemList& problems, const Observer& observer) {
    m_pBank = &bank;
    m_pProblems = &problems;
    m_pObserver = &observer;
    m_bStopped = m_bRefused = false;
    m_nNext = 0;
    m_nReadsLeft = 2 * (m_source.GetNoteCount() + bank.Notes().size()) + kReadsBesideRecords;
    m_newIds.clear();
    if (!bank.Notes().empty() && bank.Notes().front().nType == kSdbQuickLoad)
        ++m_nNext;
    else
        problems.Add("it has no quick-load table");
}

void SourceComparison::End() {
    const size_t nLeft = m_pBank->Notes().size() - m_nNext;
    if (nLeft > 0) Stop("it has more records than the source gives: " + std::to_string(nLeft));
}

bool SourceComparison::Stop(const std::string& strCause) {
    m_pProblems->Add(strCause);
    return false;
}

bool SourceComparison::StopFor(const std::string& strCause, int nError) {
    if (nError == ENOMEM) throw std::bad_alloc();
    m_bRefused = nError != 0;
    return Stop(m_bRefused ? strCause + ": " + std::strerror(nError) : strCause);
}

// When the source's sample cannot be converted to what the bank holds.
bool SourceComparison::StopAt(uint32_t idOld, const BankOutcome& outcome) {
    if (outcome.pszCause == kCauseNoMemory) throw std::bad_alloc();
    return StopFor("the source's " + DescribeRecord(&m_source, kSdbSample, idOld) + ": " + outcome.pszCause,
                   outcome.nError);
}

bool SourceComparison::StopAt(const SDBNOTE& note, int nError) {
    if (nError == ENOMEM) throw std::bad_alloc();
    m_bRefused = true;
    m_pProblems->Add(*m_pBank, note, std::strerror(nError));
    return false;
}

bool SourceComparison::ReadSource(CSDBInterpreter& record) {
    const SDBNOTE* const pNote = m_source.GetNoteByID(record.GetID());
    const bool bSample = pNote != nullptr && pNote->nType == kSdbSample;
    if (m_nReadsLeft > 0 && !bSample && m_source.ReadWholeNote(&record)) {
        --m_nReadsLeft;
        return true;
    }
    const std::string strRecord =
        "the source's " + DescribeRecord(&m_source, record.GetType(), record.GetID());
    return m_nReadsLeft > 0 ? StopFor(strRecord + " cannot be read whole", m_source.GetFirstError())
                            : Stop(strRecord + " is used more than once");
}

template <class TSourceInfo>
bool SourceComparison::ReadSourceHeader(TSourceInfo& sample) {
    const SDBNOTE* const pNote = m_source.GetNoteByID(sample.GetID());
    bool bRead = pNote != nullptr && pNote->nType == kSdbSample;
    if constexpr (std::is_base_of_v<CSDBISampleEU, TSourceInfo>)
        bRead = bRead && MeasureEnrichedSample(m_source.GetFile(), pNote->PosBody(), pNote->nSize);
    else
        sample.SetExtFolder(m_strFolder.c_str());
    if (bRead && m_source.ReadWholeNote(&sample)) return true;
    return StopFor(
        "the source's " + DescribeRecord(&m_source, kSdbSample, sample.GetID()) + " cannot be read whole",
        m_source.GetFirstError());
}

// The bank's next record. Null, with the cause reported, when it is not of the type that the source gives.
const SDBNOTE* SourceComparison::NextOfType(uint8_t nType) {
    if (m_nNext == m_pBank->Notes().size()) {
        Stop("it ends too early: the source gives a " + TypeName(nType) + " next");
        return nullptr;
    }
    const SDBNOTE& note = m_pBank->Notes()[m_nNext++];
    if (note.nType == nType && note.IsLive()) return &note;
    m_pProblems->Add(*m_pBank, note, "the source gives a " + TypeName(nType) + " here");
    return nullptr;
}

// Reports the difference given, or else one of the parent or the size. Returns whether to go on.
bool SourceComparison::Told(const SDBNOTE& note, CSDBInterpreter& expected, const char* pszDifference) {
    if (pszDifference == nullptr && note.idParent != expected.GetParentID()) pszDifference = "its parent";
    if (pszDifference == nullptr && note.nSize != expected.GetSize()) pszDifference = "its size";
    if (pszDifference != nullptr)
        m_pProblems->Add(*m_pBank, note, std::string(pszDifference) + " is not what the source gives");
    m_bStopped = !(*m_pObserver)(note.PosEnd());
    return !m_bStopped;
}

template <class TRecord>
bool SourceComparison::Expect(TRecord& expected, uint32_t& idNew, TRecord* pActual) {
    const SDBNOTE* const pNote = NextOfType(expected.GetType());
    if (pNote == nullptr) return false;
    TRecord own(pNote->idNote, pNote->idParent);
    TRecord& actual = pActual != nullptr ? *pActual : own;
    idNew = pNote->idNote;
    const bool bRead = m_pBank->IsWhole(*pNote) && m_pBank->Read(*pNote, actual);
    if (const int nError = m_pBank->File().GetFirstError(); !bRead && nError != 0)
        return StopAt(*pNote, nError);
    return Told(*pNote, expected, bRead ? Difference(actual, expected) : "its body");
}

template <class TSample, class TDifference>
bool SourceComparison::ExpectSample(TSample& expected, uint32_t& idNew, TDifference difference) {
    const SDBNOTE* const pNote = NextOfType(kSdbSample);
    if (pNote == nullptr) return false;
    TSample actual(pNote->idNote, pNote->idParent);
    idNew = pNote->idNote;
    const bool bRead = MeasureEnrichedSample(m_pBank->File(), pNote->PosBody(), pNote->nSize) &&
                       m_pBank->Read(*pNote, actual);
    if (const int nError = m_pBank->File().GetFirstError(); !bRead && nError != 0)
        return StopAt(*pNote, nError);
    if (m_depth == SampleDepth::Headers) expected.m_info.lWave = actual.m_info.lWave;
    return Told(*pNote, expected, bRead ? difference(actual, expected) : "its body");
}

uint32_t& SourceComparison::NewIdOf(uint32_t idOld, int nKey) {
    NewIds& ids = m_newIds[idOld];
    return nKey == kEveryKey ? ids.idSingle : ids.byKey[nKey];
}

bool SourceComparison::CompareInfo(uint32_t nRate, bool bPerKey) {
    const SDBNOTE* const pNote = m_source.GetNoteByType(nullptr, kSdbInfo);
    if (pNote == nullptr) return Stop("the source has no information record");
    CSDBIInfo info(pNote->idNote, kSdbNoID);
    if (!ReadSource(info)) return false;
    CopyStgStr(info.m_info.szDescription, "PC Version");
    info.m_info.nSampleRate = nRate;
    info.m_info.nPerKey = bPerKey;
    uint32_t idNew = kSdbNoID;
    return Expect(info, idNew);
}

bool SourceComparison::ComparePresets() {
    for (const SDBNOTE* pNote = m_source.GetNoteByType(nullptr, kSdbPreset); pNote != nullptr;
         pNote = m_source.GetNoteByType(pNote, kSdbPreset)) {
        CSDBIPreset preset(pNote->idNote, kSdbNoID);
        uint32_t idNew = kSdbNoID;
        if (!ReadSource(preset) || !Expect(preset, idNew)) return false;
    }
    return true;
}

template <class TSource>
bool SourceComparison::CompareWaves(const SampleTarget& target) {
    const tagSampleEntry* const arSamples = m_engine.GetSamples();
    const unsigned nHelpers = HelperThreadCount();
    SampleMaker<TSource> maker(m_source, arSamples, m_engine.GetAnalysis().nSamples, m_strFolder.c_str(),
                               target, nHelpers);
    OrderedPipeline<MadeSample> pipeline(
        maker.GetCount(), nHelpers, nHelpers + 1,
        [&maker](size_t nJob, unsigned nHelper) { return maker.Make(nJob, nHelper); });
    for (size_t nJob = 0; nJob < maker.GetCount(); ++nJob) {
        const MadeSample made = pipeline.Take();
        const uint32_t idOld = arSamples[made.nEntry].id;
        if (!made.outcome.IsDone()) return StopAt(idOld, made.outcome);
        const auto difference = [](const auto& a, const auto& b) { return Difference(a, b); };
        if (!ExpectSample(*made.pRecord, NewIdOf(idOld, made.nKey), difference)) return false;
    }
    return true;
}

template <class TSourceInfo>
bool SourceComparison::CompareHeaders(const SampleTarget& target) {
    for (uint32_t i = 0; i < m_engine.GetAnalysis().nSamples; ++i)
        if (!CompareHeadersOf<TSourceInfo>(m_engine.GetSamples()[i], target)) return false;
    return true;
}

// One source sample with its copies in the bank.
template <class TSourceInfo>
bool SourceComparison::CompareHeadersOf(const tagSampleEntry& entry, const SampleTarget& target) {
    TSourceInfo source(entry.id, kSdbNoID);
    if (!ReadSourceHeader(source)) return false;
    const auto compare = [&](int nKey) {
        CSDBISampleEUInfo expected(kSdbNoID, kSdbNoID);
        if (const BankOutcome made = MakeTargetHeader(source, target, nKey, expected); !made.IsDone())
            return StopAt(entry.id, made);
        const auto difference = [](const auto& a, const auto& b) { return HeaderDifference(a, b); };
        return ExpectSample(expected, NewIdOf(entry.id, nKey), difference);
    };
    if (!target.bPerKey || entry.playedKeys.none()) return compare(kEveryKey);
    for (int nKey = 0; nKey < kKeyCount; ++nKey)
        if (entry.playedKeys[static_cast<size_t>(nKey)] && !compare(nKey)) return false;
    return true;
}

template <class TVisit>
bool SourceComparison::ForEachChild(uint32_t idParent, uint8_t nType, TVisit visit) {
    for (const SDBNOTE* pNote = m_source.GetFirstNote(idParent, nType); pNote != nullptr;
         pNote = m_source.GetNextNote(pNote, nType))
        if (!visit(pNote->idNote)) return false;
    return true;
}

bool SourceComparison::CompareBanks() {
    for (const SDBNOTE* pNote = m_source.GetNoteByType(nullptr, kSdbBank); pNote != nullptr;
         pNote = m_source.GetNoteByType(pNote, kSdbBank)) {
        CSDBIBank bank(pNote->idNote, kSdbNoID);
        uint32_t idNew = kSdbNoID;
        if (!ReadSource(bank) || !Expect(bank, idNew) || !ComparePrograms(pNote->idNote, idNew)) return false;
    }
    return true;
}

bool SourceComparison::ComparePrograms(uint32_t idOldBank, uint32_t idNewBank) {
    return ForEachChild(idOldBank, kSdbProgram, [&](uint32_t id) {
        CSDBIProgram program(id, kSdbNoID);
        uint32_t idNew = kSdbNoID;
        if (!ReadSource(program)) return false;
        program.SetParentID(idNewBank);
        return Expect(program, idNew) && CompareRegions(id, idNew, m_bPerKey && program.IsSplit());
    });
}

bool SourceComparison::CompareRegions(uint32_t idOldProgram, uint32_t idNewProgram, bool bSplit) {
    return ForEachChild(idOldProgram, kSdbRegion, [&](uint32_t id) {
        CSDBIRegion region(id, kSdbNoID);
        if (!ReadSource(region)) return false;
        region.SetParentID(idNewProgram);
        if (!bSplit) return CompareRegion(region, id, kEveryKey);
        const int nLowKey = region.m_info.nLowKey, nHighKey = region.m_info.nHighKey;
        for (int nKey = nLowKey; nKey <= nHighKey; ++nKey) {
            region.m_info.nLowKey = region.m_info.nHighKey = nKey;
            if (!CompareRegion(region, id, nKey)) return false;
        }
        return true;
    });
}

bool SourceComparison::CompareRegion(CSDBIRegion& region, uint32_t idOldRegion, int nKey) {
    uint32_t idNew = kSdbNoID;
    return Expect(region, idNew) && CompareLayers(idOldRegion, idNew, nKey);
}

bool SourceComparison::CompareLayers(uint32_t idOldRegion, uint32_t idNewRegion, int nKey) {
    return ForEachChild(idOldRegion, kSdbLayer, [&](uint32_t id) {
        CSDBILayer layer(id, kSdbNoID);
        if (!ReadSource(layer)) return false;
        layer.SetParentID(idNewRegion);
        CSDBILayer actual(kSdbNoID, kSdbNoID);
        uint32_t idNew = kSdbNoID;
        if (!Expect(layer, idNew, &actual)) return false;
        if (actual.m_info.nSampleID != NewSampleId(layer.m_info.nSampleID, nKey))
            m_pProblems->Add(*m_pBank, m_pBank->Notes()[m_nNext - 1],
                             "the sample it plays is not what the source gives");
        return true;
    });
}

// The copy for the key, else the nearest lower key's, else the nearest higher one's.
uint32_t SourceComparison::NewSampleId(uint32_t idOld, int nKey) const {
    const auto pFound = m_newIds.find(idOld);
    if (pFound == m_newIds.end()) return kSdbNoID;
    const NewIds& ids = pFound->second;
    if (nKey == kEveryKey) return ids.idSingle;
    const auto pHigher = ids.byKey.upper_bound(nKey);
    if (pHigher != ids.byKey.begin()) return std::prev(pHigher)->second;
    return pHigher != ids.byKey.end() ? pHigher->second : kSdbNoID;
}

}  // namespace Kestrova
